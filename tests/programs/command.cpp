#include "programs/command.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <sstream>

#include "support/eventually.h"

namespace tonvale_test {

Command::Command(std::vector<std::string> arguments, const std::string &outFile,
                 const std::string &name, std::vector<std::string> variables)
    : out_(outFile.empty() ? memfd_create("out", MFD_CLOEXEC)
                           : open(outFile.c_str(), O_WRONLY | O_CLOEXEC)),
      err_(memfd_create("err", MFD_CLOEXEC)) {
    const int in = open("/dev/null", O_RDONLY | O_CLOEXEC);
    const std::string program = TONVALE_PROGRAM_DIR "/" + name;
    arguments.insert(arguments.begin(), program);
    const std::vector<std::string> own = OwnVariables();
    variables.insert(variables.end(), own.begin(), own.end());
    pid_ =
        Spawn(program, std::move(arguments), std::move(variables), {{in, 0}, {out_, 1}, {err_, 2}});
    close(in);
}

Command::~Command() {
    Wait();
    close(out_);
    close(err_);
}

bool Command::WaitForOutput(const std::string &part) {
    return Eventually([&] { return TextOf(out_).find(part) != std::string::npos; });
}

Finished Command::Signal(int number) {
    if (pid_ > 0) {
        kill(pid_, number);
    }
    return Wait();
}

Finished Command::Wait() {
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

Finished Tonvale(std::vector<std::string> arguments) {
    return Command(std::move(arguments)).Wait();
}

void ExpectDone(const std::vector<std::string> &arguments) {
    const Finished done = Tonvale(arguments);
    EXPECT_EQ(done.status, 0) << done.err;
}

bool Contains(const std::string &text, const std::string &part) {
    return text.find(part) != std::string::npos;
}

void ExpectSaid(const Finished &run, const std::string &part) {
    EXPECT_TRUE(Contains(run.err, part)) << run.err;
}

void ExpectSayings(const std::vector<Saying> &sayings) {
    for (const auto &[arguments, status, says] : sayings) {
        const Finished run = Tonvale(arguments);
        EXPECT_EQ(run.status, status) << says << "\n" << run.err;
        EXPECT_TRUE(Contains(status == 0 ? run.out : run.err, says)) << run.out << run.err;
        EXPECT_TRUE(status == 0 || run.out.empty()) << run.out;
    }
}

Json::Value StrictJson(const std::string &text) {
    Json::CharReaderBuilder strict;
    Json::CharReaderBuilder::strictMode(&strict.settings_);
    std::istringstream stream(text);
    Json::Value json;
    std::string errors;
    EXPECT_TRUE(Json::parseFromStream(strict, stream, &json, &errors)) << errors << text;
    return json;
}

std::string Told(const Json::Value &object, const std::string &words) {
    std::string told;
    std::istringstream members(words);
    for (std::string member; members >> member;) {
        const Json::Value &value = Json::Path(member).resolve(object);
        told += (told.empty() ? "" : " ") + (value.isNull() ? "-" : value.asString());
    }
    return told;
}

std::vector<std::string> Each(const Json::Value &list, const char *member) {
    std::vector<std::string> texts;
    for (const Json::Value &object : list) {
        texts.push_back(object[member].asString());
    }
    return texts;
}

Json::Value JsonOf(const std::vector<std::string> &arguments) {
    const Finished run = Tonvale(arguments);
    EXPECT_EQ(run.status, 0) << run.err;
    return StrictJson(run.out);
}

}  // namespace tonvale_test
