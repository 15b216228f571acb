#include "mediaserver/description.h"

#include "mediaserver/download.h"
#include "mediaserver/xml.h"

namespace mediaserver {

namespace {

// Any version of the service answers what its first one does.
constexpr std::string_view kService = "urn:schemas-upnp-org:service:ContentDirectory:";

std::optional<Server> ReadDevice(const Element &device, const std::string &base) {
    const std::optional<Element> services = device.Child("serviceList");
    for (auto service = services ? services->FirstChild() : std::nullopt; service;
         service = service->Next()) {
        const std::string reference = service->ChildText("controlURL");
        const std::optional<std::string> url = Resolve(base, reference);
        if (service->ChildText("serviceType").starts_with(kService) && !reference.empty() && url) {
            return Server{device.ChildText("friendlyName"), device.ChildText("modelName"),
                          device.ChildText("UDN"), *url};
        }
    }
    const std::optional<Element> inner = device.Child("deviceList");
    for (auto child = inner ? inner->FirstChild() : std::nullopt; child; child = child->Next()) {
        if (std::optional<Server> server = ReadDevice(*child, base)) {
            return server;
        }
    }
    return std::nullopt;
}

}  // namespace

std::optional<Server> ReadDescription(std::string_view text, const std::string &location) {
    std::optional<Server> server;
    ReadXml(text, [&](const Element &root) {
        const std::string base = root.ChildText("URLBase");
        if (const std::optional<Element> device = root.Child("device")) {
            server = ReadDevice(*device, base.empty() ? location : base);
        }
    });
    return server;
}

std::optional<std::string> ReadFault(std::string_view answer) {
    std::optional<std::string> reason;
    ReadXml(answer, [&](const Element &root) {
        const std::optional<Element> fault = root.Find("Fault");
        if (!fault) {
            return;
        }
        reason = fault->ChildText("faultstring");
        if (const std::optional<Element> error = fault->Find("UPnPError")) {
            reason = error->ChildText("errorCode") + " " + error->ChildText("errorDescription");
        }
    });
    return reason;
}

}  // namespace mediaserver
