// Other media servers: which there are, and what is in them.
#pragma once

#include <json/json.h>

#include <cstddef>
#include <string>
#include <vector>

#include "mediaserver/search.h"
#include "tonvale/dlna.h"

namespace tonvale_service {

// The machine that "HOST" or "HOST:PORT" names, to be searched alone. Throws a Failure.
sockaddr_in SearchAddress(const std::string &text);

// Searches. Throws a Failure, with the problems as its object, when nothing could be asked.
mediaserver::SearchResult FindServers(const mediaserver::SearchOptions &options);

// "servers": each with "name", "model", "udn" and "url".
Json::Value ServersData(const std::vector<mediaserver::Server> &servers);

// What is asked of a server.
struct BrowseQuestion {
    std::string url = {};   // of its ContentDirectory
    std::string id = "0";   // the object; "0" is the root
    bool metadata = false;  // the object itself, and not what is in it
    int depth = 1;          // how many levels of containers are opened
    int offset = 0,
        limit = 0;         // a part of the objects on the first level; a limit of 0 bounds nothing
    int pageSeconds = 60;  // how long the server may take over one of the pages
    int seconds = 0;       // and over all; 0 for any time
    std::size_t pageBytes = std::size_t{64} << 20;  // and send for it
    std::size_t bytes = 0;                          // and for all pages; 0 for any number
};

// Takes the objects as they come, so that a server of any size takes the memory of a page.
class ObjectVisitor {
  public:
    virtual ~ObjectVisitor() = default;
    virtual void Object(const ItemNode &node, bool isContainer, int level) = 0;
    // Round the objects that are in the one before them.
    virtual void BeginChildren() = 0;
    virtual void EndChildren() = 0;
};

// Asks page by page. Throws a Failure when something is missing: what was visited until then is
// right, and every BeginChildren has had its EndChildren.
void BrowseServer(const BrowseQuestion &question, ObjectVisitor &visitor);

// Keeps the objects: "offset", "containers", "items" and "number_returned", of both together. A
// container that was opened has the same of what is in it as "children". Throws a Failure at more
// than 100,000 objects.
class ObjectCollector : public ObjectVisitor {
  public:
    explicit ObjectCollector(int offset);
    void Object(const ItemNode &node, bool isContainer, int level) override;
    void BeginChildren() override;
    void EndChildren() override;

    const Json::Value &Data() const { return levels_.front(); }

  private:
    std::vector<Json::Value> levels_;
    std::size_t count_ = 0;
};

}  // namespace tonvale_service
