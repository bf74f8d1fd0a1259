// Tells an embedder, or a person who debugs, what becomes of each pixel.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/network/VKTURLSession.h"
#include "VKTCoreKit/tracking/VKTEventURL.h"
#include "VKTCoreKit/tracking/VKTPixel.h"

/// Why a pass that was asked for sends nothing, or not everything.
enum VKTPixelPassProblem : std::uint8_t {
    VKTPixelPassFolded,    ///< enough of them wait; the last of those sends what is pending when it starts
    VKTPixelPassNoThread,  ///< the system gave no thread for it; the next call for pixels tries again
    VKTPixelPassStopped,   ///< the manager was destroyed; what is left stays in its store
};

/// A URL that is called otherwise than its document means, or not at all.
struct VKTPixelURLFailure {
    VKTURL url;          ///< as it stands in the document
    std::string origin;  ///< as `VKTPixel::origin`
    VKTEventURLProblem problem;
    bool isCalled = false;  ///< true: as it stands, and its pixel is told of next
};

/// Hears of the pixels of one VKTPixelManager. Each operation has an empty default.
///
/// Of one pixel it hears in this order: added; then, in each pass, tried and delivered or refused; or
/// expired. Delivered and expired are the last. A pixel that an earlier launch has left
/// (`VKTPixel::isRestored`), and one that was put into the store past the manager, is heard of first when it
/// is tried or expires. What is taken out of the store past the manager is not told, nor that a pass drops a
/// pixel whose status says that it was sent already.
///
/// Threads: "tried" to "expired" come on the manager's worker, one at a time, and no pixel is sent while one
/// of them runs; "added", "folded" and URLs on the thread that adds; the others on either. No lock is held.
/// It may call the manager back, give it another observer, take one from it, or let go of it, but must not
/// wait for a pass. An observer that is given inside a call hears from the next call on; one that is taken
/// there and has not had that call does not get it. What it throws is dropped with a line in the log, and the
/// others hear all the same.
class VKT_EXPORT VKTPixelObserver {
  public:
    virtual ~VKTPixelObserver() = default;

    /// The manager takes the pixel: right after this it is in the store.
    virtual void pixelAdded(const std::shared_ptr<VKTPixel>& /*pixel*/) {}

    /// The store has a pixel with this ID, or is about to: that one stays in place of this one.
    virtual void pixelFolded(const std::shared_ptr<VKTPixel>& /*pixel*/) {}

    /// Its request begins; `VKTPixel::attempts` counts it.
    virtual void pixelTried(const std::shared_ptr<VKTPixel>& /*pixel*/) {}

    /// It is out of the store for ever, whatever the body was.
    virtual void pixelDelivered(const std::shared_ptr<VKTPixel>& /*pixel*/,
                                const VKTURLSessionResponse& /*response*/) {}

    /// The response has a status that does not count as delivered, or the error of the transfer, -999 when
    /// the manager is destroyed meanwhile; neither when the session threw. `isTriedAgain`: it stays in the
    /// store, and every pass tries it until `VKTPixel::expirationDate`.
    virtual void pixelRefused(const std::shared_ptr<VKTPixel>& /*pixel*/,
                              const VKTURLSessionResponse& /*response*/, bool /*isTriedAgain*/) {}

    /// It is out of the store and was never delivered, since its time is over.
    virtual void pixelExpired(const std::shared_ptr<VKTPixel>& /*pixel*/) {}

    /// The store's provider has not taken the changes. All goes on in memory; they are saved with the next
    /// change. When the process ends before, the next launch misses what was added and repeats what was
    /// delivered since the last saving.
    virtual void pixelsNotSaved() {}

    virtual void pixelPassNotRun(VKTPixelPassProblem /*problem*/) {}

    virtual void pixelURLFailed(const VKTPixelURLFailure& /*failure*/) {}
};
