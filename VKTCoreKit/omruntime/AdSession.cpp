#include "VKTCoreKit/omruntime/AdSession.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "VKTCoreKit/core/VKTLog.h"
#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/omruntime/SDK.h"
#include "VKTCoreKit/omruntime/detail/Errors.h"
#include "VKTCoreKit/omruntime/detail/EventData.h"
#include "VKTCoreKit/omruntime/detail/SessionRun.h"

namespace OMIDKorvonet1 {

namespace {

constexpr std::size_t reasonLimit = 50;

bool isDetailedReason(const std::string& text) {
    return !text.empty() && text.size() <= reasonLimit && std::all_of(text.begin(), text.end(), [](char c) {
        return vkt_isLetter(c) || vkt_isDigit(c) || c == ' ';
    });
}

bool isVolume(double volume) {
    return volume >= 0 && volume <= 1;
}

void logDropped(const char* event, const char* rule) {
    VKTLog::sharedInstance()->logDebugWithFormat("Measurement: the media event '%@' is dropped, %@", event,
                                                 rule);
}

constexpr const char* volumeRule = "the volume is not between 0 and 1";

}  // namespace

// ---- AdSession ----

AdSession::AdSession(std::shared_ptr<SessionRun> run) : run_(std::move(run)) {}

AdSession::~AdSession() {
    run_->finish();
}

std::shared_ptr<AdSession> AdSession::initWithConfiguration(AdSessionConfiguration configuration,
                                                            std::shared_ptr<const AdSessionContext> context,
                                                            std::optional<VKTError>* error) {
    if (!SDK::sharedInstance().isActive()) {
        setError(error, inactiveError());
        return nullptr;
    }
    return std::shared_ptr<AdSession>(
        new AdSession(std::make_shared<SessionRun>(configuration, std::move(context))));
}

const std::string& AdSession::identifier() const {
    return run_->identifier();
}
const AdSessionConfiguration& AdSession::configuration() const {
    return run_->configuration();
}

void AdSession::start() {
    run_->start();
}
void AdSession::finish() {
    run_->finish();
}
bool AdSession::isRunning() const {
    return run_->isRunning();
}

void AdSession::setMainAdView(const std::shared_ptr<const VKTView>& view) {
    run_->setMainAdView(view);
}
std::shared_ptr<const VKTView> AdSession::mainAdView() const {
    return run_->mainAdView();
}

bool AdSession::addFriendlyObstruction(const std::shared_ptr<const VKTView>& view,
                                       FriendlyObstructionPurpose purpose, const std::string& detailedReason,
                                       std::optional<VKTError>* error) {
    if (!view) {
        setError(error, argumentError("The friendly obstruction is no view: pass one that lives"));
        return false;
    }
    if (!isDetailedReason(detailedReason)) {
        setError(error, argumentError("The detailed reason must have 1 to 50 letters, digits and blanks, and "
                                      "nothing else"));
        return false;
    }
    if (run_->isFriendlyObstruction(*view)) {
        setError(error, argumentError("The view is a friendly obstruction already: remove it before it is "
                                      "added with another purpose"));
        return false;
    }
    run_->addFriendlyObstruction({view, purpose, detailedReason});
    return true;
}

void AdSession::removeFriendlyObstruction(const std::shared_ptr<const VKTView>& view) {
    run_->removeFriendlyObstruction(view);
}
void AdSession::removeAllFriendlyObstructions() {
    run_->removeAllFriendlyObstructions();
}

void AdSession::setScriptUnavailableHandler(std::function<void(const VKTURL& URL)> handler) {
    run_->setScriptUnavailableHandler(std::move(handler));
}

void AdSession::logError(const std::string& errorType, const std::string& message) {
    run_->tellError(errorType, message);
}

// ---- AdEvents ----

std::shared_ptr<AdEvents> AdEvents::initWithAdSession(const AdSession& session,
                                                      std::optional<VKTError>* error) {
    if (session.run()->isFinished() || !session.run()->claimAdEvents()) {
        setError(error, stateError("The session is finished or has its ad events already: keep the first "
                                   "object, one per session"));
        return nullptr;
    }
    return std::shared_ptr<AdEvents>(new AdEvents(session.run()));
}

bool AdEvents::impressionOccurred(std::optional<VKTError>* error) {
    if (!run_->allowsImpression(error)) return false;
    run_->tellImpression();
    return true;
}

bool AdEvents::loaded(std::optional<VKTError>* error) {
    if (!run_->allowsLoaded(error)) return false;
    run_->tellLoaded(std::nullopt);
    return true;
}

bool AdEvents::loadedWithVASTProperties(const VASTProperties& properties, std::optional<VKTError>* error) {
    if (!run_->allowsLoaded(error)) return false;
    run_->tellLoaded(properties);
    return true;
}

// ---- MediaEvents ----

std::shared_ptr<MediaEvents> MediaEvents::initWithAdSession(const AdSession& session,
                                                            std::optional<VKTError>* error) {
    const AdSessionConfiguration& configuration = session.configuration();
    if (configuration.mediaEventsOwner() != OwnerNative || !isMedia(configuration.creativeType())) {
        setError(error, runtimeError(ErrorCodeWrongOwner,
                                     "The configuration leaves media events to somebody else, or names a "
                                     "creative that has none: make native code their owner, and name video "
                                     "or audio"));
        return nullptr;
    }
    if (session.run()->isFinished() || !session.run()->claimMediaEvents()) {
        setError(error, stateError("The session is finished or has its media events already: keep the first "
                                   "object, one per session"));
        return nullptr;
    }
    return std::shared_ptr<MediaEvents>(new MediaEvents(session.run()));
}

void MediaEvents::startWithDuration(double duration, double mediaPlayerVolume) {
    if (!(duration > 0) || !std::isfinite(duration))
        return logDropped("start", "the duration is not above 0");
    if (!isVolume(mediaPlayerVolume)) return logDropped("start", volumeRule);
    run_->tellStart(duration, mediaPlayerVolume);
}

void MediaEvents::firstQuartile() {
    run_->tellMediaEvent("firstQuartile");
}
void MediaEvents::midpoint() {
    run_->tellMediaEvent("midpoint");
}
void MediaEvents::thirdQuartile() {
    run_->tellMediaEvent("thirdQuartile");
}
void MediaEvents::complete() {
    run_->tellMediaEvent("complete");
}
void MediaEvents::pause() {
    run_->tellMediaEvent("pause");
}
void MediaEvents::resume() {
    run_->tellMediaEvent("resume");
}
void MediaEvents::bufferStart() {
    run_->tellMediaEvent("bufferStart");
}
void MediaEvents::bufferFinish() {
    run_->tellMediaEvent("bufferFinish");
}
void MediaEvents::skipped() {
    run_->tellMediaEvent("skipped");
}

void MediaEvents::volumeChangeTo(double mediaPlayerVolume) {
    if (!isVolume(mediaPlayerVolume)) return logDropped("volumeChange", volumeRule);
    run_->tellVolume(mediaPlayerVolume);
}

void MediaEvents::playerStateChangeTo(PlayerState state) {
    run_->tellMediaEvent("playerStateChange", {{"state", nameOf(state)}});
}

void MediaEvents::adUserInteractionWithType(InteractionType type) {
    run_->tellMediaEvent("adUserInteraction", {{"interactionType", nameOf(type)}});
}

}  // namespace OMIDKorvonet1
