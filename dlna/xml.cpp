#include "dlna/xml.h"

#include <libxml/parser.h>
#include <libxml/xmlversion.h>

#include "support/log.h"
#include "varn/late_library.h"

namespace Tonvale::dlna {

namespace {

// Loaded with the first document: few processes read one.
struct Libxml : varn::LateLibrary {
    Libxml() noexcept : LateLibrary("libxml2.so.2") {}

    decltype(&::xmlCheckVersion) checkVersion = Find("xmlCheckVersion");
    decltype(&::xmlReadMemory) readMemory = Find("xmlReadMemory");
    decltype(&::xmlDocGetRootElement) docGetRootElement = Find("xmlDocGetRootElement");
    decltype(&::xmlFreeDoc) freeDoc = Find("xmlFreeDoc");
    decltype(&::xmlCleanupParser) cleanupParser = Find("xmlCleanupParser");
};

const Libxml &Xml() noexcept {
    static const Libxml library;
    return library;
}

xmlDoc *Read(const char *buffer, int size) {
    if (!Xml()) {
        LOG_ERROR("dlna/parser", "Failed to load libxml2 (%s)", Xml().Problem());
        return nullptr;
    }
    Xml().checkVersion(LIBXML_VERSION);
    return Xml().readMemory(buffer, size, "noname.xml", nullptr, 0);
}

}  // namespace

XmlDocument::XmlDocument(const char *buffer, int size) noexcept : document_(Read(buffer, size)) {}

XmlDocument::~XmlDocument() {
    if (Xml()) {
        Xml().freeDoc(document_);
        Xml().cleanupParser();
    }
}

xmlNode *XmlDocument::root() const noexcept {
    return document_ != nullptr ? Xml().docGetRootElement(document_) : nullptr;
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
