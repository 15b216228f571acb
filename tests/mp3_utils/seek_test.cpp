#include <array>
#include <cmath>
#include <fstream>
#include <memory>
#include <tuple>

#include "support/fixture.h"
#include "support/sounds.h"
#include "tonvale/streaming.h"

namespace {

using namespace tonvale_test;

// A file with given contents, opened for the reader.
class Opened {
  public:
    explicit Opened(const fs::path &path) : file_(std::fopen(path.c_str(), "rbe")) {
        context->stream = file_.get();
        context->fileSize = static_cast<int64_t>(fs::file_size(path));
    }
    std::unique_ptr<MPEG_READER> context = std::make_unique<MPEG_READER>();

  private:
    varn::File file_;
};

class MpegFile : public SystemTest {
  protected:
    static fs::path Write(const std::string &bytes) {
        const fs::path path = scratch() / "song.mp3";
        std::ofstream(path, std::ios::binary) << bytes;
        return path;
    }

    // Parses the header at the start of a file that goes on with `rest` bytes of noise.
    static int Parse(const std::string &start, MPEG_FRAME_HEADER &header, int64_t &position,
                     std::size_t rest = 1000) {
        const Opened opened(Write(start + std::string(rest, 'x')));
        return ParseMPEG(opened.context.get(), &position, &header);
    }
};

std::string Bytes(const std::vector<int> &bytes) {
    std::string text;
    for (const int byte : bytes) {
        text += static_cast<char>(byte);
    }
    return text;
}

// A frame of MPEG-1 layer 3, 128 kbit/s at 44100 Hz: 417 bytes, or 418 with padding.
std::string Frame(bool padded = false) {
    const std::size_t length = padded ? 418 : 417;
    return Bytes({0xFF, 0xFB, padded ? 0x92 : 0x90, 0x44}) + std::string(length - 4, 'f');
}

std::string Tag(std::initializer_list<int> size) {
    return "ID3" + Bytes({4, 0, 0}) + Bytes(size);
}

TEST_F(MpegFile, ReadsFrameHeaders) {
    using Case = std::pair<std::vector<int>, std::array<int, 6>>;
    const Case cases[] = {{{0xFF, 0xFB, 0x90, 0x00}, {1, 3, 0, 128, 44100, 417}},
                          {{0xFF, 0xFA, 0x92, 0x00}, {1, 3, 1, 128, 44100, 418}},
                          {{0xFF, 0xFB, 0xE8, 0x00}, {1, 3, 0, 320, 32000, 1440}},
                          {{0xFF, 0xFB, 0x14, 0x00}, {1, 3, 0, 32, 48000, 96}},
                          {{0xFF, 0xFD, 0xA4, 0x00}, {1, 2, 0, 192, 48000, 576}},
                          {{0xFF, 0xFF, 0x92, 0x00}, {1, 1, 0, 288, 44100, 313 + 4}},
                          {{0xFF, 0xFF, 0xE4, 0x00}, {1, 1, 0, 448, 48000, 448}},
                          {{0xFF, 0xF3, 0x80, 0x00}, {2, 3, 0, 64, 22050, 208}},
                          {{0xFF, 0xF3, 0xEA, 0x00}, {2, 3, 0, 160, 16000, 721}},
                          {{0xFF, 0xF5, 0x84, 0x00}, {2, 2, 0, 64, 24000, 192}},
                          {{0xFF, 0xF7, 0xC6, 0x00}, {2, 1, 0, 192, 24000, 196}}};
    for (const auto &[bytes, fields] : cases) {
        MPEG_FRAME_HEADER header{};
        int64_t position = 0;
        const std::string name = testing::PrintToString(bytes);
        EXPECT_EQ(Parse(Bytes(bytes), header, position), 1) << name;
        EXPECT_EQ(position, 0) << name;
        EXPECT_EQ(header.position, 0) << name;
        EXPECT_EQ(header.bitsPerSecond, header.bitRate * 1000) << name;
        EXPECT_EQ((std::array{header.version, header.layer, header.isProtected, header.bitRate,
                              header.sampleRate, header.frameLength}),
                  fields)
            << name;
        EXPECT_DOUBLE_EQ(header.duration, 1004 * 8.0 / (header.bitRate * 1000)) << name;
    }
    MPEG_FRAME_HEADER header{};
    int64_t position = 0;
    ASSERT_EQ(Parse(Bytes({0xFF, 0xFB, 0x90, 0x6E}), header, position), 1);
    EXPECT_EQ((std::array{header.channelMode, header.modeExtension, header.copyRestricted,
                          header.firstCopy, header.emphasis}),
              (std::array{1, 2, 1, 1, 2}));
    EXPECT_TRUE(Log().empty());
}

TEST_F(MpegFile, StopsAtAnInvalidHeader) {
    MPEG_FRAME_HEADER header{};
    // A reserved version, MPEG-2.5, a reserved layer, bit rate 15, a reserved rate, free format.
    for (const std::string &bad :
         {Bytes({0xFF, 0xEB, 0x90, 0}), Bytes({0xFF, 0xE3, 0x80, 0}), Bytes({0xFF, 0xF9, 0x90, 0}),
          Bytes({0xFF, 0xFB, 0xF0, 0}), Bytes({0xFF, 0xFB, 0x9C, 0}), Bytes({0xFF, 0xFB, 0, 0})}) {
        int64_t position = 0;
        // The next call finds the good frame after it.
        for (const auto &[result, place] : {std::pair(0, 4), {1, 8}}) {
            EXPECT_EQ(Parse("junk" + bad + Frame(), header, position), result);
            EXPECT_EQ(position, place);
            EXPECT_EQ(header.position, place);
            ++position;
        }
    }
    EXPECT_TRUE(Log().empty());
    // Free format with padding has the padding's length.
    int64_t position = 0;
    EXPECT_EQ(Parse(Bytes({0xFF, 0xFB, 0x02, 0x00}), header, position), 1);
    EXPECT_EQ(header.frameLength, 1);
    EXPECT_TRUE(std::isinf(header.duration));
}

TEST_F(MpegFile, HasNoHeaderInItsLastTenBytes) {
    MPEG_FRAME_HEADER header{};
    int64_t position = 0;
    EXPECT_EQ(Parse("xx" + Bytes({0xFF, 0xFB, 0x90, 0x00}), header, position, 7), 1);
    EXPECT_EQ(position, 2);
    position = 0;
    EXPECT_EQ(Parse("xx" + Bytes({0xFF, 0xFB, 0x90, 0x00}), header, position, 6), 0);
    EXPECT_EQ(position, 2);
    EXPECT_TRUE(Logged(R"(audiolib/mp3_utils \(\d+\) MPEG Header not found$)"));
    for (std::size_t size = 0; size <= 11; ++size) {
        ClearLog();
        const fs::path path = Write(std::string(size, '\xFF'));
        EXPECT_EQ(GetSeekOffset(path.c_str(), 1), size > 10 ? 1 : 0) << size;
        const Opened opened(path);
        position = 0;
        EXPECT_EQ(ParseMPEG(opened.context.get(), &position, &header), 0) << size;
        EXPECT_EQ(Log().size(), size > 10 ? 0U : 1U) << size;
    }
}

TEST_F(MpegFile, WalksFrames) {
    const std::string zeros(5, '\0');
    using Case = std::tuple<const char *, std::string, int, int64_t>;
    const Case cases[] = {
        {"none asked for", Frame() + Frame(), 0, 0},
        {"fewer than none", Frame() + Frame(), -1, 0},
        {"one", Frame() + Frame(), 1, 417},
        {"padding", Frame(true) + Frame() + Frame(), 2, 835},
        {"more than there are", Frame() + Frame(), 9, 834},
        {"a last frame cut short", Frame() + Frame().substr(0, 100), 2, 834},
        {"junk before", "junk" + Frame() + Frame(), 1, 421},
        {"junk between", Frame() + "junk" + Frame() + Frame(), 2, 838},
        {"an MPEG-2.5 file", Bytes({0xFF, 0xE3, 0x80, 0}) + std::string(100, 'x'), 1, 95},
        {"no frame", std::string(100, 'x'), 1, 91},
        // The walk skips the zeros after a frame, but for the last one.
        {"zeros between", Frame() + zeros + Frame() + Frame(), 1, 417 + 4},
        {"zeros between, on", Frame() + zeros + Frame() + Frame(), 2, 417 + 5 + 417},
        {"zeros at the end", Frame() + zeros, 1, 417 + 4},
        {"a tag of size 0", Tag({0, 0, 0, 0}) + Frame() + Frame(), 1, 427},
        {"a tag, nothing asked for", Tag({0, 0, 7, 0x68}) + std::string(2000, 't'), 0, 1010},
        {"a tag", Tag({0, 0, 1, 2}) + std::string(130, '\xFF') + Frame() + Frame(), 1, 557},
        {"top bits count", Tag({0, 0, 0, 0x82}) + std::string(130, 't') + Frame() + Frame(), 0,
         140},
        {"a tag larger than the file", Tag({0x7F, 0x7F, 0x7F, 0x7F}) + Frame(), 1, 268435465},
        {"a tag cut short", "ID3", 0, (17LL << 21 | 17 << 14 | 17 << 7 | 17) + 10}};
    for (const auto &[name, bytes, frames, offset] : cases) {
        EXPECT_EQ(GetSeekOffset(Write(bytes).c_str(), frames), offset) << name;
    }
}

TEST_F(MpegFile, LogsWhatCannotBeRead) {
    const std::string none = scratch() / "a\"%s'\\none.mp3";
    int64_t position = 5;
    MPEG_FRAME_HEADER header{};
    MPEG_READER reader{};
    for (const int64_t result :
         {GetSeekOffset(nullptr, 1), GetSeekOffset(none.c_str(), 1),
          GetSeekOffset(scratch().c_str(), 1), int64_t{ParseMPEG(nullptr, &position, &header)},
          int64_t{ParseMPEG(&reader, nullptr, &header)},
          int64_t{ParseMPEG(&reader, &position, nullptr)}}) {
        EXPECT_EQ(result, 0);
    }
    ASSERT_EQ(Log().size(), 6U);
    EXPECT_TRUE(Logged(R"(audiolib/mp3_utils \(\d+\) Bad parameter\.$)"));
    EXPECT_NE(Log()[1].find(") Unable to open " + none + " "), std::string::npos);
    EXPECT_NE(Log()[2].find(") Unable to open " + scratch().string() + " "), std::string::npos);
    reader.fileSize = 20;
    reader.rangeEnd = 1;  // a byte that is buffered needs no stream
    EXPECT_EQ((std::array{GetByte(nullptr, 0), GetByte(&reader, 0), GetByte(&reader, 1)}),
              (std::array{17, 0, 17}));
    EXPECT_EQ(ParseMPEG(&reader, &position, &header), 0);
}

TEST_F(MpegFile, AgreesWithAnotherReaderOnRealFiles) {
    const char *const encodings[] = {
        "-ar 44100 -c:a libmp3lame -b:a 128k -id3v2_version 3 -write_xing 0 -f mp3",
        "-ar 48000 -c:a libmp3lame -q:a 4 -id3v2_version 0 -write_xing 0 -f mp3",
        "-ar 22050 -c:a libmp3lame -b:a 64k -id3v2_version 4 -write_xing 0 -f mp3",
        "-ar 44100 -c:a mp2 -b:a 192k -f mp2"};
    for (const char *encoding : encodings) {
        const fs::path path = MakeSound(scratch() / "real", "sine=duration=3",
                                        "-metadata title=x " + std::string(encoding));
        const auto places = Words(Output({"/usr/bin/ffprobe", "-v", "error", "-show_entries",
                                          "packet=pos", "-of", "csv=p=0", path}));
        ASSERT_GT(places.size(), 50U) << encoding;
        for (std::size_t frame = 0; frame < places.size(); ++frame) {
            ASSERT_EQ(std::to_string(GetSeekOffset(path.c_str(), static_cast<int>(frame))),
                      places[frame])
                << encoding << " frame " << frame;
        }
        EXPECT_EQ(GetSeekOffset(path.c_str(), static_cast<int>(places.size())),
                  static_cast<int64_t>(fs::file_size(path)))
            << encoding;
    }
}

}  // namespace
