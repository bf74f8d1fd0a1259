#include "commands/LineInspection.h"

#include <algorithm>
#include <array>
#include <utility>

#include "VKTCoreKit/core/VKTXMLDictionary.h"
#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/platform/VKTServices.h"
#include "ground/Text.h"
#include "report/InspectionReport.h"

namespace {

// Stands in the line for the document that was taken out of it.
constexpr std::string_view standIn = R"("\u0000")";
constexpr std::string_view valueOfStandIn("\0", 1);

// The document of a line that has it as its "xml", with the plain escapes only, and the line without it.
// Nothing for any other line, which is read as a whole: a reader of JSON takes several times as long for each
// byte.
struct TakenOut {
    std::string rest;
    std::string document;
};

// All of it is looked at, which the processor does for many characters at once.
bool isASCII(std::string_view text) {
    unsigned char bits = 0;
    for (const char c : text)
        bits |= static_cast<unsigned char>(c);
    return bits < 0x80;
}

// Whether a byte of a JSON text stands for itself.
constexpr auto plainBytes = [] {
    std::array<bool, 256> bytes{};
    std::fill(bytes.begin() + ' ', bytes.end(), true);
    bytes['"'] = bytes['\\'] = false;
    return bytes;
}();

// Appends what stands between quotation marks; where it ends, or npos.
std::size_t unescape(std::string_view line, std::size_t at, std::string& text) {
    constexpr std::string_view escapes = "\"\\/nrtbf";
    constexpr std::string_view meanings = "\"\\/\n\r\t\b\f";
    while (true) {
        const std::size_t begin = at;
        while (at < line.size() && plainBytes[static_cast<unsigned char>(line[at])])
            ++at;
        text.append(line, begin, at - begin);
        if (at < line.size() && line[at] == '"') return at;
        if (at + 1 >= line.size() || line[at] != '\\') return std::string_view::npos;
        const std::size_t escape = escapes.find(line[at + 1]);
        if (escape == std::string_view::npos) return std::string_view::npos;
        text += meanings[escape];
        at += 2;
    }
}

// Whether the key is really one of the line's own is seen when the rest has been read.
std::optional<TakenOut> takeOut(std::string_view line) {
    constexpr std::string_view key = "\"xml\"";
    constexpr std::string_view blanks = " \t";
    std::size_t begin = line.find(key);
    if (begin == std::string_view::npos) return std::nullopt;
    begin = line.find_first_not_of(blanks, begin + key.size());
    if (begin == std::string_view::npos || line[begin] != ':') return std::nullopt;
    begin = line.find_first_not_of(blanks, begin + 1);
    if (begin == std::string_view::npos || line[begin] != '"') return std::nullopt;
    TakenOut taken;
    taken.document.reserve(line.size());
    const std::size_t end = unescape(line, begin + 1, taken.document);
    if (end == std::string_view::npos) return std::nullopt;
    if (!isASCII(taken.document) && !vkt_isValidUTF8(taken.document)) return std::nullopt;
    taken.rest.append(line, 0, begin).append(standIn).append(line, end + 1);
    if (taken.rest.find(standIn) != begin || taken.rest.rfind(standIn) != begin) return std::nullopt;
    return taken;
}

const VKTValue* given(const VKTDictionary& line, std::string_view key) {
    const VKTValue* value = line.find(key);
    return value == nullptr || value->isNull() ? nullptr : value;
}

Source unusable(std::string problem) {
    return {"-", std::nullopt, std::nullopt, std::move(problem)};
}

Source sourceOfURL(const VKTValue& url) {
    if (url.asString() == nullptr) return unusable("its \"url\" is no text");
    Source source = openURL(*url.asString());
    if (!source.problem.empty()) source.problem = "its \"url\" is not an http or https URL";
    return source;
}

Source sourceOfDocument(std::string document) {
    if (document.size() > VKTXMLFileSizeLimit) return unusable("its \"xml\" is larger than 32 MiB");
    return {"-", std::nullopt, std::move(document), {}};
}

// With a problem unless one of the two is there and can be used.
Source sourceOf(const VKTDictionary& line) {
    const VKTValue* url = given(line, "url");
    const VKTValue* xml = given(line, "xml");
    if (url == nullptr && xml == nullptr) return unusable(R"(it has neither "url" nor "xml")");
    if (url != nullptr && xml != nullptr) return unusable(R"(it has both "url" and "xml")");
    if (url != nullptr) return sourceOfURL(*url);
    if (xml->asString() == nullptr) return unusable("its \"xml\" is no text");
    return sourceOfDocument(*xml->asString());
}

// The quick way; nothing for a line that it does not suit.
std::optional<Source> readLineWithoutDocument(std::string_view line, VKTValue& id) {
    std::optional<TakenOut> taken = takeOut(line);
    const std::optional<VKTValue> rest = taken ? vkt_JSONValueWithData(taken->rest) : std::nullopt;
    const VKTDictionary* members = rest ? rest->asDictionary() : nullptr;
    const VKTValue* xml = members == nullptr ? nullptr : given(*members, "xml");
    if (xml == nullptr || *xml != VKTValue(valueOfStandIn) || given(*members, "url") != nullptr)
        return std::nullopt;
    if (const VKTValue* own = members->find("id")) id = *own;
    return sourceOfDocument(std::move(taken->document));
}

// What a line gives, and its id. The reason why it is not JSON may quote what stands there, whatever it is.
Source readLine(std::string_view line, VKTValue& id) {
    if (auto source = readLineWithoutDocument(line, id)) return std::move(*source);
    std::optional<VKTError> error;
    const std::optional<VKTValue> value = vkt_JSONValueWithData(line, &error);
    if (!value)
        return unusable("it is not JSON: " +
                        vkt_onOneLine(shortened(error->localizedDescription().value_or(""))));
    const VKTDictionary* members = value->asDictionary();
    if (members == nullptr) return unusable("it is not an object");
    if (const VKTValue* own = members->find("id")) id = *own;
    return sourceOf(*members);
}

}  // namespace

LineInspection inspectLine(std::string_view line, std::shared_ptr<VKTHTTPCanceller> canceller) {
    LineInspection result;
    const Source source = readLine(line, result.id);
    result.problem = source.problem;
    if (!result.problem.empty()) return result;
    result.inspection = inspect(source, InspectionWithoutText, std::move(canceller));
    if (const auto problem = result.inspection.transferProblem())
        result.problem = "it cannot be downloaded: " + *problem;
    return result;
}

JSONReport reportOfLine(const LineInspection& line, std::size_t number) {
    JSONReport report = JSONReport::object({{"id", line.id}});
    if (line.problem.empty()) {
        report.addMembersOf(reportOfInspection(line.inspection));
    } else {
        report.add("error", line.problem);
        report.add("line", number);
    }
    return report;
}
