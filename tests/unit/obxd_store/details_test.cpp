// Attributes: what is made of the bounds, what an instance has of its own, what comes on request only, and
// what is not offered any more.

#include "store_fixture.hpp"

using obxd::Store;

namespace {

const char* const MODEL = R"({'schema':{'Device':{
  '#attr':{'since':'1.0','description':'The device.'},
  'Ranges':{'type':'int','ranges':[{'min':-1,'max':-1},{'min':2,'max':15,'step':2},{'min':100}],
    'units':'seconds','since':'1.2','description':'How long.'},
  'Closed':{'type':'int','ranges':[{'min':5,'max':7},{'min':1,'max':2}]},
  'Real':{'type':'decimal','ranges':[{'min':-0.5,'max':4}]},
  'Sizes':{'type':'string','sizes':[{'max':0},{'min':3,'max':9}]},
  'Patterns':{'type':'string','patterns':['','a|b','\\d']},
  'Many':{'type':'unsignedInt[]','minCount':1,'maxCount':4,'listSizes':[{'max':20}]},
  'State':{'type':'string','access':'readWrite','default':'None','enum':['None',
    {'value':'Requested','description':'asks for it'},{'value':'Complete','access':'readOnly','description':'is done'},
    {'value':'Past','status':'obsoleted'},{'value':'Gone','status':'deleted'}]},
  'Shown':{'type':'string','enum':[{'value':'Complete','access':'readOnly'},{'value':'Past','status':'obsoleted'}]},
  'Supported':{'type':'list','default':'a,b','access':'readWrite'},
  'Used':{'type':'string','access':'readWrite','default':'','from':'Supported','nullValue':'Auto'},
  'Private':{'type':'list','default':'x','read':'admin'},
  'Blind':{'type':'string','access':'readWrite','default':'','from':'Private'},
  'Once':{'type':'string','access':'writeOnceReadOnly','default':''},
  'Old':{'type':'string','status':'deprecated'},
  'OldObject':{'#attr':{'status':'deprecated'},'In':{'type':'string'}},
  'Past':{'type':'string','access':'readWrite','default':'','status':'obsoleted'},
  'PastObject':{'#attr':{'status':'obsoleted'},'In':{'type':'string'}},
  'Gone':{'type':'string','status':'deleted'},
  'GoneObject':{'#attr':{'status':'deleted'},'In':{'type':'no such type'}},
  'GoneMethod':{'type':'method','status':'deleted'},
  'Rows':{'#attr':{'multi':true,'keys':[['A','B'],{'names':['A'],'functional':true}],'since':'2.0'},
    'A':{'type':'string'},'B':{'type':'string'},'Past':{'type':'string','status':'obsoleted'},
    'Cell':{'#attr':{'multi':true},'Same':{'type':'pathRef','foreign_key':'#.Cell.'}}}
  }},'values':{'Device':{'Rows':{'3':{'Cell':{'1':{}}}}}}})";

struct Details : StoreTest {
    void SetUp() override {
        std::string error;
        store = store_of(MODEL, error);
        ASSERT_TRUE(store) << error;
    }
    /// The list of an answer to GetParameterAttributes.
    JsonRef listed(const std::string& name, int level, bool details) {
        std::string params = "{'ParameterNames':['" + name + "'],'Level':" + std::to_string(level) +
                             (details ? ",'Details':true}" : "}");
        JsonRef answer = json_of(ask(&Store::get_attributes, params));
        return JsonRef(json_incref(json_object_get(answer, "ParameterList")));
    }
    /// What the node's attributes say of these, as JSON, "-" for what they do not have.
    std::string attributes(const std::string& name, const std::vector<const char*>& keys, bool details) {
        JsonRef list = listed(name, 0, details);
        json_t* attrs = json_object_get(json_array_get(list, 0), "Attributes");
        std::string text;
        for (const char* key : keys) {
            json_t* value = json_object_get(attrs, key);
            text += (text.empty() ? "" : " ") + (value ? text_of(value) : "-");
        }
        return text;
    }
    std::string names(const std::string& name, int level) {
        JsonRef list = listed(name, level, false);
        std::string text;
        for (size_t i = 0; i < json_array_size(list); i++) {
            std::string full = json_string_value(json_object_get(json_array_get(list, i), "Name"));
            text += full.substr(full.rfind('.', full.size() - 2) + 1) + ' ';
        }
        return text;
    }
};

TEST_F(Details, WhatIsMadeOfTheBounds) {
    const struct {
        const char* name;
        std::vector<const char*> keys;
        const char* expected;
    } rows[] = {
        {"Ranges", {"minInclusive", "maxInclusive", "ranges", "units", "since"}, "-1 - - - -"},
        {"Closed", {"minInclusive", "maxInclusive"}, "1 7"},
        {"Real", {"minInclusive", "maxInclusive"}, "- 4"},
        {"Sizes", {"minLength", "maxLength"}, "- 9"},
        {"Patterns", {"regex"}, "'|a|b|\\\\d'"},
        {"Many", {"type", "minCount", "maxCount", "maxLength"}, "'unsignedInt[]' 1 4 -"},
        {"State", {"enum", "mappings"}, "['None','Requested'] ['Requested: asks for it']"},
        {"Shown", {"enum", "mappings"}, "['Complete','Past'] -"},
        {"Old", {"perms", "status"}, "'u/- deprecated' -"},
        {"OldObject.In", {"perms"}, "'u/- deprecated'"},
        {"Past", {"perms"}, "'u/a obsoleted'"},
        {"Once", {"access"}, "'readWrite'"},
        {"Rows.", {"multi", "keys"}, "true -"},
        {"Rows.#template.Cell.#template.Same", {"foreign_key"}, "'Device.Rows.#template.Cell.'"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(attributes(std::string("Device.") + row.name, row.keys, false), row.expected) << row.name;
}

TEST_F(Details, WhoMayChangeWhatIsDeprecated) {
    EXPECT_EQ(store->write_rank("Device.OldObject.In"), obxd::RANK_ADMIN);
    EXPECT_EQ(store->write_rank("Device.Nothing"), -1);
}

TEST_F(Details, OnRequest) {
    const struct {
        const char* name;
        std::vector<const char*> keys;
        const char* expected;
    } rows[] = {
        {"Device.", {"description", "since", "status"}, "'The device.' '1.0' -"},
        {"Device.Ranges",
         {"description", "units", "since", "ranges"},
         "'How long.' 'seconds' '1.2' [{'min':-1,'max':-1},{'min':2,'max':15,'step':2},{'min':100}]"},
        {"Device.Real", {"ranges", "units", "since"}, "[{'min':-0.5,'max':4}] - '1.0'"},
        {"Device.Old", {"status"}, "'deprecated'"},
        {"Device.OldObject.In", {"status"}, "'deprecated'"},
        {"Device.Past", {"status"}, "'obsoleted'"},
        {"Device.Rows.", {"keys", "since"}, "[['A','B'],['A']] '2.0'"},
        {"Device.Rows.3.A", {"type", "since", "ranges"}, "'string' '2.0' -"},
        {"Device.Rows.max_instance", {"type", "since"}, "'unsignedInt' -"},
    };
    for (const auto& row : rows) EXPECT_EQ(attributes(row.name, row.keys, true), row.expected) << row.name;
}

TEST_F(Details, WhatAnInstanceHasOfItsOwn) {
    EXPECT_EQ(attributes("Device.Used", {"enum"}, false), "['a','b','Auto']");
    EXPECT_EQ(attributes("Device.Blind", {"enum"}, false), "-");
    EXPECT_EQ(set("'Device.Supported':'c'"), "{}");
    EXPECT_EQ(attributes("Device.Used", {"enum"}, false), "['c','Auto']");
    EXPECT_EQ(attributes("Device.Rows.3.Cell.1.Same", {"foreign_key"}, false), "'Device.Rows.3.Cell.'");
    EXPECT_EQ(set("'Device.Once':'x'"), "{}");
    EXPECT_EQ(attributes("Device.Once", {"access", "perms", "const"}, false), "'readOnly' 'user/-' true");
    EXPECT_EQ(attributes("Device.Once", {"access"}, true), "'readOnly'");
}

TEST_F(Details, WhatIsNotOffered) {
    // Deleted nodes are not there, obsoleted ones are found by name; lists to choose from have neither.
    for (std::string gone : {"Device.Gone", "Device.GoneObject.In", "Device.GoneMethod"})
        EXPECT_EQ(ask(&Store::get_attributes, "{'ParameterNames':['" + gone + "']}"), "9005 " + gone);
    EXPECT_EQ(value("Device.Past"), "''");
    EXPECT_EQ(set("'Device.Past':'still'"), "{}");
    EXPECT_EQ(value("Device.Past"), "'still'");
    std::string level = names("Device.", 1);
    EXPECT_EQ(level.find("Past"), std::string::npos) << level;
    EXPECT_NE(level.find("OldObject. "), std::string::npos) << level;
    EXPECT_EQ(level.find("Gone"), std::string::npos) << level;
    EXPECT_EQ(names("Device.Rows.3.", -1).find("Past"), std::string::npos);
    EXPECT_EQ(names("Device.PastObject.", 1), "PastObject. In ");
    EXPECT_EQ(names("Device.Past", 0), "Past ");
    // What asks for the model as a whole gets all that is there.
    std::string all = names("Device.", -1);
    EXPECT_NE(all.find("PastObject. In "), std::string::npos) << all;
    std::string model = ask(&Store::get_data_model, "{'ParameterNames':['Device.'],'Level':-1}");
    EXPECT_NE(model.find("'PastObject'"), std::string::npos);
    EXPECT_EQ(model.find("Gone"), std::string::npos);
}

}  // namespace
