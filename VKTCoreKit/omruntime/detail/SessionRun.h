// What a session does, shared by its session object, its event objects and the registry.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "VKTCoreKit/foundation/VKTError.h"
#include "VKTCoreKit/foundation/VKTValue.h"
#include "VKTCoreKit/omruntime/Partner.h"
#include "VKTCoreKit/omruntime/detail/Geometry.h"

namespace OMIDKorvonet1 {

class ScriptRun;

/// Keeps the order of events and tells them to the scripts. Main thread only. The registry holds it while it
/// runs, and while its scripts handle the finish.
class SessionRun : public std::enable_shared_from_this<SessionRun> {
  public:
    SessionRun(AdSessionConfiguration configuration, std::shared_ptr<const AdSessionContext> context);
    ~SessionRun();
    SessionRun(const SessionRun&) = delete;
    SessionRun& operator=(const SessionRun&) = delete;

    [[nodiscard]] const std::string& identifier() const { return identifier_; }
    [[nodiscard]] const AdSessionConfiguration& configuration() const { return configuration_; }
    [[nodiscard]] bool isRunning() const { return state_ == Running; }
    [[nodiscard]] bool isFinished() const { return state_ == Finished; }

    void start();
    void finish();

    void setMainAdView(const std::shared_ptr<const VKTView>& view);
    [[nodiscard]] std::shared_ptr<const VKTView> mainAdView() const { return mainAdView_.lock(); }

    [[nodiscard]] bool isFriendlyObstruction(const VKTView& view) const;
    void addFriendlyObstruction(FriendlyObstruction obstruction);
    void removeFriendlyObstruction(const std::shared_ptr<const VKTView>& view);
    void removeAllFriendlyObstructions() { friendlyObstructions_.clear(); }

    void setScriptUnavailableHandler(std::function<void(const VKTURL& URL)> handler) {
        scriptUnavailableHandler_ = std::move(handler);
    }

    /// True once: a session has one maker of each kind of events.
    bool claimAdEvents() { return !std::exchange(hasAdEvents_, true); }
    bool claimMediaEvents() { return !std::exchange(hasMediaEvents_, true); }

    /// Whether such an event may be told now; the error says why not.
    bool allowsImpression(std::optional<VKTError>* error) const;
    bool allowsLoaded(std::optional<VKTError>* error) const;

    void tellImpression();
    void tellLoaded(const std::optional<VASTProperties>& properties);
    void tellError(const std::string& errorType, const std::string& message);

    /// Drops it, with a log line and false, when it is out of place.
    bool tellMediaEvent(std::string_view type, const VKTDictionary& data = {});

    /// The same; volume and duration are valid.
    void tellStart(double duration, double mediaPlayerVolume);
    void tellVolume(double mediaPlayerVolume);

    /// Looks at geometry and volume, and tells what has changed. For the registry.
    void look();
    [[nodiscard]] bool areScriptsOver() const;
    void giveUpScripts();

  private:
    enum State : std::uint8_t { Ready, Running, Finished };

    bool allowsAdEvents(std::optional<VKTError>* error) const;
    void tell(std::string_view type, const VKTDictionary& data);
    void tellGeometry();
    VKTDictionary volumeData(double mediaPlayerVolume);

    const std::string identifier_;
    const AdSessionConfiguration configuration_;
    const std::shared_ptr<const AdSessionContext> context_;
    State state_ = Ready;
    std::vector<std::shared_ptr<ScriptRun>> scripts_;
    std::function<void(const VKTURL& URL)> scriptUnavailableHandler_;

    bool hasMainAdView_ = false;
    std::weak_ptr<const VKTView> mainAdView_;
    std::vector<FriendlyObstruction> friendlyObstructions_;
    GeometryWalker walker_;
    std::chrono::nanoseconds geometryToldAt_{0};

    bool hasAdEvents_ = false;
    bool hasMediaEvents_ = false;
    bool hasImpression_ = false;
    bool isLoaded_ = false;
    std::optional<double> mediaPlayerVolume_;  // nothing before the media's start
    std::optional<double> deviceVolume_;       // as told last
};

}  // namespace OMIDKorvonet1
