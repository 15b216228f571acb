// A real media server from Debian on loopback, with its files in a folder of the test.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <optional>
#include <string>

#include "support/eventually.h"
#include "support/sockets.h"
#include "support/spawn.h"
#include "tonvale/dlna.h"

namespace tonvale_test {

class MediaServer {
  public:
    MediaServer(const std::filesystem::path &home, const std::filesystem::path &music)
        : home_(home), port_(UnusedPort()) {
        std::filesystem::create_directories(home);
        const std::string conf = home / "minidlna.conf";
        std::ofstream(conf) << "port=" << port_ << "\nnetwork_interface=lo\nmedia_dir=A,"
                            << music.string() << "\ndb_dir=" << home.string()
                            << "\nlog_dir=" << home.string()
                            << "\ninotify=no\nfriendly_name=Tones\nminissdpdsocket="
                            << home.string() << "/none\n";
        program_.emplace(
            std::vector<std::string>{"/usr/sbin/minidlnad", "-S", "-f", conf, "-P", home / "pid"},
            std::vector<std::string>{"PATH=/usr/bin:/bin", "LC_ALL=C.UTF-8",
                                     "HOME=" + home.string()},
            home / "log");
    }

    std::string ControlUrl() const {
        return "http://127.0.0.1:" + std::to_string(port_) + "/ctl/ContentDir";
    }

    // The id of the container of all songs. Waits until it holds that many.
    std::string AllTracks(std::size_t count) const {
        std::string container;
        EXPECT_TRUE(Eventually([&] {
            container = Container();
            DMAParser page;
            return !container.empty() &&
                   Children(container, static_cast<int>(count) - 1, 1, page) &&
                   page.items.nodes().size() == 1;
        })) << "the server does not answer:\n"
            << std::ifstream(home_ / "log").rdbuf();
        return container;
    }

    // One page. False when the server does not answer it.
    bool Children(const std::string &id, int start, int count, DMAParser &page) const {
        DMABrowse browse(DMAGENT_BROWSE_CHILDREN, ControlUrl());
        browse.objectId = id;
        browse.startingIndex = start;
        browse.requestedCount = count;
        return browse.Perform() == 0 && browse.response().starts_with("<?xml") &&
               page.Parse(&browse) == 0;
    }

  private:
    std::string Container() const {
        std::string id = "0";
        for (const char *title : {"Music", "All Music"}) {
            DMAParser page;
            std::string next;
            if (Children(id, 0, 0, page)) {
                for (const auto &node : page.containers.nodes()) {
                    next = node->getValueByKey("title") == title ? node->getValueByKey("id") : next;
                }
            }
            if (next.empty()) {
                return "";
            }
            id = next;
        }
        return id;
    }

    std::filesystem::path home_;
    int port_;
    std::optional<Background> program_;
};

}  // namespace tonvale_test
