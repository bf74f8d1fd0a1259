// JavaScript worlds, each with its own engine.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "VKTCoreKit/foundation/VKTError.h"
#include "VKTCoreKit/foundation/VKTExport.h"

inline constexpr const char* VKTScriptErrorDomain = "VKTScriptErrorDomain";

enum VKTScriptErrorCode : std::uint8_t {
    VKTScriptErrorException = 1,    ///< a script does not compile or threw; its world goes on
    VKTScriptErrorMemory = 2,       ///< the engine could not go on for lack of memory
    VKTScriptErrorTime = 3,         ///< a turn, or all of them together, took too long
    VKTScriptErrorFlood = 4,        ///< too many messages that nobody has taken yet
    VKTScriptErrorEnded = 5,        ///< the process that ran it has ended
    VKTScriptErrorUnavailable = 6,  ///< there was never a world: the description says what is missing
};

/// Bytes that a message which nobody has taken yet counts for, besides its own: without them empty ones would
/// be free.
inline constexpr std::size_t VKTScriptMessageOverhead = 64;

/// What one world may use; each at least 1. A turn is one `evaluate` or `call`. Applications set them as
/// members of `OMIDKorvonet1::SDKLimits`, and error descriptions name them so.
///
/// Times are of the processor, so that a busy device does not punish a script. A world in a process of its
/// own also ends when a turn takes eight times as long by the clock on the wall.
struct VKTScriptLimits {
    /// Bytes of the engine's heap. What would be more is refused, with an exception in the script. A bundle
    /// of 2 MiB needs up to 20 MiB.
    std::size_t memoryLimit = std::size_t{32} * 1024 * 1024;

    /// Of one `evaluate`: compiling a bundle of 2 MiB and running it takes half a second on a PC, and a core
    /// that is eight times slower needs four.
    std::chrono::milliseconds loadLimit{8000};
    std::chrono::milliseconds turnLimit{250};  ///< of one `call`
    std::chrono::seconds totalLimit{60};       ///< of all turns together

    /// Bytes of one message; a longer one is refused, with an exception in the script. A URL of 16,384
    /// characters, each of them escaped, takes 98,304.
    std::size_t messageLimit = std::size_t{128} * 1024;
    std::size_t backlogLimit = std::size_t{4} * 1024 * 1024;  ///< bytes of messages not yet delivered
};

/// How worlds are made: their limits, and where their program is.
struct VKTScriptOptions : VKTScriptLimits {
    std::string hostPath;  ///< the program for worlds in a process of their own; empty: the installed one

    /// Where the system has no filters of system calls, or forbids them, a world in a process of its own runs
    /// without one: a script that takes over the engine can then do what the player's user may, except for
    /// opening files and sockets and starting processes. Otherwise there is no world. Changes nothing where
    /// there are filters.
    bool allowsMissingSystemCallFilter = false;
};

/// What a world reports; each may be null. Called on the main loop, in the order of happening, never inside a
/// call to the executor, and never after the executor is gone. A handler may destroy its executor.
struct VKTScriptHandlers {
    std::function<void(std::string message)> onMessage;      ///< the script called `postToHost(text)`
    std::function<void(const VKTError& error)> onException;  ///< VKTScriptErrorException
    std::function<void(const VKTError& error)> onEnd;        ///< any other code; once, and the last
};

/// One world: a global object, and the scripts that share it. It has no timers, no network, no files; only
/// the language (ECMAScript 5.1) and `postToHost(text)`.
///
/// Main thread only; nothing blocks. Destroying it ends the world at once. After `onEnd` calls do nothing.
class VKT_EXPORT VKTScriptExecutor {
  public:
    virtual ~VKTScriptExecutor() = default;

    /// Runs a script after everything asked for before. The name appears in error descriptions.
    virtual void evaluate(std::string script, std::string name) = 0;

    /// Calls the global function of that name with one argument, the value of the JSON text.
    virtual void call(std::string function, std::string argumentJSON) = 0;

    /// The process that runs it; 0 for a world in this process, and for one that has no process yet.
    [[nodiscard]] virtual std::int64_t processIdentifier() const { return 0; }
};

using VKTScriptExecutorMaker =
    std::function<std::unique_ptr<VKTScriptExecutor>(VKTScriptOptions options, VKTScriptHandlers handlers)>;
