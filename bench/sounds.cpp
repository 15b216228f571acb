#include "sounds.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <stdexcept>
#include <string_view>

namespace bench {
namespace {

constexpr int kRate = 44100;
constexpr std::size_t kBlock = 4096;

std::string Big(unsigned long long number, int bytes) {
    std::string text;
    for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8) {
        text += static_cast<char>(number >> shift & 0xFF);
    }
    return text;
}

// Leaves a hole where a whole block is zero.
class SparseFile {
  public:
    explicit SparseFile(const std::string &path)
        : path_(path), file_(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644)) {
        Check(file_ >= 0);
    }
    ~SparseFile() { ::close(file_); }
    SparseFile(const SparseFile &) = delete;
    SparseFile &operator=(const SparseFile &) = delete;

    void Put(std::size_t position, std::string_view bytes) {
        while (!bytes.empty()) {
            const std::string_view part = bytes.substr(0, kBlock - position % kBlock);
            if (part.find_first_not_of('\0') != part.npos) {
                Check(::pwrite(file_, part.data(), part.size(), static_cast<off_t>(position)) ==
                      static_cast<ssize_t>(part.size()));
            }
            position += part.size();
            bytes.remove_prefix(part.size());
        }
    }

    void End(std::size_t length) { Check(::ftruncate(file_, static_cast<off_t>(length)) == 0); }

  private:
    void Check(bool isGood) const {
        if (!isGood) {
            throw std::runtime_error("cannot write " + path_);
        }
    }

    std::string path_;
    int file_;
};

// ---- MP3 ---------------------------------------------------------------------------------------

constexpr int kSamplesPerFrame = 1152;

// MPEG-1 layer III, 44.1 kHz, joint stereo, of a bit rate by its index in the header. Zero side
// information says that no frequency line has a value, which is silence.
std::string Frame(unsigned bitRateIndex) {
    static constexpr std::array kKilobits = {0,   32,  40,  48,  56,  64,  80, 96,
                                             112, 128, 160, 192, 224, 256, 320};
    const auto length = static_cast<std::size_t>(144 * 1000 * kKilobits[bitRateIndex] / kRate);
    std::string frame(length, '\0');
    frame.replace(0, 4, "\xFF\xFB" + Big(bitRateIndex << 4, 1) + "\x64");
    return frame;
}

// The ancillary data of a frame makes the file one of its own.
std::string Numbered(std::string frame, int number) {
    frame.replace(frame.size() - 4, 4, Big(static_cast<unsigned>(number), 4));
    return frame;
}

std::string Frames(unsigned bitRateIndex, int number, std::size_t count) {
    std::string frames = Numbered(Frame(bitRateIndex), number);
    for (std::size_t i = 1; i < count; ++i) {
        frames += Frame(bitRateIndex);
    }
    return frames;
}

std::size_t FrameCount(const Song &song) {
    return static_cast<std::size_t>(song.seconds) * kRate / kSamplesPerFrame;
}

// Frames where programs look for some: at the begin, at the thirds and at the end.
void PutConstant(const Song &song, SparseFile &file) {
    constexpr unsigned kIndex = 9;
    constexpr std::size_t kIsland = 40;
    const std::size_t count = FrameCount(song);
    const std::size_t length = Frame(kIndex).size();
    for (const std::size_t first : {std::size_t{0}, count / 3, 2 * count / 3, count - kIsland}) {
        file.Put(song.front.size() + first * length, Frames(kIndex, song.number, kIsland));
    }
    file.End(song.front.size() + count * length);
}

void PutWithTable(const Song &song, SparseFile &file) {
    constexpr unsigned kIndex = 11;
    constexpr std::size_t kFirst = 8;
    constexpr std::size_t kTableAt = 36;  // after the side information
    const std::size_t count = FrameCount(song);
    std::string table = Frame(kIndex);
    const std::size_t length = table.size() + count * Frame(kIndex).size();
    table.replace(kTableAt, 16, "Xing" + Big(3, 4) + Big(count, 4) + Big(length, 4));
    file.Put(song.front.size(), table + Frames(kIndex, song.number, kFirst));
    file.End(song.front.size() + length);
}

void PutWithoutTable(const Song &song, SparseFile &file) {
    std::string sound;
    for (std::size_t i = 0; i < FrameCount(song); ++i) {
        sound += Numbered(Frame(i % 3 == 0 ? 6 : 4), song.number);
    }
    file.Put(song.front.size(), sound);
    file.End(song.front.size() + sound.size());
}

// ---- FLAC --------------------------------------------------------------------------------------

// STREAMINFO: two channels of 16 bits, and a checksum of the samples that is the song's own.
std::string FlacHead(const Song &song) {
    const auto samples = static_cast<unsigned long long>(song.seconds) * kRate;
    const unsigned long long form = 1ULL * kRate << 44 | 1ULL << 41 | 15ULL << 36 | samples;
    const std::string info = Big(4096, 2) + Big(4096, 2) + std::string(6, '\0') + Big(form, 8) +
                             "md5 of song " + Big(static_cast<unsigned>(song.number), 4);
    return "fLaC" + Big(0x80, 1) + Big(info.size(), 3) + info;
}

// ---- M4A ---------------------------------------------------------------------------------------

constexpr unsigned kSamplesPerPacket = 1024;
constexpr unsigned kBytesPerPacket = 371;  // 128 kbit/s

std::string Atom(const std::string &name, const std::string &inner) {
    return Big(inner.size() + 8, 4) + name + inner;
}

// Zeros of so many words.
std::string Words(std::size_t count) {
    return std::string(4 * count, '\0');
}

unsigned PacketCount(const Song &song) {
    return static_cast<unsigned>(song.seconds * kRate) / kSamplesPerPacket;
}

std::string SampleTable(const Song &song, std::size_t soundAt) {
    const unsigned packets = PacketCount(song);
    const std::string config = std::string("\x05\x02\x12\x10", 4) + std::string("\x06\x01\x02", 3);
    const std::string decoder = std::string("\x40\x15", 2) + Big(0, 3) + Big(128000, 4) +
                                Big(128000, 4) + config.substr(0, 4);
    const std::string stream =
        Big(1, 2) + Big(0, 1) + Big(4, 1) + Big(decoder.size(), 1) + decoder + config.substr(4);
    const std::string description = Words(1) + Big(3, 1) + Big(stream.size(), 1) + stream;
    const std::string entry = Big(0, 6) + Big(1, 2) + Words(2) + Big(2, 2) + Big(16, 2) + Words(1) +
                              Big(kRate, 2) + Big(0, 2) + Atom("esds", description);
    std::string sizes = Words(2) + Big(packets, 4);
    for (unsigned i = 0; i < packets; ++i) {
        sizes += Big(kBytesPerPacket - i % 2, 4);
    }
    return Atom(
        "stbl",
        Atom("stsd", Words(1) + Big(1, 4) + Atom("mp4a", entry)) +
            Atom("stts", Words(1) + Big(1, 4) + Big(packets, 4) + Big(kSamplesPerPacket, 4)) +
            Atom("stsc", Words(1) + Big(1, 4) + Big(1, 4) + Big(packets, 4) + Big(1, 4)) +
            Atom("stsz", sizes) + Atom("stco", Words(1) + Big(1, 4) + Big(soundAt, 4)));
}

std::string Movie(const Song &song, std::size_t soundAt) {
    const std::string matrix =
        Big(0x10000, 4) + Words(3) + Big(0x10000, 4) + Words(3) + Big(0x40000000, 4);
    const unsigned samples = PacketCount(song) * kSamplesPerPacket;
    const std::string length = Big(kRate, 4) + Big(samples, 4);
    const std::string handler = Atom("hdlr", Words(2) + "soun" + Words(3) + Big(0, 1));
    const std::string data =
        Atom("dinf", Atom("dref", Words(1) + Big(1, 4) + Atom("url ", Big(1, 4))));
    return Atom(
        "moov",
        Atom("mvhd", Words(3) + length + Big(0x10000, 4) + Big(0x100, 2) + Big(0, 10) + matrix +
                         Words(6) + Big(2, 4)) +
            Atom("trak",
                 Atom("tkhd", Big(7, 4) + Words(2) + Big(1, 4) + Words(1) + Big(samples, 4) +
                                  Words(3) + Big(0x100, 2) + Big(0, 2) + matrix + Words(2)) +
                     Atom("mdia",
                          Atom("mdhd", Words(3) + length + Big(0x55C4, 2) + Big(0, 2)) + handler +
                              Atom("minf",
                                   Atom("smhd", Words(2)) + data + SampleTable(song, soundAt)))));
}

std::string M4aHead(const Song &song) {
    const std::string type = Atom("ftyp", "M4A " + Words(1) + "M4A isom");
    const std::size_t size = type.size() + Movie(song, 0).size();
    return type + Movie(song, size + 8);
}

}  // namespace

std::string Head(const Song &song) {
    return song.sound == Sound::kFlac ? FlacHead(song) : M4aHead(song);
}

void WriteSong(const std::string &path, const Song &song) {
    constexpr std::size_t kFlacBytesPerSecond = 100'000;
    SparseFile file(path);
    file.Put(0, song.front);
    const std::size_t begin = song.front.size();
    switch (song.sound) {
        case Sound::kConstant:
            return PutConstant(song, file);
        case Sound::kTable:
            return PutWithTable(song, file);
        case Sound::kNoTable:
            return PutWithoutTable(song, file);
        case Sound::kFlac:
            file.Put(begin, "\xFF\xF8\xC9\x18");
            return file.End(begin + static_cast<std::size_t>(song.seconds) * kFlacBytesPerSecond);
        case Sound::kM4a: {
            const std::size_t sound = std::size_t{PacketCount(song)} * kBytesPerPacket;
            file.Put(begin,
                     Big(sound + 8, 4) + "mdat" + Big(static_cast<unsigned>(song.number), 8));
            return file.End(begin + 8 + sound);
        }
    }
}

}  // namespace bench
