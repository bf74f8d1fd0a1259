// Worlds in processes of their own.
#pragma once

#include <memory>

#include "VKTCoreKit/platform/VKTScriptExecutor.h"

/// A world whose handlers are called on the main loop in force. Its process is the host program, and is
/// killed when it asks the system for anything but computing.
std::unique_ptr<VKTScriptExecutor> vkt_makeProcessExecutor(const VKTScriptOptions& options,
                                                           VKTScriptHandlers handlers);
