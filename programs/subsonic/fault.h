// Why a request gets nothing, as clients of this API are told.
#pragma once

#include <string>

#include "entry/refusal.h"
#include "service/base/failure.h"

namespace tonvale_subsonic {

// The codes that the protocol has.
inline constexpr int kGeneric = 0;
inline constexpr int kMissing = 10;
inline constexpr int kClientTooOld = 20;
inline constexpr int kServerTooOld = 30;
inline constexpr int kWrongLogin = 40;
inline constexpr int kUnknownLogin = 42;
inline constexpr int kTwoLogins = 43;
inline constexpr int kWrongKey = 44;
inline constexpr int kNotPermitted = 50;
inline constexpr int kNotFound = 70;

// Thrown by an endpoint before it has written anything.
struct Fault {
    int code;
    std::string message;
};

// There is no item of this kind ("song", "album") with the identifier.
Fault NoSuch(const std::string &kind, const std::string &id);

// What a refusal of the web API's plumbing, and a failure of the service layer, is to a client.
Fault FaultOf(const tonvale_entry::Refusal &refusal);
Fault FaultOf(const tonvale_service::Failure &failure);

}  // namespace tonvale_subsonic
