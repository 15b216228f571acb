// The pins of one user.
#pragma once

#include <json/value.h>
#include <sys/types.h>

#include <string>
#include <vector>

#include "service/base/failure.h"
#include "tonvale/pins.h"

namespace tonvale_service {

// A failure with the library's own code (PIN_ERROR), which clients of the web API get.
class PinFailure : public Failure {
  public:
    explicit PinFailure(int code);
    int ErrorCode() const { return code_; }

  private:
    int code_;
};

// A pin is an object with "id", "type", "name" and "criteria". Each call throws a PinFailure; one
// user's pins are not there for another. Calls may leave the process as the package's account.
class Pins {
  public:
    Pins(uid_t uid, const std::string &user) : manager_(uid, user) {}

    // "offset", "total" and a page of "pins", in the user's order.
    Json::Value Page(int offset, int limit);
    Json::Value Add(const std::string &type, const Json::Value &criteria, const std::string &name);
    void Remove(const std::string &id);
    void Rename(const std::string &id, const std::string &name);
    // Puts the pins of a page, which `ids` must be, into that order.
    void Reorder(const std::vector<std::string> &ids, int offset, int limit);

  private:
    void Check(bool done) const;

    Tonvale::PinManager manager_;
};

}  // namespace tonvale_service
