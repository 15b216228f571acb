// What playlists cost: reading one, against its two statements through the database's own client
// library; writing one, against the same write calls; asking whether a song is in it, against
// looking a song up by its id.
//
// Needs TONVALE_ROOT with a running database of generated_library.sql; bench/run prepares one.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

#include "baseline.h"
#include "compare.h"
#include "tonvale/library.h"
#include "tonvale/playlists.h"
#include "varn/playlistsvc.h"
#include "varn/process.h"
#include "varn/systempath.h"

namespace {

using namespace tonvale_bench;

constexpr uid_t kUser = 1024;  // the first account of a new system
constexpr int kLibrary = 100000;

using Songs = varn::OwnedSongs;

// The name in a playlist of a song of the generated library.
std::string NameOf(int id) {
    const int album = id / 10;
    const std::string folder = "/volume1/music/Artist " + std::to_string(id / 30) + "/Album " +
                               std::to_string(album) + "/";
    const bool isVirtual = id % 50 >= 1 && id % 50 <= 4;
    return folder + std::to_string(isVirtual ? id / 50 * 50 : id) + ".mp3" +
           (isVirtual ? "_" + std::to_string(id % 10 + 1) : "");
}

// A playlist of songs from all over the library, one in fifty of them unknown.
std::string MakeList(int entries) {
    const std::string path = SystemPath("/bench.m3u");
    std::ofstream file(path);
    file << "#EXTM3U\r\n";
    for (int i = 0; i < entries; ++i) {
        const int id = static_cast<int>(static_cast<long long>(i) * 7919 % kLibrary);
        file << (i % 50 == 49 ? "/volume1/gone/" + std::to_string(i) + ".mp3" : NameOf(id))
             << "\r\n";
    }
    return path;
}

std::string Statement(const std::string &condition) {
    const std::array<int, VARN_JOIN_TABLES> flags = {1, 1, 1, 1, 0, 1, 1};
    std::array<char, 4096> table = {};
    std::array<char, 1024> where = {};
    const std::string library = VARNAudioWebapiUtilsGetBrowseLibraryByUid(kUser);
    if (GenerateTableString(library.c_str(), kUser, VARN_TABLE_MUSIC, table.data(), table.size(),
                            where.data(), where.size(), flags.data(), 0) != 0) {
        Die("no track view");
    }
    return std::string("SELECT * FROM ") + table.data() + " WHERE " + condition;
}

// The statements that a playlist comes to.
std::array<std::string, 2> Statements(const std::string &path) {
    PVLIBSZLIST list = nullptr;
    PLAYLIST_REC *remote = nullptr;
    if (GetCandidateListByPlaylistParse(path.c_str(), &list, &remote) < 0) {
        Die("the playlist cannot be read");
    }
    const varn::StringList owned(list);
    const Songs none(remote);
    int offset = 0;
    int limit = 0;
    std::string real;
    std::string virtualSongs;
    VARNAudioWebapiUtilsGetDBQueryByCandidateList(list, &offset, &limit, real, virtualSongs);
    return {Statement(real), Statement(virtualSongs)};
}

template <std::size_t Count>
double RunStatements(const std::array<std::string, Count> &statements) {
    double seconds = 0;
    for (const std::string &statement : statements) {
        seconds += RunStatement(statement);
    }
    return seconds;
}

Songs ReadList(const std::string &path) {
    Songs songs(VARNPlaylistParseByPath(kUser, path.c_str(), nullptr, nullptr, 0, 0, "*", 0));
    if (!songs) {
        Die("the playlist could not be parsed");
    }
    return songs;
}

void Parse(benchmark::State &state) {
    const std::string path = MakeList(static_cast<int>(state.range(0)));
    const auto statements = Statements(path);
    Compare(
        state, [&] { return RunStatements(statements); },
        [&] { return SecondsOf([&] { const Songs songs = ReadList(path); }); });
}

// The same lines with a write call each and nothing else.
double WriteLines(const std::string &text, const std::string &path) {
    const Clock::time_point start = Clock::now();
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    for (std::string_view rest = text; !rest.empty();) {
        const std::size_t line = rest.find('\n') + 1;
        if (write(fd, rest.data(), line) != static_cast<ssize_t>(line)) {
            Die("the disk is full");
        }
        rest.remove_prefix(line);
    }
    close(fd);
    return SecondsSince(start);
}

std::string ReadText(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void Write(benchmark::State &state) {
    const Songs songs = ReadList(MakeList(static_cast<int>(state.range(0))));
    const std::string path = SystemPath("/written.m3u");
    // Made now: writing leaves the process running as the package's account.
    std::ofstream(path + ".base").flush();
    std::filesystem::permissions(path + ".base", std::filesystem::perms::all);
    VARNWriteMusicPlaylist(songs.get(), path.c_str());
    const std::string text = ReadText(path);
    const auto write = [&] { VARNWriteMusicPlaylist(songs.get(), path.c_str()); };
    Compare(
        state, [&] { return WriteLines(text, path + ".base"); }, [&] { return SecondsOf(write); });
    ResetCredentialsByName("root", true);
}

void Membership(benchmark::State &state) {
    const int entries = static_cast<int>(state.range(0));
    const std::string path = MakeList(entries);
    const std::string last =
        NameOf(static_cast<int>(static_cast<long long>(entries - 2) * 7919 % kLibrary));
    if (VARNPlaylistCheckSong(kUser, path.c_str(), last.c_str()) != 0) {
        Die("the song is not found");
    }
    const auto look = [&] { VARNPlaylistCheckSong(kUser, path.c_str(), last.c_str()); };
    const std::array statements = {Statement("id = 4711")};
    Compare(
        state, [&] { return RunStatements(statements); }, [&] { return SecondsOf(look); });
}

BENCHMARK(Parse)->RangeMultiplier(10)->Range(10, 10000)->UseManualTime()->Iterations(20)->Unit(
    benchmark::kMillisecond);
BENCHMARK(Write)
    ->RangeMultiplier(10)
    ->Range(100, 10000)
    ->UseManualTime()
    ->Iterations(50)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(Membership)
    ->RangeMultiplier(10)
    ->Range(10, 10000)
    ->UseManualTime()
    ->Iterations(20)
    ->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
