#include "dlna/post.h"

#include <curl/curl.h>

#include <exception>

namespace Tonvale::dlna {

namespace {

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
    curl_slist_free_all(list);
}

void AddLine(HeaderList &list, const std::string &line) noexcept {
    if (curl_slist *longer = curl_slist_append(list.get(), line.c_str())) {
        static_cast<void>(list.release());
        list.reset(longer);
    }
}

Post::Post() noexcept : handle_(curl_easy_init()) {
    if (handle_ != nullptr) {
        curl_global_init(CURL_GLOBAL_ALL);
    }
}

Post::~Post() {
    if (handle_ != nullptr) {
        curl_easy_cleanup(handle_);
        curl_global_cleanup();
    }
}

void Post::SetBounds(int seconds, std::size_t bytes) noexcept {
    curl_easy_setopt(handle_, CURLOPT_TIMEOUT, static_cast<long>(seconds));
    mostBytes_ = bytes;
}

int Post::Send(const std::string &url, const HeaderList &headers, std::string_view body,
               std::string &answer) noexcept {
    Receiver receiver{answer, mostBytes_};
    curl_easy_setopt(handle_, CURLOPT_URL, url.c_str());
    curl_easy_setopt(handle_, CURLOPT_USERAGENT, kUserAgent);
    curl_easy_setopt(handle_, CURLOPT_HTTPHEADER, headers.get());
    curl_easy_setopt(handle_, CURLOPT_POSTFIELDS, body.data());
    curl_easy_setopt(handle_, CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size()));
    curl_easy_setopt(handle_, CURLOPT_WRITEFUNCTION, Append);
    curl_easy_setopt(handle_, CURLOPT_WRITEDATA, &receiver);
    return curl_easy_perform(handle_);
}

}  // namespace Tonvale::dlna
