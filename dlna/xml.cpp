#include "dlna/xml.h"

#include <libxml/parser.h>
#include <libxml/xmlversion.h>

namespace Tonvale::dlna {

namespace {

xmlDoc *Read(const char *buffer, int size) {
    LIBXML_TEST_VERSION
    return xmlReadMemory(buffer, size, "noname.xml", nullptr, 0);
}

}  // namespace

XmlDocument::XmlDocument(const char *buffer, int size) noexcept : document_(Read(buffer, size)) {}

XmlDocument::~XmlDocument() {
    xmlFreeDoc(document_);
    xmlCleanupParser();
}

xmlNode *XmlDocument::root() const noexcept {
    return document_ != nullptr ? xmlDocGetRootElement(document_) : nullptr;
}

const char *FirstText(const xmlNode *firstChild) noexcept {
    if (firstChild == nullptr) {
        return nullptr;
    }
    switch (firstChild->type) {
        case XML_TEXT_NODE:
        case XML_CDATA_SECTION_NODE:
        case XML_COMMENT_NODE:
            return reinterpret_cast<const char *>(firstChild->content);
        default:  // an element has no text of its own; a declared entity could be expanded for ever
            return nullptr;
    }
}

}  // namespace Tonvale::dlna
