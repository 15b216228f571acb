#include <cstdio>
#include <cstring>

#include "support/boundary.h"
#include "tonvale/dlna.h"

namespace {

constexpr char kSource[] = "dlna/item";

// "" when neither the node nor one below it has a value.
std::string_view Find(const ItemNode &node, std::string_view key) {
    const std::string_view own = node.values.find(key);
    if (!own.empty() || !node.children) {
        return own;
    }
    for (const auto &child : node.children->nodes()) {
        const std::string_view value = Find(*child, key);
        if (!value.empty()) {
            return value;
        }
    }
    return {};
}

}  // namespace

using Tonvale::support::Guarded;

ItemValues::ItemValues(const std::vector<Entry> &entries) : size_(entries.size()) {
    std::size_t bytes = 0;
    for (const auto &[key, value] : entries) {
        bytes += key.size() + value.size();
    }
    ends_ = std::make_unique_for_overwrite<uint32_t[]>(2 * size_ + (bytes + sizeof(uint32_t) - 1) /
                                                                       sizeof(uint32_t));
    uint32_t *ends = ends_.get();
    char *text = reinterpret_cast<char *>(ends + 2 * size_);
    uint32_t end = 0;
    for (const auto &[key, value] : entries) {
        for (const std::string_view part : {key, value}) {
            std::memcpy(text + end, part.data(), part.size());
            end += static_cast<uint32_t>(part.size());
            *ends++ = end;
        }
    }
}

std::string_view ItemValues::Part(std::size_t part) const noexcept {
    const char *text = reinterpret_cast<const char *>(&ends_[2 * size_]);
    const uint32_t begin = part > 0 ? ends_[part - 1] : 0;
    return {text + begin, ends_[part] - begin};
}

ItemValues::Entry ItemValues::at(std::size_t index) const noexcept {
    return {Part(2 * index), Part(2 * index + 1)};
}

std::string_view ItemValues::find(std::string_view key) const noexcept {
    std::size_t first = 0;
    std::size_t last = size();
    while (first < last) {
        const std::size_t middle = first + (last - first) / 2;
        const int order = Part(2 * middle).compare(key);
        if (order == 0) {
            return Part(2 * middle + 1);
        }
        (order < 0 ? first : last) = order < 0 ? middle + 1 : middle;
    }
    return {};
}

ItemNode::ItemNode() noexcept = default;

ItemNode::~ItemNode() = default;

std::string ItemNode::getValueByKey(std::string key) const noexcept {
    return Guarded(kSource, std::string(), [&] { return std::string(Find(*this, key)); });
}

void ItemNode::iniChildList() noexcept {
    Guarded(kSource, [&] {
        if (!children) {
            children = std::make_unique<ItemList>();
        }
    });
}

void ItemNode::PrintContent() const noexcept {
    for (std::size_t i = 0; i < values.size(); ++i) {
        const auto [key, value] = values.at(i);
        std::printf("[%.*s]:%.*s\n", static_cast<int>(key.size()), key.data(),
                    static_cast<int>(value.size()), value.data());
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
