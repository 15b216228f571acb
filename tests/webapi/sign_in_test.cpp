// What proves who a worker's request is from: sessions, keys and passwords.
#include "service/people/sign_in.h"
#include "service/people/keys.h"
#include "service/people/people.h"
#include "service/people/settings.h"
#include "varn/crypt.h"
#include "varn/logins.h"
#include "webapi/api.h"

namespace {

using namespace tonvale_test;

class SignIn : public DatabaseTest, protected Api {
  protected:
    void SetUp() override {
        DatabaseTest::SetUp();
        tonvale_service::MakeUsers();
        for (const char *user : {"alice", "bob"}) {
            ASSERT_TRUE(varn::SetLogin(user, std::string(user) + "'s password"));
        }
    }

    // The whole answer to a POST of a form, or to a GET where there is none.
    static std::string Send(const std::string &method, const std::string &form,
                            Variables variables = {}) {
        const std::size_t dot = method.find('.');
        variables.insert({{"SCGI", "1"},
                          {"REMOTE_USER", "alice"},  // any client can send it
                          {"REMOTE_ADDR", "192.0.2.1"},
                          {"REQUEST_METHOD", form.empty() ? "GET" : "POST"},
                          {"CONTENT_TYPE", "application/x-www-form-urlencoded"},
                          {"CONTENT_LENGTH", std::to_string(form.size())},
                          {"QUERY_STRING", "version=1&api=VARN.Tonvale." + method.substr(0, dot) +
                                               "&method=" + method.substr(dot + 1)}});
        return RunCgi(variables, form);
    }
    static int CodeOf(const std::string &method, const std::string &form,
                      const Variables &variables) {
        return Parsed(Send(method, form, variables))["error"]["code"].asInt();
    }
    // The user that a request is taken for, or the code of its refusal.
    static std::string Who(const Variables &variables) {
        const Json::Value reply = Parsed(Send("Info.get", "", variables));
        return reply["success"].asBool() ? reply["data"]["user"]["name"].asString()
                                         : reply["error"]["code"].asString();
    }

    static Variables Basic(const std::string &login, const std::string &address = "192.0.2.1") {
        std::string encoded(4 * login.size() + 5, '\0');
        VLIBCBase64SzEncodeOneLine(login.c_str(), encoded.data(), encoded.size());
        return {{"HTTP_AUTHORIZATION", std::string("Basic ") + encoded.c_str()},
                {"REMOTE_ADDR", address}};
    }
    static Variables Bearer(const std::string &key) {
        return {{"HTTP_AUTHORIZATION", "bearer " + key}};
    }
    static Variables Cookie(const std::string &token) {
        return {{"HTTP_COOKIE", "a=b; tonvale_session=" + token + "; c=d"}};
    }
    static std::string Part(const std::string &text, const std::string &before, char end) {
        const std::size_t begin = text.find(before);
        EXPECT_NE(begin, text.npos) << text;
        const std::size_t first = begin + before.size();
        return text.substr(first, text.find(end, first) - first);
    }
    static std::string LogIn(const std::string &user, const std::string &password,
                             const Variables &more = {}) {
        const std::string answer =
            Send("Auth.login", "name=" + user + "&password=" + Encoded(password), more);
        EXPECT_EQ(answer.find("; Secure") != answer.npos, more.contains("HTTPS"));
        EXPECT_NE(answer.find("; HttpOnly; SameSite=Strict"), answer.npos) << answer;
        return Part(answer, "Set-Cookie: tonvale_session=", ';');
    }
    static std::string LogInAlice() { return LogIn("alice", kAlicesPassword); }
    // A new key of the session's user.
    static std::string NewKey(const std::string &session) {
        return Part(Send("User.add_key", "for=a+phone", Cookie(session)), "\"key\":\"", '"');
    }

    static constexpr char kAlicesPassword[] = "alice's password";
};

TEST_F(SignIn, TakesOnlyWhatProvesTheUser) {
    const std::string session = LogInAlice();
    const std::string key = NewKey(session);
    Variables both = Basic("bob:bob's password");
    both.merge(Cookie(session));
    Variables wrong = Basic("bob:x");
    wrong.merge(Cookie(session));
    const std::pair<Variables, std::string> cases[] = {
        {{}, "401"},
        {Cookie(session), "alice"},
        {Cookie(session + "a; tonvale_session=" + session), "alice"},
        {Cookie(key), "401"},
        {Cookie(session + "a"), "401"},
        {Cookie("' OR '1'='1"), "401"},
        {{{"HTTP_COOKIE", "xtonvale_session=" + session}}, "401"},
        {Bearer(key), "alice"},
        {Bearer(session), "401"},
        {Bearer(""), "401"},
        {Basic("bob:bob's password"), "bob"},
        {Basic("bob:bob's password"), "bob"},  // remembered
        {Basic("bob:alice's password"), "401"},
        {Basic("bob:"), "401"},
        {Basic("bob"), "401"},
        {Basic("nobody:bob's password"), "401"},
        {Basic("guest:"), "401"},  // an account without a login
        {Basic("bob:" + std::string(700, 'x')), "401"},
        {{{"HTTP_AUTHORIZATION", "Basic %%%"}}, "401"},
        {{{"HTTP_AUTHORIZATION", "Negotiate x"}}, "401"},
        {both, "bob"},
        {wrong, "401"},
    };
    for (const auto &[variables, who] : cases) {
        EXPECT_EQ(Who(variables), who)
            << (variables.empty() ? "nothing" : variables.begin()->second);
    }
}

TEST_F(SignIn, KeepsNoSecretInTheDatabase) {
    const std::string session = LogInAlice();
    const std::string key = NewKey(session);
    EXPECT_EQ(Value("SELECT count(*) FROM session WHERE token = '" + session + "'"), "0");
    EXPECT_EQ(Value("SELECT count(*) FROM access_key WHERE '" + key + "' IN (token, secret)"), "0");
    const auto isMeant = [&](const std::string &known) { return known == key; };
    EXPECT_TRUE(tonvale_service::FindKeyOf("alice", isMeant));
    EXPECT_FALSE(tonvale_service::FindKeyOf("bob", isMeant));
}

TEST_F(SignIn, LetsNoKeyChangeTheAccount) {
    const Variables key = Bearer(NewKey(LogInAlice()));
    for (const auto &[method, form] :
         {std::pair("User.add_key", "for=x"),
          {"User.remove_key", "id=1"},
          {"User.change_password", "old=alice%27s+password&new=12345678"},
          {"Auth.end", "id=1"}}) {
        EXPECT_EQ(CodeOf(method, form, key), 403) << method;
    }
    EXPECT_EQ(CodeOf("User.remove_key", "id=1", Basic("bob:bob's password")), 404) << "alice's";
}

TEST_F(SignIn, RefusesBadLoginForms) {
    const std::string right = "name=alice&password=alice%27s+password";
    for (const auto &[form, code] : {std::pair(std::string("name=alice"), 400),
                                     {"password=x", 400},
                                     {"name=&password=x", 400},
                                     {right + "&name=alice", 400},
                                     {right + "&password=x", 400},
                                     {right + std::string(2 << 20, 'x'), 400},
                                     {right + std::string(900'000, 'x'), 401},
                                     {"password=x&name=" + std::string(900'000, 'x'), 401},
                                     {"name=alice%00&password=alice%27s+password", 400},
                                     {right + "&x=1", 0}}) {
        EXPECT_EQ(CodeOf("Auth.login", form, {}), code) << form.substr(0, 50);
    }
}

TEST_F(SignIn, BringsUpNoDialogInBrowsers) {
    EXPECT_NE(Send("Info.get", "").find("WWW-Authenticate: Basic"), std::string::npos);
    for (const char *field : {"HTTP_SEC_FETCH_MODE", "HTTP_X_REQUESTED_WITH", "HTTP_USER_AGENT"}) {
        const std::string answer = Send("Info.get", "", {{field, "Mozilla/5.0"}});
        EXPECT_TRUE(answer.starts_with("Status: 401")) << answer;
        EXPECT_EQ(answer.find("WWW-Authenticate"), answer.npos) << field;
    }
}

TEST_F(SignIn, EndsSessionsAndKeysOfTheirUserAlone) {
    LogIn("bob", "bob's password", {{"HTTPS", "on"}});
    const std::string bobs = LogIn("bob", "bob's password");
    const auto logOut = [](const std::string &session) {
        Send("Auth.logout", "x=", Cookie(session));
    };
    const auto endFromAnother = [&](const std::string &session) {
        const std::string other = LogInAlice();
        Send("Auth.end", "id=others", Cookie(other));
        EXPECT_EQ(Who(Cookie(other)), "alice");
        EXPECT_EQ(CodeOf("Auth.end", "id=2", Cookie(other)), 404) << "bob's";
        EXPECT_EQ(Who(Cookie(session)), "401");
    };
    const auto growOld = [&](const std::string &) {
        Query("UPDATE session SET last_used = now() - interval '31 days' WHERE user_id = 1030");
    };
    const auto changePassword = [&](const std::string &session) {
        const std::string key = NewKey(session);
        Who(Basic("alice:alice's password"));  // now remembered
        const std::string end = "&new=another+password";
        EXPECT_EQ(CodeOf("User.change_password", "old=wrong" + end, Cookie(session)), 403);
        EXPECT_EQ(
            CodeOf("User.change_password", "old=alice%27s+password&new=short", Cookie(session)),
            400);
        EXPECT_EQ(Who(Bearer(key)), "alice");
        EXPECT_EQ(CodeOf("User.change_password", "old=alice%27s+password" + end, Cookie(session)),
                  0);
        EXPECT_EQ(Who(Bearer(key)), "401");
        EXPECT_EQ(Who(Basic("alice:alice's password")), "401");
        EXPECT_EQ(Who(Basic("alice:another password")), "alice");
        ASSERT_TRUE(varn::SetLogin("alice", kAlicesPassword));
    };
    // As a tool for password files does.
    const auto editLogins = [](const std::string &) {
        ASSERT_TRUE(varn::SetLogin("alice", kAlicesPassword));
    };
    const auto remove = [](const std::string &) { tonvale_service::RemoveUser("alice", false); };
    const std::function<void(const std::string &)> ends[] = {
        logOut, endFromAnother, growOld, changePassword, editLogins, remove};
    for (const auto &end : ends) {
        const std::string session = LogInAlice();
        EXPECT_EQ(Who(Cookie(session)), "alice");
        end(session);
        EXPECT_EQ(Who(Cookie(session)), "401") << &end - ends;
        EXPECT_EQ(Who(Cookie(bobs)), "bob");
    }
}

TEST_F(SignIn, SlowsWrongPasswordsOfOneNetwork) {
    const char *const near[] = {"2001:db8::1", "2001:db8::2:3"};
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(Who(Basic("bob:wrong", near[i % 2])), "401");
        EXPECT_EQ(Who(Basic("nobody:wrong", near[i % 2])), "401");
    }
    EXPECT_EQ(Value("SELECT count(*) FROM failed_login WHERE failures = 5 AND next > last"), "2");
    Query("UPDATE failed_login SET next = now() + interval '1 hour'");
    for (const char *login : {"bob:wrong", "bob:bob's password", "nobody:wrong"}) {
        EXPECT_EQ(Who(Basic(login, near[0])), "429") << login;
    }
    EXPECT_EQ(Who(Basic("alice:alice's password", near[0])), "alice");
    EXPECT_EQ(Who(Basic("bob:bob's password", "2001:db8:0:1::1")), "bob");
    // The right password is remembered for a minute, so that the slowed network gets in without a
    // hash.
    EXPECT_EQ(Who(Basic("bob:bob's password", near[0])), "bob");
    Query("UPDATE failed_login SET next = now(), last = now() - interval '16 minutes'");
    EXPECT_EQ(Who(Basic("nobody:wrong", near[0])), "401");
    EXPECT_EQ(Value("SELECT count(*) FROM failed_login"), "1");
}

}  // namespace
