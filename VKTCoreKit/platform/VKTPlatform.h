// The platform services in force.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string_view>

#include "VKTCoreKit/platform/VKTClock.h"
#include "VKTCoreKit/platform/VKTHTTPSession.h"
#include "VKTCoreKit/platform/VKTRandomSource.h"
#include "VKTCoreKit/platform/VKTRunLoop.h"
#include "VKTCoreKit/platform/VKTXMLEventReader.h"

/// One implementation of every interface, and makers for those that are needed more than once. No member is
/// empty. The set is read by any thread; the services say for themselves what they allow.
struct VKTPlatform {
    std::shared_ptr<VKTClock> clock;
    std::shared_ptr<VKTRandomSource> random;
    std::shared_ptr<VKTHTTPSession> HTTPSession;
    std::shared_ptr<VKTRunLoop> mainRunLoop;

    /// Resolves passbacks, at most 16 at a time; nothing else runs there.
    std::shared_ptr<VKTConcurrentPool> passbackPool;

    /// A reader of `data`, which must outlive it.
    std::function<std::unique_ptr<VKTXMLEventReader>(std::string_view data)> makeXMLEventReader;
    std::function<std::unique_ptr<VKTSerialQueue>()> makeSerialQueue;
    std::function<std::unique_ptr<VKTConcurrentPool>(std::size_t threads)> makeConcurrentPool;

    /// The set in force: the linked platform's own, made on first use, until `setCurrent`.
    static const VKTPlatform& current();

    /// Replaces the set. Call it at start-up, before anything else of the library is used.
    static void setCurrent(VKTPlatform platform);
};

/// The linked platform library's set. Defined there.
VKTPlatform vkt_makeDefaultPlatform();

/// Passback wrappers resolved at once.
inline constexpr std::size_t VKTPassbackThreadLimit = 16;
