// list-bench: a page of 100 of each list, computed and from the order that is kept, through kept
// connections as a worker has them. Medians, in milliseconds.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <vector>

#include "service/lists/groups.h"
#include "service/songs/songs.h"
#include "tonvale/webapi.h"
#include "varn/systempath.h"

namespace {

using tonvale_service::ListRequest;
using tonvale_service::Page;

constexpr uid_t kUser = 1024;

double Milliseconds(const std::function<void()> &work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
        .count();
}

double Median(int rounds, const std::function<double()> &measure) {
    std::vector<double> times;
    for (int round = 0; round < rounds; ++round) {
        times.push_back(measure());
    }
    std::nth_element(times.begin(), times.begin() + rounds / 2, times.end());
    return times[static_cast<std::size_t>(rounds / 2)];
}

void Read(Page &page) {
    while (!page.Next().empty()) {
    }
}

void Bench(const char *name, const std::function<void()> &read) {
    const double computed = Median(3, [&] {
        std::filesystem::remove_all(SystemPath(varn::path::kKeptLists));
        return Milliseconds(read);
    });
    const double kept = Median(21, [&] { return Milliseconds(read); });
    std::printf("%-28s computed %8.1f  kept %6.2f  ratio %6.1f\n", name, computed, kept,
                computed / kept);
}

}  // namespace

int main() {
    VARNDBKeepConnections(2);
    const Tonvale::webapi::WebapiLibrary writer(kUser, "admin", "");
    ListRequest request;
    request.library = "all";
    request.uid = kUser;
    request.limit = 100;
    for (const int offset : {0, 5000}) {
        request.offset = offset;
        std::printf("From %d:\n", offset);
        for (const auto *group :
             {&tonvale_service::kAlbums, &tonvale_service::kArtists, &tonvale_service::kGenres}) {
            Bench(group->list, [&] { Read(*ListGroups(*group, request, std::nullopt)); });
        }
        for (const char *key : {"title", "artist"}) {
            request.sortBy = key;
            Bench((std::string("songs by ") + key).c_str(),
                  [&] { Read(*ListSongs(request, writer)); });
        }
        request.filters.genre = "Genre 3";
        Bench("songs of a genre", [&] { Read(*ListSongs(request, writer)); });
        request.filters.genre.reset();
        request.sortBy.clear();
    }
}
