// Made-up values: whatever bounds a parameter has, they fit it and differ.

#include "store/legal.hpp"

#include <set>

#include "store/load.hpp"
#include "store/value_check.hpp"
#include "store/walk.hpp"
#include "store_fixture.hpp"

using obxd::Model;
using obxd::Schema;
using obxd::ValueMaker;

namespace {

const char* const MODEL = R"({'schema':{'Device':{
  'Text':{'type':'string'},
  'Short':{'type':'string','maxLength':3},
  'Long':{'type':'string','minLength':20},
  'None':{'type':'string','maxLength':0},
  'Time':{'type':'string','regex':'([01][0-9]|2[0-3]):[0-5][0-9]'},
  'Version':{'type':'string','regex':'[0-9]+([.][0-9]+){2}','minLength':7,'maxLength':9},
  'Choice':{'type':'string','enum':['a','b','c']},
  'Choices':{'type':'string[]','enum':['a','b','c'],'minCount':2},
  'Any':{'type':'boolean'},
  'Int':{'type':'int'},
  'Small':{'type':'int','minInclusive':-2,'maxInclusive':1},
  'Below':{'type':'int','maxInclusive':-5},
  'Unsigned':{'type':'unsignedInt','minInclusive':7},
  'Total':{'type':'unsignedLong'},
  'Rate':{'type':'decimal','minInclusive':1,'maxInclusive':2},
  'Numbers':{'type':'unsignedInt[]','minCount':3,'maxCount':3},
  'Date':{'type':'dateTime'},
  'Dates':{'type':'dateTime[]'},
  'Hex':{'type':'hexBinary','minLength':3,'maxLength':3},
  'Octet':{'type':'hexBinary','maxLength':1},
  'Base':{'type':'base64','minLength':5,'maxLength':7},
  'Address':{'type':'IPAddress'},
  'Address6':{'type':'IPAddress','minLength':3,'regex':'[0-9a-f:]+'},
  'Prefix':{'type':'IPPrefix'},
  'Mac':{'type':'MACAddress'},
  'Id':{'type':'UUID'},
  'Url':{'type':'URL'},
  'Alias':{'type':'Alias'},
  'Data':{'type':'json'},
  'Ref':{'type':'pathRef'},
  'Refs':{'type':'pathRef[]'}
  }}})";

struct Legal : testing::Test {
    Model model;
    std::vector<Schema*> parameters;

    bool enter(const obxd::Place&, const std::string&) const { return true; }
    void leave(const obxd::Place&) const {}
    void leaf(const obxd::Place& place, const std::string&) {
        if (place.schema->kind == Schema::PARAMETER && place.pseudo == obxd::Pseudo::NONE)
            parameters.push_back(place.schema);
    }

    void load(const std::string& file) {
        std::string error;
        ASSERT_TRUE(obxd::model_load(model, {file}, error)) << error;
        obxd::walk_all<obxd::Walk::SCHEMA>(*this, obxd::place_of_schema(&model.root));
        ASSERT_FALSE(parameters.empty());
    }
    void load_text(const char* text) {
        CharsRef model_text(json_dumps(json_of(text), 0));
        load(ModelText(model_text.get()).file);
    }

    /// The first values of a parameter.
    std::string first(const std::string& name, uint64_t count) {
        ValueMaker maker(model);
        Schema* parameter = schema_child(schema_child(&model.root, "Device"), name);
        std::string text;
        for (uint64_t number = 0; number < count; number++)
            text += (number ? " " : "") + text_of(JsonRef(maker.numbered(parameter, number)).get());
        return text;
    }

    void check_all(uint64_t count) {
        ValueMaker maker(model);
        for (Schema* parameter : parameters) {
            std::set<std::string> seen;
            for (uint64_t number = 0; number < count; number++) {
                JsonRef value(maker.numbered(parameter, number));
                std::string why;
                ASSERT_TRUE(value) << schema_path(parameter) << " " << number;
                EXPECT_EQ(obxd::value_check(model, parameter, nullptr, value, why), 0)
                    << schema_path(parameter) << " " << number << ": " << text_of(value.get()) << " " << why;
                seen.insert(text_of(value.get()));
            }
            const obxd::Limits& limits = *parameter->limits;
            if (limits.type == OX_TR_PATH_REF || !limits.from.empty()) continue;
            uint64_t most = std::min(count, maker.count(parameter));
            if (limits.list && (!limits.choices.empty() || limits.type == OX_TR_BOOLEAN)) continue;
            if (!limits.patterns.empty() || !limits.sizes.empty()) continue;
            EXPECT_EQ(seen.size(), most) << schema_path(parameter) << ": " << *seen.begin();
        }
    }
};

TEST_F(Legal, LooksLikeWhatPeopleWouldWrite) {
    load_text(MODEL);
    const struct {
        const char* name;
        uint64_t count;
        const char* values;
    } rows[] = {
        {"Text", 2, "'Text-1' 'Text-2'"},
        {"Short", 3, "'000' '001' '002'"},
        {"Long", 2, "'00000000000000000000' '00000000000000000001'"},
        {"None", 2, "'' ''"},
        {"Time", 2, "'00:00' '00:01'"},
        {"Version", 2, "'000.0.0' '000.0.1'"},
        {"Choice", 4, "'a' 'b' 'c' 'a'"},
        {"Choices", 2, "'a,b' 'c,a'"},
        {"Any", 3, "true false true"},
        {"Int", 3, "0 1 2"},
        {"Small", 5, "0 1 -2 -1 0"},
        {"Below", 2, "-2147483648 -2147483647"},
        {"Unsigned", 2, "7 8"},
        {"Total", 2, "0 1"},
        {"Rate", 3, "1.0 1.5 2.0"},
        {"Numbers", 2, "'0,1,2' '3,4,5'"},
        {"Date", 2, "'2024-01-01T00:00:00Z' '2024-01-01T00:01:00Z'"},
        {"Dates", 2, "'2024-01-01T00:00:00Z' '2024-01-01T00:01:00Z'"},
        {"Hex", 2, "'000001' '000002'"},
        {"Octet", 2, "'01' '02'"},
        {"Base", 2, "'AAAAAAE=' 'AAAAAAI='"},
        {"Address", 2, "'10.0.0.1' '10.0.0.2'"},
        {"Address6", 2, "'fd00::1' 'fd00::2'"},
        {"Prefix", 2, "'10.0.0.1/32' '10.0.0.2/32'"},
        {"Mac", 2, "'02:00:00:00:00:01' '02:00:00:00:00:02'"},
        {"Id", 1, "'00000000-0000-4000-8000-000000000001'"},
        {"Url", 2, "'http://127.0.0.1/1' 'http://127.0.0.1/2'"},
        {"Alias", 2, "'cpe-1' 'cpe-2'"},
        {"Data", 2, "{'Number':0} {'Number':1}"},
        {"Ref", 1, "''"},
        {"Refs", 1, "''"},
    };
    for (const auto& row : rows) EXPECT_EQ(first(row.name, row.count), row.values) << row.name;
    check_all(200);
}

TEST_F(Legal, PlainOnesAreEmptyWhereThatFits) {
    load_text(MODEL);
    ValueMaker maker(model);
    const struct {
        const char* name;
        const char* value;
    } rows[] = {{"Text", "''"},    {"Long", "'00000000000000000000'"},
                {"Int", "0"},      {"Unsigned", "7"},
                {"Choice", "'a'"}, {"Numbers", "'0,1,2'"},
                {"Dates", "''"},   {"Alias", "'cpe-1'"},
                {"Any", "false"},  {"Rate", "1.0"}};
    for (const auto& row : rows) {
        Schema* parameter = schema_child(schema_child(&model.root, "Device"), row.name);
        EXPECT_EQ(text_of(JsonRef(maker.plain(parameter)).get()), row.value) << row.name;
    }
}

TEST_F(Legal, ForEveryParameterOfTheRouter) {
    load(OBX_SOURCE_DIR "/models/router.json");
    check_all(60);
}

}  // namespace
