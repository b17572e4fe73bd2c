// The modules of the module directory: each entry is required under its name, whatever it is.
#include "lua/lua_modules.hpp"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace {
std::string module_directory;
}  // namespace

// The room's own code, with a directory of the test's.
#undef OBX_LUA_MODULE_DIR
#define OBX_LUA_MODULE_DIR module_directory.c_str()
#include "lua/lua_modules.cpp"  // NOLINT(bugprone-suspicious-include)

namespace {

class LuaModulesTest : public ::testing::Test {
protected:
    void SetUp() override {
        char name[] = "/tmp/obx_modules_XXXXXX";
        ASSERT_NE(mkdtemp(name), nullptr);
        root = name;
        module_directory = root + "/ombrix";
        L = luaL_newstate();
        luaL_openlibs(L);
        lua_modules_add_path(L);
    }
    void TearDown() override {
        lua_close(L);
        std::filesystem::remove_all(root);
    }

    void write(const std::string& name, const char* code) const {
        std::filesystem::path path = module_directory + "/" + name;
        std::filesystem::create_directories(path.parent_path());
        std::ofstream(path) << code;
    }

    std::string preload() {
        testing::internal::CaptureStdout();
        int top = lua_gettop(L);
        lua_preload_modules(L);
        EXPECT_EQ(lua_gettop(L), top);
        fflush(stdout);
        return testing::internal::GetCapturedStdout();
    }

    std::string eval(const std::string& expression) {
        if (luaL_dostring(L, ("return tostring(" + expression + ")").c_str()) != LUA_OK) return "failed";
        std::string text = lua_tostring(L, -1);
        lua_settop(L, 0);
        return text;
    }

    lua_State* L = nullptr;
    std::string root;
};

TEST_F(LuaModulesTest, NoDirectory) {
    EXPECT_EQ(preload(), "");
}

TEST_F(LuaModulesTest, ModuleIsBoundToItsShortName) {
    write("pack/init.lua", "return {name = ...}");
    EXPECT_EQ(preload(), "> preloaded pack\n");
    EXPECT_EQ(eval("pack.name"), "ombrix.pack");
    EXPECT_EQ(eval("package.loaded['ombrix.pack'] == pack"), "true");
}

TEST_F(LuaModulesTest, SuffixOfAnObjectIsCutAndNoOther) {
    write("both.so", "no object");
    write("both.lua", "return {kind = 'found'}");
    EXPECT_EQ(preload(), "> preloaded both\n");
    EXPECT_EQ(eval("both.kind"), "found");
}

// A source file is required under its full name, which stands for a file "lua.lua" in a directory.
TEST_F(LuaModulesTest, SourceFileAloneIsNotFound) {
    write("one.lua", "return {}");
    EXPECT_EQ(preload(), "");
    EXPECT_EQ(eval("one"), "nil");
    write("one/lua.lua", "return {kind = 'odd'}");
    // Now the directory "one" leads to the file too.
    std::string text = preload();
    EXPECT_NE(text.find("> preloaded one.lua\n"), std::string::npos) << text;
    EXPECT_NE(text.find("> preloaded one\n"), std::string::npos) << text;
    EXPECT_EQ(eval("_G['one.lua'].kind"), "odd");
}

TEST_F(LuaModulesTest, FailuresAreIgnored) {
    write("broken/init.lua", "error('at load')");
    write("syntax/init.lua", "= 1");
    write("odd/init.lua", "error({})");
    write("empty.so", "");
    write(".so", "");
    write(std::string(251, 'n') + ".so", "");
    write("good/init.lua", "");
    EXPECT_EQ(preload(), "> preloaded good\n");
    EXPECT_EQ(eval("good"), "true");
}

TEST_F(LuaModulesTest, RequireThatIsGone) {
    write("good/init.lua", "");
    luaL_dostring(L, "require = nil");
    EXPECT_EQ(preload(), "");
}

}  // namespace
