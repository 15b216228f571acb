#include "webapi/served.h"

#include <crypt.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <utility>

#include "platform/child.h"
#include "support/eventually.h"
#include "support/sockets.h"
#include "varn/crypt.h"
#include "varn/systempath.h"

namespace tonvale_test {

std::string Base64(const std::string &text) {
    std::string encoded(text.size() * 2 + 8, '\0');
    VLIBCBase64SzEncodeOneLine(text.c_str(), encoded.data(), encoded.size());
    return encoded.c_str();
}

std::vector<pid_t> ChildrenOf(pid_t parent, const std::string &name) {
    std::vector<pid_t> children;
    for (const fs::directory_entry &entry : fs::directory_iterator("/proc")) {
        const pid_t pid = std::atoi(entry.path().filename().c_str());
        if (pid > 0 && StatusOf(pid, "PPid") == std::to_string(parent) &&
            StatusOf(pid, "Name") == name) {
            children.push_back(pid);
        }
    }
    return children;
}

void Served::SetUp() {
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

void Served::TearDown() {
    Stop();
    const std::string log = ReadFile(At(varn::path::kWebLog));
    for (const char *report : {"Sanitizer:", "runtime error:", "A request has changed"}) {
        EXPECT_EQ(log.find(report), log.npos) << log;
    }
    DatabaseTest::TearDown();
}

std::vector<std::string> Served::ServeWords(std::vector<std::string> options) const {
    options.insert(options.begin(), {"serve", "--port", std::to_string(port_)});
    return options;
}

void Served::ServeWith(const std::vector<std::string> &options, const std::string &address) {
    server_ = std::make_unique<Command>(ServeWords(options));
    ASSERT_TRUE(server_->WaitForOutput("Serving at " + address + ":" + std::to_string(port_)))
        << server_->Signal(SIGTERM).err;
}

void Served::Serve(Way way) {
    if (way == Way::kCgi) {
        return ServeCgi();
    }
    ServeWith({"--no-watch"}, "http://127.0.0.1");
}

Finished Served::Stop() {
    Finished finished;
    if (server_) {
        finished = server_->Signal(SIGTERM);
        server_.reset();
    }
    if (lighttpd_ > 0) {
        kill(lighttpd_, SIGTERM);
        waitpid(std::exchange(lighttpd_, -1), nullptr, 0);
    }
    return finished;
}

void Served::ServeCgi() {
    const std::string program = TONVALE_PROGRAM_DIR "/entry.cgi";
    std::string variables;
    for (const std::string &variable : OwnVariables()) {
        const std::string name = variable.substr(0, variable.find('='));
        if (name == "TONVALE_ROOT" || name == "PGHOST" || name.ends_with("SAN_OPTIONS")) {
            variables += "\"" + name + "\" => \"" + variable.substr(name.size() + 1) + "\",";
        }
    }
    const fs::path conf = scratch() / "lighttpd.conf";
    std::ofstream(conf) << R"conf(server.modules = ("mod_alias", "mod_auth", "mod_authn_file",
            "mod_setenv", "mod_cgi")
server.bind = "127.0.0.1"
server.stream-response-body = 2
server.range-requests = "disable"
cgi.limits = ("tcp-fin-propagate" => "SIGTERM")
setenv.set-response-header = ("X-Content-Type-Options" => "nosniff")
auth.backend = "htpasswd"
$HTTP["querystring"] !~ "(^|&)api=VARN\.Tonvale\.Sharing\.Page(&|$)" {
auth.require = ("/webapi" => ("method" => "basic", "realm" => "x", "require" => "valid-user"))
}
)conf"
                        << "server.port = " << port_ << "\nserver.document-root = \""
                        << scratch().string() << "\"\nauth.backend.htpasswd.userfile = \""
                        << At(varn::path::kLogins).string() << "\"\nserver.errorlog = \""
                        << (scratch() / "lighttpd.log").string() << "\"\nsetenv.add-environment = ("
                        << variables << ")\nalias.url = (\"/webapi/entry.cgi\" => \"" << program
                        << "\", \"/as/sharing\" => \"" << program << "\")\ncgi.assign = (\""
                        << program << "\" => \"\")\n";
    lighttpd_ = Spawn("/usr/sbin/lighttpd", {"lighttpd", "-D", "-f", conf}, OwnVariables(), {});
    EXPECT_TRUE(Eventually([&] { return IsAnswered(port_); }));
}

std::string Served::Login(const std::string &user, const std::string &password) {
    return "Authorization: Basic " + Base64(user + ":" + password) + "\r\n";
}

std::string Served::Path(const std::string &api, const std::string &rest) {
    return "/webapi/entry.cgi?version=1&api=VARN.Tonvale." + api + "&method=" + rest;
}

std::string Served::Request(const std::string &path, const std::string &fields) const {
    return "GET " + path + " HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n" + fields +
           "\r\n";
}

HttpAnswer Served::Get(const std::string &path, const std::string &fields, unsigned host) const {
    HttpClient client(port_, host);
    client.Send(Request(path, fields));
    return client.Answer();
}

HttpAnswer Served::Post(const std::string &path, const std::string &form,
                        const std::string &fields) const {
    HttpClient client(port_);
    client.Send("POST" +
                Request(path, fields +
                                  "Content-Type: application/x-www-form-urlencoded\r\n"
                                  "Content-Length: " +
                                  std::to_string(form.size()) + "\r\n")
                    .substr(3) +
                form);
    return client.Answer();
}

HttpAnswer Served::Stream(const std::string &rest, const std::string &range) const {
    return Get(Path("Stream", "stream&id=music_1" + rest),
               Login("alice") + (range.empty() ? "" : "Range: bytes=" + range + "\r\n"));
}

void Served::MakeSound(const fs::path &path, int rate) {
    const std::string command =
        "ffmpeg -v error -y -f lavfi -i \"anoisesrc=seed=1:sample_rate=" + std::to_string(rate) +
        ":duration=10,volume=0:enable='lt(t,5)'\" -ac 2 \"" + path.string() + "\"";
    EXPECT_EQ(std::system(command.c_str()), 0);
}

fs::path Served::AddSong() const {
    const fs::path path = scratch() / "O'B 100% #1 \xC3\xA9.flac";
    MakeSound(path, 44100);
    Query(InsertSql({.id = 1, .path = path, .title = "song"}) +
          "UPDATE track SET duration = 10, frequency = 44100, container = 'flac'");
    return path;
}

void Served::AddLongSong() const {
    AddSong();
    Query("UPDATE track SET duration = 100000");
}

void Served::UseEncoder(const std::string &script) {
    chmod(scratch().c_str(), 0777);
    const fs::path path = At(varn::path::kEncoder);
    fs::remove(path);
    std::ofstream(path) << "#!/bin/sh\necho $$ >" << PidFile().string() << "\n" << script << "\n";
    chmod(path.c_str(), 0755);
}

bool Served::EncoderRuns() {
    const std::string pid = ReadFile(PidFile());
    return !pid.empty() && kill(std::stoi(pid), 0) == 0;
}

bool Served::IsAnswered(int port) {
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const bool isAnswered = Connect(fd, LoopbackAddress(port));
    close(fd);
    return isAnswered;
}

std::string NameOfWay(const testing::TestParamInfo<Way> &way) {
    return way.param == Way::kServe ? "Serve" : "Cgi";
}

}  // namespace tonvale_test
