// The lyrics in the tags of the song at standard input, as an array of objects: "language" with
// "text", or with "lines" of "start" (milliseconds) and "text". Run by tonvale-prober, because it
// decodes what users put there.
#include <json/value.h>
#include <json/writer.h>
#include <taglib/aifffile.h>
#include <taglib/fileref.h>
#include <taglib/flacfile.h>
#include <taglib/id3v2tag.h>
#include <taglib/mpegfile.h>
#include <taglib/synchronizedlyricsframe.h>
#include <taglib/tdebuglistener.h>
#include <taglib/tfilestream.h>
#include <taglib/tpropertymap.h>
#include <taglib/unsynchronizedlyricsframe.h>
#include <taglib/wavfile.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

namespace id3 = TagLib::ID3v2;

// Nothing of a damaged file goes into a log.
class Quiet : public TagLib::DebugListener {
    void printMessage(const TagLib::String & /*message*/) override {}
};

std::string Utf8(const TagLib::String &text) {
    return text.to8Bit(true);
}

std::string Language(const TagLib::ByteVector &code) {
    return {code.data(), code.size()};
}

const id3::Tag *Id3Of(TagLib::File *file) {
    if (auto *mpeg = dynamic_cast<TagLib::MPEG::File *>(file)) {
        return mpeg->hasID3v2Tag() ? mpeg->ID3v2Tag() : nullptr;
    }
    if (auto *flac = dynamic_cast<TagLib::FLAC::File *>(file)) {
        return flac->hasID3v2Tag() ? flac->ID3v2Tag() : nullptr;
    }
    if (auto *wav = dynamic_cast<TagLib::RIFF::WAV::File *>(file)) {
        return wav->ID3v2Tag();
    }
    auto *aiff = dynamic_cast<TagLib::RIFF::AIFF::File *>(file);
    return aiff != nullptr ? aiff->tag() : nullptr;
}

void AddTimed(const id3::SynchronizedLyricsFrame &frame, Json::Value &all) {
    if (frame.timestampFormat() != id3::SynchronizedLyricsFrame::AbsoluteMilliseconds ||
        (frame.type() != id3::SynchronizedLyricsFrame::Lyrics &&
         frame.type() != id3::SynchronizedLyricsFrame::TextTranscription)) {
        return;  // chords, places, and times that count frames of sound
    }
    Json::Value &object = all.append(Json::objectValue);
    object["language"] = Language(frame.language());
    object["lines"] = Json::Value(Json::arrayValue);
    Json::Value &lines = object["lines"];
    // Programs that time syllables begin each line with a line break.
    const auto texts = frame.synchedText();
    bool hasBreaks = false;
    for (const auto &part : texts) {
        hasBreaks = hasBreaks || part.text.startsWith("\n");
    }
    for (const auto &part : texts) {
        const std::string text = Utf8(part.text.stripWhiteSpace());
        if (hasBreaks && !lines.empty() && !part.text.startsWith("\n")) {
            Json::Value &last = lines[lines.size() - 1]["text"];
            last = last.asString() + Utf8(part.text);
            continue;
        }
        Json::Value &line = lines.append(Json::objectValue);
        line["start"] = Json::Int64(part.time);
        line["text"] = text;
    }
}

void AddPlain(const std::string &language, const std::string &text, Json::Value &all) {
    Json::Value &object = all.append(Json::objectValue);
    object["language"] = language;
    object["text"] = text;
}

void AddId3(const id3::Tag &tag, Json::Value &all) {
    for (const id3::Frame *frame : tag.frameList("SYLT")) {
        if (const auto *lyrics = dynamic_cast<const id3::SynchronizedLyricsFrame *>(frame)) {
            AddTimed(*lyrics, all);
        }
    }
    for (const id3::Frame *frame : tag.frameList("USLT")) {
        if (const auto *lyrics = dynamic_cast<const id3::UnsynchronizedLyricsFrame *>(frame)) {
            AddPlain(Language(lyrics->language()), Utf8(lyrics->text()), all);
        }
    }
}

Json::Value LyricsOf(TagLib::File *file) {
    Json::Value all(Json::arrayValue);
    if (const id3::Tag *tag = Id3Of(file)) {
        AddId3(*tag, all);
    }
    const TagLib::PropertyMap properties = file->properties();
    // ffmpeg writes the last one.
    for (const char *name : {"LYRICS", "UNSYNCEDLYRICS", "SYNCEDLYRICS", "USLT"}) {
        // Those of an ID3 tag stand there again.
        if (all.empty() && properties.contains(name)) {
            for (const TagLib::String &text : properties[name]) {
                AddPlain("", Utf8(text), all);
            }
        }
    }
    return all;
}

}  // namespace

int main() {
    static Quiet quiet;
    TagLib::setDebugListener(&quiet);
    TagLib::FileStream stream(dup(STDIN_FILENO), true);
    const TagLib::FileRef song(&stream, false);
    if (song.isNull()) {
        return EXIT_FAILURE;
    }
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["emitUTF8"] = true;
    const std::string text = Json::writeString(builder, LyricsOf(song.file()));
    const bool isWritten = std::fwrite(text.data(), 1, text.size(), stdout) == text.size();
    return isWritten && std::fflush(stdout) == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
