#include "web_config.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>

#include "gate_config.h"
#include "varn/path.h"
#include "varn/systempath.h"

namespace tonvale_cli {

namespace {

using varn::host::Outcome;

// What the handlers find in their environment besides the request: where the system is, where an
// external database is, and when a day begins.
constexpr const char *kHandedOn[] = {"TONVALE_ROOT", "TZ",           "PGHOST",
                                     "PGPORT",       "PGPASSFILE",   "PGSSLMODE",
                                     "PGOPTIONS",    "ASAN_OPTIONS", "UBSAN_OPTIONS"};

// Whether a text can stand between the double quotes of the server's configuration. A backslash
// takes away a quote's meaning there, and stands for itself before anything else.
bool IsQuotable(std::string_view text) {
    return text.find("\\\"") == text.npos && !text.ends_with('\\');
}

std::string Quoted(std::string_view text) {
    std::string quoted = "\"";
    for (const char c : text) {
        quoted += c == '"' ? "\\\"" : std::string(1, c);
    }
    return quoted + "\"";
}

std::string Place(std::string_view fixedPath) {
    return Quoted(SystemPath(fixedPath));
}

// The same with links resolved, where it is there.
std::string RealSystemPath(std::string_view fixedPath) {
    const std::string path = SystemPath(fixedPath);
    const std::string real = varn::RealPath(path);
    return real.empty() ? path : real;
}

std::string RealPlace(std::string_view fixedPath) {
    return Quoted(RealSystemPath(fixedPath));
}

std::string Log(std::string_view name) {
    return Quoted(SystemPath(varn::path::kWebLogDir) + "/" + std::string(name));
}

std::string Environment() {
    std::string entries;
    for (const char *name : kHandedOn) {
        const char *value = std::getenv(name);
        if (value != nullptr && *value != '\0' && std::strpbrk(value, "\r\n") == nullptr &&
            IsQuotable(value)) {
            entries += "    " + Quoted(name) + " => " + Quoted(value) + ",\n";
        }
    }
    return "setenv.add-environment = (\n" + entries + ")\n";
}

// Where the gate finds this server: root's gate has an account of its own, whose group the folder
// gives to the socket. Links to this machine name the gate's port.
std::string Address(const WebOptions &options) {
    return "server.bind = " + Place(varn::path::kWebSocket) +
           "\nserver.socket-perms = " + Quoted(geteuid() == 0 ? "0660" : "0600") +
           "\nsetenv.set-environment = ( \"TONVALE_PORT\" => " +
           Quoted(std::to_string(options.port)) + " )\n";
}

std::string Places() {
    return "server.document-root = " + RealPlace(varn::path::kWebRoot) +
           "\nserver.upload-dirs = ( " + Place(varn::path::kWebTemporary) +
           " )\nserver.errorlog = " + Log("error.log") +
           "\nserver.breakagelog = " + Log("handlers.log") +
           "\naccesslog.filename = " + Log("access.log") +
           "\nauth.backend.htpasswd.userfile = " + Place(varn::path::kLogins) + "\n";
}

// No file is sent through a link, which somebody may have put in a song's place a moment ago; the
// handler, which is a link to the program, is named by where it really is. Sound alone has ranges.
std::string Handler() {
    const std::string program = RealPlace(varn::path::kWebApi);
    return "server.follow-symlink = \"disable\"\ncgi.assign = ( " + program +
           " => \"\" )\n$HTTP[\"url\"] =~ \"^/webapi/entry\\.cgi(/|$)\" {\n" +
           "    alias.url = ( \"/webapi/entry.cgi\" => " + program + " )\n" +
           "    $HTTP[\"querystring\"] !~ \"(^|&)method=stream(&|$)\" {\n" +
           "        server.range-requests = \"disable\"\n    }\n}\n";
}

// A client that closes its side has left: its handler is ended, even one that waits for an encoder
// and would not notice.
//
// A login is asked for everywhere but on the public pages of a share link. Those are the handler's:
// the link, the reference to a song and the page go on to it, and whatever is none of these goes on
// as a link that does not exist. Answers go through in small pieces: a stream is as long as its
// listener lets it be. Queries, which may hold the names of shares, are not logged. A password is
// checked once in ten minutes, because checking one is slow on purpose. Nobody but the gate connects,
// which says who asks.
// clang-format off: it would set the text, too
constexpr std::string_view kFixed = R"conf(server.modules = (
    "mod_extforward", "mod_rewrite", "mod_alias", "mod_setenv", "mod_auth", "mod_authn_file",
    "mod_cgi", "mod_accesslog"
)
server.tag = "Tonvale"
server.max-request-size = 1024
server.max-connections = 4096
server.max-fds = 16384
server.stream-response-body = 2
server.feature-flags = ( "server.h2proto" => "disable" )
accesslog.format = "%h %u %t \"%m %U\" %s %b"
cgi.x-sendfile = "enable"
cgi.limits = ( "tcp-fin-propagate" => "SIGTERM" )
static-file.exclude-extensions = ( ".cgi" )
extforward.forwarder = ( "all" => "trust" )
extforward.headers = ( "X-Forwarded-For" )
var.page = "/webapi/entry.cgi?api=VARN.Tonvale.Sharing.Page&version=1&method=page"
url.rewrite-once = (
    "^/as/sharing/([0-9A-Za-z]+)\?offset=([0-9]{1,9})$" =>
        var.page + "&sharing_id=$1&offset=$2",
    "^/as/sharing/([0-9A-Za-z]+)(\?.*)?$" => var.page + "&sharing_id=$1",
    "^/as/sharing/([0-9A-Za-z]+)/([0-9A-Za-z_=%-]+)(\?.*)?$" =>
        var.page + "&sharing_id=$1&song=$2",
    "^/as/sharing(/|\?|$)" => var.page
)
setenv.set-response-header = ( "X-Content-Type-Options" => "nosniff" )
auth.backend = "htpasswd"
auth.cache = ( "max-age" => "600" )
$HTTP["querystring"] !~ "(^|&)api=VARN\.Tonvale\.Sharing\.Page(&|$)" {
    auth.require = ( "/" => (
        "method" => "basic", "realm" => "Tonvale", "require" => "valid-user"
    ) )
}
)conf";
// clang-format on

// Nothing that is at the path already is written to, nor what it leads to. False with errno set.
bool WriteAnew(const std::string &path, std::string_view text) {
    if (unlink(path.c_str()) != 0 && errno != ENOENT) {
        return false;
    }
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644);
    if (fd < 0) {
        return false;
    }
    const ssize_t put = write(fd, text.data(), text.size());
    errno = put >= 0 ? ENOSPC : errno;  // a write that was cut short
    return close(fd) == 0 && put == static_cast<ssize_t>(text.size());
}

}  // namespace

std::string WebAddress(const WebOptions &options) {
    const bool isIpv6 = options.listen.find(':') != std::string::npos;
    return (isIpv6 ? "[" + options.listen + "]" : options.listen) + ":" +
           std::to_string(options.port);
}

Outcome WriteWebConfig(const WebOptions &options) {
    for (const std::string &place : {SystemRoot(), RealSystemPath(varn::path::kWebApi)}) {
        if (!place.empty() && !IsQuotable(place)) {
            return Outcome::Problem("the web server's configuration cannot hold the path " + place +
                                    ": a backslash stands before a quote or at its end");
        }
    }
    std::string gate;
    if (Outcome done = MakeGateConfig(options, gate); !done) {
        return done;
    }
    const std::string head = "# Written by 'tonvale serve' each time it starts.\n";
    const std::pair<std::string_view, std::string> files[] = {
        {varn::path::kWebConf,
         std::string(kFixed) + Address(options) + Places() + Handler() + Environment()},
        {varn::path::kGateConf, gate}};
    for (const auto &[file, text] : files) {
        const std::string path = SystemPath(file);
        if (!WriteAnew(path, head + text)) {
            return Outcome::Problem("cannot write " + path + ": " + std::strerror(errno));
        }
    }
    return Outcome::Good();
}

}  // namespace tonvale_cli
