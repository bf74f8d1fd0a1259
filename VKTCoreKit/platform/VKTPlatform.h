// The platform services in force.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/platform/VKTBundle.h"
#include "VKTCoreKit/platform/VKTClock.h"
#include "VKTCoreKit/platform/VKTDevice.h"
#include "VKTCoreKit/platform/VKTHTTPSession.h"
#include "VKTCoreKit/platform/VKTKeyValueStore.h"
#include "VKTCoreKit/platform/VKTLocationServices.h"
#include "VKTCoreKit/platform/VKTNotificationCentre.h"
#include "VKTCoreKit/platform/VKTPlatformOptions.h"
#include "VKTCoreKit/platform/VKTRandomSource.h"
#include "VKTCoreKit/platform/VKTReachabilityTarget.h"
#include "VKTCoreKit/platform/VKTRunLoop.h"
#include "VKTCoreKit/platform/VKTScriptExecutor.h"
#include "VKTCoreKit/platform/VKTView.h"
#include "VKTCoreKit/platform/VKTXMLEventReader.h"

/// One implementation of every interface, and makers for those that are needed more than once. No member is
/// empty. The set is read by any thread; the services say for themselves what they allow.
///
/// ```cpp
/// VKTPlatform platform = VKTPlatform::current();
/// platform.keyValueStore = platform.makeKeyValueStore("/data/player/state.db", onProblem);
/// VKTPlatform::setCurrent(std::move(platform));  // before anything else of the library is used
/// VKTPlatform::current().mainRunLoop->run();
/// ```
struct VKT_EXPORT VKTPlatform {
    std::shared_ptr<VKTClock> clock;
    std::shared_ptr<VKTRandomSource> random;
    std::shared_ptr<VKTHTTPSession> HTTPSession;
    std::shared_ptr<VKTRunLoop> mainRunLoop;

    /// Resolves passbacks, each manager's as a group: at most 16 at a time, and one more for each manager
    /// that waits while none of its own runs. Nothing else runs there.
    std::shared_ptr<VKTConcurrentPool> passbackPool;

    /// Runs futures and other background work, at most 64 tasks at a time.
    std::shared_ptr<VKTConcurrentPool> globalPool;

    /// The process's own store: in memory unless the embedder puts one with a file in its place.
    std::shared_ptr<VKTKeyValueStore> keyValueStore;
    std::shared_ptr<VKTNotificationCentre> notificationCentre;

    /// Active unless the embedder puts its own in its place.
    std::shared_ptr<VKTApplication> application;

    /// Without names unless the embedder puts its own in its place.
    std::shared_ptr<VKTBundle> mainBundle;
    std::shared_ptr<VKTDevice> device;

    /// Switched off unless the embedder puts its own in its place.
    std::shared_ptr<VKTLocationServices> locationServices;

    /// A reader of `data`, which must outlive it.
    std::function<std::unique_ptr<VKTXMLEventReader>(std::string_view data)> makeXMLEventReader;
    std::function<std::unique_ptr<VKTSerialQueue>()> makeSerialQueue;
    std::function<std::unique_ptr<VKTConcurrentPool>(std::size_t threads)> makeConcurrentPool;

    /// A store in the file at `path`, made when missing; in memory when the path is empty or the file cannot
    /// be used, and then the handler has heard why. Never null.
    std::function<std::shared_ptr<VKTKeyValueStore>(const std::string& path,
                                                    VKTStoreProblemHandler onProblem)>
        makeKeyValueStore;

    /// The store in a file that somebody has named, for tools: the file is never renamed nor replaced. Null
    /// when it is no store, is damaged, cannot be opened or, to be read, does not exist; the handler has
    /// heard why.
    std::function<std::shared_ptr<VKTKeyValueStore>(const std::string& path, VKTStoreUse use,
                                                    VKTStoreProblemHandler onProblem)>
        openKeyValueStore;

    /// A target that watches `peer` while it is scheduled. Never null.
    std::function<std::shared_ptr<VKTReachabilityTarget>(const VKTReachabilityPeer& peer)>
        makeReachabilityTarget;

    /// A world in a process of its own, for scripts that nobody has vetted. Never null; when it cannot be
    /// made it ends at once, and its handler hears why.
    VKTScriptExecutorMaker makeScriptExecutor;

    /// A world in this process, for trusted scripts only: one that never ends stops the main thread.
    VKTScriptExecutorMaker makeTrustedScriptExecutor;

    /// The set in force: the linked platform's own, made on first use, until `setCurrent`.
    static const VKTPlatform& current();

    /// Replaces the set. Call it at start-up, before anything else of the library is used: shared instances
    /// that were made before keep the services that they have, and an error in the log names them.
    static void setCurrent(VKTPlatform platform);

    /// Notes that the shared instance `what` keeps services of the set in force. Any thread; for its maker.
    static void noteKeptBy(std::string_view what);
};

/// The linked platform library's set. Defined there.
VKT_EXPORT VKTPlatform vkt_makeDefaultPlatform(const VKTPlatformOptions& options = {});

/// Passback wrappers resolved at once, but for one of each manager that would have none.
inline constexpr std::size_t VKTPassbackThreadLimit = 16;

/// Background tasks that run at once.
inline constexpr std::size_t VKTGlobalPoolThreadLimit = 64;
