#include "request.h"

#include <algorithm>
#include <climits>

#include "entry/parameters.h"

namespace tonvale_subsonic {

namespace {

Fault Bad(const std::string &name) {
    return {kGeneric, "the parameter '" + name + "' has a bad value"};
}

Fault Missing(const std::string &name) {
    return {kMissing, "the required parameter '" + name + "' is missing"};
}

}  // namespace

void Request::Require(unsigned right) const {
    entry_.Require(right);
}

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
    return !values.empty() ? values : throw Missing(name);
}

std::optional<long long> Request::GivenNumber(const std::string &name, long long low,
                                              long long high) const {
    const std::string text = Text(name);
    if (text.empty()) {
        return std::nullopt;
    }
    const auto number = tonvale_entry::ParseNumber(text, low, high);
    return number ? number : throw Bad(name);
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
    return Choice(name, {"false", "true"}, otherwise ? "true" : "false") == "true";
}

std::string Request::Choice(const std::string &name, const std::vector<std::string> &known,
                            const std::string &otherwise) const {
    const std::string given = Text(name);
    const std::string value = given.empty() ? otherwise : given;
    return std::find(known.begin(), known.end(), value) != known.end() ? value : throw Bad(name);
}

}  // namespace tonvale_subsonic
