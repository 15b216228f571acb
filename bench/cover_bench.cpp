// What covers cost: finding one, answering a copy that is up to date, and making one against the
// converter alone, in turn. And text: a megabyte against a kilobyte, by the byte.
//
// Needs TONVALE_ROOT; bench/run prepares one.
#include <benchmark/benchmark.h>
#include <sys/stat.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "compare.h"
#include "tonvale/media.h"
#include "varn/process.h"
#include "varn/share.h"
#include "varn/systempath.h"

namespace {

namespace fs = std::filesystem;
using namespace tonvale_bench;

bool Convert(const std::string &source, const std::string &target) {
    std::array<std::string, 7> words = {"convert",  "-size", "480x480>", "-thumbnail",
                                        "480x480>", source,  target};
    std::array<char *, words.size() + 1> argv = {};
    for (std::size_t i = 0; i < words.size(); ++i) {
        argv[i] = words[i].data();
    }
    return VLIBCExecv(SystemPath(varn::path::kConvert).c_str(), argv.data(), 1) == 0;
}

// A song with a cover beside it, below the root.
struct Album {
    Album() : folder(SystemRoot() + "/cover-bench"), song(folder / "song.mp3") {
        fs::create_directories(folder);
        fs::permissions(folder, fs::perms::all);
        std::ofstream(song) << "x";
        cover = folder / "cover.jpg";
        if (VLIBCExec(SystemPath(varn::path::kConvert).c_str(), "-size", "1400x1400",
                      "radial-gradient:red-blue", cover.c_str(), nullptr) != 0) {
            Die("the converter cannot be run");
        }
    }
    ~Album() {
        ResetCredentialsByName("root");
        std::error_code ignored;
        fs::remove_all(folder, ignored);
    }
    std::string Scaled() const {
        std::array<char, 4096> path = {};
        if (VARNAudioGetScaleCoverPath(song.c_str(), cover.c_str(), path.data(), path.size()) !=
            0) {
            Die("no copy of the cover");
        }
        return path.data();
    }
    double SecondsToScale() const {
        return SecondsOf([this] { benchmark::DoNotOptimize(Scaled()); });
    }
    fs::path folder;
    fs::path song;
    std::string cover;
};

// The baseline: asking for the state of both files.
void CachedCopy(benchmark::State &state) {
    const Album album;
    const std::string scaled = album.Scaled();
    const auto look = [&] {
        struct stat info = {};
        benchmark::DoNotOptimize(stat(album.cover.c_str(), &info) + stat(scaled.c_str(), &info));
    };
    Compare(
        state, [&] { return SecondsOf(look); }, [&] { return album.SecondsToScale(); });
}
BENCHMARK(CachedCopy)->UseManualTime()->Iterations(2000)->Unit(benchmark::kMicrosecond);

void FindCover(benchmark::State &state) {
    const Album album;
    std::array<char, 4096> path;
    for (auto _ : state) {
        VARNAudioGetEmbeddedCoverPath(album.song.c_str(), path.data(), path.size());
        benchmark::DoNotOptimize(
            VARNAudioGetFolderCoverPath(album.song.c_str(), path.data(), path.size()));
    }
}
BENCHMARK(FindCover)->Iterations(2000)->Unit(benchmark::kMicrosecond);

// The baseline: the converter with the same arguments.
void NewCopy(benchmark::State &state) {
    const Album album;
    const std::string scaled = album.Scaled();
    const auto convert = [&] {
        if (!Convert(album.cover, scaled)) {
            Die("the converter failed");
        }
    };
    const double more = Compare(
        state, [&] { return SecondsOf(convert); },
        [&] {
            ResetCredentialsByName("root");
            fs::remove(scaled);
            return album.SecondsToScale();
        });
    state.counters["more_ms"] = MoreMs(more);
}
BENCHMARK(NewCopy)->UseManualTime()->Iterations(100)->Unit(benchmark::kMillisecond);

// Nanoseconds for a byte of a text of this length.
template <typename Call>
double PerByte(std::size_t length, const Call &call) {
    const std::size_t runs = (std::size_t{1} << 24) / length;
    const Clock::time_point start = Clock::now();
    for (std::size_t i = 0; i < runs; ++i) {
        call(length);
    }
    return SecondsSince(start) * 1e9 / static_cast<double>(runs * length);
}

template <typename Call>
void Linear(benchmark::State &state, const Call &call) {
    double small = 0;
    double large = 0;
    for (auto _ : state) {
        small += PerByte(1 << 10, call);
        large += PerByte(1 << 20, call);
    }
    state.counters["ns_per_byte"] = benchmark::Counter(large, benchmark::Counter::kAvgIterations);
    state.counters["ratio"] = large / small;
}

void Escape(benchmark::State &state) {
    const std::string text(1 << 20, '<');
    std::vector<char> out(text.size() * 6);
    Linear(state, [&](std::size_t length) {
        VARNHtmlSpecialChar(text.c_str() + text.size() - length, out.data(), length * 6);
        benchmark::DoNotOptimize(out.data());
    });
}
BENCHMARK(Escape)->Iterations(5)->Unit(benchmark::kMillisecond);

void Trim(benchmark::State &state) {
    const std::string blanks(1 << 20, ' ');
    std::vector<char> text(blanks.size() + 1);
    Linear(state, [&](std::size_t length) {
        std::memcpy(text.data(), blanks.c_str() + blanks.size() - length, length + 1);
        text[length / 2] = 'x';
        strstrip(text.data());
        benchmark::DoNotOptimize(text.data());
    });
}
BENCHMARK(Trim)->Iterations(5)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
