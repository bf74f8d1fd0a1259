// The interfaces between the VAST manager and the embedding layer.
#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "VKTCoreKit/foundation/VKTDate.h"
#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/foundation/VKTURL.h"
#include "VKTCoreKit/vast/VKTVASTDocumentOutcome.h"
#include "VKTCoreKit/vast/VKTVASTError.h"
#include "VKTCoreKit/vast/VKTVASTReading.h"
#include "VKTCoreKit/vast/VKTVASTURL.h"

class VKTVASTAd;
class VKTVASTManager;

/// Error pixels up to which those of a wrapper are told with a problem of the document it leads to, since a
/// document may have very many problems. Real chains have fewer than a hundred.
inline constexpr std::size_t VKTVASTReportedErrorPixelLimit = 4096;

/// The embedding layer's playable ad; opaque here.
class VKT_EXPORT VKTConsumableVideoAd {
  public:
    virtual ~VKTConsumableVideoAd() = default;
};

/// Turns a VAST ad into a playable one. Called on the thread that asks for ads, and on passback threads,
/// several at once; never with a lock held.
class VKT_EXPORT VKTVASTAdAdapterProtocol {
  public:
    virtual ~VKTVASTAdAdapterProtocol() = default;

    /// Null means that the ad cannot be played. The request then gives no ad at this point; of passbacks that
    /// are resolved at once, the next that is valid is asked for instead.
    virtual std::shared_ptr<VKTConsumableVideoAd> convertVASTAdToConsumableVideoAd(
        const std::shared_ptr<VKTVASTAd>& ad) = 0;
};

/// Hears of a VAST request. Called on the thread that calls the manager, before that call returns, and never
/// with a lock held. While passbacks are resolved everything but the first two operations, the question for
/// macros included, comes on passback threads, several at once and possibly after the call has returned.
///
/// A callback may cancel the manager, and drop the last reference to it: it lives until the operation ends.
/// What delegate or adapter throw on a passback thread, or while passbacks are resolved on the calling
/// thread for want of others, ends that passback and is logged. On the calling thread it goes on to whoever
/// called the manager: the ad or document at hand is lost, and the next call goes on behind it.
class VKT_EXPORT VKTVASTManagerDelegate {
  public:
    virtual ~VKTVASTManagerDelegate() = default;

    /// The first document has been read; it may hold no ad. Once per store.
    virtual void vastManagerIsReadyToProvideAds() {}

    /// The first document could not be read. Instead of the above. No error when the session gave neither
    /// data nor an error.
    virtual void vastManagerDidFailWithError(const std::optional<VKTError>& /*error*/) {}

    /// A VAST problem. Call the error pixels with the error's VAST code, unless that is -1, and log. The
    /// response is the document concerned, if there is one.
    virtual void vastManagerDidEncounterError(VKTVASTManager& /*manager*/, const VKTVASTError& /*error*/,
                                              const std::vector<VKTVASTURL>& /*errorURLs*/,
                                              const std::optional<std::string>& /*VASTResponse*/) {}

    /// A wrapper of the first document is about to be downloaded.
    virtual void vastManagerDidStartToResolveWrapperAd(VKTVASTManager& /*manager*/,
                                                       const std::shared_ptr<VKTVASTAd>& /*ad*/) {}

    /// A wrapper led to a document without ads.
    virtual void vastManagerDidFailToResolveWrapperAd(VKTVASTManager& /*manager*/,
                                                      const std::shared_ptr<VKTVASTAd>& /*ad*/) {}

    /// Macro names and values for a wrapper URL, asked for before each download, on passback threads too;
    /// nothing to leave the URL alone.
    virtual std::optional<std::map<std::string, std::string>> vastManagerRequestsVASTMacros(
        VKTVASTManager& /*manager*/) {
        return std::nullopt;
    }

    /// Who shall hear what a document loses that is about to be requested and read; null for nobody. The URL
    /// is that of the request, macros filled, and nothing for a given text; the wrapper is the one that leads
    /// there, null for the first document.
    ///
    /// The listener is called on the thread that asks for it. It also hears `needsAttention` of ads that the
    /// request leaves aside, and `dropped` when tracking of a wrapper of that document, or an ad's
    /// extensions, are lost in merging: on the threads on which wrappers are followed, several at once for
    /// passbacks. It is held until the document's ads have been handed to the adapter, or are gone; what it
    /// throws is as if the delegate had thrown it. After `cancel` it hears of no more than the document
    /// under way.
    virtual std::shared_ptr<VKTVASTReadingListener> vastManagerRequestsReadingListener(
        VKTVASTManager& /*manager*/, const std::optional<VKTURL>& /*url*/,
        const std::shared_ptr<VKTVASTAd>& /*wrapperAd*/) {
        return nullptr;
    }

    /// What a document was: once for the first one, before it is told whether ads can be provided, and once
    /// for each wrapper that had its turn, also for one that was not followed. After the problems of that
    /// document and before `vastManagerDidFailToResolveWrapperAd`, on the same thread.
    virtual void vastManagerDidReadDocument(VKTVASTManager& /*manager*/,
                                            const VKTVASTDocumentOutcome& /*outcome*/) {}
};

/// What `nextAdWithTimeout` gives: an ad or an error.
struct VKTVASTManagerResponse {
    std::shared_ptr<VKTConsumableVideoAd> ad;
    std::optional<VKTError> error;

    static VKTVASTManagerResponse initWithAd(std::shared_ptr<VKTConsumableVideoAd> ad,
                                             std::optional<VKTError> error) {
        return {std::move(ad), std::move(error)};
    }
};

/// One VAST ad request, as an embedder may want to replace it.
class VKT_EXPORT VKTVASTManagerProtocol {
  public:
    virtual ~VKTVASTManagerProtocol() = default;

    virtual void createAdsStoreWithXML(std::optional<std::string_view> xml,
                                       const std::optional<VKTURL>& withURL, VKTTimeInterval timeout) = 0;
    virtual VKTVASTManagerResponse nextAdWithTimeout(VKTTimeInterval timeout, bool dueToAdFailure) = 0;
    /// Final: nothing more is started or reported, and no delegate is taken any more. What is under way
    /// completes. Any thread, any time.
    virtual void cancel() = 0;

    /// The same, and ends the requests under way. A manager that cannot do that waits for them.
    virtual void cancelImmediately() { cancel(); }

    [[nodiscard]] virtual std::shared_ptr<VKTVASTManagerDelegate> delegate() const = 0;
    virtual void setDelegate(const std::shared_ptr<VKTVASTManagerDelegate>& delegate) = 0;
};
