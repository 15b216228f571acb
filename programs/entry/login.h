// Who a request is from. Everything that decides it stands here and in service/sign_in.h.
//
// What reaches a worker, and the processes that one starts (variable SCGI), proves who it is by a
// session's cookie, Basic or a key (Bearer). Elsewhere the web server asks for logins: REMOTE_USER is
// who it is, and without that a cookie or a key may tell.
#pragma once

#include <string>

#include "service/sign_in.h"

namespace tonvale_entry {

// Reads what a request proves its client with, and takes it out of the environment: programs that
// this one starts, and a decoder that a damaged song has taken over, could read it there.
class Login {
  public:
    static Login Take();

    // The account: `who` where the standing is kKnown, and nobody otherwise. Throws a Refusal where
    // that cannot be told, or not before wrong passwords are forgotten. A worker leaves a password's
    // hash to a process of its own (LeaveWorker).
    tonvale_service::SignIn Decide() const;

    const std::string &Address() const { return credentials_.address; }
    const std::string &Agent() const { return agent_; }

  private:
    tonvale_service::Credentials credentials_;
    std::string agent_;
};

// The field of an answer with the status 401 that asks for a login, with its end; "" for a browser,
// which would bring up a dialog of its own in place of the page's: it calls itself Mozilla/..., or
// what sends the request says that it is a page (Sec-Fetch-Mode, X-Requested-With).
const char *LoginChallenge();

// The fields that give a client its session, and that take it back.
std::string SessionField(const std::string &token);
std::string NoSessionField();

}  // namespace tonvale_entry
