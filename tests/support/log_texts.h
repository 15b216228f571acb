#pragma once

#include <regex>
#include <string>
#include <vector>

namespace tonvale_test {

// The lines of a log without the program's name, each with "#" for the line of the source.
inline std::string LogTexts(const std::vector<std::string> &log) {
    static const std::regex head("^tonvale-test: (\\S+?)(:| \\(|\\()[0-9]+");
    std::string texts;
    for (const std::string &line : log) {
        texts += std::regex_replace(line, head, "$1$2#") + "\n";
    }
    return texts;
}

}  // namespace tonvale_test
