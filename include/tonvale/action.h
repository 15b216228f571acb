// Actions of the web API: what a request runs, and the forms of its JSON reply.
#pragma once

#include <json/value.h>

#include "tonvale/export.h"
#include "varn/webapi.h"

// The base of every action. A concrete one reads its request, does its work in Process and writes
// one reply. Replies are objects of the caller; members that a call does not name stay as they are.
// A reply, "error" or "errno" that is no object gives way to one.
class TONVALE_EXPORT ActionHandler {
  public:
    ActionHandler();
    virtual ~ActionHandler();
    ActionHandler(const ActionHandler &) = delete;
    ActionHandler &operator=(const ActionHandler &) = delete;

    // Runs the action. What the result means is the action's to say.
    virtual bool Process() = 0;

    // Writes the header lines (WebMan::WriteHeader), then the reply. False when it could not be
    // written.
    bool PrintResponse(Json::Value reply, const char *header) noexcept;

    // Sets "success".
    void SetSuccess(Json::Value &reply, bool ok) noexcept;

    // Sets "error"."code", and "success" to false.
    void SetWebapiFormatError(Json::Value &reply, int code) noexcept;

    // Sets "errno"."section", "key" and "line": where a failure arose. "success" and "error" stay.
    void SetError(Json::Value &reply, const char *section, const char *key, int line) noexcept;

  private:
    WebMan web_;
};
