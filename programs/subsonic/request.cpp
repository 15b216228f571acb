#include "request.h"

#include <algorithm>
#include <cctype>
#include <climits>

#include "entry/parameters.h"

namespace tonvale_subsonic {

namespace {

Fault Missing(const std::string &name) {
    return {kMissing, "the required parameter '" + name + "' is missing"};
}

}  // namespace

std::optional<std::string> Request::Given(const std::string &name) const {
    std::vector<std::string> values = All(name);
    if (values.size() > 1) {
        throw Fault{kGeneric, "the parameter '" + name + "' is given more than once"};
    }
    return values.empty() ? std::nullopt : std::optional(std::move(values.front()));
}

std::string Request::Text(const std::string &name, const std::string &otherwise) const {
    return Given(name).value_or(otherwise);
}

std::string Request::Required(const std::string &name) const {
    std::string value = Text(name);
    return !value.empty() ? value : throw Missing(name);
}

std::vector<std::string> Request::RequiredAll(const std::string &name) const {
    std::vector<std::string> values = All(name);
    const bool isGiven =
        !values.empty() && std::find(values.begin(), values.end(), "") == values.end();
    return isGiven ? values : throw Missing(name);
}

std::optional<long long> Request::GivenNumber(const std::string &name, long long low,
                                              long long high) const {
    return Text(name).empty() ? std::nullopt : std::optional(entry_.Number(name, 0, low, high));
}

long long Request::RequiredNumber(const std::string &name, long long low, long long high) const {
    Required(name);
    return *GivenNumber(name, low, high);
}

int Request::Count(const std::string &name, int otherwise, int most) const {
    return static_cast<int>(std::min<long long>(Number(name, otherwise, 0, INT_MAX), most));
}

int Request::Offset(const std::string &name) const {
    return static_cast<int>(Number(name, 0, 0, INT_MAX));
}

bool Request::Flag(const std::string &name, bool otherwise) const {
    std::string given = Text(name);
    std::transform(given.begin(), given.end(), given.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    if (given.empty()) {
        return otherwise;
    }
    for (const bool is : {false, true}) {
        if (given == (is ? "true" : "false") || given == (is ? "1" : "0")) {
            return is;
        }
    }
    throw Fault{kGeneric, "the parameter '" + name + "' takes true or false"};
}

std::string Request::Choice(const std::string &name, const std::vector<std::string> &known,
                            const std::string &otherwise) const {
    return Text(name).empty() ? otherwise : entry_.Choice(name, known, otherwise);
}

void Request::RefuseHead() const {
    if (entry_.WantsHeaderOnly()) {
        throw Fault{kGeneric, "a HEAD changes nothing"};
    }
}

// The protocol's version 1 goes up to 1.16: with a client of another one, one of the two is older.
long long Request::MinorVersion() const {
    const std::string version = Required("v");
    constexpr long long kMost = 999;
    const std::size_t dot = version.find('.');
    const auto major = tonvale_entry::ParseNumber(version.substr(0, dot), 0, kMost);
    const std::string rest = dot == version.npos ? "0" : version.substr(dot + 1);
    const auto minor = tonvale_entry::ParseNumber(rest.substr(0, rest.find('.')), 0, kMost);
    if (!major || !minor) {
        throw Fault{kGeneric, "the parameter 'v' takes a version, such as 1.16.1"};
    }
    if (*major < 1) {
        throw Fault{kClientTooOld, "the client speaks an older version of the protocol"};
    }
    if (*major > 1 || *minor > 16) {
        throw Fault{kServerTooOld, "the server speaks version 1.16.1 of the protocol"};
    }
    return *minor;
}

}  // namespace tonvale_subsonic
