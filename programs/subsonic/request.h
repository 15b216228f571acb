// A request of this API: who asks, and for what.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

#include "entry/request.h"
#include "fault.h"

namespace tonvale_subsonic {

class Request {
  public:
    explicit Request(const tonvale_entry::Request &entry) : entry_(entry) {}

    // What the plumbing of the web API takes: turns, files, pictures, sound.
    const tonvale_entry::Request &Entry() const { return entry_; }

    uid_t Uid() const { return entry_.User().GetLoginUID(); }
    std::string User() const { return entry_.User().GetLoginUserName(); }
    // Throws a Refusal unless the user has the right (tonvale/settings.h).
    void Require(unsigned right) const { entry_.Require(right); }
    // Throws a Fault for a HEAD, before something is changed.
    void RefuseHead() const;
    // The 8 of the version 1.8.0 that the client speaks. Throws a Fault for one that is not served.
    long long MinorVersion() const;

    // The parameters. Those that take one value throw a Fault for more. A number or a choice that
    // is given as "" is not given.
    std::optional<std::string> Given(const std::string &name) const;
    std::string Text(const std::string &name, const std::string &otherwise = "") const;
    // Neither missing nor "".
    std::string Required(const std::string &name) const;
    // Any number of values, in their order; for the second at least one, and none of them "".
    std::vector<std::string> All(const std::string &name) const { return entry_.All(name); }
    std::vector<std::string> RequiredAll(const std::string &name) const;
    // Throw a Refusal for anything but a whole number within the bounds, or a known name.
    std::optional<long long> GivenNumber(const std::string &name, long long low,
                                         long long high) const;
    long long Number(const std::string &name, long long otherwise, long long low,
                     long long high) const {
        return GivenNumber(name, low, high).value_or(otherwise);
    }
    long long RequiredNumber(const std::string &name, long long low, long long high) const;
    // How many are wanted: a larger number means `most`.
    int Count(const std::string &name, int otherwise, int most) const;
    int Offset(const std::string &name) const;
    // "true" or "false" in any case, or 1 or 0.
    bool Flag(const std::string &name, bool otherwise) const;
    std::string Choice(const std::string &name, const std::vector<std::string> &known,
                       const std::string &otherwise) const;

  private:
    const tonvale_entry::Request &entry_;
};

}  // namespace tonvale_subsonic
