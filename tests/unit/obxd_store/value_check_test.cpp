// Values as data models of the field have them: lists with blanks, empty defaults, long integers, references
// without relations.

#include "store_fixture.hpp"

using obxd::Store;

namespace {

const char* const MODEL = R"({'types':{'Tag':{'type':'unsignedInt[]','maxInclusive':9}},'schema':{'Device':{
  'Strings':{'type':'list','access':'readWrite','default':'','enum':['a','b']},
  'Ints':{'type':'int[]','access':'readWrite','default':'','minInclusive':-3,'maxCount':3},
  'Longs':{'type':'unsignedLong[]','access':'readWrite','default':''},
  'Tags':{'type':'Tag','access':'readWrite','default':''},
  'Booleans':{'type':'boolean[]','access':'readWrite','default':''},
  'Decimals':{'type':'decimal[]','access':'readWrite','default':'','maxInclusive':4},
  'Addresses':{'type':'IPAddress[]','access':'readWrite','default':''},
  'Times':{'type':'dateTime[]','access':'readWrite','default':''},
  'Offered':{'type':'string[]','access':'readWrite','default':'n, ac ,ax'},
  'One':{'type':'string','from':'Offered','access':'readWrite','default':''},
  'Some':{'type':'string[]','from':'Offered','access':'readWrite','default':''},
  'Must':{'type':'string','from':'Offered','access':'readWrite','default':'n'},
  'Time':{'type':'dateTime','access':'readWrite','default':''},
  'Choice':{'type':'string','access':'readWrite','default':'','enum':['x'],'minLength':1},
  'Prefix':{'type':'IPPrefix','access':'readWrite','default':''},
  'Long':{'type':'long','access':'readWrite','default':0},
  'Decimal':{'type':'decimal','access':'readWrite','default':0.5},
  'UnsignedLong':{'type':'unsignedLong','access':'readWrite','default':0},
  'T':{'#attr':{'multi':true,'access':'readWrite'},'S':{'#attr':{'multi':true,'access':'readWrite'},
    'Up':{'type':'pathRef','access':'readWrite','default':''}},
    'Next':{'type':'pathRef','access':'readWrite','default':'','foreign_key':'Device.T.',
      'relations':[{'verdict':1,'match':'Device.T.*.'}]}},
  'U':{'#attr':{'multi':true,'access':'readWrite'},'Other':{'type':'string','access':'readWrite','default':''}},
  'Bare':{'type':'pathRef','access':'readWrite','default':''},
  'Shown':{'type':'pathRef','default':'','foreign_key':'Device.T.'},
  'Left':{'type':'pathRef','access':'readWrite','default':'','relations':[{'verdict':3,'match':'Device.T.*.'}]},
  'Top':{'type':'pathRef','access':'readWrite','default':'','relations':[{'verdict':1,'match':'Device.T.*.'}]},
  'Secret':{'type':'pathRef','access':'readWrite','default':'','hidden':true},
  'Many':{'type':'pathRef[]','access':'readWrite','default':'','foreign_key':'Device.T., Device.T.#template.S.'}
  }},'values':{'Device':{'T':{'1':{'S':{'1':{},'2':{}}},'2':{},'3':{}},'U':{'1':{}},'Shown':'Device.T.3'}}})";

struct Values : StoreTest {
    void SetUp() override {
        std::string error;
        store = store_of(MODEL, error);
        ASSERT_TRUE(store) << error;
        store->set_listener([this](const obxd::Change& change) {
            changes.push_back(change.kind == obxd::Change::VALUE ? change.path + "=" + text_of(change.value)
                                                                 : "-" + change.path);
        });
    }
    std::string put(const std::string& name, const std::string& value_text, bool raw = false) {
        return set("'Device." + name + "':" + value_text, admin, raw);
    }
};

TEST_F(Values, ListsAndTheirBlanks) {
    const struct {
        const char* name;
        const char* text;
        const char* why;  ///< "": taken
    } rows[] = {
        {"Strings", "a, b", ""},
        {"Strings", " a ,\\tb ", ""},
        {"Strings", "a b", "must be one of a, b"},
        {"Ints", "1, -3 ,+4", ""},
        {"Ints", " ", ""},
        {"Ints", "1, -4", "must be -3 to 2147483647"},
        {"Ints", "1, ,2", "holds what is no integer: "},
        {"Ints", "1,2,3,4", "must have at most 3 items"},
        {"Ints", "1 2", "holds what is no integer: 1 2"},
        {"Longs", "0, 18446744073709551615", ""},
        {"Longs", "18446744073709551616", "holds an integer that is out of range: 18446744073709551616"},
        {"Longs", "-1", "must be at least 0"},
        {"Longs", "-9223372036854775809", "holds an integer that is out of range: -9223372036854775809"},
        {"Tags", "1, 9", ""},
        {"Tags", "1, 10", "must be 0 to 9"},
        {"Booleans", "true, 0", ""},
        {"Booleans", "true, maybe", "holds what is neither true nor false: maybe"},
        {"Decimals", "1.5, -2", ""},
        {"Decimals", "1.5, 4.5", "must be at most 4"},
        {"Decimals", "1.5, nan", "holds what is no number: nan"},
        {"Addresses", "192.0.2.1, 2001:db8::1", ""},
        {"Addresses", "192.0.2.1, 192.0.2", "must be an IP address"},
        {"Times", "2024-05-31T08:30:00Z, 2024-05-31T08:30:00Z", ""},
        {"Many", "Device.T.1., Device.T.1.S.2", ""},
        {"Many", "Device.T.1, Device.T.9", "names nothing that exists: Device.T.9"},
        {"Some", "ax , n", ""},
        {"Some", "ax, b", "must be one of n, ac ,ax"},
    };
    for (const auto& row : rows) {
        std::string text = "\"" + std::string(row.text) + "\"";
        std::string expected = *row.why ? refusal(std::string("Device.") + row.name, 9007, row.why) : "{}";
        EXPECT_EQ(put(row.name, text), expected) << row.name << ": " << row.text;
    }
    EXPECT_EQ(value("Device.Strings"), "' a ,\\tb '");
    EXPECT_EQ(value("Device.Many"), "'Device.T.1,Device.T.1.S.2'");
}

TEST_F(Values, WhatIsTheDefaultIsTaken) {
    for (const char* name : {"One", "Time", "Choice", "Some"}) EXPECT_EQ(put(name, "''"), "{}") << name;
    EXPECT_EQ(put("One", "'ac'"), "{}");
    EXPECT_EQ(put("One", "''"), "{}");
    EXPECT_EQ(put("Time", "'2024-05-31T08:30:00Z'"), "{}");
    EXPECT_EQ(put("Time", "'soon'"),
              refusal("Device.Time", 9007, "must be a date and time such as 2024-05-31T08:30:00Z"));
    EXPECT_EQ(put("Choice", "'y'"), refusal("Device.Choice", 9007, "must be one of x"));
    EXPECT_EQ(put("Must", "''"), refusal("Device.Must", 9007, "must be one of n, ac ,ax"));
}

TEST_F(Values, APrefixMayBeALengthAlone) {
    for (const char* good : {"'/0'", "'/64'", "'/128'", "'::/0'"})
        EXPECT_EQ(put("Prefix", good), "{}") << good;
    for (const char* bad : {"'/'", "'/129'", "'/-1'", "'/x'", "'64'", "'//64'"})
        EXPECT_EQ(put("Prefix", bad),
                  refusal("Device.Prefix", 9007, "must be an IP prefix such as 192.0.2.0/24"))
            << bad;
}

TEST_F(Values, LongIntegersLoseNothing) {
    for (const char* number : {"9223372036854775807", "9007199254740993"}) {
        EXPECT_EQ(put("UnsignedLong", number), "{}");
        EXPECT_EQ(value("Device.UnsignedLong"), number);
        EXPECT_EQ(put("Long", "'-" + std::string(number) + "'", true), "{}");
        EXPECT_EQ(value("Device.Long"), "-" + std::string(number));
    }
    EXPECT_EQ(put("UnsignedLong", "'18446744073709551615'", true),
              refusal("Device.UnsignedLong", 9007, "must be 0 to 9223372036854775807"));
    EXPECT_EQ(put("Long", "'-9223372036854775809'", true),
              refusal("Device.Long", 9007, "must be -9223372036854775808 to 9223372036854775807"));
    EXPECT_EQ(put("Long", "'9223372036854775808x'", true),
              refusal("Device.Long", 9006, "must be an integer"));
    EXPECT_EQ(value("Device.UnsignedLong"), "9007199254740993");
    EXPECT_EQ(put("Decimal", "-999999999999999"), "{}");
    EXPECT_EQ(value("Device.Decimal"), "-999999999999999.0");
    for (const char* number : {"1000000000000000", "-9223372036854775808"})
        EXPECT_EQ(put("Decimal", number), refusal("Device.Decimal", 9007, "must have at most 15 digits"));
}

TEST_F(Values, ADeleteLeavesNoReference) {
    EXPECT_EQ(put("Bare", "'Device.T.1.S.2.'"), "{}");
    EXPECT_EQ(put("Left", "'Device.T.1'"), "{}");
    EXPECT_EQ(put("Top", "'Device.T.1'"), "{}");
    EXPECT_EQ(put("Secret", "'Device.T.1'"), "{}");
    EXPECT_EQ(put("Many", "'Device.T.2, Device.T.1, Device.T.1.S.1'"), "{}");
    EXPECT_EQ(put("T.2.Next", "'Device.T.3'"), "{}");
    EXPECT_EQ(put("T.3.Next", "'Device.T.2'"), "{}");
    changes.clear();
    EXPECT_EQ(del("Device.T.1"), "{}");
    EXPECT_EQ(changes,
              (std::vector<std::string>{"Device.Bare=''", "Device.Left=''", "Device.Top=''",
                                        "Device.Secret=''", "Device.Many='Device.T.2'", "-Device.T.1."}));
    // Two that delete each other go both; nothing is told of what they held.
    changes.clear();
    EXPECT_EQ(del("Device.T.2"), "{}");
    EXPECT_EQ(changes, (std::vector<std::string>{"Device.Shown=''", "-Device.T.3.", "Device.Many=''",
                                                 "-Device.T.2."}));
    EXPECT_EQ(value("Device.Many"), "''");
}

TEST_F(Values, ARestoreLeavesNoReference) {
    EXPECT_EQ(add("Device.T."), "{'InstanceNumber':4}");
    JsonRef saved(store->snapshot());
    EXPECT_EQ(add("Device.T."), "{'InstanceNumber':5}");
    EXPECT_TRUE(store->set_value("Device.Shown", json_string("Device.T.5")));
    std::string error;
    EXPECT_TRUE(store->restore(saved, error)) << error;
    EXPECT_EQ(value("Device.Shown"), "''");
    EXPECT_TRUE(store->set_value("Device.Shown", json_string("Device.T.4")));
    store->reset_defaults({"Device.Shown"});
    EXPECT_EQ(value("Device.Shown"), "''");
    EXPECT_TRUE(store->validate(error)) << error;
}

TEST_F(Values, AListMayNameItsItems) {
    JsonRef params = json_of("{'ParameterNames':['Device.Ints','Device.Tags'],'Level':0}");
    JsonRef result = result_of(store->get_attributes(root, params));
    const json_t* rows = json_object_get(result, "ParameterList");
    for (size_t i = 0; i < 2; i++) {
        const json_t* attributes = json_object_get(json_array_get(rows, i), "Attributes");
        EXPECT_EQ(text_of(json_object_get(attributes, "type")), i == 0 ? "'int[]'" : "'Tag'");
    }
}

}  // namespace
