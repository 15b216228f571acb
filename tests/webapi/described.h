// Compares requests and answers with the description of the web API.
#pragma once

#include <json/value.h>

#include <string>

namespace tonvale_test {

// The description, as /webapi/openapi.json has it.
const Json::Value &Description();

// The operation of a path; null for an unknown path.
const Json::Value &OperationAt(const std::string &path);

// The parameters of an operation, by name: each is a schema with "isRequired".
Json::Value ParametersOf(const Json::Value &operation);

// What follows the header of an answer or of a request; "" where nothing does.
std::string BodyOf(const std::string &message);

// A field of an answer's header; "" where it has none.
std::string FieldOf(const std::string &header, const std::string &name);

// Adds a failure where a request or its answer differs from the description. `query` or `form` is
// "" where the request has none. Passes over requests without an API and answers without a body.
void CheckDescribed(const std::string &query, const std::string &form, const std::string &answer);

}  // namespace tonvale_test
