// Bounds as official models have them: several ranges and sizes, steps, patterns, lists of lists, values that
// are told but not set, keys that bind enabled rows, references that are relative or weak.

#include "store_fixture.hpp"

using obxd::Store;

namespace {

const char* const MODEL = R"({'types':{
  'IPv4Address':{'type':'IPAddress'}, 'IPv6Address':{'type':'IPAddress'},
  'IPv4Prefix':{'type':'IPPrefix'}, 'IPv6Prefix':{'type':'IPPrefix'}, 'Near':{'type':'IPv6Address'},
  'Pair':{'type':'int[]','minCount':2,'maxCount':2,'maxInclusive':9}
  },'schema':{'Device':{
  'Ranges':{'type':'int','access':'readWrite','default':0,'ranges':[{'min':-1,'max':-1},{'min':0,'max':15},{'min':100}]},
  'Steps':{'type':'int','access':'readWrite','default':0,'ranges':[{'min':-127000,'max':0,'step':500}]},
  'Even':{'type':'int','access':'readWrite','default':0,'ranges':[{'step':2}]},
  'Real':{'type':'decimal','access':'readWrite','default':0,'ranges':[{'min':0,'max':1.5,'step':0.25},{'min':10}]},
  'Greatest':{'type':'unsignedLong','access':'readWrite','default':0,'maxInclusive':18446744073709551615},
  'Sizes':{'type':'hexBinary','access':'readWrite','default':'','sizes':[{'max':0},{'min':2,'max':3}]},
  'Texts':{'type':'string','access':'readWrite','default':'ab','sizes':[{'min':2,'max':2},{'min':5}]},
  'Patterns':{'type':'string','access':'readWrite','default':'','patterns':['','\\d+\\.\\d+']},
  'PatternList':{'type':'list','access':'readWrite','default':'','patterns':['[0-9A-F]{6}'],'maxCount':2},
  'Whole':{'type':'list','access':'readWrite','default':'','maxLength':4,'listSizes':[{'max':10}],'maxCount':5},
  'Pairs':{'type':'Pair[]','access':'readWrite','default':'','maxCount':3,'brackets':'required'},
  'Loose':{'type':'Pair[]','access':'readWrite','default':''},
  'Flat':{'type':'Pair[]','access':'readWrite','default':'','brackets':'prohibited'},
  'V4':{'type':'IPv4Address','access':'readWrite','default':''},
  'V6':{'type':'IPv6Address','access':'readWrite','default':''},
  'Near':{'type':'Near[]','access':'readWrite','default':''},
  'P4':{'type':'IPv4Prefix','access':'readWrite','default':''},
  'P6':{'type':'IPv6Prefix','access':'readWrite','default':''},
  'State':{'type':'string','access':'readWrite','default':'None','enum':['None',
    {'value':'Requested','description':'asks for it'},{'value':'Complete','access':'readOnly','description':'is done'},
    {'value':'Gone','status':'deleted'},{'value':'Past','status':'obsoleted'},{'value':'Old','status':'deprecated'}]},
  'Numbers':{'type':'int[]','access':'readWrite','default':'','enum':[1,2]},
  'Once':{'type':'string','access':'writeOnceReadOnly','default':''},
  'Secret':{'type':'string','access':'readWrite','default':'','hidden':true},
  'Supported':{'type':'list','default':'a,b','access':'readWrite'},
  'Nothing':{'type':'list','default':''},
  'Sub':{
    'Used':{'type':'string','access':'readWrite','default':'','from':'#.Supported','nullValue':'Auto'},
    'Several':{'type':'list','access':'readWrite','default':'','from':'.Supported'},
    'Void':{'type':'string','access':'readWrite','default':'','from':'##.Device.Nothing'}},
  'Rows':{'#attr':{'multi':true,'access':'readWrite','keys':[{'names':['Name'],'functional':true},['Id']],
      'enable':'Enable','minCount':1,'counter':'HowMany'},
    'Enable':{'type':'boolean','access':'readWrite','default':false},
    'Name':{'type':'string','access':'readWrite','default':''},
    'Id':{'type':'int','access':'readWrite','default':0},
    'Strong':{'type':'pathRef','access':'readWrite','default':'','foreign_key':'#.Rows.'},
    'Cell':{'#attr':{'multi':true,'access':'readWrite'},
      'Alias':{'type':'Alias','access':'writeOnceReadOnly','default':'cpe'},
      'Same':{'type':'pathRef','access':'readWrite','default':'','foreign_key':'#.Cell.'},
      'Weak':{'type':'pathRef','access':'readWrite','default':'','foreign_key':'#.Cell.','weak':true}}},
  'HowMany':{'type':'unsignedInt'},
  'Value':{'type':'pathRef','access':'readWrite','default':'','target':'parameter'},
  'Missing':{'type':'pathRef','access':'readWrite','default':'','foreign_key':'.NoSuch.,.Rows.'},
  'Missed':{'type':'pathRef','access':'readWrite','default':'','foreign_key':'Device.NoSuch.'}
  }},'values':{'Device':{'Rows':{'1':{'Cell':{'1':{},'2':{}}},'2':{'Cell':{'1':{}}}}}}})";

struct Facets : StoreTest {
    void SetUp() override {
        std::string error;
        store = store_of(MODEL, error);
        ASSERT_TRUE(store) << error;
    }
    std::string put(const std::string& name, const std::string& value_text) {
        return set("'Device." + name + "':" + value_text, admin);
    }
};

TEST_F(Facets, Values) {
    const struct {
        const char* name;
        const char* value;
        const char* why;  ///< null: taken
    } rows[] = {
        {"Ranges", "-1", nullptr},
        {"Ranges", "15", nullptr},
        {"Ranges", "16", "must be -1 or 0 to 15 or 100 to 2147483647"},
        {"Ranges", "-2", "must be -1 or 0 to 15 or 100 to 2147483647"},
        {"Ranges", "2147483648", "must be -1 or 0 to 15 or 100 to 2147483647"},
        {"Steps", "-126500", nullptr},
        {"Steps", "-127000", nullptr},
        {"Steps", "-126501", "must be -127000 to 0 in steps of 500"},
        {"Steps", "500", "must be -127000 to 0 in steps of 500"},
        {"Even", "-4", nullptr},
        {"Even", "3", "must be -2147483648 to 2147483647 in steps of 2"},
        {"Real", "0.75", nullptr},
        {"Real", "12.1", nullptr},
        {"Real", "0.8", "must be 0 to 1.5 in steps of 0.25 or at least 10"},
        {"Real", "2", "must be 0 to 1.5 in steps of 0.25 or at least 10"},
        {"Greatest", "9223372036854775807", nullptr},
        {"Greatest", "-1", "must be at least 0"},
        {"Sizes", "'aabb'", nullptr},
        {"Sizes", "''", nullptr},
        {"Sizes", "'aa'", "must be 0 or 2 to 3 octets long"},
        {"Texts", "'abcde'", nullptr},
        {"Texts", "'abc'", "must be 2 or at least 5 characters long"},
        {"Patterns", "''", nullptr},
        {"Patterns", "'10.2'", nullptr},
        {"Patterns", "'10.'", "does not match the pattern"},
        {"PatternList", "'00AA11, 22BB33'", nullptr},
        {"PatternList", "'00AA11,2'", "does not match the pattern"},
        {"PatternList", "'00AA11,22BB33,44CC55'", "must have at most 2 items"},
        {"Whole", "'abcd,abcd'", nullptr},
        {"Whole", "'abcde'", "must be at most 4 characters long"},
        {"Whole", "'abc,abc,abc'", "must be at most 10 characters long as a whole"},
        {"Pairs", "'[1,2],[3,-4]'", nullptr},
        {"Pairs", "'[1,2]'", nullptr},
        {"Pairs", "''", nullptr},
        {"Pairs", "'1,2'", "must be lists in brackets, such as [1,2],[3,4]"},
        {"Pairs", "'[1,2,3]'", "must have 2 items"},
        {"Pairs", "'[1,10]'", "must be -2147483648 to 9"},
        {"Pairs", "'[1,x]'", "holds what is no integer: x"},
        {"Pairs", "'[1,2],[1,2],[1,2],[1,2]'", "must have at most 3 items"},
        {"Loose", "'[1,2]'", nullptr},
        {"Loose", "'1,2,3,4'", nullptr},
        {"Loose", "'1,x'", "holds what is no integer: x"},
        {"Flat", "'1,2'", nullptr},
        {"Flat", "'[1,2]'", "must be written without brackets"},
        {"V4", "'192.0.2.1'", nullptr},
        {"V4", "''", nullptr},
        {"V4", "'2001:db8::1'", "must be an IPv4 address"},
        {"V6", "'2001:db8::1'", nullptr},
        {"V6", "'192.0.2.1'", "must be an IPv6 address"},
        {"Near", "'2001:db8::1,::'", nullptr},
        {"Near", "'::,192.0.2.1'", "must be an IPv6 address"},
        {"P4", "'192.0.2.0/24'", nullptr},
        {"P4", "'/32'", nullptr},
        {"P4", "'/33'", "must be an IPv4 prefix such as 192.0.2.0/24"},
        {"P4", "'2001:db8::/32'", "must be an IPv4 prefix such as 192.0.2.0/24"},
        {"P6", "'2001:db8::/32'", nullptr},
        {"P6", "'/128'", nullptr},
        {"P6", "'192.0.2.0/24'", "must be an IPv6 prefix such as 2001:db8::/32"},
        {"State", "'Requested'", nullptr},
        {"State", "'Old'", nullptr},
        {"State", "'Complete'", "must be one of None, Requested, Old"},
        {"State", "'Past'", "must be one of None, Requested, Old"},
        {"State", "'Gone'", "must be one of None, Requested, Old"},
        {"Numbers", "'1,2,1'", nullptr},
        {"Numbers", "'1,3'", "must be one of 1, 2"},
        {"Sub.Used", "'b'", nullptr},
        {"Sub.Used", "'Auto'", nullptr},
        {"Sub.Used", "'c'", "must be one of a,b"},
        {"Sub.Several", "'b,a'", nullptr},
        {"Sub.Several", "'b,c'", "must be one of a,b"},
        {"Sub.Void", "''", nullptr},
        {"Sub.Void", "'x'", "must be one of the items of Device.Nothing, which has none"},
        {"Value", "'Device.HowMany'", nullptr},
        {"Value", "'Device.Rows.1.'", "must name a parameter"},
        {"Missing", "'Device.Rows.1.'", nullptr},
        {"Missed", "'Device.Rows.1.'", nullptr},
        {"Missed", "'Device.Rows.9.'", "names nothing that exists: Device.Rows.9."},
        {"Missing", "'Device.Rows.'", "must name an instance of Device.NoSuch or Device.Rows"},
    };
    for (const auto& row : rows) {
        std::string expected = row.why ? refusal(std::string("Device.") + row.name, 9007, row.why) : "{}";
        EXPECT_EQ(put(row.name, row.value), expected) << row.name << ' ' << row.value;
    }
}

TEST_F(Facets, WhatTheDeviceSaysAClientNeedNotSay) {
    EXPECT_TRUE(store->set_value("Device.State", json_string("Complete")));
    EXPECT_EQ(value("Device.State"), "'Complete'");
    std::string error;
    EXPECT_TRUE(store->validate(error)) << error;
    JsonRef saved(store->snapshot());
    EXPECT_TRUE(store->restore(saved, error)) << error;
    EXPECT_EQ(value("Device.State"), "'Complete'");
    EXPECT_FALSE(store->set_value("Device.State", json_string("Gone")));
}

TEST_F(Facets, WhatIsMissingIsToldOnce) {
    EXPECT_EQ(store->notes(),
              std::vector<std::string>{"Device.NoSuch is not in the model; Device.Missing refers to it"});
}

TEST_F(Facets, SetOnce) {
    EXPECT_EQ(put("Once", "''"), "{}");
    EXPECT_EQ(put("Once", "'first'"), "{}");
    EXPECT_EQ(put("Once", "'first'"), "{}");
    std::string spent = "was set before, and can be set once only";
    EXPECT_EQ(put("Once", "'second'"), refusal("Device.Once", 9008, spent));
    EXPECT_EQ(value("Device.Once"), "'first'");
    EXPECT_EQ(ask(&Store::get_names, "{'ParameterPath':'Device.Once','NextLevel':false}"),
              "{'ParameterList':[{'Name':'Device.Once','Writable':false}]}");
    // An alias that the device gave counts as none.
    EXPECT_EQ(add("Device.Rows.1.Cell"), "{'InstanceNumber':3}");
    EXPECT_EQ(value("Device.Rows.1.Cell.3.Alias"), "'cpe-3'");
    EXPECT_EQ(put("Rows.1.Cell.3.Alias", "'mine'"), "{}");
    EXPECT_EQ(put("Rows.1.Cell.3.Alias", "'other'"), refusal("Device.Rows.1.Cell.3.Alias", 9008, spent));
}

TEST_F(Facets, HiddenValuesReadEmpty) {
    EXPECT_EQ(put("Secret", "'known'"), "{}");
    EXPECT_EQ(value("Device.Secret"), "''");
}

TEST_F(Facets, FunctionalKeysBindEnabledRows) {
    EXPECT_EQ(put("Rows.1.Name", "'x'"), "{}");
    EXPECT_EQ(put("Rows.2.Name", "'x'"), "{}");
    EXPECT_EQ(put("Rows.1.Enable", "true"), "{}");
    EXPECT_EQ(put("Rows.2.Enable", "true"),
              refusal("Device.Rows.2.Enable", 9007, "has the same Name as Device.Rows.1."));
    EXPECT_EQ(value("Device.Rows.2.Enable"), "false");
    EXPECT_EQ(set("'Device.Rows.2.Enable':true,'Device.Rows.2.Name':'y'"), "{}");
    EXPECT_EQ(put("Rows.2.Name", "'x'"),
              refusal("Device.Rows.2.Name", 9007, "has the same Name as Device.Rows.1."));
    EXPECT_EQ(put("Rows.1.Enable", "false"), "{}");
    EXPECT_EQ(put("Rows.2.Name", "'x'"), "{}");
    // The other key binds them all.
    EXPECT_EQ(put("Rows.1.Id", "7"), "{}");
    EXPECT_EQ(put("Rows.2.Id", "7"), refusal("Device.Rows.2.Id", 9007, "has the same Id as Device.Rows.1."));
    std::string error;
    EXPECT_TRUE(store->validate(error)) << error;
}

TEST_F(Facets, CountersAndLeastNumbers) {
    EXPECT_EQ(value("Device.HowMany"), "2");
    EXPECT_EQ(del("Device.Rows.2"), "{}");
    EXPECT_EQ(value("Device.HowMany"), "1");
    EXPECT_EQ(del("Device.Rows.1"), "9001 Device.Rows. holds at least 1");
    EXPECT_EQ(value("Device.HowMany"), "1");
    EXPECT_EQ(add("Device.Rows"), "{'InstanceNumber':3}");
    EXPECT_EQ(del("Device.Rows.1"), "{}");
    EXPECT_TRUE(store->delete_instance("Device.Rows.3."));
}

TEST_F(Facets, RelativeReferencesStayInTheirRow) {
    std::string same = "Rows.1.Cell.1.Same";
    EXPECT_EQ(put(same, "'Device.Rows.1.Cell.2.'"), "{}");
    EXPECT_EQ(put(same, "'Device.Rows.2.Cell.1'"),
              refusal("Device." + same, 9007, "must name an instance of Device.Rows.1.Cell"));
    EXPECT_EQ(put(same, "'Device.Rows.1'"),
              refusal("Device." + same, 9007, "must name an instance of Device.Rows.1.Cell"));
    EXPECT_EQ(put("Rows.2.Strong", "'Device.Rows.1'"), "{}");
    // Weak ones name what they like, and are left alone.
    std::string weak = "Rows.1.Cell.1.Weak";
    EXPECT_EQ(put(weak, "'Device.Rows.1.Cell.9'"), "{}");
    EXPECT_EQ(put(weak, "'Device.Rows.2.Cell.1'"),
              refusal("Device." + weak, 9007, "must name an instance of Device.Rows.1.Cell"));
    EXPECT_EQ(put(weak, "'Device.Rows.1.Cell.2'"), "{}");
    EXPECT_EQ(del("Device.Rows.1.Cell.2"), "{}");
    EXPECT_EQ(value("Device." + same), "''");
    EXPECT_EQ(value("Device." + weak), "'Device.Rows.1.Cell.2'");
    EXPECT_EQ(del("Device.Rows.1"), "{}");
    EXPECT_EQ(value("Device.Rows.2.Strong"), "''");
}

}  // namespace
