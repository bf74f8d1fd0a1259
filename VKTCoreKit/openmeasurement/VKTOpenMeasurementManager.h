// From the verifications of a VAST ad to measured sessions.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/openmeasurement/VKTOpenMeasurementJSLibrary.h"
#include "VKTCoreKit/openmeasurement/VKTOpenMeasurementManagerProtocols.h"
#include "VKTCoreKit/tracking/VKTPixelManager.h"
#include "VKTCoreKit/vast/VKTVASTAdVerification.h"

/// Turns verifications into scripts, opens a session for a view once the service script is there, and tells
/// vendors whose verification cannot be run.
///
/// Main thread only. Holds what it is made of strongly; sessions belong to the caller.
///
/// ```cpp
/// auto provider = VKTOpenMeasurementManagerDefaultProvider::initWithFrameworkVersion("1.0.0", "Player");
/// auto library = VKTOpenMeasurementJSLibrary::initWithProvider(provider, VKTURLSession::sharedInstance());
/// auto measurement = VKTOpenMeasurementManager::initWithProvider(provider, library, nullptr, pixelManager);
/// measurement->refreshJSLibrary();  // at start-up
///
/// auto scripts = measurement->scriptsFromAdVerifications(ad->allAdVerifications());
/// if (auto session = measurement->sessionWithView(view, true, scripts)) session->start();
/// ```
class VKT_EXPORT VKTOpenMeasurementManager {
  public:
    using Scripts = VKTOpenMeasurementManagerProvider::Scripts;

    /// Only the logger may be null.
    static std::shared_ptr<VKTOpenMeasurementManager> initWithProvider(
        std::shared_ptr<VKTOpenMeasurementManagerProvider> provider,
        std::shared_ptr<VKTOpenMeasurementJSLibrary> jsLibrary,
        std::shared_ptr<VKTOpenMeasurementRemoteLoggerProtocol> remoteLogger,
        std::shared_ptr<VKTPixelManager> pixelManager);

    [[nodiscard]] bool isReady() const { return jsLibrary_->isReady(); }

    /// Call it well before the first session: one that is asked for too early is not made.
    void refreshJSLibrary() { jsLibrary_->refreshJSLibrary(); }

    void updateLastActivity() { provider_->updateLastActivity(); }

    /// One script for each JavaScript resource, in order. The vendors of verifications that have only other
    /// resources hear that theirs is not supported.
    [[nodiscard]] Scripts scriptsFromAdVerifications(
        const std::vector<VKTVASTAdVerification>& adVerifications);

    /// A session that is not started; null when the provider makes none, and while the service script is not
    /// there: that starts its download.
    std::shared_ptr<VKTOpenMeasurementAdSession> sessionWithView(const std::shared_ptr<const VKTView>& view,
                                                                 bool isVideo, const Scripts& scripts);

    /// The HTML with a tag that loads the service script: before each closing head tag; if there is none, in
    /// a head of its own before each opening body tag; if there is neither, or when forced to the end, before
    /// each closing html tag; and without that, at the very end. The script is loaded by its URL, whether or
    /// not another one is embedded; with the default URL, which nobody serves, it warns.
    [[nodiscard]] std::string injectLibraryIntoHTML(std::string_view html,
                                                    bool forceEndOfHTMLInjection = false) const;

    /// Sends those pixels for each of the verifications of which no script can be run, as soon as the session
    /// finds that out: there is no host program, or the system does not let it run. Replaces the session's
    /// handler of unavailable scripts.
    void reportUnavailableVerifications(VKTOpenMeasurementAdSession& session,
                                        std::vector<VKTVASTAdVerification> adVerifications);

    /// Sends the verification's "verificationNotExecuted" pixels with reason 2, not supported.
    void callVerificationNotSupportedTrackingEvents(const VKTVASTAdVerification& adVerification);

    [[nodiscard]] const std::shared_ptr<VKTOpenMeasurementManagerProvider>& provider() const {
        return provider_;
    }
    [[nodiscard]] const std::shared_ptr<VKTOpenMeasurementJSLibrary>& jsLibrary() const { return jsLibrary_; }
    [[nodiscard]] const std::shared_ptr<VKTOpenMeasurementRemoteLoggerProtocol>& remoteLogger() const {
        return remoteLogger_;
    }
    [[nodiscard]] const std::shared_ptr<VKTPixelManager>& pixelManager() const { return pixelManager_; }

  private:
    VKTOpenMeasurementManager(std::shared_ptr<VKTOpenMeasurementManagerProvider> provider,
                              std::shared_ptr<VKTOpenMeasurementJSLibrary> jsLibrary,
                              std::shared_ptr<VKTOpenMeasurementRemoteLoggerProtocol> remoteLogger,
                              std::shared_ptr<VKTPixelManager> pixelManager);

    void logSession(bool isMade, const std::optional<VKTError>& error, const Scripts& scripts);

    const std::shared_ptr<VKTOpenMeasurementManagerProvider> provider_;
    const std::shared_ptr<VKTOpenMeasurementJSLibrary> jsLibrary_;
    const std::shared_ptr<VKTOpenMeasurementRemoteLoggerProtocol> remoteLogger_;
    const std::shared_ptr<VKTPixelManager> pixelManager_;
};
