// The frame of every operation of a PinManager.
#pragma once

#include <optional>
#include <string>
#include <utility>

#include "pin/source.h"
#include "support/boundary.h"
#include "support/statement.h"
#include "tonvale/pins.h"

namespace Tonvale::pin {

// Clears the error code, runs `body` and returns its result. When the body throws, the result is
// `failure` and the error code that of the database: the operation could not be carried out.
template <typename Result, typename Body>
Result Operation(PinManager &manager, Result failure, Body &&body,
                 int line = __builtin_LINE()) noexcept {
    manager.SetErrorCode(PIN_ERROR_NONE);
    bool ended = false;
    const Result result = support::Guarded(
        kSource, failure,
        [&] {
            const Result value = std::forward<Body>(body)();
            ended = true;
            return value;
        },
        line);
    if (!ended) {
        manager.SetErrorCode(PIN_ERROR_DATABASE);
    }
    return result;
}

// The rows of a statement over the manager's connection. A failure is logged under `line` and is
// the error of the database.
inline std::optional<varn::Rows> Run(PinManager &manager,
                                     const std::optional<std::string> &statement,
                                     int line = __builtin_LINE()) {
    DBConnect_tag *const conn = manager.Get();
    auto rows = conn != nullptr ? support::Execute(kSource, conn, statement, line) : std::nullopt;
    if (!rows) {
        manager.SetErrorCode(PIN_ERROR_DATABASE);
    }
    return rows;
}

}  // namespace Tonvale::pin
