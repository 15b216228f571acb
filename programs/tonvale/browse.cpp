#include "browse.h"

#include <json/json.h>

#include <algorithm>
#include <cstdint>
#include <iostream>
#include <limits>
#include <memory>
#include <optional>

#include "command.h"
#include "database.h"
#include "display.h"
#include "mediaserver/description.h"
#include "mediaserver/download.h"
#include "tonvale/dlna.h"

namespace tonvale_cli {

namespace {

constexpr int kPageSize = 100;
constexpr std::size_t kLongestId = 3000;  // what fits into a request

std::string EscapeXml(std::string_view text) {
    std::string escaped;
    for (const char character : text) {
        switch (character) {
            case '&':
                escaped += "&amp;";
                break;
            case '<':
                escaped += "&lt;";
                break;
            case '>':
                escaped += "&gt;";
                break;
            default:
                escaped += character;
        }
    }
    return escaped;
}

std::string Line(const ItemNode &node, bool isContainer) {
    const std::string title = node.getValueByKey("title");
    std::string line = title.empty() ? "(untitled)" : title;
    if (isContainer) {
        return line + "/";
    }
    for (const auto &[key, before, after] :
         {std::tuple("artist", " - ", ""), std::tuple("duration", " (", ")")}) {
        const std::string value = node.getValueByKey(key);
        line += value.empty() ? "" : before + value + after;
    }
    return line;
}

// What a server may call its values is not ours to choose: the names below win.
Json::Value JsonOf(const ItemNode &node, const char *kind) {
    Json::Value json(Json::objectValue);
    for (std::size_t i = 0; i < node.values.size(); ++i) {
        const auto [key, value] = node.values.at(i);
        json[std::string(key)] = std::string(value);
    }
    json.removeMember("children");
    if (kind != nullptr) {
        json["kind"] = kind;
        json["resources"] = Json::arrayValue;
    }
    if (node.children) {
        for (const auto &resource : node.children->nodes()) {
            json["resources"].append(JsonOf(*resource, nullptr));
        }
    }
    return json;
}

// Objects are printed as they come, so that a server of any size takes the memory of a page.
class Printer {
  public:
    virtual ~Printer() = default;
    virtual void Begin(const BrowseOptions &) {}
    virtual void Object(const ItemNode &node, bool isContainer, int level) = 0;
    // Round the objects that are in the one before them.
    virtual void BeginChildren() {}
    virtual void EndChildren() {}
    virtual void End(int64_t, bool) {}
};

class TreePrinter : public Printer {
  public:
    void Object(const ItemNode &node, bool isContainer, int level) override {
        std::cout << std::string(static_cast<std::size_t>(level) * 2, ' ')
                  << Printable(Line(node, isContainer)) << "  ["
                  << Printable(node.getValueByKey("id")) << "]\n";
    }
    void End(int64_t count, bool isWhole) override {
        if (isWhole) {
            std::cout << count << (count == 1 ? " object\n" : " objects\n");
        }
    }
};

class JsonPrinter : public Printer {
  public:
    JsonPrinter() {
        Json::StreamWriterBuilder builder;
        builder["indentation"] = "";
        builder["emitUTF8"] = true;
        writer_.reset(builder.newStreamWriter());
    }
    void Begin(const BrowseOptions &options) override {
        std::cout << "{\"offset\":" << options.offset << ",\"objects\":[";
    }
    void Object(const ItemNode &node, bool isContainer, int) override {
        Close();
        std::cout << separator_;
        std::ostringstream text;
        writer_->write(JsonOf(node, isContainer ? "container" : "item"), &text);
        std::cout << text.str().substr(0, text.str().size() - 1);
        isOpen_ = true;
        separator_ = ",";
    }
    void BeginChildren() override {
        std::cout << ",\"children\":[";
        isOpen_ = false;
        separator_ = "";
    }
    void EndChildren() override {
        Close();
        std::cout << "]";
        isOpen_ = true;  // the object that the children are in
        separator_ = ",";
    }
    void End(int64_t, bool) override {
        Close();
        std::cout << "]}\n";
    }

  private:
    void Close() {
        std::cout << (isOpen_ ? "}" : "");
        isOpen_ = false;
    }

    std::unique_ptr<Json::StreamWriter> writer_;
    const char *separator_ = "";
    bool isOpen_ = false;  // the last object lacks its brace: children may follow
};

class Browser {
  public:
    Browser(const BrowseOptions &options, Printer &printer)
        : options_(options), printer_(printer) {}

    // The object itself. False, with a message, when the server did not give it.
    bool Metadata() {
        DMAParser page;
        if (!Ask(DMAGENT_BROWSE_METADATA, options_.id, 0, 0, page)) {
            return false;
        }
        Print(page, 0, 1, 1);
        return true;
    }

    // What is in an object, `depth` levels of it. False, with a message, when that is not all.
    bool Children(const std::string &id, int level, int offset, int limit) {
        constexpr int64_t kMost = std::numeric_limits<int>::max();
        const int64_t end = limit > 0 ? std::min(int64_t{offset} + limit, kMost) : kMost;
        std::string previous;
        for (int64_t start = offset; start < end;) {
            DMAParser page;
            const int64_t wanted = std::min<int64_t>(kPageSize, end - start);
            if (!Ask(DMAGENT_BROWSE_CHILDREN, id, static_cast<int>(start), static_cast<int>(wanted),
                     page)) {
                return false;
            }
            const auto got = page.containers.nodes().size() + page.items.nodes().size();
            if (got == 0) {
                break;  // a short page is not the end: servers answer less than they are asked for
            }
            const ItemNode &first =
                *(page.items.nodes().empty() ? page.containers : page.items).nodes().front();
            if (start > offset && first.getValueByKey("id") == previous) {
                Complain("the server answers every page with the same objects");
                return false;
            }
            previous = first.getValueByKey("id");
            if (!Print(page, level, options_.depth, end - start)) {
                return false;
            }
            start += static_cast<int64_t>(got);
        }
        return true;
    }

    int64_t count() const { return count_; }

  private:
    bool Ask(DMAGENT_BROWSETYPE type, const std::string &id, int start, int count,
             DMAParser &page) {
        DMABrowse browse(type, options_.url);
        browse.objectId = EscapeXml(id);
        browse.startingIndex = start;
        browse.requestedCount = count;
        if (browse.objectId.size() > kLongestId) {
            Complain("the server has an id of more than " + std::to_string(kLongestId) + " bytes");
            return false;
        }
        if (const int result = browse.Perform(); result != 0) {
            Complain(options_.url + ": " + mediaserver::TransferProblem(result));
            return false;
        }
        if (browse.response().find("BrowseResponse") == std::string::npos) {
            ComplainOfRefusal(id, browse.response());
            return false;
        }
        if (page.Parse(&browse) != 0) {
            Complain("the server's answer is no well-formed document");
            return false;
        }
        return true;
    }

    void ComplainOfRefusal(const std::string &id, const std::string &answer) const {
        if (const auto fault = mediaserver::ReadFault(answer)) {
            Complain("the server refuses to show the object '" + Printable(id) +
                     "': " + Printable(*fault));
        } else {
            Complain(options_.url + " is no ContentDirectory; 'tonvale mediaserver list' shows " +
                     "the addresses of those that can be browsed");
        }
    }

    // At most `most` objects of a page, containers with what is in them.
    bool Print(const DMAParser &page, int level, int depth, int64_t most) {
        for (const ItemList *list : {&page.containers, &page.items}) {
            const bool isContainer = list == &page.containers;
            for (const auto &node : list->nodes()) {
                if (most-- == 0) {
                    return true;
                }
                printer_.Object(*node, isContainer, level);
                ++count_;
                if (isContainer && level + 1 < depth && !Descend(*node, level + 1)) {
                    return false;
                }
            }
        }
        return true;
    }

    bool Descend(const ItemNode &container, int level) {
        printer_.BeginChildren();
        const bool whole = Children(container.getValueByKey("id"), level, 0, 0);
        printer_.EndChildren();
        return whole;
    }

    const BrowseOptions &options_;
    Printer &printer_;
    int64_t count_ = 0;
};

}  // namespace

int Browse(const BrowseOptions &options) {
    if (!mediaserver::Resolve(options.url, "") || EscapeXml(options.id).size() > kLongestId) {
        Complain("name the server by its address of http:// or https://, as 'tonvale mediaserver " +
                 std::string("list' shows it, and the object by an id of at most ") +
                 std::to_string(kLongestId) + " bytes");
        return kUsage;
    }
    TreePrinter tree;
    JsonPrinter json;
    Printer &printer = options.json ? static_cast<Printer &>(json) : tree;
    Browser browser(options, printer);
    printer.Begin(options);
    const bool whole = options.metadata
                           ? browser.Metadata()
                           : browser.Children(options.id, 0, options.offset, options.limit);
    // What was printed is a document even when something is missing.
    printer.End(browser.count(), whole);
    return whole ? kDone : kFailed;
}

}  // namespace tonvale_cli
