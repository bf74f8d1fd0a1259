#include "VKTCoreKit/platform/linux/VKTCurlLibrary.h"

#include <curl/curl.h>
#include <openssl/crypto.h>

#include <chrono>
#include <cstdlib>

namespace {

// How long `exit` waits for the threads inside libcurl. They need a few milliseconds.
constexpr std::chrono::seconds longestLeaving{2};

// The calling thread's stays. `exit` may be called in a completion, inside one: it does not wait for itself.
thread_local int staysOfThread = 0;

}  // namespace

VKTCurlLibrary& VKTCurlLibrary::current() {
    static std::atomic<VKTCurlLibrary*> latest = nullptr;
    VKTCurlLibrary* known = latest;
    while (known == nullptr || known->isForked()) {
        auto* made = new VKTCurlLibrary;
        if (latest.compare_exchange_strong(known, made)) return *made;
        delete made;
    }
    return *known;
}

void VKTCurlLibrary::addUser(VKTCurlLibraryUser& user) {
    VKTLock lock(mutex_);
    users_.insert(&user);
}

void VKTCurlLibrary::removeUser(VKTCurlLibraryUser& user) {
    VKTLock lock(mutex_);
    users_.erase(&user);
}

// Functions given to `atexit` run in reverse order: this one, which is given after OpenSSL has given its own,
// runs before OpenSSL is taken down. A child that forks calls both again, which does no harm.
void VKTCurlLibrary::initialize() {
    std::call_once(isInitialized_, [] {
        curl_global_init(CURL_GLOBAL_DEFAULT);
        static_cast<void>(std::atexit([] { current().leaveProcess(); }));
    });
}

void VKTCurlLibrary::leaveProcess() {
    const auto deadline = std::chrono::steady_clock::now() + longestLeaving;
    isLeaving_ = true;
    VKTLock lock(mutex_);
    for (VKTCurlLibraryUser* user : users_)
        user->leaveLibrary();
    while (stays_ > staysOfThread) {
        if (cameOut_.wait_until(lock, deadline) == std::cv_status::timeout) return;
    }
}

void VKTCurlLibrary::comeOut() {
    --stays_;
    if (!isLeaving_) return;
    VKTLock lock(mutex_);
    cameOut_.notify_all();
}

VKTCurlLibrary::Stay::Stay(VKTCurlLibrary& library) : library_(library) {
    if (!library_.isUsable()) return;
    library_.initialize();
    // Counted first and asked again: whoever leaves the process sees this stay, or this thread sees that.
    ++library_.stays_;
    isInside_ = !library_.isLeaving_;
    if (isInside_) {
        ++staysOfThread;
    } else {
        library_.comeOut();
    }
}

VKTCurlLibrary::Stay::~Stay() {
    if (!isInside_) return;
    // What OpenSSL keeps for a thread it clears when the thread ends, which may be while OpenSSL is taken
    // down.
    if (--staysOfThread == 0) OPENSSL_thread_stop();
    library_.comeOut();
}
