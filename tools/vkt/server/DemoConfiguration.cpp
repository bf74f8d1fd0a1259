#include "server/DemoConfiguration.h"

#include <algorithm>
#include <array>

#include "VKTCoreKit/foundation/VKTValue.h"
#include "VKTCoreKit/platform/VKTServices.h"
#include "ground/EmbeddingSDK.h"

namespace {

constexpr int secondsOfValidity = 3600;
constexpr int secondsBeyondTheLimit = 2'000'000;  // 23 days; a week is the most that counts
constexpr std::size_t hugeSize = std::size_t{10} * 1024 * 1024;

VKTDictionary goodDocument(const std::string& baseURL, std::int64_t site) {
    const VKTDictionary parameters{
        {"post", VKTDictionary{{"iabFrameworks", VKTArray{7}}, {"placement", "demo"}}},
        {"get", VKTDictionary{{"market", "demo"}}}};
    const VKTDictionary everyRecord{{"debug", 1}, {"info", 1}, {"warning", 1}, {"error", 1}};
    return {
        {"TTL", secondsOfValidity},
        {"statusCode", 200},
        {"version", "1.0"},
        {"korvo", VKTDictionary{{"networkId", 1000 + site},
                                {"adCallBaseURL", baseURL},
                                {"latestSDKVersionId", EmbeddingSDKVersionID},
                                {"adCallAdditionalParameters", parameters}}},
        {"logger",
         VKTDictionary{{"URL", baseURL + "/logs"}, {"minLogLevel", "debug"}, {"samplingRate", everyRecord}}}};
}

void setTTL(VKTDictionary& document, int seconds) {
    document.set("TTL", seconds);
}

VKTDictionary& member(VKTDictionary& document, std::string_view key) {
    return *document.find(key)->asDictionary();
}

// Nothing but the two things without which a document is refused has the type that is expected.
void spoilTypes(VKTDictionary& document) {
    document.set("statusCode", "200");
    document.set("version", 1);
    document.set("korvo",
                 VKTDictionary{{"networkId", "1007"},
                               {"adCallBaseURL", 127},
                               {"latestSDKVersionId", "999"},
                               {"latestSDKMessage", VKTArray{"Hello"}},
                               {"adCallAdditionalParameters",
                                VKTDictionary{{"post", "placement=demo"},
                                              {"get", VKTDictionary{{"market", "demo"}, {"page", 3}}}}}});
    document.set(
        "logger",
        VKTDictionary{
            {"URL", VKTDictionary()},
            {"minLogLevel", "loud"},
            {"sendingLogsInterval", 60},
            {"samplingRate",
             VKTDictionary{
                 {"debug", "1"}, {"info", VKTValue()}, {"warning", true}, {"error", -1}, {"fatal", 1}}}});
}

void announceNewerSDK(VKTDictionary& document) {
    member(document, "korvo").set("latestSDKVersionId", EmbeddingSDKVersionID + 1);
    member(document, "korvo").set("latestSDKMessage", "Version 7.23 plays demo ads twice as well.");
}

void sampleLogs(VKTDictionary& document) {
    member(document, "logger").set("minLogLevel", "warning");
    member(document, "logger")
        .set("samplingRate", VKTDictionary{{"info", 0}, {"warning", 100}, {"error", 10}});
}

struct Variant {
    std::string_view name;
    void (*apply)(VKTDictionary& document);
};

constexpr auto jsonVariants = std::to_array<Variant>({
    {"", [](VKTDictionary&) {}},
    {"no-korvo", [](VKTDictionary& document) { document.remove("korvo"); }},
    {"ttl-0", [](VKTDictionary& document) { setTTL(document, 0); }},
    {"ttl-negative", [](VKTDictionary& document) { setTTL(document, -secondsOfValidity); }},
    {"ttl-1s", [](VKTDictionary& document) { setTTL(document, 1); }},
    {"ttl-23-days", [](VKTDictionary& document) { setTTL(document, secondsBeyondTheLimit); }},
    {"wrong-types", spoilTypes},
    {"wrong-site", [](VKTDictionary& document) { member(document, "korvo").set("networkId", 0); }},
    {"newer-sdk", announceNewerSDK},
    {"sampled", sampleLogs},
    {"huge", [](VKTDictionary& document) { document.set("padding", std::string(hugeSize, '.')); }},
});

}  // namespace

std::optional<std::string> DemoConfiguration::document(const std::string& baseURL, std::int64_t site,
                                                       std::string_view variant) {
    VKTDictionary document = goodDocument(baseURL, site);
    if (variant == "not-json") return vkt_JSONStringWithValue(document)->substr(0, 100);
    if (variant == "array") return vkt_JSONStringWithValue(VKTArray{std::move(document)});
    const auto* found = std::find_if(jsonVariants.begin(), jsonVariants.end(),
                                     [&](const Variant& each) { return each.name == variant; });
    if (found == jsonVariants.end()) return std::nullopt;
    found->apply(document);
    return vkt_JSONStringWithValue(std::move(document));
}
