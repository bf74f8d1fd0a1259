// Tells an embedder, or a person who debugs, what verification scripts do.
#pragma once

#include <cstdint>
#include <string>

#include "VKTCoreKit/foundation/VKTError.h"
#include "VKTCoreKit/omruntime/Partner.h"

namespace OMIDKorvonet1 {

/// Which script of which session.
struct ScriptIdentity {
    std::string adSessionId;
    VerificationScriptResource resource;
};

/// Hears what verification scripts do, on the main thread. Each operation has an empty default.
class MeasurementObserver {
  public:
    virtual ~MeasurementObserver() = default;

    /// An event reached at least one listener of the script; once per event and script, as the service script
    /// reports it. `time`: milliseconds since 1970.
    virtual void scriptHeardEvent(const ScriptIdentity& /*script*/, const std::string& /*type*/,
                                  std::int64_t /*time*/) {}

    /// The script asked for a GET of the URL. `isSent` is false when it was refused: not http or https, or
    /// too many.
    virtual void scriptSentURL(const ScriptIdentity& /*script*/, const std::string& /*URL*/,
                               bool /*isSent*/) {}

    /// The script threw, or its world has ended. Every failure, though the log has only the first.
    virtual void scriptFailed(const ScriptIdentity& /*script*/, const VKTError& /*error*/) {}
};

}  // namespace OMIDKorvonet1
