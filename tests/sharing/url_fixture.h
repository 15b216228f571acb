// Requests, and what the machine says of its outside address.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>

#include "sharing/sharing_fixture.h"

namespace tonvale_test {

// A request's environment and what the machine says of its outside address.
struct Request {
    const char *host = nullptr;
    const char *serverPort = nullptr;
    const char *https = nullptr;
    const char *uri = nullptr;
    const char *info = "";        // /etc/varninfo.conf
    const char *relay = nullptr;  // the relay service's answer
    const char *permission = nullptr;
    const char *ddns = nullptr;  // what the dynamic-DNS tool prints
    const char *daemon = nullptr;
};

class SharingUrl : public SharingTest {
  protected:
    static constexpr char kOn[] =
        R"({"get": {"success": true, "data": {"enabled": true, "domain": "relay.example",)"
        R"( "server_alias": "nas"}}})";
    static constexpr char kPermitted[] =
        R"({"get": {"success": true, "data": {"services": [{"id": "files", "enabled": false},)"
        R"( {"id": "kos_portal", "enabled": true}]}}})";

    void TearDown() override {
        for (const char *name : {"HTTP_HOST", "SERVER_PORT", "HTTPS", "REQUEST_URI"}) {
            unsetenv(name);
        }
        SharingTest::TearDown();
    }

    static void Set(const char *name, const char *value) {
        value != nullptr ? setenv(name, value, 1) : unsetenv(name);
    }
    static void File(std::string_view path, const char *text) {
        std::filesystem::remove(At(path));
        if (text != nullptr) {
            WriteFile(path, text);
        }
    }
    static void Tool(std::string_view path, const char *body) {
        File(path, body != nullptr ? ("#!/bin/sh\n" + std::string(body) + "\n").c_str() : nullptr);
        if (body != nullptr) {
            std::filesystem::permissions(At(path), std::filesystem::perms(0755));
        }
    }

    static std::string Address(const Request &request) {
        Set("HTTP_HOST", request.host);
        Set("SERVER_PORT", request.serverPort);
        Set("HTTPS", request.https);
        Set("REQUEST_URI", request.uri);
        File(varn::path::kVarnInfo, request.info);
        File("/usr/varn/etc/webapi/VARN.Core.Farlink.json", request.relay);
        File("/usr/varn/etc/webapi/VARN.Core.Farlink.Permission.json", request.permission);
        Tool(varn::path::kDynamicDns, request.ddns);
        Tool(varn::path::kRelayDaemon, request.daemon);
        return Tonvale::SharingManager().GetRemoteAddr();
    }
};

}  // namespace tonvale_test
