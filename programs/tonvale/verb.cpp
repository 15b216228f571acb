#include "verb.h"

#include <CLI/CLI.hpp>

#include <charconv>
#include <utility>

namespace tonvale_cli {
namespace {

void ParseFor(const std::string &option, const Verb::Parse &parse, const std::string &text) {
    try {
        parse(text);
    } catch (const BadValue &problem) {
        throw CLI::ValidationError(option, problem.what());
    }
}

CLI::Option &AddParsedTo(CLI::App &parser, const std::string &name, Verb::Parse parse,
                         const std::string &description) {
    return *parser.add_option_function<std::string>(
        name,
        [name, parse = std::move(parse)](const std::string &text) { ParseFor(name, parse, text); },
        description);
}

}  // namespace

int ParseNumber(std::string_view text, int least, int most) {
    int number = 0;
    const char *end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || rest != end || number < least || number > most) {
        throw BadValue("'" + std::string(text) + "' is not a whole number from " +
                       std::to_string(least) + " to " + std::to_string(most));
    }
    return number;
}

Option Option::ValueName(const std::string &name) const {
    option_->type_name(name);
    return *this;
}

Option Option::OneOf(const std::vector<std::string> &values) const {
    option_->check(CLI::IsMember(values));
    return *this;
}

Option Option::Check(const std::function<std::string(const std::string &)> &problem) const {
    option_->check(problem);
    return *this;
}

Option Option::Required(bool isRequired) const {
    option_->required(isRequired);
    return *this;
}

Option Option::SeparatedBy(char character) const {
    option_->delimiter(character);
    return *this;
}

Option Option::Repeated() const {
    option_->allow_extra_args(false);
    return *this;
}

Option Option::Single() const {
    option_->expected(1);
    return *this;
}

Option Option::Pair() const {
    option_->expected(2);
    return *this;
}

Option Option::Needs(const std::string &option) const {
    option_->needs(option);
    return *this;
}

Option Option::Excludes(const std::string &option) const {
    option_->excludes(option);
    return *this;
}

Verb Verb::AddVerb(const std::string &name, const std::string &description) const {
    return Verb(*parser_->add_subcommand(name, description), *action_);
}

Verb Verb::AddGroup(const std::string &name, const std::string &description) const {
    CLI::App &group = *parser_->add_subcommand(name, description);
    group.require_subcommand(1);
    return Verb(group, *action_);
}

void Verb::Do(Action action) const {
    parser_->callback([chosen = action_, action = std::move(action)] { *chosen = action; });
}

Option Verb::AddText(const std::string &name, std::string &value,
                     const std::string &description) const {
    return Option(*parser_->add_option(name, value, description)->capture_default_str());
}

Option Verb::AddText(const std::string &name, std::optional<std::string> &value,
                     const std::string &description) const {
    return Option(*parser_->add_option(name, value, description));
}

Option Verb::AddText(const std::string &name, std::vector<std::string> &values,
                     const std::string &description) const {
    return Option(*parser_->add_option(name, values, description));
}

Option Verb::AddNumber(const std::string &name, int &value, int least,
                       const std::string &description, int most) const {
    const auto parse = [&value, least, most](const std::string &text) {
        value = ParseNumber(text, least, most);
    };
    CLI::Option &option = AddParsedTo(*parser_, name, parse, description);
    return Option(*option.type_name("N")->default_str(std::to_string(value)));
}

Option Verb::AddFlag(const std::string &name, bool &value, const std::string &description) const {
    return Option(*parser_->add_flag(name, value, description));
}

void Verb::AddPaging(int &offset, int &limit, const std::string &noun, int leastLimit) const {
    AddNumber("--offset", offset, 0, "How many " + noun + " to skip");
    AddNumber("--limit", limit, leastLimit,
              "How many " + noun + " at most" + (leastLimit == 0 ? "; 0: all" : ""));
}

Option Verb::AddParsed(const std::string &name, Parse parse, const std::string &description) const {
    return Option(AddParsedTo(*parser_, name, std::move(parse), description));
}

Option Verb::AddParsedList(const std::string &name, Parse parse,
                           const std::string &description) const {
    const auto parseAll = [name, parse = std::move(parse)](const std::vector<std::string> &texts) {
        for (const std::string &text : texts) {
            ParseFor(name, parse, text);
        }
    };
    return Option(
        *parser_->add_option_function<std::vector<std::string>>(name, parseAll, description));
}

}  // namespace tonvale_cli
