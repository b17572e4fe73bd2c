#include "commands/listing.hpp"

#include <gtest/gtest.h>

#include <string>

#include "ox_raii.hpp"
#include "ox_vect.hpp"

namespace {

std::string row(const LsEntry* entry) {
    if (!entry) return "(none)";
    return std::string(entry->type) + "|" + entry->access + "|" + entry->perms + "|" + entry->flags + "|" +
           entry->name;
}

/// The rows of one element, for an object whose path has `prefix` bytes.
std::string row_of(const std::string& element, size_t prefix = 0) {
    JsonRef list(json_loads(("[" + element + "]").c_str(), 0, nullptr));
    EXPECT_NE(list.get(), nullptr) << element;
    VectRef entries(ls_entries_new());
    ls_repack_list(entries, list, prefix);
    return row(static_cast<const LsEntry*>(ox_vect_get(entries, 0)));
}

struct RowCase {
    const char* attributes;
    const char* expected;
};

class ListingRow : public testing::TestWithParam<RowCase> {};

TEST_P(ListingRow, IsMadeOfTheAttributes) {
    const RowCase& c = GetParam();
    EXPECT_EQ(row_of(std::string(R"({"Name":"N","Attributes":)") + c.attributes + "}"), c.expected)
        << c.attributes;
}

const RowCase rows[] = {
    {R"({"type":"string"})", "string|RW||-|N"},
    {R"({"type":"string","const":false})", "string|RW||-|N"},
    {R"({"type":"string","const":true})", "string|RO||-|N"},
    {R"({"type":"string","const":"true"})", "string|RW||-|N"},
    {R"({"type":"string","perms":"guest/admin"})", "string|RW|guest/admin|-|N"},
    {R"({"type":"string","perms":"12345678901234567890"})", "string|RW|1234567890123456789|-|N"},
    {"{}", "-|RW||-|N"},
    {"null", "-|-||-|N"},
    {"[]", "-|-||-|N"},
    {R"({"type":7})", "-|RW||-|N"},
    // Flags, in their order; an ordered multi-instance object has its O twice.
    {R"({"type":"object"})", "object|RW||O|N"},
    {R"({"type":"object","multi":true})", "object|RW||OM|N"},
    {R"({"type":"object","multi":true,"ordered":true})", "object|RW||OMO|N"},
    {R"({"type":"object","ordered":true})", "object|RW||OO|N"},
    {R"({"type":"int","runtime":true})", "int|RW||R|N"},
    {R"({"type":"int","unique":true,"runtime":true})", "int|RW||RU|N"},
    {R"({"type":"int","unique":1})", "int|RW||-|N"},
    // Ranges: the square one always has its colon, the round one only with both bounds.
    {R"({"type":"int","minInclusive":1,"maxInclusive":9})", "int[1:9]|RW||-|N"},
    {R"({"type":"int","minInclusive":-1})", "int[-1:]|RW||-|N"},
    {R"({"type":"int","maxInclusive":9})", "int[:9]|RW||-|N"},
    {R"({"type":"int","minInclusive":0})", "int[0:]|RW||-|N"},
    {R"({"type":"string","minLength":1,"maxLength":64})", "string(1:64)|RW||-|N"},
    {R"({"type":"string","minLength":64})", "string(64)|RW||-|N"},
    {R"({"type":"string","maxLength":64})", "string(64)|RW||-|N"},
    {R"({"type":"x","minInclusive":1,"maxLength":2})", "x[1:](2)|RW||-|N"},
    {R"({"maxLength":2})", "-(2)|RW||-|N"},
    {R"({"type":"123456789012345678901234567890123456789012345","minInclusive":100000})",
     "123456789012345678901234567890123456789012345[100|RW||-|N"},
};
INSTANTIATE_TEST_SUITE_P(Rows, ListingRow, testing::ValuesIn(rows));

TEST(Listing, NamesAreRelativeToTheListedObject) {
    EXPECT_EQ(row_of(R"({"Name":"Device.Hosts.Host."})", strlen("Device.Hosts")), "-|-||-|Host.");
    EXPECT_EQ(row_of(R"({"Name":"Device.Hosts."})", strlen("Device.Hosts")), "-|-||-|.");
    EXPECT_EQ(row_of(R"({"Name":"Device."})", 0), "-|-||-|Device.");
    EXPECT_EQ(row_of(R"({"Name":"."})", 0), "-|-||-|.");
    EXPECT_EQ(row_of(R"({"Name":"X"})", strlen("Device.Hosts")), "-|-||-|.");
}

TEST(Listing, ElementsWithoutNameAreLeftOut) {
    EXPECT_EQ(row_of(R"({"Attributes":{}})"), "(none)");
    EXPECT_EQ(row_of(R"({"Name":5})"), "(none)");
    EXPECT_EQ(row_of("17"), "(none)");
}

TEST(Listing, AnAnswerWithoutListGivesNoRows) {
    VectRef entries(ls_entries_new());
    ls_repack_list(entries, nullptr, 0);
    JsonRef text(json_string("x"));
    ls_repack_list(entries, text, 0);
    EXPECT_EQ(ox_vect_get(entries, 0), nullptr);
}

TEST(Listing, LongNamesAreCut) {
    std::string name(300, 'n');
    EXPECT_EQ(row_of(R"({"Name":")" + name + "\"}"), "-|-||-|" + name.substr(0, 256));
}

TEST(Listing, ObjectsComeFirstThenNamesByBytes) {
    JsonRef list(json_loads(R"([{"Name":"b","Attributes":{"type":"string"}},
                                {"Name":"z.","Attributes":{"type":"object"}},
                                {"Name":"B","Attributes":{"type":"objects"}},
                                {"Name":"a"},
                                {"Name":"A.","Attributes":{"type":"object"}},
                                {"Name":"","Attributes":{"type":"object"}}])",
                            0, nullptr));
    VectRef entries(ls_entries_new());
    ls_repack_list(entries, list, 0);
    ox_vect_sort(entries);
    std::string order;
    for (size_t i = 0; const auto* entry = static_cast<const LsEntry*>(ox_vect_get(entries, i)); i++) {
        order += std::string(entry->name) + " ";
    }
    EXPECT_EQ(order, ". A. z. B a b ");
}

}  // namespace
