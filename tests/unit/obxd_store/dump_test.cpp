// What is written of a loaded model loads as the same model, whatever format it came in.
#include "store_fixture.hpp"

namespace {

struct Dumped {
    std::string text;
    std::vector<std::string> notes;
};

Dumped dumped(const std::string& model) {
    std::string error;
    std::unique_ptr<obxd::Store> store = obxd::Store::load(ModelText(model).file, error);
    EXPECT_TRUE(store) << error;
    if (!store) return {};
    JsonRef dump(store->dump());
    CharsRef text(json_dumps(dump, JSON_REAL_PRECISION(15)));
    return {text.get(), store->notes()};
}

/// The dump, which gives itself again.
std::string settled(const std::string& model) {
    Dumped first = dumped(model), second = dumped(first.text);
    EXPECT_EQ(first.text, second.text);
    EXPECT_EQ(first.notes, second.notes);
    return first.text;
}

std::string published(const std::string& device, const std::string& rest = "") {
    return "<dm:document xmlns:dm='urn:broadband-forum-org:cwmp:datamodel-1-8'><model name='Device:2.17'>"
           "<object name='Device.' access='readOnly' minEntries='1' maxEntries='1'>" +
           device + "</object>" + rest + "</model></dm:document>";
}

std::string state(const std::string& standard) {
    return published(
        "<parameter name='State' access='readWrite'><syntax><string><enumeration value='On'/></string>" +
        standard + "</syntax></parameter>");
}

TEST(Dump, DefaultsThatTheirParameterDoesNotTake) {
    const struct {
        const char* standard;
        const char* kind;
    } rows[] = {
        {"<default type='factory' value='Off'/>", "factory"},
        {"<default type='boject' value='Off'/>", "object"},
        {"<default type='made' value='Off'/>", "object"},
        {"<default value='Off'/>", "object"},
    };
    for (const auto& row : rows) {
        JsonRef dump(json_loads(settled(state(row.standard)).c_str(), 0, nullptr));
        json_t* device = json_object_get(json_object_get(dump, "schema"), "Device");
        json_t* state = json_object_get(device, "State");
        EXPECT_STREQ(json_string_value(json_object_get(state, "default")), "Off") << row.standard;
        EXPECT_STREQ(json_string_value(json_object_get(state, "defaultType")), row.kind) << row.standard;
    }
}

TEST(Dump, NumbersReferToNothing) {
    settled(
        published("<parameter name='N' access='readWrite'><syntax><boolean><pathRef refType='strong' "
                  "targetParent='.Host.' targetType='row'/></boolean><default type='object' value='true'/>"
                  "</syntax></parameter>"));
}

/// What the parameter beside the table "Host" counts; "-" for nothing.
std::string counts(const std::string& model, const char* parameter) {
    JsonRef dump(json_loads(settled(model).c_str(), 0, nullptr));
    json_t* device = json_object_get(json_object_get(dump, "schema"), "Device");
    const char* text = json_string_value(json_object_get(json_object_get(device, parameter), "counts"));
    return text ? text : "-";
}

std::string hosts(const std::string& more) {
    auto counter = [](const std::string& name) {
        return "<parameter name='" + name + "' access='readOnly'><syntax><unsignedInt/></syntax></parameter>";
    };
    return published(counter("HostNumberOfEntries") + counter("HowMany"),
                     "<object name='Device.Host.{i}.' access='readWrite' minEntries='0' "
                     "maxEntries='unbounded'" +
                         more + "/>");
}

TEST(Dump, WhatCountsATable) {
    EXPECT_EQ(counts(hosts(""), "HostNumberOfEntries"), "Host");
    EXPECT_EQ(counts(hosts(" numEntriesParameter='HowMany'"), "HowMany"), "Host");
    EXPECT_EQ(counts(hosts(" numEntriesParameter='HowMany'"), "HostNumberOfEntries"), "-");
    EXPECT_EQ(counts(hosts(" numEntriesParameter='HowMayn'"), "HostNumberOfEntries"), "-");
    std::string error;
    auto store = obxd::Store::load(ModelText(hosts(" numEntriesParameter='HowMayn'")).file, error);
    ASSERT_TRUE(store) << error;
    EXPECT_EQ(store->notes(),
              std::vector<std::string>{"Device.Host: nothing counts its instances: there is no HowMayn"});
}

/// Two parameters that share what they are bounded by.
TEST(Dump, SizesThatThePatternDoesNotHave) {
    const char syntax[] =
        "<syntax><string><size minLength='5' maxLength='7'/><pattern value='[a-z]{3}'/>"
        "</string></syntax></parameter>";
    std::string model = published(std::string("<parameter name='One' access='readWrite'>") + syntax +
                                  "<parameter name='Other' access='readWrite'>" + syntax);
    Dumped first = dumped(model), second = dumped(first.text);
    EXPECT_EQ(first.text, second.text);
    EXPECT_EQ(first.notes,
              std::vector<std::string>{"Device.One: nothing that matches its pattern is 5 to 7 characters "
                                       "long; its pattern holds"});
    std::string error;
    auto store = obxd::Store::load(ModelText(model).file, error);
    ASSERT_TRUE(store) << error;
    for (const char* name : {"Device.One", "Device.Other"}) {
        JsonRef params(json_pack("{s:[s], s:i}", "ParameterNames", name, "Level", 0));
        std::string told = text_of(store->get_attributes({"root", "system", true}, params));
        EXPECT_NE(told.find("'maxLength':7"), std::string::npos) << told;
        EXPECT_EQ(told.find("minLength"), std::string::npos) << told;
    }
}

}  // namespace
