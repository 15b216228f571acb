#include "support/json_text.h"

#include <json/reader.h>
#include <json/writer.h>

namespace Tonvale::support {

// The lenient reader and these writers set the form of files, rows and identifiers that are kept;
// the classes that replace them accept and write another one.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

std::string OneLine(const Json::Value &json) {
    return Json::FastWriter().write(json);
}

std::string Indented(const Json::Value &json) {
    return Json::StyledWriter().write(json);
}

bool Parse(const std::string &text, Json::Value &json, std::string *reason) {
    std::string why;
    try {
        Json::Reader reader;
        if (reader.parse(text, json)) {
            return true;
        }
        why = reader.getFormattedErrorMessages();
    } catch (const Json::Exception &error) {  // nested too deep
        why = error.what();
    }
    if (reason != nullptr) {
        *reason = why;
    }
    return false;
}

#pragma GCC diagnostic pop

}  // namespace Tonvale::support
