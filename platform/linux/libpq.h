// The database's client library. It comes with some twenty others, for ways to log in that a socket
// of this machine does not use, and is therefore loaded with a process's first connection.
#pragma once

#include <libpq-fe.h>

#include "varn/late_library.h"

namespace varn {

struct Libpq : LateLibrary {
    Libpq() : LateLibrary("libpq.so.5") {}

    decltype(&::PQconnectdbParams) connectdbParams = Find("PQconnectdbParams");
    decltype(&::PQfinish) finish = Find("PQfinish");
    decltype(&::PQstatus) status = Find("PQstatus");
    decltype(&::PQtransactionStatus) transactionStatus = Find("PQtransactionStatus");
    decltype(&::PQsocket) socket = Find("PQsocket");
    decltype(&::PQparameterStatus) parameterStatus = Find("PQparameterStatus");
    decltype(&::PQerrorMessage) errorMessage = Find("PQerrorMessage");
    decltype(&::PQsetNoticeProcessor) setNoticeProcessor = Find("PQsetNoticeProcessor");
    decltype(&::PQexec) exec = Find("PQexec");
    decltype(&::PQsetnonblocking) setNonblocking = Find("PQsetnonblocking");
    decltype(&::PQsendQuery) sendQuery = Find("PQsendQuery");
    decltype(&::PQflush) flush = Find("PQflush");
    decltype(&::PQconsumeInput) consumeInput = Find("PQconsumeInput");
    decltype(&::PQisBusy) isBusy = Find("PQisBusy");
    decltype(&::PQgetResult) getResult = Find("PQgetResult");
    decltype(&::PQclear) clear = Find("PQclear");
    decltype(&::PQresultStatus) resultStatus = Find("PQresultStatus");
    decltype(&::PQresultErrorField) resultErrorField = Find("PQresultErrorField");
    decltype(&::PQresultErrorMessage) resultErrorMessage = Find("PQresultErrorMessage");
    decltype(&::PQntuples) ntuples = Find("PQntuples");
    decltype(&::PQnfields) nfields = Find("PQnfields");
    decltype(&::PQfname) fname = Find("PQfname");
    decltype(&::PQgetvalue) getvalue = Find("PQgetvalue");
    decltype(&::PQcmdTuples) cmdTuples = Find("PQcmdTuples");
    decltype(&::PQputCopyData) putCopyData = Find("PQputCopyData");
    decltype(&::PQputCopyEnd) putCopyEnd = Find("PQputCopyEnd");
};

// Loads the library the first time. Ask whether that worked before a connection is made; with a
// connection or a result there is no need to ask again.
inline const Libpq &Pq() {
    static const Libpq library;
    return library;
}

}  // namespace varn
