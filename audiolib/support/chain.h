// Singly linked lists of plain records, whose links are called `next`.
#pragma once

#include <utility>

namespace Tonvale::support {

template <typename Node>
int ChainLength(const Node *list) noexcept {
    int length = 0;
    for (; list != nullptr; list = list->next) {
        ++length;
    }
    return length;
}

// The list in the opposite order, in place.
template <typename Node>
Node *ReversedChain(Node *list) noexcept {
    Node *reversed = nullptr;
    while (list != nullptr) {
        Node *const rest = std::exchange(list->next, reversed);
        reversed = std::exchange(list, rest);
    }
    return reversed;
}

}  // namespace Tonvale::support
