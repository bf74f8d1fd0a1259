// Serial queues, over Asio. The thread starts with the first task; a queue that gets none is what its
// interface says, and throws nothing. Asio's part in it takes no descriptor.
#pragma once

#include <memory>
#include <string>

#include "VKTCoreKit/platform/VKTRunLoop.h"

/// `name` is that of its thread; Linux cuts it after 15 bytes.
std::unique_ptr<VKTSerialQueue> vkt_makeAsioSerialQueue(const std::string& name = "vkt-queue");
