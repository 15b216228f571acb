// XML documents from other machines. The one place of the programs that calls libxml2.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

struct _xmlNode;

namespace mediaserver {

// An element of a document, which must outlive it.
class Element {
  public:
    explicit Element(const _xmlNode &node) : node_(&node) {}

    std::string_view Name() const;  // without its prefix
    std::string Text() const;       // of the element itself, without blanks at both ends
    std::optional<Element> FirstChild() const;
    std::optional<Element> Next() const;

    // The first child of a name, and its text.
    std::optional<Element> Child(std::string_view name) const;
    std::string ChildText(std::string_view name) const;
    // The first element of a name that the walk through the document finds below this one.
    std::optional<Element> Find(std::string_view name) const;

  private:
    const _xmlNode *node_;
};

// Calls `read` with the root of a document; false without a call when it is not well-formed.
bool ReadXml(std::string_view text, const std::function<void(const Element &root)> &read);

}  // namespace mediaserver
