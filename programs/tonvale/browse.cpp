#include "browse.h"

#include <json/json.h>

#include <cstdint>
#include <iostream>
#include <tuple>

#include "command.h"
#include "complain.h"
#include "display.h"
#include "page_output.h"
#include "service/base/failure.h"
#include "wording.h"

namespace tonvale_cli {

namespace {

using tonvale_service::BrowseQuestion;
using tonvale_service::Failure;
using tonvale_service::FailureClass;

std::string Line(const ItemNode &node, bool isContainer) {
    const std::string title = node.getValueByKey("title");
    std::string line = title.empty() ? "(untitled)" : title;
    if (isContainer) {
        return line + "/";
    }
    for (const auto &[key, before, after] :
         {std::tuple("artist", " - ", ""), std::tuple("duration", " (", ")")}) {
        const std::string value = node.getValueByKey(key);
        line += value.empty() ? "" : before + value + after;
    }
    return line;
}

class TreePrinter : public tonvale_service::ObjectVisitor {
  public:
    void Object(const ItemNode &node, bool isContainer, int level) override {
        std::cout << std::string(static_cast<std::size_t>(level) * 2, ' ')
                  << Printable(Line(node, isContainer)) << "  ["
                  << Printable(node.getValueByKey("id")) << "]\n";
        ++count_;
    }
    void BeginChildren() override {}
    void EndChildren() override {}
    void PrintCount() const { std::cout << count_ << (count_ == 1 ? " object\n" : " objects\n"); }

  private:
    int64_t count_ = 0;
};

// Visits; the exit status, with a message.
int Visit(const BrowseQuestion &question, tonvale_service::ObjectVisitor &visitor) {
    try {
        tonvale_service::BrowseServer(question, visitor);
        return kDone;
    } catch (const Failure &failure) {
        Complain(Worded(failure));
        return failure.Class() == FailureClass::kBadValue ? kUsage : kFailed;
    }
}

}  // namespace

int Browse(const BrowseQuestion &question, bool json) {
    // What was printed is a document even when something is missing.
    if (json) {
        tonvale_service::ObjectCollector objects(question.offset);
        const int status = Visit(question, objects);
        if (status != kUsage) {
            PrintJson(objects.Data());
        }
        return status;
    }
    TreePrinter tree;
    const int status = Visit(question, tree);
    if (status == kDone) {
        tree.PrintCount();
    }
    return status;
}

}  // namespace tonvale_cli
