#include "report/AdReport.h"

#include <algorithm>
#include <cmath>
#include <map>

#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/platform/VKTServices.h"
#include "ground/MediaFileChoice.h"

namespace {

// Error pixels that one line for people names. Real chains have fewer than ten.
constexpr std::size_t lineURLLimit = 64;

// Bytes of all such lines together.
constexpr std::size_t linesByteLimit = 4U << 20U;

VKTValue valueOf(const std::optional<std::string>& text) {
    return text ? VKTValue(*text) : VKTValue();
}

VKTValue valueOf(const std::optional<VKTURL>& url) {
    return url ? VKTValue(url->absoluteString()) : VKTValue();
}

VKTValue valueOf(const std::optional<VKTVASTURL>& url) {
    return url ? VKTValue(url->url().absoluteString()) : VKTValue();
}

// A 32-bit number by its shortest text: 0.1 and not 0.10000000149.
VKTValue valueOf(float number) {
    constexpr float exactLimit = 1U << 24U;  // whole numbers below it are their own shortest text
    if (std::trunc(number) == number && std::abs(number) < exactLimit) return double{number};
    return vkt_doubleValue(vkt_numberDescription(number));
}

JSONReport reportOfTrackingEvent(const std::shared_ptr<VKTVASTTrackingEvent>& event) {
    return JSONReport::object({{"name", event->name()},
                               {"offset", valueOf(event->offset())},
                               {"url", event->url().absoluteString()},
                               {"isEventConsumable", event->isEventConsumable()}});
}

template <typename Event>
VKTDictionary reportOfNamedEvent(const Event& event) {
    return {{"name", event->eventName()}, {"url", event->eventURL().absoluteString()}};
}

JSONReport reportOfUniversalAdId(const VKTVASTUniversalAdId& id) {
    return JSONReport::object({{"registry", id.registry}, {"value", id.value}});
}

// What every creative has, appended to what its kind has.
JSONReport withTracking(JSONReport report, const VKTVASTCreative& creative) {
    report.add("clickThrough", valueOf(creative.clickThrough()));
    report.add("clickTracking", reportOfURLs(creative.clickTracking()));
    report.add("universalAdIds", JSONReport::listOf(creative.universalAdIds(), reportOfUniversalAdId));
    report.add("trackingEvents", JSONReport::listOf(creative.trackingEvents(), reportOfTrackingEvent));
    return report;
}

JSONReport withResources(JSONReport report, const VKTVASTCreativeResource& creative) {
    report.add("staticResource", valueOf(creative.staticResource()));
    report.add("iFrameResource", valueOf(creative.iFrameResource()));
    report.add("htmlResource", valueOf(creative.htmlResource()));
    return withTracking(std::move(report), creative);
}

JSONReport reportOfMediaFile(const std::shared_ptr<VKTVASTMediaFile>& file) {
    return JSONReport::object({{"id", valueOf(file->id)},
                               {"delivery", valueOf(file->delivery)},
                               {"type", valueOf(file->type)},
                               {"bitrate", valueOf(file->bitrate)},
                               {"minBitrate", valueOf(file->minBitrate)},
                               {"maxBitrate", valueOf(file->maxBitrate)},
                               {"width", valueOf(file->width)},
                               {"height", valueOf(file->height)},
                               {"scalable", file->scalable},
                               {"maintainAspectRatio", file->maintainAspectRatio},
                               {"codec", valueOf(file->codec)},
                               {"apiFramework", valueOf(file->apiFramework)},
                               {"fileSize", valueOf(file->fileSize)},
                               {"url", valueOf(file->url)}});
}

JSONReport reportOfIcon(const std::shared_ptr<VKTVASTCreativeIcon>& icon) {
    return withResources(JSONReport::object({{"program", valueOf(icon->program())},
                                             {"duration", valueOf(icon->duration())},
                                             {"offset", valueOf(icon->offset())},
                                             {"apiFramework", valueOf(icon->apiFramework())},
                                             {"width", valueOf(icon->width())},
                                             {"height", valueOf(icon->height())},
                                             {"xPosition", valueOf(icon->xPosition())},
                                             {"yPosition", valueOf(icon->yPosition())}}),
                         *icon);
}

JSONReport reportOfLinear(const VKTVASTCreativeLinear& creative, std::uint32_t networkAccessType) {
    JSONReport report = withTracking(JSONReport::object({{"duration", valueOf(creative.duration())},
                                                         {"skipOffset", valueOf(creative.skipOffset())},
                                                         {"adParameters", valueOf(creative.adParameters())}}),
                                     creative);
    report.add("mediaFiles", JSONReport::listOf(creative.mediaFiles(), reportOfMediaFile));
    const auto chosen = chosenMediaFile(creative, networkAccessType);
    report.add("mostAppropriateMediaFile", chosen ? valueOf(chosen->url) : VKTValue());
    report.add("icons", JSONReport::listOf(creative.icons(), reportOfIcon));
    return report;
}

JSONReport reportOfNonLinear(const std::shared_ptr<VKTVASTCreativeNonLinear>& creative) {
    return withResources(
        JSONReport::object({{"id", valueOf(creative->id())},
                            {"minSuggestedDuration", valueOf(creative->minSuggestedDuration())},
                            {"apiFramework", valueOf(creative->apiFramework())},
                            {"scalable", creative->scalable()},
                            {"maintainAspectRatio", creative->maintainAspectRatio()},
                            {"width", valueOf(creative->width())},
                            {"height", valueOf(creative->height())},
                            {"expandedWidth", valueOf(creative->expandedWidth())},
                            {"expandedHeight", valueOf(creative->expandedHeight())},
                            {"adParameters", valueOf(creative->adParameters())}}),
        *creative);
}

JSONReport reportOfCompanion(const std::shared_ptr<VKTVASTCreativeCompanion>& creative) {
    return withResources(JSONReport::object({{"id", valueOf(creative->id())},
                                             {"adSlotID", valueOf(creative->adSlotID())},
                                             {"width", valueOf(creative->width())},
                                             {"height", valueOf(creative->height())},
                                             {"assetWidth", valueOf(creative->assetWidth())},
                                             {"assetHeight", valueOf(creative->assetHeight())},
                                             {"adParameters", valueOf(creative->adParameters())}}),
                         *creative);
}

VKTDictionary reportOfResource(const VKTVASTAdVerificationResource& resource) {
    return {{"type", resource.type},
            {"url", valueOf(resource.url)},
            {"apiFramework", valueOf(resource.apiFramework)},
            {"browserOptional", resource.browserOptional},
            {"executableType", valueOf(resource.executableType)}};
}

JSONReport reportOfVerification(const VKTVASTAdVerification& verification) {
    return JSONReport::object(
        {{"vendor", valueOf(verification.vendor)},
         {"verificationParameters", valueOf(verification.verificationParameters)},
         {"resources", JSONReport::listOf(verification.resources, reportOfResource)},
         {"trackingEvents", JSONReport::listOf(verification.trackingEvents, [](const auto& event) {
              return reportOfNamedEvent(event);
          })}});
}

VKTDictionary reportOfLegacyVerification(const VKTVASTAdExtensionAdVerification& verification) {
    return {{"javascriptResourceURL", verification.javascriptResourceURL.absoluteString()},
            {"vendor", valueOf(verification.vendor)},
            {"verificationParameters", valueOf(verification.verificationParameters)}};
}

JSONReport reportOfExtension(const std::shared_ptr<VKTVASTAdExtension>& extension) {
    if (!extension) return VKTValue();
    JSONReport report =
        JSONReport::object({{"offsetIsForced", extension->offsetIsForced},
                            {"skipOffset", valueOf(extension->skipOffset)},
                            {"sortRank", valueOf(extension->sortRank)},
                            {"customScript", valueOf(extension->customScript)},
                            {"instanceCount", extension->instanceCount},
                            {"metrics", JSONReport::listOf(extension->metrics, reportOfTrackingEvent)}});
    for (const auto& field : vkt_extensionNumberMacros()) {
        const auto& number = (*extension).*field.member;
        report.add(field.name, number ? VKTValue(*number) : VKTValue());
    }
    for (const auto* fields : {&vkt_extensionTextMacros(), &vkt_extensionRTBMacros()}) {
        for (const auto& field : *fields)
            report.add(field.name, valueOf((*extension).*field.member));
    }
    report.add("adVerifications", JSONReport::listOf(extension->adVerifications, reportOfLegacyVerification));
    return report;
}

// A holder is the only one of its kind.
template <typename Creative, typename ReportOf>
JSONReport reportOfCreatives(const std::vector<std::shared_ptr<Creative>>& creatives, ReportOf report) {
    const bool isHolder = !creatives.empty() && creatives.front()->isHolder();
    return isHolder ? JSONReport(VKTArray()) : JSONReport::listOf(creatives, report);
}

}  // namespace

JSONReport reportOfAd(const VKTVASTAd& ad, std::uint32_t networkAccessType) {
    return JSONReport::object(
        {{"adID", valueOf(ad.adID())},
         {"adSequence", valueOf(ad.adSequence())},
         {"adSystem", valueOf(ad.adSystem())},
         {"adTitle", valueOf(ad.adTitle())},
         {"wrapperDepth", ad.wrapperDepth()},
         {"impressions", reportOfURLs(ad.impressions())},
         {"errorPixels", reportOfURLs(ad.errorPixels())},
         {"viewabilityEvents",
          JSONReport::listOf(ad.viewabilityEvents(),
                             [](const auto& event) { return reportOfNamedEvent(event); })},
         {"linearCreatives", reportOfCreatives(ad.linearCreatives(),
                                               [networkAccessType](const auto& creative) {
                                                   return reportOfLinear(*creative, networkAccessType);
                                               })},
         {"nonLinearCreatives", reportOfCreatives(ad.nonLinearCreatives(), reportOfNonLinear)},
         {"companionCreatives", reportOfCreatives(ad.companionCreatives(), reportOfCompanion)},
         {"adVerifications", JSONReport::listOf(ad.adVerifications(), reportOfVerification)},
         {"extension", reportOfExtension(ad.extensions())}});
}

JSONReport reportOfURLs(const std::vector<VKTVASTURL>& urls) {
    return JSONReport::listOf(urls, [](const VKTVASTURL& url) { return url.url().absoluteString(); });
}

JSONReport reportOfErrors(const std::vector<ReportedError>& errors) {
    return JSONReport::listOf(errors, [](const ReportedError& reported) {
        return JSONReport::object({{"name", reported.error.errorName()},
                                   {"VASTCode", reported.error.VASTCode()},
                                   {"korvoCode", reported.error.korvoCode()},
                                   {"errorURLs", reportOfURLs(reported.errorURLs)},
                                   {"document", reported.hasDocument}});
    });
}

void addDocument(VKTDictionary& report, const std::optional<VKTVASTDocumentOutcome>& document) {
    const bool hasProblem = document && !document->problem.empty();
    report.set("root", document ? valueOf(document->root) : VKTValue());
    report.set("version", document ? valueOf(document->version) : VKTValue());
    report.set("ads", document && document->version ? VKTValue(document->ads) : VKTValue());
    report.set("problem", hasProblem ? VKTValue(document->problem) : VKTValue());
    report.set("faultLine", document && document->faultLine ? VKTValue(*document->faultLine) : VKTValue());
    report.set("faultColumn",
               document && document->faultColumn ? VKTValue(*document->faultColumn) : VKTValue());
}

VKTValue reportOfError(const std::optional<VKTError>& error) {
    if (!error) return {};
    return VKTDictionary{{"domain", error->domain()},
                         {"code", error->code()},
                         {"description", valueOf(error->localizedDescription())}};
}

std::string lineOfError(const ReportedError& reported) {
    const VKTVASTError& error = reported.error;
    std::string line = error.VASTCode() == -1 ? "error " + std::to_string(error.korvoCode())
                                              : "VAST error " + std::to_string(error.VASTCode());
    line += " " + error.errorName() + ": " + error.errorDescription().value_or("");
    if (reported.detail) line += " " + *reported.detail;
    if (error.VASTCode() == -1) return line + " (has no VAST code, so no error pixel is called)";
    if (reported.errorURLs.empty()) return line + " (no error pixel to call)";
    line += " Error pixels to call:";
    const std::size_t count = reported.errorURLs.size();
    for (std::size_t i = 0; i < std::min(count, lineURLLimit); ++i)
        line += " " + reported.errorURLs[i].url().absoluteString();
    if (count > lineURLLimit) line += " and " + std::to_string(count - lineURLLimit) + " more";
    return line;
}

std::vector<std::string> linesOfErrors(const std::vector<ReportedError>& errors) {
    std::vector<std::string> lines;
    std::map<std::string, std::size_t> counts;
    std::size_t bytes = 0;
    std::size_t untold = 0;
    for (const ReportedError& error : errors) {
        std::string line = lineOfError(error);
        const auto known = counts.find(line);
        if (known != counts.end()) {
            ++known->second;
        } else if (bytes + line.size() > linesByteLimit) {
            ++untold;
        } else {
            bytes += line.size();
            counts.emplace(line, 1);
            lines.push_back(std::move(line));
        }
    }
    for (std::string& line : lines) {
        const std::size_t count = counts[line];
        if (count > 1) line += " (" + std::to_string(count) + " times)";
    }
    if (untold > 0) lines.push_back(std::to_string(untold) + " further problems are not told here");
    return lines;
}
