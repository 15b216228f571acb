// The description of the web API (OpenAPI 3.1), made from the tables of the APIs.
#pragma once

#include <json/value.h>

#include <string>

namespace tonvale_entry {

// `server` is the address, or its path alone, that "/API/METHOD" follows.
Json::Value DescribeApis(const std::string &server);

}  // namespace tonvale_entry
