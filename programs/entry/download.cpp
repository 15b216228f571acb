// VARN.Tonvale.Download: songs as files, one of them or many in an archive.
#include <syslog.h>

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

#include "action.h"
#include "list_request.h"
#include "rights.h"
#include "service/downloads/downloads.h"
#include "service/downloads/zip_stream.h"
#include "service/lists/folders.h"
#include "service/songs/songs.h"
#include "song_file.h"
#include "song_sound.h"
#include "tonvale/settings.h"
#include "turn.h"

namespace tonvale_entry {

namespace {

using namespace tonvale_service;

// Has a browser save an answer under a name (RFC 6266): in ASCII for those that know no other form,
// and as it is (RFC 8187).
std::string Attachment(const std::string &name) {
    std::string ascii;
    std::string encoded;
    for (const unsigned char c : SafeFileName(name)) {
        constexpr char kDigits[] = "0123456789ABCDEF";
        const bool isPlain = (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') ||
                             (c >= 'a' && c <= 'z') || c == '.' || c == '-' || c == '_';
        ascii += c < 0x80 ? static_cast<char>(c) : '_';
        if (isPlain) {
            encoded += static_cast<char>(c);
        } else {
            encoded += {'%', kDigits[c >> 4], kDigits[c & 15]};
        }
    }
    return "Content-Disposition: attachment; filename=\"" + ascii + "\"; filename*=UTF-8''" +
           encoded + "\r\n";
}

// The whole file of a song, also for a track of a cue sheet.
class Song : public MediaAction {
  public:
    using MediaAction::MediaAction;

  protected:
    bool Send() override {
        Asked().Require(RIGHT_STREAMING);
        const VARN_MEDIA_INFO song =
            ReadSong(Asked().User().GetLoginUID(), Asked().RequiredText("id"));
        const SongFile file = OpenSongFile(song);
        GiveUpRights();  // the file is open
        TakeTurn(Asked(), Work::kFile);
        return SendFile(file, MediaTypeOf(file.path.c_str()), Asked().WantsHeaderOnly(),
                        Attachment(VARNAudioWebapiUtilsGetFileName(song.path, false)));
    }
};

// Many songs in an archive. Root's rights stay until its end: each file is opened when its turn
// comes.
class Archive : public MediaAction {
  public:
    using MediaAction::MediaAction;

  protected:
    bool Send() override {
        Asked().Require(RIGHT_STREAMING);
        Download download = Find();
        const ZipStream archive(EntriesOf(download));
        TakeTurn(Asked(), Work::kFile);
        const std::string name = download.name.empty() ? "songs" : download.name;
        const std::string header =
            std::string("Status: 200 OK\r\n") + kAtListenersPace +
            "Content-Type: application/zip\r\nContent-Length: " + std::to_string(archive.Length()) +
            "\r\n" + Attachment(name + ".zip") + "\r\n";
        const auto write = [](std::string_view bytes) {
            return varn::WriteAll(STDOUT_FILENO, bytes);
        };
        if (!write(header) || Asked().WantsHeaderOnly()) {
            return Asked().WantsHeaderOnly();
        }
        return archive.Send(write, [&](std::size_t place) {
            return OpenAgain(download.files[place], opened_[place]);
        });
    }

  private:
    Download Find() const {
        const std::string id = Asked().Text("id");
        if (!Asked().Text("songs").empty()) {
            return DownloadOfSongs(Asked().User().GetLoginUID(), Asked().Values("songs"));
        }
        if (IsPlaylistId(id)) {
            return DownloadOfPlaylist(
                FindById(Asked().User().GetLoginUserName(), Asked().User().GetLoginUID(), id),
                Tonvale::webapi::playlist::PlaylistLibrary(Asked().User()));
        }
        const ListRequest request = ListRequestOf(Asked());
        return id.empty() ? DownloadOf(request) : DownloadOfFolder(request, ParseFolderId(id));
    }

    // Leaves out the files that are not there, or not where they may be.
    std::vector<ZipEntry> EntriesOf(Download &download) {
        std::vector<ZipEntry> entries;
        std::vector<DownloadFile> found;
        for (DownloadFile &file : download.files) {
            try {
                const SongFile song = OpenSongFile(file.owner, file.path);
                entries.push_back(
                    {file.name, static_cast<uint64_t>(song.info.st_size), song.info.st_mtime});
                opened_.push_back(song.info);
                found.push_back(std::move(file));
            } catch (const tonvale_service::Failure &) {
                syslog(LOG_NOTICE, "a download goes without %s", file.path.c_str());
            }
        }
        if (found.empty()) {
            throw Refusal{Code::kNoSuchItem};
        }
        download.files = std::move(found);
        return entries;
    }

    // Empty if another file has taken its place: the archive's length has been told.
    static varn::UniqueFd OpenAgain(const DownloadFile &file, const struct stat &before) {
        try {
            SongFile song = OpenSongFile(file.owner, file.path);
            if (song.info.st_size == before.st_size && song.info.st_mtime == before.st_mtime) {
                return std::move(song.file);
            }
        } catch (const tonvale_service::Failure &) {
            // told below
        }
        syslog(LOG_NOTICE, "a download is broken off: %s has changed", file.path.c_str());
        return {};
    }

    std::vector<struct stat> opened_;  // of each file, when the length was told
};

constexpr std::array kSongParameters = {
    Parameter{.name = "id", .what = "The song.", .isRequired = true}};
constexpr auto kZipParameters =
    Join(Parameter{.name = "id",
                   .what = "A folder, with all below it, or a playlist; without id and songs the "
                           "filters choose, one at least."},
         Parameter{.name = "songs",
                   .what = "In place of id: identifiers of songs, 1000 at most.",
                   .kind = Kind::kTexts},
         kLibrary, kFilters);

constexpr Method kMethods[] = {
    {.name = "song",
     .make = Make<Song>,
     .isMedia = true,
     .lasts = true,
     .summary = "The file of a song; for a track of a cue sheet the whole file",
     .parameters = kSongParameters,
     .answer = kSoundTypes},
    {.name = "zip",
     .make = Make<Archive>,
     .isMedia = true,
     .lasts = true,
     .summary = "The files of 10,000 songs at most, as an archive",
     .parameters = kZipParameters,
     .answer = "application/zip"},
};

}  // namespace

const Api kDownloadApi{.name = "VARN.Tonvale.Download",
                       .methods = kMethods,
                       .summary = "Songs to keep, for those with the right streaming"};

}  // namespace tonvale_entry
