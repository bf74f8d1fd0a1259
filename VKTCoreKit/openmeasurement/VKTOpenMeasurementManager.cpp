#include "VKTCoreKit/openmeasurement/VKTOpenMeasurementManager.h"

#include <algorithm>
#include <utility>

#include "VKTCoreKit/core/VKTLog.h"
#include "VKTCoreKit/core/VKTRandom.h"
#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/openmeasurement/VKTOpenMeasurementManagerDefaultProvider.h"
#include "VKTCoreKit/openmeasurement/detail/VKTHTMLInjection.h"

namespace {

constexpr std::int64_t javascriptResourceType = 0;
constexpr std::int64_t logImplementationType = 0;
constexpr std::string_view notExecutedName = "verificationNotExecuted";
constexpr std::string_view reasonMacro = "%5BREASON%5D";
constexpr std::string_view notSupportedReason = "2";

bool canRun(const VKTVASTAdVerificationResource& resource) {
    return resource.type == javascriptResourceType && resource.url;
}

void callNotSupportedEvents(VKTPixelManager& pixelManager, const VKTVASTAdVerification& adVerification) {
    VKTPixels pixels;
    for (const auto& event : adVerification.trackingEvents) {
        if (event->eventName() != notExecutedName) continue;
        auto url = VKTURL::URLWithString(
            vkt_replacingOccurrences(event->eventURL().absoluteString(), reasonMacro, notSupportedReason));
        if (url) pixels.push_back(VKTPixel::initWithUrl(std::move(*url), event->eventName()));
    }
    pixelManager.addPixels(pixels);
    pixelManager.callPixels();
}

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
    callNotSupportedEvents(*pixelManager_, adVerification);
}

void VKTOpenMeasurementManager::reportUnavailableVerifications(
    VKTOpenMeasurementAdSession& session, std::vector<VKTVASTAdVerification> adVerifications) {
    // Shared, since the session may copy its handler.
    const auto waiting = std::make_shared<std::vector<VKTVASTAdVerification>>(std::move(adVerifications));
    session.setScriptUnavailableHandler([pixelManager = pixelManager_, waiting](const VKTURL& URL) {
        std::erase_if(*waiting, [&](VKTVASTAdVerification& verification) {
            auto& resources = verification.resources;
            const auto isLost = [&](const auto& resource) { return resource.url == URL; };
            const bool isOver = std::erase_if(resources, isLost) > 0 &&
                                std::none_of(resources.begin(), resources.end(), canRun);
            if (isOver) callNotSupportedEvents(*pixelManager, verification);
            return isOver;
        });
    });
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
    const VKTURL URL = provider_->JSLibraryURL();
    if (URL.absoluteString() == VKTOpenMeasurementDefaultJSLibraryURL) {
        VKTLog::sharedInstance()->logWarningWithFormat(
            "The Open Measurement script tag put into an ad's HTML names %@, which nobody serves: the ad "
            "will "
            "not be measured. Set the address of your service script with "
            "VKTOpenMeasurementManagerDefaultProvider::setJSLibraryURL.",
            URL.absoluteString());
    }
    return vkt_HTMLByInjectingScript(html, URL, forceEndOfHTMLInjection);
}
