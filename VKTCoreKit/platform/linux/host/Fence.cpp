#include "VKTCoreKit/platform/linux/host/Fence.h"

#include <fcntl.h>
#include <seccomp.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <ctime>
#include <memory>
#include <string_view>

#include "VKTCoreKit/platform/linux/VKTScriptFrames.h"

namespace {

constexpr rlim_t stackSize = rlim_t{8} * 1024 * 1024;  // bytes; the engine needs 2 MB at its deepest

void closeOtherDescriptors() {
    constexpr int first = VKTScriptHostSocket + 1;
#ifdef SYS_close_range
    if (syscall(SYS_close_range, first, ~0U, 0) == 0) return;
#endif
    const long end = std::min(sysconf(_SC_OPEN_MAX), 1L << 16U);
    for (int descriptor = first; descriptor < end; ++descriptor)
        close(descriptor);
}

// An enumeration of glibc's, a number of musl's.
using Resource = decltype(RLIMIT_AS);

bool limit(Resource resource, rlim_t value) {
    rlimit limits{};
    if (getrlimit(resource, &limits) != 0) return false;
    limits.rlim_max = std::min(limits.rlim_max, value);
    limits.rlim_cur = limits.rlim_max;
    return setrlimit(resource, &limits) == 0;
}

}  // namespace

void vkt_offerToOutOfMemoryKiller() {
    constexpr std::string_view firstOfAll = "1000";
    const int file = open("/proc/self/oom_score_adj", O_WRONLY | O_CLOEXEC);
    if (file < 0) return;
    [[maybe_unused]] const ssize_t written = write(file, firstOfAll.data(), firstOfAll.size());
    close(file);
}

bool vkt_detachFromParent(int parent) {
    // The parent may have died before the request.
    if (prctl(PR_SET_PDEATHSIG, SIGKILL) != 0 || getppid() != parent) return false;
    closeOtherDescriptors();
    return prctl(PR_SET_DUMPABLE, 0) == 0;
}

void vkt_readTimeZone() {
    const std::time_t now = std::time(nullptr);
    std::tm ignored{};
    localtime_r(&now, &ignored);
}

bool vkt_limitResources(std::size_t addressSpace, std::size_t processorTime) {
    return limit(RLIMIT_AS, addressSpace) && limit(RLIMIT_CPU, processorTime) &&
           limit(RLIMIT_STACK, stackSize) && limit(RLIMIT_CORE, 0) && limit(RLIMIT_NOFILE, 0) &&
           limit(RLIMIT_NPROC, 0) && limit(RLIMIT_FSIZE, 0);
}

VKTSystemCallFilter vkt_systemCallFilter(std::uint32_t machine) {
    VKTSystemCallFilter filter(seccomp_init(SCMP_ACT_KILL_PROCESS), seccomp_release);
    // Before Linux 4.14 there is only this one, and the host has only one thread.
    if (!filter) filter.reset(seccomp_init(SCMP_ACT_KILL_THREAD));
    if (!filter) return filter;
    bool complete = true;
    if (machine != seccomp_arch_native()) {
        complete = seccomp_arch_add(filter.get(), machine) == 0 &&
                   seccomp_arch_remove(filter.get(), seccomp_arch_native()) == 0;
    }
    // Calls that the machine's kernel does not have are left out by the library.
    for (const int call :
         {SCMP_SYS(exit_group), SCMP_SYS(exit), SCMP_SYS(brk), SCMP_SYS(munmap), SCMP_SYS(mremap),
          SCMP_SYS(madvise), SCMP_SYS(futex), SCMP_SYS(futex_time64), SCMP_SYS(clock_gettime),
          SCMP_SYS(clock_gettime64), SCMP_SYS(gettimeofday), SCMP_SYS(time), SCMP_SYS(getrandom),
          SCMP_SYS(rt_sigreturn), SCMP_SYS(sigreturn), SCMP_SYS(restart_syscall)})
        complete = seccomp_rule_add(filter.get(), SCMP_ACT_ALLOW, call, 0) == 0 && complete;
    const scmp_arg_cmp onSocket{.arg = 0, .op = SCMP_CMP_EQ, .datum_a = VKTScriptHostSocket, .datum_b = 0};
    for (const int call : {SCMP_SYS(read), SCMP_SYS(write)})
        complete = seccomp_rule_add_array(filter.get(), SCMP_ACT_ALLOW, call, 1, &onSocket) == 0 && complete;
    // Memory that holds no code.
    const scmp_arg_cmp noCode{.arg = 2, .op = SCMP_CMP_MASKED_EQ, .datum_a = PROT_EXEC, .datum_b = 0};
    for (const int call : {SCMP_SYS(mmap), SCMP_SYS(mmap2), SCMP_SYS(mprotect)})
        complete = seccomp_rule_add_array(filter.get(), SCMP_ACT_ALLOW, call, 1, &noCode) == 0 && complete;
    if (!complete) filter.reset();
    return filter;
}

bool vkt_limitSystemCalls() {
    const VKTSystemCallFilter filter = vkt_systemCallFilter(seccomp_arch_native());
    return filter && seccomp_load(filter.get()) == 0;
}
