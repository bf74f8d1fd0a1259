// The one sender of tracking pixels.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/network/VKTURLSession.h"
#include "VKTCoreKit/platform/VKTRunLoop.h"
#include "VKTCoreKit/tracking/VKTPixelObserver.h"
#include "VKTCoreKit/tracking/VKTPixelStore.h"

/// One pixel's request, in total.
inline constexpr VKTTimeInterval VKTPixelTimeout{10.0};

/// Bytes of a pixel's answer that are kept. A longer one ends there, and counts by its status like any other.
inline constexpr std::size_t VKTPixelBodyLimit = std::size_t{64} * 1024;

/// Passes without a handler that wait for their turn. More are folded into the last of them, which sends
/// whatever is pending when it starts.
inline constexpr std::size_t VKTPixelWaitingPassLimit = 32;

/// Keeps pixels in its store and sends them, one after another, on a serial worker of its own: a GET each,
/// delivered when the final status is 200 to 399 or 404. A pixel that fails stays in the store; every later
/// pass tries it again, oldest first, until it expires. A delivery is recorded before the next pixel is sent,
/// if the store's provider takes changes, else at the end of the pass. When no worker can be started the pass
/// ends at once and sends nothing: the pixels stay pending for the next call, and the log is warned once.
///
/// Every operation may be called on any thread. Destroying the manager ends the pass between two pixels,
/// cancels the request under way, runs the handlers of the passes that are left (they send nothing) and joins
/// the worker; on the worker itself it does not wait.
///
/// Why was this pixel not sent? A VKTPixelObserver hears it, at no cost where there is none:
///
/// ```cpp
/// struct Outcomes : VKTPixelObserver {
///     void pixelRefused(const std::shared_ptr<VKTPixel>& pixel, const VKTURLSessionResponse&,
///                       bool isTriedAgain) override {
///         std::cerr << pixel->origin() << (isTriedAgain ? " is tried again\n" : " is lost\n");
///     }
/// };
/// auto outcomes = std::make_shared<Outcomes>();  // held weakly
/// auto manager = VKTPixelManager::initWithPixelStore(store, VKTURLSession::sharedInstance());
/// manager->addObserver(outcomes);  // before the first pixel is added
/// manager->addPixel(VKTPixel::initWithUrl(url, "impression"));
/// manager->callPixels();
/// ```
///
/// - Never added: its event has fired before (`pixelURLFailed`), or the document has none of that name.
///   `VKTVASTPixelManager` returns the pixels that it made, and
///   `trackingEventManagerDidTrackEventWithPixels` names those of an event.
/// - Added, but not tried: nobody has called for pixels since, a pass hangs in an earlier request, or passes
///   do not run (`pixelPassNotRun`).
/// - Tried and refused: the answer's status or the error of the transfer says why; it is tried again until
///   its expiration date, whenever somebody calls for pixels, and by no timer.
/// - Expired: nobody called for pixels in its 24 hours, or each attempt was refused.
/// - Lost with the process: the store's provider keeps nothing, or has not taken it (`pixelsNotSaved`).
/// - Sent, but as it stood in the document: `pixelURLFailed` says why its macros could not be filled.
class VKT_EXPORT VKTPixelManager {
  public:
    /// Called once, on the worker, when the pass has ended; on the calling thread, before the call returns,
    /// when there is no worker. What it throws is dropped with a line in the log.
    using CompletionHandler = std::function<void()>;

    /// Over the shared store and session. Never destroyed.
    static const std::shared_ptr<VKTPixelManager>& sharedInstance();

    /// Neither may be null.
    static std::shared_ptr<VKTPixelManager> initWithPixelStore(std::shared_ptr<VKTPixelStore> pixelStore,
                                                               std::shared_ptr<VKTURLSession> urlSession);

    ~VKTPixelManager();
    VKTPixelManager(const VKTPixelManager&) = delete;
    VKTPixelManager& operator=(const VKTPixelManager&) = delete;

    [[nodiscard]] const std::shared_ptr<VKTPixelStore>& pixelStore() const;
    [[nodiscard]] const std::shared_ptr<VKTURLSession>& urlSession() const;

    /// Adds to the store and saves it, unless the pixel's ID is there. It does not send: the next pass does,
    /// which `callPixels` starts, and which `VKTVASTPixelManager` starts for the URLs that it adds.
    void addPixel(const std::shared_ptr<VKTPixel>& pixel) const;

    /// Adds each; saves once, if any was added. It does not send either.
    void addPixels(const VKTPixels& pixels) const;

    /// The two halves of `addPixel`, for who makes one pixel after another. False when the pixel's ID is
    /// there.
    bool addPixelWithoutSaving(const std::shared_ptr<VKTPixel>& pixel) const;
    void savePixels() const;

    /// One sending pass, after those asked for before. Returns at once.
    void callPixels() { callPixelsWithCompletionHandler(nullptr); }
    void callPixelsWithCompletionHandler(CompletionHandler completionHandler);

    /// The application's observer, one at a time; null for none. Observers are held weakly, and each hears
    /// everything, in the order in which they were given.
    void setObserver(const std::shared_ptr<VKTPixelObserver>& observer);

    /// Beside that one and the others: for each ad break its own, say. Who is there already hears once, as
    /// does who is set and added; who is set stays so when it is removed here. A call that has begun on
    /// another thread may outlast the removal; no other begins. Null does nothing.
    void addObserver(const std::shared_ptr<VKTPixelObserver>& observer);
    void removeObserver(const std::shared_ptr<VKTPixelObserver>& observer);

    /// All of them. For who makes pixels of URLs.
    void tellObserver(const VKTPixelURLFailure& failure) const;

    [[nodiscard]] VKTPixels allPixels() const { return pixelStore()->allPixels(); }
    [[nodiscard]] VKTPixels validPendingPixels() const { return pixelStore()->validPendingPixels(); }

    [[nodiscard]] static bool isResponseSuccessful(const VKTURLSessionResponse& response);
    [[nodiscard]] static bool isStatusCodeValid(int statusCode);

  private:
    struct Worker;  // shared with the passes, which may outlive the manager

    VKTPixelManager(std::shared_ptr<VKTPixelStore> pixelStore, std::shared_ptr<VKTURLSession> urlSession);

    const std::shared_ptr<Worker> worker_;
    const std::unique_ptr<VKTSerialQueue> queue_;
};
