#include <array>
#include <cstdio>
#include <iterator>
#include <string_view>
#include <utility>

#include "dlna/entities.h"
#include "dlna/post.h"
#include "support/boundary.h"
#include "tonvale/dlna.h"

namespace {

constexpr char kSource[] = "dlna/agent";

#define SERVICE_TYPE "urn:schemas-upnp-org:service:ContentDirectory:1"

constexpr const char *kActionNames[] = {
    "Browse",
    "GetSearchCapabilities",
    "GetSortCapabilities",
    "GetSystemUpdateID",
};

constexpr char kEnvelope[] =
    "<?xml version=\"1.0\"?>\r\n"
    "<s:Envelope xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\" \r\n"
    "\t\ts:encodingStyle=\"http://schemas.xmlsoap.org/soap/encoding/\">\r\n"
    "\t<s:Body>\r\n"
    "\t\t<u:%s xmlns:u=\"" SERVICE_TYPE
    "\">\r\n"
    "%s"
    "\t\t</u:%s>\r\n"
    "\t</s:Body>\r\n"
    "</s:Envelope>";

constexpr char kBrowseArguments[] =
    "\t\t\t<ObjectID>%s</ObjectID>\r\n"
    "\t\t\t<BrowseFlag>%s</BrowseFlag>\r\n"
    "\t\t\t<Filter>res,res@resolution,res@protocolInfo,res@size,res@duration,res@bitrate,"
    "res@sampleFrequency,res@bitsPerSample,res@nrAudioChannels,dc:creator,dc:date,upnp:genre,"
    "upnp:album,upnp:originalTrackNumber,upnp:channelNr,upnp:scheduledStartTime,"
    "upnp:scheduledEndTime,upnp:icon,upnp:albumArtURI,upnp:artist,upnp:author,upnp:albumArtist,"
    "@childCount</Filter>\r\n"
    "\t\t\t<StartingIndex>%d</StartingIndex>\r\n"
    "\t\t\t<RequestedCount>%d</RequestedCount>\r\n"
    "\t\t\t<SortCriteria></SortCriteria>\r\n";

// A request is put together in buffers of this size and cut off at their end.
using Buffer = std::array<char, 4096>;

const char *NameOf(DMAGENT_ACTION action) {
    const int index = action;
    return index >= 0 && index < static_cast<int>(std::size(kActionNames)) ? kActionNames[index]
                                                                           : "";
}

}  // namespace

using Tonvale::support::Guarded;

DMAgent::DMAgent(DMAGENT_ACTION action, std::string url) noexcept
    : action_(action), url_(std::move(url)) {
    Guarded(kSource, [&] {
        addHeader("Content-Type", "text/xml; charset=\"utf-8\"");
        addHeader("SOAPACTION", std::string("\"" SERVICE_TYPE "#") + NameOf(action) + "\"");
    });
}

DMAgent::~DMAgent() = default;

void DMAgent::addHeader(std::string name, std::string value) noexcept {
    Guarded(kSource, [&] { Tonvale::dlna::AddLine(headers_, name + ": " + value); });
}

void DMAgent::setBounds(int seconds, std::size_t bytes) noexcept {
    mostSeconds_ = seconds;
    mostBytes_ = bytes;
}

int DMAgent::Send(const char *arguments) noexcept {
    return Guarded(kSource, -1, [&] {
        Tonvale::dlna::Post post;
        if (!post) {
            return -1;
        }
        post.SetBounds(mostSeconds_, mostBytes_);
        response_.clear();
        const char *name = NameOf(action_);
        Buffer body;
        std::snprintf(body.data(), body.size(), kEnvelope, name,
                      arguments != nullptr ? arguments : "", name);
        const std::string_view sent = body.data();
        addHeader("Content-Length", std::to_string(sent.size()));
        const int result = post.Send(url_, headers_, sent, response_);
        DecodeRDataHTML();
        return result;
    });
}

void DMAgent::DecodeRDataHTML() noexcept {
    Tonvale::dlna::DecodeEntities(response_);
}

DMABrowse::DMABrowse(DMAGENT_BROWSETYPE type, std::string url) noexcept
    : DMAgent(DMAGENT_BROWSE, std::move(url)), type_(type) {}

DMABrowse::~DMABrowse() = default;

int DMABrowse::Perform() noexcept {
    const char *flag = type_ != DMAGENT_BROWSE_METADATA ? "BrowseDirectChildren" : "BrowseMetadata";
    Buffer arguments;
    std::snprintf(arguments.data(), arguments.size(), kBrowseArguments, objectId.c_str(), flag,
                  startingIndex, requestedCount);
    return Send(arguments.data());
}

DMAGet::DMAGet(DMAGENT_ACTION action, std::string url) noexcept : DMAgent(action, std::move(url)) {}

DMAGet::~DMAGet() = default;

int DMAGet::Perform() noexcept {
    return Send(nullptr);
}
