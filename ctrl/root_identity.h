// Running as root for the length of a scope.
#pragma once

namespace Tonvale::ctrl {

// Switches the effective user of the process to "root", and to "Tonvale" at the end of the scope,
// whoever it was before: the package's programs run as that account.
class RootIdentity {
  public:
    RootIdentity();
    ~RootIdentity();
    RootIdentity(const RootIdentity &) = delete;
    RootIdentity &operator=(const RootIdentity &) = delete;

    // False when the switch was refused; nothing is switched at the end then.
    explicit operator bool() const { return switched_; }

  private:
    bool switched_;
};

}  // namespace Tonvale::ctrl
