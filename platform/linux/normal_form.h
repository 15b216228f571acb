// Unicode normal forms of names (UAX #15): file systems and programs differ in the one they write.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace varn {

// The spellings under which a file of this UTF-8 name may be stored: the name itself, its composed
// and its decomposed form, each once.
std::vector<std::string> NormalForms(std::string_view name);

}  // namespace varn
