#include "users/users.hpp"

#include <gtest/gtest.h>
#include <stdio.h>
#include <unistd.h>

#include "users/hash.hpp"

namespace {

using namespace obxd;

class UsersFile : public testing::Test {
protected:
    std::string path_ = testing::TempDir() + "obxd_users." + std::to_string(getpid());
    Users users_;
    std::string error_;

    bool load(const std::string& text) {
        FILE* file = fopen(path_.c_str(), "w");
        fputs(text.c_str(), file);
        fclose(file);
        error_.clear();
        return users_load(path_, users_, error_);
    }
    void TearDown() override { unlink(path_.c_str()); }
};

TEST_F(UsersFile, ReadsUsers) {
    std::string token = token_hash("secret token");
    ASSERT_TRUE(load(R"({"users":[{"name":"ann","role":"admin","system_access":true,"tokens":[")" + token +
                     R"("]},{"name":"bob","role":"user","password":")" + password_hash("pw") + R"("}]})"))
        << error_;
    ASSERT_TRUE(users_find(users_, "ann"));
    EXPECT_TRUE(users_find(users_, "ann")->system_access);
    EXPECT_FALSE(users_find(users_, "bob")->system_access);
    EXPECT_EQ(users_find(users_, "Ann"), nullptr);
    EXPECT_EQ(users_by_token(users_, "secret token"), users_find(users_, "ann"));
    EXPECT_EQ(users_by_token(users_, token), nullptr) << "a stolen hash is no token";
    EXPECT_EQ(users_by_token(users_, ""), nullptr);
    EXPECT_TRUE(password_matches(users_find(users_, "bob")->password, "pw"));
}

TEST_F(UsersFile, RefusesWhatIsWrong) {
    const struct {
        const char *text, *error;
    } rows[] = {
        {"{", "cannot read the users: "},
        {"{}", "no list \"users\""},
        {R"({"users":[{}]})", "an entry of \"users\" has no \"name\" of 1 to 64 bytes"},
        {R"({"users":[{"name":"","role":"user"}]})",
         "an entry of \"users\" has no \"name\" of 1 to 64 bytes"},
        {R"({"users":[{"name":"a"}]})", "the \"role\" of a is none of user, admin and system"},
        {R"({"users":[{"name":"a","role":"king"}]})", "the \"role\" of a is none of user, admin and system"},
        {R"({"users":[{"name":"a","role":"user","password":"plain"}]})",
         "the \"password\" of a is no hash (obxd --hash-password makes one)"},
        {R"({"users":[{"name":"a","role":"user","tokens":["short"]}]})",
         "the \"tokens\" of a are no list of SHA-256 digests"},
        {R"({"users":[{"name":"a","role":"user"},{"name":"a","role":"user"}]})", "user a stands there twice"},
    };
    for (const auto& row : rows) {
        EXPECT_FALSE(load(row.text)) << row.text;
        EXPECT_EQ(error_.rfind(path_ + ": " + row.error, 0), 0u) << error_;
    }
    EXPECT_FALSE(users_load("/nonexistent/users.json", users_, error_));
    EXPECT_NE(error_.find("/nonexistent/users.json: cannot read the users: "), std::string::npos) << error_;
}

TEST_F(UsersFile, TakesPasswordsOfTheSystem) {
    const char* rows[] = {"$y$j9T$F5Jx5fExrKuPp53xLKQ..1$GmcwIgvdUC9qLWcKCi6gklUa1dM3ziD43YxYNURLKy0",
                          "!$y$j9T$F5Jx5fExrKuPp53xLKQ..1$GmcwIgvdUC9qLWcKCi6gklUa1dM3ziD43YxYNURLKy0",
                          "$5$saltsalt$0IyaXrmV7.sGNS6tirgqHLqX/G.FBvgkYA.lpPdS5sA"};
    for (const char* hash : rows)
        EXPECT_TRUE(
            load(std::string(R"({"users":[{"name":"a","role":"user","password":")") + hash + R"("}]})"))
            << error_;
    const char* wrong[] = {
        "", "!", "$", "$x$salt$hash", "pbkdf2-sha256$20000$salt$hash", "secret$6$", "!!$6$saltsalt$hash"};
    for (const char* hash : wrong)
        EXPECT_FALSE(
            load(std::string(R"({"users":[{"name":"a","role":"user","password":")") + hash + R"("}]})"))
            << hash;
}

TEST_F(UsersFile, WhoHasNoPasswordIsCheckedLikeTheOthers) {
    EXPECT_EQ(users_hash(users_, "nobody").substr(0, 4), "!$6$");
    ASSERT_TRUE(load(R"({"users":[{"name":"root","role":"system"},
                                  {"name":"ann","role":"user","password":"$5$saltsalt$x"}]})"))
        << error_;
    EXPECT_EQ(users_hash(users_, "ann"), "$5$saltsalt$x");
    EXPECT_EQ(users_hash(users_, "root"), "!$5$saltsalt$x");
    EXPECT_EQ(users_hash(users_, "nobody"), "!$5$saltsalt$x");
    ASSERT_TRUE(load(R"({"users":[{"name":"ann","role":"user","password":"!$5$saltsalt$x"}]})")) << error_;
    EXPECT_EQ(users_hash(users_, "nobody"), "!$5$saltsalt$x") << "locked once";
}

TEST(Login, WithoutAPassword) {
    Users users;
    for (const char* name : {"root", "nobody", "ann"}) users_add_owner(users, name);
    Peer root{true, 0};
    Peer nobody{true, 65534};
    Peer remote{false, 0};
    const struct {
        Peer peer;
        const char *login, *user, *reason;
    } rows[] = {
        {root, "root", "root", ""},
        {root, "ann", "ann", ""},
        {root, "unknown", nullptr, "Unknown user"},
        {root, "", nullptr, "Unknown user"},
        {nobody, "nobody", "nobody", ""},
        {nobody, "", nullptr, "A password is needed"},
        {nobody, "root", nullptr, "A password is needed"},
        {nobody, "unknown", nullptr, "A password is needed"},
        {remote, "root", nullptr, "A password is needed over the network"},
        {remote, "", nullptr, "A password is needed over the network"},
    };
    for (const auto& row : rows) {
        std::string reason;
        const User* user = login_without_password(users, row.peer, row.login, reason);
        EXPECT_EQ(user, row.user ? users_find(users, row.user) : nullptr) << row.login;
        EXPECT_EQ(reason, row.reason);
    }
}

TEST(Login, TheOwnerOfTheDaemonIsKnown) {
    Users users;
    users_add_owner(users, "dev");
    users_add_owner(users, "dev");
    users_add_owner(users, "");
    ASSERT_EQ(users.list.size(), 1u);
    EXPECT_EQ(caller_of(users.list[0]).role, "admin");
    EXPECT_TRUE(caller_of(users.list[0]).system_access);
}

}  // namespace
