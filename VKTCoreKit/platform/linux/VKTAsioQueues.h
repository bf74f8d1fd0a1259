// Serial queues and concurrent pools, over Asio. Threads start with the first task; a queue or pool that gets
// none is what its interface says, and throws nothing. Asio's part in them takes no descriptor.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "VKTCoreKit/platform/VKTRunLoop.h"

/// `name` is that of its thread; Linux cuts it after 15 bytes.
std::unique_ptr<VKTSerialQueue> vkt_makeAsioSerialQueue(const std::string& name = "vkt-queue");

/// At most `threads` threads (at least one), each started when the others are busy.
std::unique_ptr<VKTConcurrentPool> vkt_makeAsioConcurrentPool(std::size_t threads,
                                                              const std::string& name = "vkt-pool");
