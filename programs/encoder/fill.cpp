#include "fill.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string_view>

#include "varn/systempath.h"

namespace {

using Words = std::vector<std::string>;

// The word after an option; null for an option that is not there.
std::string *ValueOf(Words &words, std::string_view option) {
    const auto found = std::find(words.begin(), words.end(), option);
    return found != words.end() && found + 1 != words.end() ? &*(found + 1) : nullptr;
}

unsigned Little(const char *bytes, int count) {
    unsigned number = 0;
    for (int byte = 0; byte < count; ++byte) {
        number |= static_cast<unsigned>(static_cast<unsigned char>(bytes[byte])) << (8 * byte);
    }
    return number;
}

// The name of the samples that a format chunk of a WAVE file describes.
const char *CodecOf(const std::array<char, 26> &chunk) {
    constexpr unsigned kInteger = 1;
    constexpr unsigned kFloat = 3;
    constexpr unsigned kExtended = 0xFFFE;  // the tag is the beginning of an identifier
    const unsigned first = Little(chunk.data(), 2);
    const unsigned tag = first == kExtended ? Little(chunk.data() + 24, 2) : first;
    const unsigned bytes = (Little(chunk.data() + 14, 2) + 7) / 8;
    constexpr const char *kIntegers[] = {"pcm_u8", "pcm_s16le", "pcm_s24le", "pcm_s32le"};
    if (tag == kInteger && bytes >= 1 && bytes <= std::size(kIntegers)) {
        return kIntegers[bytes - 1];
    }
    return tag == kFloat && bytes == 4   ? "pcm_f32le"
           : tag == kFloat && bytes == 8 ? "pcm_f64le"
                                         : nullptr;
}

// The same of a file. Null for one that has no samples of such a form.
const char *SamplesOf(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    std::array<char, 26> block{};
    if (!file.read(block.data(), 12) || std::string_view(block.data() + 8, 4) != "WAVE") {
        return nullptr;
    }
    // Files have a few chunks. A large one of nothing but empty chunks would keep the encoder busy.
    constexpr int kMostChunks = 1000;
    for (int chunk = 0; chunk < kMostChunks && file.read(block.data(), 8); ++chunk) {
        const unsigned size = Little(block.data() + 4, 4);
        if (std::string_view(block.data(), 4) == "fmt ") {
            block = {};
            file.read(block.data(), std::min<unsigned>(size, block.size()));
            return CodecOf(block);
        }
        file.seekg(size + (size & 1), std::ios::cur);
    }
    return nullptr;
}

// The song's header may tell half of the rate that the decoder returns (SBR, ISO/IEC 14496-3).
void LimitSamplingRate(Words &words) {
    constexpr std::string_view kLowBitRates[] = {"8000", "16000", "24000", "144000"};
    const std::string *const bitRate = ValueOf(words, "-ab");
    if (bitRate != nullptr &&
        std::count(std::begin(kLowBitRates), std::end(kLowBitRates), *bitRate) > 0) {
        words.insert(words.end() - 1,
                     {"-af", "aformat=sample_rates=24000|22050|16000|12000|11025|8000"});
    }
}

}  // namespace

std::vector<std::string> KeptToLength(std::vector<std::string> words) {
    LimitSamplingRate(words);
    const char *const end = std::getenv(varn::kEncoderFill);
    const std::string *const start = ValueOf(words, "-ss");
    const std::string *const song = ValueOf(words, "-i");
    if (end == nullptr || start == nullptr || song == nullptr) {
        return words;
    }
    const long long seconds = std::atoll(end) - std::atoll(start->c_str());
    if (seconds <= 0) {
        return words;
    }
    const std::string padding = "apad=whole_dur=" + std::to_string(seconds);
    if (std::string *const filter = ValueOf(words, "-af")) {
        *filter += "," + padding;
        return words;
    }
    if (std::string *const codec = ValueOf(words, "-c:a"); codec != nullptr && *codec == "copy") {
        const char *const samples = SamplesOf(*song);
        if (samples == nullptr) {
            return words;
        }
        *codec = samples;
        // As many channels as there are, and a header of a known length.
        const auto channels = std::find(words.begin(), words.end(), "-ac");
        words.erase(channels, std::min(channels + 2, words.end()));
        words.insert(words.end() - 1, {"-write_info_tag", "0"});
    }
    words.insert(words.end() - 1, {"-af", padding});
    return words;
}
