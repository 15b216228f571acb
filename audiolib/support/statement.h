// Statements on a connection, with the log lines that the modules share.
#pragma once

#include <optional>
#include <string>

#include "varn/handles.h"

namespace Tonvale::support {

// Runs a statement and, where `rows` is not null, hands its rows over. False, with a line of the
// module `source`, when it fails or when there is no text (varn::Sql could not build it).
bool Execute(const char *source, DBConnect_tag *conn, const std::optional<std::string> &statement,
             varn::Result *rows = nullptr, int line = __builtin_LINE());

// The same for a statement that writes: the number of rows that it wrote, or nothing.
std::optional<int> Write(const char *source, DBConnect_tag *conn,
                         const std::optional<std::string> &statement, int line = __builtin_LINE());

// The next row of a result; nothing at its end.
std::optional<int> NextRow(const varn::Result &rows);

// A field as text; "" for NULL.
std::string Field(const varn::Result &rows, int row, const char *column);

// A field as a number in base 10; 0 for NULL.
long long NumberField(const varn::Result &rows, int row, const char *column);

}  // namespace Tonvale::support
