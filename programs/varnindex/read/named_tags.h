// Tags in formats that TagLib does not read, under the names that it has for those of others.
#pragma once

#include <taglib/tstring.h>
#include <taglib/xiphcomment.h>

namespace varnindex {

// Adds a value under the common name of a key, which is one of Matroska, of QuickTime or that a
// program made up. Values that are empty are left out.
void AddNamed(TagLib::Ogg::XiphComment &tags, const TagLib::String &key,
              const TagLib::String &value);

}  // namespace varnindex
