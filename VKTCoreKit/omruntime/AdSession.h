// One measured showing of an ad.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "VKTCoreKit/foundation/VKTError.h"
#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/omruntime/Partner.h"
#include "VKTCoreKit/platform/VKTView.h"

namespace OMIDKorvonet1 {

class SessionRun;

/// A session: started once, finished once. Each verification script hears sessionStart first, the impression
/// once, sessionFinish last and nothing after it; one that registers late hears what it missed.
///
/// Main thread only; nothing blocks. Holds its views weakly. A session that is destroyed while it runs is
/// finished.
class VKT_EXPORT AdSession {
  public:
    /// Null, with the error, when the runtime is not active. The context must not be null.
    static std::shared_ptr<AdSession> initWithConfiguration(AdSessionConfiguration configuration,
                                                            std::shared_ptr<const AdSessionContext> context,
                                                            std::optional<VKTError>* error);
    ~AdSession();
    AdSession(const AdSession&) = delete;
    AdSession& operator=(const AdSession&) = delete;

    [[nodiscard]] const std::string& identifier() const;  ///< a UUID
    [[nodiscard]] const AdSessionConfiguration& configuration() const;

    /// A second call, and one after `finish`, does nothing; neither does a `finish` before.
    void start();
    void finish();
    [[nodiscard]] bool isRunning() const;

    /// Where the ad is seen; may change at any time, and may be null. Removes nothing else.
    void setMainAdView(const std::shared_ptr<const VKTView>& view);
    [[nodiscard]] std::shared_ptr<const VKTView> mainAdView() const;

    /// False, with the error, for a reason that is empty, longer than 50 bytes, or has others than letters,
    /// digits and blanks; or for a view that is one already. A null view is an invalid argument.
    bool addFriendlyObstruction(const std::shared_ptr<const VKTView>& view,
                                FriendlyObstructionPurpose purpose, const std::string& detailedReason,
                                std::optional<VKTError>* error);
    void removeFriendlyObstruction(const std::shared_ptr<const VKTView>& view);
    void removeAllFriendlyObstructions();

    /// Called once for each script for which there was never a world (`VKTScriptErrorUnavailable`), with its
    /// URL, on the main loop; it may let go of the session. Set it before the start.
    void setScriptUnavailableHandler(std::function<void(const VKTURL& URL)> handler);

    /// Tells the scripts of an error of the ad: "sessionError", type "generic" or "media".
    void logError(const std::string& errorType, const std::string& message);

    /// For the runtime's own event classes.
    [[nodiscard]] const std::shared_ptr<SessionRun>& run() const { return run_; }

  private:
    explicit AdSession(std::shared_ptr<SessionRun> run);

    const std::shared_ptr<SessionRun> run_;
};

/// Impression and loaded, one maker's per session. Main thread only; holds the session's run, not the
/// session.
class VKT_EXPORT AdEvents {
  public:
    /// Null, with the error, when the session is finished or has its ad events already.
    static std::shared_ptr<AdEvents> initWithAdSession(const AdSession& session,
                                                       std::optional<VKTError>* error);

    /// False, with the error, before the start, after the finish, a second time, or when the impression is
    /// JavaScript's.
    bool impressionOccurred(std::optional<VKTError>* error);

    /// The same. The form with properties tells the scripts of media more; either is accepted.
    bool loaded(std::optional<VKTError>* error);
    bool loadedWithVASTProperties(const VASTProperties& properties, std::optional<VKTError>* error);

  private:
    explicit AdEvents(std::shared_ptr<SessionRun> run) : run_(std::move(run)) {}

    const std::shared_ptr<SessionRun> run_;
};

/// What the player does. Events outside of a running session, or before its impression, are dropped with a
/// debug log line. Main thread only; holds the session's run, not the session.
class VKT_EXPORT MediaEvents {
  public:
    /// Null, with the error, when the session is finished, has its media events already, leaves them to
    /// somebody else, or shows a creative without media.
    static std::shared_ptr<MediaEvents> initWithAdSession(const AdSession& session,
                                                          std::optional<VKTError>* error);

    /// Seconds, more than 0; the player's own volume, 0 to 1. Others are dropped like events out of place.
    void startWithDuration(double duration, double mediaPlayerVolume);
    void firstQuartile();
    void midpoint();
    void thirdQuartile();
    void complete();
    void pause();
    void resume();
    void bufferStart();
    void bufferFinish();
    void skipped();
    void volumeChangeTo(double mediaPlayerVolume);
    void playerStateChangeTo(PlayerState state);
    void adUserInteractionWithType(InteractionType type);

  private:
    explicit MediaEvents(std::shared_ptr<SessionRun> run) : run_(std::move(run)) {}

    const std::shared_ptr<SessionRun> run_;
};

}  // namespace OMIDKorvonet1
