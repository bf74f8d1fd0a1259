#include "VKTCoreKit/openmeasurement/VKTOpenMeasurementManagerDefaultAdSession.h"

#include <algorithm>
#include <utility>

#include "VKTCoreKit/core/VKTLog.h"

namespace OM = OMIDKorvonet1;

namespace {

std::optional<std::string> descriptionOf(const std::optional<VKTError>& error) {
    return error ? error->localizedDescription() : std::nullopt;
}

void logError(std::string_view format, const std::optional<VKTError>& error) {
    VKTLog::sharedInstance()->logDebugWithFormat(format, descriptionOf(error));
}

void logAdEvent(std::string_view name, bool isSignalled, const std::optional<VKTError>& error) {
    if (isSignalled) {
        VKTLog::sharedInstance()->logDebugWithFormat("Open Measurement %@ event logged", name);
    } else {
        VKTLog::sharedInstance()->logDebugWithFormat("Unable to log the Open Measurement %@ event: %@", name,
                                                     descriptionOf(error));
    }
}

OM::VASTProperties runtimeProperties(const VKTOpenMeasurementVASTProperties& properties) {
    if (properties.skipOffset >= 0) {
        return OM::VASTProperties::initWithSkipOffset(properties.skipOffset, properties.autoPlay,
                                                      OM::PositionStandalone);
    }
    return OM::VASTProperties::initWithAutoPlay(properties.autoPlay, OM::PositionStandalone);
}

OM::FriendlyObstructionPurpose runtimePurpose(VKTOpenMeasurementFriendlyObstructionPurpose purpose) {
    return static_cast<OM::FriendlyObstructionPurpose>(
        std::min<std::uint8_t>(purpose, OM::FriendlyObstructionPurposeOther));
}

}  // namespace

std::shared_ptr<VKTOpenMeasurementManagerDefaultAdSession>
VKTOpenMeasurementManagerDefaultAdSession::initWithSession(std::shared_ptr<OM::AdSession> session,
                                                           bool isVideo) {
    return std::shared_ptr<VKTOpenMeasurementManagerDefaultAdSession>(
        new VKTOpenMeasurementManagerDefaultAdSession(std::move(session), isVideo));
}

VKTOpenMeasurementManagerDefaultAdSession::VKTOpenMeasurementManagerDefaultAdSession(
    std::shared_ptr<OM::AdSession> session, bool isVideo)
    : session_(std::move(session)) {
    std::optional<VKTError> error;
    adEvents_ = OM::AdEvents::initWithAdSession(*session_, &error);
    if (!adEvents_) logError("Unable to instantiate Open Measurement ad events object: %@", error);
    if (!isVideo) return;
    error.reset();
    mediaEvents_ = OM::MediaEvents::initWithAdSession(*session_, &error);
    if (!mediaEvents_) logError("Unable to instantiate Open Measurement video events object: %@", error);
}

void VKTOpenMeasurementManagerDefaultAdSession::start() {
    VKTLog::sharedInstance()->logDebug("Open Measurement session start logged");
    session_->start();
}

void VKTOpenMeasurementManagerDefaultAdSession::finish() {
    VKTLog::sharedInstance()->logDebug("Open Measurement session finish logged");
    session_->finish();
}

std::shared_ptr<const VKTView> VKTOpenMeasurementManagerDefaultAdSession::mainAdView() const {
    return session_->mainAdView();
}

void VKTOpenMeasurementManagerDefaultAdSession::setMainAdView(const std::shared_ptr<const VKTView>& view) {
    session_->setMainAdView(view);
}

void VKTOpenMeasurementManagerDefaultAdSession::loadedOccurred() {
    if (!adEvents_) return;
    std::optional<VKTError> error;
    const bool isSignalled = adEvents_->loaded(&error);
    logAdEvent("loaded", isSignalled, error);
}

void VKTOpenMeasurementManagerDefaultAdSession::loadedOccurredWithVASTProperties(
    const VKTOpenMeasurementVASTProperties& properties) {
    if (!adEvents_) return;
    std::optional<VKTError> error;
    const bool isSignalled = adEvents_->loadedWithVASTProperties(runtimeProperties(properties), &error);
    logAdEvent("loaded", isSignalled, error);
}

void VKTOpenMeasurementManagerDefaultAdSession::impressionOccurred() {
    if (!adEvents_) return;
    std::optional<VKTError> error;
    const bool isSignalled = adEvents_->impressionOccurred(&error);
    logAdEvent("impression", isSignalled, error);
}

void VKTOpenMeasurementManagerDefaultAdSession::addFriendlyObstruction(
    const std::shared_ptr<const VKTView>& view, VKTOpenMeasurementFriendlyObstructionPurpose purpose,
    const std::optional<std::string>& detailedReason) {
    if (!detailedReason || detailedReason->empty()) {
        VKTLog::sharedInstance()->logDebug(
            "Cannot add friendly obstruction because of empty detailed reason!");
        return;
    }
    std::optional<VKTError> error;
    if (!session_->addFriendlyObstruction(view, runtimePurpose(purpose), *detailedReason, &error))
        logError("Unable to add friendly obstruction view: %@", error);
}

void VKTOpenMeasurementManagerDefaultAdSession::removeFriendlyObstruction(
    const std::shared_ptr<const VKTView>& view) {
    session_->removeFriendlyObstruction(view);
}

void VKTOpenMeasurementManagerDefaultAdSession::removeAllFriendlyObstructions() {
    session_->removeAllFriendlyObstructions();
}

void VKTOpenMeasurementManagerDefaultAdSession::setScriptUnavailableHandler(
    const ScriptUnavailableHandler& handler) {
    session_->setScriptUnavailableHandler(handler);
}

template <typename... Parameters, typename... Arguments>
void VKTOpenMeasurementManagerDefaultAdSession::report(std::string_view name,
                                                       void (OM::MediaEvents::*event)(Parameters...),
                                                       Arguments... arguments) {
    if (!mediaEvents_) return;
    ((*mediaEvents_).*event)(arguments...);
    VKTLog::sharedInstance()->logDebugWithFormat("Open Measurement video '%@' event logged", name);
}

void VKTOpenMeasurementManagerDefaultAdSession::videoEventStartOccurredWithDuration(
    double duration, double videoPlayerVolume) {
    report("start", &OM::MediaEvents::startWithDuration, duration, videoPlayerVolume);
}

void VKTOpenMeasurementManagerDefaultAdSession::videoEventFirstQuartileOccurred() {
    report("first quartile", &OM::MediaEvents::firstQuartile);
}

void VKTOpenMeasurementManagerDefaultAdSession::videoEventMidpointOccurred() {
    report("midpoint", &OM::MediaEvents::midpoint);
}

void VKTOpenMeasurementManagerDefaultAdSession::videoEventThirdQuartileOccurred() {
    report("third quartile", &OM::MediaEvents::thirdQuartile);
}

void VKTOpenMeasurementManagerDefaultAdSession::videoEventCompleteOccurred() {
    report("complete", &OM::MediaEvents::complete);
}

void VKTOpenMeasurementManagerDefaultAdSession::videoEventPauseOccurred() {
    report("pause", &OM::MediaEvents::pause);
}

void VKTOpenMeasurementManagerDefaultAdSession::videoEventResumeOccurred() {
    report("resume", &OM::MediaEvents::resume);
}

void VKTOpenMeasurementManagerDefaultAdSession::videoEventVolumeChangeOccurred(double volume) {
    report("volume change", &OM::MediaEvents::volumeChangeTo, volume);
}

void VKTOpenMeasurementManagerDefaultAdSession::videoEventSkipped() {
    report("skipped", &OM::MediaEvents::skipped);
}

void VKTOpenMeasurementManagerDefaultAdSession::videoEventEnterFullscreen() {
    report("enter fullscreen", &OM::MediaEvents::playerStateChangeTo, OM::PlayerStateFullscreen);
}

void VKTOpenMeasurementManagerDefaultAdSession::videoEventExitFullscreen() {
    report("exit fullscreen", &OM::MediaEvents::playerStateChangeTo, OM::PlayerStateNormal);
}

void VKTOpenMeasurementManagerDefaultAdSession::videoEventUserInteraction() {
    report("ad user interaction", &OM::MediaEvents::adUserInteractionWithType, OM::InteractionTypeClick);
}
