// VARN.Tonvale.Description: what there is to ask for.
#include "description.h"

#include <cstdio>

#include "action.h"
#include "document.h"
#include "route.h"
#include "service/base/json_text.h"
#include "service/base/validators.h"

namespace tonvale_entry {

namespace {

class Get : public MediaAction {
  public:
    using MediaAction::MediaAction;

  protected:
    bool Send() override {
        const std::string text = tonvale_service::JsonText(DescribeApis(RoutedFolder()),
                                                           tonvale_service::Letters::kAscii);
        const tonvale_service::Validators now{tonvale_service::EtagOf(text), ""};
        const bool isKnown = IsUnchanged(now, Variable("HTTP_IF_NONE_MATCH"), "");
        const std::string header = Lines(now) + "Cache-Control: no-cache\r\n" +
                                   (isKnown ? "Status: 304 Not Modified\r\n\r\n"
                                            : std::string(kJsonType) + "\r\nContent-Length: " +
                                                  std::to_string(text.size()) + "\r\n\r\n");
        const bool isWritten = std::fputs(header.c_str(), stdout) >= 0;
        return (isKnown || Asked().WantsHeaderOnly() || std::fputs(text.c_str(), stdout) >= 0) &&
               isWritten && std::fflush(stdout) == 0;
    }
};

constexpr Method kMethods[] = {{.name = "get",
                                .make = Make<Get>,
                                .isMedia = true,
                                .takesRoot = false,
                                .summary = "This description",
                                .answer = "application/json"}};

}  // namespace

std::vector<std::string> WordsOf(std::string_view text) {
    std::vector<std::string> words;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find(' '), text.size());
        words.emplace_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return words;
}

std::vector<std::string> ChoicesOf(const Parameter &parameter) {
    return parameter.names != nullptr ? parameter.names() : WordsOf(parameter.choices);
}

const Api kDescriptionApi{.name = "VARN.Tonvale.Description",
                          .methods = kMethods,
                          .isPublic = true,
                          .summary = "The description of all APIs, at /openapi.json"};

}  // namespace tonvale_entry
