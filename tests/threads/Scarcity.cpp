#include "tests/threads/Scarcity.h"

#include <dlfcn.h>

#include <atomic>
#include <cerrno>

namespace {

using Create = int(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);

std::atomic<bool> refusesThreads = false;
sigset_t blockedAtLastStart;

}  // namespace

// The sanitizers' own, which has to see every thread.
extern "C" [[gnu::weak]] Create __interceptor_pthread_create;  // NOLINT

// Stands in for the system's in this program and in the shared libraries that it loads.
extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*),
                              void* argument) noexcept {
    if (refusesThreads) return EAGAIN;
    pthread_sigmask(SIG_SETMASK, nullptr, &blockedAtLastStart);
    Create* const create = __interceptor_pthread_create != nullptr
                               ? __interceptor_pthread_create
                               : reinterpret_cast<Create*>(dlsym(RTLD_NEXT, "pthread_create"));
    return create(thread, attributes, body, argument);
}

NoNewThreads::NoNewThreads() {
    refusesThreads = true;
}

NoNewThreads::~NoNewThreads() {
    refusesThreads = false;
}

sigset_t signalsBlockedAtLastStart() {
    return blockedAtLastStart;
}
