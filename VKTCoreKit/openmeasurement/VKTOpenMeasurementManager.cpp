#include "VKTCoreKit/openmeasurement/VKTOpenMeasurementManager.h"

#include <utility>

#include "VKTCoreKit/core/VKTLog.h"
#include "VKTCoreKit/core/VKTRandom.h"
#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/openmeasurement/VKTHTMLInjection.h"

namespace {

constexpr std::int64_t javascriptResourceType = 0;
constexpr std::int64_t logImplementationType = 0;
constexpr std::string_view notExecutedName = "verificationNotExecuted";
constexpr std::string_view reasonMacro = "%5BREASON%5D";
constexpr std::string_view notSupportedReason = "2";

}  // namespace

std::shared_ptr<VKTOpenMeasurementManager> VKTOpenMeasurementManager::initWithProvider(
    std::shared_ptr<VKTOpenMeasurementManagerProvider> provider,
    std::shared_ptr<VKTOpenMeasurementJSLibrary> jsLibrary,
    std::shared_ptr<VKTOpenMeasurementRemoteLoggerProtocol> remoteLogger,
    std::shared_ptr<VKTPixelManager> pixelManager) {
    return std::shared_ptr<VKTOpenMeasurementManager>(new VKTOpenMeasurementManager(
        std::move(provider), std::move(jsLibrary), std::move(remoteLogger), std::move(pixelManager)));
}

VKTOpenMeasurementManager::VKTOpenMeasurementManager(
    std::shared_ptr<VKTOpenMeasurementManagerProvider> provider,
    std::shared_ptr<VKTOpenMeasurementJSLibrary> jsLibrary,
    std::shared_ptr<VKTOpenMeasurementRemoteLoggerProtocol> remoteLogger,
    std::shared_ptr<VKTPixelManager> pixelManager)
    : provider_(std::move(provider)),
      jsLibrary_(std::move(jsLibrary)),
      remoteLogger_(std::move(remoteLogger)),
      pixelManager_(std::move(pixelManager)) {}

VKTOpenMeasurementManager::Scripts VKTOpenMeasurementManager::scriptsFromAdVerifications(
    const std::vector<VKTVASTAdVerification>& adVerifications) {
    Scripts scripts;
    for (const VKTVASTAdVerification& verification : adVerifications) {
        const std::size_t scriptsBefore = scripts.size();
        for (const VKTVASTAdVerificationResource& resource : verification.resources) {
            if (resource.type != javascriptResourceType) continue;
            scripts.push_back({resource.url, verification.vendor, verification.verificationParameters});
        }
        if (!verification.resources.empty() && scripts.size() == scriptsBefore)
            callVerificationNotSupportedTrackingEvents(verification);
    }
    return scripts;
}

void VKTOpenMeasurementManager::callVerificationNotSupportedTrackingEvents(
    const VKTVASTAdVerification& adVerification) {
    VKTPixels pixels;
    for (const auto& event : adVerification.trackingEvents) {
        if (event->eventName() != notExecutedName) continue;
        auto url = VKTURL::URLWithString(
            vkt_replacingOccurrences(event->eventURL().absoluteString(), reasonMacro, notSupportedReason));
        if (url) pixels.push_back(VKTPixel::initWithUrl(std::move(*url), event->eventName()));
    }
    pixelManager_->addPixels(pixels);
    pixelManager_->callPixels();
}

std::shared_ptr<VKTOpenMeasurementAdSession> VKTOpenMeasurementManager::sessionWithView(
    const std::shared_ptr<const VKTView>& view, bool isVideo, const Scripts& scripts) {
    if (!jsLibrary_->isReady()) {
        jsLibrary_->refreshJSLibrary();
        VKTLog::sharedInstance()->logDebug(
            "Can't create Open Measurement session because the OM JS library is not ready!");
        return nullptr;
    }
    std::optional<VKTError> error;
    auto session = provider_->sessionWithView(view, *jsLibrary_->libraryScript(), scripts, isVideo, &error);
    if (!session) {
        VKTLog::sharedInstance()->logDebugWithFormat("Unable to start Open Measurement session with view: %@",
                                                     error ? error->localizedDescription() : std::nullopt);
    }
    logSession(session != nullptr, error, scripts);
    return session;
}

void VKTOpenMeasurementManager::logSession(bool isMade, const std::optional<VKTError>& error,
                                           const Scripts& scripts) {
    if (scripts.empty() || !remoteLogger_) return;
    const auto& script =
        scripts[VKTRandom::randomUnsignedIntWithMin(0, static_cast<std::uint32_t>(scripts.size()))];
    const auto& url = script.javascriptResourceURL;
    const auto urlString = url ? std::optional(url->absoluteString()) : std::nullopt;
    if (isMade) {
        remoteLogger_->logOMInfoWithVendorName(script.vendor, urlString, logImplementationType);
    } else {
        remoteLogger_->logOMAPIError(error, script.vendor, urlString, logImplementationType);
    }
}

std::string VKTOpenMeasurementManager::injectLibraryIntoHTML(std::string_view html,
                                                             bool forceEndOfHTMLInjection) const {
    return vkt_HTMLByInjectingScript(html, provider_->JSLibraryURL(), forceEndOfHTMLInjection);
}
