#include <gtest/gtest.h>
#include <poll.h>
#include <sched.h>
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
#include <functional>
#include <iterator>
#include <string>
#include <tuple>
#include <vector>

#include "VKTCoreKit/platform/linux/VKTDuktapeExecutor.h"
#include "VKTCoreKit/platform/linux/VKTProcessExecutor.h"
#include "VKTCoreKit/platform/linux/VKTScriptFrames.h"
#include "VKTCoreKit/platform/linux/host/Fence.h"
#include "VKTCoreKit/platform/testing/VKTTestPlatform.h"
#include "VKTCoreKit/platform/testing/contract/VKTScriptExecutorContract.h"
#include "tests/support/VKTTestPaths.h"

using namespace std::chrono_literals;

namespace {

std::unique_ptr<VKTScriptExecutor> makeWorldInBuiltProcess(VKTScriptOptions options,
                                                           VKTScriptHandlers handlers) {
    options.hostPath = VKTTestPaths::scriptHost;
    return vkt_makeProcessExecutor(options, std::move(handlers));
}

INSTANTIATE_TEST_SUITE_P(Ours, VKTScriptExecutorContract,
                         testing::Values(VKTScriptWorldMaker{"in this process", vkt_makeDuktapeExecutor},
                                         VKTScriptWorldMaker{"in its own", makeWorldInBuiltProcess}));

TEST(DuktapeExecutor, SaysWhatIsWrong) {
    const auto test = vkt_makeTestPlatform();
    const VKTScopedPlatform scope(test.platform);
    std::string description;
    VKTScriptHandlers handlers;
    handlers.onException = [&](const VKTError& error) {
        description = error.localizedDescription().value_or("");
    };
    const auto world = vkt_makeDuktapeExecutor({}, std::move(handlers));
    world->evaluate("postToHost(7)", "number.js");
    test.mainRunLoop->drain();
    EXPECT_EQ(description, "TypeError: postToHost takes one text (number.js:1)");
}

// --- worlds in a process of their own

class ProcessScripts : public testing::Test, public VKTScriptWorld {
  protected:
    ProcessScripts() : VKTScriptWorld(vkt_makeProcessExecutor) {
        options_.hostPath = VKTTestPaths::scriptHost;
    }

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
        std::chrono::milliseconds loadLimit;
        std::chrono::seconds totalLimit;
        int signal;  // sent to the process in its turn
        const char* end;
        const char* description;
    };
    for (const Case& each : {Case{100ms, 60s, 0, "end 3", "loading a script "},
                             Case{20s, 1s, 0, "end 3", "all turns together used more than 1 s"},
                             Case{200ms, 60s, SIGSTOP, "end 3", "loading a script "},
                             Case{20s, 60s, SIGKILL, "end 5", "by signal 9"}}) {
        options_.loadLimit = each.loadLimit;
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

TEST_F(ProcessScripts, LoadALargeBundleWithinTheDefaultLimits) {
    std::string bundle = "var all = [];";
    for (int i = 0; bundle.size() < std::size_t{2} * 1024 * 1024; ++i) {
        const std::string n = std::to_string(i);
        bundle.append("all.push(function (a, b) { this.n = ").append(n);
        bundle.append("; return a ? [a, b] : 'a").append(n).append("'; });");
    }
    static_cast<VKTScriptLimits&>(options_) = VKTScriptLimits();
    openAndEvaluate(bundle + "postToHost('loaded')");
    EXPECT_TRUE(runUntilLogged(1));
    EXPECT_EQ(log_, Log{"loaded"}) << description_;
}

TEST_F(ProcessScripts, AnythingButItsOwnHostIsEndedAndToldAndNothingReplacesIt) {
    const std::string impostor = testing::TempDir() + "impostor-" + std::to_string(getpid());
    // The host, or what an impostor in its place sends; the end, and a part of what is told of it.
    const std::tuple<std::string, const char*, std::string, const char*> cases[] = {
        {"/nowhere/vkt-script-host", "", "end 6", "/nowhere/vkt-script-host (No such file"},
        {"/dev/null", "", "end 6", "/dev/null (Permission denied)"},
        {"/bin/true", "", "end 6", "/bin/true ended with status 0 before it was ready"},
        {"", R"(\1\0\0\0\0030)", "end 6", "version"},
        {"", R"(\1\0\0\0\0032\377\377\377\377\6)", "end 5", "nobody understands"},
        {"", R"(\1\0\0\0\0032\0\0\0\0\143)", "end 5", "nobody understands"}};
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

TEST_F(ProcessScripts, HearWhetherTheyMayRunWithoutAFilter) {
    options_.hostPath = testing::TempDir() + "host-" + std::to_string(getpid());
    // Answers that it is ready, and with a message of one letter.
    std::ofstream(options_.hostPath) << "#!/bin/sh\nletter=n; [ \"$5\" = " << VKTScriptHostWithoutFilter
                                     << " ] && letter=y\n"
                                     << R"(printf '\1\0\0\0\0032\1\0\0\0\6'$letter >&3; read wait <&3)";
    chmod(options_.hostPath.c_str(), S_IRWXU);
    for (const bool isAllowed : {false, true}) {
        options_.allowsMissingSystemCallFilter = isAllowed;
        openAndEvaluate("");
        EXPECT_TRUE(runUntilLast(isAllowed ? "y" : "n")) << description_;
    }
    unlink(options_.hostPath.c_str());
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
    std::ifstream scoreFile("/proc/" + std::to_string(process) + "/oom_score_adj");
    int score = 0;
    scoreFile >> score;
    EXPECT_EQ(score, 1000) << "when memory runs out, scripts go before the player";
    // It has let go of what the player left open.
    close(ends[1]);
    pollfd other{.fd = ends[0], .events = POLLIN, .revents = 0};
    EXPECT_EQ(poll(&other, 1, 0), 1);
    close(ends[0]);
}

TEST_F(ProcessScripts, StartForAPlayerOfTheLowestPriority) {
    constexpr uid_t nobody = 65534;  // who may not leave that priority
    const pid_t player = fork();
    if (player == 0) {
        const sched_param priority{};
        if (sched_setscheduler(0, SCHED_IDLE, &priority) != 0 || (geteuid() == 0 && setuid(nobody) != 0))
            _exit(EXIT_FAILURE);
        execl("/proc/self/exe", "player", "--gtest_filter=ProcessScripts.RunBehindTheFence", nullptr);
        _exit(EXIT_FAILURE);
    }
    int status = 0;
    waitpid(player, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == EXIT_SUCCESS) << status;
}

TEST_F(ProcessScripts, OneThatPostsManyMessagesKeepsNobodyWaiting) {
    VKTScriptHandlers slow;
    int told = 0;
    slow.onMessage = [&](const std::string&) {
        ++told;
        const auto end = std::chrono::steady_clock::now() + 2ms;
        while (std::chrono::steady_clock::now() < end) {
        }
    };
    world_ = make_(options_, std::move(slow));
    world_->evaluate("for (var i = 0; i < 50; ++i) postToHost('')", "many.js");
    int before = 0;
    int longest = 0;
    std::function<void()> other = [&] {
        longest = std::max(longest, told - std::exchange(before, told));
        loop_->post(other);
    };
    loop_->post(other);
    EXPECT_TRUE(loop_->runUntil([&] { return told == 50; }, VKTScriptPatience));
    EXPECT_EQ(longest, 1) << "messages between two runs of another task, each longer than a piece may take";
    other = nullptr;
}

TEST_F(ProcessScripts, LeaveNoneBehind) {
    for (int i = 0; i < 200; ++i) {
        log_.clear();
        openAndEvaluate("postToHost('started'); for (;;);");
        if (i % 20 == 0) {
            EXPECT_TRUE(runUntilLogged(1));
        }
        if (i % 20 == 1) {
            const pid_t process = openAndStart();
            ASSERT_GT(process, 0) << "and the signal would go to everybody who runs the tests";
            kill(process, SIGSTOP);
        }
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
            execl(VKTTestPaths::scriptHost, VKTTestPaths::scriptHost, "16777216", "1024", "60",
                  parent.c_str(), nullptr);
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

// Processors with 32 bits have only the second one.
#ifdef SYS_mmap
constexpr long callThatMaps = SYS_mmap;
#else
constexpr long callThatMaps = SYS_mmap2;
#endif

TEST(ScriptFence, TheSystemEndsAProcessAtAnyOtherCall) {
    const std::tuple<const char*, std::array<long, 4>, bool> calls[] = {
        // with their arguments
        {"clock_gettime", {SYS_clock_gettime, CLOCK_MONOTONIC, 0, 0}, true},
        {"mmap", {callThatMaps, 0, 4096, PROT_READ}, true},
        {"mmap of code", {callThatMaps, 0, 4096, PROT_READ | PROT_EXEC}, false},
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
