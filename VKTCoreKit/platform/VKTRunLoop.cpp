#include "VKTCoreKit/platform/VKTRunLoop.h"

#include <atomic>

#include "VKTCoreKit/platform/VKTProblemLog.h"

namespace {

void tellThatNothingIsRun() {
    static std::atomic<bool> isTold = false;
    if (isTold.exchange(true)) return;
    vkt_logWarning(
        "VKTRunLoop: the application runs this loop itself, so run, runUntil, drain and stop do nothing. "
        "Let the application's own loop run, or override them in the class that implements VKTRunLoop.");
}

}  // namespace

void VKTRunLoop::run() {
    tellThatNothingIsRun();
}

bool VKTRunLoop::runUntil(const std::function<bool()>& done, VKTTimeInterval /*timeout*/) {
    tellThatNothingIsRun();
    return done();
}

std::size_t VKTRunLoop::drain() {
    tellThatNothingIsRun();
    return 0;
}

void VKTRunLoop::stop() {
    tellThatNothingIsRun();
}
