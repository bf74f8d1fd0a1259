// What keeps a world in: limits of the process and of its system calls.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

/// When memory runs out, the system ends this process before any other. Not without /proc. Before
/// `vkt_detachFromParent`, after which the file is no longer the process's own.
void vkt_offerToOutOfMemoryKiller();

/// The process ends with its parent, cannot be looked into, and has none of its descriptors but the standard
/// ones and `VKTScriptHostSocket`. False when something could not be had, and then no script may run.
bool vkt_detachFromParent(int parent);

/// From its file, which the process cannot open behind the fence. Scripts' dates are in UTC without it.
void vkt_readTimeZone();

/// No files, no processes, no core; `addressSpace` in bytes, `processorTime` in seconds.
bool vkt_limitResources(std::size_t addressSpace, std::size_t processorTime);

/// A filter of the library for them (`scmp_filter_ctx`).
using VKTSystemCallFilter = std::unique_ptr<void, void (*)(void*)>;

/// The filter for a machine, as the library names it (`SCMP_ARCH_X86_64`); null when it cannot be made.
VKTSystemCallFilter vkt_systemCallFilter(std::uint32_t machine);

/// From here on the process can compute, read and write its socket, get memory and tell the time. The system
/// ends it at any other call: before Linux 4.14 the calling thread, so call it with no other one. False where
/// the system has no filters or forbids them.
bool vkt_limitSystemCalls();
