#include <algorithm>
#include <chrono>
#include <cstdint>
#include <limits>
#include <string_view>

#include "mediaserver/description.h"
#include "mediaserver/download.h"
#include "service/base/failure.h"
#include "service/base/page.h"
#include "service/base/text.h"
#include "service/devices/media_server.h"

namespace tonvale_service {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kPageSize = 100;
constexpr std::size_t kLongestId = 3000;  // what fits into a request
constexpr std::size_t kMostCollected = 100'000;
constexpr std::string_view kNoSuchObject = "701 ";  // the code of UPnP

// An id as it goes into a request.
std::string EscapedId(const std::string &id, Reason reason) {
    std::string escaped = EscapedXml(id);
    if (escaped.size() > kLongestId) {
        throw Failure(reason);
    }
    return escaped;
}

class Browser {
  public:
    Browser(const BrowseQuestion &question, ObjectVisitor &visitor)
        : question_(question),
          visitor_(visitor),
          end_(Clock::now() + std::chrono::seconds(question.seconds)) {}

    // The object itself.
    void Metadata() {
        DMAParser page;
        Ask(DMAGENT_BROWSE_METADATA, question_.id, 0, 0, page);
        Visit(page, 0, 1, 1);
    }

    // What is in an object, and in the containers there.
    void Children(const std::string &id, int level, int offset, int limit) {
        const int64_t end = EndOfPage(offset, limit, std::numeric_limits<int>::max());
        std::string previous;
        for (int64_t start = offset; start < end;) {
            DMAParser page;
            const int64_t wanted = std::min<int64_t>(kPageSize, end - start);
            Ask(DMAGENT_BROWSE_CHILDREN, id, static_cast<int>(start), static_cast<int>(wanted),
                page);
            const auto got = page.containers.nodes().size() + page.items.nodes().size();
            if (got == 0) {
                break;  // a short page is not the end: servers answer less than they are asked for
            }
            const ItemNode &first =
                *(page.items.nodes().empty() ? page.containers : page.items).nodes().front();
            const std::string firstId = first.getValueByKey("id");
            if (start > offset && !firstId.empty() && firstId == previous) {
                throw Failure(Reason::kServerAnswerMalformed);
            }
            previous = firstId;
            Visit(page, level, question_.depth, end - start);
            start += static_cast<int64_t>(got);
        }
    }

  private:
    // The seconds that are left for a page.
    int Patience() const {
        if (question_.seconds == 0) {
            return question_.pageSeconds;
        }
        const auto left = std::chrono::ceil<std::chrono::seconds>(end_ - Clock::now()).count();
        if (left <= 0) {
            throw Failure(Reason::kServerTooSlow);
        }
        return static_cast<int>(std::min<int64_t>(left, question_.pageSeconds));
    }

    void Ask(DMAGENT_BROWSETYPE type, const std::string &id, int start, int count,
             DMAParser &page) {
        DMABrowse browse(type, question_.url);
        browse.objectId = EscapedId(id, Reason::kServerAnswerMalformed);
        browse.startingIndex = start;
        browse.requestedCount = count;
        browse.setBounds(Patience(), question_.pageBytes);
        if (const int result = browse.Perform(); result != 0) {
            throw Failure(Reason::kServerNotAsked, mediaserver::TransferProblem(result));
        }
        received_ += browse.response().size();
        if (question_.bytes != 0 && received_ > question_.bytes) {
            throw Failure(Reason::kServerSendsTooMuch);
        }
        if (browse.response().find("BrowseResponse") == std::string::npos) {
            ThrowRefusal(browse.response());
        }
        if (page.Parse(&browse) != 0) {
            throw Failure(Reason::kServerAnswerMalformed);
        }
    }

    [[noreturn]] void ThrowRefusal(const std::string &answer) const {
        if (const auto fault = mediaserver::ReadFault(answer)) {
            throw Failure(fault->starts_with(kNoSuchObject) ? Reason::kNoSuchServerObject
                                                            : Reason::kServerRefuses,
                          *fault);
        }
        throw Failure(Reason::kNotAServer, question_.url);
    }

    // At most `most` objects of a page, containers with what is in them.
    void Visit(const DMAParser &page, int level, int depth, int64_t most) {
        for (const ItemList *list : {&page.containers, &page.items}) {
            const bool isContainer = list == &page.containers;
            for (const auto &node : list->nodes()) {
                if (most-- == 0) {
                    return;
                }
                visitor_.Object(*node, isContainer, level);
                if (isContainer && level + 1 < depth) {
                    Descend(*node, level + 1);
                }
            }
        }
    }

    void Descend(const ItemNode &container, int level) {
        struct Inside {
            ObjectVisitor &visitor;
            explicit Inside(ObjectVisitor &visited) : visitor(visited) { visitor.BeginChildren(); }
            ~Inside() { visitor.EndChildren(); }
        };
        const Inside inside(visitor_);
        Children(container.getValueByKey("id"), level, 0, 0);
    }

    const BrowseQuestion &question_;
    ObjectVisitor &visitor_;
    Clock::time_point end_;
    std::size_t received_ = 0;
};

// Servers choose the names of their values: ours below win.
Json::Value DataOf(const ItemNode &node, const char *kind) {
    Json::Value data(Json::objectValue);
    for (std::size_t i = 0; i < node.values.size(); ++i) {
        const auto [key, value] = node.values.at(i);
        data[std::string(key)] = std::string(value);
    }
    data.removeMember("children");
    data.removeMember("resources");
    if (kind != nullptr) {
        data["kind"] = kind;
        data["resources"] = Json::Value(Json::arrayValue);
    }
    if (node.children) {
        Json::Value resources(Json::arrayValue);
        for (const auto &resource : node.children->nodes()) {
            resources.append(DataOf(*resource, nullptr));
        }
        data["resources"] = std::move(resources);
    }
    return data;
}

Json::Value EmptyLevel() {
    Json::Value level(Json::objectValue);
    level["containers"] = Json::Value(Json::arrayValue);
    level["items"] = Json::Value(Json::arrayValue);
    level["number_returned"] = 0;
    return level;
}

}  // namespace

void BrowseServer(const BrowseQuestion &question, ObjectVisitor &visitor) {
    if (!mediaserver::Resolve(question.url, "")) {
        throw Failure(Reason::kNotAnHttpAddress, question.url);
    }
    EscapedId(question.id, Reason::kObjectIdTooLong);
    Browser browser(question, visitor);
    question.metadata ? browser.Metadata()
                      : browser.Children(question.id, 0, question.offset, question.limit);
}

ObjectCollector::ObjectCollector(int offset) : levels_{EmptyLevel()} {
    levels_.front()["offset"] = offset;
}

void ObjectCollector::Object(const ItemNode &node, bool isContainer, int) {
    if (++count_ > kMostCollected) {
        throw Failure(Reason::kTooManyServerObjects);
    }
    Json::Value &level = levels_.back();
    level[isContainer ? "containers" : "items"].append(
        DataOf(node, isContainer ? "container" : "item"));
    level["number_returned"] = level["number_returned"].asInt() + 1;
}

void ObjectCollector::BeginChildren() {
    levels_.push_back(EmptyLevel());
}

void ObjectCollector::EndChildren() {
    Json::Value children = std::move(levels_.back());
    levels_.pop_back();
    Json::Value &containers = levels_.back()["containers"];
    containers[containers.size() - 1]["children"] = std::move(children);
}

}  // namespace tonvale_service
