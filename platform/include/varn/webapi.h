// The web API: requests, answers, and calls of other services' APIs.
#pragma once

#include <json/forwards.h>

#include <cstdint>
#include <string>
#include <utility>

#include "varn/export.h"

namespace VARN {

// Who asks. A plain value, made by the program that checked the login.
class APIRequest {
  public:
    APIRequest(unsigned uid, std::string userName, std::string preferenceDir)
        : uid_(uid), userName_(std::move(userName)), preferenceDir_(std::move(preferenceDir)) {}

    unsigned GetLoginUID() const { return uid_; }
    std::string GetLoginUserName() const { return userName_; }
    // The user's preference folder (VARNUserPreferenceDirGet, varn/account.h).
    std::string GetPreferenceDir() const { return preferenceDir_; }

  private:
    unsigned uid_;
    std::string userName_;
    std::string preferenceDir_;
};

// Calls of the web API from inside.
class APIRunner {
  public:
    // Runs a method of another service's API in the name of the account `asUser`. The answer is an
    // object: {"success": true, "data": ...}, or {"success": false, "error": {"code": n}} with 102
    // for an API that this system does not have, 405 for a method that the API does not have, and
    // 500 for one that failed. An answer that is not of this form becomes 500.
    //
    // Plain Linux has no such services. What one of them would answer can be configured in the file
    // API.json of the folder "/usr/varn/etc/webapi", an object with the answer of each method:
    // {"get": {"success": true, "data": {}}}. Version, parameters and account are not looked at.
    VARN_EXPORT static void Exec(Json::Value &answer, const char *api, int version,
                                 const char *method, const Json::Value &params, const char *asUser);
};

}  // namespace VARN

class WebUtils {
  public:
    // Splits a URL (RFC 3986) with a scheme and a host into the scheme in lower case, the host with
    // ":port" where there is one, and the rest from the first "/", "?" or "#" on ("" when there is
    // none). Names and passwords before the host are left out. True, or false with the outputs
    // unchanged (no scheme, no host, a control character or a blank in it).
    VARN_EXPORT static bool ParseURL(const std::string &url, std::string &scheme, std::string &host,
                                     std::string &path);
};

// The answer of a request, on standard output.
class VARN_EXPORT WebMan {
  public:
    // `readable` sets JSON in lines and indents it, for people; otherwise it is one line.
    explicit WebMan(bool readable);

    // Writes header lines (RFC 3875, 6.2), separated by line feeds with or without a carriage
    // return, each ended by CR LF, and the empty line after them. Null or "" stands for a JSON
    // answer in UTF-8. Called once, before the body.
    void WriteHeader(const char *header);

    // Writes a JSON text (RFC 8259) in ASCII, a line feed at its end, and hands it on. What is not
    // UTF-8 becomes U+FFFD. False when standard output did not take everything.
    bool WriteBody(const Json::Value &body);

  private:
    bool readable_;
};

// A range of the bytes of an answer, both ends included. Released with free(3).
struct _tag_HTTP_RANGE_SEGMENT {
    int64_t first;
    int64_t last;
};

class HTTPFileOutputer {
  public:
    // The range that the request asks for (RFC 9110, 14.2: HTTP_RANGE in the CGI environment) of an
    // answer of `total` bytes. 1 with *segment newly allocated, 0 <= first <= last < total; or 0
    // with *segment null, which means the whole answer: no range, one that is not understood or not
    // satisfiable, several, a length that is not known (total 0 or below), a method other than GET,
    // or a range under a condition (If-Range), because these answers have no validators.
    VARN_EXPORT static int SeekHttpRange(_tag_HTTP_RANGE_SEGMENT **segment, long long total);
};
