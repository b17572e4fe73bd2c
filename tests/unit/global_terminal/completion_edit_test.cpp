// Which text a candidate replaces.
#include "platform/global/terminal/completion_edit.hpp"

#include <gtest/gtest.h>
#include <jansson.h>
#include <stdlib.h>
#include <string.h>

#include <string>
#include <vector>

namespace {

TEST(Completion, ReplacesTheLongestTextThatTheCandidateBeginsWith) {
    struct Row {
        const char* line;
        const char* candidate;
        size_t start;
    };
    const Row rows[] = {{"upgrade fw.b", "fw.bin", 8},
                        {"cd dev", "Device.", 3},
                        {"cd :D", ":Device.", 3},
                        {"cd Device.D", "DHCPv4.", 10},
                        {"cd Device.D", "Device.DHCPv4.", 3},
                        {"upload config /tmp/f", "fw.bin", 19},
                        {"set X.Enable=t", "true", 13},
                        {"set X.Name=\"t", "true", 12},
                        {"he", "help", 0},
                        {"cd ", "Device.", 3},
                        {"cd xyz", "Device.", 6},  // nothing fits: it goes to the cursor
                        {"", "help", 0},
                        {"a.b.a.b", "a.b.a.bc", 0},  // the longest of two
                        {"x.a.b", "a.b.c", 2}};
    CompletionRules rules = {" \t/.=:\"'", false};
    for (const Row& row : rows) {
        EXPECT_EQ(completion_start(row.line, strlen(row.line), row.candidate, rules), row.start) << row.line;
    }
    rules.case_sensitive = true;
    EXPECT_EQ(completion_start("cd dev", 6, "Device.", rules), 6u);
}

TEST(Completion, InsertsWhatTheCandidatesShare) {
    struct Row {
        const char* line;
        std::vector<const char*> candidates;
        const char* result;  // null: nothing changes
    };
    const Row rows[] = {{"he", {"help"}, "help"},
                        {"help", {"help"}, nullptr},
                        {"cd dev", {"Device."}, "cd Device."},
                        {"cd Device.", {"Device."}, nullptr},
                        {"cd device.", {"Device."}, "cd Device."},
                        {"cd D", {"Device.A.", "Device.B."}, "cd Device."},
                        {"cd d", {"Device.A.", "device.B."}, "cd Device."},
                        {"cd dev", {"Devel", "develop"}, "cd Devel"},
                        {"cd dev", {"Dev1", "dev2"}, nullptr},
                        {"cd ", {"a", "b"}, nullptr},
                        {"cd ", {"a1", "a2"}, "cd a"},
                        {"x", {}, nullptr},
                        {"cd xyz", {"Device."}, nullptr},  // there is no place for it
                        {"cd De\"vi", {"Device."}, nullptr},
                        {"ls # note", {"Device."}, nullptr},
                        {"f \xc3", {"\xc3\xa9", "\xc3\xa8"}, nullptr},
                        {"f ", {"\xc3\xa9", "\xc3\xa8"}, nullptr},  // half a character is none
                        {"f ", {"a\xc3\xa9", "a\xc3\xa8"}, "f a"},
                        {"f d", {"dev\x1b[2J"}, "f dev"},  // control characters stay out
                        {"f d", {"dev\xc2\x9bx"}, "f dev"},
                        {"f dev", {"dev\n"}, nullptr}};
    CompletionRules rules = {" \t/.=:\"'", false};
    for (const Row& row : rows) {
        json_t* candidates = json_array();
        for (const char* text : row.candidates) json_array_append_new(candidates, json_string_nocheck(text));
        CompletionEdit edit = completion_edit(row.line, strlen(row.line), candidates, rules);
        EXPECT_EQ(edit.changes, row.result != nullptr) << row.line;
        if (edit.changes && row.result) {
            EXPECT_EQ(std::string(row.line).substr(0, edit.start) + edit.text, row.result);
        }
        free(edit.text);
        json_decref(candidates);
    }
}

}  // namespace
