// Running the built command line.
#pragma once

#include <json/json.h>
#include <sys/types.h>

#include <csignal>
#include <string>
#include <vector>

#include "support/spawn.h"

namespace tonvale_test {

struct Finished {
    int status = -1;  // exit status, 128+n after signal n
    std::string out;
    std::string err;
};

// A run of `tonvale`, or of another program of the build, that has been started. It works on this
// process's root unless the arguments name another one.
class Command {
  public:
    // Its standard output goes to the file `outFile`, if one is named. `variables` come before this
    // process's own.
    explicit Command(std::vector<std::string> arguments, const std::string &outFile = "",
                     const std::string &name = "tonvale", std::vector<std::string> variables = {});
    ~Command();
    Command(const Command &) = delete;
    Command &operator=(const Command &) = delete;

    // Waits until the program's standard output has a text; false when it never has.
    bool WaitForOutput(const std::string &part);

    // What it has complained of so far.
    std::string Complaints() const { return TextOf(err_); }

    pid_t Id() const { return pid_; }

    Finished Signal(int number);
    Finished Wait();

  private:
    int out_;
    int err_;
    pid_t pid_ = -1;
};

Finished Tonvale(std::vector<std::string> arguments);
void ExpectDone(const std::vector<std::string> &arguments);
bool Contains(const std::string &text, const std::string &part);
void ExpectSaid(const Finished &run, const std::string &part);

struct Saying {
    std::vector<std::string> arguments;
    int status;
    std::string says;  // a part of what is printed after success, else of the complaint
};

// Runs each command. One that fails prints nothing on standard output.
void ExpectSayings(const std::vector<Saying> &sayings);

// One JSON text, read strictly.
Json::Value StrictJson(const std::string &text);

// The members of an object that the words name, as texts; "-" for one that is not there. A word may
// be a path: "song.title", "[0].id".
std::string Told(const Json::Value &object, const std::string &words);

// One member of each object of a list.
std::vector<std::string> Each(const Json::Value &list, const char *member = "id");

// What a run prints as JSON.
Json::Value JsonOf(const std::vector<std::string> &arguments);

}  // namespace tonvale_test
