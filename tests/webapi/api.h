// Requests to the web API through the CGI environment, and its answers as JSON.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "programs/command.h"
#include "support/fixture.h"
#include "webapi/cgi.h"

namespace tonvale_test {

// A statement that adds a folder of the library, which all users share or one user owns.
std::string FolderSql(int id, const std::string &path, unsigned owner = 0);

// Requests to the web API, for a fixture with a root.
class Api {
  protected:
    using Texts = std::vector<std::string>;
    using Given = std::vector<std::pair<std::string, std::string>>;

    static std::string Encoded(const std::string &text);

    // The query of a request. `asked` is "API/METHOD" or "API/METHOD?QUERY". The values of `given`
    // need not be encoded.
    static std::string QueryOf(const std::string &asked, const Given &given = {});

    // The parameters that a method takes, out of these.
    static Given Taken(const std::string &asked, Given given);

    // The whole answer of a method to a user, by a POST.
    static Json::Value Answer(const std::string &asked, const Given &given = {},
                              const std::string &user = "alice", Variables more = {});

    // The JSON of an answer.
    static Json::Value Parsed(const std::string &text) { return StrictJson(BodyOf(text)); }

    // The data of a method that must succeed.
    static Json::Value Ask(const std::string &asked, const Given &given = {},
                           const std::string &user = "alice", const Variables &more = {});

    // The code of a refusal; 0 where the method succeeds.
    static int CodeOf(const std::string &asked, const Given &given = {},
                      const std::string &user = "alice", const Variables &more = {});
};

class ApiTest : public DatabaseTest, protected Api {};

}  // namespace tonvale_test
