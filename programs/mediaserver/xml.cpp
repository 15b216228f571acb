#include "mediaserver/xml.h"

#include <libxml/parser.h>
#include <libxml/tree.h>
#include <syslog.h>

#include <memory>
#include <utility>

#include "varn/late_library.h"

namespace mediaserver {

namespace {

// Loaded with the first document: most runs of the programs read none.
struct Libxml : varn::LateLibrary {
    Libxml() noexcept : LateLibrary("libxml2.so.2") {}

    decltype(&::xmlReadMemory) readMemory = Find("xmlReadMemory");
    decltype(&::xmlDocGetRootElement) docGetRootElement = Find("xmlDocGetRootElement");
    decltype(&::xmlFreeDoc) freeDoc = Find("xmlFreeDoc");
};

const Libxml &Xml() noexcept {
    static const Libxml library;
    return library;
}

std::optional<Element> ElementFrom(const xmlNode *node) {
    while (node != nullptr && node->type != XML_ELEMENT_NODE) {
        node = node->next;
    }
    return node != nullptr ? std::optional(Element(*node)) : std::nullopt;
}

}  // namespace

std::string_view Element::Name() const {
    return reinterpret_cast<const char *>(node_->name);
}

std::string Element::Text() const {
    std::string text;
    for (const xmlNode *child = node_->children; child != nullptr; child = child->next) {
        if (child->type == XML_TEXT_NODE || child->type == XML_CDATA_SECTION_NODE) {
            text += reinterpret_cast<const char *>(child->content);
        }
    }
    constexpr char kBlank[] = " \t\r\n";
    text.erase(text.find_last_not_of(kBlank) + 1);
    return text.erase(0, text.find_first_not_of(kBlank));
}

std::optional<Element> Element::FirstChild() const {
    return ElementFrom(node_->children);
}

std::optional<Element> Element::Next() const {
    return ElementFrom(node_->next);
}

std::optional<Element> Element::Child(std::string_view name) const {
    std::optional<Element> child = FirstChild();
    while (child && child->Name() != name) {
        child = child->Next();
    }
    return child;
}

std::string Element::ChildText(std::string_view name) const {
    const std::optional<Element> child = Child(name);
    return child ? child->Text() : "";
}

std::optional<Element> Element::Find(std::string_view name) const {
    for (std::optional<Element> child = FirstChild(); child; child = child->Next()) {
        if (child->Name() == name) {
            return child;
        }
        if (std::optional<Element> below = child->Find(name)) {
            return below;
        }
    }
    return std::nullopt;
}

bool ReadXml(std::string_view text, const std::function<void(const Element &root)> &read) {
    constexpr int kQuiet = XML_PARSE_NOERROR | XML_PARSE_NOWARNING | XML_PARSE_NONET;
    if (!Xml()) {
        syslog(LOG_ERR, "Failed to load libxml2 (%s)", Xml().Problem());
        return false;
    }
    if (!std::in_range<int>(text.size())) {
        return false;
    }
    const std::unique_ptr<xmlDoc, decltype(&xmlFreeDoc)> document(
        Xml().readMemory(text.data(), static_cast<int>(text.size()), "description.xml", nullptr,
                         kQuiet),
        Xml().freeDoc);
    const xmlNode *root = document ? Xml().docGetRootElement(document.get()) : nullptr;
    if (root != nullptr) {
        read(Element(*root));
    }
    return root != nullptr;
}

}  // namespace mediaserver
