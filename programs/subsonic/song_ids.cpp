#include "song_ids.h"

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

}  // namespace tonvale_subsonic
