// Why a request gets no data.
#pragma once

#include <string>

#include "service/base/failure.h"

namespace tonvale_entry {

// The codes of docs/webapi.md.
enum class Code : int {
    kNoSuchApi = 102,
    kBadParameter = 400,
    kNotLoggedIn = 401,
    kNotPermitted = 403,
    kNoSuchItem = 404,
    kNoSuchMethod = 405,
    kExistsAlready = 409,
    kTooMany = 429,  // wrong passwords
    kFailed = 500,
    kBusy = 503,
    kTookTooLong = 504,
};

// Thrown by an action before it has written anything; caught where it was started.
struct Refusal {
    Code code;
    std::string parameter = {};  // the one that is missing or bad, where that is known
    std::string message = {};    // a sentence; "" for that of the code
};

// Sentences for what several methods refuse.
inline constexpr char kNotByKey[] = "a key may not do that; log in with the password";
inline constexpr char kOwnPagesAlone[] = "that has to come from a page of this server";

// What a failure of the service layer is to a client.
Refusal RefusalOf(const tonvale_service::Failure &failure);

// Throws a refusal where the database kept something back: then an answer is not whole.
void CheckDatabase();

// The code that the client gets for a refusal: trouble of the database takes precedence.
Code CodeForClient(Code code);

// What a client is told of a refusal that it gets this code for.
std::string SentenceOf(const Refusal &refusal, Code code);

}  // namespace tonvale_entry
