// Tells an embedder, or a person who debugs, what verification scripts do.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "VKTCoreKit/foundation/VKTError.h"
#include "VKTCoreKit/omruntime/Partner.h"

namespace OMIDKorvonet1 {

/// Which script of which session.
struct ScriptIdentity {
    std::string adSessionId;
    VerificationScriptResource resource;
    std::size_t place = 0;  ///< of the resource in the session's context
};

/// Hears what verification scripts do, on the main thread. Each operation has an empty default.
class MeasurementObserver {
  public:
    virtual ~MeasurementObserver() = default;

    /// The script has been fetched; it runs next.
    virtual void scriptLoaded(const ScriptIdentity& /*script*/) {}

    /// An event reached at least one listener of the script; once per event and script, as the service script
    /// reports it. `time`: milliseconds since 1970.
    virtual void scriptHeardEvent(const ScriptIdentity& /*script*/, const std::string& /*type*/,
                                  std::int64_t /*time*/) {}

    /// The script asked for a GET of the URL. `isSent` is false when it was refused: not http or https, or
    /// too many.
    virtual void scriptSentURL(const ScriptIdentity& /*script*/, const std::string& /*URL*/,
                               bool /*isSent*/) {}

    /// The script threw, or its world has ended. Every failure, though the log has only the first that is
    /// harmless and the one that is not.
    virtual void scriptFailed(const ScriptIdentity& /*script*/, const VKTError& /*error*/) {}

    /// The failure that `scriptFailed` has just told is the one with which the script is lost: it measures
    /// nothing from now on, or its last words were not said.
    virtual void scriptLost(const ScriptIdentity& /*script*/, const VKTError& /*error*/) {}

    /// Its world is gone: after the finish, after a failure, or because there was no place for it. The last
    /// call for the script, though requests that it asked for may still be under way.
    virtual void scriptEnded(const ScriptIdentity& /*script*/) {}
};

}  // namespace OMIDKorvonet1
