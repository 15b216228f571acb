// Running the built command line.
#pragma once

#include <fcntl.h>
#include <json/json.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <sstream>
#include <string>
#include <vector>

#include "support/eventually.h"
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
                     const std::string &name = "tonvale", std::vector<std::string> variables = {})
        : out_(outFile.empty() ? memfd_create("out", MFD_CLOEXEC)
                               : open(outFile.c_str(), O_WRONLY | O_CLOEXEC)),
          err_(memfd_create("err", MFD_CLOEXEC)) {
        const int in = open("/dev/null", O_RDONLY | O_CLOEXEC);
        const std::string program = TONVALE_PROGRAM_DIR "/" + name;
        arguments.insert(arguments.begin(), program);
        const std::vector<std::string> own = OwnVariables();
        variables.insert(variables.end(), own.begin(), own.end());
        pid_ = Spawn(program, std::move(arguments), std::move(variables),
                     {{in, 0}, {out_, 1}, {err_, 2}});
        close(in);
    }
    ~Command() {
        Wait();
        close(out_);
        close(err_);
    }
    Command(const Command &) = delete;
    Command &operator=(const Command &) = delete;

    // Waits until the program's standard output has a text; false when it never has.
    bool WaitForOutput(const std::string &part) {
        return Eventually([&] { return TextOf(out_).find(part) != std::string::npos; });
    }

    // What it has complained of so far.
    std::string Complaints() const { return TextOf(err_); }

    pid_t Id() const { return pid_; }

    Finished Signal(int number) {
        if (pid_ > 0) {
            kill(pid_, number);
        }
        return Wait();
    }

    Finished Wait() {
        Finished finished;
        int status = -1;
        if (pid_ > 0 && waitpid(pid_, &status, 0) == pid_) {
            finished.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        }
        pid_ = -1;
        finished.out = TextOf(out_);
        finished.err = TextOf(err_);
        return finished;
    }

  private:
    int out_;
    int err_;
    pid_t pid_ = -1;
};

inline Finished Tonvale(std::vector<std::string> arguments) {
    return Command(std::move(arguments)).Wait();
}

inline void ExpectDone(const std::vector<std::string> &arguments) {
    const Finished done = Tonvale(arguments);
    EXPECT_EQ(done.status, 0) << done.err;
}

inline bool Contains(const std::string &text, const std::string &part) {
    return text.find(part) != std::string::npos;
}

inline void ExpectSaid(const Finished &run, const std::string &part) {
    EXPECT_TRUE(Contains(run.err, part)) << run.err;
}

struct Saying {
    std::vector<std::string> arguments;
    int status;
    std::string says;  // a part of what is printed after success, else of the complaint
};

// Runs each command. One that fails prints nothing on standard output.
inline void ExpectSayings(const std::vector<Saying> &sayings) {
    for (const auto &[arguments, status, says] : sayings) {
        const Finished run = Tonvale(arguments);
        EXPECT_EQ(run.status, status) << says << "\n" << run.err;
        EXPECT_TRUE(Contains(status == 0 ? run.out : run.err, says)) << run.out << run.err;
        EXPECT_TRUE(status == 0 || run.out.empty()) << run.out;
    }
}

// One JSON text, read strictly.
inline Json::Value StrictJson(const std::string &text) {
    Json::CharReaderBuilder strict;
    Json::CharReaderBuilder::strictMode(&strict.settings_);
    std::istringstream stream(text);
    Json::Value json;
    std::string errors;
    EXPECT_TRUE(Json::parseFromStream(strict, stream, &json, &errors)) << errors << text;
    return json;
}

// The members of an object that the words name, as texts; "-" for one that is not there. A word may
// be a path: "song.title", "[0].id".
inline std::string Told(const Json::Value &object, const std::string &words) {
    std::string told;
    std::istringstream members(words);
    for (std::string member; members >> member;) {
        const Json::Value &value = Json::Path(member).resolve(object);
        told += (told.empty() ? "" : " ") + (value.isNull() ? "-" : value.asString());
    }
    return told;
}

// One member of each object of a list.
inline std::vector<std::string> Each(const Json::Value &list, const char *member = "id") {
    std::vector<std::string> texts;
    for (const Json::Value &object : list) {
        texts.push_back(object[member].asString());
    }
    return texts;
}

// What a run prints as JSON.
inline Json::Value JsonOf(const std::vector<std::string> &arguments) {
    const Finished run = Tonvale(arguments);
    EXPECT_EQ(run.status, 0) << run.err;
    return StrictJson(run.out);
}

}  // namespace tonvale_test
