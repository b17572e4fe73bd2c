// Changes of the data model that are folded into the cache before it is looked into.
#include "model/changes.hpp"

#include "completion_fixture.hpp"
#include "cpu_time.hpp"
#include "model/candidates.hpp"
#include "model/resolve.hpp"
#include "ox_raii.hpp"

namespace {

TEST_F(Complete, FoldsModelChanges) {
    EXPECT_EQ(complete("cd Device.Hosts.Host."), Texts({"1.", "2."}));
    daemon.add("Device.Hosts.Host.3.", R"({"type":"object"})");
    daemon.add("Device.Hosts.Host.3.IPAddress", R"({"type":"string"})");
    event("Add", "Device.Hosts.Host.", 3);
    daemon.take_requests();
    EXPECT_EQ(complete("cd Device.Hosts.Host."), Texts({"1.", "2.", "3."}));
    EXPECT_EQ(pending_model_events, nullptr);
    EXPECT_EQ(daemon.take_requests(), Texts({"GetParameterAttributes Device.Hosts.Host.3 -1"}));
    EXPECT_EQ(complete("cat Device.Hosts.Host.3."), Texts({"IPAddress"}));
    EXPECT_TRUE(daemon.take_requests().empty());
    event("Delete", "Device.Hosts.Host.3.", 3);
    event("Delete", "Device.Hosts.Host.1.", 1);
    EXPECT_EQ(complete("cd Device.Hosts.Host."), Texts({"2."}));
    EXPECT_TRUE(daemon.take_requests().empty());
}

TEST_F(Complete, FoldsOnlyWhatTheCacheHolds) {
    event("Add", "Device.Hosts.Host.", 3);
    event("Delete", "Device.Firewall.Rule.1.", 1);
    event("Add", "Nothing.", 3);
    json_array_append_new(pending_model_events, json_integer(7));
    json_array_append_new(pending_model_events, json_pack("{s:s,s:s}", "Action", "Add", "Path", "Device."));
    json_array_append_new(pending_model_events,
                          json_pack("{s:i,s:s,s:i}", "Action", 1, "Path", "", "InstanceNumber", 1));
    event("Add", "", -5);
    event("Delete", "", 0);
    event("Delete", "....", 0);
    daemon.take_requests();
    EXPECT_EQ(complete("cd D"), Texts({"Device."}));
    EXPECT_EQ(asked("Host.3"), 0);
    // Nothing was known below it, so it is still fetched whole.
    EXPECT_EQ(complete("cd Device.Hosts.Host."), Texts({"1.", "2."}));
    EXPECT_NE(complete("cat Device.Hosts.Host.*."), Texts());
}

TEST_F(Complete, FoldsAnInstanceThatCameAndWent) {
    complete("cd Device.Hosts.Host.");
    event("Add", "Device.Hosts.Host.", 3);
    event("Add", "Device.Hosts.Host.", 4);
    event("Delete", "Device.Hosts.Host.3.", 3);
    event("Delete", "Device.Hosts.Host.2.", 2);
    event("Add", "Device.Hosts.Host.", 2);
    daemon.add("Device.Hosts.Host.4.", R"({"type":"object"})");
    daemon.take_requests();
    EXPECT_EQ(complete("cd Device.Hosts.Host."), Texts({"1.", "2.", "4."}));
    EXPECT_EQ(asked("Host.3"), 0);
}

TEST_F(Complete, AFailedFoldIsMadeUpForByTheNextListing) {
    complete("cd Device.Hosts.Host.");
    daemon.add("Device.Hosts.Host.3.", R"({"type":"object"})");
    event("Add", "Device.Hosts.Host.", 3);
    daemon.failing = true;
    complete("cd D");
    daemon.failing = false;
    EXPECT_EQ(complete("cd Device.Hosts.Host."), Texts({"1.", "2.", "3."}));
}

TEST_F(Complete, TheCurrentNodeSurvivesItsRemoval) {
    cd("Device.Hosts.Host.2");
    event("Delete", "Device.Hosts.Host.2.", 2);
    EXPECT_EQ(complete("cat <."), Texts({"1.", "max_instance"}));
    EXPECT_EQ(complete("cat "), Texts({"IPAddress"}));
    EXPECT_EQ(hint("cat I"), "PAddress");
    EXPECT_STREQ(current_path.path, "Device.Hosts.Host.2");
}

TEST_F(Complete, AHintFoldsThemWhenTheAnswerIsThere) {
    complete("cd Device.Hosts.Host.");
    daemon.add("Device.Hosts.Host.33.", R"({"type":"object"})");
    daemon.add("Device.Hosts.Host.44.", R"({"type":"object"})");
    event("Add", "Device.Hosts.Host.", 33);
    event("Delete", "Device.Hosts.Host.1.", 1);
    daemon.take_requests();
    for (int i = 0; i < 20; ++i) EXPECT_EQ(hint_at_once("cd Device.Hosts.Host.3"), "(none)");
    event("Add", "Device.Hosts.Host.", 44);  // behind the request: it has its turn later
    answers_come();
    EXPECT_EQ(json_array_size(pending_model_events), 1u);
    EXPECT_EQ(hint("cd Device.Hosts.Host.3"), "3.");
    EXPECT_EQ(hint("cd Device.Hosts.Host.4"), "4.");
    EXPECT_EQ(pending_model_events, nullptr);
    EXPECT_EQ(complete("cd Device.Hosts.Host."), Texts({"2.", "33.", "44."}));
    EXPECT_EQ(daemon.take_requests(), Texts({"GetParameterAttributes Device.Hosts.Host.33 -1",
                                             "GetParameterAttributes Device.Hosts.Host.44 -1"}));
}

TEST_F(Complete, ACommandTakesTheAnswerThatAHintHasAskedFor) {
    complete("cd Device.Hosts.Host.");
    daemon.add("Device.Hosts.Host.3.", R"({"type":"object"})");
    event("Add", "Device.Hosts.Host.", 3);
    daemon.take_requests();
    hint_at_once("cd Device.Ho");
    EXPECT_EQ(complete("cd Device.Hosts.Host."), Texts({"1.", "2.", "3."}));
    EXPECT_EQ(daemon.take_requests(), Texts({"GetParameterAttributes Device.Hosts.Host.3 -1"}));
}

TEST_F(Complete, AnAnswerThatGotLostIsMadeUpForByTheNextListing) {
    complete("cd Device.Hosts.Host.");
    daemon.add("Device.Hosts.Host.3.", R"({"type":"object"})");
    event("Add", "Device.Hosts.Host.", 3);
    daemon.silent = true;
    hint_at_once("cd Device.Ho");
    daemon.die();
    answers_come();
    EXPECT_EQ(hint("cd Device.Hosts.Host.3"), "(none)");
    ModelDaemon second;
    small_router(second);
    second.add("Device.Hosts.Host.3.", R"({"type":"object"})");
    EXPECT_EQ(complete("cd Device.Hosts.Host."), Texts({"1.", "2.", "3."}));
}

TEST_F(Complete, TheQueueIsBoundedAndNothingIsMissedByThat) {
    complete("cd Device.Hosts.Host.");
    daemon.add("Device.Hosts.Host.3.", R"({"type":"object"})");
    for (size_t i = 0; i < 3 * MODEL_EVENTS_MAX; ++i) {
        JsonRef params(
            json_pack("{s:s,s:s,s:i}", "Action", "Add", "Path", "Device.Hosts.Host.", "InstanceNumber", 3));
        model_change_queue(params);
        ASSERT_LE(json_array_size(pending_model_events), MODEL_EVENTS_MAX);
    }
    event("Delete", "Device.Hosts.Host.1.", 1);
    EXPECT_EQ(complete("cd Device.Hosts.Host."), Texts({"1.", "2.", "3."}));  // as the daemon has them
}

TEST_F(Complete, AHintBehindAnUnknownInstanceAsksOnce) {
    complete("cd Device.Hosts.Host.");
    hint("cat Device.Hosts.Host.77.");
    daemon.take_requests();
    for (const char* line : {"cat Device.Hosts.Host.77.I", "cat Device.Hosts.Host.77.IP"}) hint(line);
    EXPECT_EQ(daemon.take_requests(), Texts());
    EXPECT_EQ(hint("cat Device.Hosts.Host.77.IPA"), "ddress");
}

TEST_F(Complete, FoldsManyChangesInLinearTime) {
    complete("cd Device.Hosts.Host.");
    auto fold = [this](int last) {
        for (int i = 3; i < last; ++i) {
            event("Add", "Device.Hosts.Host.", i);
            event("Delete", ("Device.Hosts.Host." + std::to_string(i) + ".").c_str(), i);
        }
        return cpu_seconds([this] { EXPECT_EQ(complete("cd Device.Hosts.Host."), Texts({"1.", "2."})); });
    };
    fold(1000);
    double few = fold(1000);
    EXPECT_LT(fold(10000), few * 30);
}

Texts listed(const char* path) {
    ScopedPath p;
    EXPECT_EQ(path_resolve(&p, path), 0);
    JsonRef list(node_candidates(&p, nullptr, 0));
    return texts(list);
}

TEST_F(Complete, AListingFoldsThemToo) {
    EXPECT_EQ(listed("Device.Hosts.Host"), Texts({"max_instance", "1", "2"}));
    daemon.add("Device.Hosts.Host.3.", R"({"type":"object"})");
    event("Add", "Device.Hosts.Host.", 3);
    event("Delete", "Device.Hosts.Host.1.", 1);
    daemon.take_requests();
    EXPECT_EQ(listed("Device.Hosts.Host"), Texts({"max_instance", "2", "3"}));
    EXPECT_EQ(daemon.take_requests(), Texts({"GetParameterAttributes Device.Hosts.Host.3 -1"}));
    EXPECT_EQ(pending_model_events, nullptr);
    cd("Device.Hosts.Host");
    event("Delete", "Device.Hosts.Host.2.", 2);
    ScopedPath here;
    JsonRef list(node_candidates(&here, nullptr, 0));
    EXPECT_EQ(texts(list), Texts({"max_instance", "3"}));
}

TEST_F(Complete, OwnChangesAreKnownBeforeTheirEvents) {
    listed("Device.Hosts.Host");
    daemon.add("Device.Hosts.Host.3.", R"({"type":"object"})");
    model_instance_added("Device.Hosts.Host", 3);
    model_instance_deleted("Device.Hosts.Host.1.");
    model_instance_deleted("Device.Hosts.Host.2");
    for (const char* none : {"", ".", "Device.Hosts.Host.", "Device.Hosts.Host.#template.", "Device.x1", "."})
        model_instance_deleted(none);
    EXPECT_EQ(listed("Device.Hosts.Host"), Texts({"max_instance", "3"}));
    event("Add", "Device.Hosts.Host.", 3);
    event("Delete", "Device.Hosts.Host.1.", 1);
    daemon.take_requests();
    EXPECT_EQ(listed("Device.Hosts.Host"), Texts({"max_instance", "3"}));
    EXPECT_TRUE(daemon.take_requests().empty());
    dm_free();
    model_instance_added("Device.Hosts.Host", 4);
    EXPECT_EQ(pending_model_events, nullptr);
}

}  // namespace
