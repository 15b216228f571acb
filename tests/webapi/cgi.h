// entry.cgi, run as a web server runs it.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "platform/child.h"
#include "varn/systempath.h"
#include "webapi/described.h"

namespace tonvale_test {

// A process that has changed its user may not look for its own leaks. Other reports stay.
void UseHandlerSanitizer();

using Variables = std::map<std::string, std::string>;

// The variables as an environment, with this process's root.
std::vector<std::string> CgiEnvironment(Variables variables);

// What entry.cgi writes in an environment of these variables and this process's root. Its answer
// must match the description.
std::string RunCgi(const Variables &variables, const std::string &input = "");

// The answer to a GET of alice's, unless `more` names another method or user.
std::string GetCgi(const std::string &query, Variables more = {});

// Sets an option of the package, in a file that its account may read.
void Configure(const char *name, const char *value);

}  // namespace tonvale_test
