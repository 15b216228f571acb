#include "news.h"

#include <json/writer.h>

#include <utility>

#include "service/base/failure.h"
#include "service/live/indexing.h"
#include "varn/database.h"

namespace tonvale_events {

namespace {

using namespace std::chrono_literals;

constexpr char kNumbers[] =
    "SELECT change_number('song', 0) AS songs, change_number('list', 0) AS lists";

// While a scan runs, the library changes every moment, and each event makes all pages ask anew.
constexpr auto kBetweenChanges = 5s;
constexpr auto kWithoutDatabase = 10s;
constexpr auto kCheckEvery = 3s;

std::string Line(const Json::Value &value) {
    Json::StreamWriterBuilder writer;
    writer["indentation"] = "";
    return Json::writeString(writer, value);
}

// Numbers of 64 bits are texts: a browser's have 53.
std::string LibraryEvent() {
    varn::Database database(varn::ConnectLibrary());
    const varn::Rows rows = database.Query(kNumbers);
    Json::Value numbers(Json::objectValue);
    numbers["songs"] = rows[0].Text("songs");
    numbers["playlists"] = rows[0].Text("lists");
    return EventText("library", Line(numbers));
}

std::string ScanEvent(const tonvale_service::Indexing &state, bool withDetails) {
    return EventText("scan", Line(tonvale_service::IndexingInfo(state, withDetails)));
}

}  // namespace

void News::Greet(Listener &listener) {
    if (nextCheck_ == Clock::time_point{}) {
        nextCheck_ = Clock::now() + kCheckEvery;  // the login was looked at a moment ago
    }
    listener.Send(library_);
    listener.Send(listener.Gets(For::kAdministrators) ? scan_ : scanInShort_);
    if (listener.Gets(For::kPlayers)) {
        listener.Send(playerState_);
    }
}

void News::Look() {
    const auto now = Clock::now();
    if (now >= nextCheck_) {
        nextCheck_ = now + kCheckEvery;
        try {
            listeners_.EndOver();
        } catch (const tonvale_service::Failure &) {
            // Without the database there is nothing to tell.
        }
    }
    if (now >= nextLibrary_) {
        LookAtLibrary();
    }
    LookAtScan();
    player_.Run(listeners_.IsAny(For::kPlayers));
    if (player_.Pipe() < 0) {
        playerState_.clear();
    }
    listeners_.KeepAlive();
}

void News::LookAtLibrary() {
    try {
        std::string event = LibraryEvent();
        if (event != library_) {
            library_ = std::move(event);
            listeners_.Send(For::kAll, library_);
            nextLibrary_ = Clock::now() + kBetweenChanges;
        }
    } catch (const varn::DatabaseError &) {
        nextLibrary_ = Clock::now() + kWithoutDatabase;
    }
}

void News::LookAtScan() {
    const tonvale_service::Indexing state = tonvale_service::IndexingState();
    for (const auto &[whom, last] :
         {std::pair(For::kAdministrators, &scan_), std::pair(For::kOthers, &scanInShort_)}) {
        std::string event = ScanEvent(state, whom == For::kAdministrators);
        if (event != *last) {
            *last = std::move(event);
            listeners_.Send(whom, *last);
        }
    }
}

void News::ReadPlayer() {
    if (const auto state = player_.Read()) {
        playerState_ = EventText("player", *state);
        listeners_.Send(For::kPlayers, playerState_);
    }
}

void News::Forget() {
    player_.Run(false);
    nextCheck_ = {};
    library_.clear();
    scan_.clear();
    scanInShort_.clear();
    playerState_.clear();
}

}  // namespace tonvale_events
