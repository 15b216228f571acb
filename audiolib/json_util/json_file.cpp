#include <fstream>
#include <sstream>

#include "support/boundary.h"
#include "support/json_text.h"
#include "support/log.h"
#include "tonvale/settings.h"
#include "varn/handles.h"

namespace {

constexpr char kSource[] = "audiolib/json_util";

using Tonvale::support::Guarded;
using varn::File;

int Save(const char *path, const Json::Value &json) {
    const std::string text = Tonvale::support::OneLine(json);
    File file(std::fopen(path, "wbe"));
    if (!file) {
        LOG_ERROR(kSource, "Failed to fopen [%s], [%m]", path);
        return -1;
    }
    // Without a buffer the write reports a full disk. The close may still report a remote one.
    std::setvbuf(file.get(), nullptr, _IONBF, 0);
    if (std::fwrite(text.data(), 1, text.size(), file.get()) != text.size() ||
        std::fclose(file.release()) != 0) {
        LOG_ERROR(kSource, "Failed to fwrite, [%m]");
        return -1;
    }
    return 0;
}

int Load(const char *path, Json::Value &json) {
    std::ifstream stream(path, std::ios::in | std::ios::binary);
    if (!stream.is_open()) {
        LOG_ERROR(kSource, "Failed to open json file [%s] %m", path);
        return -1;
    }
    std::ostringstream text;
    text << stream.rdbuf();  // of a folder, which is opened, nothing
    if (!Tonvale::support::Parse(text.str(), json)) {
        LOG_ERROR(kSource, "Failed to parse json file [%s]", path);
        return -1;
    }
    return 0;
}

}  // namespace

int VARNAudioJsonSave(const char *path, const Json::Value &json) noexcept {
    if (!NonEmptyStr(path)) {
        LOG_ERROR(kSource, "Bad parameter.");
        return -1;
    }
    return Guarded(kSource, -1, [&] { return Save(path, json); });
}

int VARNAudioJsonLoad(const char *path, Json::Value &json) noexcept {
    // A null path is a file that cannot be opened: that of an empty name.
    return Guarded(kSource, -1, [&] { return Load(path != nullptr ? path : "", json); });
}
