#include "data_download/transfer.h"

#include <exception>
#include <thread>

#include "support/curl.h"

namespace Tonvale::download {

namespace {

using support::Curl;

constexpr char kUserAgent[] = "Tonvale/5.7.0 (Varnel)";
constexpr int kAttempts = 3;
constexpr long kMostRedirects = 30;

bool PassesByItself(CURLcode code) {
    return code == CURLE_OPERATION_TIMEDOUT || code == CURLE_COULDNT_RESOLVE_PROXY ||
           code == CURLE_COULDNT_RESOLVE_HOST;
}

std::string OrEmpty(const char *text) {
    return text != nullptr ? text : "";
}

}  // namespace

// What comes in from libcurl. It knows of a limit only where a length is announced, so that the
// bytes are counted here.
struct Transfer::Receiver {
    Sink &sink;
    std::size_t limit;  // 0: none
    std::size_t received = 0;
    bool tooLarge = false;
    std::exception_ptr thrown = {};

    static std::size_t Take(char *bytes, std::size_t size, std::size_t count,
                            void *receiver) noexcept {
        return static_cast<Receiver *>(receiver)->Take({bytes, size * count});
    }

    // Any other number than that of the bytes ends the transfer.
    std::size_t Take(std::string_view bytes) noexcept {
        received += bytes.size();
        tooLarge = limit > 0 && received > limit;
        try {
            return !tooLarge && sink.Write(bytes) ? bytes.size() : bytes.size() + 1;
        } catch (...) {
            thrown = std::current_exception();
            return bytes.size() + 1;
        }
    }
};

Transfer::Transfer(const Patience &patience) noexcept
    : patience_(patience), handle_(support::NewCurlHandle()) {}

Outcome Transfer::Run(const std::string &url, int maxSize, Sink &sink) {
    Curl().easy_setopt(handle_.get(), CURLOPT_URL, url.c_str());
    Curl().easy_setopt(handle_.get(), CURLOPT_USERAGENT, kUserAgent);
    Curl().easy_setopt(handle_.get(), CURLOPT_FOLLOWLOCATION, 1L);
    Curl().easy_setopt(handle_.get(), CURLOPT_MAXREDIRS, kMostRedirects);
    Curl().easy_setopt(handle_.get(), CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
    // Servers in a home have certificates that no authority has signed.
    Curl().easy_setopt(handle_.get(), CURLOPT_SSL_VERIFYPEER, 0L);
    Curl().easy_setopt(handle_.get(), CURLOPT_SSL_VERIFYHOST, 0L);
    Curl().easy_setopt(handle_.get(), CURLOPT_TIMEOUT, static_cast<long>(patience_.total.count()));
    Curl().easy_setopt(handle_.get(), CURLOPT_CONNECTTIMEOUT,
                       static_cast<long>(patience_.connect.count()));
    Curl().easy_setopt(handle_.get(), CURLOPT_WRITEFUNCTION,
                       static_cast<curl_write_callback>(&Receiver::Take));
    if (maxSize > 0) {
        Curl().easy_setopt(handle_.get(), CURLOPT_MAXFILESIZE, static_cast<long>(maxSize));
    }
    for (int attempt = 1;; ++attempt) {
        Receiver receiver{sink, maxSize > 0 ? static_cast<std::size_t>(maxSize) : 0};
        bool mayRepeat = false;
        const Outcome outcome = Attempt(receiver, mayRepeat);
        if (!mayRepeat || attempt == kAttempts) {
            return outcome;
        }
        std::this_thread::sleep_for(patience_.pause);
    }
}

Outcome Transfer::Attempt(Receiver &receiver, bool &mayRepeat) {
    if (!receiver.sink.Restart()) {
        return Outcome::kNotStarted;
    }
    Curl().easy_setopt(handle_.get(), CURLOPT_WRITEDATA, &receiver);
    const CURLcode code = Curl().easy_perform(handle_.get());
    if (receiver.thrown) {
        std::rethrow_exception(receiver.thrown);
    }
    mayRepeat = PassesByItself(code);
    if (receiver.tooLarge || code == CURLE_FILESIZE_EXCEEDED) {
        return Outcome::kTooLarge;
    }
    return code == CURLE_OK ? Outcome::kAnswered : Outcome::kFailed;
}

Answer Transfer::Tell() const {
    Answer answer;
    curl_off_t length = -1;
    const char *type = nullptr;
    const char *url = nullptr;
    Curl().easy_getinfo(handle_.get(), CURLINFO_RESPONSE_CODE, &answer.responseCode);
    Curl().easy_getinfo(handle_.get(), CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length);
    Curl().easy_getinfo(handle_.get(), CURLINFO_CONTENT_TYPE, &type);
    Curl().easy_getinfo(handle_.get(), CURLINFO_EFFECTIVE_URL, &url);
    answer.contentLength = static_cast<double>(length);
    answer.contentType = OrEmpty(type);
    answer.effectiveUrl = OrEmpty(url);
    return answer;
}

}  // namespace Tonvale::download
