#include <json/json.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "command.h"
#include "database.h"
#include "display.h"
#include "tonvale/media.h"
#include "varn/process.h"
#include "varn/share.h"

namespace tonvale_cli {

namespace {

namespace fs = std::filesystem;

struct CoverOptions {
    std::string file;
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
    bool failed = false;
};

using PathBuffer = std::array<char, 4352>;

// Runs a call of the library and becomes the caller again: such calls leave the process as the
// package's account, which need not be able to look at the folder next.
template <typename Call>
auto AsCaller(const Call &call) {
    const uid_t user = geteuid();
    const gid_t group = getegid();
    const auto result = call();
    if (VLIBSetEffective(user, group) != 0) {
        Complain(std::string("cannot become the caller again: ") + std::strerror(errno));
    }
    return result;
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

// Why there is no picture beside it.
std::string WhyNotInFolder(const std::string &file, bool isFolder) {
    const std::string marker = file.substr(0, file.rfind('.')) + ".no_image";
    struct stat info = {};
    if (!isFolder && stat(marker.c_str(), &info) == 0 && S_ISREG(info.st_mode)) {
        return "marked as having none by " + marker;
    }
    const std::string folder = isFolder ? file : file.substr(0, file.rfind('/'));
    return "no cover.jpg, folder.jpg or albumart.jpg in " + folder;
}

// The small copy: made when it is asked for, otherwise only looked at.
void AddScaled(const CoverOptions &options, Report &report) {
    PathBuffer folder = {};
    if (VARNEADirPath(options.file.c_str(), folder.data(), folder.size()) != 0) {
        return;
    }
    if (options.scale) {
        const std::string path = Found([&](char *out, int size) {
            return VARNAudioGetScaleCoverPath(options.file.c_str(), report.chosen.c_str(), out,
                                              size);
        });
        report.failed = path.empty();
        report.places.push_back({"small copy", path, path.empty() ? "could not be made" : "ready"});
        return;
    }
    const std::string path = std::string(folder.data()) + "/VARNAUDIO_ART_NBAUDIO.jpg";
    struct stat info = {};
    if (stat(path.c_str(), &info) != 0) {
        report.places.push_back({"small copy", "", "not made yet; --scale makes it"});
    } else {
        const bool isNew = AsCaller(
            [&] { return VARNAudioCheckScaleArt(report.chosen.c_str(), path.c_str()) == 1; });
        report.places.push_back({"small copy", path, isNew ? "ready" : "older than the picture"});
    }
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
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["emitUTF8"] = true;
    std::printf("%s\n", Json::writeString(builder, root).c_str());
}

void Print(const Report &report) {
    Table table({{"PLACE"}, {"PICTURE", false, true}, {"RESULT", false, true}});
    for (const Place &place : report.places) {
        table.AddRow({place.name, place.picture.empty() ? "-" : place.picture, place.result});
    }
    std::printf("%s\n%s\n", table.Text(TerminalWidth()).c_str(),
                report.chosen.empty() ? "There is no cover."
                                      : ("Cover: " + Printable(report.chosen)).c_str());
}

int ShowCover(CoverOptions options) {
    std::error_code error;
    const fs::path full = fs::absolute(options.file, error).lexically_normal();
    if (error || !fs::exists(full, error)) {
        Complain("cannot look at " + Printable(options.file) + ": " +
                 (error ? error.message() : "there is no such file") +
                 "; name a song or a folder of music");
        return kFailed;
    }
    options.file = full.string();
    const Report report = LookForCover(options);
    options.json ? PrintJson(report) : Print(report);
    if (report.failed) {
        Complain("the small copy could not be made; the lines above tell why");
    }
    return report.failed ? kFailed : kDone;
}

}  // namespace

void AddCover(CLI::App &app, Action &action) {
    CLI::App *verb = app.add_subcommand("cover", "Show which picture is a song's cover, and why");
    const auto options = std::make_shared<CoverOptions>();
    verb->add_option("FILE", options->file, "A song, or a folder")->required()->type_name("");
    verb->add_flag("--scale", options->scale, "Make the small copy, if it is not there");
    verb->add_flag("--json", options->json, "Print one JSON object instead of a table");
    verb->callback([options, &action] { action = [options] { return ShowCover(*options); }; });
}

}  // namespace tonvale_cli
