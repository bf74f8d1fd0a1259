// What the manager of ad sessions needs of a measurement runtime, and of the embedder's log.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "VKTCoreKit/foundation/VKTError.h"
#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/foundation/VKTURL.h"
#include "VKTCoreKit/openmeasurement/VKTOpenMeasurementAdVerificationScript.h"
#include "VKTCoreKit/openmeasurement/VKTOpenMeasurementVASTProperties.h"
#include "VKTCoreKit/platform/VKTView.h"

/// Why a view in front of the ad is no obstruction. A value above the last one counts as the last one.
enum VKTOpenMeasurementFriendlyObstructionPurpose : std::uint8_t {
    VKTOpenMeasurementFriendlyObstructionPurposeMediaControls = 0,
    VKTOpenMeasurementFriendlyObstructionPurposeCloseAd = 1,
    VKTOpenMeasurementFriendlyObstructionPurposeNotVisible = 2,
    VKTOpenMeasurementFriendlyObstructionPurposeOther = 3,
};

/// One measured showing of an ad: start, loaded, impression, the player's events, finish. Main thread only;
/// nothing throws, and what cannot be reported is logged. The player owns it.
class VKT_EXPORT VKTOpenMeasurementAdSession {
  public:
    virtual ~VKTOpenMeasurementAdSession() = default;

    virtual void start() = 0;
    virtual void finish() = 0;

    /// Where the ad is seen; may change at any time. Held weakly.
    [[nodiscard]] virtual std::shared_ptr<const VKTView> mainAdView() const = 0;
    virtual void setMainAdView(const std::shared_ptr<const VKTView>& view) = 0;

    /// Once the ad can be shown, and before its impression; with properties for video.
    virtual void loadedOccurred() = 0;
    virtual void loadedOccurredWithVASTProperties(const VKTOpenMeasurementVASTProperties& properties) = 0;
    virtual void impressionOccurred() = 0;

    /// The reason tells people what the view is for; an empty one adds nothing.
    virtual void addFriendlyObstruction(const std::shared_ptr<const VKTView>& view,
                                        VKTOpenMeasurementFriendlyObstructionPurpose purpose,
                                        const std::optional<std::string>& detailedReason) = 0;
    virtual void removeFriendlyObstruction(const std::shared_ptr<const VKTView>& view) = 0;
    virtual void removeAllFriendlyObstructions() = 0;

    /// Called for each script for which there was never a world, with its URL: the device cannot run it. Null
    /// hears nothing. Set it before the start; a session that cannot tell ignores it.
    using ScriptUnavailableHandler = std::function<void(const VKTURL& javascriptResourceURL)>;
    virtual void setScriptUnavailableHandler(const ScriptUnavailableHandler& /*handler*/) {}

    /// Of video only; others ignore them. Duration in seconds, volumes from 0 to 1.
    virtual void videoEventStartOccurredWithDuration(double duration, double videoPlayerVolume) = 0;
    virtual void videoEventFirstQuartileOccurred() = 0;
    virtual void videoEventMidpointOccurred() = 0;
    virtual void videoEventThirdQuartileOccurred() = 0;
    virtual void videoEventCompleteOccurred() = 0;
    virtual void videoEventPauseOccurred() = 0;
    virtual void videoEventResumeOccurred() = 0;
    virtual void videoEventVolumeChangeOccurred(double volume) = 0;
    virtual void videoEventSkipped() = 0;
    virtual void videoEventEnterFullscreen() = 0;
    virtual void videoEventExitFullscreen() = 0;
    virtual void videoEventUserInteraction() = 0;
};

/// Makes sessions over a measurement runtime. Main thread only.
class VKT_EXPORT VKTOpenMeasurementManagerProvider {
  public:
    using Scripts = std::vector<VKTOpenMeasurementAdVerificationScript>;

    virtual ~VKTOpenMeasurementManagerProvider() = default;

    /// A session for the view, not started; null with the error. `JSLibrary` is the service script's text.
    /// The error output may be null.
    virtual std::shared_ptr<VKTOpenMeasurementAdSession> sessionWithView(
        const std::shared_ptr<const VKTView>& view, const std::string& JSLibrary, const Scripts& scripts,
        bool isVideo, std::optional<VKTError>* error) = 0;

    /// The viewer was seen to be there.
    virtual void updateLastActivity() = 0;

    /// Where the service script, version 1.4.2, is found.
    [[nodiscard]] virtual VKTURL JSLibraryURL() const = 0;

    /// A service script that needs no download; the one at `JSLibraryURL` is then not fetched.
    [[nodiscard]] virtual std::optional<std::string> embeddedLibraryScript() const { return std::nullopt; }
};

/// The embedder's log of sessions. Called on the main thread, once per session that was asked for with
/// scripts; one of them, drawn at random, stands for all. The URL is absent when the script has none.
class VKTOpenMeasurementRemoteLoggerProtocol {
  public:
    virtual ~VKTOpenMeasurementRemoteLoggerProtocol() = default;

    virtual void logOMInfoWithVendorName(const std::optional<std::string>& vendorName,
                                         const std::optional<std::string>& JSLibraryURLString,
                                         std::int64_t implementationType) = 0;

    /// No session came of it. The error is absent when the provider gave none.
    virtual void logOMAPIError(const std::optional<VKTError>& error,
                               const std::optional<std::string>& vendorName,
                               const std::optional<std::string>& JSLibraryURLString,
                               std::int64_t implementationType) = 0;
};
