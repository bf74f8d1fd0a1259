// The run loop, serial queues and concurrent pools, over Asio. Threads start with the first task.
#pragma once

#include <cstddef>
#include <memory>

#include "VKTCoreKit/platform/VKTRunLoop.h"

/// A loop that belongs to the calling thread until another one runs it.
std::shared_ptr<VKTRunLoop> vkt_makeAsioRunLoop();

/// A loop that belongs to the process's main thread, whoever makes it, until another thread runs it.
std::shared_ptr<VKTRunLoop> vkt_makeAsioMainRunLoop();

std::unique_ptr<VKTSerialQueue> vkt_makeAsioSerialQueue();

/// At most `threads` threads (at least one), each started when the others are busy.
std::unique_ptr<VKTConcurrentPool> vkt_makeAsioConcurrentPool(std::size_t threads);
