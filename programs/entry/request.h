// One request: who asks, and for what.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "description.h"
#include "login.h"
#include "parameters.h"
#include "refusal.h"
#include "varn/account.h"
#include "varn/webapi.h"

namespace tonvale_entry {

// A variable of the CGI environment; "" for one that is absent.
std::string Variable(const char *name);

// The longest form, in bytes.
inline constexpr long long kMostBody = 1 << 20;

// How many values a parameter may have, as a rule.
inline constexpr std::size_t kMostValues = 1000;

class Request {
  public:
    // Reads the CGI environment (RFC 3875) and the form on standard input. Throws a Refusal for a
    // method other than GET, HEAD and POST, a body that is no form or too large, and parameters
    // that cannot be read; where repeats are kept, CheckWhole() throws for these.
    static Request Read(Login login, Repeats repeats = Repeats::kRefused);
    void CheckWhole() const;

    // Finds out who asks; until then nobody does. Throws a Refusal (Login::Decide). The second
    // takes what is known already.
    void SignIn();
    void SignIn(const tonvale_service::SignIn &known);

    // The account that logged in, "" when nobody did.
    const VARN::APIRequest &User() const { return user_; }
    bool IsLoggedIn() const { return proof_ != tonvale_service::Proof::kNone; }
    // How the account proved itself, and the id of the session or key.
    tonvale_service::Proof ProvedBy() const { return proof_; }
    int ProofId() const { return proofId_; }
    const Login &From() const { return login_; }
    // Of its entry in the users file (tonvale/settings.h); 0 for somebody who may not use the
    // server.
    unsigned Rights() const;
    // Throws a Refusal unless the account has the right.
    void Require(unsigned right) const;
    // Throws a Refusal for everybody but administrators.
    void RequireAdministrator() const;

    bool IsPost() const { return isPost_; }

    // Adds a field to the header of an answer with data; each begins with a line's end.
    void AddField(const std::string &field) const { fields_ += field; }
    const std::string &Fields() const { return fields_; }

    // True when only the header of the answer is wanted.
    bool WantsHeaderOnly() const { return headerOnly_; }

    // True when a browser sends the request for a page of another site, which can use the login
    // that the browser keeps; and when the browser does not tell for which site.
    bool IsFromElsewhere() const;

    // The parameters below throw a Refusal where a value is not what is asked for.
    std::string Text(const std::string &name, const std::string &otherwise = "") const;
    std::string RequiredText(const std::string &name) const;
    // Empty when it was not given.
    std::optional<std::string> Given(const std::string &name) const;
    // Each value that was given, where repeats are kept.
    std::vector<std::string> All(const std::string &name) const {
        return parameters_.FindAll(name);
    }
    long long Number(const std::string &name, long long otherwise, long long low,
                     long long high) const;
    // The same with the bounds and the default of a description.
    long long Number(const Parameter &wanted) const;
    // At least one value, at most `most`.
    std::vector<std::string> Values(const std::string &name, std::size_t most = kMostValues) const;
    // Any number of values, each of them one of the known names.
    std::vector<std::string> Names(const std::string &name,
                                   const std::vector<std::string> &known) const;
    // The mask of the rights that are named.
    unsigned RightsIn(const std::string &name) const;
    // One of the known names.
    std::string Choice(const std::string &name, const std::vector<std::string> &known,
                       const std::string &otherwise) const;
    std::string Choice(const Parameter &wanted) const;
    // "true", or else "false", also when it was not given.
    bool Flag(const std::string &name) const;

  private:
    Request(Login login, Parameters parameters, const std::string &method)
        : login_(std::move(login)),
          isPost_(method == "POST"),
          headerOnly_(method == "HEAD"),
          parameters_(std::move(parameters)) {}

    Login login_;
    VARN::APIRequest user_{varn::kNoUser, "", ""};
    tonvale_service::Proof proof_ = tonvale_service::Proof::kNone;
    int proofId_ = 0;
    bool isPost_;
    bool headerOnly_;
    Parameters parameters_;
    mutable std::string fields_;
    mutable std::optional<unsigned> rights_;
};

}  // namespace tonvale_entry
