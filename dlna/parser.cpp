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

// The first value of a key stays.
void Store(ItemNode &node, std::string_view key, const xmlNode *firstChild) {
    const char *text = FirstText(firstChild);
    node.values.try_emplace(std::string(key), text != nullptr ? text : "");
}

void AddItem(ItemList &list, const xmlNode &element) {
    auto node = std::make_unique<ItemNode>();
    for (const xmlAttr *attribute = element.properties; attribute != nullptr;
         attribute = attribute->next) {
        Store(*node, NameOf(*attribute), attribute->children);
    }
    if (NameOf(element) == kResource && element.children != nullptr) {
        Store(*node, kResource, element.children);
    }
    for (const xmlNode *child = element.children; child != nullptr; child = child->next) {
        if (!IsElement(*child)) {
            continue;
        }
        if (NameOf(*child) != kResource) {
            Store(*node, NameOf(*child), child->children);
            continue;
        }
        if (!node->children) {
            node->children = std::make_unique<ItemList>();
        }
        AddItem(*node->children, *child);
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
void Walk(DMAParser &parser, const xmlNode *node) {
    for (; node != nullptr; node = node->next) {
        if (!IsElement(*node)) {
            continue;
        }
        const std::string_view name = NameOf(*node);
        if (name == "container") {
            AddItem(parser.containers, *node);
        } else if (name == "item") {
            AddItem(parser.items, *node);
        } else if (name == "TotalMatches" || name == "NumberReturned") {
            // One field for both.
            if (const char *text = FirstText(node->children)) {
                parser.count = CountOf(text);
            }
        } else {
            Walk(parser, node->children);
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
        Walk(*this, document.root());
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
    Guarded(kSource, false, [&] {
        Walk(*this, node);
        return true;
    });
}

void DMAParser::prcItem(ItemList *list, _xmlNode *node) noexcept {
    if (list == nullptr || node == nullptr || !IsElement(*node)) {
        return;
    }
    Guarded(kSource, false, [&] {
        AddItem(*list, *node);
        return true;
    });
}
