// Who a request is from. Everything that decides it stands here and in service/people/sign_in.h.
//
// In a worker, and in a process that one has started (variable SCGI), a session's cookie, Basic or
// a key (Bearer) tells. Elsewhere the web server asks for logins: REMOTE_USER tells, and without it
// a cookie or a key.
#pragma once

#include <string>

#include "service/people/sign_in.h"

namespace tonvale_entry {

// What a client signs in with. It is taken out of the environment: programs that this one starts,
// and a decoder that a damaged song has taken over, could read it there.
class Login {
  public:
    static Login Take();

    // Who the client is: `who` where the standing is kKnown, and nobody otherwise. Throws a Refusal
    // when that cannot be told, and after too many wrong passwords. A worker leaves a password's
    // hash to a handler (LeaveWorker).
    tonvale_service::SignIn Decide() const;

    // The same for a name and its password. It may take some seconds, without a turn
    // (GiveTurnBack).
    tonvale_service::SignIn ByPassword(const std::string &name, const std::string &password) const;

    // The same for a key, that of a user or, with the name "", of anybody.
    tonvale_service::SignIn ByKey(const std::string &name,
                                  const tonvale_service::FindHolder &find) const;

    // True for a client that sends a header field to prove itself.
    bool HasField() const { return !credentials_.authorization.empty(); }

    const std::string &Address() const { return credentials_.address; }
    const std::string &Agent() const { return agent_; }

  private:
    tonvale_service::Credentials credentials_;
    std::string agent_;
};

// Takes the query out of the environment, where it holds a key.
void ForgetQuery();

// The field of an answer with the status 401 that asks for a login, with its end. "" for a browser,
// which would bring up a dialog of its own in place of the page's: User-Agent is Mozilla/..., or
// there is Sec-Fetch-Mode or X-Requested-With.
const char *LoginChallenge();

// The fields that give a client its session, and that take it back.
std::string SessionField(const std::string &token);
std::string NoSessionField();

}  // namespace tonvale_entry
