// The library by tags and by folders: getMusicFolders, getIndexes, getMusicDirectory, getGenres,
// getArtists, getArtist, getAlbum, getSong.
#include <algorithm>
#include <climits>
#include <map>

#include "answer.h"
#include "endpoint.h"
#include "objects.h"
#include "service/base/text.h"
#include "service/lists/folders.h"

namespace tonvale_subsonic {

namespace {

using namespace tonvale_service;

// The articles that sort names leave out (docs/browsing.md).
constexpr char kArticles[] = "The A An";

Json::Value MusicFolders(const Request &asked) {
    Json::Value list(Json::arrayValue);
    for (const MusicFolder &known : MusicFoldersOf(asked.Uid())) {
        Json::Value &folder = list.append(Json::objectValue);
        folder["id"] = known.id;
        folder["name"] = known.name;
    }
    return list;
}

// Under which letter a name stands.
std::string LetterOf(std::string_view name) {
    const std::size_t length = name.empty() ? 0 : CharacterLength(name);
    const char first = name.empty() ? '\0' : name.front();
    if (length > 1) {
        return std::string(name.substr(0, length));
    }
    const char letter = static_cast<char>(first & ~0x20);
    return letter >= 'A' && letter <= 'Z' ? std::string(1, letter) : "#";
}

// Entries by the letters that they stand under, in the order in which these come first.
template <typename Entry>
class Index {
  public:
    struct Group {
        std::string letter;
        std::vector<Entry> entries = {};
    };

    void Add(const std::string &letter, Entry entry) {
        const auto [place, isNew] = places_.try_emplace(letter, groups_.size());
        if (isNew) {
            groups_.push_back({letter});
        }
        groups_[place->second].entries.push_back(std::move(entry));
    }
    const std::vector<Group> &Groups() const { return groups_; }

  private:
    std::map<std::string, std::size_t> places_;
    std::vector<Group> groups_;
};

void Artists(const Request &asked, AnswerWriter &answer) {
    const ArtistList all(LibraryOf(asked));
    Index<std::size_t> index;
    for (const std::size_t place : Listed(all)) {
        index.Add(LetterOf(all.Text(place, ArtistFacts::kSortName)), place);
    }
    const ArtistWriter writer(asked);
    answer.BeginObject("artists");
    answer.Scalar("ignoredArticles", kArticles);
    answer.BeginList("index");
    for (const auto &group : index.Groups()) {
        answer.BeginObject("index");
        answer.Scalar("name", group.letter);
        answer.BeginList("artist");
        for (const std::size_t place : group.entries) {
            writer.Write(all[place], answer);
        }
        answer.EndList();
        answer.EndObject();
    }
    answer.EndList();
    answer.EndObject();
}

void AppendSongs(const ListRequest &request, const FolderContents &inside, Json::Value &child) {
    for (Json::Value &song :
         ChildrenOf(ChooseSongs(request, {.condition = inside.songs, .order = "t.path, t.id"}))) {
        song["parent"] = inside.folder.id;
        child.append(std::move(song));
    }
}

Json::Value Indexes(const Request &asked) {
    const ListRequest request = LibraryOf(asked);
    const long long since = asked.Number("ifModifiedSince", -1, 0, LLONG_MAX);
    Json::Value indexes(Json::objectValue);
    const long long read = ArtistList(request).Computed() * 1000;
    indexes["lastModified"] = Json::Int64{read};
    indexes["ignoredArticles"] = kArticles;
    indexes["index"] = Json::Value(Json::arrayValue);
    Json::Value &child = indexes["child"] = Json::Value(Json::arrayValue);
    if (read <= since) {
        return indexes;
    }
    Index<Json::Value> index;
    for (const FolderFacts &root : ContentsOf(request, 0, asked.User()).folders) {
        const FolderContents inside = ContentsOf(request, ParseFolderId(root.id), asked.User());
        for (const FolderFacts &folder : inside.folders) {
            Json::Value entry(Json::objectValue);
            entry["id"] = folder.id;
            entry["name"] = folder.name;
            index.Add(LetterOf(folder.name), std::move(entry));
        }
        AppendSongs(request, inside, child);
    }
    for (const auto &group : index.Groups()) {
        Json::Value &told = indexes["index"].append(Json::objectValue);
        told["name"] = group.letter;
        for (const Json::Value &entry : group.entries) {
            told["artist"].append(entry);
        }
    }
    return indexes;
}

Json::Value FolderDirectory(const Request &asked, const std::string &id) {
    const ListRequest request = LibraryOf(asked);
    const FolderContents inside = ContentsOf(request, ParseFolderId(id), asked.User());
    Json::Value directory(Json::objectValue);
    directory["id"] = inside.folder.id;
    directory["name"] = inside.folder.name;
    if (!inside.parent.empty()) {
        directory["parent"] = inside.parent;
    }
    Json::Value &child = directory["child"] = Json::Value(Json::arrayValue);
    for (const FolderFacts &folder : inside.folders) {
        Json::Value entry(Json::objectValue);
        entry["id"] = folder.id;
        entry["title"] = folder.name;
        entry["isDir"] = true;
        entry["parent"] = inside.folder.id;
        child.append(std::move(entry));
    }
    AppendSongs(request, inside, child);
    return directory;
}

Json::Value AlbumDirectory(const Request &asked, const std::string &id) {
    const AlbumFacts album = FindAlbum(asked, id);
    Json::Value directory = AlbumsOf(asked, {album}, AlbumForm::kChild)[0];
    directory["name"] = directory["title"];
    directory["child"] = ChildrenOf(SongsOf(asked, album));
    return directory;
}

Json::Value ArtistDirectory(const Request &asked, const std::string &id) {
    const ArtistFacts artist = FindArtist(asked, id);
    Json::Value directory = ArtistsOf(asked, {artist})[0];
    directory["child"] = AlbumsOf(asked, AlbumsBy(asked, artist), AlbumForm::kChild);
    return directory;
}

// Old clients take albums and artists for folders, wherever they have found them.
Json::Value Directory(const Request &asked) {
    const std::string id = asked.Required("id");
    return id.starts_with(kAlbumPrefix)    ? AlbumDirectory(asked, id)
           : id.starts_with(kArtistPrefix) ? ArtistDirectory(asked, id)
                                           : FolderDirectory(asked, id);
}

Json::Value Genres(const Request &asked) {
    Json::Value list(Json::arrayValue);
    const GenreList all(LibraryOf(asked));
    for (const GenreFacts &genre : all.At(all.All())) {
        Json::Value object(Json::objectValue);
        object["value"] = genre.name;
        object["songCount"] = genre.songs;
        object["albumCount"] = genre.albums;
        list.append(std::move(object));
    }
    return list;
}

Json::Value Artist(const Request &asked) {
    const ArtistFacts facts = FindArtist(asked, asked.Required("id"));
    Json::Value artist = ArtistsOf(asked, {facts})[0];
    artist["album"] = AlbumsOf(asked, AlbumsBy(asked, facts));
    return artist;
}

Json::Value Album(const Request &asked) {
    const AlbumFacts facts = FindAlbum(asked, asked.Required("id"));
    Json::Value album = AlbumsOf(asked, {facts})[0];
    if (Form::Of(asked).kind == Form::Kind::kXml && asked.MinorVersion() < 16) {
        // Clients from before OpenSubsonic (Debian's clementine is one) stop reading at elements
        // that are not songs.
        album.removeMember("artists");
        album.removeMember("genres");
    }
    album["song"] = ChildrenOf(SongsOf(asked, facts));
    return album;
}

Json::Value Song(const Request &asked) {
    return ChildOf(FindSong(asked, asked.Required("id")));
}

constexpr Endpoint kEndpoints[] = {
    {.name = "getAlbum", .answer = Named<"album", Album>},
    {.name = "getArtist", .answer = Named<"artist", Artist>},
    {.name = "getArtists", .write = Artists},
    {.name = "getGenres", .answer = Named<"genres", Named<"genre", Genres>>},
    {.name = "getIndexes", .answer = Named<"indexes", Indexes>},
    {.name = "getMusicDirectory", .answer = Named<"directory", Directory>},
    {.name = "getMusicFolders",
     .answer = Named<"musicFolders", Named<"musicFolder", MusicFolders>>},
    {.name = "getSong", .answer = Named<"song", Song>}};

}  // namespace

const std::span<const Endpoint> kBrowsingEndpoints = kEndpoints;

}  // namespace tonvale_subsonic
