#include <gtest/gtest.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <iterator>
#include <string>
#include <tuple>
#include <vector>

#include "VKTCoreKit/platform/linux/VKTDuktapeExecutor.h"
#include "VKTCoreKit/platform/linux/VKTLinuxRunLoop.h"
#include "VKTCoreKit/platform/linux/VKTProcessExecutor.h"
#include "VKTCoreKit/platform/linux/VKTScriptFrames.h"
#include "VKTCoreKit/platform/linux/host/Fence.h"
#include "VKTCoreKit/platform/testing/VKTTestPlatform.h"

using namespace std::chrono_literals;

namespace {

constexpr auto patience = 60s;  // of the tests; far above what a busy machine needs

template <auto maker>
struct Made {
    static constexpr auto make = maker;
};
using InProcess = Made<vkt_makeDuktapeExecutor>;
using OwnProcess = Made<vkt_makeProcessExecutor>;

// One world at a time, and the log of what it reported.
template <typename Subject>
class ScriptExecutorContract : public testing::Test {
  protected:
    VKTScriptHandlers handlers() {
        return {.onMessage = [this](const std::string& message) { log_.push_back(message); },
                .onException = [this](const VKTError& error) { note("exception", error); },
                .onEnd = [this](const VKTError& error) { note("end", error); }};
    }

    void note(const std::string& what, const VKTError& error) {
        EXPECT_EQ(error.domain(), VKTScriptErrorDomain);
        description_ = error.localizedDescription().value_or("");
        log_.push_back(what + " " + std::to_string(error.code()));
    }

    void openAndEvaluate(const std::string& script) {
        world_ = Subject::make(options_, handlers());
        world_->evaluate(script, "test.js");
    }

    bool runUntilLogged(std::size_t count) {
        return loop_->runUntil([&] { return log_.size() >= count; }, patience);
    }

    bool runUntilLast(const std::string& entry) {
        return loop_->runUntil([&] { return !log_.empty() && log_.back() == entry; }, patience);
    }

    static VKTPlatform platformOver(const std::shared_ptr<VKTRunLoop>& loop) {
        VKTPlatform platform = VKTPlatform::current();
        platform.mainRunLoop = loop;
        return platform;
    }

    using Log = std::vector<std::string>;
    std::shared_ptr<VKTRunLoop> loop_ = vkt_makeLinuxRunLoop();
    VKTScopedPlatform inForce_{platformOver(loop_)};
    // Sanitizers and neighbours take their share of the time.
    VKTScriptOptions options_{.turnLimit = 20s, .hostPath = VKT_SCRIPT_HOST};
    Log log_;
    std::string description_;
    std::unique_ptr<VKTScriptExecutor> world_;
};

using Subjects = testing::Types<InProcess, OwnProcess>;
TYPED_TEST_SUITE(ScriptExecutorContract, Subjects);

TYPED_TEST(ScriptExecutorContract, ReportsInOrderOnTheLoopAndGoesOnAfterExceptions) {
    this->openAndEvaluate("var count = 0; function add(o) { count += o.n; postToHost('n' + count + o.s); }");
    this->world_->call("add", R"({"n":1,"s":"\u00e9😀"})");
    this->world_->evaluate("postToHost('before'); throw new TypeError('oh')", "bad.js");
    this->world_->call("add", R"({"n":)");
    this->world_->call("missing", "1");
    this->world_->evaluate("var = 3", "syntax.js");
    this->world_->evaluate("(function f() { f(); })()", "deep.js");
    this->world_->evaluate("postToHost(7)", "number.js");
    this->world_->call("add", R"({"n":2,"s":""})");
    EXPECT_TRUE(this->log_.empty());
    ASSERT_TRUE(this->runUntilLast("n3"));
    const std::string thrown = "exception 1";
    EXPECT_EQ(this->log_, (std::vector<std::string>{"n1é😀", "before", thrown, thrown, thrown, thrown, thrown,
                                                    thrown, "n3"}));
    EXPECT_EQ(this->description_, "TypeError: postToHost takes one text (number.js:1)");
}

TYPED_TEST(ScriptExecutorContract, HasTheLanguageAndNothingElse) {
    this->openAndEvaluate(R"(
        var extra = ['Duktape', 'CBOR', 'Buffer', 'require', 'print', 'alert', 'performance', 'setTimeout'];
        postToHost(extra.filter(function (name) { return name in globalThis; }).join() + typeof JSON.parse);)");
    ASSERT_TRUE(this->runUntilLogged(1));
    EXPECT_EQ(this->log_, std::vector<std::string>{"function"});
}

TYPED_TEST(ScriptExecutorContract, EndsOnceWhenALimitIsPassedAndNamesIt) {
    this->options_.messageLimit = 1000;
    this->options_.backlogLimit = 200;
    const std::tuple<const char*, std::string, const char*> cases[] = {
        {"var s = 'x'; for (;;) s += s;", "end 2", "::memoryLimit"},
        {"try { var s = 'x'; for (;;) s += s; } catch (e) { s = null; }", "end 2", "::memoryLimit"},
        {"postToHost(new Array(1002).join('x'))", "end 4", "::messageLimit"},
        {"for (var i = 0; i < 5000; ++i) postToHost('')", "end 4", "::backlogLimit"},
        {"for (var end = Date.now() + 200; Date.now() < end;);", "end 3", "::turnLimit"}};
    for (const auto& [script, end, limit] : cases) {
        this->log_.clear();
        this->options_.turnLimit = end == "end 3" ? 5ms : 20s;
        this->openAndEvaluate(script);
        this->world_->evaluate("postToHost('still here')", "after.js");
        ASSERT_TRUE(this->runUntilLast(end)) << script << this->description_;
        EXPECT_NE(this->description_.find(limit), std::string::npos) << this->description_;
        this->world_->evaluate("postToHost('still here')", "later.js");
        this->loop_->drain();
        EXPECT_EQ(this->log_.back(), end);
        EXPECT_EQ(std::count(this->log_.begin(), this->log_.end(), "still here"), 0) << script;
    }
}

TYPED_TEST(ScriptExecutorContract, MayBeDestroyedByEachOfItsHandlers) {
    int calls = 0;
    const auto drop = [&](const auto&) {
        ++calls;
        this->world_.reset();
    };
    for (const char* script :
         {"postToHost('a'); postToHost('b')", "throw 1", "var s = 'x'; for (;;) s += s;"}) {
        this->world_ = TypeParam::make(this->options_, {drop, drop, drop});
        this->world_->evaluate(script, "test.js");
        this->world_->evaluate(script, "again.js");
        ASSERT_TRUE(this->loop_->runUntil([&] { return this->world_ == nullptr; }, patience)) << script;
        this->loop_->drain();
    }
    EXPECT_EQ(calls, 3);
    // With everything it was asked still waiting.
    this->openAndEvaluate("postToHost('never')");
    this->world_.reset();
    this->loop_->drain();
    EXPECT_TRUE(this->log_.empty());
}

// --- worlds in a process of their own

class ProcessScripts : public ScriptExecutorContract<OwnProcess> {
  protected:
    pid_t openAndStart() {
        openAndEvaluate("postToHost('started')");
        EXPECT_TRUE(runUntilLast("started")) << description_;
        return static_cast<pid_t>(world_->processIdentifier());
    }

    static bool hasChildren() {
        siginfo_t ignored{};
        return waitid(P_ALL, 0, &ignored, WEXITED | WNOHANG | WNOWAIT) == 0 || errno != ECHILD;
    }
};

TEST_F(ProcessScripts, EndlessTurnsEndByTheirTimeOrFromOutside) {
    struct Case {
        std::chrono::milliseconds turnLimit;
        std::chrono::seconds totalLimit;
        int signal;  // sent to the process in its turn
        const char* end;
        const char* description;
    };
    for (const Case& each :
         {Case{100ms, 60s, 0, "end 3", "a turn "},
          Case{20s, 1s, 0, "end 3", "all turns together used more than 1 s"},
          Case{200ms, 60s, SIGSTOP, "end 3", "a turn "}, Case{20s, 60s, SIGKILL, "end 5", "by signal 9"}}) {
        options_.turnLimit = each.turnLimit;
        options_.totalLimit = each.totalLimit;
        log_.clear();
        openAndEvaluate("postToHost('in a turn'); for (;;);");
        ASSERT_TRUE(runUntilLogged(1));
        if (const std::int64_t process = world_->processIdentifier(); process != 0)
            kill(static_cast<pid_t>(process), each.signal);
        ASSERT_TRUE(runUntilLast(each.end)) << description_;
        EXPECT_NE(description_.find(each.description), std::string::npos) << description_;
        EXPECT_EQ(world_->processIdentifier(), 0);
        EXPECT_FALSE(hasChildren());
    }
}

TEST_F(ProcessScripts, AnythingButItsOwnHostIsEndedAndToldAndNothingReplacesIt) {
    const std::string impostor = testing::TempDir() + "impostor-" + std::to_string(getpid());
    // The host, or what an impostor in its place sends; the end, and a part of what is told of it.
    const std::tuple<std::string, const char*, std::string, const char*> cases[] = {
        {"/nowhere/vkt-script-host", "", "end 6", "/nowhere/vkt-script-host (No such file"},
        {"/dev/null", "", "end 6", "/dev/null (Permission denied)"},
        {"/bin/true", "", "end 6", "/bin/true ended with status 0 before it was ready"},
        {"", R"(\1\0\0\0\0030)", "end 6", "version"},
        {"", R"(\1\0\0\0\0031\377\377\377\377\6)", "end 4", "messageLimit"},
        {"", R"(\1\0\0\0\0031\0\0\0\0\143)", "end 5", "nobody understands"}};
    for (const auto& [path, bytes, end, description] : cases) {
        if (path.empty()) {
            std::ofstream(impostor) << "#!/bin/sh\nprintf '" << bytes << "' >&3\nread wait <&3\n";
            chmod(impostor.c_str(), S_IRWXU);
        }
        options_.hostPath = path.empty() ? impostor : path;
        log_.clear();
        openAndEvaluate("postToHost('ran')");
        ASSERT_TRUE(runUntilLogged(1));
        EXPECT_EQ(log_, Log{end});
        EXPECT_NE(description_.find(description), std::string::npos) << description_;
    }
    unlink(impostor.c_str());
}

TEST_F(ProcessScripts, RunBehindTheFence) {
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe(ends.data()), 0);
    setenv("TZ", "Asia/Tokyo", 1);
    const pid_t process = openAndStart();
    world_->evaluate("postToHost('' + new Date(0).getTimezoneOffset())", "zone.js");
    const std::time_t epoch = 0;
    EXPECT_TRUE(runUntilLast(std::to_string(-std::localtime(&epoch)->tm_gmtoff / 60))) << log_.back();
    unsetenv("TZ");
    std::ifstream file("/proc/" + std::to_string(process) + "/status");
    const std::string status(std::istreambuf_iterator<char>(file), {});
    for (const char* line : {"\nSeccomp:\t2\n", "\nNoNewPrivs:\t1\n", "\nThreads:\t1\n"})
        EXPECT_NE(status.find(line), std::string::npos) << line << status;
    for (const auto resource : {RLIMIT_FSIZE, RLIMIT_CORE, RLIMIT_NPROC, RLIMIT_NOFILE}) {
        rlimit limit{1, 1};
        EXPECT_EQ(prlimit(process, resource, nullptr, &limit), 0);
        EXPECT_EQ(limit.rlim_max, 0U);
    }
    // It has let go of what the player left open.
    close(ends[1]);
    pollfd other{.fd = ends[0], .events = POLLIN, .revents = 0};
    EXPECT_EQ(poll(&other, 1, 0), 1);
    close(ends[0]);
}

TEST_F(ProcessScripts, LeaveNoneBehind) {
    for (int i = 0; i < 200; ++i) {
        log_.clear();
        openAndEvaluate("postToHost('started'); for (;;);");
        if (i % 20 == 0) {
            EXPECT_TRUE(runUntilLogged(1));
        }
        if (i % 20 == 1) kill(openAndStart(), SIGSTOP);
    }
    world_.reset();
    for (int i = 0; i < 60'000 && hasChildren(); ++i)
        loop_->runUntil([] { return false; }, 1ms);
    EXPECT_FALSE(hasChildren());
}

TEST_F(ProcessScripts, EndWithThePlayerEvenInAnEndlessTurn) {
    ASSERT_EQ(prctl(PR_SET_CHILD_SUBREAPER, 1), 0);  // what loses its parent becomes a child of this process
    std::array<int, 2> ends{};
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()), 0);
    const pid_t player = fork();
    if (player == 0) {
        const std::string parent = std::to_string(getpid());
        if (fork() == 0) {
            dup2(ends[1], VKTScriptHostSocket);
            execl(VKT_SCRIPT_HOST, VKT_SCRIPT_HOST, "16777216", "60", parent.c_str(), nullptr);
            _exit(EXIT_FAILURE);
        }
        for (;;)
            pause();
    }
    const std::string script = std::string("endless.js") + '\0' + "postToHost('in a turn'); for (;;);";
    const std::string request = vkt_encodedScriptFrame(VKTScriptFrameEvaluate, script);
    ASSERT_EQ(write(ends[0], request.data(), request.size()), std::ssize(request));
    std::string received;
    for (char byte = 0; !received.ends_with("in a turn"); received += byte)
        ASSERT_EQ(read(ends[0], &byte, 1), 1);

    kill(player, SIGKILL);
    waitpid(player, nullptr, 0);
    int status = 0;
    EXPECT_GT(waitpid(-1, &status, 0), 0);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << status;
    close(ends[0]);
    close(ends[1]);
}

TEST(ScriptFence, TheSystemEndsAProcessAtAnyOtherCall) {
    const std::tuple<const char*, std::array<long, 4>, bool> calls[] = {
        // with their arguments
        {"clock_gettime", {SYS_clock_gettime, CLOCK_MONOTONIC, 0, 0}, true},
        {"mmap", {SYS_mmap, 0, 4096, PROT_READ}, true},
        {"mmap of code", {SYS_mmap, 0, 4096, PROT_READ | PROT_EXEC}, false},
        {"read of another descriptor", {SYS_read, 0, 0, 0}, false},
        {"openat", {SYS_openat, -100, 0, 0}, false},
        {"socket", {SYS_socket, AF_INET, SOCK_STREAM, 0}, false},
        {"clone", {SYS_clone, SIGCHLD, 0, 0}, false},
        {"kill", {SYS_kill, 1, 0, 0}, false},
        {"prctl", {SYS_prctl, PR_SET_DUMPABLE, 1, 0}, false}};
    for (const auto& [name, call, isAllowed] : calls) {
        const pid_t process = fork();
        if (process == 0) {
            if (!vkt_limitSystemCalls()) _exit(EXIT_FAILURE);
            syscall(call[0], call[1], call[2], call[3], 0, 0, 0);
            syscall(SYS_exit_group, EXIT_SUCCESS);
        }
        int status = 0;
        waitpid(process, &status, 0);
        EXPECT_EQ(WIFSIGNALED(status) ? WTERMSIG(status) : 0, isAllowed ? 0 : SIGSYS) << name;
        EXPECT_TRUE(!isAllowed || WEXITSTATUS(status) == EXIT_SUCCESS) << name;
    }
}

}  // namespace
