#include <cstdio>

#include "support/boundary.h"
#include "tonvale/dlna.h"

namespace {

constexpr char kSource[] = "dlna/item";

// Null when neither the node nor one below it has a value.
const std::string *Find(const ItemNode &node, const std::string &key) {
    const auto own = node.values.find(key);
    if (own != node.values.end() && !own->second.empty()) {
        return &own->second;
    }
    if (node.children) {
        for (const auto &child : node.children->nodes()) {
            if (const std::string *value = Find(*child, key)) {
                return value;
            }
        }
    }
    return nullptr;
}

}  // namespace

using Tonvale::support::Guarded;

ItemNode::ItemNode() noexcept = default;

ItemNode::~ItemNode() = default;

std::string ItemNode::getValueByKey(std::string key) const noexcept {
    return Guarded(kSource, std::string(), [&] {
        const std::string *value = Find(*this, key);
        return value != nullptr ? *value : std::string();
    });
}

void ItemNode::iniChildList() noexcept {
    Guarded(kSource, false, [&] {
        if (!children) {
            children = std::make_unique<ItemList>();
        }
        return true;
    });
}

void ItemNode::PrintContent() const noexcept {
    for (const auto &[key, value] : values) {
        std::printf("[%s]:%s\n", key.c_str(), value.c_str());
    }
    if (children) {
        for (const auto &child : children->nodes()) {
            std::puts("-- child item --");
            child->PrintContent();
        }
    }
}

ItemList::ItemList() noexcept = default;

ItemList::~ItemList() = default;

void ItemList::PrintContent() const noexcept {
    for (const auto &node : nodes_) {
        node->PrintContent();
    }
}
