#include "service/live/indexing.h"

#include <cerrno>

#include "service/base/failure.h"
#include "varn/notify.h"
#include "varn/run_as.h"
#include "varn/systempath.h"

namespace tonvale_service {

Indexing IndexingState() {
    return {varn::scan::ReadState(), varn::notify::IsListenedTo()};
}

Json::Value IndexingInfo(const Indexing &state, bool withDetails) {
    Json::Value info(Json::objectValue);
    info["is_running"] = state.isRunning;
    if (!withDetails) {
        return info;
    }
    info["is_watched"] = state.isWatched;
    info["is_whole"] = state.isWhole;
    info["phase"] = state.phase;
    info["done"] = Json::Int64{state.done};
    info["total"] = Json::Int64{state.total};
    info["started"] = Json::Int64{state.started};
    info["ended"] = Json::Int64{state.ended};
    info["problem"] = state.problem;
    Json::Value &changes = info["changes"];
    changes["added"] = Json::Int64{state.changes.added};
    changes["changed"] = Json::Int64{state.changes.changed};
    changes["moved"] = Json::Int64{state.changes.moved};
    changes["removed"] = Json::Int64{state.changes.removed};
    changes["failed"] = Json::Int64{state.changes.failed};
    return info;
}

void StartIndexing() {
    const varn::RunAs package(varn::Who::kPackage);
    const Indexing state = IndexingState();
    if (state.isRunning && state.isWhole) {
        throw Failure(Reason::kScanRuns);
    }
    if (!state.isWatched || !varn::notify::AskForEverything()) {
        throw Failure(Reason::kIndexerAway);
    }
}

void StopIndexing() {
    const varn::RunAs package(varn::Who::kPackage);
    if (!varn::scan::ReadState().isRunning) {
        throw Failure(Reason::kNoScanRuns);
    }
    if (!varn::scan::AskToStop()) {
        throw Failure(Reason::kFileNotWritten, SystemPath(varn::path::kScanState), errno);
    }
}

}  // namespace tonvale_service
