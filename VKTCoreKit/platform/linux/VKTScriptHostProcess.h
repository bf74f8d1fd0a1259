// The process that runs one world, as its parent sees it.
#pragma once

#include <sys/types.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "VKTCoreKit/platform/VKTScriptExecutor.h"
#include "VKTCoreKit/platform/linux/VKTScriptFrames.h"

/// Something that a process told, or its end.
struct VKTScriptHostEvent {
    std::optional<VKTScriptErrorCode> code;  ///< nothing: a message
    std::string text;
};

/// Starts the process, feeds it, watches its time and collects what is left of it, all on one I/O thread that
/// every world shares. Operations may be called on any thread and do not block. It lives until the process
/// has been collected, also when everybody has let go of it.
class VKTScriptHostProcess {
  public:
    /// Called on the I/O thread; false ends the process as a flood. After the event of an end there is none.
    using EventHandler = std::function<bool(VKTScriptHostEvent event)>;

    /// Null, after an event of an end on this very thread, when the system refuses the I/O thread
    /// or its descriptors; a later start tries again.
    static std::shared_ptr<VKTScriptHostProcess> start(const VKTScriptOptions& options,
                                                       const EventHandler& onEvent);

    virtual ~VKTScriptHostProcess() = default;

    /// Asks for a turn. What the process has not taken yet is bounded; more ends it as a flood.
    virtual void send(VKTScriptFrameKind kind, std::string name, std::string text) = 0;

    /// Ends the process. Its handler hears nothing any more, except an event that is under way.
    virtual void end() = 0;

    /// 0 before it has started and after it has been collected.
    [[nodiscard]] virtual pid_t identifier() const = 0;
};
