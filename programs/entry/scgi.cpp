#include "scgi.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <string_view>

#include "parameters.h"
#include "request.h"

namespace tonvale_entry {

namespace {

using std::chrono::steady_clock;

constexpr std::size_t kMostVariables = 64 << 10;  // bytes
constexpr std::size_t kMostDigits = 5;            // of that number
constexpr std::string_view kBodyLength = "CONTENT_LENGTH";

// What comes over a connection until a moment.
class Incoming {
  public:
    Incoming(int connection, steady_clock::time_point end) : connection_(connection), end_(end) {}

    // Reads until there are so many bytes. False when they do not come.
    bool Has(std::size_t size) {
        while (text_.size() < size) {
            if (!Read()) {
                return false;
            }
        }
        return true;
    }

    std::string_view Text() const { return text_; }

  private:
    bool Read() {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end_ - steady_clock::now());
        pollfd waiting = {connection_, POLLIN, 0};
        if (left.count() <= 0 || poll(&waiting, 1, static_cast<int>(left.count())) == 0) {
            return false;
        }
        constexpr std::size_t kBlock = 16 << 10;
        const std::size_t before = text_.size();
        text_.resize(before + kBlock);
        const ssize_t got = recv(connection_, text_.data() + before, kBlock, MSG_DONTWAIT);
        const bool mayGoOn = got > 0 || (got < 0 && (errno == EAGAIN || errno == EINTR));
        text_.resize(before + static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
        return mayGoOn;
    }

    int connection_;
    steady_clock::time_point end_;
    std::string text_;
};

// Where the variables begin and how long they are: "LENGTH:" of a netstring.
struct Extent {
    std::size_t begin;
    std::size_t size;
};
std::optional<Extent> FindVariables(Incoming &incoming) {
    for (std::size_t digits = 1; digits <= kMostDigits; ++digits) {
        if (!incoming.Has(digits + 1)) {
            return std::nullopt;
        }
        if (incoming.Text()[digits] == ':') {
            const auto size = ParseNumber(std::string(incoming.Text().substr(0, digits)), 1,
                                          static_cast<long long>(kMostVariables));
            return size ? std::optional(Extent{digits + 1, static_cast<std::size_t>(*size)})
                        : std::nullopt;
        }
    }
    return std::nullopt;
}

// What a request may tell of itself. Any other variable could be meant for the loader or the
// database library of the program that a worker starts as root.
bool IsOfRequest(std::string_view name) {
    constexpr std::array<std::string_view, 12> kNames = {
        "CONTENT_LENGTH", "CONTENT_TYPE", "HTTPS",       "PATH_INFO",
        "QUERY_STRING",   "REMOTE_ADDR",  "REMOTE_USER", "REQUEST_METHOD",
        "REQUEST_URI",    "SCGI",         "SCRIPT_NAME", "SERVER_PORT"};
    return name.starts_with("HTTP_") ||
           std::find(kNames.begin(), kNames.end(), name) != kNames.end();
}

// Names and values, each with a zero byte at its end. Empty for anything else.
std::vector<std::string> SplitVariables(std::string_view text) {
    std::vector<std::string> variables;
    while (!text.empty()) {
        const std::size_t name = text.find('\0');
        const std::size_t value = name != text.npos ? text.find('\0', name + 1) : text.npos;
        if (value == text.npos || name == 0 || text.substr(0, name).find('=') != text.npos) {
            return {};
        }
        if (IsOfRequest(text.substr(0, name))) {
            variables.emplace_back(text.substr(0, name));
            variables.back().append("=").append(text.substr(name + 1, value - name - 1));
        }
        text.remove_prefix(value + 1);
    }
    return variables;
}

// 0 for a body that is not to be read.
std::size_t BodyLength(const std::vector<std::string> &variables) {
    for (const std::string &variable : variables) {
        if (variable.starts_with(kBodyLength) && variable[kBodyLength.size()] == '=') {
            return static_cast<std::size_t>(
                ParseNumber(variable.substr(kBodyLength.size() + 1), 0, kMostBody).value_or(0));
        }
    }
    return 0;
}

varn::UniqueFd FileOf(std::string_view body) {
    varn::UniqueFd file(body.empty() ? open("/dev/null", O_RDONLY | O_CLOEXEC)
                                     : memfd_create("body", MFD_CLOEXEC));
    return file && varn::WriteAll(file.Get(), body) &&
                   (body.empty() || lseek(file.Get(), 0, SEEK_SET) == 0)
               ? std::move(file)
               : varn::UniqueFd();
}

}  // namespace

std::optional<ScgiRequest> ReadScgi(int connection, std::chrono::milliseconds patience) {
    Incoming incoming(connection, steady_clock::now() + patience);
    const auto found = FindVariables(incoming);
    if (!found || !incoming.Has(found->begin + found->size + 1)) {
        return std::nullopt;
    }
    const std::size_t end = found->begin + found->size;
    ScgiRequest request;
    request.variables = SplitVariables(incoming.Text().substr(found->begin, found->size));
    const std::size_t length = BodyLength(request.variables);
    if (incoming.Text()[end] != ',' || request.variables.empty() ||
        !incoming.Has(end + 1 + length)) {
        return std::nullopt;
    }
    request.body = FileOf(incoming.Text().substr(end + 1, length));
    return request.body ? std::optional(std::move(request)) : std::nullopt;
}

}  // namespace tonvale_entry
