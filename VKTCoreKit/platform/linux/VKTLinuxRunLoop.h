// The run loop of the Linux platform.
#pragma once

#include <memory>

#include "VKTCoreKit/platform/VKTRunLoop.h"

/// A loop that belongs to the calling thread until another one runs it.
///
/// It waits on a condition variable and needs neither a thread nor a descriptor of its own: a process that
/// has used up both goes on with its timers, and no operation throws for want of them.
std::shared_ptr<VKTRunLoop> vkt_makeLinuxRunLoop();

/// A loop that belongs to the process's main thread, whoever makes it, until another thread runs it.
std::shared_ptr<VKTRunLoop> vkt_makeLinuxMainRunLoop();
