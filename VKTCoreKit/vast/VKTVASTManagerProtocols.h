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
#include "VKTCoreKit/foundation/VKTURL.h"
#include "VKTCoreKit/vast/VKTVASTError.h"
#include "VKTCoreKit/vast/VKTVASTURL.h"

class VKTVASTAd;
class VKTVASTManager;

/// Error pixels up to which those of a wrapper are told with a problem of the document it leads to, since a
/// document may have very many problems. Real chains have fewer than a hundred.
inline constexpr std::size_t VKTVASTReportedErrorPixelLimit = 4096;

/// The embedding layer's playable ad; opaque here.
class VKTConsumableVideoAd {
  public:
    virtual ~VKTConsumableVideoAd() = default;
};

/// Turns a VAST ad into a playable one. Called on the thread that asks for ads, and on passback threads;
/// never with a lock held.
class VKTVASTAdAdapterProtocol {
  public:
    virtual ~VKTVASTAdAdapterProtocol() = default;

    /// Null means that the ad cannot be played; the request then gives no ad at this point.
    virtual std::shared_ptr<VKTConsumableVideoAd> convertVASTAdToConsumableVideoAd(
        const std::shared_ptr<VKTVASTAd>& ad) = 0;
};

/// Hears of a VAST request. Called on the thread that calls the manager, before that call returns; while
/// passbacks are resolved the three calls about wrappers and errors come on passback threads too, several at
/// once and possibly after the call has returned. Never with a lock held.
class VKTVASTManagerDelegate {
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

    /// Macro names and values for every wrapper URL; nothing to leave the URLs alone.
    virtual std::optional<std::map<std::string, std::string>> vastManagerRequestsVASTMacros(
        VKTVASTManager& /*manager*/) {
        return std::nullopt;
    }
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
class VKTVASTManagerProtocol {
  public:
    virtual ~VKTVASTManagerProtocol() = default;

    virtual void createAdsStoreWithXML(std::optional<std::string_view> xml,
                                       const std::optional<VKTURL>& withURL, VKTTimeInterval timeout) = 0;
    virtual VKTVASTManagerResponse nextAdWithTimeout(VKTTimeInterval timeout, bool dueToAdFailure) = 0;
    virtual void cancel() = 0;

    [[nodiscard]] virtual std::shared_ptr<VKTVASTManagerDelegate> delegate() const = 0;
    virtual void setDelegate(const std::shared_ptr<VKTVASTManagerDelegate>& delegate) = 0;
};
