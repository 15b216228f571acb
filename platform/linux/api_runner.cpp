#include <json/reader.h>
#include <json/value.h>

#include <algorithm>
#include <cctype>
#include <fstream>
#include <string_view>

#include "linux/error.h"
#include "varn/systempath.h"
#include "varn/webapi.h"

namespace {

constexpr int kNoSuchApi = 102;
constexpr int kNoSuchMethod = 405;
constexpr int kFailed = 500;

Json::Value Refusal(int code) {
    Json::Value answer(Json::objectValue);
    answer["success"] = false;
    answer["error"]["code"] = code;
    return answer;
}

// Words between dots: no name of a file that lies elsewhere.
bool IsApiName(std::string_view name) {
    return !name.empty() && name.front() != '.' &&
           std::all_of(name.begin(), name.end(), [](unsigned char c) {
               return std::isalnum(c) != 0 || c == '.' || c == '_';
           });
}

bool IsAnswer(const Json::Value &answer) {
    return answer.isObject() && answer["success"].isBool() &&
           (answer["success"].asBool() ||
            (answer["error"].isObject() && answer["error"]["code"].isInt()));
}

Json::Value Configured(const std::string &api, const char *method) {
    const std::string path = SystemPath(varn::path::kServiceAnswers) + "/" + api + ".json";
    std::ifstream file(path, std::ios::in | std::ios::binary);
    if (!file.is_open()) {
        return Refusal(kNoSuchApi);
    }
    Json::Value methods;
    std::string problem;
    if (!Json::parseFromStream(Json::CharReaderBuilder(), file, &methods, &problem) ||
        !methods.isObject()) {
        return Refusal(kFailed);
    }
    if (!methods.isMember(method)) {
        return Refusal(kNoSuchMethod);
    }
    const Json::Value &answer = methods[method];
    return IsAnswer(answer) ? answer : Refusal(kFailed);
}

}  // namespace

void VARN::APIRunner::Exec(Json::Value &answer, const char *api, int /*version*/,
                           const char *method, const Json::Value & /*params*/,
                           const char * /*asUser*/) {
    const bool done = varn::Guarded(false, [&] {
        answer = NonEmptyStr(api) && NonEmptyStr(method) && IsApiName(api) ? Configured(api, method)
                                                                           : Refusal(kNoSuchApi);
        return true;
    });
    if (!done) {
        answer = Refusal(kFailed);
    }
}
