#include "VKTCoreKit/omruntime/detail/EventData.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>

#include "VKTCoreKit/omruntime/SDK.h"
#include "VKTCoreKit/omruntime/detail/Bridge.h"
#include "VKTCoreKit/platform/VKTPlatform.h"

namespace OMIDKorvonet1 {

namespace {

constexpr const char* apiVersion = "1.0";

// A number that is in no list has the last name of it.
template <std::size_t Size>
const char* nameAt(const std::array<const char*, Size>& names, std::size_t index) {
    return names[std::min(index, Size - 1)];
}

const char* nameOf(CreativeType type) {
    constexpr std::array names = {
        "definedByJavaScript", "definedByJavaScript", "htmlDisplay", "nativeDisplay", "video", "audio"};
    return nameAt(names, type);
}

const char* nameOf(ImpressionType type) {
    constexpr std::array names = {"definedByJavaScript",
                                  "definedByJavaScript",
                                  "unspecified",
                                  "loaded",
                                  "beginToRender",
                                  "onePixel",
                                  "viewable",
                                  "audible",
                                  "other"};
    return nameAt(names, type);
}

const char* nameOf(Position position) {
    constexpr std::array names = {"preroll", "midroll", "postroll", "standalone"};
    return nameAt(names, position);
}

const char* nameOf(FriendlyObstructionPurpose purpose) {
    constexpr std::array names = {"mediaControls", "closeAd", "notVisible", "other"};
    return nameAt(names, purpose);
}

VKTDictionary rectData(const VKTRect& rect) {
    return {{"x", rect.x}, {"y", rect.y}, {"width", rect.width}, {"height", rect.height}};
}

VKTDictionary viewportData(const Geometry& geometry) {
    return {{"width", geometry.viewportWidth}, {"height", geometry.viewportHeight}};
}

VKTArray reasonsData(std::uint8_t reasons) {
    using NamedReason = std::pair<GeometryReason, const char*>;
    constexpr std::array names = {NamedReason(GeometryReasonNoAdView, "noAdView"),
                                  NamedReason(GeometryReasonNotFound, "notFound"),
                                  NamedReason(GeometryReasonHidden, "hidden"),
                                  NamedReason(GeometryReasonBackgrounded, "backgrounded"),
                                  NamedReason(GeometryReasonNoWindowFocus, "noWindowFocus"),
                                  NamedReason(GeometryReasonClipped, "clipped"),
                                  NamedReason(GeometryReasonObstructed, "obstructed")};
    VKTArray data;
    for (const auto& [reason, name] : names) {
        if ((reasons & reason) != 0) data.emplace_back(name);
    }
    return data;
}

void setFriendliness(VKTDictionary& data, FriendlyObstructionPurpose purpose, const std::string& reason) {
    data.set("obstructionPurpose", nameOf(purpose));
    data.set("obstructionReason", reason);
}

VKTDictionary onScreenData(const Geometry& geometry) {
    VKTArray obstructions;
    VKTArray friendlyObstructions;
    for (std::size_t i = 0; i < geometry.obstructionCount; ++i) {
        const Obstruction& obstruction = geometry.obstructions[i];
        VKTDictionary data = rectData(obstruction.rect);
        data.set("obstructionClass", sendableText(obstruction.className));
        if (obstruction.purpose) setFriendliness(data, *obstruction.purpose, obstruction.detailedReason);
        (obstruction.purpose ? friendlyObstructions : obstructions).emplace_back(std::move(data));
    }
    VKTDictionary data = rectData(geometry.onScreen);
    data.set("obstructions", std::move(obstructions));
    data.set("friendlyObstructions", std::move(friendlyObstructions));
    return data;
}

// The view is measured as a whole: it is its own container.
VKTDictionary adViewData(const Geometry& geometry) {
    return {{"percentageInView", geometry.percentageInView},
            {"geometry", rectData(geometry.adView)},
            {"onScreenGeometry", onScreenData(geometry)},
            {"containerGeometry", rectData(geometry.adView)},
            {"onScreenContainerGeometry", rectData(geometry.onScreen)},
            {"measuringElement", false},
            {"reasons", reasonsData(geometry.reasons)}};
}

void setTypes(VKTDictionary& data, const AdSessionConfiguration& configuration) {
    data.set("mediaType", isMedia(configuration.creativeType()) ? "video" : "display");
    data.set("creativeType", nameOf(configuration.creativeType()));
    data.set("impressionType", nameOf(configuration.impressionType()));
}

void setLastActivity(VKTDictionary& data, std::optional<VKTDate> lastActivity) {
    if (lastActivity) data.set("lastActivity", VKTDictionary{{"timestamp", millisecondsOf(*lastActivity)}});
}

VKTDictionary deviceData(const VKTDevice& device) {
    const std::string model = device.model();
    return {{"deviceType", sendableText(model.empty() ? device.machine() : model)},
            {"os", sendableText(device.systemName())},
            {"osVersion", sendableText(device.systemVersion())}};
}

VKTDictionary contextData(const AdSessionContext& context,
                          const std::vector<FriendlyObstruction>& friendlyObstructions) {
    const VKTPlatform& platform = VKTPlatform::current();
    const auto appId = platform.mainBundle->infoValueForKey(VKTBundleIdentifierKey);
    VKTArray obstructions;
    for (const FriendlyObstruction& each : friendlyObstructions) {
        VKTDictionary data;
        const auto view = each.view.lock();
        if (view) data.set("obstructionClass", sendableText(view->className()));
        setFriendliness(data, each.purpose, each.detailedReason);
        obstructions.emplace_back(std::move(data));
    }
    VKTDictionary data{
        {"apiVersion", apiVersion},
        {"environment", "app"},
        {"accessMode", "limited"},  // no script reaches the creative
        {"adSessionType", "native"},
        {"omidNativeInfo", VKTDictionary{{"partnerName", context.partner().name()},
                                         {"partnerVersion", context.partner().versionString()}}},
        {"app", VKTDictionary{{"libraryVersion", SDK::versionString()},
                              {"appId", sendableText(appId.value_or(""))}}},
        {"deviceInfo", deviceData(*platform.device)},
        {"deviceCategory", "ctv"},
        {"supports", VKTArray{"clid", "vlid"}},
        {"friendlyObstructions", std::move(obstructions)}};
    if (context.customReferenceIdentifier())
        data.set("customReferenceData", *context.customReferenceIdentifier());
    if (context.contentURL()) data.set("contentUrl", *context.contentURL());
    return data;
}

}  // namespace

const char* nameOf(PlayerState state) {
    constexpr std::array names = {"minimized", "collapsed", "normal", "expanded", "fullscreen"};
    return nameAt(names, state);
}

const char* nameOf(InteractionType type) {
    constexpr std::array names = {"click", "invitationAccept"};
    return nameAt(names, type);
}

std::int64_t millisecondsOf(VKTDate date) {
    return std::chrono::floor<std::chrono::milliseconds>(date.time_since_epoch()).count();
}

bool isMedia(CreativeType type) {
    return type == CreativeTypeVideo || type == CreativeTypeAudio;
}

VKTDictionary sessionStartData(const AdSessionConfiguration& configuration, const AdSessionContext& context,
                               const std::vector<FriendlyObstruction>& friendlyObstructions,
                               std::optional<VKTDate> lastActivity) {
    VKTDictionary contextEntries = contextData(context, friendlyObstructions);
    setLastActivity(contextEntries, lastActivity);
    VKTDictionary data{{"context", std::move(contextEntries)}, {"supportsLoadedEvent", true}};
    setTypes(data, configuration);
    if (context.contentURL()) data.set("contentUrl", *context.contentURL());
    return data;
}

VKTDictionary impressionData(const AdSessionConfiguration& configuration, const Geometry& geometry) {
    VKTDictionary data;
    setTypes(data, configuration);
    data.set("viewport", viewportData(geometry));
    data.set("adView", adViewData(geometry));
    return data;
}

VKTDictionary loadedData(const AdSessionConfiguration& configuration,
                         const std::optional<VASTProperties>& properties) {
    VKTDictionary data;
    setTypes(data, configuration);
    if (!properties) return data;
    data.set("skippable", properties->isSkippable());
    const double skipOffset = properties->skipOffset().value_or(0);
    if (properties->isSkippable() && std::isfinite(skipOffset)) data.set("skipOffset", skipOffset);
    data.set("autoPlay", properties->autoPlay());
    data.set("position", nameOf(properties->position()));
    return data;
}

VKTDictionary geometryData(const Geometry& geometry, std::optional<VKTDate> lastActivity) {
    VKTDictionary data{{"viewport", viewportData(geometry)}, {"adView", adViewData(geometry)}};
    setLastActivity(data, lastActivity);
    return data;
}

}  // namespace OMIDKorvonet1
