// The database client.
//
// Statements and results are UTF-8 text. A call that fails sets the error state, and
// VARNDBErrorGet tells the server's words.
#pragma once

#include <cstddef>

#include "varn/export.h"

struct DBConnect_tag;                            // a connection
typedef struct VARNDB_RESULT_tag VARNDB_RESULT;  // the rows of a statement, independent of the
                                                 // connection once they are read

extern "C" {

// Connects. `socketDir` is the folder of the server's local socket, an absolute path without
// commas; the client library's variables (PGHOST, PGSERVICE and others) do not change it. With null
// they and the client library's own defaults choose host and port. `password` may be null. Waiting
// for a server ends after 10 seconds unless PGCONNECT_TIMEOUT says otherwise.
// Returns the connection, closed with VARNDBClose; or null, with the reason in
// VARNDBErrorGet(null).
VARN_EXPORT DBConnect_tag *VARNDBConnect(const char *socketDir, const char *user,
                                         const char *password, const char *database);
VARN_EXPORT void VARNDBClose(DBConnect_tag *conn);

// From now on VARNDBClose keeps up to `most` connections open (3 at most). VARNDBConnect hands one
// of them out again when it is still good and the arguments, the effective user and the variables
// are the same. 0 closes them all; so a process begins. For programs: a library leaves the choice
// to its caller. A connection that is lost or in a transaction is closed. One that ran anything but
// queries and changes of rows has its session discarded first, with its settings, temporary tables
// and advisory locks. A forked child neither uses nor ends those of its parent.
VARN_EXPORT void VARNDBKeepConnections(int most);

// From now on the server cancels each statement of a new connection after so many milliseconds, the
// wait for a locked table included. The other settings in PGOPTIONS stay. A server that is silent
// for a quarter longer during a statement has hung: the connection is closed, and the statement
// fails as VARNDB_UNREACHABLE. VARNDBCopyIn waits on. 0 is no bound; so a process begins.
VARN_EXPORT void VARNDBBoundStatements(int milliseconds);

// Runs one statement, or several separated by ";" (the result is then the last one's). Returns the
// number of rows that were read, inserted, changed or deleted (0 for other statements), or -1.
// With `result` not null, *result becomes the result on success, released with VARNDBFreeResult,
// and null on failure.
VARN_EXPORT int VARNDBExecute(DBConnect_tag *conn, const char *sql, VARNDB_RESULT **result);

// Runs a SELECT with " LIMIT limit OFFSET offset" appended. limit 0 means no limit; the offset then
// still counts. Result as VARNDBExecute.
VARN_EXPORT int VARNDBSelectLimit(DBConnect_tag *conn, const char *sql, int limit, int offset,
                                  VARNDB_RESULT **result);

// Sends rows into a table. `statement` is a COPY ... FROM STDIN in text format (escaping:
// backslash, tab and line feed as \\, \t and \n, NULL as \N), `rows` the lines, `size` their bytes.
// Returns the number of rows stored, or -1 with none of them stored.
VARN_EXPORT long long VARNDBCopyIn(DBConnect_tag *conn, const char *statement, const char *rows,
                                   size_t size);

// Number of rows; 0 for null.
VARN_EXPORT int VARNDBNumRows(const VARNDB_RESULT *result);

// Writes the index of the next row, starting with 0, into *row; -1 at the end, 0 otherwise. This
// cursor is the result's own: reading through a media handle (varn/mediaindex.h) does not move it.
VARN_EXPORT int VARNDBFetchRow(VARNDB_RESULT *result, int *row);

// The text of a column by its name, owned by the result. SQL NULL is "". Null when there is no such
// column or row.
VARN_EXPORT const char *VARNDBFetchField(const VARNDB_RESULT *result, int row, const char *column);

// The same by the column's position, counted from 0; null after the last column.
VARN_EXPORT const char *VARNDBFetchFieldAt(const VARNDB_RESULT *result, int row, int column);

VARN_EXPORT void VARNDBFreeResult(VARNDB_RESULT *result);

// The last error text of a connection, or of the last failed VARNDBConnect for null. Never null,
// without a line break at its end; valid until the next call on that connection.
VARN_EXPORT const char *VARNDBErrorGet(const DBConnect_tag *conn);

enum VARNDB_TROUBLE {
    VARNDB_NO_TROUBLE,
    VARNDB_UNREACHABLE,  // no connection could be made, or one was lost
    VARNDB_CANCELLED     // a statement took longer than it may (statement_timeout, lock_timeout)
};

// The last failure of this process that was the server's, and not the statement's. What succeeds or
// fails otherwise afterwards does not change it.
VARN_EXPORT VARNDB_TROUBLE VARNDBTroubleGet(void);

// Forgets it, between two requests of one process.
VARN_EXPORT void VARNDBTroubleClear(void);

// Replaces the placeholders of a template, in order, by the arguments after it:
//   @VARN:VAR    const char*  the text with single quotes doubled; the template brings the quotes
//   @VARN:INT    int          in decimal
//   @VARN:NEVAR  const char*  the text as it is: the caller has made it safe
//   @VARN:LVAR   const char*  as VAR, for a LIKE pattern: a backslash before \ % and _
// "%%" becomes "%", a single "%" stays. Only LVAR touches backslashes: string literals take
// them literally (standard_conforming_strings). `mode` is 1.
// Returns newly allocated text, released with VLIBCStrPut; null when an argument is null, a text is
// not valid UTF-8 (the server would refuse the statement), or memory is short.
// C++ callers use varn::Sql (varn/sql.h), which checks the arguments against the template.
VARN_EXPORT char *VARNDBEscapeStringEX3(int mode, const char *tmpl, ...);

// Doubles single quotes (VARNDBEscapeString) or backslashes (VARNDBEscapeBackslash) of `in`. 2n+1
// bytes always suffice. Returns the length written, or -1 with `out` as "" when it does not fit.
VARN_EXPORT int VARNDBEscapeString(const char *in, char *out, size_t outSize);
VARN_EXPORT int VARNDBEscapeBackslash(const char *in, char *out, size_t outSize);

// Doubles, in place, the backslashes inside the string literals that directly follow LIKE or ILIKE
// in a finished condition, so that they match themselves; all else stays. It is not for patterns
// that @VARN:LVAR made safe already. Plain literals and quoted names are understood; literals with
// escapes (E'...'), dollar quotes and comments are not. `size` is the buffer's size; twice the
// condition's length plus one always suffices.
// 0, or -1 with the condition unchanged (null, a buffer too small, a quote that is not closed).
VARN_EXPORT int EscapeConditionEX(char *condition, size_t size);

}  // extern "C"
