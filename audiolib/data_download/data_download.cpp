#include <algorithm>
#include <optional>
#include <string_view>

#include "data_download/sinks.h"
#include "data_download/transfer.h"
#include "support/boundary.h"
#include "support/log.h"
#include "tonvale/media.h"

namespace Tonvale {

namespace {

using download::FileSink;
using download::Outcome;
using download::TextSink;
using support::Guarded;

constexpr char kSource[] = "audiolib/data_download";
constexpr long kOk = 200;

// As much of a text as fits, with its NUL.
template <std::size_t Size>
void CopyCut(std::string_view text, std::array<char, Size> &out) noexcept {
    *std::copy_n(text.begin(), std::min(text.size(), Size - 1), out.begin()) = '\0';
}

}  // namespace

struct DataDownload::Connection {
    download::Transfer transfer;
};

DataDownload::DataDownload(const char *url) noexcept
    : url_(Guarded(kSource, std::string(),
                   [&] { return std::string(url != nullptr ? url : ""); })) {}

DataDownload::~DataDownload() = default;

bool DataDownload::CurlInit() noexcept {
    return Guarded(kSource, false, [&] {
        connection_ = std::make_unique<Connection>();
        if (!connection_->transfer) {
            connection_.reset();
        }
        return connection_ != nullptr;
    });
}

void DataDownload::CurlUnint() noexcept {
    connection_.reset();
}

void DataDownload::Forget() noexcept {
    contentLength_ = -1;
    contentType_ = {};
    fileName_ = {};
    result_.clear();
}

void DataDownload::CurlGetInfo() noexcept {
    Guarded(kSource, [&] {
        if (!connection_) {
            return;
        }
        const download::Answer answer = connection_->transfer.Tell();
        contentLength_ = answer.contentLength;
        CopyCut(answer.contentType, contentType_);
        ToLower(contentType_.data());
        ParseUrl(answer.effectiveUrl);
    });
}

// The last slash of the whole URL counts, one of its query included.
void DataDownload::ParseUrl(const std::string &url) noexcept {
    std::string_view name(url);
    name.remove_prefix(name.rfind('/') + 1);
    CopyCut(name.substr(0, name.find('?')), fileName_);
}

void DataDownload::ToLower(char *text) noexcept {
    for (; text != nullptr && *text != '\0'; ++text) {
        if (*text >= 'A' && *text <= 'Z') {
            *text = static_cast<char>(*text - 'A' + 'a');
        }
    }
}

int DataDownload::Perform(const char *path) {
    std::optional<FileSink> file;
    TextSink memory(result_);
    if (path != nullptr) {
        file.emplace(path);
    }
    download::Sink &sink = file ? static_cast<download::Sink &>(*file) : memory;
    const Outcome outcome = connection_->transfer.Run(url_, maxSize_, sink);
    if (outcome == Outcome::kTooLarge) {
        return kTooLarge;
    }
    if (outcome == Outcome::kFailed) {
        return kFailure;
    }
    const long code = outcome == Outcome::kAnswered ? connection_->transfer.Tell().responseCode : 0;
    if (code != kOk) {
        LOG_ERROR(kSource, "Failed to download data, ResponseCode=%ld", code);
        return kFailure;
    }
    if (file && !file->Close()) {
        return kFailure;
    }
    CurlGetInfo();
    return kSuccess;
}

int DataDownload::CurlExec(const char *path) noexcept {
    Forget();
    const int result =
        Guarded(kSource, kFailure, [&] { return CurlInit() ? Perform(path) : kFailure; });
    CurlUnint();
    if (result != kSuccess) {
        Forget();
    }
    return result;
}

int DataDownload::Download(std::string &out) noexcept {
    const int result = CurlExec(nullptr);
    if (result == kSuccess) {
        out = std::move(result_);
        result_.clear();
    }
    return result;
}

}  // namespace Tonvale
