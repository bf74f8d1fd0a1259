// What each vendor's verification script did while an ad was played.
#pragma once

#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "VKTCoreKit/foundation/VKTValue.h"
#include "VKTCoreKit/omruntime/MeasurementObserver.h"
#include "VKTCoreKit/openmeasurement/VKTOpenMeasurementManager.h"

/// What one script did.
struct ScriptRecord {
    struct Event {
        std::string type;
        double time = 0;  ///< seconds since the session began
    };

    std::optional<std::string> vendor = {};
    std::string script = {};                  ///< its URL; empty without one
    std::vector<Event> events = {};           ///< that it heard, in order
    std::vector<std::string> urls = {};       ///< that it asked for, and that were sent
    std::size_t refusedURLs = 0;              ///< others that it asked for
    std::optional<std::string> failure = {};  ///< the first
    std::optional<std::string> loss = {};     ///< the failure with which it was lost; it may be the first
    bool isLoaded = false;                    ///< or never will be
    bool isOver = false;
};
using ScriptRecords = std::vector<ScriptRecord>;

/// {"vendor":text|null,"script":url|null,"events":[{"type","time"}],"urls":[url],"failure":text|null,
/// "loss":text|null}
VKTDictionary reportOfScript(const ScriptRecord& script);

/// Of an ad that has been played; a few lines for each script.
std::vector<std::string> linesOfScripts(const ScriptRecords& scripts);

/// Keeps a record of each script, one ad after another. Loop's thread only.
class ScriptLedger : public OMIDKorvonet1::MeasurementObserver {
  public:
    /// Observes the measurement runtime. Null, with an error line, when the runtime cannot be used.
    static std::shared_ptr<ScriptLedger> initWithPixelManager(
        const std::shared_ptr<VKTPixelManager>& pixelManager);

    [[nodiscard]] const std::shared_ptr<VKTOpenMeasurementManager>& manager() const { return manager_; }

    /// The next ad's scripts, and its session, which is not started; null when there is none.
    void begin(const VKTOpenMeasurementManager::Scripts& scripts,
               const std::shared_ptr<VKTOpenMeasurementAdSession>& session);

    /// Before the ad's first event: whether each script has arrived, or never will.
    [[nodiscard]] bool areScriptsLoaded() const;

    /// After the end: whether each script has handled it, and every request has ended.
    [[nodiscard]] bool isOver() const;

    [[nodiscard]] const ScriptRecords& scripts() const { return scripts_; }

    void scriptLoaded(const OMIDKorvonet1::ScriptIdentity& script) override;
    void scriptHeardEvent(const OMIDKorvonet1::ScriptIdentity& script, const std::string& type,
                          std::int64_t time) override;
    void scriptSentURL(const OMIDKorvonet1::ScriptIdentity& script, const std::string& URL,
                       bool isSent) override;
    void scriptFailed(const OMIDKorvonet1::ScriptIdentity& script, const VKTError& error) override;
    void scriptLost(const OMIDKorvonet1::ScriptIdentity& script, const VKTError& error) override;
    void scriptEnded(const OMIDKorvonet1::ScriptIdentity& script) override;

  private:
    explicit ScriptLedger(std::shared_ptr<VKTOpenMeasurementManager> manager)
        : manager_(std::move(manager)) {}

    /// The script's record; null for one of an ad that has ended.
    ScriptRecord* recordOf(const OMIDKorvonet1::ScriptIdentity& script);

    const std::shared_ptr<VKTOpenMeasurementManager> manager_;
    const std::shared_ptr<std::atomic<int>> requestsUnderWay_ = std::make_shared<std::atomic<int>>(0);
    std::string sessionIdentifier_;
    std::int64_t startTime_ = 0;  // milliseconds since 1970
    ScriptRecords scripts_;
    std::vector<std::size_t> places_;  // of the session's scripts in the list
};
