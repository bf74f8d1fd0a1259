// A line of JSON to a line of JSON, on one thread, beside the XML reader with empty handlers on the same
// documents.
#include <algorithm>
#include <array>
#include <string>

#include "Documents.h"
#include "Pairs.h"
#include "VKTCoreKit/platform/VKTServices.h"
#include "commands/LineInspection.h"
#include "ground/Output.h"

namespace {

// An ad, a wrapper and a pod, as lines of a corpus are.
std::array<std::string, 3> documents() {
    return {inlineDocument(), wrapperDocument("https://ads.adserver.example/vast?next=1"),
            smallPodDocument(3)};
}

std::string lineOf(const std::string& document) {
    return vkt_JSONStringWithValue(VKTDictionary{{"id", 20811}, {"xml", document}}).value_or("");
}

void inspectOne(const std::string& line) {
    const LineInspection inspection = inspectLine(line);
    const JSONText text = textOfJSON(reportOfLine(inspection, 1), JSONStyle::OneLine);
    if (!inspection.inspection.hasValidAd() || !text.isWritable || !text.whole)
        fail("a line was not inspected");
}

}  // namespace

void addLineBenchmarks() {
    const std::array<std::string, 3> texts = documents();
    std::array<std::string, 3> lines;
    std::transform(texts.begin(), texts.end(), lines.begin(), lineOf);
    addPair(
        "inspect_lines",
        [lines] {
            for (const std::string& line : lines)
                inspectOne(line);
        },
        [texts] {
            for (const std::string& document : texts)
                readEvents(document);
        });
}
