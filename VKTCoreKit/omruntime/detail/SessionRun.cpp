#include "VKTCoreKit/omruntime/detail/SessionRun.h"

#include <algorithm>
#include <utility>

#include "VKTCoreKit/core/VKTLog.h"
#include "VKTCoreKit/core/detail/VKTUUID.h"
#include "VKTCoreKit/omruntime/SDK.h"
#include "VKTCoreKit/omruntime/detail/Bridge.h"
#include "VKTCoreKit/omruntime/detail/Errors.h"
#include "VKTCoreKit/omruntime/detail/EventData.h"
#include "VKTCoreKit/omruntime/detail/ScriptRun.h"
#include "VKTCoreKit/omruntime/detail/SessionRegistry.h"
#include "VKTCoreKit/platform/VKTPlatform.h"

namespace OMIDKorvonet1 {

namespace {

std::int64_t millisecondsNow() {
    return millisecondsOf(VKTPlatform::current().clock->now());
}

// What an embedder's device says may be anything; only a volume is told.
std::optional<double> deviceVolume() {
    const auto volume = VKTPlatform::current().device->volume();
    return volume && *volume >= 0 && *volume <= 1 ? volume : std::nullopt;
}

}  // namespace

SessionRun::SessionRun(AdSessionConfiguration configuration, std::shared_ptr<const AdSessionContext> context)
    : identifier_(vkt_randomUUIDString(*VKTPlatform::current().random)),
      configuration_(configuration),
      context_(std::move(context)) {}

SessionRun::~SessionRun() = default;

// ---- life ----

void SessionRun::start() {
    if (state_ != Ready) return;
    state_ = Running;
    SDK& runtime = SDK::sharedInstance();
    const VKTDictionary data =
        sessionStartData(configuration_, *context_, friendlyObstructions_, runtime.lastActivity());
    const std::int64_t now = millisecondsNow();
    for (const VerificationScriptResource& resource : context_->resources()) {
        scripts_.push_back(ScriptRun::start(
            {identifier_, resource, scripts_.size()}, *context_->script(),
            startMessage(identifier_, now, data, resource.vendorKey(), resource.parameters())));
        scripts_.back()->setUnavailableHandler([handler = scriptUnavailableHandler_, URL = resource.URL()] {
            if (handler) handler(URL);
        });
    }
    runtime.registry().add(shared_from_this());
}

void SessionRun::finish() {
    if (state_ != Running) return;
    state_ = Finished;
    const std::string message = finishMessage(millisecondsNow());
    const auto limit = VKTPlatform::current().clock->monotonicNow() + FinishLimit;
    for (const auto& script : scripts_)
        script->finish(message, limit);
    SDK::sharedInstance().registry().finish(shared_from_this(), limit);
}

bool SessionRun::areScriptsOver() const {
    return std::all_of(scripts_.begin(), scripts_.end(), [](const auto& script) { return script->isOver(); });
}

void SessionRun::giveUpScripts() {
    for (const auto& script : scripts_)
        script->giveUp();
}

// ---- views ----

void SessionRun::setMainAdView(const std::shared_ptr<const VKTView>& view) {
    mainAdView_ = view;
    hasMainAdView_ = view != nullptr;
}

bool SessionRun::isFriendlyObstruction(const VKTView& view) const {
    return std::any_of(friendlyObstructions_.begin(), friendlyObstructions_.end(),
                       [&](const FriendlyObstruction& each) { return each.view.lock().get() == &view; });
}

void SessionRun::addFriendlyObstruction(FriendlyObstruction obstruction) {
    std::erase_if(friendlyObstructions_, [](const FriendlyObstruction& each) { return each.view.expired(); });
    friendlyObstructions_.push_back(std::move(obstruction));
}

void SessionRun::removeFriendlyObstruction(const std::shared_ptr<const VKTView>& view) {
    std::erase_if(friendlyObstructions_,
                  [&](const FriendlyObstruction& each) { return each.view.lock() == view; });
}

// ---- events ----

bool SessionRun::allowsAdEvents(std::optional<VKTError>* error) const {
    if (configuration_.impressionOwner() != OwnerNative) {
        setError(error,
                 runtimeError(ErrorCodeWrongOwner,
                              "The configuration leaves the impression to JavaScript: make it native"));
        return false;
    }
    if (!isRunning()) {
        setError(error, stateError(isFinished() ? "The session is finished: make a new one for a new showing"
                                                : "The session has not been started: call start() first"));
        return false;
    }
    return true;
}

bool SessionRun::allowsImpression(std::optional<VKTError>* error) const {
    if (!allowsAdEvents(error)) return false;
    if (hasImpression_) setError(error, stateError("The impression has occurred: a session has one"));
    return !hasImpression_;
}

bool SessionRun::allowsLoaded(std::optional<VKTError>* error) const {
    if (!allowsAdEvents(error)) return false;
    if (isLoaded_) setError(error, stateError("The ad is loaded: a session hears so once"));
    return !isLoaded_;
}

void SessionRun::tellImpression() {
    hasImpression_ = true;
    walker_.look(mainAdView(), hasMainAdView_, friendlyObstructions_);
    tell("impression", impressionData(configuration_, walker_.geometry()));
    tellGeometry();
}

void SessionRun::tellLoaded(const std::optional<VASTProperties>& properties) {
    isLoaded_ = true;
    tell("loaded", loadedData(configuration_, properties));
}

void SessionRun::tellError(const std::string& errorType, const std::string& message) {
    if (!isRunning()) return;
    tell("sessionError", {{"errorType", sendableText(errorType)}, {"message", sendableText(message)}});
}

bool SessionRun::tellMediaEvent(std::string_view type, const VKTDictionary& data) {
    if (isRunning() && hasImpression_) {
        tell(type, data);
        return true;
    }
    VKTLog::sharedInstance()->logDebugWithFormat(
        "Measurement session %@: the media event '%@' is dropped, %@", identifier_, type,
        isRunning() ? "it comes before the impression" : "the session is not running");
    return false;
}

void SessionRun::tellStart(double duration, double mediaPlayerVolume) {
    VKTDictionary data = volumeData(mediaPlayerVolume);
    data.set("duration", duration);
    if (tellMediaEvent("start", data)) mediaPlayerVolume_ = mediaPlayerVolume;
}

void SessionRun::tellVolume(double mediaPlayerVolume) {
    if (tellMediaEvent("volumeChange", volumeData(mediaPlayerVolume)) && mediaPlayerVolume_)
        mediaPlayerVolume_ = mediaPlayerVolume;
}

VKTDictionary SessionRun::volumeData(double mediaPlayerVolume) {
    deviceVolume_ = deviceVolume();
    VKTDictionary data{{"mediaPlayerVolume", mediaPlayerVolume}};
    if (deviceVolume_) data.set("deviceVolume", *deviceVolume_);
    return data;
}

// ---- what changes by itself ----

void SessionRun::look() {
    if (!isRunning() || !hasImpression_ || areScriptsOver()) return;
    if (mediaPlayerVolume_ && deviceVolume() != deviceVolume_) tellVolume(*mediaPlayerVolume_);
    if (VKTPlatform::current().clock->monotonicNow() - geometryToldAt_ < TickInterval) return;
    if (walker_.look(mainAdView(), hasMainAdView_, friendlyObstructions_)) tellGeometry();
}

void SessionRun::tellGeometry() {
    geometryToldAt_ = VKTPlatform::current().clock->monotonicNow();
    tell("geometryChange", geometryData(walker_.geometry(), SDK::sharedInstance().lastActivity()));
}

void SessionRun::tell(std::string_view type, const VKTDictionary& data) {
    const std::string message = eventMessage(type, millisecondsNow(), data);
    for (const auto& script : scripts_)
        script->send(message);
}

}  // namespace OMIDKorvonet1
