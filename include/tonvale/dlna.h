// Browsing other media servers: a client of the ContentDirectory service (UPnP ContentDirectory:1,
// SOAP 1.1 over HTTP POST) and a parser of its DIDL-Lite answers.
//
//     DMABrowse browse(DMAGENT_BROWSE_CHILDREN, controlUrl);
//     browse.objectId = "0";
//     browse.requestedCount = 100;
//     DMAParser parser;
//     if (browse.Perform() == 0 && parser.Parse(&browse) == 0) {
//         for (const auto &item : parser.items.nodes()) {
//             std::printf("%s\n", item->getValueByKey("title").c_str());
//         }
//     }
//
// Nothing throws, and nothing is logged of what a server does; only when memory runs out a line
// goes to syslog(3). For use from single-threaded processes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tonvale/export.h"

struct curl_slist;
struct _xmlNode;

// The actions of the service.
enum DMAGENT_ACTION : int {
    DMAGENT_BROWSE = 0,                   // "Browse"
    DMAGENT_GET_SEARCH_CAPABILITIES = 1,  // "GetSearchCapabilities"
    DMAGENT_GET_SORT_CAPABILITIES = 2,    // "GetSortCapabilities"
    DMAGENT_GET_SYSTEM_UPDATE_ID = 3,     // "GetSystemUpdateID"
};

// What of an object is asked for. Any value but 0 stands for its direct children.
enum DMAGENT_BROWSETYPE : int {
    DMAGENT_BROWSE_METADATA = 0,
    DMAGENT_BROWSE_CHILDREN = 1,
};

namespace Tonvale::dlna {

struct HeaderListFree {
    void operator()(curl_slist *list) const noexcept;
};

}  // namespace Tonvale::dlna

// One request to one server: construct, Perform once, read the response. A second request on the
// same agent would carry the Content-Length of the first one too.
class TONVALE_EXPORT DMAgent {
  public:
    // `url` is the server's control URL and goes to libcurl as it is: a caller that got it from
    // elsewhere makes sure that it begins with "http://" or "https://". An action outside the
    // enumeration is sent with an empty name.
    DMAgent(DMAGENT_ACTION action, std::string url) noexcept;
    virtual ~DMAgent();
    DMAgent(const DMAgent &) = delete;
    DMAgent &operator=(const DMAgent &) = delete;

    // Sends the request with the action's arguments; the result is that of Send.
    virtual int Perform() noexcept = 0;

    // Adds the line "name: value" to the request's headers.
    void addHeader(std::string name, std::string value) noexcept;

    // Bounds what a Send may take: seconds for the whole transfer, and bytes of the answer. 0
    // stands for no bound, which both are at first. A transfer that goes beyond fails with
    // CURLE_OPERATION_TIMEDOUT (28) or CURLE_WRITE_ERROR (23), and the response holds what is
    // within.
    void setBounds(int seconds, std::size_t bytes) noexcept;

    // Posts the action with its arguments, a text of XML elements (null: none), and waits for the
    // answer, which replaces the response and has its entities decoded. Without setBounds there is
    // no time-out: a silent server blocks the call for as long as the connection stays open. The
    // body holds 4095 bytes at most; more of it is cut off.
    //
    // 0, a CURLcode when the transfer failed, or -1 when it could not be set up. A status such as
    // 500 is no failure: the response is then the server's SOAP fault. After a failure the
    // response holds what had arrived; a block for which there was no memory is missing.
    int Send(const char *arguments) noexcept;

    // Decodes the response in place, in one pass: &apos; &quot; &nbsp; (as a blank) &lt; &gt; and
    // &amp;. What was escaped twice is escaped once afterwards. Any other "&", of an unknown
    // entity, a numeric reference or one that stands alone, is an ordinary character and is kept.
    void DecodeRDataHTML() noexcept;

    // What the server answered, decoded; it belongs to the agent. Empty before the request.
    const std::string &response() const noexcept { return response_; }

  private:
    DMAGENT_ACTION action_;
    std::string url_;
    std::string response_;
    std::unique_ptr<curl_slist, Tonvale::dlna::HeaderListFree> headers_;
    int mostSeconds_ = 0;
    std::size_t mostBytes_ = 0;
};

// The Browse action. `objectId` goes into the request unchanged: a caller escapes it for XML ("&"
// as "&amp;"). Ids of more than about 3000 bytes do not fit into a request.
class TONVALE_EXPORT DMABrowse : public DMAgent {
  public:
    DMABrowse(DMAGENT_BROWSETYPE type, std::string url) noexcept;
    ~DMABrowse() override;
    int Perform() noexcept override;

    std::string objectId;    // "0" is the root of every server
    int startingIndex = 0;   // how many children to pass over
    int requestedCount = 0;  // how many children to answer at most; 0: all

  private:
    DMAGENT_BROWSETYPE type_;
};

// An action without arguments.
class TONVALE_EXPORT DMAGet : public DMAgent {
  public:
    DMAGet(DMAGENT_ACTION action, std::string url) noexcept;
    ~DMAGet() override;
    int Perform() noexcept override;
};

class ItemList;

// A map from text to text, in the order of its keys (by bytes). An answer holds many small ones, so
// that each is one block of memory.
class TONVALE_EXPORT ItemValues {
  public:
    using Entry = std::pair<std::string_view, std::string_view>;  // key and value

    ItemValues() noexcept = default;
    // Copies the entries. They are in the order of their keys, which all differ, and their texts
    // are shorter than 4 GiB together.
    explicit ItemValues(const std::vector<Entry> &entries);

    std::size_t size() const noexcept { return size_; }
    // The entry of an index below size().
    Entry at(std::size_t index) const noexcept;
    // The value of a key, or "" when there is none.
    std::string_view find(std::string_view key) const noexcept;

  private:
    std::string_view Part(std::size_t part) const noexcept;

    // Where each of key, value, key, value ... ends; their text follows.
    std::unique_ptr<uint32_t[]> ends_;
    std::size_t size_ = 0;
};

// A container, an item or a resource: its attributes and simple child elements by their local names
// ("id", "title", "albumArtURI", "class"), and a child node for each of its "res" elements
// ("protocolInfo", "size", "duration", "bitrate" and so on, and the URL under "res").
class TONVALE_EXPORT ItemNode {
  public:
    ItemNode() noexcept;
    virtual ~ItemNode();
    ItemNode(const ItemNode &) = delete;
    ItemNode &operator=(const ItemNode &) = delete;

    // The node's own value; where that is missing or empty, the first of its child nodes' that is
    // not empty, in their order; else "".
    std::string getValueByKey(std::string key) const noexcept;

    // Makes the list of child nodes when there is none yet. Without memory it stays null.
    void iniChildList() noexcept;

    // Writes every key and value to the standard output, for debugging.
    void PrintContent() const noexcept;

    ItemValues values;                   // the first of several values of one key
    std::unique_ptr<ItemList> children;  // null until there is one
};

// Nodes in the order of the document.
class TONVALE_EXPORT ItemList {
  public:
    ItemList() noexcept;
    virtual ~ItemList();
    ItemList(const ItemList &) = delete;
    ItemList &operator=(const ItemList &) = delete;

    // The nodes, which belong to the list.
    std::vector<std::unique_ptr<ItemNode>> &nodes() noexcept { return nodes_; }
    const std::vector<std::unique_ptr<ItemNode>> &nodes() const noexcept { return nodes_; }

    // ItemNode::PrintContent of every node.
    void PrintContent() const noexcept;

  private:
    std::vector<std::unique_ptr<ItemNode>> nodes_;
};

// Reads one decoded answer of a Browse action. The text of an element or attribute is that of its
// first child node when this is a text, a CDATA section or a comment, else "". Entities that a
// document declares for itself are not expanded.
class TONVALE_EXPORT DMAParser {
  public:
    DMAParser() noexcept;
    virtual ~DMAParser();
    DMAParser(const DMAParser &) = delete;
    DMAParser &operator=(const DMAParser &) = delete;

    // Reads `size` bytes of XML and adds to the lists. 0, or -1 with nothing added when they are no
    // well-formed document; libxml2 then tells on standard error what is wrong. A server that
    // answers with a SOAP fault gives 0 and nothing in the lists.
    //
    // Ends with xmlCleanupParser(): a caller that uses libxml2 itself must not be in the middle of
    // a document.
    int Parse(const char *buffer, int size) noexcept;

    // The same with the response of a request; -1 for null and for more than 2147483647 bytes.
    int Parse(DMABrowse *browse) noexcept;

    // The walk: takes up a node and its following siblings with all that is below them.
    void prcXMLNode(_xmlNode *node) noexcept;
    // Appends one "container", "item" or "res" element to a list.
    void prcItem(ItemList *list, _xmlNode *node) noexcept;

    ItemList containers;
    ItemList items;
    // What the answer's TotalMatches or NumberReturned says, whichever comes last and is not empty:
    // with most servers the number returned, with some the total. Numbers beyond an int are its
    // least and greatest; text that begins with no number, and elements in its place, are 0. 0
    // without either. A Parse that fails leaves it as it was.
    int count = 0;
    // 0 after each Parse that succeeds; nothing else uses it.
    int reserved = 0;
};
