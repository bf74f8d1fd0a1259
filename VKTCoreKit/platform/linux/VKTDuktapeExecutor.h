// Worlds in this process.
#pragma once

#include <memory>

#include "VKTCoreKit/platform/VKTScriptExecutor.h"

/// A world on the main loop in force, a task per turn. A turn cannot be interrupted: one that was longer than
/// allowed ends the world when it is over.
std::unique_ptr<VKTScriptExecutor> vkt_makeDuktapeExecutor(VKTScriptOptions options,
                                                           VKTScriptHandlers handlers);
