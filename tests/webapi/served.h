// The web API over real HTTP: 'tonvale serve', a song to ask for, and a client.
#pragma once

#include <crypt.h>
#include <sys/stat.h>

#include <chrono>
#include <csignal>
#include <fstream>
#include <functional>
#include <thread>

#include "programs/command.h"
#include "support/eventually.h"
#include "support/fixture.h"
#include "varn/crypt.h"
#include "varn/host.h"
#include "varn/packageconf.h"
#include "varn/systempath.h"
#include "webapi/cgi.h"
#include "webapi/http.h"

namespace tonvale_test {

inline std::string Base64(const std::string &text) {
    std::string encoded(text.size() * 2 + 8, '\0');
    VLIBCBase64SzEncodeOneLine(text.c_str(), encoded.data(), encoded.size());
    return encoded.c_str();
}

class Served : public DatabaseTest {
  protected:
    void SetUp() override {
        DatabaseTest::SetUp();
        WriteFile(varn::path::kIndexFolders, scratch().string() + "\n");
        const auto scratch = std::make_unique<crypt_data>();
        const char *hash = crypt_rn("pass word", "$6$salt", scratch.get(), sizeof *scratch);
        ASSERT_NE(hash, nullptr);
        std::string hashes;
        for (const char *name : {"alice", "bob", "ghost"}) {
            hashes += std::string(name) + ":" + hash + "\n";
        }
        WriteFile(varn::path::kLogins, hashes);
        chmod(At(varn::path::kLogins).c_str(), 0644);
        port_ = UnusedPort();
        UseHandlerSanitizer();
    }
    void TearDown() override {
        Stop();
        // The handlers log there; a sanitizer's report counts as a failure.
        const std::string log = ReadFile(At(varn::path::kWebLogDir) / "handlers.log");
        EXPECT_EQ(log.find("ERROR: "), log.npos) << log;
        DatabaseTest::TearDown();
    }

    void Serve() {
        server_ = std::make_unique<Command>(
            std::vector<std::string>{"serve", "--port", std::to_string(port_)});
        ASSERT_TRUE(server_->WaitForOutput("Serving at http://127.0.0.1:" + std::to_string(port_)))
            << server_->Signal(SIGTERM).err;
    }
    Finished Stop() {
        Finished finished;
        if (server_) {
            finished = server_->Signal(SIGTERM);
            server_.reset();
        }
        return finished;
    }

    static std::string Login(const std::string &user, const std::string &password = "pass word") {
        return "Authorization: Basic " + Base64(user + ":" + password) + "\r\n";
    }
    static std::string Path(const std::string &api, const std::string &rest) {
        return "/webapi/entry.cgi?version=1&api=VARN.Tonvale." + api + "&method=" + rest;
    }
    std::string Request(const std::string &path, const std::string &fields) const {
        return "GET " + path + " HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n" + fields +
               "\r\n";
    }
    HttpAnswer Get(const std::string &path, const std::string &fields = Login("alice"),
                   unsigned host = 1) const {
        HttpClient client(port_, host);
        client.Send(Request(path, fields));
        return client.Answer();
    }
    HttpAnswer Stream(const std::string &rest, const std::string &range = "") const {
        return Get(Path("Stream", "stream&id=music_1" + rest),
                   Login("alice") + (range.empty() ? "" : "Range: bytes=" + range + "\r\n"));
    }

    // Ten seconds of sound: silence, and from the middle on noise.
    static void MakeSound(const std::filesystem::path &path, int rate) {
        const std::string command =
            "ffmpeg -v error -y -f lavfi -i \"anoisesrc=seed=1:sample_rate=" +
            std::to_string(rate) + ":duration=10,volume=0:enable='lt(t,5)'\" -ac 2 \"" +
            path.string() + "\"";
        EXPECT_EQ(std::system(command.c_str()), 0);
    }
    // A song of ten seconds that anybody may hear.
    std::filesystem::path AddSong() const {
        const std::filesystem::path path = scratch() / "O'B 100% #1 \xC3\xA9.flac";
        MakeSound(path, 44100);
        Query(InsertSql({.id = 1, .path = path, .title = "song"}) +
              "UPDATE track SET duration = 10, frequency = 44100, container = 'flac'");
        return path;
    }
    // The same, longer than all the buffers on the way to a client.
    void AddLongSong() const {
        AddSong();
        Query("UPDATE track SET duration = 100000");
    }
    // Puts a script in the encoder's place, which notes its process id first. It runs as the
    // package.
    static void UseEncoder(const std::string &script) {
        chmod(scratch().c_str(), 0777);
        const std::filesystem::path path = At(varn::path::kEncoder);
        std::filesystem::remove(path);
        std::ofstream(path) << "#!/bin/sh\necho $$ >" << PidFile().string() << "\n"
                            << script << "\n";
        chmod(path.c_str(), 0755);
    }
    static std::filesystem::path PidFile() { return scratch() / "pid"; }
    static bool EncoderRuns() {
        const std::string pid = ReadFile(PidFile());
        return !pid.empty() && kill(std::stoi(pid), 0) == 0;
    }

    int port_ = 0;
    std::unique_ptr<Command> server_;
};

}  // namespace tonvale_test
