// Debian's AirPlay receiver, playing to nowhere.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <optional>
#include <string>

#include "support/sockets.h"
#include "support/spawn.h"

namespace tonvale_test {

class RealSpeaker {
  public:
    // Its settings and what it prints go into `folder`.
    RealSpeaker(const std::filesystem::path &folder, const std::string &password) {
        const std::string conf = folder / "receiver.conf";
        std::ofstream(conf) << "general = { name = \"Test\"; output_backend = \"dummy\"; port = "
                            << port_ << "; };\nmetadata = { enabled = \"no\"; };\n";
        const std::filesystem::path log = folder / "receiver.log";
        program_.emplace(
            std::vector<std::string>{"/usr/bin/shairport-sync", "-u", "-c", conf,
                                     "--password=" + password},
            std::vector<std::string>{"PATH=/usr/bin", "LD_PRELOAD=" TONVALE_QUIET_AVAHI}, log);
        EXPECT_TRUE(UntilItListens(port_)) << std::ifstream(log).rdbuf();
    }

    std::string Port() const { return std::to_string(port_); }

  private:
    const int port_ = UnusedPort();
    std::optional<Background> program_;
};

}  // namespace tonvale_test
