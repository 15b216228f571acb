// The web API over real HTTP: `tonvale serve`, a song, and a client.
#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <csignal>
#include <memory>
#include <string>
#include <vector>

#include "programs/command.h"
#include "support/fixture.h"
#include "varn/host.h"
#include "webapi/cgi.h"
#include "webapi/http.h"

namespace tonvale_test {

std::string Base64(const std::string &text);

// How requests reach entry.cgi: through `tonvale serve`, or as CGI from another web server.
enum class Way { kServe, kCgi };

// Processes whose parent is `parent`, by the names of their programs.
std::vector<pid_t> ChildrenOf(pid_t parent, const std::string &name);

class Served : public DatabaseTest {
  protected:
    void SetUp() override;
    void TearDown() override;

    // `tonvale serve` with these options, at the test's port.
    std::vector<std::string> ServeWords(std::vector<std::string> options) const;
    // Starts it, and waits until it serves at an address.
    void ServeWith(const std::vector<std::string> &options, const std::string &address);
    void Serve(Way way = Way::kServe);
    Finished Stop();
    // lighttpd, with the paths, the login and one header field.
    void ServeCgi();

    static std::string Login(const std::string &user, const std::string &password = "pass word");
    static std::string Path(const std::string &api, const std::string &rest);
    std::string Request(const std::string &path, const std::string &fields) const;
    HttpAnswer Get(const std::string &path, const std::string &fields = Login("alice"),
                   unsigned host = 1) const;
    static constexpr char kEntry[] = "/webapi/entry.cgi";
    HttpAnswer Post(const std::string &path, const std::string &form,
                    const std::string &fields = "") const;
    HttpAnswer Stream(const std::string &rest, const std::string &range = "") const;

    // Ten seconds of sound: silence, and from the middle on noise.
    static void MakeSound(const fs::path &path, int rate);
    // A song of ten seconds that every user may hear.
    fs::path AddSong() const;
    // The same. Its sound does not fit into the buffers on the way to a client.
    void AddLongSong() const;
    // Replaces the encoder by a script, which writes its process id first. It runs as the package's
    // account.
    static void UseEncoder(const std::string &script);
    static fs::path PidFile() { return scratch() / "pid"; }
    static bool EncoderRuns();

    int port_ = 0;
    std::unique_ptr<Command> server_;

    static bool IsAnswered(int port);

  private:
    pid_t lighttpd_ = -1;
};

// A fixture whose tests run in both ways.
template <typename Fixture>
class BothWays : public Fixture, public testing::WithParamInterface<Way> {
  protected:
    void Serve() { Fixture::Serve(GetParam()); }
};

inline const auto kBothWays = testing::Values(Way::kServe, Way::kCgi);
std::string NameOfWay(const testing::TestParamInfo<Way> &way);

}  // namespace tonvale_test
