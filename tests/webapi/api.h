// The web API through the CGI environment, with its answers read.
#pragma once

#include <json/json.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "programs/command.h"
#include "support/fixture.h"
#include "tonvale/settings.h"
#include "varn/systempath.h"
#include "webapi/cgi.h"

namespace tonvale_test {

// Questions to the web API, for a fixture with a root.
class Api {
  protected:
    using Texts = std::vector<std::string>;
    using Given = std::vector<std::pair<std::string, std::string>>;

    static std::string Encoded(const std::string &text) {
        std::string encoded;
        for (const unsigned char c : text) {
            char digits[4];
            std::snprintf(digits, sizeof digits, "%%%02X", c);
            encoded += digits;
        }
        return encoded;
    }

    static std::string QueryOf(const std::string &api, const std::string &method,
                               const Given &parameters) {
        std::string query = "version=1&api=VARN.Tonvale." + api + "&method=" + method;
        for (const auto &[name, value] : parameters) {
            query += "&" + name + "=" + Encoded(value);
        }
        return query;
    }

    // Those of the parameters that a method takes.
    static Given Taken(const std::string &api, const std::string &method, Given parameters) {
        const Json::Value known = ParametersOf(OperationAt("/VARN.Tonvale." + api + "/" + method));
        std::erase_if(parameters, [&](const auto &one) { return !known.isMember(one.first); });
        return parameters;
    }

    // The whole answer of a method to a user, by a POST.
    static Json::Value Answer(const std::string &api, const std::string &method,
                              const Given &parameters = {}, const std::string &user = "alice",
                              Variables more = {}) {
        const std::string form = QueryOf(api, method, parameters);
        more.insert({{"REQUEST_METHOD", "POST"},
                     {"CONTENT_TYPE", "application/x-www-form-urlencoded"},
                     {"CONTENT_LENGTH", std::to_string(form.size())},
                     {"REMOTE_USER", user}});
        const std::string text = RunCgi(more, form);
        const std::size_t body = std::min(text.find("\r\n\r\n"), text.size() - 4) + 4;
        const std::string header = "Content-Type: application/json; charset=utf-8\r\n";
        const std::string length = std::to_string(text.size() - body) + "\r\n\r\n";
        EXPECT_TRUE(text.starts_with(header + "\r\n") ||
                    text.starts_with(header + "Content-Length: " + length))
            << text;
        return Parsed(text);
    }

    // The JSON behind an answer's header.
    static Json::Value Parsed(const std::string &text) {
        return StrictJson(text.substr(std::min(text.find("\r\n\r\n"), text.size() - 4) + 4));
    }

    // The data of a method that must succeed.
    static Json::Value Ask(const std::string &api, const std::string &method,
                           const Given &parameters = {}, const std::string &user = "alice",
                           const Variables &more = {}) {
        const Json::Value reply = Answer(api, method, parameters, user, more);
        EXPECT_TRUE(reply["success"].asBool()) << api << "." << method << " " << reply;
        return reply["data"];
    }

    // The code of a method that must not; 0 when it did.
    static int CodeOf(const std::string &api, const std::string &method,
                      const Given &parameters = {}, const std::string &user = "alice",
                      const Variables &more = {}) {
        const Json::Value reply = Answer(api, method, parameters, user, more);
        EXPECT_EQ(reply["success"].asBool(), reply.isMember("data")) << reply;
        return reply["error"]["code"].asInt();
    }
};

class ApiTest : public DatabaseTest, protected Api {
  protected:
    static void Give(const std::string &user, unsigned uid, unsigned rights) {
        Json::Value users;
        const std::string file = SystemPath(varn::path::kUsersFile);
        ASSERT_TRUE(AudioUsers::Read(users, file));
        AudioUsers::SetUser(users, uid, rights);
        ASSERT_TRUE(AudioUsers::Save(users, file));
        ASSERT_EQ(AudioUsers::GetUserPermission(user), rights | RIGHT_STREAMING);
    }
};

}  // namespace tonvale_test
