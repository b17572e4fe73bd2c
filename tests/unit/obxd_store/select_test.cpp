// Selectors: paths, wildcards, filters, picked members, and what is wrong with bad ones.

#include "store/selector.hpp"
#include "store_fixture.hpp"

using obxd::Store;

namespace {

struct SelectTest : StoreTest {
    std::string select(const std::string& selector, const obxd::Caller& caller) {
        JsonRef params(json_pack("{s:s}", "Selector", selector.c_str()));
        return text_of(store->select(caller, params));
    }
    /// The matching paths joined by blanks, or the fault.
    std::string paths(const std::string& selector) {
        JsonRef params(json_pack("{s:s}", "Selector", selector.c_str()));
        obxd::Answer answer = store->select(admin, params);
        if (answer.code) return text_of(answer);
        JsonRef result = result_of(answer);
        std::string text;
        const char* key;
        json_t* value;
        json_object_foreach(json_object_get(result, "Matches"), key, value) text +=
            (text.empty() ? "" : " ") + std::string(key);
        return text;
    }
};

TEST_F(SelectTest, Paths) {
    const std::string h = "Device.Hosts.Host.";
    const struct {
        const char* selector;
        std::string expected;
    } rows[] = {
        {"Device.Hosts.Host.*", h + "1 " + h + "2 " + h + "5"},
        {"Device.Hosts.Host.*.", h + "1 " + h + "2 " + h + "5"},
        {"Device.Hosts.Host.#template", h + "1 " + h + "2 " + h + "5"},
        {"Device.Hosts.Host.2", h + "2"},
        {"Device.Hosts.Host.3", ""},
        {"Device.Hosts.Host", "Device.Hosts.Host"},
        {"Device.Hosts.Host.*.Name", h + "1.Name " + h + "2.Name " + h + "5.Name"},
        {"Device.Hosts.Host.*.Address.*.IP", h + "1.Address.1.IP " + h + "1.Address.2.IP"},
        {"Device.Hosts.Host.5.Address.*", ""},
        {"Device.Rules.Rule.*.order",
         "Device.Rules.Rule.1.order Device.Rules.Rule.2.order Device.Rules.Rule.4.order"},
        {"Device.Hosts.Host.max_instance", "Device.Hosts.Host.max_instance"},
        {"DataModelVersion", "DataModelVersion"},
        {".", "."},
        {"Device.Info ", "Device.Info"},
        {":Device.Info", "Device.Info"},
        {":.", "."},
        {"Device.Rules.Rule.9.index", ""},
    };
    for (auto& row : rows) EXPECT_EQ(paths(row.selector), row.expected) << row.selector;
}

TEST_F(SelectTest, Filters) {
    const struct {
        const char* filter;
        const char* expected;  ///< the hosts' numbers
    } rows[] = {
        {"Name==\"tv\"", "1"},
        {"Name=='tv'", "1"},
        {"Name==tv", "1"},
        {"Name!=\"tv\"", "2 5"},
        {"Name == \"tv\"", "1"},
        {" Name==\"tv\" ", "1"},
        {"Name==tv && Active==true", "1"},
        {"Name==say hi", ""},
        {"Mac~=00: 05", ""},
        {"Name==\"say \\\"hi\\\"\"", "5"},
        {"Name~=\"t\"", "1 2"},
        {"Name~=\"\"", "1 2 5"},
        {"Name>\"laptop\"", "1 5"},
        {"Name>=\"laptop\"", "1 2 5"},
        {"Name<\"laptop\"", ""},
        {"Active==true", "1 5"},
        {"Active!=true", "2"},
        {"Active==\"false\"", "2"},
        {"Stats.Sent==07", "5"},
        {"Stats.Sent==0100", "1"},
        {"Stats.Sent==+0X64", "1"},
        {"Stats.Sent==007.0", "5"},
        {"Stats.Sent!=0x", "1 2 5"},
        {"Load==02", "2"},
        {"Load==0x2", "2"},
        {"Load==nan", ""},
        {"Load<inf", "1 2 5"},
        {"Load<1", "1 5"},
        {"Load==2", "2"},
        {"Load>=0.5", "1 2"},
        {"Load<0.25", "5"},
        {"Stats.Sent>7", "1"},
        {"Stats.Sent>=0x7", "1 5"},
        {"Stats.Sent==9223372036854775807", ""},
        {"Address.1.IP==\"192.0.2.1\"", "1"},
        {"Address.1.IP!=\"192.0.2.1\"", ""},
        {"Address.max_instance==2", "1"},
        {"Mac~=\"00:05\"&&Active==true", "5"},
        {"Name==\"tv\"||Name==\"laptop\"", "1 2"},
        {"Name==\"tv\"||Name==\"laptop\"&&Active==true", "1"},
        {"(Name==\"tv\"||Name==\"laptop\")&&Active==false", "2"},
        {"((Name==tv))", "1"},
        {"Name==\"tv\" && Active==true || Load==2", "1 2"},
        {"Active==maybe", ""},
    };
    for (auto& row : rows) {
        std::string expected;
        for (const char* c = row.expected; *c; c++)
            if (*c != ' ') expected += (expected.empty() ? "" : " ") + std::string("Device.Hosts.Host.") + *c;
        for (const char* before : {"Device.Hosts.Host.*[", "Device.Hosts.Host[", "Device.Hosts.Host.["})
            EXPECT_EQ(paths(before + std::string(row.filter) + "]"), expected) << before << row.filter;
    }
    EXPECT_EQ(paths("Device.Hosts.Host.1[Active==true].Name"), "Device.Hosts.Host.1.Name");
    EXPECT_EQ(paths("Device.Hosts.Host.2[Active==true].Name"), "");
    EXPECT_EQ(paths("Device.Hosts.Host.*[Active==true].Address.*[IP~=\":\"].IP"),
              "Device.Hosts.Host.1.Address.2.IP");
    EXPECT_EQ(paths("Device.Rules.Rule.*[order>1].Name"),
              "Device.Rules.Rule.2.Name Device.Rules.Rule.4.Name");
}

TEST_F(SelectTest, Values) {
    EXPECT_EQ(select("Device.Hosts.Host.*.{Name,Active}", admin),
              "{'Matches':{'Device.Hosts.Host.1':{'Name':'tv','Active':true},'Device.Hosts.Host.2':{'Name':'"
              "laptop',"
              "'Active':false},'Device.Hosts.Host.5':{'Name':'say \\'hi\\'','Active':true}}}");
    EXPECT_EQ(
        select("Device.Hosts.Host[Name==tv]{ Stats.Sent , Address }", admin),
        "{'Matches':{'Device.Hosts.Host.1':{'Stats':{'Sent':100},'Address':{'1':{'IP':'192.0.2.1'},'2':{'IP':"
        "'2001:db8::1'},'max_instance':2}}}}");
    EXPECT_EQ(select("Device.Hosts.Host.1.Name", admin), "{'Matches':{'Device.Hosts.Host.1.Name':'tv'}}");
    EXPECT_EQ(select("Device.Rules.Rule.4", admin),
              "{'Matches':{'Device.Rules.Rule.4':{'Order':3,'Name':'fourth','order':3}}}");
    EXPECT_EQ(select("Device.Hosts.Host.*[Name==nobody]", admin), "{'Matches':{}}");
    EXPECT_EQ(select("Device.Info.Password", admin), "{'Matches':{'Device.Info.Password':''}}");
}

TEST_F(SelectTest, WhatMayNotBeReadCannotBeGuessed) {
    EXPECT_EQ(select("Device.Hosts.Host.*[Secret==a]", user), "{'Matches':{}}");
    EXPECT_EQ(select("Device.Hosts.Host.*[Secret!=a]", user), "{'Matches':{}}");
    EXPECT_EQ(select("Device.Hosts.Host.*.Secret", user), "{'Matches':{}}");
    EXPECT_EQ(select("Device.Hosts.Host.1{Name,Secret}", user),
              "{'Matches':{'Device.Hosts.Host.1':{'Name':'tv'}}}");
    EXPECT_EQ(select("Device.Hosts.Host.*[Secret==a].Name", admin),
              "{'Matches':{'Device.Hosts.Host.1.Name':'tv'}}");
    EXPECT_EQ(select("Device.Info[Password==pw]", admin), "9003 Device.Info. has no instances to filter");
}

TEST_F(SelectTest, WrongSelectors) {
    const struct {
        const char* selector;
        const char* expected;
    } rows[] = {
        {"", "9003 bad selector: path expected at character 1"},
        {":", "9003 bad selector: path expected at character 2"},
        {"::Device", "9005 :Device"},
        {":Device..Hosts", "9003 bad selector: name expected at character 9"},
        {"..", "9003 bad selector: name expected at character 1"},
        {"Device..Hosts", "9003 bad selector: name expected at character 8"},
        {"Device.Hosts.Host.*[", "9003 bad selector: parameter name expected at character 21"},
        {"Device.Hosts.Host.*[]", "9003 bad selector: parameter name expected at character 21"},
        {"Device.Hosts.Host.*[Name]",
         "9003 bad selector: comparison (==, !=, <, >, <=, >= or ~=) expected at character 25"},
        {"Device.Hosts.Host.*[Name=x]",
         "9003 bad selector: comparison (==, !=, <, >, <=, >= or ~=) expected at character 25"},
        {"Device.Hosts.Host.*[Name==]", "9003 bad selector: value expected at character 27"},
        {"Device.Hosts.Host.*[Name==\"x]", "9003 bad selector: quote that is never closed at character 27"},
        {"Device.Hosts.Host.*[Name==x", "9003 bad selector: \"]\" expected at character 28"},
        {"Device.Hosts.Host.*[Name==x&Active==true]", "9003 bad selector: \"]\" expected at character 28"},
        {"Device.Hosts.Host.*[Name==x&&]", "9003 bad selector: parameter name expected at character 30"},
        {"Device.Hosts.Host.*[(Name==x]", "9003 bad selector: \")\" expected at character 29"},
        {"Device.Hosts.Host.*[Name==x]Name", "9003 bad selector: \".\" expected at character 29"},
        {"Device.Hosts.Host.*{", "9003 bad selector: member name expected at character 21"},
        {"Device.Hosts.Host.*{Name", "9003 bad selector: \",\" or \"}\" expected at character 25"},
        {"Device.Hosts.Host.*{Name,}", "9003 bad selector: member name expected at character 26"},
        {"Device.Hosts.Host.*{Name}.x", "9003 bad selector: end of the selector expected at character 26"},
        {"Device.Hosts.Host.*[Nothing==1]", "9003 no parameter \"Nothing\" in an instance of Host"},
        {"Device.Hosts.Host[Stats==1]", "9003 no parameter \"Stats\" in an instance of Host"},
        {"Device.*", "9003 Device. has no instances"},
        {"Device.Info[Name==box]", "9003 Device.Info. has no instances to filter"},
        {"Device.Info.Name{X}", "9003 Device.Info.Name has no members to pick"},
        {"Device.Info.Name[X==1]", "9003 Device.Info.Name has no instances to filter"},
        {"Device.Nothing", "9005 Device.Nothing"},
        {"Device.Info.Ping", "9005 Device.Info.Ping"},
        {"Device.Hosts.Host.*.Nothing", "9005 Device.Hosts.Host.*.Nothing"},
        {"Device.Hosts.Host.x", "9005 Device.Hosts.Host.x"},
        {"Device.Hosts.Host.*{Nothing}", "9005 Device.Hosts.Host.*.Nothing"},
        {"Device.Hosts.Host.5.Address.*.Nothing", "9005 Device.Hosts.Host.5.Address.*.Nothing"},
        {"Device.Hosts.Host.7.Nothing", "9005 Device.Hosts.Host.7.Nothing"},
        {"Device.Info.Name.X", "9005 Device.Info.Name.X"},
    };
    for (auto& row : rows) EXPECT_EQ(select(row.selector, admin), row.expected) << row.selector;
}

TEST_F(SelectTest, AMisspeltNameIsToldOfWhereNothingMatches) {
    const struct {
        const char* selector;
        const char* expected;
    } rows[] = {
        {"Device.Hosts.Host.*[Name==nobody].Nope", "9005 Device.Hosts.Host.*.Nope"},
        {"Device.Hosts.Host[Name==nobody].Nope", "9005 Device.Hosts.Host.*.Nope"},
        {"Device.Hosts.Host.[Name==nobody].Stats.Nope", "9005 Device.Hosts.Host.*.Stats.Nope"},
        {"Device.Hosts.Host.*[Name==nobody].Stats.Reset", "9005 Device.Hosts.Host.*.Stats.Reset"},
        {"Device.Hosts.Host.*[Name==nobody].Address.*[Nope==1]",
         "9003 no parameter \"Nope\" in an instance of Address"},
        {"Device.Hosts.Host.*[Name==nobody].Stats[Sent==1]",
         "9003 Device.Hosts.Host.*.Stats. has no instances to filter"},
        {"Device.Hosts.Host.*[Name==nobody]{Name,Nope}", "9005 Device.Hosts.Host.*.Nope"},
        {"Device.Hosts.Host.*[Name==nobody].Name{Nope}",
         "9003 Device.Hosts.Host.*.Name has no members to pick"},
        {"Device.Hosts.Host.*{Address.3.Nope}", "9005 Device.Hosts.Host.*.Address.3.Nope"},
        {"Device.Hosts.Host.99{Nope}", "9005 Device.Hosts.Host.99.Nope"},
        {"Device.Hosts.Host{Nope}", "9005 Device.Hosts.Host.Nope"},
        {"Device.Queue.Job.*{Nope}", "9005 Device.Queue.Job.*.Nope"},
        {"Device.Info.{Ping}", "9005 Device.Info.Ping"},
        {"Device.Info.{Name.}", "9005 Device.Info.Name."},
        // Names that the model has, below instances that are not there, match nothing.
        {"Device.Hosts.Host.*[Name==nobody]{Name,Stats,Address.1.IP}", "{'Matches':{}}"},
        {"Device.Hosts.Host.99{Stats.Sent}", "{'Matches':{}}"},
        {"Device.Hosts.Host.2{Address.9.IP}", "{'Matches':{'Device.Hosts.Host.2':{}}}"},
        {"Device.Hosts.Host{2.Name,max_instance}",
         "{'Matches':{'Device.Hosts.Host':{'2':{'Name':'laptop'},'max_instance':6}}}"},
        {"Device.Hosts.Host.1{Address.*.IP}",
         "{'Matches':{'Device.Hosts.Host.1':{'Address':{'1':{'IP':'192.0.2.1'},'2':{'IP':'2001:db8::1'}}}}}"},
        {"Device.Queue.Job.*{order,Name}", "{'Matches':{}}"},
        // Members that begin alike stand in one object, in the place of the first.
        {"Device.Hosts.Host.1{Address.2.IP,Name,Address.1.IP}",
         "{'Matches':{'Device.Hosts.Host.1':{'Address':{'2':{'IP':'2001:db8::1'},'1':{'IP':'192.0.2.1'}},'"
         "Name':"
         "'tv'}}}"},
        {"Device.Hosts.Host.1{Name,Stats.Sent,Active}",
         "{'Matches':{'Device.Hosts.Host.1':{'Name':'tv','Stats':{'Sent':100},'Active':true}}}"},
    };
    for (auto& row : rows) EXPECT_EQ(select(row.selector, admin), row.expected) << row.selector;
}

TEST_F(SelectTest, HostileSelectorsEnd) {
    std::string deep = "Device.Hosts.Host.*[" + std::string(3000, '(') + "Name==x";
    EXPECT_EQ(select(deep, admin).substr(0, 61),
              "9003 bad selector: parentheses nested too deeply at character");
    std::string many = "Device.Hosts.Host.*[Name==x";
    for (int i = 0; i < 200; i++) many += "||Name==x";
    EXPECT_EQ(select(many + "]", admin).substr(0, 41), "9003 bad selector: too many comparisons a");
    EXPECT_EQ(select(std::string(5000, 'a'), admin),
              "9003 bad selector: selector of more than 4096 characters at character 1");
    EXPECT_EQ(
        select("Device.Hosts.Host.*[" + std::string(16, '(') + "Name==tv" + std::string(16, ')') + "]", admin)
            .substr(0, 10),
        "{'Matches'");
}

TEST(SelectorText, EveryPrefixOfASelectorIsHandled) {
    std::string whole =
        "Device.Hosts.Host.*[(Name==\"a\\\"b\"||X!='y')&&Active==true].Address.[IP~=1]{A,B.C}";
    for (size_t length = 0; length <= whole.size(); length++) {
        obxd::Selector selector;
        std::string error;
        bool fine = obxd::selector_parse(std::string_view(whole).substr(0, length), selector, error);
        EXPECT_NE(fine, !error.empty()) << whole.substr(0, length);
    }
}

}  // namespace
