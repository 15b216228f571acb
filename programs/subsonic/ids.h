// Identifiers of this API. Songs (SongIdText of service/songs/songs.h), folders and playlists have
// those of the web API.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "service/lists/group_facts.h"

namespace tonvale_subsonic {

// al-HASH and ar-HASH, of the names alone, so that they stay the same when files are moved or read
// again. The case of ASCII letters does not count with an artist.
inline constexpr std::string_view kAlbumPrefix = "al-";
inline constexpr std::string_view kArtistPrefix = "ar-";
std::string AlbumId(std::string_view album, std::string_view albumArtist);
std::string ArtistId(std::string_view name);

// The hash alone, to look for many names; and that of an identifier, which other texts have not.
std::uint64_t AlbumHash(std::string_view album, std::string_view albumArtist);
std::uint64_t ArtistHash(std::string_view name);
std::uint64_t HashAt(const tonvale_service::AlbumList &albums, std::size_t place);
std::uint64_t HashAt(const tonvale_service::ArtistList &artists, std::size_t place);
std::optional<std::uint64_t> HashIn(std::string_view prefix, std::string_view id);

}  // namespace tonvale_subsonic
