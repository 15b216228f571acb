// What a node of an answer holds, as tests compare it.
#pragma once

#include <map>
#include <string>

#include "tonvale/dlna.h"

namespace tonvale_test {

using Values = std::map<std::string, std::string>;

inline Values ValuesOf(const ItemNode &node) {
    Values values;
    for (std::size_t i = 0; i < node.values.size(); ++i) {
        values.emplace(node.values.at(i));
    }
    return values;
}

}  // namespace tonvale_test
