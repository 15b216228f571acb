#include <fstream>
#include <optional>
#include <tuple>

#include "support/fixture.h"
#include "support/scripted_http.h"
#include "support/spawn.h"
#include "tonvale/media.h"

namespace {

using namespace tonvale_test;
using Tonvale::ImageDownload;

class ImageTest : public SystemTest {
  protected:
    // Fetches and returns the extension; "" after a failure, of which no file may stay.
    static std::string Fetch(const std::string &url, long maxSize = 0) {
        const fs::path path = scratch() / "image";
        ImageDownload image(url.c_str());
        const bool fetched = image.Download(path.c_str(), maxSize);
        EXPECT_EQ(fs::exists(path), fetched) << url;
        EXPECT_EQ(*image.Extension() != '\0', fetched) << url;
        fs::remove(path);
        return image.Extension();
    }
};

TEST_F(ImageTest, TakesWebUrlsOnly) {
    const std::pair<const char *, bool> cases[] = {
        {"http://a/b", true}, {"https://a/b", true}, {"HtTpS://a", true}, {"http://", true},
        {"ftp://a/b", false}, {"file:///a", false},  {"http:/a", false},  {" http://a", false},
        {"httpx://a", false}, {"", false},           {"https:", false},   {"//a/b", false}};
    for (const auto &[url, isWeb] : cases) {
        EXPECT_EQ(ImageDownload::IsValidUrlPrefix(url), isWeb) << url;
    }
    std::ofstream(scratch() / "local.jpg") << "x";
    EXPECT_EQ(Fetch("file://" + (scratch() / "local.jpg").string()), "");
    EXPECT_EQ(Fetch("ftp://127.0.0.1:1/a.jpg"), "");
    EXPECT_FALSE(ImageDownload(nullptr).Download((scratch() / "image").c_str(), 0));
    EXPECT_TRUE(Log().empty());
}

TEST_F(ImageTest, GoesByTheTypeAndThenByTheName) {
    const std::tuple<const char *, const char *, const char *> kCases[] = {
        {"image/jpeg", "/a", "jpg"},
        {"IMAGE/PNG", "/a.jpg", "png"},
        {"text/html", "/a.png", "png"},
        {"", "/x/cover.png?size=1", "png"},
        {"", "/cover.tar.jpg", "jpg"},
        {"image/jpeg; charset=x", "/a", ""},
        {"image/gif", "/a.gif", ""},
        {"image/jpg", "/a", ""},
        {"", "/a.jpeg", ""},
        {"", "/a.PNG", ""},
        {"", "/a.png.html", ""},
        {"", "/png", ""},
        {"", "/", ""},
        {"text/html", "/index.html", ""}};
    for (const auto &[type, target, extension] : kCases) {
        const ScriptedHttp server([&](const HttpRequest &) {
            const std::string sent(type);
            return Reply("x", "200 OK", sent.empty() ? "" : "Content-Type: " + sent + "\r\n");
        });
        EXPECT_EQ(Fetch(server.Url(target)), extension) << type << " " << target;
    }
    const ScriptedHttp pieces([](const HttpRequest &) { return ChunkedReply("12345", 2); });
    EXPECT_EQ(Fetch(pieces.Url("/a.png")), "png");
    EXPECT_EQ(Fetch(pieces.Url("/a.png"), 5), "") << "an unknown size counts as too large";
}

// A web server with TLS. Its certificate is for another name and signed by itself.
class WebServer {
  public:
    WebServer(const fs::path &folder) {
        const std::string key = folder / "server.pem";
        Output(
            Words("/usr/bin/openssl req -x509 -newkey ec -pkeyopt "
                  "ec_paramgen_curve:prime256v1 -nodes -subj /CN=other.example -days 1 -keyout " +
                  key + " -out " + key + ".crt"));
        const std::string conf = folder / "lighttpd.conf";
        std::ofstream(conf)
            << "server.document-root = \"" << folder.string() << "\"\n"
            << "server.bind = \"127.0.0.1\"\nserver.modules = (\"mod_openssl\")\n"
            << "ssl.engine = \"enable\"\nssl.pemfile = \"" << key << ".crt\"\nssl.privkey = \""
            << key << "\"\nserver.port = " << port_ << "\n"
            << "mimetype.assign = (\".jpg\" => \"image/jpeg\", \"\" => \"text/plain\")\n";
        program_.emplace(std::vector<std::string>{"/usr/sbin/lighttpd", "-D", "-f", conf},
                         OwnVariables(), folder / "log");
        EXPECT_TRUE(UntilItListens(port_)) << std::ifstream(folder / "log").rdbuf();
    }

    std::string Url(const std::string &path) const {
        return "https://127.0.0.1:" + std::to_string(port_) + path;
    }

  private:
    int port_ = UnusedPort();
    std::optional<Background> program_;
};

TEST_F(ImageTest, AcceptsEveryCertificate) {
    std::string text = "a picture";
    std::ofstream(scratch() / "cover.jpg") << text;
    std::ofstream(scratch() / "page") << text;
    const WebServer server(scratch());
    EXPECT_EQ(Fetch(server.Url("/cover.jpg"), 9), "jpg");
    EXPECT_EQ(Fetch(server.Url("/cover.jpg"), 8), "");
    EXPECT_EQ(Fetch(server.Url("/page")), "");
    EXPECT_EQ(Fetch(server.Url("/missing.jpg")), "");
    EXPECT_TRUE(Logged("ResponseCode=404$"));
    Tonvale::DataDownload download(server.Url("/page").c_str());
    EXPECT_EQ(download.Download(text), Tonvale::DataDownload::kSuccess);
    EXPECT_EQ(text, "a picture");
}

}  // namespace
