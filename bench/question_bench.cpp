// question-bench PORT NAME:PASSWORD KEY: the time to the answers of the web API at PORT, and of the
// OpenSubsonic API with the key.
//
// question-bench PORT NAME:PASSWORD KEY PLAIN_PORT SERVER_PID PLAIN_PID DATABASE_PID [MPD_SOCKET]:
// what questions cost. First the web API at PORT, which `tonvale serve` answers, against the same
// program as plain CGI at PLAIN_PORT: processor time of ours and of the database's. Then the time
// to an answer against that of the music player daemon, which knows the same files.
#include <curl/curl.h>
#include <json/json.h>
#include <mpd/client.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "timing.h"

namespace {

using tonvale_bench::Clock;
using tonvale_bench::Die;
using tonvale_bench::SecondsSince;

constexpr int kRounds = 7;
constexpr int kCounted = 50;

// ---- the two servers ----------------------------------------------------------------------------

// The web API, on a connection that stays open.
class WebApi {
  public:
    WebApi(const std::string &port, const std::string &login)
        : host_("http://127.0.0.1:" + port),
          base_(host_ + "/webapi/entry.cgi?version=1&api=VARN.Tonvale."),
          curl_(curl_easy_init(), curl_easy_cleanup) {
        curl_easy_setopt(curl_.get(), CURLOPT_USERPWD, login.c_str());
        curl_easy_setopt(curl_.get(), CURLOPT_NOPROXY, "*");
        curl_easy_setopt(curl_.get(), CURLOPT_WRITEDATA, &answer_);
        const auto append = +[](char *bytes, std::size_t size, std::size_t count, void *to) {
            static_cast<std::string *>(to)->append(bytes, size * count);
            return size * count;
        };
        curl_easy_setopt(curl_.get(), CURLOPT_WRITEFUNCTION, append);
    }

    std::string Encoded(const std::string &text) const {
        const std::unique_ptr<char, decltype(&curl_free)> encoded(
            curl_easy_escape(curl_.get(), text.c_str(), static_cast<int>(text.size())), curl_free);
        return encoded.get();
    }

    // "Song.list&limit=1" asks the method list of VARN.Tonvale.Song.
    const std::string &Ask(std::string question) {
        const std::string asked = question;
        question.replace(question.find('.'), 1, "&method=");
        const long status = Get(base_ + question);
        if (status != 200 || answer_.starts_with("{\"error\"")) {
            Die(asked + " has no answer: " + answer_.substr(0, 300));
        }
        return answer_;
    }

    // A path with its query, below the server's own address.
    const std::string &AskPath(const std::string &path) {
        if (Get(host_ + path) != 200 || answer_.find("\"status\":\"ok\"") == answer_.npos) {
            Die(path + " has no answer: " + answer_.substr(0, 300));
        }
        return answer_;
    }

    // The tag of an answer; with the tag of the last one the server may say that it is as it was.
    std::string Tag(std::string question, const std::string &known) {
        const std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> fields(
            known.empty() ? nullptr
                          : curl_slist_append(nullptr, ("If-None-Match: " + known).c_str()),
            curl_slist_free_all);
        curl_easy_setopt(curl_.get(), CURLOPT_HTTPHEADER, fields.get());
        question.replace(question.find('.'), 1, "&method=");
        const long status = Get(base_ + question);
        if (status != (known.empty() ? 200 : 304)) {
            Die(question + " has the status " + std::to_string(status));
        }
        curl_header *field = nullptr;
        curl_easy_header(curl_.get(), "ETag", 0, CURLH_HEADER, -1, &field);
        const std::string tag = field != nullptr ? field->value : "";
        curl_easy_setopt(curl_.get(), CURLOPT_HTTPHEADER, nullptr);
        return tag;
    }

    Json::Value Data(const std::string &question) {
        Json::Value reply;
        std::istringstream(Ask(question)) >> reply;
        return reply["data"];
    }

  private:
    // The status of an answer.
    long Get(const std::string &url) {
        answer_.clear();
        curl_easy_setopt(curl_.get(), CURLOPT_URL, url.c_str());
        long status = 0;
        if (curl_easy_perform(curl_.get()) != CURLE_OK ||
            curl_easy_getinfo(curl_.get(), CURLINFO_RESPONSE_CODE, &status) != CURLE_OK) {
            Die(url + " has no answer");
        }
        return status;
    }

    std::string host_;
    std::string base_;
    std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> curl_;
    std::string answer_;
};

// The music player daemon.
class Daemon {
  public:
    explicit Daemon(const char *socket)
        : connection_(mpd_connection_new(socket, 0, 60000), mpd_connection_free) {
        Check();
    }

    // Reads all of an answer.
    void Ask(const std::vector<std::string> &words) {
        const auto word = [&](std::size_t at) {
            return at < words.size() ? words[at].c_str() : nullptr;
        };
        mpd_send_command(connection_.get(), word(0), word(1), word(2), word(3), word(4), word(5),
                         nullptr);
        while (mpd_pair *const pair = mpd_recv_pair(connection_.get())) {
            mpd_return_pair(connection_.get(), pair);
        }
        mpd_response_finish(connection_.get());
        Check();
    }

  private:
    void Check() const {
        if (mpd_connection_get_error(connection_.get()) != MPD_ERROR_SUCCESS) {
            Die(mpd_connection_get_error_message(connection_.get()));
        }
    }

    std::unique_ptr<mpd_connection, decltype(&mpd_connection_free)> connection_;
};

// ---- time ---------------------------------------------------------------------------------------

// Milliseconds of a call: the median, with the first call left out.
double Median(const std::function<void()> &call) {
    call();
    std::vector<double> times;
    for (int round = 0; round < kRounds; ++round) {
        const Clock::time_point start = Clock::now();
        call();
        times.push_back(SecondsSince(start) * 1000);
    }
    std::nth_element(times.begin(), times.begin() + kRounds / 2, times.end());
    return times[kRounds / 2];
}

// Milliseconds of a processor that a process has taken, with all that it started.
double ProcessorTime(int root) {
    struct Process {
        int parent;
        double ticks;
    };
    std::map<int, Process> all;
    for (const auto &entry : std::filesystem::directory_iterator("/proc")) {
        const std::string name = entry.path().filename();
        std::ifstream file(entry.path() / "stat");
        std::string text;
        if (!std::isdigit(static_cast<unsigned char>(name[0])) || !std::getline(file, text)) {
            continue;
        }
        // After the name: state, parent, nine others, and the ticks of its own and its children's.
        std::istringstream fields(text.substr(text.rfind(')') + 2));
        std::string skipped;
        Process process{};
        fields >> skipped >> process.parent;
        for (int field = 0; field < 9; ++field) {
            fields >> skipped;
        }
        for (int field = 0; field < 4; ++field) {
            double ticks = 0;
            fields >> ticks;
            process.ticks += ticks;
        }
        all[std::stoi(name)] = process;
    }
    double sum = 0;
    for (const auto &[pid, process] : all) {
        int at = pid;
        while (at != root && all.contains(at)) {
            at = all[at].parent;
        }
        sum += at == root ? process.ticks : 0;
    }
    return sum * 1000 / static_cast<double>(sysconf(_SC_CLK_TCK));
}

struct Cost {
    double ours;
    double database;
};

// Of one question, the mean of many.
Cost CostOf(WebApi &api, const std::string &question, int server, int database) {
    api.Ask(question);
    const double ours = ProcessorTime(server);
    const double theirs = ProcessorTime(database);
    for (int i = 0; i < kCounted; ++i) {
        api.Ask(question);
    }
    usleep(200'000);  // for what goes on after an answer
    return {(ProcessorTime(server) - ours) / kCounted,
            (ProcessorTime(database) - theirs) / kCounted};
}

// ---- the questions ------------------------------------------------------------------------------

// What stands in the library, to ask for.
struct Known {
    std::string song, album, genre, common, rare, top, folder, folderName, path, playlist;
};

Known Look(WebApi &api) {
    Known known;
    const Json::Value song = api.Data("Song.list&limit=1&additional=song_tag")["songs"][0];
    known.song = song["id"].asString();
    known.path = song["path"].asString();
    known.common = song["title"].asString().substr(0, song["title"].asString().find(' '));
    const Json::Value album = api.Data("Album.list&offset=10&limit=1")["albums"][0];
    known.album = album["name"].asString();
    known.rare = known.album.substr(known.album.rfind(' ') + 1);
    known.genre = api.Data("Genre.list")["genres"][0]["name"].asString();
    known.top = api.Data("Folder.list&limit=1")["folders"][0]["id"].asString();
    const Json::Value folder = api.Data("Folder.list&limit=1&id=" + known.top)["folders"][0];
    known.folder = folder["id"].asString();
    known.folderName = folder["name"].asString();
    const Json::Value lists = api.Data("Playlist.list&limit=1")["playlists"];
    known.playlist = lists.empty() ? "" : lists[0]["id"].asString();
    return known;
}

void PrintCosts(WebApi &api, WebApi &plain, const Known &known, const std::vector<int> &pids) {
    std::printf("%-12s %8s %9s   %10s %14s   %6s\n", "processor ms", "ours", "database",
                "CGI: ours", "database", "times");
    const std::string questions[] = {
        "Info.get",
        "Song.get&id=" + known.song,
        "Song.list&limit=100",
        known.playlist.empty() ? "" : "Playlist.get&id=" + known.playlist,
        "Folder.list&id=" + known.folder,
        "Cover.get&size=scaled&id=" + known.song,
        "Song.search&limit=100&keyword=" + api.Encoded(known.common)};
    for (const std::string &question : questions) {
        if (question.empty()) {
            continue;
        }
        const Cost now = CostOf(api, question, pids[0], pids[2]);
        const Cost cgi = CostOf(plain, question, pids[1], pids[2]);
        std::printf("%-12s %8.2f %9.2f   %10.2f %14.2f   %6.1f\n",
                    question.substr(0, question.find('&')).c_str(), now.ours, now.database,
                    cgi.ours, cgi.database,
                    (cgi.ours + cgi.database) / std::max(now.ours + now.database, 0.01));
    }
}

struct Question {
    const char *name;
    std::string ours;
    std::vector<std::string> theirs;  // "" for what the daemon has no question for
};

std::vector<Question> Questions(const WebApi &api, const Known &known) {
    const std::string album = "&album=" + api.Encoded(known.album);
    const std::string genre = "&genre=" + api.Encoded(known.genre);
    const std::string common = "&limit=100&keyword=" + api.Encoded(known.common);
    const std::string rare = "&limit=100&keyword=" + api.Encoded(known.rare);
    return {
        {"albums, first 100", "Album.list&limit=100", {"list", "album"}},
        {"albums, page at 5,000", "Album.list&limit=100&offset=5000", {}},
        {"artists, first 100", "Artist.list&limit=100", {"list", "artist"}},
        {"genres", "Genre.list", {"list", "genre"}},
        {"songs by title, first 100",
         "Song.list&limit=100",
         {"find", "(title != '')", "sort", "title", "window", "0:100"}},
        {"songs of an album", "Song.list" + album, {"find", "album", known.album}},
        {"a genre's songs, page at 5,000",
         "Song.list&offset=5000&limit=100" + genre,
         {"find", "genre", known.genre, "window", "5000:5100"}},
        {"search in all, common word",
         "Song.search" + common,
         {"search", "any", known.common, "window", "0:100"}},
        {"search in all, rare word",
         "Song.search" + rare,
         {"search", "any", known.rare, "window", "0:100"}},
        {"search in titles, common word",
         "Song.search&field=title" + common,
         {"search", "title", known.common, "window", "0:100"}},
        {"search for all kinds, common word", "Search.all&limit=5" + common.substr(10), {}},
        {"the top folder, first 100", "Folder.list&limit=100&id=" + known.top, {"lsinfo", ""}},
        {"a folder in it", "Folder.list&id=" + known.folder, {"lsinfo", known.folderName}},
        {"one song", "Song.get&id=" + known.song, {}},
    };
}

void PrintTimes(WebApi &api, const Known &known, Daemon *daemon) {
    std::printf("\n%-32s %8s %8s %8s\n", "milliseconds to the answer", "ours", "daemon", "ratio");
    for (const Question &question : Questions(api, known)) {
        const double ours = Median([&] { api.Ask(question.ours); });
        std::printf("%-32s %8.1f", question.name, ours);
        if (daemon != nullptr && !question.theirs.empty()) {
            const double theirs = Median([&] { daemon->Ask(question.theirs); });
            std::printf(" %8.1f %8.2f", theirs, ours / theirs);
        }
        std::printf("\n");
    }
}

// What phones ask: the first time, and then.
void PrintPhones(WebApi &api, const Known &known, const std::string &key) {
    std::printf("\n%-36s %8s %8s\n", "milliseconds to the answer", "first", "then");
    const std::string tail = "f=json&v=1.16.1&c=bench&apiKey=" + key;
    Json::Value reply;
    std::istringstream(api.AskPath("/rest/getAlbumList2?type=newest&size=1&" + tail)) >> reply;
    const std::string album = reply["subsonic-response"]["albumList2"]["album"][0]["id"].asString();
    const std::pair<const char *, std::string> questions[] = {
        {"getArtists", "getArtists?"},
        {"getAlbumList2, 500 by name", "getAlbumList2?type=alphabeticalByName&size=500&"},
        {"getAlbumList2, 500 newest", "getAlbumList2?type=newest&size=500&"},
        {"getAlbum", "getAlbum?id=" + album + "&"},
        {"search3, common word", "search3?query=" + api.Encoded(known.common) + "&"},
        {"search3, rare word", "search3?query=" + api.Encoded(known.rare) + "&"},
        {"search3, 500 of all at 50,000",
         "search3?query=&songCount=500&songOffset=50000&albumCount=0&artistCount=0&"},
    };
    for (const auto &[name, question] : questions) {
        const Clock::time_point start = Clock::now();
        api.AskPath("/rest/" + question + tail);
        const double first = SecondsSince(start) * 1000;
        std::printf("%-36s %8.1f %8.1f\n", name, first,
                    Median([&] { api.AskPath("/rest/" + question + tail); }));
    }
}

// Covers as the page asks for them, so many at a time.
constexpr int kAtOnce = 6;
constexpr int kCovers = 50;

void PrintCovers(WebApi &api, const std::string &port, const std::string &login) {
    std::vector<std::string> questions;
    const Json::Value data = api.Data("Album.list&limit=" + std::to_string(kCovers));
    for (const Json::Value &album : data["albums"]) {
        questions.push_back("Cover.get&size=192&album=" + api.Encoded(album["name"].asString()) +
                            "&album_artist=" + api.Encoded(album["album_artist"].asString()));
    }
    std::vector<std::string> tags(questions.size());
    const auto round = [&] {
        std::atomic<std::size_t> next = 0;
        std::vector<std::thread> askers;
        const Clock::time_point start = Clock::now();
        for (int i = 0; i < kAtOnce; ++i) {
            askers.emplace_back([&] {
                WebApi own(port, login);
                for (std::size_t at = next++; at < questions.size(); at = next++) {
                    tags[at] = own.Tag(questions[at], tags[at]);
                }
            });
        }
        for (std::thread &asker : askers) {
            asker.join();
        }
        return SecondsSince(start);
    };
    std::printf("\n%-36s %8s\n", "50 covers, six at a time", "seconds");
    std::printf("%-36s %8.2f\n", "copies that are not there", round());
    tags.assign(questions.size(), "");
    std::printf("%-36s %8.2f\n", "copies that are there", round());
    std::printf("%-36s %8.2f\n", "as they were (304)", round());
}

}  // namespace

int main(int argc, char **argv) {
    const std::vector<std::string> words(argv + 1, argv + argc);
    if (words.size() != 3 && words.size() < 7) {
        Die("question-bench needs a port, a login and a key, or also another port and processes");
    }
    WebApi api(words[0], words[1]);
    const Known known = Look(api);
    if (words.size() > 3) {
        WebApi plain(words[3], words[1]);
        PrintCosts(api, plain, known,
                   {std::stoi(words[4]), std::stoi(words[5]), std::stoi(words[6])});
    }
    std::unique_ptr<Daemon> daemon;
    if (words.size() > 7) {
        daemon = std::make_unique<Daemon>(words[7].c_str());
    }
    PrintTimes(api, known, daemon.get());
    PrintPhones(api, known, words[2]);
    PrintCovers(api, words[0], words[1]);
    return 0;
}
