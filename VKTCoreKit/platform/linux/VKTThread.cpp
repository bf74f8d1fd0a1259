#include "VKTCoreKit/platform/linux/VKTThread.h"

#include <csignal>
#include <cstddef>
#include <exception>
#include <memory>

namespace {

// Bytes. Eight times what the library was seen to need; the application's own callbacks run here, too. Memory
// is taken only as it is used.
constexpr std::size_t stackSize = std::size_t{1024} * 1024;

struct Start {
    std::string name;
    std::function<void()> body;
};

void* run(void* argument) {
    const std::unique_ptr<Start> start(static_cast<Start*>(argument));
    pthread_setname_np(pthread_self(), start->name.substr(0, 15).c_str());
    start->body();
    return nullptr;
}

// A thread inherits the mask of its maker: so it is set before, and there is no moment in which a signal can
// reach the new thread.
class BlockedSignals {
  public:
    BlockedSignals() {
        sigset_t blocked;
        sigfillset(&blocked);
        for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS})
            sigdelset(&blocked, fault);
        pthread_sigmask(SIG_BLOCK, &blocked, &previous_);
    }
    ~BlockedSignals() { pthread_sigmask(SIG_SETMASK, &previous_, nullptr); }
    BlockedSignals(const BlockedSignals&) = delete;
    BlockedSignals& operator=(const BlockedSignals&) = delete;

  private:
    sigset_t previous_{};
};

}  // namespace

VKTThread::~VKTThread() {
    if (isJoinable_) std::terminate();
}

int VKTThread::start(const std::string& name, std::function<void()> body) {
    auto start = std::make_unique<Start>(Start{name, std::move(body)});
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, stackSize);
    const BlockedSignals blocked;
    const int error = pthread_create(&thread_, &attributes, run, start.get());
    pthread_attr_destroy(&attributes);
    if (error != 0) return error;
    static_cast<void>(start.release());  // the thread's own
    isJoinable_ = true;
    return 0;
}

void VKTThread::join() {
    pthread_join(thread_, nullptr);
    isJoinable_ = false;
}

void VKTThread::detach() {
    pthread_detach(thread_);
    isJoinable_ = false;
}
