#include "VKTCoreKit/platform/linux/VKTScriptHostProcess.h"

#include <fcntl.h>
#include <sched.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/local/stream_protocol.hpp>
#include <asio/post.hpp>
#include <asio/steady_timer.hpp>
#include <asio/write.hpp>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <deque>
#include <system_error>
#include <utility>
#include <vector>

#include "VKTCoreKit/foundation/VKTThreadAnnotations.h"
#include "VKTCoreKit/platform/linux/VKTScriptHostPaths.h"
#include "VKTCoreKit/platform/linux/VKTScriptLimits.h"
#include "VKTCoreKit/platform/linux/VKTThread.h"

namespace {

using namespace std::chrono_literals;
using std::chrono::nanoseconds;
using Clock = std::chrono::steady_clock;

constexpr const char* notOurs = "the process says what nobody understands";
constexpr const char* hostHint = "; is it the vkt-script-host of this library?";
constexpr auto startLimit = 10s;              // until the process says that it is ready
constexpr int wallClockFactor = 8;            // of a turn's limit, by the clock on the wall
constexpr std::size_t frameAllowance = 4096;  // bytes of frames that are not messages
constexpr auto firstCollection = 1ms;         // then twice as long each time
constexpr auto slowestCollection = 64ms;
constexpr auto processorTimeMargin = 2s;  // the system's own limit is the last resort

std::string messageOf(int error) {
    return std::generic_category().message(error);
}

// The context that the I/O thread of all worlds runs. Any thread.
class SharedContext {
  public:
    // Null, with the reason, when the system refuses the thread or its descriptors: a later world tries
    // again.
    asio::io_context* get(std::string& problem) {
        const VKTLock lock(mutex_);
        if (!context_) {
            auto made = std::make_unique<asio::io_context>(1);
            if (takeDescriptors(*made, problem) && startThread(*made, problem)) context_ = std::move(made);
        }
        return context_.get();
    }

  private:
    // Asio takes them with the first object that waits, and throws when there are none.
    static bool takeDescriptors(asio::io_context& context, std::string& problem) {
        try {
            const asio::steady_timer timer(context);
            return true;
        } catch (const std::system_error& error) {
            problem = "no descriptors for script worlds: " + error.code().message() +
                      "; raise the player's limit of open files, or close some";
            return false;
        }
    }

    static bool startThread(asio::io_context& context, std::string& problem) {
        VKTThread thread;
        const int error = thread.start("vkt-script-io", [&context] {
            const auto work = asio::make_work_guard(context);
            context.run();
        });
        if (error != 0) {
            problem = "no I/O thread for script worlds: " + messageOf(error) +
                      "; raise the limit of threads or memory, or start fewer";
            return false;
        }
        thread.detach();
        return true;
    }

    VKTMutex mutex_;
    std::unique_ptr<asio::io_context> context_ VKT_GUARDED_BY(mutex_);
};

// Never destroyed, as the thread, with which the system would end all its processes.
SharedContext& sharedContext() {
    static auto& context = *new SharedContext();
    return context;
}

// What the dynamic linker and the clock of scripts need of the environment.
std::vector<std::string> hostEnvironment() {
    std::vector<std::string> environment;
    for (const char* name : {"LD_LIBRARY_PATH", "TZ"})
        if (const char* value = std::getenv(name)) environment.push_back(std::string(name) + '=' + value);
    return environment;
}

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string& text : texts)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

// Of the calling thread.
bool hasRealTimePriority() {
    const int policy = sched_getscheduler(0) & ~SCHED_RESET_ON_FORK;
    return policy == SCHED_FIFO || policy == SCHED_RR;
}

// Returns 0 or the error.
int spawn(pid_t& process, int socket, std::vector<std::string>& arguments,
          std::vector<std::string>& environment) {
    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
    posix_spawn_file_actions_init(&actions);
    posix_spawnattr_init(&attributes);
    for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        posix_spawn_file_actions_addopen(&actions, standard, "/dev/null", O_RDWR, 0);
    posix_spawn_file_actions_adddup2(&actions, socket, VKTScriptHostSocket);
    sigset_t signals;
    sigfillset(&signals);
    posix_spawnattr_setsigdefault(&attributes, &signals);
    sigemptyset(&signals);
    posix_spawnattr_setsigmask(&attributes, &signals);
    // A group of its own: what the terminal sends is for the player.
    int flags = POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETPGROUP;
    // A player with real-time priority keeps it to itself: an endless script would starve its own watch.
    // Other priorities are inherited, as not everybody may leave the lowest.
    if (hasRealTimePriority()) flags |= POSIX_SPAWN_SETSCHEDULER;
    const sched_param priority{};
    posix_spawnattr_setschedpolicy(&attributes, SCHED_OTHER);
    posix_spawnattr_setschedparam(&attributes, &priority);
    posix_spawnattr_setflags(&attributes, static_cast<short>(flags));
    const int error = posix_spawn(&process, arguments.front().c_str(), &actions, &attributes,
                                  pointersTo(arguments).data(), pointersTo(environment).data());
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    return error;
}

class HostProcess final : public VKTScriptHostProcess, public std::enable_shared_from_this<HostProcess> {
  public:
    HostProcess(const VKTScriptOptions& options, EventHandler onEvent, asio::io_context& context)
        : options_(options),
          context_(context),
          onEvent_(std::move(onEvent)),
          environment_(hostEnvironment()),
          reader_(std::max(options.messageLimit, frameAllowance)) {}

    void begin() {
        asio::post(context_, [self = shared_from_this()] { self->startProcess(); });
    }

    void send(VKTScriptFrameKind kind, std::string name, std::string text) override {
        const std::size_t size = name.size() + text.size() + VKTScriptMessageOverhead;
        const bool isFlood = (unsent_ += size) > VKTScriptLongestRequest;
        if (isFlood) {
            asio::post(context_, [self = shared_from_this()] {
                self->finish(VKTScriptErrorFlood, "the process has not taken " +
                                                      std::to_string(VKTScriptLongestRequest) +
                                                      " bytes of what it was asked");
            });
            return;
        }
        asio::post(context_,
                   [self = shared_from_this(), kind, size, name = std::move(name), text = std::move(text)] {
                       if (self->isFinished_) return;
                       std::string content = name.substr(0, name.find('\0'));
                       content += '\0';
                       content += text;
                       self->outbox_.push_back({vkt_encodedScriptFrame(kind, content), size});
                       if (self->outbox_.size() == 1) self->write();
                   });
    }

    void end() override {
        asio::post(context_, [self = shared_from_this()] {
            self->onEvent_ = nullptr;
            self->finish(VKTScriptErrorEnded, "");
        });
    }

    [[nodiscard]] pid_t identifier() const override { return process_; }

  private:
    struct Request {
        std::string frame;
        std::size_t counted;
    };

    void startProcess() {
        const int hostEnd = connect();
        if (hostEnd < 0) {
            finish(VKTScriptErrorUnavailable, "no socket for a script world: " + messageOf(errno));
            return;
        }
        const std::string problem = startAnyHost(hostEnd);
        close(hostEnd);
        if (process_ == 0) {
            finish(VKTScriptErrorUnavailable, problem);
            return;
        }
#ifdef SYS_pidfd_open
        handle_ = static_cast<int>(syscall(SYS_pidfd_open, process_.load(), 0));
#endif
        watchAfter(startLimit);
        read();
    }

    // Returns the host's end, with a number above those that the process gives its own; -1 with errno.
    int connect() {
        std::array<int, 2> ends{};
        if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) return -1;
        const int hostEnd = fcntl(ends[1], F_DUPFD_CLOEXEC, VKTScriptHostSocket + 1);
        close(ends[1]);
        std::error_code error;
        socket_.assign(asio::local::stream_protocol(), ends[0], error);
        if (!error) return hostEnd;
        close(ends[0]);
        if (hostEnd >= 0) close(hostEnd);
        errno = error.value();
        return -1;
    }

    // Returns why none could be started.
    std::string startAnyHost(int hostEnd) {
        const auto paths = options_.hostPath.empty() ? vkt_installedScriptHostPaths()
                                                     : std::vector<std::string>{options_.hostPath};
        const auto seconds = (options_.totalLimit + processorTimeMargin).count();
        std::string looked;
        for (const std::string& path : paths) {
            std::vector<std::string> arguments{path, std::to_string(options_.memoryLimit),
                                               std::to_string(options_.messageLimit), std::to_string(seconds),
                                               std::to_string(getpid())};
            if (options_.allowsMissingSystemCallFilter) arguments.emplace_back(VKTScriptHostWithoutFilter);
            pid_t process = 0;
            const int error = spawn(process, hostEnd, arguments, environment_);
            if (error == 0) {
                path_ = path;
                process_ = process;
                return "";
            }
            looked += (looked.empty() ? "" : ", ") + path + " (" + messageOf(error) + ")";
        }
        return "no host program for script worlds: looked at " + looked +
               "; install vkt-script-host in one of these places, or name it in VKTScriptOptions::hostPath "
               "(SDK::setScriptHostPath)";
    }

    void read() {
        socket_.async_read_some(asio::buffer(buffer_),
                                [self = shared_from_this()](const std::error_code& error, std::size_t size) {
                                    self->take(error, size);
                                });
    }

    void take(const std::error_code& error, std::size_t size) {
        if (isFinished_) return;
        if (error) {
            finish(std::nullopt, "");
            return;
        }
        reader_.append({buffer_.data(), size});
        for (auto frame = reader_.next(); frame && !isFinished_; frame = reader_.next())
            take(*frame);
        if (reader_.isSpoilt()) finish(VKTScriptErrorEnded, notOurs);
        if (!isFinished_) read();
    }

    void take(VKTScriptFrame& frame) {
        switch (frame.kind) {
            case VKTScriptFrameReady:
                if (frame.content != VKTScriptFrameVersion) {
                    finish(VKTScriptErrorUnavailable,
                           path_ + " is not of this library's version; install both together");
                    return;
                }
                isReady_ = true;
                isWatching_ = false;
                return;
            case VKTScriptFrameTurnBegin:
                beginTurn(frame.content.empty() ? vkt_callLimit(options_) : vkt_loadLimit(options_));
                return;
            case VKTScriptFrameTurnEnd:
                isWatching_ = false;
                return;
            case VKTScriptFrameMessage:
                tell({std::nullopt, std::move(frame.content)});
                return;
            case VKTScriptFrameException:
                tell({VKTScriptErrorException, std::move(frame.content)});
                return;
            case VKTScriptFrameEnd:
                finish(endCode(frame.content), frame.content.substr(frame.content.empty() ? 0 : 1));
                return;
            default:
                finish(VKTScriptErrorEnded, notOurs);
                return;
        }
    }

    static VKTScriptErrorCode endCode(const std::string& content) {
        for (const auto code : {VKTScriptErrorMemory, VKTScriptErrorUnavailable})
            if (!content.empty() && content.front() == static_cast<char>(code)) return code;
        return VKTScriptErrorEnded;
    }

    void tell(VKTScriptHostEvent event) {
        if (!event.code && event.text.size() > options_.messageLimit) {
            finish(VKTScriptErrorEnded, notOurs);
        } else if (onEvent_ && !onEvent_(std::move(event))) {
            finish(VKTScriptErrorFlood, vkt_backlogLimitText(options_));
        }
    }

    // --- time

    void beginTurn(const VKTScriptTurnLimit& limit) {
        const nanoseconds used = processorTime();
        limit_ = limit;
        turnLimit_ = std::min<nanoseconds>(used + limit.time, options_.totalLimit);
        turnEnd_ = Clock::now() + wallClockFactor * limit.time;
        watchAfter(turnLimit_ - used);
    }

    void watchAfter(nanoseconds delay) {
        isWatching_ = true;
        watch_.expires_after(delay);
        watch_.async_wait([self = shared_from_this()](const std::error_code& error) {
            // A wait that is due can no longer be cancelled: this may be that of an earlier turn.
            const bool isDue = !error && Clock::now() >= self->watch_.expiry();
            if (isDue && self->isWatching_ && !self->isFinished_) self->checkTime();
        });
    }

    void checkTime() {
        if (!isReady_) {
            finish(VKTScriptErrorUnavailable,
                   path_ + " was not ready within " + std::to_string(startLimit.count()) + " s" + hostHint);
            return;
        }
        const nanoseconds left = turnLimit_ - processorTime();
        const nanoseconds leftOnTheWall = turnEnd_ - Clock::now();
        if (left <= 0ns || leftOnTheWall <= 0ns) {
            const bool isTotal = turnLimit_ >= options_.totalLimit;
            finish(VKTScriptErrorTime, left > 0ns ? wallLimitText()
                                       : isTotal  ? vkt_totalLimitText(options_)
                                                  : vkt_turnLimitText(limit_));
            return;
        }
        watchAfter(std::max<nanoseconds>(1ms, std::min(left, leftOnTheWall)));
    }

    [[nodiscard]] std::string wallLimitText() const {
        return limit_.turn + (" took more than " + std::to_string((wallClockFactor * limit_.time).count())) +
               " ms by the clock on the wall, " + std::to_string(wallClockFactor) + " times " + limit_.name;
    }

    [[nodiscard]] nanoseconds processorTime() const {
        clockid_t clock{};
        timespec time{};
        if (clock_getcpuclockid(process_, &clock) != 0 || clock_gettime(clock, &time) != 0) return 0ns;
        return std::chrono::seconds(time.tv_sec) + nanoseconds(time.tv_nsec);
    }

    // --- requests

    void write() {
        asio::async_write(socket_, asio::buffer(outbox_.front().frame),
                          [self = shared_from_this()](const std::error_code& error, std::size_t /*size*/) {
                              // Whoever reads hears about a connection that has ended.
                              if (error || self->isFinished_) return;
                              self->unsent_ -= self->outbox_.front().counted;
                              self->outbox_.pop_front();
                              if (!self->outbox_.empty()) self->write();
                          });
    }

    // --- the end

    // Without a code, the way in which the process ended tells it.
    void finish(std::optional<VKTScriptErrorCode> code, std::string description) {
        if (isFinished_) return;
        isFinished_ = true;
        ending_ = {code, std::move(description)};
        if (process_ == 0) {
            watch_.cancel();
            tellEnd();
            return;
        }
        kill();
        std::error_code ignored;
        socket_.close(ignored);
        collectAfter(firstCollection);
    }

    void kill() const {
#ifdef SYS_pidfd_send_signal
        if (handle_ >= 0) {
            syscall(SYS_pidfd_send_signal, handle_, SIGKILL, nullptr, 0);
            return;
        }
#endif
        ::kill(process_, SIGKILL);
    }

    // The end of the connection comes a little before the end of the process.
    void collectAfter(Clock::duration delay) {
        watch_.expires_after(delay);
        watch_.async_wait([self = shared_from_this(), delay](const std::error_code& /*error*/) {
            int status = 0;
            const pid_t collected = waitpid(self->process_, &status, WNOHANG);
            if (collected == 0 || (collected < 0 && errno == EINTR)) {
                self->collectAfter(std::min<Clock::duration>(2 * delay, slowestCollection));
                return;
            }
            // Who ignores the end of children, or collects them all, leaves nothing to see.
            self->explainEnd(collected < 0 ? "in an unknown way" : howItEnded(status));
            if (self->handle_ >= 0) close(self->handle_);
            self->process_ = 0;
            self->tellEnd();
        });
    }

    static std::string howItEnded(int status) {
        return WIFSIGNALED(status) ? "by signal " + std::to_string(WTERMSIG(status))
                                   : "with status " + std::to_string(WEXITSTATUS(status));
    }

    void explainEnd(const std::string& how) {
        if (ending_.code) return;
        ending_.code = isReady_ ? VKTScriptErrorEnded : VKTScriptErrorUnavailable;
        ending_.text =
            path_ + " ended " + how + (isReady_ ? "" : " before it was ready" + std::string(hostHint));
    }

    void tellEnd() {
        const EventHandler handler = std::exchange(onEvent_, nullptr);
        if (handler) handler(std::move(ending_));
        outbox_.clear();
    }

    const VKTScriptOptions options_;
    std::atomic<pid_t> process_ = 0;
    std::atomic<std::size_t> unsent_ = 0;  // bytes

    // What follows is the I/O thread's own.
    asio::io_context& context_;
    asio::local::stream_protocol::socket socket_{context_};
    asio::steady_timer watch_{context_};
    EventHandler onEvent_;
    std::vector<std::string> environment_;
    std::string path_;
    int handle_ = -1;  // of the process, where the system has them
    std::array<char, 16384> buffer_{};
    VKTScriptFrameReader reader_;
    std::deque<Request> outbox_;
    bool isReady_ = false;
    bool isWatching_ = false;
    bool isFinished_ = false;
    VKTScriptTurnLimit limit_ = vkt_callLimit(options_);
    nanoseconds turnLimit_{0};  // of the processor time of all turns up to this one
    Clock::time_point turnEnd_;
    VKTScriptHostEvent ending_;
};

}  // namespace

std::shared_ptr<VKTScriptHostProcess> VKTScriptHostProcess::start(const VKTScriptOptions& options,
                                                                  const EventHandler& onEvent) {
    std::string problem;
    asio::io_context* const context = sharedContext().get(problem);
    if (context == nullptr) {
        onEvent({VKTScriptErrorUnavailable, problem});
        return nullptr;
    }
    auto process = std::make_shared<HostProcess>(options, onEvent, *context);
    process->begin();
    return process;
}
