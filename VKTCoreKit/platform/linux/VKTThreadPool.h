// Concurrent pools on threads of their own, fair to the groups of their tasks.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "VKTCoreKit/platform/VKTRunLoop.h"

/// At most `threads` tasks at once (at least one), each on a thread that is started when the others are busy
/// and then kept. Beyond that, a group of which nothing runs has one thread more, if there is one: that
/// thread ends when no such group is left. `name` is that of the threads; Linux cuts it after 15 bytes.
std::unique_ptr<VKTConcurrentPool> vkt_makeThreadPool(std::size_t threads,
                                                      const std::string& name = "vkt-pool");
