// Why something that was asked for cannot be answered or done.
#pragma once

#include <stdexcept>
#include <string>

namespace tonvale_answers {

enum class Reason {
    kBad,           // no such choice, or a value that nothing can be done with
    kNotPermitted,  // the user may not
    kNotFound,      // there is no such item, or none that the user may see
    kExists,        // the name is taken
    kFailed         // it could not be done; the log has more
};

// Thrown where both the command line and the web API are answered. The message is for the command
// line: a sentence without a capital and a full stop, with what to do next where that is known. The
// web API tells its clients the reason only.
class Failure : public std::runtime_error {
  public:
    Failure(Reason reason, const std::string &message)
        : std::runtime_error(message), reason_(reason) {}
    Reason Why() const { return reason_; }

  private:
    Reason reason_;
};

}  // namespace tonvale_answers
