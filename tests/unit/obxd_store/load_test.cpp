// Model files that are wrong, each with the place that is wrong.

#include "store_fixture.hpp"

using obxd::Store;

namespace {

/// The error behind the file's name, or "" when it loads.
std::string load(std::string text) {
    std::replace(text.begin(), text.end(), '\'', '"');
    ModelText model(text);
    std::string error;
    bool loaded = Store::load(model.file, error) != nullptr;
    EXPECT_EQ(loaded, error.empty());
    return loaded ? "" : error.substr(model.file.size());
}

std::string schema(const std::string& members, const std::string& values = "{}") {
    return "{'schema':{'Device':{" + members + "}},'values':" + values + "}";
}

TEST(ModelFile, Errors) {
    const struct {
        std::string text;
        const char* error;
    } rows[] = {
        {"{}", ": no \"schema\" object"},
        {"{'schema':[]}", ": no \"schema\" object"},
        {"[]", ": no \"schema\" object"},
        {schema("'X':5"), ": Device.X: is no JSON object"},
        {schema("'X':{'type':'strin'}"), ": Device.X: no such type \"strin\""},
        {schema("'X':{'type':'strin[]'}"), ": Device.X: no such type \"strin\""},
        {schema("'X':{'type':'int[]','items':'int'}"), ": Device.X: \"items\" beside int[]"},
        {schema("'X':{'type':'json[]'}"), ": Device.X: a list holds no JSON"},
        {schema("'X':{'type':'int[]','items':'int'}"), ": Device.X: \"items\" beside int[]"},
        {schema("'X':{'type':'string','maxlength':5}"), ": Device.X: unknown attribute \"maxlength\""},
        {schema("'X':{'type':'string','maxLength':'5'}"),
         ": Device.X: attribute \"maxLength\" has the wrong JSON type"},
        {schema("'X':{'type':'string','access':'rw','default':''}"),
         ": Device.X: \"access\" is \"readOnly\", \"readWrite\" or \"writeOnceReadOnly\""},
        {schema("'X':{'type':'string','access':'readWrite'}"),
         ": Device.X: a parameter that can be set needs a default"},
        {schema("'X':{'type':'string','default':5}"), ": Device.X: the default must be a string"},
        {schema("'X':{'type':'int','default':5,'maxInclusive':4}"),
         ": Device.X: the default must be -2147483648 to 4"},
        {schema("'X':{'type':'string','regex':'(a'}"), ": Device.X: bad regex \"(a\": it has an open \"(\""},
        {schema("'X':{'type':'json[][]'}"), ": Device.X: a list holds no JSON"},
        {schema("'X':{'type':'list','items':'no'}"), ": Device.X: no such type \"no\""},
        {schema("'X':{'type':'string','read':'nobody'}"), ": Device.X: no such role \"nobody\""},
        {schema("'X':{'type':'pathRef','relations':[{'verdict':4,'match':'A.'}]}"),
         ": Device.X: a relation has a \"verdict\" of 0 to 3 and a \"match\" path"},
        {schema("'X':{'type':'unsignedInt','counts':'Y'}"),
         ": Device.X: \"counts\" names no multi-instance object: Y"},
        {schema("'1':{'type':'int'}"), ": Device: bad name \"1\""},
        {schema("'A.B':{'type':'int'}"), ": Device: bad name \"A.B\""},
        {schema("'max_instance':{'type':'int'}"), ": Device: bad name \"max_instance\""},
        {schema("'#attr':5"), ": Device: \"#attr\" is no JSON object"},
        {schema("'O':{'#attr':{'ordered':true}}"), ": Device.O: \"ordered\" without \"multi\""},
        {schema("'O':{'#attr':{'multi':true,'keys':[['X']]}}"), ": Device.O: \"keys\" names no parameter: X"},
        {schema("'M':{'type':'method','#input':5}"), ": Device.M: #input is no JSON object"},
        {schema("'M':{'type':'method','#input':{'X':{'type':'no'}}}"),
         ": Device.M.#input.X: no such type \"no\""},
        {schema("'M':{'type':'method','#output':{'X':{'type':'no'}}}"),
         ": Device.M.#output.X: no such type \"no\""},
        {schema("'M':{'type':'method','#input':{'X':{'type':'int','default':''}}}"),
         ": Device.M.#input.X: the default must be an integer"},
        {schema("'X':{'type':'int'}", "{'Device':{'X':''}}"), ": Device.X: must be an integer"},
        {schema("'X':{'type':'int'}", "{'Device':{'Y':1}}"), ": Device.Y: the model has no such name"},
        {schema("'O':{'#attr':{'multi':true}}", "{'Device':{'O':{'a':{}}}}"),
         ": Device.O.a: is no instance number"},
        {schema("'O':{'#attr':{'multi':true}}", "{'Device':{'O':{'1':5}}}"),
         ": Device.O.1.: must be a JSON object"},
        {"{'types':{'A':{'type':'B'},'B':{'type':'A'}},'schema':{'X':{'type':'A'}}}",
         ": X: no such type \"A\""},
        {"{'schema':{}", ":1:12: '}' expected"},
        {"{'schema':{'A':{},'A':{}}}", ":1:21: duplicate object key"},
    };
    for (auto& row : rows) EXPECT_EQ(load(row.text), row.error) << row.text;
}

TEST(ModelFile, TooDeep) {
    std::string text = "{'schema':";
    for (int i = 0; i < 100; i++) text += "{'A':";
    text += "{}" + std::string(101, '}');
    EXPECT_NE(load(text).find("nested too deeply"), std::string::npos);
}

TEST(ModelFile, Missing) {
    std::string error;
    EXPECT_FALSE(Store::load("/no such model", error));
    EXPECT_NE(error.find("No such file"), std::string::npos) << error;
}

TEST(ModelFile, TheSmallestOne) {
    EXPECT_EQ(load("{'schema':{}}"), "");
}

TEST(ModelFile, NamedTypesMayBeNarrowed) {
    EXPECT_EQ(
        load("{'types':{'A':{'type':'B','maxLength':3},'B':{'type':'string','minLength':1}},'schema':{'X':"
             "{'type':'A','maxLength':2,'default':'ab'}}}"),
        "");
    EXPECT_EQ(
        load("{'types':{'A':{'type':'B','maxLength':3},'B':{'type':'string','minLength':1}},'schema':{'X':"
             "{'type':'A','maxLength':2,'default':'abc'}}}"),
        ": X: the default must be 1 to 2 characters long");
}

}  // namespace
