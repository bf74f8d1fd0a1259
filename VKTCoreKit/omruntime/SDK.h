// The measurement runtime as a whole.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "VKTCoreKit/foundation/VKTDate.h"
#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/network/VKTURLSession.h"
#include "VKTCoreKit/omruntime/MeasurementObserver.h"
#include "VKTCoreKit/omruntime/SDKLimits.h"

namespace OMIDKorvonet1 {

class SessionRegistry;

/// Switches the runtime on and holds what all sessions share: their registry, the state of application and
/// device, the session for requests. Main thread only. The shared instance is never destroyed.
class VKT_EXPORT SDK {
  public:
    static SDK& sharedInstance();

    /// True when the runtime is active after the call.
    bool activate();
    [[nodiscard]] bool isActive() const;

    static std::string versionString();

    /// The viewer was seen to be there: a key of the remote control, say. Scripts hear the time with the next
    /// geometry.
    void updateLastActivity();
    [[nodiscard]] std::optional<VKTDate> lastActivity() const;

    /// Makes the scripts' requests; the shared session unless set. Not null.
    void setURLSession(std::shared_ptr<VKTURLSession> session);
    [[nodiscard]] const std::shared_ptr<VKTURLSession>& URLSession() const;

    /// Held weakly.
    void setObserver(std::weak_ptr<MeasurementObserver> observer);
    [[nodiscard]] std::shared_ptr<MeasurementObserver> observer() const;

    /// Runs scripts in this process from the next session on: for vetted scripts, and for systems that cannot
    /// start processes. False unless set.
    void setTrustsScripts(bool trustsScripts);
    [[nodiscard]] bool trustsScripts() const;

    /// `VKTScriptOptions::allowsMissingSystemCallFilter`, from the next session on. False unless set.
    void setAllowsMissingSystemCallFilter(bool allowsMissingSystemCallFilter);
    [[nodiscard]] bool allowsMissingSystemCallFilter() const;

    /// What scripts may use, from the next session on.
    void setLimits(const SDKLimits& limits);
    [[nodiscard]] const SDKLimits& limits() const;

    /// Of the program that runs a script; empty, the default: the one of the installation that the library or
    /// the program is in. docs/measurement.md has the places and their order.
    void setScriptHostPath(std::string path);
    [[nodiscard]] const std::string& scriptHostPath() const;

    /// For the runtime's own classes.
    [[nodiscard]] SessionRegistry& registry();

  private:
    SDK();
    ~SDK();

    struct State;
    const std::unique_ptr<State> state_;
};

}  // namespace OMIDKorvonet1
