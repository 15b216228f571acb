#include "support/statement.h"
#include "tonvale/library.h"

namespace Tonvale {

namespace {

constexpr char kSource[] = "audiolib/db_library";

}  // namespace

DBConnetWrapper::~DBConnetWrapper() {
    VARNDBClose(conn_);
}

DBConnect_tag *DBConnetWrapper::Get() noexcept {
    if (conn_ == nullptr) {
        conn_ = support::Connect(kSource).release();
    }
    return conn_;
}

DBResultWrapper::~DBResultWrapper() {
    VARNDBFreeResult(result_);
}

VARNDB_RESULT **DBResultWrapper::Receive() noexcept {
    VARNDBFreeResult(result_);
    result_ = nullptr;
    return &result_;
}

}  // namespace Tonvale
