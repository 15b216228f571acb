// Files of one-bit audio.
#include <gtest/gtest.h>
#include <taglib/attachedpictureframe.h>
#include <taglib/id3v2tag.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "support/fixture.h"
#include "varnindex/read/tags.h"

namespace {

using namespace tonvale_test;
using varnindex::ReadResult;

constexpr std::uint32_t kRate = 2'822'400;

std::string Little(std::uint64_t number, int bytes) {
    std::string text;
    for (int i = 0; i < bytes; ++i) {
        text += static_cast<char>(number >> (8 * i));
    }
    return text;
}

std::string Big(std::uint64_t number, int bytes) {
    const std::string text = Little(number, bytes);
    return {text.rbegin(), text.rend()};
}

// A second of stereo.
std::string Audio() {
    std::string audio(2 * kRate / 8, 'i');
    audio[5000] = 'x';
    return audio;
}

std::string Tag(const std::string &title) {
    TagLib::ID3v2::Tag tag;
    tag.setTitle({title, TagLib::String::UTF8});
    auto picture = std::make_unique<TagLib::ID3v2::AttachedPictureFrame>();
    picture->setPicture("\x89PNG\r\n\x1A\n");
    tag.addFrame(picture.release());  // the tag owns it
    const TagLib::ByteVector bytes = tag.render();
    return {bytes.data(), bytes.size()};
}

std::string Dsf(const std::string &audio, const std::string &tag) {
    const std::uint64_t end = 92 + audio.size();
    return "DSD " + Little(28, 8) + Little(end + tag.size(), 8) + Little(tag.empty() ? 0 : end, 8) +
           "fmt " + Little(52, 8) + Little(1, 4) + Little(0, 4) + Little(2, 4) + Little(2, 4) +
           Little(kRate, 4) + Little(1, 4) + Little(kRate, 8) + Little(4096, 4) + Little(0, 4) +
           "data" + Little(audio.size() + 12, 8) + audio + tag;
}

std::string Chunk(const std::string &name, const std::string &content) {
    return name + Big(content.size(), 8) + content + std::string(content.size() % 2, '\0');
}

std::string Dff(const std::string &sound, const std::string &compression, const std::string &tag) {
    const std::string property = "SND " + Chunk("FS  ", Big(kRate, 4)) +
                                 Chunk("CHNL", Big(2, 2) + "SLFTSRGT") +
                                 Chunk("CMPR", compression + std::string("\x0Enot compressed"));
    return Chunk("FRM8", "DSD " + Chunk("FVER", Big(0x01050000, 4)) + Chunk("PROP", property) +
                             sound + (tag.empty() ? "" : Chunk("ID3 ", tag)));
}

class DsdTest : public SystemTest {
  protected:
    static ReadResult Read(const std::string &name, const std::string &bytes) {
        std::ofstream(scratch() / name, std::ios::binary) << bytes;
        return varnindex::ReadSong({(scratch() / name).string()});
    }
};

// The fingerprint is that of the audio: other tags do not change it.
TEST_F(DsdTest, BothFormatsGiveAudioAndTags) {
    std::string other = Audio();
    other.front() = 'o';
    const auto compressed = [](const std::string &audio) {
        return Chunk("DST ", Chunk("FRTE", Big(75, 4) + Big(75, 2)) + Chunk("DSTF", audio));
    };
    const auto dff = [](const std::string &audio, const std::string &tag) {
        return Dff(Chunk("DSD ", audio), "DSD ", tag);
    };
    struct Case {
        const char *name;
        const char *codec;
        std::string tagged;
        std::string bare;
        std::string other;
    };
    const std::string tag = Tag("The Tóne");
    for (const Case &c :
         {Case{"a.dsf", "dsd", Dsf(Audio(), tag), Dsf(Audio(), ""), Dsf(other, "")},
          Case{"a.dff", "dsd", dff(Audio(), tag), dff(Audio(), ""), dff(other, "")},
          Case{"b.DFF", "dst", Dff(compressed(Audio()), "DST ", tag),
               Dff(compressed(Audio()), "DST ", ""), Dff(compressed(other), "DST ", "")}}) {
        SCOPED_TRACE(c.name);
        const ReadResult read = Read(c.name, c.tagged);
        ASSERT_TRUE(read.song) << read.problem;
        EXPECT_EQ(read.song->codec, c.codec);
        EXPECT_EQ(read.song->sampleRate, static_cast<int>(kRate));
        EXPECT_EQ(read.song->channels, 2);
        EXPECT_NEAR(read.song->duration, 1.0, 0.001);
        EXPECT_NEAR(read.song->bitRate, 2.0 * kRate, 10'000);
        EXPECT_EQ(read.song->title, "The Tóne");
        EXPECT_EQ(read.song->pictures, 1);
        EXPECT_EQ(Read(c.name, c.bare).song->fingerprint, read.song->fingerprint);
        EXPECT_NE(Read(c.name, c.other).song->fingerprint, read.song->fingerprint);
    }
}

TEST_F(DsdTest, AFileOfEmptyChunksIsRefused) {
    std::string empty = "FRM8" + Big(~0ULL, 8) + "DSD ";
    for (int i = 0; i < 100'000; ++i) {
        empty += Chunk("NONE", "");
    }
    EXPECT_NE(Read("empty.dff", empty).problem, "");
}

}  // namespace
