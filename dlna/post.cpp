#include "dlna/post.h"

#include <exception>

#include "support/curl.h"

namespace Tonvale::dlna {

namespace {

using support::Curl;

constexpr char kUserAgent[] = "Tonvale/2.0 UPnP/1.0 DLNADOC/1.50";

struct Receiver {
    std::string &answer;
    std::size_t mostBytes;  // 0: any number
};

// A block that finds no memory is dropped; the transfer goes on. One that is too much ends it.
std::size_t Append(char *data, std::size_t size, std::size_t count, void *context) noexcept {
    auto &[answer, mostBytes] = *static_cast<Receiver *>(context);
    if (mostBytes > 0 && size * count > mostBytes - answer.size()) {
        return 0;
    }
    try {
        answer.append(data, size * count);
    } catch (const std::exception &) {
    }
    return size * count;
}

}  // namespace

void HeaderListFree::operator()(curl_slist *list) const noexcept {
    Curl().slist_free_all(list);
}

void AddLine(HeaderList &list, const std::string &line) noexcept {
    curl_slist *longer = Curl() ? Curl().slist_append(list.get(), line.c_str()) : nullptr;
    if (longer != nullptr) {
        static_cast<void>(list.release());
        list.reset(longer);
    }
}

Post::Post() noexcept : handle_(support::NewCurlHandle()) {}

void Post::SetBounds(int seconds, std::size_t bytes) noexcept {
    if (seconds > 0) {
        Curl().easy_setopt(handle_.get(), CURLOPT_TIMEOUT, static_cast<long>(seconds));
    }
    mostBytes_ = bytes;
}

int Post::Send(const std::string &url, const HeaderList &headers, std::string_view body,
               std::string &answer) noexcept {
    Receiver receiver{answer, mostBytes_};
    Curl().easy_setopt(handle_.get(), CURLOPT_URL, url.c_str());
    Curl().easy_setopt(handle_.get(), CURLOPT_USERAGENT, kUserAgent);
    Curl().easy_setopt(handle_.get(), CURLOPT_HTTPHEADER, headers.get());
    Curl().easy_setopt(handle_.get(), CURLOPT_POSTFIELDS, body.data());
    Curl().easy_setopt(handle_.get(), CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size()));
    Curl().easy_setopt(handle_.get(), CURLOPT_WRITEFUNCTION, Append);
    Curl().easy_setopt(handle_.get(), CURLOPT_WRITEDATA, &receiver);
    return Curl().easy_perform(handle_.get());
}

}  // namespace Tonvale::dlna
