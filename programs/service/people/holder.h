// The user for whom a session, a key or a password stands.
#pragma once

#include <sys/types.h>

#include <string>

namespace tonvale_service {

struct Holder {
    uid_t uid;
    std::string name;
    int id;                  // of the session or the key; 0 for a password
    std::string stamp = {};  // of a password that was checked here: its LoginStamp
};

}  // namespace tonvale_service
