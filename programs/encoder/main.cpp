// The encoder of a plain Linux system: Debian's ffmpeg behind the options that the library uses.
//
// The library asks for a WAV header without tags, and names a container by the extension of its
// files. Debian's build has no such switch, and other names for some containers; this program says
// the same in its words and becomes it. It also keeps it to sound: left to itself ffmpeg goes by
// the contents of a file, and a list of other files under the name of a song would make it read
// those. It gives up the rights that it was started with, but for reading the song.
#include <strings.h>

#include <string>
#include <string_view>
#include <vector>

#include "confine/become.h"
#include "fill.h"

namespace {

constexpr char kProgram[] = "/usr/bin/ffmpeg";

// Out of reach for music: ten hours of it on a machine that hardly keeps up with a listener, or
// weeks of a station. It writes nothing but its standard output, which is a pipe. The memory
// counts what is mapped, and the arenas of its threads.
constexpr confine::Limits kLimits = {
    .memory = rlim_t{4} << 30, .processorTime = 12 * 3600, .fileSize = 0, .files = 256};

// What a file of this machine may be: containers of sound, no lists and no descriptions of others.
constexpr char kContainers[] =
    "aac,ac3,aiff,amr,ape,asf,au,caf,dsf,dts,eac3,flac,flv,iff,loas,matroska,mov,mp3,mpc,mpc8,mpeg,"
    "mpegts,ogg,shn,tak,tta,voc,w64,wav,wv";

struct Phrase {
    std::string_view option;
    std::string_view value;
    std::vector<const char *> words;  // in their place
};

const std::vector<Phrase> &Phrases() {
    // Containers that can only be finished by going back are written in fragments, of a second: a
    // fragment is kept whole until it is written, and a pipe takes none of several megabytes. Some
    // codecs are described by their first packets, for which the head of the file waits.
    static const std::vector<const char *> fragments = {
        "-f",        "mp4",        "-strict",        "experimental",
        "-movflags", "delay_moov", "-frag_duration", "1000000"};
    static const std::vector<Phrase> phrases = {
        {"-write_info_tag", "0", {"-map_metadata", "-1", "-fflags", "+bitexact"}},
        {"-f", "m4a", fragments},
        {"-f", "m4b", fragments},
        {"-f", "mp4", fragments},
        {"-f", "aac", {"-f", "adts"}},
        {"-f", "aif", {"-f", "aiff"}},
        {"-f", "wma", {"-f", "asf"}},
        {"-f", "mka", {"-f", "matroska"}},
    };
    return phrases;
}

const Phrase *Find(const char *option, const char *value) {
    for (const Phrase &phrase : Phrases()) {
        if (value != nullptr && phrase.option == option &&
            strcasecmp(value, phrase.value.data()) == 0) {
            return &phrase;
        }
    }
    return nullptr;
}

bool NamesLocalFile(const char *option, const char *value) {
    return value != nullptr && std::string_view(option) == "-i" && value[0] == '/';
}

}  // namespace

int main(int argc, char **argv) {
    const char *song = nullptr;
    for (int i = 1; i < argc; ++i) {
        song = NamesLocalFile(argv[i], argv[i + 1]) ? argv[i + 1] : song;
    }
    // Before anything of the song is looked at.
    if (!confine::DropRightsToRun(kProgram, song)) {
        return confine::kNotRun;
    }
    const std::vector<std::string> asked = KeptToLength({argv + 1, argv + argc});
    std::vector<char *> words = {const_cast<char *>(kProgram)};
    for (std::size_t i = 0; i < asked.size(); ++i) {
        const char *const option = asked[i].c_str();
        const char *const value = i + 1 < asked.size() ? asked[i + 1].c_str() : nullptr;
        const Phrase *phrase = Find(option, value);
        if (NamesLocalFile(option, value)) {
            for (const char *word :
                 {"-protocol_whitelist", "file", "-format_whitelist", kContainers}) {
                words.push_back(const_cast<char *>(word));
            }
        }
        if (phrase == nullptr) {
            words.push_back(const_cast<char *>(option));
            continue;
        }
        for (const char *word : phrase->words) {
            words.push_back(const_cast<char *>(word));
        }
        ++i;
    }
    words.push_back(nullptr);
    return confine::Become(kProgram, words.data(), kLimits);
}
