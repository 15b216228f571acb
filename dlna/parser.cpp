#include <algorithm>
#include <cstdlib>
#include <limits>
#include <utility>

#include "dlna/xml.h"
#include "support/boundary.h"
#include "tonvale/dlna.h"

namespace {

constexpr char kSource[] = "dlna/parser";
constexpr char kResource[] = "res";

using Tonvale::dlna::FirstText;
using Tonvale::dlna::IsElement;
using Tonvale::dlna::NameOf;
using Tonvale::support::Guarded;

// The values of one element, before they are put in order. Used again and again.
using Entries = std::vector<ItemValues::Entry>;

void Add(Entries &entries, std::string_view key, const xmlNode *firstChild) {
    const char *text = FirstText(firstChild);
    entries.emplace_back(key, text != nullptr ? text : "");
}

// Orders by key; of several values of one key the first stays.
void Settle(Entries &entries) {
    std::stable_sort(entries.begin(), entries.end(),
                     [](const auto &a, const auto &b) { return a.first < b.first; });
    const auto end = std::unique(entries.begin(), entries.end(),
                                 [](const auto &a, const auto &b) { return a.first == b.first; });
    entries.erase(end, entries.end());
}

ItemValues ValuesOf(const xmlNode &element, Entries &entries) {
    entries.clear();
    for (const xmlAttr *attribute = element.properties; attribute != nullptr;
         attribute = attribute->next) {
        Add(entries, NameOf(*attribute), attribute->children);
    }
    if (NameOf(element) == kResource && element.children != nullptr) {
        Add(entries, kResource, element.children);
    }
    for (const xmlNode *child = element.children; child != nullptr; child = child->next) {
        if (IsElement(*child) && NameOf(*child) != kResource) {
            Add(entries, NameOf(*child), child->children);
        }
    }
    Settle(entries);
    return ItemValues(entries);
}

void AddItem(ItemList &list, const xmlNode &element, Entries &entries) {
    auto node = std::make_unique<ItemNode>();
    node->values = ValuesOf(element, entries);
    for (const xmlNode *child = element.children; child != nullptr; child = child->next) {
        if (IsElement(*child) && NameOf(*child) == kResource) {
            if (!node->children) {
                node->children = std::make_unique<ItemList>();
            }
            AddItem(*node->children, *child, entries);
        }
    }
    list.nodes().push_back(std::move(node));
}

// Leading digits, as many as the count holds.
int CountOf(const char *text) {
    return static_cast<int>(std::clamp<long>(std::strtol(text, nullptr, 10),
                                             std::numeric_limits<int>::min(),
                                             std::numeric_limits<int>::max()));
}

// libxml2 nests documents 256 deep at most, and so do the calls here.
void Walk(DMAParser &parser, const xmlNode *node, Entries &entries) {
    for (; node != nullptr; node = node->next) {
        if (!IsElement(*node)) {
            continue;
        }
        const std::string_view name = NameOf(*node);
        if (name == "container") {
            AddItem(parser.containers, *node, entries);
        } else if (name == "item") {
            AddItem(parser.items, *node, entries);
        } else if (name == "TotalMatches" || name == "NumberReturned") {
            // One field for both.
            if (node->children != nullptr) {
                const char *text = FirstText(node->children);
                parser.count = CountOf(text != nullptr ? text : "");
            }
        } else {
            Walk(parser, node->children, entries);
        }
    }
}

}  // namespace

DMAParser::DMAParser() noexcept = default;

DMAParser::~DMAParser() = default;

int DMAParser::Parse(const char *buffer, int size) noexcept {
    return Guarded(kSource, -1, [&] {
        const Tonvale::dlna::XmlDocument document(buffer, size);
        if (document.root() == nullptr) {
            return -1;
        }
        count = 0;
        reserved = 0;
        Entries entries;
        Walk(*this, document.root(), entries);
        return 0;
    });
}

int DMAParser::Parse(DMABrowse *browse) noexcept {
    if (browse == nullptr || !std::in_range<int>(browse->response().size())) {
        return -1;
    }
    return Parse(browse->response().data(), static_cast<int>(browse->response().size()));
}

void DMAParser::prcXMLNode(_xmlNode *node) noexcept {
    Guarded(kSource, [&] {
        Entries entries;
        Walk(*this, node, entries);
    });
}

void DMAParser::prcItem(ItemList *list, _xmlNode *node) noexcept {
    if (list == nullptr || node == nullptr || !IsElement(*node)) {
        return;
    }
    Guarded(kSource, [&] {
        Entries entries;
        AddItem(*list, *node, entries);
    });
}
