#include "VKTCoreKit/tracking/detail/VKTMainThread.h"

#include <cstdio>
#include <cstdlib>

void vkt_endOffMainThread(const char* operation) {
    std::fprintf(stderr,
                 "VKTCoreKit: %s was called off the main thread; post the call to the main run loop "
                 "(VKTPlatform::current().mainRunLoop->post).\n",
                 operation);
    std::abort();
}
