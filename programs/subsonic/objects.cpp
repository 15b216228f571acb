#include "objects.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <ctime>
#include <filesystem>
#include <type_traits>

#include "entry/song_sound.h"
#include "service/lists/kinds.h"
#include "tonvale/paths.h"

namespace tonvale_subsonic {

namespace {

using namespace tonvale_service;

// Clients show no item without a name.
constexpr char kNoAlbum[] = "[no album]";
constexpr char kNoArtist[] = "[no artist]";

const std::string &OrElse(const std::string &name, const std::string &otherwise) {
    return name.empty() ? otherwise : name;
}

void SetText(Json::Value &object, const char *member, const std::string &text) {
    if (!text.empty()) {
        object[member] = text;
    }
}

void SetNumber(Json::Value &object, const char *member, long long number) {
    if (number > 0) {
        object[member] = Json::Int64{number};
    }
}

// An array of objects with a name, and with an id where there is one.
Json::Value NamesOf(const std::vector<std::string> &names, std::string (*id)(std::string_view)) {
    Json::Value list(Json::arrayValue);
    for (const std::string &name : names) {
        Json::Value object(Json::objectValue);
        object["name"] = name;
        if (id != nullptr) {
            object["id"] = id(name);
        }
        list.append(std::move(object));
    }
    return list;
}

Json::Value ArtistNames(const std::string &name) {
    return NamesOf(name.empty() ? std::vector<std::string>() : std::vector{name}, ArtistId);
}

void SetGenres(Json::Value &object, const std::vector<std::string> &genres) {
    object["genres"] = NamesOf(genres, nullptr);
    if (!genres.empty()) {
        object["genre"] = genres.front();
    }
}

void SetMarks(Json::Value &object, const SongMarks &marks) {
    SetNumber(object, "userRating", marks.stars);
    SetNumber(object, "playCount", marks.plays);
    if (marks.plays > 0) {
        object["played"] = TimeText(marks.lastPlayed);
    }
    if (marks.favouriteSince > 0) {
        object["starred"] = TimeText(marks.favouriteSince);
    }
}

void SetTags(Json::Value &child, const SongFacts &song) {
    const std::string &albumArtist = OrElse(song.albumArtist, song.artist);
    child["title"] = song.title;
    child["sortName"] = song.titleSort;
    child["album"] = OrElse(song.album, kNoAlbum);
    child["albumId"] = AlbumId(song.album, song.albumArtist);
    child["artist"] = OrElse(song.artist, kNoArtist);
    child["artistId"] = ArtistId(song.artist);
    child["artists"] = ArtistNames(song.artist);
    child["displayArtist"] = song.artist;
    child["albumArtists"] = ArtistNames(albumArtist);
    child["displayAlbumArtist"] = albumArtist;
    child["displayComposer"] = song.composer;
    child["contributors"] = Json::Value(Json::arrayValue);
    // getArtist knows artists and album artists, and no other composers.
    const std::uint64_t hash = ArtistHash(song.composer);
    if (!song.composer.empty() &&
        (hash == ArtistHash(song.artist) || hash == ArtistHash(albumArtist))) {
        Json::Value composer(Json::objectValue);
        composer["role"] = "composer";
        composer["artist"]["id"] = ArtistId(song.composer);
        composer["artist"]["name"] = song.composer;
        child["contributors"].append(std::move(composer));
    }
    child["comment"] = song.comment;
    SetGenres(child, song.genres);
    SetNumber(child, "year", song.year);
    SetNumber(child, "track", song.track);
    SetNumber(child, "discNumber", song.disc);
}

void SetSound(Json::Value &child, const SongFacts &song) {
    child["contentType"] = tonvale_entry::MediaTypeOf(song.path.c_str());
    const std::string extension = std::filesystem::path(song.path).extension().string();
    SetText(child, "suffix", extension.substr(std::min<std::size_t>(1, extension.size())));
    child["duration"] = song.seconds;
    SetNumber(child, "size", song.bytes);
    SetNumber(child, "bitRate", song.bitRate / 1000);
    child["samplingRate"] = song.frequency;
    child["channelCount"] = song.channels;
    Json::Value &gain = child["replayGain"] = Json::Value(Json::objectValue);
    const auto set = [&](const char *member, const std::optional<double> &value) {
        if (value && std::isfinite(*value)) {
            gain[member] = *value;
        }
    };
    set("trackGain", song.trackGain);
    set("trackPeak", song.trackPeak);
    set("albumGain", song.albumGain);
    set("albumPeak", song.albumPeak);
}

// What an album says of itself in both of its forms.
void SetAlbum(Json::Value &object, const AlbumFacts &album) {
    const std::string id = AlbumId(album.name, album.albumArtist);
    const std::string &artist = OrElse(album.albumArtist, album.artist);
    object["id"] = id;
    object["coverArt"] = id;
    if (!artist.empty()) {
        object["artist"] = artist;
        object["artistId"] = ArtistId(artist);
    }
    object["artists"] = ArtistNames(artist);
    object["displayArtist"] = artist;
    object["duration"] = Json::Int64{album.seconds};
    object["created"] = TimeText(album.added);
    object["sortName"] = album.sortName;
    SetGenres(object, album.genres);
    SetNumber(object, "year", album.year);
}

Json::Value AlbumOf(const AlbumFacts &album) {
    Json::Value object(Json::objectValue);
    SetAlbum(object, album);
    object["name"] = OrElse(album.name, kNoAlbum);
    object["songCount"] = album.songs;
    object["isCompilation"] = album.albumArtist.empty() && album.artist.empty();
    return object;
}

Json::Value AlbumChildOf(const AlbumFacts &album) {
    Json::Value object(Json::objectValue);
    SetAlbum(object, album);
    object["title"] = object["album"] = OrElse(album.name, kNoAlbum);
    if (object.isMember("artistId")) {
        object["parent"] = object["artistId"];
    }
    object["isDir"] = true;
    object["isVideo"] = false;
    object["mediaType"] = "album";
    return object;
}

const char *RoleOf(const ArtistFacts &artist) {
    return artist.isListed ? "albumartist" : "artist";
}

template <typename Facts>
Facts Find(const Request &asked, std::string_view prefix, const std::string &id, const char *kind) {
    if (const auto hash = HashIn(prefix, id)) {
        const GroupList<Facts> all(WholeLibrary(asked));
        for (std::size_t place = 0; place < all.Count(); ++place) {
            if (HashAt(all, place) == *hash) {
                return all[place];
            }
        }
    }
    throw NoSuch(kind, id);
}

}  // namespace

std::vector<MusicFolder> MusicFoldersOf(uid_t uid) {
    const std::vector<std::string> kinds = BrowsableKinds(uid);
    std::vector<MusicFolder> folders;
    for (const MusicFolder &folder :
         {MusicFolder{0, "shared", "Shared music"}, {1, "personal", "My music"}}) {
        if (std::find(kinds.begin(), kinds.end(), folder.kind) != kinds.end()) {
            folders.push_back(folder);
        }
    }
    return folders;
}

ListRequest LibraryOf(const Request &asked) {
    ListRequest request;
    request.uid = asked.Uid();
    const std::string folder = asked.Text("musicFolderId");
    if (folder.empty()) {
        request.library = DefaultKind(request.uid);
        return request;
    }
    for (const MusicFolder &known : MusicFoldersOf(request.uid)) {
        if (folder == std::to_string(known.id)) {
            request.library = known.kind;
            return request;
        }
    }
    throw NoSuch("music folder", folder);
}

ListRequest WholeLibrary(const Request &asked) {
    ListRequest request;
    request.uid = asked.Uid();
    request.library = ChosenKind("all", request.uid);
    return request;
}

std::string TimeText(long long secondsSince1970) {
    const std::time_t seconds = secondsSince1970;
    std::tm parts{};
    std::array<char, 32> text = {};
    if (gmtime_r(&seconds, &parts) != nullptr) {
        std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &parts);
    }
    return text.data();
}

Json::Value ChildOf(const SongFacts &song) {
    Json::Value child(Json::objectValue);
    const std::string id = SongIdText(song.id);
    child["id"] = id;
    child["isDir"] = false;
    child["isVideo"] = false;
    child["type"] = "music";
    child["mediaType"] = "song";
    SetTags(child, song);
    SetSound(child, song);
    child["parent"] = child["albumId"];
    // The songs of an album share its cover, so that clients fetch it once.
    child["coverArt"] = song.album.empty() ? Json::Value(id) : child["albumId"];
    child["path"] = AudioFile::GetSharePathByVolPath(song.path.c_str());
    child["created"] = TimeText(song.added);
    SetMarks(child, song.marks);
    return child;
}

Json::Value ChildrenOf(const std::vector<SongFacts> &songs) {
    Json::Value children(Json::arrayValue);
    for (const SongFacts &song : songs) {
        children.append(ChildOf(song));
    }
    return children;
}

Json::Value SomeSongs(const Request &asked, const SongChoice &choice) {
    return choice.limit > 0 ? ChildrenOf(ChooseSongs(LibraryOf(asked), choice))
                            : Json::Value(Json::arrayValue);
}

Json::Value ChildrenOf(const Request &asked, const std::vector<SongId> &songs) {
    return ChildrenOf(SongsOfIds(asked.Uid(), songs));
}

SongFacts FindSong(const Request &asked, const std::string &id) {
    const auto song = ParseSongId(id);
    std::vector<SongFacts> found =
        song ? SongsOfIds(asked.Uid(), {*song}) : std::vector<SongFacts>();
    return !found.empty() ? std::move(found.front()) : throw NoSuch("song", id);
}

Json::Value AlbumsOf(const Request &asked, const std::vector<AlbumFacts> &albums, AlbumForm form) {
    const auto marks = AlbumMarks(asked.Uid(), &albums);
    Json::Value list(Json::arrayValue);
    for (const AlbumFacts &album : albums) {
        Json::Value object = form == AlbumForm::kAlbum ? AlbumOf(album) : AlbumChildOf(album);
        if (const auto mark = marks.find({album.name, album.albumArtist}); mark != marks.end()) {
            SetMarks(object, mark->second);
        }
        list.append(std::move(object));
    }
    return list;
}

ArtistWriter::ArtistWriter(const Request &asked) : favourites_(FavouriteArtists(asked.Uid())) {}

template <typename Set>
void ArtistWriter::SetMembers(const ArtistFacts &artist, const Set &set) const {
    const std::string id = ArtistId(artist.name);
    set("id", id);
    set("name", OrElse(artist.name, kNoArtist));
    set("coverArt", id);
    set("albumCount", artist.albums);
    set("sortName", artist.sortName);
    if (const auto since =
            favourites_.empty() ? favourites_.end() : favourites_.find(FoldedName(artist.name));
        since != favourites_.end()) {
        set("starred", TimeText(since->second.since));
    }
}

void ArtistWriter::Write(const ArtistFacts &artist, AnswerWriter &answer) const {
    answer.BeginObject("artist");
    SetMembers(artist, [&](const char *name, const auto &value) {
        if constexpr (std::is_integral_v<std::decay_t<decltype(value)>>) {
            answer.Value(name, value);
        } else {
            answer.Scalar(name, value);
        }
    });
    answer.BeginList("roles");
    answer.Scalar("roles", RoleOf(artist));
    answer.EndList();
    answer.EndObject();
}

Json::Value ArtistWriter::ObjectOf(const ArtistFacts &artist) const {
    Json::Value object(Json::objectValue);
    SetMembers(artist, [&](const char *name, const auto &value) { object[name] = value; });
    object["roles"] = Json::Value(Json::arrayValue);
    object["roles"].append(RoleOf(artist));
    return object;
}

Json::Value ArtistsOf(const Request &asked, const std::vector<ArtistFacts> &artists) {
    const ArtistWriter writer(asked);
    Json::Value list(Json::arrayValue);
    for (const ArtistFacts &artist : artists) {
        list.append(writer.ObjectOf(artist));
    }
    return list;
}

AlbumFacts FindAlbum(const Request &asked, const std::string &id) {
    return Find<AlbumFacts>(asked, kAlbumPrefix, id, "album");
}

ArtistFacts FindArtist(const Request &asked, const std::string &id) {
    return Find<ArtistFacts>(asked, kArtistPrefix, id, "artist");
}

void CheckFewGroups(const std::vector<std::string> &ids) {
    constexpr std::ptrdiff_t kMost = 200;
    const auto groups = std::count_if(ids.begin(), ids.end(), [](const std::string &id) {
        return id.starts_with(kAlbumPrefix) || id.starts_with(kArtistPrefix);
    });
    if (groups > kMost) {
        throw Fault{kGeneric, "too many albums and artists for one request"};
    }
}

std::vector<AlbumFacts> AlbumsBy(const Request &asked, const ArtistFacts &artist) {
    return AlbumsOfArtist(WholeLibrary(asked), artist.name);
}

std::vector<SongFacts> SongsOf(const Request &asked, const AlbumFacts &album) {
    return ChooseSongs(WholeLibrary(asked),
                       {.condition = IsOfAlbum(album.name, album.albumArtist), .order = kInAlbum});
}

}  // namespace tonvale_subsonic
