#include <json/value.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "command.h"
#include "database.h"
#include "display.h"
#include "page_output.h"
#include "service/base/failure.h"
#include "service/covers/cover.h"
#include "service/people/settings.h"
#include "service/songs/songs.h"
#include "tonvale/media.h"
#include "varn/path.h"
#include "varn/run_as.h"
#include "varn/share.h"

namespace tonvale_cli {

namespace {

namespace fs = std::filesystem;

struct CoverOptions {
    std::string file;  // or a song's id
    std::string user = "admin";
    std::string url;
    std::string output;
    bool scale = false;
    bool json = false;
};

// A place where a cover was looked for.
struct Place {
    std::string name;
    std::string picture;  // "": none
    std::string result;
};

struct Report {
    std::vector<Place> places;
    std::string chosen;  // "": there is no cover
    std::string made;    // the small copy that was asked for; "" without --scale
    bool failed = false;
};

using varn::PathBuffer;

// Runs a call of the library and becomes the caller again: such calls leave the process as the
// package's account, which need not be able to look at the folder next.
template <typename Call>
auto AsCaller(const Call &call) {
    const varn::RunAs before(varn::Who::kCaller);
    return call();
}

// What one of the library's look-ups answers; "" for nothing.
template <typename Call>
std::string Found(const Call &call) {
    PathBuffer path = {};
    const int result = AsCaller([&] { return call(path.data(), static_cast<int>(path.size())); });
    return result == 0 ? path.data() : "";
}

// Why a song has no embedded picture.
std::string WhyNotEmbedded(const std::string &file) {
    PathBuffer folder = {};
    if (VARNEADirPath(file.c_str(), folder.data(), folder.size()) != 0) {
        return "its path is too long for an extended-attribute folder";
    }
    return "no file *APIC* in " + std::string(folder.data()) +
           ": there is no picture in the tags, or it is not indexed";
}

// Why a song has no picture beside it.
std::string WhyNotInFolder(const std::string &file, bool isFolder) {
    if (!isFolder && file.find('.') == file.npos) {
        return "not looked for: its path has no extension to put .no_image in place of";
    }
    const std::string marker = file.substr(0, file.rfind('.')) + ".no_image";
    const auto isMarked = [&] {
        const varn::RunAs root(varn::Who::kRoot);  // as the library looks
        struct stat info = {};
        return stat(marker.c_str(), &info) == 0 && S_ISREG(info.st_mode);
    };
    if (!isFolder && isMarked()) {
        return "marked as having none by " + marker;
    }
    const std::string folder = isFolder ? file : file.substr(0, file.rfind('/'));
    return "no cover.jpg, folder.jpg or albumart.jpg in " + folder;
}

// True for a file that the library can open, even if the caller cannot.
bool IsThere(const std::string &path) {
    return tonvale_service::OpenPicture(path).file != nullptr;
}

// The small copy: made when it is asked for, otherwise only looked at.
void AddScaled(const CoverOptions &options, Report &report) {
    PathBuffer folder = {};
    if (VARNEADirPath(options.file.c_str(), folder.data(), folder.size()) != 0) {
        return;
    }
    if (options.scale && tonvale_service::OpenPicture(report.chosen).type.empty()) {
        report.failed = true;
        report.places.push_back(
            {"small copy", "", "not made: " + report.chosen + " is no picture"});
        return;
    }
    if (options.scale) {
        const std::string path = Found([&](char *out, int size) {
            return VARNAudioGetScaleCoverPath(options.file.c_str(), report.chosen.c_str(), out,
                                              size);
        });
        report.failed = path.empty();
        report.made = path;
        report.places.push_back({"small copy", path, path.empty() ? "could not be made" : "ready"});
        return;
    }
    Place copy = {"small copy", "", "not made yet; --scale makes it"};
    for (const char *name : tonvale_service::kSmallCopies) {
        const std::string path = std::string(folder.data()) + "/" + name;
        const bool isNew = AsCaller(
            [&] { return VARNAudioCheckScaleArt(report.chosen.c_str(), path.c_str()) == 1; });
        if (isNew) {
            copy = {"small copy", path, "ready"};
            break;
        }
        if (copy.picture.empty() && IsThere(path)) {
            copy = {"small copy", path, "older than the picture"};
        }
    }
    report.places.push_back(copy);
}

Report LookForCover(const CoverOptions &options) {
    Report report;
    const char *file = options.file.c_str();
    const bool isFolder = fs::is_directory(options.file);
    std::string embedded;
    if (!isFolder) {
        embedded = Found(
            [&](char *out, int size) { return VARNAudioGetEmbeddedCoverPath(file, out, size); });
        report.places.push_back({"tags", embedded,
                                 embedded.empty() ? WhyNotEmbedded(options.file)
                                                  : "chosen: the song's own comes first"});
    }
    const std::string beside =
        Found([&](char *out, int size) { return VARNAudioGetFolderCoverPath(file, out, size); });
    report.chosen = embedded.empty() ? beside : embedded;
    const char *taken = embedded.empty() ? "chosen" : "not needed";
    report.places.push_back(
        {"folder", beside, beside.empty() ? WhyNotInFolder(options.file, isFolder) : taken});
    if (!report.chosen.empty() && !isFolder) {
        AddScaled(options, report);
    }
    return report;
}

void PrintJson(const Report &report) {
    const auto orNull = [](const std::string &text) {
        return text.empty() ? Json::Value() : Json::Value(ValidUtf8(text));
    };
    Json::Value root(Json::objectValue);
    root["cover"] = orNull(report.chosen);
    root["places"] = Json::Value(Json::arrayValue);
    for (const Place &place : report.places) {
        Json::Value entry(Json::objectValue);
        entry["place"] = place.name;
        entry["picture"] = orNull(place.picture);
        entry["result"] = ValidUtf8(place.result);
        root["places"].append(entry);
    }
    tonvale_cli::PrintJson(root);
}

void Print(const Report &report) {
    Table table({{"PLACE"}, {"PICTURE", false, true}, {"RESULT", false, true}});
    for (const Place &place : report.places) {
        table.AddRow({place.name, place.picture.empty() ? "-" : place.picture, place.result});
    }
    table.Print();
    std::printf("\n%s\n", report.chosen.empty() ? "There is no cover."
                                                : ("Cover: " + Printable(report.chosen)).c_str());
}

// The whole path of a file that is there, as the file system reads it: "link/../x" is beside what
// the link leads to. The name itself may be a link's.
fs::path WholePath(std::string file, std::error_code &error) {
    while (file.size() > 1 && file.back() == '/') {
        file.pop_back();
    }
    const fs::path full = fs::absolute(file, error);
    const fs::path name = full.filename();
    if (error || name == "." || name == "..") {
        return fs::canonical(full, error);
    }
    return fs::canonical(full.parent_path(), error) / name;
}

// False with errno set.
bool WriteFile(const std::string &path, const char *mode, const tonvale_service::Picture &picture) {
    const varn::File file(std::fopen(path.c_str(), mode));
    const auto write = [&](std::string_view bytes) {
        return std::fwrite(bytes.data(), 1, bytes.size(), file.get()) == bytes.size();
    };
    return file && tonvale_service::CopyPicture(picture, write) && std::fflush(file.get()) == 0;
}

// Writes beside a file and puts the result in its place, so that what was there stays when that
// fails. A device is written itself. False with errno set.
bool ReplaceFile(const std::string &output, const tonvale_service::Picture &picture) {
    std::error_code error;
    const fs::path target = fs::weakly_canonical(output, error);
    if (error || (fs::exists(target, error) && !fs::is_regular_file(target, error))) {
        return WriteFile(output, "wbe", picture);
    }
    const std::string fresh = target.string() + "." + std::to_string(getpid());
    if (!WriteFile(fresh, "wbxe", picture) || rename(fresh.c_str(), target.c_str()) != 0) {
        const int reason = errno;
        if (reason != EEXIST) {
            unlink(fresh.c_str());
        }
        errno = reason;
        return false;
    }
    return true;
}

// The picture that the report tells of. Throws a Failure when there is none.
tonvale_service::Picture OpenReported(const Report &report) {
    using namespace tonvale_service;
    const std::string &path = report.made.empty() ? report.chosen : report.made;
    if (path.empty()) {
        throw Failure(Reason::kNoCover);
    }
    Picture picture = AsCaller([&] { return OpenPicture(path); });
    if (picture.type.empty()) {
        throw Failure(Reason::kNotAPicture, path);
    }
    return picture;
}

// Writes a picture as the web API would answer it. False, with a message, when it cannot be
// written.
bool WriteOutput(const std::string &output, const tonvale_service::Picture &picture) {
    if (!ReplaceFile(output, picture)) {
        Complain("cannot write " + Printable(output) + ": " + std::strerror(errno));
        return false;
    }
    return true;
}

int FetchCover(const CoverOptions &options) {
    if (options.output.empty() || !options.file.empty() || options.scale || options.json) {
        Complain("--url goes with --output FILE and with nothing else");
        return kUsage;
    }
    return WriteOutput(options.output, tonvale_service::FetchCover(options.url)) ? kDone : kFailed;
}

// The path of the song with an id. Empty, with a message, when the library cannot be asked. Throws
// a Failure when there is no such song.
std::string PathOfSong(const std::string &user, const std::vector<std::string> &ids,
                       const std::string &name) {
    if (!Succeeded(EnsureDatabase())) {
        return "";
    }
    const auto songs =
        AsCaller([&] { return tonvale_service::ReadSongs(tonvale_service::UidOf(user), ids); });
    if (songs.empty()) {
        throw tonvale_service::Failure(tonvale_service::Reason::kNoSuchSong, name);
    }
    return songs.begin()->second.path;
}

int ShowCover(CoverOptions options) {
    if (const auto ids = tonvale_service::SongIds(options.file);
        tonvale_service::ParseSongId(ids.front())) {
        options.file = PathOfSong(options.user, ids, options.file);
        if (options.file.empty()) {
            return kFailed;
        }
    }
    std::error_code error;
    const fs::path full = WholePath(options.file, error);
    if (error || !fs::exists(full, error)) {
        Complain("cannot look at " + Printable(options.file) + ": " +
                 (error ? error.message() : "there is no such file") +
                 "; name a song, by its path or its id, or a folder of music");
        return kFailed;
    }
    options.file = full.string();
    if (options.scale && fs::is_directory(full, error)) {
        Complain("--scale makes the small copy of a song; name one in the folder");
        return kUsage;
    }
    const Report report = LookForCover(options);
    options.json ? PrintJson(report) : Print(report);
    if (report.failed) {
        Complain("the small copy could not be made; the lines above tell why");
        return kFailed;
    }
    return options.output.empty() || WriteOutput(options.output, OpenReported(report)) ? kDone
                                                                                       : kFailed;
}

}  // namespace

void AddCover(const Verb &app) {
    const Verb verb = app.AddVerb("cover", "Show which picture is a song's cover, and why");
    const auto options = std::make_shared<CoverOptions>();
    verb.AddText("FILE", options->file,
                 "A song, by its path or its id ('tonvale songs' shows it), or a folder")
        .ValueName("");
    verb.AddText("--user", options->user, "Whose library an id is looked up in").ValueName("NAME");
    verb.AddText("--url", options->url, "Fetch the picture of a station or podcast instead")
        .ValueName("URL");
    verb.AddText("--output", options->output, "Write the picture into this file").ValueName("FILE");
    verb.AddFlag("--scale", options->scale, "Make the small copy, if it is not there");
    verb.AddFlag("--json", options->json, "Print one JSON object instead of a table");
    verb.Do([options] {
        if (options->file.empty() && options->url.empty()) {
            Complain("FILE or --url is required; 'tonvale cover --help' tells what it takes");
            return kUsage;
        }
        return options->url.empty() ? ShowCover(*options) : FetchCover(*options);
    });
}

}  // namespace tonvale_cli
