// A command of this program that runs as a process of its own, and what is heard of it.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "VKTCoreKit/foundation/VKTThreadAnnotations.h"
#include "inspector/Descriptor.h"

/// What to start. The descriptors have the numbers that stand in ChildRun.
struct ChildCommand {
    std::vector<std::string> arguments;  ///< behind the program's name
    std::string input;                   ///< what it finds on its standard input
};

struct ChildLimits {
    std::chrono::milliseconds time = std::chrono::minutes(10);  ///< by the clock on the wall
    std::size_t bytes = std::size_t{64} * 1024 * 1024;          ///< of all that it writes
    std::chrono::milliseconds heartbeat = std::chrono::seconds(2);
};

struct ChildEnd {
    int status = 0;       ///< the exit status; 128 and the signal when there was one
    std::string problem;  ///< why the run was ended, or what went wrong; empty when nothing did
    std::string report;   ///< the bytes of the report; empty when it made none
};

/// It has a process group of its own, in which nothing outlives it, no signals blocked, and none of this
/// process's descriptors. Destroying kills it and waits for its end.
class ChildRun {
  public:
    static constexpr int controlDescriptor = 3;          ///< the child reads control lines
    static constexpr std::size_t longestSaying = 16384;  ///< bytes of one call of `say`
    static constexpr int reportDescriptor = 4;           ///< the child opens /dev/fd/4 and writes its report

    enum Kind { Line, Note, Heartbeat };  ///< of the standard output, of the standard error, nothing

    /// False when nobody listens any more; the run then ends.
    using Listener = std::function<bool(Kind kind, std::string_view line)>;

    /// Null, with a sentence, when the system refuses.
    static std::unique_ptr<ChildRun> start(const std::string& program, const ChildCommand& command,
                                           const ChildLimits& limits, std::string& problem);
    ~ChildRun();
    ChildRun(const ChildRun&) = delete;
    ChildRun& operator=(const ChildRun&) = delete;

    /// Hands on every line until the run ends; a heartbeat when there was none for so long. Once. As long as
    /// the listener takes for a line, the child waits with the next ones.
    ChildEnd listen(const Listener& listener);

    /// Control lines, each with its line feed. False when there are too many that the child has not read; one
    /// that is about to end wants none. Any thread.
    bool say(std::string_view lines);

    /// Ends the run; `listen` tells the reason of the first call. Any thread.
    void kill(const std::string& reason);

  private:
    using Clock = std::chrono::steady_clock;

    struct Stream {
        Kind kind;
        Descriptor descriptor;
        std::string line;  // its beginning
    };

    explicit ChildRun(const ChildLimits& limits) : limits_(limits) {}

    std::string spawn(const std::string& program, const ChildCommand& command);
    void waitForInput(Clock::duration time) const;
    bool readStream(Stream& stream, const Listener& listener);
    void checkLimits(Clock::time_point end);
    [[nodiscard]] bool reap();
    [[nodiscard]] std::size_t reportSize() const;
    void takeReport(ChildEnd& end) const;
    [[nodiscard]] std::string problemOfEnd(const std::string& lastNote);

    const ChildLimits limits_;
    Stream output_{Line, {}, {}};
    Stream notes_{Note, {}, {}};
    Descriptor control_;
    Descriptor report_;
    std::string lastNote_;
    std::size_t byteCount_ = 0;

    VKTMutex mutex_;
    pid_t process_ VKT_GUARDED_BY(mutex_) = 0;  // 0 when there is none to kill
    int status_ VKT_GUARDED_BY(mutex_) = 0;     // as waitpid tells it
    std::string killReason_ VKT_GUARDED_BY(mutex_);
};
