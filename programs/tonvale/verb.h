// Verbs of the command line and their options.
#pragma once

#include <functional>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

// The option parser is a library of templates that takes seven seconds to compile. Only verb.cpp
// and main.cpp include it.
namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace tonvale_cli {

// What to do after the whole command line was read; the result is the exit status.
using Action = std::function<int()>;

// A value that an option does not take. The program's error names the option and this reason.
class BadValue : public std::runtime_error {
  public:
    using runtime_error::runtime_error;
};

// A whole number from `least` to `most` in decimal digits alone: the option parser's own conversion
// would take 010 for eight. Throws BadValue.
int ParseNumber(std::string_view text, int least, int most = std::numeric_limits<int>::max());

// An option, or an operand, whose name has no dash. A handle: the parser owns it.
class Option {
  public:
    explicit Option(CLI::Option &option) : option_(&option) {}

    // What the help calls the value; "" calls it nothing.
    Option ValueName(const std::string &name) const;
    Option OneOf(const std::vector<std::string> &values) const;
    // `problem` tells what is wrong with a value; "" for nothing.
    Option Check(const std::function<std::string(const std::string &)> &problem) const;
    Option Required(bool isRequired = true) const;
    // Of several values: one list, separated by a character.
    Option SeparatedBy(char character) const;
    // Of several values: the option is repeated for each.
    Option Repeated() const;
    // The operand takes one value where others like it take several.
    Option Single() const;
    // The option takes two values.
    Option Pair() const;
    Option Needs(const std::string &option) const;
    Option Excludes(const std::string &option) const;

  private:
    CLI::Option *option_;
};

// A verb, or the program itself. A handle: the parser owns it. The values that options write into
// live until the verb is done.
class Verb {
  public:
    // `action` is what a chosen verb sets.
    Verb(CLI::App &parser, Action &action) : parser_(&parser), action_(&action) {}

    Verb AddVerb(const std::string &name, const std::string &description) const;
    // A verb that needs one of its own verbs after it.
    Verb AddGroup(const std::string &name, const std::string &description) const;

    void Do(Action action) const;

    // The help tells the values that are there now as the defaults.
    Option AddText(const std::string &name, std::string &value,
                   const std::string &description) const;
    Option AddText(const std::string &name, std::optional<std::string> &value,
                   const std::string &description) const;
    Option AddText(const std::string &name, std::vector<std::string> &values,
                   const std::string &description) const;
    // A whole number, as ParseNumber reads it.
    Option AddNumber(const std::string &name, int &value, int least, const std::string &description,
                     int most = std::numeric_limits<int>::max()) const;
    Option AddFlag(const std::string &name, bool &value, const std::string &description) const;
    // --offset and --limit, of a list of what `noun` calls. A limit of 0, if allowed, means all.
    void AddPaging(int &offset, int &limit, const std::string &noun, int leastLimit = 0) const;

    // Hands the value, or each of several, to `parse`, which may throw BadValue.
    using Parse = std::function<void(const std::string &)>;
    Option AddParsed(const std::string &name, Parse parse, const std::string &description) const;
    Option AddParsedList(const std::string &name, Parse parse,
                         const std::string &description) const;

  private:
    CLI::App *parser_;
    Action *action_;
};

}  // namespace tonvale_cli
