// Lines: the URL template, then "M name value", "A name value" and "V name value" for the manager's own
// macros, additional ones and variables; "\n" within a value is written as "\r".
#include <algorithm>

#include "Fuzzing.h"
#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/tracking/VKTTrackingEventManager.h"

namespace {

struct Input {
    VKTReplacements macros, additionalMacros, variables;
};

void addLine(Input& input, std::string_view line) {
    if (line.size() < 2) return;
    const std::size_t space = std::min(line.find(' ', 2), line.size());
    const std::string name(line.substr(2, space - 2));
    std::string value(line.substr(std::min(space + 1, line.size())));
    std::replace(value.begin(), value.end(), '\r', '\n');
    if (line[0] == 'M') input.macros[name] = value;
    if (line[0] == 'A') input.additionalMacros[name] = value;
    if (line[0] == 'V') input.variables[name] = value;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto lines = vkt_split(inputText(data, size), '\n');
    const auto url = VKTURL::URLWithString(lines[0]);
    // Each name costs a walk over the text, so many of them say nothing new.
    constexpr std::size_t lineLimit = 64;
    if (!url || lines.size() > lineLimit) return 0;
    Input input;
    for (const std::string_view line : lines)
        addLine(input, line);

    const auto manager = VKTTrackingEventManager::initWithEventFactory(
        *VKTTrackingEventDefaultFactory::initWithEvents({}), input.macros, nullptr);
    const VKTURL result = manager->finalEventURLWithURL(*url, input.variables, input.additionalMacros);
    require(VKTURL::URLWithString(result.absoluteString()) == result, "what is sent is a URL");
    require(result.absoluteString().size() <= std::max(VKTEventURLLengthLimit, url->absoluteString().size()),
            "its length is bounded");

    const auto withMacros = manager->eventURLWithMacrosReplacedFromTemplateURL(*url, input.additionalMacros);
    if (!withMacros) require(result == *url, "without valid macros, the template is sent");
    if (input.macros.empty() && input.additionalMacros.empty() && input.variables.empty())
        require(result == *url, "nothing to fill, nothing changed");
    return 0;
}
