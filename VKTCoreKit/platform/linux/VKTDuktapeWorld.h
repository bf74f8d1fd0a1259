// One JavaScript engine with its global object, over Duktape.
//
// It is compiled into the library and into the host program of worlds in a process of their own, so it needs
// nothing but the standard library and the engine.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "VKTCoreKit/platform/VKTScriptExecutor.h"

/// The global object holds the language and `postToHost(text)`, nothing else. Scripts that recurse without
/// end get a RangeError; one that never ends, or whose regular expression backtracks for ever, does not
/// return. One thread at a time, with 2 MB of stack. After a failure other than VKTScriptErrorException the
/// world is over, and every operation repeats it.
class VKTDuktapeWorld {
  public:
    struct Failure {
        VKTScriptErrorCode code;
        std::string description;
    };

    /// Called during a turn; must not use the world. The text is UTF-8, unpaired surrogates replaced.
    using MessageHandler = std::function<void(std::string message)>;

    /// Both in bytes; `memoryLimit` includes what the engine needs for itself (some 100 KB). What is refused
    /// for their sake is an exception in the script, which may catch it.
    VKTDuktapeWorld(std::size_t memoryLimit, std::size_t messageLimit, MessageHandler onMessage);
    ~VKTDuktapeWorld();
    VKTDuktapeWorld(const VKTDuktapeWorld&) = delete;
    VKTDuktapeWorld& operator=(const VKTDuktapeWorld&) = delete;

    /// As the operations of VKTScriptExecutor, but at once.
    std::optional<Failure> evaluate(const std::string& script, const std::string& name);
    std::optional<Failure> call(const std::string& function, const std::string& argumentJSON);

  private:
    class Engine;
    std::unique_ptr<Engine> engine_;
};
