// The encoder of a plain Linux system: Debian's ffmpeg behind the options that the library uses.
//
// The library asks for a WAV header without tags, and names a container by the extension of its
// files. Debian's build has no such switch, and other names for some containers; this program says
// the same in its words and becomes it.
#include <unistd.h>

#include <strings.h>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr char kProgram[] = "/usr/bin/ffmpeg";

struct Phrase {
    std::string_view option;
    std::string_view value;
    std::vector<const char *> words;  // in their place
};

const std::vector<Phrase> &Phrases() {
    // Containers that can only be finished by going back are written in fragments.
    static const std::vector<Phrase> phrases = {
        {"-write_info_tag", "0", {"-map_metadata", "-1", "-fflags", "+bitexact"}},
        {"-f", "m4a", {"-f", "ipod", "-movflags", "frag_keyframe+empty_moov"}},
        {"-f", "m4b", {"-f", "ipod", "-movflags", "frag_keyframe+empty_moov"}},
        {"-f", "mp4", {"-f", "mp4", "-movflags", "frag_keyframe+empty_moov"}},
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

}  // namespace

int main(int argc, char **argv) {
    std::vector<char *> words = {const_cast<char *>(kProgram)};
    for (int i = 1; i < argc; ++i) {
        const Phrase *phrase = Find(argv[i], argv[i + 1]);
        if (phrase == nullptr) {
            words.push_back(argv[i]);
            continue;
        }
        for (const char *word : phrase->words) {
            words.push_back(const_cast<char *>(word));
        }
        ++i;
    }
    words.push_back(nullptr);
    execv(kProgram, words.data());
    std::perror(kProgram);
    return 127;
}
