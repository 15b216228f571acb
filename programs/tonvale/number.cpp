#include "number.h"

#include <charconv>
#include <limits>

namespace tonvale_cli {

int ParseNumber(std::string_view text, const std::string &name, int least) {
    int number = 0;
    const char *end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || rest != end || number < least) {
        throw CLI::ValidationError(name, "'" + std::string(text) + "' is not a whole number from " +
                                             std::to_string(least) + " to " +
                                             std::to_string(std::numeric_limits<int>::max()));
    }
    return number;
}

CLI::Option *AddNumber(CLI::App &app, const std::string &name, int &value, int least,
                       const std::string &description) {
    const auto parse = [&value, name, least](const std::string &text) {
        value = ParseNumber(text, name, least);
    };
    return app.add_option_function<std::string>(name, parse, description)
        ->type_name("N")
        ->default_str(std::to_string(value));
}

}  // namespace tonvale_cli
