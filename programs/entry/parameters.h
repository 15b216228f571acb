// The parameters of a request.
#pragma once

#include <json/value.h>

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tonvale_entry {

// What happens to a name that comes twice.
enum class Repeats { kRefused, kKept };

// Names and values in the form of application/x-www-form-urlencoded, decoded.
class Parameters {
  public:
    // Reads the query and the form together. Empty for what no client of ours writes: a bad escape,
    // text that is not UTF-8 or has control characters other than tab and line ends, a name that
    // comes twice or more than 256 parameters. Where repeats are kept, 20,000 parameters are read,
    // and what is bad is left out.
    static std::optional<Parameters> Parse(std::string_view query, std::string_view form,
                                           Repeats repeats = Repeats::kRefused);

    // False where something was left out.
    bool IsWhole() const { return isWhole_; }

    // The first value. Null when it was not given.
    const std::string *Find(const std::string &name) const;

    // All values, in their order.
    std::vector<std::string> FindAll(const std::string &name) const;

  private:
    bool Add(std::string_view encoded, Repeats repeats);

    std::multimap<std::string, std::string> values_;
    bool isWhole_ = true;
};

// The JSON text of a parameter. Empty for anything else, and for one that is nested too deep.
std::optional<Json::Value> ParseJson(const std::string &text);

// The values of one parameter: a JSON array of texts and whole numbers, or text separated by
// commas. Empty for an array of anything else, and for more than `most` values.
std::optional<std::vector<std::string>> SplitValues(const std::string &text, std::size_t most);

// A whole number in decimal. Empty for anything else, or outside low to high.
std::optional<long long> ParseNumber(std::string_view text, long long low, long long high);

}  // namespace tonvale_entry
