#include "commands/LineInspection.h"

#include <utility>

#include "VKTCoreKit/core/VKTXMLDictionary.h"
#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/platform/VKTServices.h"
#include "ground/Text.h"
#include "report/InspectionReport.h"

namespace {

const VKTValue* given(const VKTDictionary& line, std::string_view key) {
    const VKTValue* value = line.find(key);
    return value == nullptr || value->isNull() ? nullptr : value;
}

// With a problem unless one of the two is there and can be used.
Source sourceOf(const VKTDictionary& line) {
    const VKTValue* url = given(line, "url");
    const VKTValue* xml = given(line, "xml");
    const auto unusable = [](std::string problem) {
        return Source{"-", std::nullopt, std::nullopt, std::move(problem)};
    };
    if (url == nullptr && xml == nullptr) return unusable("it has neither \"url\" nor \"xml\"");
    if (url != nullptr && xml != nullptr) return unusable("it has both \"url\" and \"xml\"");
    const std::string* text = (url == nullptr ? xml : url)->asString();
    if (text == nullptr) return unusable(std::string("its \"") + (url == nullptr ? "xml" : "url") + "\" is no text");
    if (url != nullptr) {
        Source source = openURL(*text);
        if (!source.problem.empty()) source.problem = "its \"url\" is not an http or https URL";
        return source;
    }
    if (text->size() > VKTXMLFileSizeLimit) return unusable("its \"xml\" is larger than 32 MiB");
    return {"-", std::nullopt, *text, {}};
}

}  // namespace

LineInspection inspectLine(std::string_view line, std::shared_ptr<VKTHTTPCanceller> canceller) {
    LineInspection result;
    Source source;
    {
        std::optional<VKTError> error;
        std::optional<VKTValue> value = vkt_JSONValueWithData(line, &error);
        VKTDictionary* members = value ? value->asDictionary() : nullptr;
        if (members == nullptr) {
            // The reason may quote what stands there, whatever it is.
            const std::string reason = error ? ": " + error->localizedDescription().value_or("") : "";
            result.problem = value ? "it is not an object" : "it is not JSON" + vkt_onOneLine(shortened(reason));
            return result;
        }
        if (VKTValue* id = members->find("id")) result.id = std::move(*id);
        source = sourceOf(*members);
    }
    result.problem = std::move(source.problem);
    if (!result.problem.empty()) return result;
    result.inspection = inspect(source, std::move(canceller));
    if (const auto problem = result.inspection.transferProblem()) result.problem = "it cannot be downloaded: " + *problem;
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
