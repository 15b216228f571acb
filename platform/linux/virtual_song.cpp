// Songs that are one track of a cue sheet.
#include <charconv>
#include <climits>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

#include "linux/error.h"
#include "linux/memory.h"
#include "linux/utf8.h"
#include "varn/database.h"
#include "varn/sql.h"

namespace {

constexpr std::string_view kDescriptor = "virtual_track:";

// A number in decimal digits alone; empty for anything else.
std::optional<int> Number(std::string_view digits) {
    int number = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    const bool whole = error == std::errc() && end == digits.data() + digits.size();
    return whole && digits.front() != '-' ? std::optional(number) : std::nullopt;
}

std::optional<int> StartOf(std::string_view comment) {
    if (!comment.starts_with(kDescriptor)) {
        return std::nullopt;
    }
    return Number(comment.substr(kDescriptor.size()));
}

std::string_view FileName(std::string_view path) {
    return path.substr(path.rfind('/') + 1);
}

// The library's start of a track; 0 when it has none.
int64_t StoredStart(uint32_t id) {
    const varn::Connection connection = id > 0 && id <= INT_MAX ? varn::ConnectLibrary() : nullptr;
    const auto sql =
        varn::Sql("SELECT audio_offset FROM virtual_info_track WHERE track = @VARN:INT",
                  static_cast<int>(id));
    const auto rows = connection && sql ? varn::Execute(connection.get(), *sql) : std::nullopt;
    return rows && rows->Count() > 0 ? Number((*rows)[0].Text("audio_offset")).value_or(0) : 0;
}

}  // namespace

bool IsVirtualPath(const char *text, char *pathOut, size_t size, int *trackOut) {
    if (text == nullptr) {
        return false;
    }
    const std::string_view name(text);
    const std::size_t mark = name.rfind('_');
    if (mark == name.npos || mark + 1 == name.size() || name[mark + 1] == '0') {
        return false;
    }
    const std::optional<int> track = Number(name.substr(mark + 1));
    const std::string_view path = name.substr(0, mark);
    const std::string_view file = FileName(path);
    const std::size_t dot = file.rfind('.');
    if (!track || dot == file.npos || dot == 0 || dot + 1 == file.size() ||
        (pathOut != nullptr && path.size() >= size)) {
        return false;
    }
    if (pathOut != nullptr) {
        varn::CopyToBuffer(path, pathOut, size);
    }
    if (trackOut != nullptr) {
        *trackOut = *track;
    }
    return true;
}

void SetMediaPathTitle(const char *path, VARN_MEDIA_INFO *record) {
    if (path != nullptr && record != nullptr) {
        varn::CopyCut(FileName(path), record->title);
        varn::CopyCut(path, record->path);
    }
}

bool IsVirtualMusic(const char *comment) {
    return comment != nullptr && StartOf(comment);
}

bool IsVirtualMusic(const VARN_MEDIA_INFO *record) {
    return record != nullptr && (record->is_virtual != 0 || IsVirtualMusic(record->comment));
}

int64_t GetVirtualMusicStartPosition(const char *comment) {
    return comment != nullptr ? StartOf(comment).value_or(0) : 0;
}

int64_t GetVirtualMusicStartPosition(const VARN_MEDIA_INFO *record) {
    if (!IsVirtualMusic(record)) {
        return 0;
    }
    if (const auto start = StartOf(record->comment)) {
        return *start;
    }
    if (record->virtual_start != 0) {
        return record->virtual_start;
    }
    return varn::Guarded<int64_t>(0, [&] { return StoredStart(record->id); });
}
