// The rule of the tracking managers: they belong to the main thread.
#pragma once

#include "VKTCoreKit/platform/VKTPlatform.h"

/// Ends the process with a message that names the operation.
[[noreturn]] void vkt_endOffMainThread(const char* operation);

/// The same, unless the calling thread is the main run loop's; in release builds too: two threads that change
/// a manager lose pixels or send them twice, and nobody would notice.
inline void vkt_requireMainThread(const char* operation) {
    if (!VKTPlatform::current().mainRunLoop->isCurrentThread()) vkt_endOffMainThread(operation);
}
