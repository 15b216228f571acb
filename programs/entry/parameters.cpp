#include "parameters.h"

#include <json/reader.h>

#include <algorithm>
#include <charconv>
#include <memory>

#include "service/base/text.h"

namespace tonvale_entry {

namespace {

constexpr std::size_t kMostParameters = 256;
constexpr std::size_t kMostRepeated = 20'000;

int HexDigit(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    const char lower = static_cast<char>(c | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

std::optional<std::string> Decoded(std::string_view text) {
    std::string decoded;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            decoded += text[i] == '+' ? ' ' : text[i];
            continue;
        }
        const int high = i + 2 < text.size() ? HexDigit(text[i + 1]) : -1;
        const int low = i + 2 < text.size() ? HexDigit(text[i + 2]) : -1;
        if (high < 0 || low < 0) {
            return std::nullopt;
        }
        decoded += static_cast<char>(high * 16 + low);
        i += 2;
    }
    return decoded;
}

bool IsCleanText(std::string_view text) {
    while (!text.empty()) {
        const char c = text.front();
        const bool control =
            (c >= 0 && c < 0x20 && c != '\t' && c != '\n' && c != '\r') || c == 0x7F;
        const std::size_t length = control ? 0 : tonvale_service::CharacterLength(text);
        if (length == 0) {
            return false;
        }
        text.remove_prefix(length);
    }
    return true;
}

std::optional<std::vector<std::string>> FromJson(const std::string &text) {
    const auto list = ParseJson(text);
    if (!list) {
        return std::nullopt;
    }
    std::vector<std::string> values;
    for (const Json::Value &value : *list) {
        if (!value.isString() && !value.isIntegral()) {
            return std::nullopt;
        }
        values.push_back(value.asString());
        // Escapes can stand for characters that are not allowed.
        if (!IsCleanText(values.back())) {
            return std::nullopt;
        }
    }
    return values;
}

std::vector<std::string> FromCommas(std::string_view text) {
    std::vector<std::string> values;
    while (!text.empty()) {
        const std::size_t comma = std::min(text.find(','), text.size());
        if (comma > 0) {
            values.emplace_back(text.substr(0, comma));
        }
        text.remove_prefix(std::min(comma + 1, text.size()));
    }
    return values;
}

}  // namespace

std::optional<Parameters> Parameters::Parse(std::string_view query, std::string_view form,
                                            Repeats repeats) {
    Parameters parameters;
    for (std::string_view rest : {query, form}) {
        while (!rest.empty()) {
            const std::size_t end = std::min(rest.find('&'), rest.size());
            if (end > 0 && !parameters.Add(rest.substr(0, end), repeats)) {
                parameters.isWhole_ = false;
            }
            rest.remove_prefix(std::min(end + 1, rest.size()));
        }
    }
    if (!parameters.isWhole_ && repeats == Repeats::kRefused) {
        return std::nullopt;
    }
    return parameters;
}

bool Parameters::Add(std::string_view encoded, Repeats repeats) {
    const std::size_t equals = std::min(encoded.find('='), encoded.size());
    auto name = Decoded(encoded.substr(0, equals));
    auto value = Decoded(encoded.substr(std::min(equals + 1, encoded.size())));
    const bool isKept = repeats == Repeats::kKept;
    if (!name || !value || !IsCleanText(*name) || !IsCleanText(*value) ||
        values_.size() >= (isKept ? kMostRepeated : kMostParameters) ||
        (!isKept && values_.contains(*name))) {
        return false;
    }
    values_.emplace(*std::move(name), *std::move(value));
    return true;
}

const std::string *Parameters::Find(const std::string &name) const {
    const auto found = values_.lower_bound(name);
    return found != values_.end() && found->first == name ? &found->second : nullptr;
}

std::vector<std::string> Parameters::FindAll(const std::string &name) const {
    std::vector<std::string> values;
    const auto [first, last] = values_.equal_range(name);
    for (auto found = first; found != last; ++found) {
        values.push_back(found->second);
    }
    return values;
}

std::optional<Json::Value> ParseJson(const std::string &text) {
    Json::CharReaderBuilder builder;
    builder["stackLimit"] = 8;
    builder["failIfExtra"] = true;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value json;
    try {
        if (reader->parse(text.data(), text.data() + text.size(), &json, nullptr)) {
            return json;
        }
    } catch (const Json::Exception &) {  // nested too deep
    }
    return std::nullopt;
}

std::optional<std::vector<std::string>> SplitValues(const std::string &text, std::size_t most) {
    auto values = text.starts_with('[') ? FromJson(text) : FromCommas(text);
    return values && values->size() <= most ? std::move(values) : std::nullopt;
}

std::optional<long long> ParseNumber(std::string_view text, long long low, long long high) {
    long long number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || number < low || number > high) {
        return std::nullopt;
    }
    return number;
}

}  // namespace tonvale_entry
