#include "inspector/ChildRun.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>

namespace {

using namespace std::chrono_literals;

constexpr int firstFree = ChildRun::reportDescriptor + 1;
constexpr auto lastWords = 10ms;  // between two looks at a process that has closed its output
constexpr int wrongUsage = 2;

std::string messageOf(int error) {
    return std::generic_category().message(error);
}

// With a number above those that the child has for its own. Not open, with errno, when there is none left.
Descriptor raised(Descriptor descriptor) {
    if (!descriptor.isOpen()) return descriptor;
    return Descriptor(fcntl(descriptor.number(), F_DUPFD_CLOEXEC, firstFree));
}

struct Ends {
    Descriptor ours, childs;

    [[nodiscard]] bool areOpen() const { return ours.isOpen() && childs.isOpen(); }
};

// What the child writes is read without waiting.
Ends makePipe() {
    std::array<int, 2> ends{-1, -1};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) return {};
    fcntl(ends[0], F_SETFL, O_NONBLOCK);
    return {Descriptor(ends[0]), raised(Descriptor(ends[1]))};
}

Ends makeSocketPair() {
    std::array<int, 2> ends{-1, -1};
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) return {};
    return {Descriptor(ends[0]), raised(Descriptor(ends[1]))};
}

// A file without a name: neither waits for the other, and nothing of it stays.
Descriptor makeFile(std::string_view content) {
    Descriptor file = raised(Descriptor(memfd_create("vkt-run", MFD_CLOEXEC)));
    while (file.isOpen() && !content.empty()) {
        const ssize_t count = write(file.number(), content.data(), content.size());
        if (count < 0) return {};
        content.remove_prefix(static_cast<std::size_t>(count));
    }
    if (file.isOpen()) lseek(file.number(), 0, SEEK_SET);
    return file;
}

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string& text : texts)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

// The HTTP server's connections would pass to the child: their clients would not see them closed.
void closeTheRest(posix_spawn_file_actions_t& actions) {
#if defined(__GLIBC__) && (__GLIBC__ > 2 || __GLIBC_MINOR__ >= 34)
    posix_spawn_file_actions_addclosefrom_np(&actions, firstFree);
#else
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd", error)) {
        const int descriptor = std::atoi(entry.path().filename().c_str());
        if (descriptor >= firstFree) posix_spawn_file_actions_addclose(&actions, descriptor);
    }
#endif
}

}  // namespace

std::unique_ptr<ChildRun> ChildRun::start(const std::string& program, const ChildCommand& command,
                                          const ChildLimits& limits, std::string& problem) {
    std::unique_ptr<ChildRun> run(new ChildRun(limits));
    problem = run->spawn(program, command);
    return problem.empty() ? std::move(run) : nullptr;
}

ChildRun::~ChildRun() {
    kill("");
    while (!reap())
        waitForInput(lastWords);
}

std::string ChildRun::spawn(const std::string& program, const ChildCommand& command) {
    Ends output = makePipe();
    Ends notes = makePipe();
    Ends control = makeSocketPair();
    const Descriptor input = makeFile(command.input);
    report_ = makeFile("");
    if (!output.areOpen() || !notes.areOpen() || !control.areOpen() || !input.isOpen() || !report_.isOpen())
        return "no descriptors for a run: " + messageOf(errno) +
               "; wait for the end of others, or raise the limit of open files";

    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
    posix_spawn_file_actions_init(&actions);
    posix_spawnattr_init(&attributes);
    const std::array<int, firstFree> descriptors{input.number(), output.childs.number(),
                                                 notes.childs.number(), control.childs.number(),
                                                 report_.number()};
    for (int number = 0; number < firstFree; ++number)
        posix_spawn_file_actions_adddup2(&actions, descriptors.at(static_cast<std::size_t>(number)), number);
    closeTheRest(actions);
    sigset_t signals;
    sigfillset(&signals);
    posix_spawnattr_setsigdefault(&attributes, &signals);
    sigemptyset(&signals);
    posix_spawnattr_setsigmask(&attributes, &signals);
    posix_spawnattr_setflags(&attributes, static_cast<short>(POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK |
                                                             POSIX_SPAWN_SETPGROUP));
    std::vector<std::string> arguments{"vkt"};
    arguments.insert(arguments.end(), command.arguments.begin(), command.arguments.end());
    pid_t process = 0;
    const int error =
        posix_spawn(&process, program.c_str(), &actions, &attributes, pointersTo(arguments).data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) return program + " cannot be started: " + messageOf(error);

    output_.descriptor = std::move(output.ours);
    notes_.descriptor = std::move(notes.ours);
    control_ = std::move(control.ours);
    const VKTLock lock(mutex_);
    process_ = process;
    return "";
}

ChildEnd ChildRun::listen(const Listener& listener) {
    const auto end = Clock::now() + limits_.time;
    auto beat = Clock::now() + limits_.heartbeat;
    bool isListening = true;
    const Listener tell = [&](Kind kind, std::string_view line) {
        isListening = isListening && listener(kind, line);
        if (!isListening) kill("nobody listens");
        beat = Clock::now() + limits_.heartbeat;
        return isListening;
    };
    while (true) {
        checkLimits(end);
        const bool isOver = reap();  // before it is read: what was written by then is there
        if (!isOver) waitForInput(std::min(end, beat) - Clock::now());
        const bool isOutput = readStream(output_, tell);
        const bool isNote = readStream(notes_, tell);
        if (isOver && !isOutput && !isNote) break;
        if (Clock::now() >= beat) tell(Heartbeat, "");
    }
    for (Stream* stream : {&output_, &notes_})
        if (!stream->line.empty()) tell(stream->kind, stream->line);
    ChildEnd result;
    result.problem = problemOfEnd(lastNote_);
    const VKTLock lock(mutex_);
    result.status = WIFSIGNALED(status_) ? 128 + WTERMSIG(status_) : WEXITSTATUS(status_);
    if (WIFEXITED(status_)) takeReport(result);
    return result;
}

void ChildRun::waitForInput(Clock::duration time) const {
    std::array<pollfd, 2> streams{
        {{output_.descriptor.number(), POLLIN, 0}, {notes_.descriptor.number(), POLLIN, 0}}};
    const bool isOutputClosed = !output_.descriptor.isOpen() && !notes_.descriptor.isOpen();
    const auto longest = isOutputClosed ? std::min<Clock::duration>(time, lastWords) : time;
    const auto whole = std::chrono::ceil<std::chrono::milliseconds>(std::max(longest, Clock::duration(0)));
    poll(streams.data(), streams.size(), static_cast<int>(whole.count()));
}

// One piece of what is there. False when there is nothing, and there may be more later, or never.
bool ChildRun::readStream(Stream& stream, const Listener& listener) {
    if (!stream.descriptor.isOpen()) return false;
    std::array<char, 65536> buffer;  // NOLINT(cppcoreguidelines-pro-type-member-init): read below
    const ssize_t count = read(stream.descriptor.number(), buffer.data(), buffer.size());
    if (count == 0) stream.descriptor.reset();
    if (count <= 0) return false;
    std::string_view piece(buffer.data(), static_cast<std::size_t>(count));
    byteCount_ += piece.size();
    for (std::size_t feed = piece.find('\n'); feed != std::string_view::npos; feed = piece.find('\n')) {
        stream.line += piece.substr(0, feed);
        piece.remove_prefix(feed + 1);
        if (stream.kind == Note) lastNote_ = stream.line;
        if (!listener(stream.kind, stream.line)) return false;
        stream.line.clear();
    }
    stream.line += piece;
    return true;
}

void ChildRun::checkLimits(Clock::time_point end) {
    if (Clock::now() >= end)
        kill("it took longer than " +
             std::to_string(std::chrono::duration_cast<std::chrono::seconds>(limits_.time).count()) + " s");
    if (byteCount_ + reportSize() > limits_.bytes)
        kill("it wrote more than " + std::to_string(limits_.bytes) + " bytes");
}

// Whether the process has ended. What it has started and left behind is killed before its number is free.
bool ChildRun::reap() {
    const VKTLock lock(mutex_);
    if (process_ == 0) return true;
    siginfo_t info{};
    const bool isRunning =
        waitid(P_PID, static_cast<id_t>(process_), &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
        info.si_pid == 0;
    if (isRunning) return false;
    ::kill(-process_, SIGKILL);
    waitpid(process_, &status_, 0);
    process_ = 0;
    return true;
}

void ChildRun::kill(const std::string& reason) {
    const VKTLock lock(mutex_);
    if (process_ == 0) return;
    if (killReason_.empty()) killReason_ = reason;
    ::kill(-process_, SIGKILL);
}

bool ChildRun::say(std::string_view lines) {
    // So few bytes are taken whole or not at all: none when the child has not read for long.
    if (lines.size() > longestSaying) return false;
    const ssize_t count = send(control_.number(), lines.data(), lines.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    const bool hasNoReader = count < 0 && (errno == EPIPE || errno == ECONNRESET);
    return hasNoReader || count == static_cast<ssize_t>(lines.size());
}

std::size_t ChildRun::reportSize() const {
    struct stat facts {};
    return fstat(report_.number(), &facts) == 0 ? static_cast<std::size_t>(facts.st_size) : 0;
}

void ChildRun::takeReport(ChildEnd& end) const {
    const std::size_t size = reportSize();
    if (size > limits_.bytes) return;
    end.report.resize(size);
    std::size_t done = 0;
    while (done < size) {
        const ssize_t count =
            pread(report_.number(), end.report.data() + done, size - done, static_cast<off_t>(done));
        if (count <= 0) break;
        done += static_cast<std::size_t>(count);
    }
    end.report.resize(done);
}

std::string ChildRun::problemOfEnd(const std::string& lastNote) {
    const VKTLock lock(mutex_);
    if (!killReason_.empty()) return "The run was ended: " + killReason_ + ".";
    if (WIFSIGNALED(status_))
        return "The run crashed: signal " + std::to_string(WTERMSIG(status_)) + " (" +
               strsignal(WTERMSIG(status_)) + ").";
    if (WEXITSTATUS(status_) >= wrongUsage) return lastNote;
    return "";
}
