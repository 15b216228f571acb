// The one place that calls libxml2.
#pragma once

#include <libxml/tree.h>

#include <string_view>

namespace Tonvale::dlna {

// A document that was read, for the length of a scope; libxml2's own state goes with it.
class XmlDocument {
  public:
    XmlDocument(const char *buffer, int size) noexcept;
    ~XmlDocument();
    XmlDocument(const XmlDocument &) = delete;
    XmlDocument &operator=(const XmlDocument &) = delete;

    // Null when the bytes are no well-formed document.
    xmlNode *root() const noexcept;

  private:
    xmlDoc *document_;
};

inline bool IsElement(const xmlNode &node) {
    return node.type == XML_ELEMENT_NODE;
}

// The local name of an element or attribute.
template <typename Named>
std::string_view NameOf(const Named &node) {
    return reinterpret_cast<const char *>(node.name);
}

// The text of the first child node of an element or attribute; null when it has none.
const char *FirstText(const xmlNode *firstChild) noexcept;

}  // namespace Tonvale::dlna
