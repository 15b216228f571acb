#include <json/reader.h>
#include <json/writer.h>

#include <fstream>

#include "support/boundary.h"
#include "support/log.h"
#include "tonvale/settings.h"
#include "varn/handles.h"

namespace {

constexpr char kSource[] = "audiolib/json_util";

using Tonvale::support::Guarded;
using varn::File;

// The compact writer and the lenient reader set the format of the package's files; the classes that
// replace them write and accept another one.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

std::string OneLine(const Json::Value &json) {
    return Json::FastWriter().write(json);
}

bool Parse(std::istream &stream, Json::Value &json) {
    try {
        return Json::Reader().parse(stream, json);
    } catch (const Json::Exception &) {  // nested too deep
        return false;
    } catch (const std::ios_base::failure &) {  // opened, but nothing to be read: a folder
        return false;
    }
}

#pragma GCC diagnostic pop

int Save(const char *path, const Json::Value &json) {
    const std::string text = OneLine(json);
    File file(std::fopen(path, "wbe"));
    if (!file) {
        LOG_ERROR(kSource, "Failed to fopen [%s], [%m]", path);
        return -1;
    }
    // Without a buffer a full disk shows here already; the close may still tell of one far away.
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
    if (!Parse(stream, json)) {
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
