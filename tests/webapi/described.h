// Requests and answers beside the description of the web API.
#pragma once

#include <json/value.h>

#include <string>

namespace tonvale_test {

// The description, as /webapi/openapi.json has it.
const Json::Value &Description();

// The one operation of a path; null for a path that is not there.
const Json::Value &OperationAt(const std::string &path);

// Of an operation, by name: a schema, with "required" where it must be given.
Json::Value ParametersOf(const Json::Value &operation);

// A field of an answer's header; "" where it has none.
std::string FieldOf(const std::string &header, const std::string &name);

// Adds a failure where a request ("" for a part that it does not have) and its answer are not as
// they are described. What asks for no API, and what has no body, is passed over.
void CheckDescribed(const std::string &query, const std::string &form, const std::string &answer);

}  // namespace tonvale_test
