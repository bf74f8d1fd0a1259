#include "playing/AdMeasurement.h"

#include <algorithm>
#include <array>
#include <utility>

#include "VKTCoreKit/foundation/VKTFrameworkConstants.h"
#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/omruntime/SDK.h"
#include "VKTCoreKit/openmeasurement/VKTOpenMeasurementManagerDefaultProvider.h"
#include "VKTCoreKit/platform/VKTPlatform.h"
#include "ground/Output.h"
#include "ground/Text.h"
#include "playing/PlayScreen.h"

namespace {

// Tells how many requests have not ended.
class CountingProvider : public VKTURLSessionProviderProtocol {
  public:
    explicit CountingProvider(std::shared_ptr<std::atomic<int>> underWay) : underWay_(std::move(underWay)) {}

    std::shared_ptr<VKTURLSessionTask> dataRequest(
        const VKTURLRequest& request, VKTURLSessionCompletionHandler completionHandler) override {
        ++*underWay_;
        return VKTURLSessionProvider::sharedInstance()->dataRequest(
            request, [underWay = underWay_, handler = std::move(completionHandler)](
                         const VKTURLSessionResponse& response, const auto& task) {
                if (handler) handler(response, task);
                // Not before the handler's own posts to the loop have run.
                VKTPlatform::current().mainRunLoop->post([underWay] { --*underWay; });
            });
    }

  private:
    const std::shared_ptr<std::atomic<int>> underWay_;
};

// What stands in an extension of the usual type is among the ad's own already; it must not run twice.
std::vector<VKTVASTAdVerification> verificationsOf(const VKTVASTAd& ad) {
    auto verifications = ad.adVerifications();
    if (!verifications.empty() || !ad.extensions()) return verifications;
    for (const auto& legacy : ad.extensions()->adVerifications)
        verifications.push_back(VKTVASTAdVerification::initWithOMIDJavascriptResourceURL(
            legacy.javascriptResourceURL, legacy.vendor, legacy.verificationParameters));
    return verifications;
}

}  // namespace

VKTDictionary reportOfScript(const ScriptRecord& script) {
    VKTArray events;
    for (const auto& [type, time] : script.events)
        events.emplace_back(VKTDictionary{{"type", type}, {"time", time}});
    return {{"vendor", script.vendor ? VKTValue(*script.vendor) : VKTValue()},
            {"script", script.script.empty() ? VKTValue() : VKTValue(script.script)},
            {"events", std::move(events)},
            {"urls", VKTArray(script.urls.begin(), script.urls.end())},
            {"failure", script.failure ? VKTValue(*script.failure) : VKTValue()}};
}

std::vector<std::string> linesOfScripts(const ScriptRecords& scripts) {
    if (scripts.empty()) return {"   measured by nobody: the ad names no verification script"};
    std::vector<std::string> lines;
    for (const ScriptRecord& script : scripts) {
        std::string line = "   measured by " + script.vendor.value_or("a vendor without a name") +
                           ": heard " + countOf(script.events.size(), "event") + ", sent " +
                           countOf(script.urls.size(), "URL");
        if (script.refusedURLs > 0) line += ", " + countOf(script.refusedURLs, "URL") + " refused";
        lines.push_back(line);
        if (!script.script.empty()) lines.push_back("      " + script.script);
        for (const auto& [type, time] : script.events)
            lines.push_back("   " + textOfTime(time) + "  " + type);
        if (script.failure) lines.push_back("      failed: " + *script.failure);
    }
    return lines;
}

std::shared_ptr<AdMeasurement> AdMeasurement::initWithPixelManager(
    const std::shared_ptr<VKTPixelManager>& pixelManager) {
    const auto provider =
        VKTOpenMeasurementManagerDefaultProvider::initWithFrameworkVersion(VKTFrameworkVersionString);
    if (!provider) {
        printError("the measurement runtime cannot be activated");
        return nullptr;
    }
    const auto library =
        VKTOpenMeasurementJSLibrary::initWithProvider(provider, VKTURLSession::sharedInstance());
    library->refreshJSLibrary();
    std::shared_ptr<AdMeasurement> measurement(new AdMeasurement(
        VKTOpenMeasurementManager::initWithProvider(provider, library, nullptr, pixelManager)));
    auto& runtime = OMIDKorvonet1::SDK::sharedInstance();
    runtime.setURLSession(VKTURLSession::initWithSessionProvider(
        std::make_shared<CountingProvider>(measurement->requestsUnderWay_)));
    runtime.setObserver(measurement);
    return measurement;
}

void AdMeasurement::begin(const VKTVASTAd& ad, const std::shared_ptr<VKTView>& view) {
    session_.reset();
    sessionIdentifier_.clear();
    quartiles_ = 0;
    scripts_.clear();
    places_.clear();
    VKTOpenMeasurementManager::Scripts usable;
    for (const auto& script : manager_->scriptsFromAdVerifications(verificationsOf(ad))) {
        if (const auto& URL = script.javascriptResourceURL) {
            places_.push_back(scripts_.size());
            scripts_.push_back({.vendor = script.vendor, .script = URL->absoluteString()});
            usable.push_back(script);
        } else {
            scripts_.push_back({.vendor = script.vendor,
                                .failure = "What the document has in its place is no URL",
                                .isLoaded = true,
                                .isOver = true});
        }
    }
    if (!usable.empty()) open(view, usable);
}

void AdMeasurement::open(const std::shared_ptr<VKTView>& view,
                         const VKTOpenMeasurementManager::Scripts& scripts) {
    session_ = std::static_pointer_cast<VKTOpenMeasurementManagerDefaultAdSession>(
        manager_->sessionWithView(view, true, scripts));
    if (!session_) {
        for (ScriptRecord& script : scripts_) {
            script.isLoaded = script.isOver = true;
            if (!script.failure) script.failure = "No session could be opened";
        }
        return;
    }
    sessionIdentifier_ = session_->session()->identifier();
    startTime_ = std::chrono::floor<std::chrono::milliseconds>(VKTPlatform::current().clock->now())
                     .time_since_epoch()
                     .count();
    session_->start();
}

bool AdMeasurement::areScriptsLoaded() const {
    return std::all_of(scripts_.begin(), scripts_.end(),
                       [](const ScriptRecord& script) { return script.isLoaded; });
}

void AdMeasurement::start(std::optional<double> skipOffset, double duration) {
    if (!session_) return;
    duration_ = duration;
    session_->loadedOccurredWithVASTProperties(
        VKTOpenMeasurementVASTProperties::initWithSkipOffset(skipOffset.value_or(-1), true));
    session_->impressionOccurred();
    session_->videoEventStartOccurredWithDuration(duration, 1);
}

void AdMeasurement::progressTo(double position) {
    if (!session_ || duration_ <= 0) return;
    using Session = VKTOpenMeasurementAdSession;
    constexpr std::array quartiles{
        &Session::videoEventFirstQuartileOccurred, &Session::videoEventMidpointOccurred,
        &Session::videoEventThirdQuartileOccurred, &Session::videoEventCompleteOccurred};
    const auto reached = static_cast<std::size_t>(std::clamp(4 * position / duration_, 0.0, 4.0));
    while (quartiles_ < reached)
        ((*session_).*quartiles.at(quartiles_++))();
}

void AdMeasurement::mute() {
    if (session_) session_->videoEventVolumeChangeOccurred(0);
}

void AdMeasurement::pause() {
    if (session_) session_->videoEventPauseOccurred();
}

void AdMeasurement::resume() {
    if (session_) session_->videoEventResumeOccurred();
}

void AdMeasurement::skip() {
    if (session_) session_->videoEventSkipped();
}

void AdMeasurement::click() {
    if (session_) session_->videoEventUserInteraction();
}

void AdMeasurement::end() {
    if (session_) session_->finish();
}

bool AdMeasurement::isOver() const {
    return *requestsUnderWay_ == 0 &&
           std::all_of(scripts_.begin(), scripts_.end(), [](const auto& script) { return script.isOver; });
}

// ---- what the scripts do ----

ScriptRecord* AdMeasurement::recordOf(const OMIDKorvonet1::ScriptIdentity& script) {
    return script.adSessionId == sessionIdentifier_ ? &scripts_.at(places_.at(script.place)) : nullptr;
}

void AdMeasurement::scriptLoaded(const OMIDKorvonet1::ScriptIdentity& script) {
    if (auto* record = recordOf(script)) record->isLoaded = true;
}

void AdMeasurement::scriptHeardEvent(const OMIDKorvonet1::ScriptIdentity& script, const std::string& type,
                                     std::int64_t time) {
    constexpr double second = 1000;
    if (auto* record = recordOf(script))
        record->events.push_back({type, static_cast<double>(time - startTime_) / second});
}

void AdMeasurement::scriptSentURL(const OMIDKorvonet1::ScriptIdentity& script, const std::string& URL,
                                  bool isSent) {
    auto* record = recordOf(script);
    if (record == nullptr) return;
    if (isSent) {
        record->urls.push_back(URL);
    } else {
        ++record->refusedURLs;
    }
}

void AdMeasurement::scriptFailed(const OMIDKorvonet1::ScriptIdentity& script, const VKTError& error) {
    auto* record = recordOf(script);
    if (record == nullptr) return;
    if (error.domain() == OMIDKorvonet1::ErrorDomain) record->isLoaded = true;  // it never will be
    if (!record->failure) record->failure = error.localizedDescription().value_or("It failed");
}

void AdMeasurement::scriptEnded(const OMIDKorvonet1::ScriptIdentity& script) {
    if (auto* record = recordOf(script)) record->isLoaded = record->isOver = true;
}
