#include "playing/ScriptLedger.h"

#include <algorithm>
#include <utility>

#include "VKTCoreKit/foundation/VKTFrameworkConstants.h"
#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/omruntime/SDK.h"
#include "VKTCoreKit/openmeasurement/VKTOpenMeasurementManagerDefaultAdSession.h"
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

std::string textOf(const VKTError& error) {
    return error.localizedDescription().value_or("It failed");
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
            {"failure", script.failure ? VKTValue(*script.failure) : VKTValue()},
            {"loss", script.loss ? VKTValue(*script.loss) : VKTValue()}};
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
        if (script.failure && script.failure != script.loss)
            lines.push_back("      failed, and went on: " + *script.failure);
        if (script.loss) lines.push_back("      failed: " + *script.loss);
    }
    return lines;
}

std::shared_ptr<ScriptLedger> ScriptLedger::initWithPixelManager(
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
    std::shared_ptr<ScriptLedger> ledger(new ScriptLedger(
        VKTOpenMeasurementManager::initWithProvider(provider, library, nullptr, pixelManager)));
    auto& runtime = OMIDKorvonet1::SDK::sharedInstance();
    runtime.setURLSession(VKTURLSession::initWithSessionProvider(
        std::make_shared<CountingProvider>(ledger->requestsUnderWay_)));
    runtime.setObserver(ledger);
    return ledger;
}

void ScriptLedger::begin(const VKTOpenMeasurementManager::Scripts& scripts,
                         const std::shared_ptr<VKTOpenMeasurementAdSession>& session) {
    sessionIdentifier_.clear();
    scripts_.clear();
    places_.clear();
    for (const auto& script : scripts) {
        ScriptRecord record{.vendor = script.vendor};
        if (const auto& URL = script.javascriptResourceURL) {
            places_.push_back(scripts_.size());
            record.script = URL->absoluteString();
        } else {
            record.failure = "What the document has in its place is no URL";
        }
        record.isLoaded = record.isOver = !script.javascriptResourceURL || !session;
        if (record.isOver && !record.failure) record.failure = "No session could be opened";
        if (record.isOver) record.loss = record.failure;
        scripts_.push_back(std::move(record));
    }
    if (!session) return;
    sessionIdentifier_ =
        static_cast<VKTOpenMeasurementManagerDefaultAdSession&>(*session).session()->identifier();
    startTime_ = std::chrono::floor<std::chrono::milliseconds>(VKTPlatform::current().clock->now())
                     .time_since_epoch()
                     .count();
}

bool ScriptLedger::areScriptsLoaded() const {
    return std::all_of(scripts_.begin(), scripts_.end(),
                       [](const ScriptRecord& script) { return script.isLoaded; });
}

bool ScriptLedger::isOver() const {
    return *requestsUnderWay_ == 0 &&
           std::all_of(scripts_.begin(), scripts_.end(), [](const auto& script) { return script.isOver; });
}

// ---- what the scripts do ----

ScriptRecord* ScriptLedger::recordOf(const OMIDKorvonet1::ScriptIdentity& script) {
    return script.adSessionId == sessionIdentifier_ ? &scripts_.at(places_.at(script.place)) : nullptr;
}

void ScriptLedger::scriptLoaded(const OMIDKorvonet1::ScriptIdentity& script) {
    if (auto* record = recordOf(script)) record->isLoaded = true;
}

void ScriptLedger::scriptHeardEvent(const OMIDKorvonet1::ScriptIdentity& script, const std::string& type,
                                    std::int64_t time) {
    constexpr double second = 1000;
    if (auto* record = recordOf(script))
        record->events.push_back({type, static_cast<double>(time - startTime_) / second});
}

void ScriptLedger::scriptSentURL(const OMIDKorvonet1::ScriptIdentity& script, const std::string& URL,
                                 bool isSent) {
    auto* record = recordOf(script);
    if (record == nullptr) return;
    if (isSent) {
        record->urls.push_back(URL);
    } else {
        ++record->refusedURLs;
    }
}

void ScriptLedger::scriptFailed(const OMIDKorvonet1::ScriptIdentity& script, const VKTError& error) {
    auto* record = recordOf(script);
    if (record == nullptr) return;
    if (error.domain() == OMIDKorvonet1::ErrorDomain) record->isLoaded = true;  // it never will be
    if (!record->failure) record->failure = textOf(error);
}

void ScriptLedger::scriptLost(const OMIDKorvonet1::ScriptIdentity& script, const VKTError& error) {
    if (auto* record = recordOf(script)) record->loss = textOf(error);
}

void ScriptLedger::scriptEnded(const OMIDKorvonet1::ScriptIdentity& script) {
    if (auto* record = recordOf(script)) record->isLoaded = record->isOver = true;
}
