// Starting programs, and what they print.
#pragma once

#include <sys/types.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace tonvale_test {

// Texts as an argument vector.
class Arguments {
  public:
    Arguments(std::vector<std::string> texts);
    Arguments(const Arguments &) = delete;
    Arguments &operator=(const Arguments &) = delete;

    char *const *Get() const { return pointers_.data(); }

  private:
    std::vector<std::string> texts_;
    std::vector<char *> pointers_;
};

// What a stream gives until its end.
std::string TextOf(FILE *stream);

// Runs a program, the first of the words, and returns what it prints. The test fails unless it ends
// well.
std::string Output(const std::vector<std::string> &words);

// What a file of this process holds.
std::string TextOf(int fd);

std::vector<std::string> OwnVariables();

// Starts a program, whose name is the first of the arguments. `files` are pairs of a descriptor of
// this process and the number that it has in the program. Returns its process id.
pid_t Spawn(const std::string &path, const std::vector<std::string> &arguments,
            const std::vector<std::string> &variables,
            const std::vector<std::pair<int, int>> &files);

// A program with its helpers, for the length of a scope. It does not outlive this process, however
// that ends. What it prints goes to a file.
class Background {
  public:
    Background(std::vector<std::string> words, const std::vector<std::string> &variables,
               const std::filesystem::path &log);
    ~Background();
    Background(const Background &) = delete;
    Background &operator=(const Background &) = delete;

  private:
    pid_t pid_;
};

}  // namespace tonvale_test
