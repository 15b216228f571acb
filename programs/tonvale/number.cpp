#include "number.h"

#include <charconv>
#include <limits>

namespace tonvale_cli {

CLI::Option *AddNumber(CLI::App &app, const std::string &name, int &value, int least,
                       const std::string &description) {
    // The parser's own conversion would take 010 for eight.
    const auto parse = [&value, name, least](const std::string &text) {
        int number = 0;
        const char *end = text.data() + text.size();
        const auto [rest, error] = std::from_chars(text.data(), end, number);
        if (error != std::errc() || rest != end || number < least) {
            throw CLI::ValidationError(name, "'" + text + "' is not a whole number from " +
                                                 std::to_string(least) + " to " +
                                                 std::to_string(std::numeric_limits<int>::max()));
        }
        value = number;
    };
    return app.add_option_function<std::string>(name, parse, description)
        ->type_name("N")
        ->default_str(std::to_string(value));
}

}  // namespace tonvale_cli
