// A session of the built-in measurement runtime.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/omruntime/AdSession.h"
#include "VKTCoreKit/openmeasurement/VKTOpenMeasurementManagerProtocols.h"

/// Hands each event to the runtime and logs, at debug level, what came of it. An event object that the
/// runtime refuses to make is logged once; its events are then skipped.
///
/// Main thread only. Holds the runtime's session strongly, views weakly.
class VKT_EXPORT VKTOpenMeasurementManagerDefaultAdSession final : public VKTOpenMeasurementAdSession {
  public:
    /// The session must not be null, and not have event objects yet.
    static std::shared_ptr<VKTOpenMeasurementManagerDefaultAdSession> initWithSession(
        std::shared_ptr<OMIDKorvonet1::AdSession> session, bool isVideo);

    [[nodiscard]] const std::shared_ptr<OMIDKorvonet1::AdSession>& session() const { return session_; }
    [[nodiscard]] const std::shared_ptr<OMIDKorvonet1::AdEvents>& adEvents() const { return adEvents_; }

    /// Null for anything but video.
    [[nodiscard]] const std::shared_ptr<OMIDKorvonet1::MediaEvents>& mediaEvents() const {
        return mediaEvents_;
    }

    void start() override;
    void finish() override;
    [[nodiscard]] std::shared_ptr<const VKTView> mainAdView() const override;
    void setMainAdView(const std::shared_ptr<const VKTView>& view) override;

    void loadedOccurred() override;
    void loadedOccurredWithVASTProperties(const VKTOpenMeasurementVASTProperties& properties) override;
    void impressionOccurred() override;

    void addFriendlyObstruction(const std::shared_ptr<const VKTView>& view,
                                VKTOpenMeasurementFriendlyObstructionPurpose purpose,
                                const std::optional<std::string>& detailedReason) override;
    void removeFriendlyObstruction(const std::shared_ptr<const VKTView>& view) override;
    void removeAllFriendlyObstructions() override;
    void setScriptUnavailableHandler(const ScriptUnavailableHandler& handler) override;

    void videoEventStartOccurredWithDuration(double duration, double videoPlayerVolume) override;
    void videoEventFirstQuartileOccurred() override;
    void videoEventMidpointOccurred() override;
    void videoEventThirdQuartileOccurred() override;
    void videoEventCompleteOccurred() override;
    void videoEventPauseOccurred() override;
    void videoEventResumeOccurred() override;
    void videoEventVolumeChangeOccurred(double volume) override;
    void videoEventSkipped() override;
    void videoEventEnterFullscreen() override;
    void videoEventExitFullscreen() override;
    void videoEventUserInteraction() override;

  private:
    VKTOpenMeasurementManagerDefaultAdSession(std::shared_ptr<OMIDKorvonet1::AdSession> session,
                                              bool isVideo);

    template <typename... Parameters, typename... Arguments>
    void report(std::string_view name, void (OMIDKorvonet1::MediaEvents::*event)(Parameters...),
                Arguments... arguments);

    const std::shared_ptr<OMIDKorvonet1::AdSession> session_;
    std::shared_ptr<OMIDKorvonet1::AdEvents> adEvents_;
    std::shared_ptr<OMIDKorvonet1::MediaEvents> mediaEvents_;
};
