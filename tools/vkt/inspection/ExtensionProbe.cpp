#include "inspection/ExtensionProbe.h"

#include <utility>

#include "VKTCoreKit/core/VKTXMLDictionaryUtils.h"
#include "VKTCoreKit/vast/VKTVASTAdExtension.h"

using Utils = VKTXMLDictionaryUtils;

namespace {

// Contents of an "Extension": a sample that the reader cannot miss, and whether it read it.
struct ExtensionContent {
    const char* name;
    VKTDictionary sample;
    bool (*isRead)(const VKTVASTAdExtension& extension);
};

const std::vector<ExtensionContent>& extensionContents() {
    const VKTArray texts{VKTDictionary{{"__text", "2"}}};
    const VKTArray metrics{VKTDictionary{{"_name", "viewcount"}, {"__text", "2"}}};
    const VKTArray verifications{VKTDictionary{{"JavaScriptResource", texts}}};
    using Extension = VKTVASTAdExtension;
    static const auto* contents = new std::vector<ExtensionContent>{
        {"offset", {{"_skipoffset", "2"}}, [](const Extension& e) { return e.skipOffset.has_value(); }},
        {"sort", {{"_rank", "2"}}, [](const Extension& e) { return e.sortRank.has_value(); }},
        {"customisedScript",
         {{"__text", "2"}},
         [](const Extension& e) { return e.customScript.has_value(); }},
        {"instanceCount", {{"__text", "2"}}, [](const Extension& e) { return e.instanceCount == 2; }},
        {"KorvoMetrics", {{"KorvoMetric", metrics}}, [](const Extension& e) { return !e.metrics.empty(); }},
        {"KorvoMacros", {{"pageID", texts}}, [](const Extension& e) { return e.pageID.has_value(); }},
        {"RtbMacros", {{"DspId", texts}}, [](const Extension& e) { return e.rtbDspID.has_value(); }},
        {"AdVerifications",
         {{"Verification", verifications}},
         [](const Extension& e) { return !e.adVerifications.empty(); }},
    };
    return *contents;
}

}  // namespace

std::vector<std::string_view> contentsReadOf(const VKTDictionary& extension) {
    VKTDictionary probe;
    for (const ExtensionContent& content : extensionContents()) {
        if (Utils::findFirstObjectOfArrayAsDictionary(content.name, extension) != nullptr) {
            probe.set(content.name, VKTArray{content.sample});
        }
    }
    const auto result = VKTVASTAdExtension::init();
    result->processExtensions({std::move(probe)});
    std::vector<std::string_view> names;
    for (const ExtensionContent& content : extensionContents()) {
        if (content.isRead(*result)) names.emplace_back(content.name);
    }
    return names;
}
