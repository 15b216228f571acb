// Connections and statements, with the log lines that the modules share.
#pragma once

#include <optional>
#include <string>

#include "varn/database.h"

namespace Tonvale::support {

// A new connection to the library database; null, with a line of the module `source`.
varn::Connection Connect(const char *source, int line = __builtin_LINE());

// Runs a statement. Nothing, with a line of the module `source`, when it fails or when there is no
// text (varn::Sql could not build it).
std::optional<varn::Rows> Execute(const char *source, DBConnect_tag *conn,
                                  const std::optional<std::string> &statement,
                                  int line = __builtin_LINE());

// The lines for a text that could not be built, and for a statement that failed.
void LogFailedText(const char *source, int line = __builtin_LINE());
void LogFailedStatement(const char *source, const DBConnect_tag *conn, const char *statement,
                        int line = __builtin_LINE());

}  // namespace Tonvale::support
