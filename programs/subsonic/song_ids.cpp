#include "song_ids.h"

#include "service/lists/kinds.h"
#include "varn/sql.h"

namespace tonvale_subsonic {

int RowOf(const std::string &id) {
    const auto song = tonvale_service::ParseSongId(id);
    return song ? song->row : throw NoSuch("song", id);
}

std::vector<int> RowsOf(const std::vector<std::string> &ids) {
    std::vector<int> rows;
    for (const std::string &id : ids) {
        rows.push_back(RowOf(id));
    }
    return rows;
}

std::map<std::string, Json::Value> ChildrenById(const Request &asked,
                                                const std::vector<tonvale_service::SongId> &songs) {
    std::map<std::string, Json::Value> children;
    for (Json::Value &child : ChildrenOf(asked, songs)) {
        children.emplace(child["id"].asString(), std::move(child));
    }
    return children;
}

std::vector<VARN_MEDIA_INFO> SongsTitled(const Request &asked, const std::string &artist,
                                         const std::string &title, int most) {
    const auto titled = varn::Sql("lower(t.title) = lower('@VARN:VAR')", title);
    if (!titled) {
        throw Fault{kGeneric, "the parameter 'title' is not UTF-8"};
    }
    const std::string condition =
        *titled + (artist.empty() ? "" : " AND " + tonvale_service::IsOfArtist(artist));
    tonvale_service::ListRequest all;
    all.uid = asked.Uid();
    all.library = tonvale_service::ChosenKind("all", all.uid);
    std::vector<VARN_MEDIA_INFO> songs;
    for (const auto &song : tonvale_service::ChooseSongs(
             all, {.condition = condition, .order = "t.id", .limit = most})) {
        songs.push_back(
            tonvale_service::ReadSong(asked.Uid(), tonvale_service::SongIdText(song.id)));
    }
    return songs;
}

}  // namespace tonvale_subsonic
