#include "service/downloads/zip_stream.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <limits>
#include <optional>

#include "service/base/text.h"

namespace tonvale_service {

namespace {

constexpr uint64_t kMost32 = std::numeric_limits<uint32_t>::max();
constexpr uint64_t kMost16 = std::numeric_limits<uint16_t>::max();
constexpr unsigned kVersion = 20;    // the least that can read an entry
constexpr unsigned kVersion64 = 45;  // and one with Zip64
constexpr unsigned kMadeOnUnix = 3 << 8;
constexpr unsigned kFlags = 1 << 3 | 1 << 11;  // checksums follow the data; names are UTF-8
constexpr uint32_t kFileMode = 0100644U << 16;
constexpr std::size_t kLongestName = 200;  // bytes of a part

// ---- names -------------------------------------------------------------------------------------

std::string LowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c; });
    return text;
}

// Where the extension of a name begins; its end for a name without one.
std::size_t ExtensionOf(const std::string &name) {
    const std::size_t dot = name.rfind('.');
    const bool is = dot != name.npos && dot > 0 && name.find('/', dot) == name.npos &&
                    name.size() - dot <= 16 && name[dot - 1] != '/';
    return is ? dot : name.size();
}

// The names that one system keeps for its devices, with any extension.
bool IsDevice(const std::string &name) {
    const std::string stem = LowerCase(name.substr(0, name.find('.')));
    constexpr std::string_view kDevices[] = {"con", "prn", "aux", "nul"};
    if (std::find(std::begin(kDevices), std::end(kDevices), stem) != std::end(kDevices)) {
        return true;
    }
    return stem.size() == 4 && (stem.starts_with("com") || stem.starts_with("lpt")) &&
           stem[3] >= '0' && stem[3] <= '9';
}

// ---- checksums ---------------------------------------------------------------------------------

// CRC-32 (ISO 3309), eight bytes at a time: table N is that of a byte with N zeros after it.
using CrcTables = std::array<std::array<uint32_t, 256>, 8>;

constexpr CrcTables MakeTables() {
    CrcTables tables{};
    for (uint32_t i = 0; i < 256; ++i) {
        uint32_t value = i;
        for (int bit = 0; bit < 8; ++bit) {
            value = value >> 1 ^ ((value & 1) != 0 ? 0xEDB88320U : 0);
        }
        tables[0][i] = value;
    }
    for (std::size_t n = 1; n < tables.size(); ++n) {
        for (std::size_t i = 0; i < 256; ++i) {
            const uint32_t before = tables[n - 1][i];
            tables[n][i] = before >> 8 ^ tables[0][before & 0xFF];
        }
    }
    return tables;
}

constexpr CrcTables kTables = MakeTables();

uint32_t Crc(uint32_t crc, std::string_view bytes) {
    const auto *at = reinterpret_cast<const unsigned char *>(bytes.data());
    const auto *const end = at + bytes.size();
    for (; end - at >= 8; at += 8) {
        uint32_t value = 0;
        for (unsigned i = 0; i < 8; ++i) {
            const uint32_t byte = at[i] ^ (i < 4 ? crc >> (8 * i) & 0xFF : 0);
            value ^= kTables[7 - i][byte];
        }
        crc = value;
    }
    for (; at != end; ++at) {
        crc = crc >> 8 ^ kTables[0][(crc ^ *at) & 0xFF];
    }
    return crc;
}

// ---- records -----------------------------------------------------------------------------------

// Numbers of 2, 4 and 8 bytes, the lowest byte first.
class Record {
  public:
    Record &Put2(uint64_t value) { return Put(value, 2); }
    Record &Put4(uint64_t value) { return Put(value, 4); }
    Record &Put8(uint64_t value) { return Put(value, 8); }
    // As much as fits, all ones for what stands in the Zip64 part.
    Record &Cut2(uint64_t value) { return Put2(std::min(value, kMost16)); }
    Record &Cut4(uint64_t value) { return Put4(std::min(value, kMost32)); }
    Record &Text(std::string_view text) {
        bytes_ += text;
        return *this;
    }
    const std::string &Bytes() const { return bytes_; }

  private:
    Record &Put(uint64_t value, int size) {
        for (int i = 0; i < size; ++i, value >>= 8) {
            bytes_ += static_cast<char>(value & 0xFF);
        }
        return *this;
    }

    std::string bytes_;
};

bool NeedsZip64(const ZipEntry &entry) {
    return entry.size >= kMost32;
}

// The form of FAT: local time in steps of two seconds, from 1980 to 2107.
uint32_t DosTime(std::time_t when) {
    std::tm local{};
    localtime_r(&when, &local);
    const int year = std::clamp(local.tm_year - 80, 0, 127);
    const auto part = [](int value, int shift) { return static_cast<uint32_t>(value) << shift; };
    return part(year, 25) | part(local.tm_mon + 1, 21) | part(local.tm_mday, 16) |
           part(local.tm_hour, 11) | part(local.tm_min, 5) |
           part(std::min(local.tm_sec, 59) / 2, 0);
}

// The exact time, where 32 bits hold it.
Record Extra(const ZipEntry &entry) {
    Record extra;
    if (entry.modified >= 0 && entry.modified <= std::numeric_limits<int32_t>::max()) {
        extra.Put2(0x5455).Put2(5).Text("\1").Put4(static_cast<uint64_t>(entry.modified));
    }
    return extra;
}

// What is not known yet is 0; the record after the data has it.
std::string LocalHeader(const ZipEntry &entry) {
    const bool is64 = NeedsZip64(entry);
    Record extra = Extra(entry);
    if (is64) {
        extra.Put2(1).Put2(16).Put8(0).Put8(0);
    }
    const uint64_t size = is64 ? kMost32 : 0;
    return Record()
        .Put4(0x04034B50)
        .Put2(is64 ? kVersion64 : kVersion)
        .Put2(kFlags)
        .Put2(0)
        .Put4(DosTime(entry.modified))
        .Put4(0)
        .Put4(size)
        .Put4(size)
        .Put2(entry.name.size())
        .Put2(extra.Bytes().size())
        .Text(entry.name)
        .Text(extra.Bytes())
        .Bytes();
}

std::string Descriptor(const ZipEntry &entry, uint32_t crc) {
    Record record;
    record.Put4(0x08074B50).Put4(crc);
    return (NeedsZip64(entry) ? record.Put8(entry.size).Put8(entry.size)
                              : record.Put4(entry.size).Put4(entry.size))
        .Bytes();
}

std::string CentralHeader(const ZipEntry &entry, uint64_t offset, uint32_t crc) {
    Record large;
    if (NeedsZip64(entry)) {
        large.Put8(entry.size).Put8(entry.size);
    }
    if (offset >= kMost32) {
        large.Put8(offset);
    }
    const bool is64 = !large.Bytes().empty();
    Record extra = Extra(entry);
    if (is64) {
        extra.Put2(1).Put2(large.Bytes().size()).Text(large.Bytes());
    }
    return Record()
        .Put4(0x02014B50)
        .Put2(kMadeOnUnix | kVersion64)
        .Put2(is64 ? kVersion64 : kVersion)
        .Put2(kFlags)
        .Put2(0)
        .Put4(DosTime(entry.modified))
        .Put4(crc)
        .Cut4(entry.size)
        .Cut4(entry.size)
        .Put2(entry.name.size())
        .Put2(extra.Bytes().size())
        .Put2(0)
        .Put2(0)
        .Put2(0)
        .Put4(kFileMode)
        .Cut4(offset)
        .Text(entry.name)
        .Text(extra.Bytes())
        .Bytes();
}

std::string End(uint64_t count, uint64_t offset, uint64_t size) {
    Record end;
    if (count >= kMost16 || offset >= kMost32 || size >= kMost32) {
        end.Put4(0x06064B50)
            .Put8(44)
            .Put2(kMadeOnUnix | kVersion64)
            .Put2(kVersion64)
            .Put4(0)
            .Put4(0)
            .Put8(count)
            .Put8(count)
            .Put8(size)
            .Put8(offset);
        end.Put4(0x07064B50).Put4(0).Put8(offset + size).Put4(1);
    }
    return end.Put4(0x06054B50)
        .Put2(0)
        .Put2(0)
        .Cut2(count)
        .Cut2(count)
        .Cut4(size)
        .Cut4(offset)
        .Put2(0)
        .Bytes();
}

// Writes so many bytes of a file and gives their checksum; empty when that could not be done.
std::optional<uint32_t> Copy(int file, uint64_t size, const ZipStream::Write &write) {
    std::string block(std::min<uint64_t>(size, 256 << 10), '\0');
    uint32_t crc = ~0U;
    for (uint64_t at = 0; at < size;) {
        const auto wanted = static_cast<std::size_t>(std::min<uint64_t>(size - at, block.size()));
        const ssize_t got = pread(file, block.data(), wanted, static_cast<off_t>(at));
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            return std::nullopt;
        }
        const std::string_view bytes(block.data(), static_cast<std::size_t>(got));
        crc = Crc(crc, bytes);
        if (!write(bytes)) {
            return std::nullopt;
        }
        at += bytes.size();
    }
    return ~crc;
}

}  // namespace

std::string SafeFileName(std::string_view name) {
    std::string safe = ValidUtf8(name);
    std::replace_if(
        safe.begin(), safe.end(),
        [](char c) {
            return static_cast<unsigned char>(c) < ' ' || c == 0x7F ||
                   std::string_view("/\\:*?\"<>|").find(c) != std::string_view::npos;
        },
        '_');
    const std::string extension = safe.substr(ExtensionOf(safe));
    if (safe.size() > kLongestName) {
        safe.resize(CutLength(safe, kLongestName - extension.size()));
        safe += extension;
    }
    // Also "." and "..".
    while (safe.ends_with('.') || safe.ends_with(' ')) {
        safe.pop_back();
    }
    return safe.empty() || IsDevice(safe) ? "_" + safe : safe;
}

std::string ZipNames::Add(std::string_view path) {
    std::string name;
    for (std::size_t at = 0; at <= path.size();) {
        const std::size_t end = std::min(path.find('/', at), path.size());
        if (end > at) {
            name += (name.empty() ? "" : "/") + SafeFileName(path.substr(at, end - at));
        }
        at = end + 1;
    }
    if (name.empty()) {
        name = "_";
    }
    const std::size_t dot = ExtensionOf(name);
    std::string numbered = name;
    int &last = given_[LowerCase(name)];  // the next search begins where this one ends
    while (++last > 1) {
        numbered = name.substr(0, dot) + " (" + std::to_string(last) + ")" + name.substr(dot);
        if (given_.emplace(LowerCase(numbered), 1).second) {
            break;
        }
    }
    return numbered;
}

uint64_t ZipStream::Length() const {
    uint64_t offset = 0;
    uint64_t directory = 0;
    for (const ZipEntry &entry : entries_) {
        directory += CentralHeader(entry, offset, 0).size();
        offset += LocalHeader(entry).size() + entry.size + Descriptor(entry, 0).size();
    }
    return offset + directory + End(entries_.size(), offset, directory).size();
}

bool ZipStream::Send(const Write &write, const Open &open) const {
    uint64_t offset = 0;
    std::string directory;
    for (std::size_t place = 0; place < entries_.size(); ++place) {
        const ZipEntry &entry = entries_[place];
        const varn::UniqueFd file = open(place);
        const std::string header = LocalHeader(entry);
        if (!file || !write(header)) {
            return false;
        }
        const std::optional<uint32_t> crc = Copy(file.Get(), entry.size, write);
        const std::string after = Descriptor(entry, crc.value_or(0));
        if (!crc || !write(after)) {
            return false;
        }
        directory += CentralHeader(entry, offset, *crc);
        offset += header.size() + entry.size + after.size();
    }
    return write(directory) && write(End(entries_.size(), offset, directory.size()));
}

}  // namespace tonvale_service
