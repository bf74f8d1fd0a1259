// The fence around scripts, on the machines and the kernels that the library is for.
#include <gtest/gtest.h>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <seccomp.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "VKTCoreKit/platform/VKTScriptExecutor.h"
#include "VKTCoreKit/platform/linux/VKTScriptFrames.h"
#include "VKTCoreKit/platform/linux/host/Fence.h"
#include "tests/support/VKTTestPaths.h"

namespace {

std::vector<sock_filter> programOf(std::uint32_t machine) {
    std::FILE* const file = std::tmpfile();
    const VKTSystemCallFilter filter = vkt_systemCallFilter(machine);
    EXPECT_TRUE(filter && seccomp_export_bpf(filter.get(), fileno(file)) == 0);
    std::rewind(file);
    std::vector<sock_filter> program(BPF_MAXINSNS);
    program.resize(std::fread(program.data(), sizeof(sock_filter), program.size(), file));
    std::fclose(file);
    return program;
}

bool jumps(const sock_filter& step, std::uint32_t value) {
    switch (BPF_OP(step.code)) {
        case BPF_JEQ:
            return value == step.k;
        case BPF_JGT:
            return value > step.k;
        case BPF_JGE:
            return value >= step.k;
        default:
            return (value & step.k) != 0;
    }
}

// What the kernel would do: the action, or 0 where the program has what this does not know.
std::uint32_t actionOf(const std::vector<sock_filter>& program, const seccomp_data& call) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < program.size(); ++i) {
        const sock_filter& step = program[i];
        if (step.code == (BPF_LD | BPF_W | BPF_ABS)) {
            std::memcpy(&value, reinterpret_cast<const char*>(&call) + step.k, sizeof value);
        } else if (step.code == (BPF_ALU | BPF_AND | BPF_K)) {
            value &= step.k;
        } else if (step.code == (BPF_JMP | BPF_JA)) {
            i += step.k;
        } else if (BPF_CLASS(step.code) == BPF_JMP) {
            i += jumps(step, value) ? step.jt : step.jf;
        } else {
            return step.code == (BPF_RET | BPF_K) ? step.k : 0;
        }
    }
    return 0;
}

struct Machine {
    const char* name;
    std::uint32_t libraryName;
    std::uint32_t kernelName;
    const char* ownCalls;  // of its C runtimes, besides those of all
};

const Machine machines[] = {
    {"x86-64", SCMP_ARCH_X86_64, AUDIT_ARCH_X86_64, "mmap time"},
    {"aarch64", SCMP_ARCH_AARCH64, AUDIT_ARCH_AARCH64, "mmap"},
    // Of two kinds of time: which one is used depends on the age of the kernel and of the C runtime.
    {"armhf", SCMP_ARCH_ARM, AUDIT_ARCH_ARM, "mmap2 clock_gettime64 futex_time64 sigreturn"}};

class ScriptFence : public testing::TestWithParam<Machine> {
  protected:
    std::uint32_t actionOfCall(const std::string& name, std::array<std::uint64_t, 3> arguments = {}) {
        seccomp_data call{};
        call.nr = seccomp_syscall_resolve_name_arch(GetParam().libraryName, name.c_str());
        EXPECT_GE(call.nr, 0) << name << " is no call of this machine";
        call.arch = GetParam().kernelName;
        std::copy(arguments.begin(), arguments.end(), call.args);
        return actionOf(program_, call);
    }

    const std::vector<sock_filter> program_ = programOf(GetParam().libraryName);
};

// What the C runtimes of glibc and musl need behind the fence: memory, time, locks, the end.
TEST_P(ScriptFence, LetsTheCRuntimeOfEachMachineWork) {
    std::istringstream calls(std::string(GetParam().ownCalls) +
                             " brk munmap mremap mprotect madvise futex clock_gettime gettimeofday getrandom "
                             "rt_sigreturn restart_syscall exit exit_group");
    for (std::string name; calls >> name;)
        EXPECT_EQ(actionOfCall(name), SECCOMP_RET_ALLOW) << name;
    for (const char* name : {"read", "write"}) {
        EXPECT_EQ(actionOfCall(name, {VKTScriptHostSocket}), SECCOMP_RET_ALLOW) << name;
        EXPECT_EQ(actionOfCall(name, {VKTScriptHostSocket + 1}), SECCOMP_RET_KILL_PROCESS) << name;
    }
}

TEST_P(ScriptFence, EndsAProcessAtAnythingElseOnEachMachine) {
    for (const char* name : {"openat", "socket", "connect", "sendto", "clone", "execve", "kill", "ptrace",
                             "prctl", "seccomp", "ioctl", "io_uring_setup", "process_vm_writev", "dup"})
        EXPECT_EQ(actionOfCall(name), SECCOMP_RET_KILL_PROCESS) << name;
    const std::string map = std::string(GetParam().ownCalls).substr(0, 5) == "mmap2" ? "mmap2" : "mmap";
    for (const std::string& name : {map, std::string("mprotect")})
        EXPECT_EQ(actionOfCall(name, {0, 4096, PROT_READ | PROT_EXEC}), SECCOMP_RET_KILL_PROCESS) << name;

    seccomp_data foreign{};
    foreign.arch = AUDIT_ARCH_I386;  // a 64-bit kernel runs such calls of a 64-bit process
    EXPECT_EQ(actionOf(program_, foreign), SECCOMP_RET_KILL_THREAD);
}

INSTANTIATE_TEST_SUITE_P(Machines, ScriptFence, testing::ValuesIn(machines), [](const auto& each) {
    std::string name = each.param.name;
    std::erase(name, '-');
    return name;
});

// The thread sanitizer has a thread of its own in each process, so that none has only one.
#ifdef __has_feature
#if __has_feature(thread_sanitizer)
#define VKT_HAS_SECOND_THREAD
#endif
#endif
#ifndef VKT_HAS_SECOND_THREAD
TEST(ScriptFenceOfOldKernels, EndsTheOnlyThreadWhereTheSystemCannotEndAProcess) {
    const pid_t process = fork();
    if (process == 0) {
        // As before Linux 4.14; the library finds its call when it is asked first.
        if (seccomp_api_get() == 0 || seccomp_api_set(2) != 0 || !vkt_limitSystemCalls()) _exit(EXIT_FAILURE);
        syscall(SYS_getppid);
        syscall(SYS_exit_group, EXIT_SUCCESS);
    }
    int status = 0;
    waitpid(process, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGSYS) << status;
}
#endif

// Starts the host where the system refuses filters; what it says first.
VKTScriptFrame firstWordsWithoutFilters(const char* option) {
    std::array<int, 2> ends{};
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), 0);
    const std::string parent = std::to_string(getpid());
    const pid_t process = fork();
    if (process == 0) {
        dup2(ends[1], VKTScriptHostSocket);
        const auto refusing = seccomp_init(SCMP_ACT_ALLOW);
        const scmp_arg_cmp toFilter{.arg = 0, .op = SCMP_CMP_EQ, .datum_a = PR_SET_SECCOMP, .datum_b = 0};
        seccomp_rule_add_array(refusing, SCMP_ACT_ERRNO(EINVAL), SCMP_SYS(prctl), 1, &toFilter);
        seccomp_rule_add(refusing, SCMP_ACT_ERRNO(ENOSYS), SCMP_SYS(seccomp), 0);
        if (seccomp_load(refusing) == 0)
            execl(VKTTestPaths::scriptHost, VKTTestPaths::scriptHost, "16777216", "131072", "60",
                  parent.c_str(), option, nullptr);
        _exit(EXIT_FAILURE);
    }
    close(ends[1]);
    VKTScriptFrameReader reader(4096);
    std::optional<VKTScriptFrame> frame;
    std::array<char, 512> bytes{};
    for (ssize_t size = 1; size > 0 && !(frame = reader.next());) {
        size = read(ends[0], bytes.data(), bytes.size());
        if (size > 0) reader.append({bytes.data(), static_cast<std::size_t>(size)});
    }
    close(ends[0]);
    waitpid(process, nullptr, 0);
    return frame.value_or(VKTScriptFrame{});
}

TEST(ScriptFenceWithoutFilters, IsNoFenceUnlessAskedFor) {
    const VKTScriptFrame refusal = firstWordsWithoutFilters(nullptr);
    EXPECT_EQ(refusal.kind, VKTScriptFrameEnd);
    EXPECT_EQ(refusal.content.substr(0, 1), std::string(1, VKTScriptErrorUnavailable));
    EXPECT_NE(refusal.content.find("allowsMissingSystemCallFilter"), std::string::npos) << refusal.content;
    EXPECT_EQ(firstWordsWithoutFilters(VKTScriptHostWithoutFilter).kind, VKTScriptFrameReady);
}

}  // namespace
