// The passback ads of one request, and the one resolution of the wrappers among them.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

#include "VKTCoreKit/foundation/VKTThreadAnnotations.h"
#include "VKTCoreKit/vast/VKTVASTAd.h"
#include "VKTCoreKit/vast/VKTVASTManagerProtocols.h"

/// What passback threads share with the caller that waits for them. It only decides: downloads and
/// conversions are its owner's, who tells it of them. Any thread; every operation but the wait is one
/// critical section.
///
/// A resolution begins with all wrappers at once. Each of them is then begun and ended: empty, with a result,
/// or refused. The first valid ad is claimed for the result; whatever is valid after it stays among the
/// inline ads. The wait ends with the result, or empty when all wrappers have been consumed and one ends
/// empty while nothing is claimed, even though others are under way.
class VKTVASTPassbacks {
  public:
    using AdPointer = std::shared_ptr<VKTVASTAd>;
    using Ads = std::vector<AdPointer>;

    struct Result {
        std::shared_ptr<VKTConsumableVideoAd> ad;
        std::optional<std::string> adID;
    };

    /// Adds an ad to those of its kind, unless it is there.
    void add(const AdPointer& ad);

    /// The first inline ad that has not been consumed, which it is now; null when there is none.
    AdPointer consumeNextInline();

    [[nodiscard]] bool hasInline();   ///< one that has not been consumed
    [[nodiscard]] bool hasWrapper();  ///< the same
    [[nodiscard]] Ads inlineAds() const;
    [[nodiscard]] Ads wrapperAds() const;

    /// All wrappers; none when there is nothing to resolve, or a resolution has begun before.
    Ads beginResolution();

    /// Blocks until the resolution has a result or has ended empty.
    Result waitForResult();

    /// False when it is not to be resolved any more; it then has no end.
    [[nodiscard]] bool beginPassback();

    /// Consumes the ad to which a passback has led, and claims it for the result, if it is valid and none is.
    /// It is then converted and ended by `endWith`, or by `endRefused` when that fails.
    [[nodiscard]] bool claim(const AdPointer& ad);

    void endEmpty();
    void endWith(Result result);

    /// The ad that is claimed in place of the refused one: of those that have arrived meanwhile the first
    /// that is valid. Null when there is none: the passback has then ended. The wait goes on while others are
    /// under way, one of which may still become the result.
    AdPointer endRefused();

    /// Nothing is begun or claimed any more, and there is no result. The wait ends with the first passback
    /// under way that ends, and at once when there is none.
    void cancel();

    /// Ends the wait of a cancelled resolution at once.
    void endWait();

    [[nodiscard]] bool isResolving() const;

    /// The result is there, or the wait has ended without one, and no wrapper is left.
    [[nodiscard]] bool didResolve() const;

  private:
    // A list whose ads are used once, from the front, and which only grows.
    struct ConsumableAds {
        Ads ads;
        std::size_t cursor = 0;  // every ad before it has been consumed

        AdPointer consumeNext();
        bool hasUnconsumed();
    };

    enum class Place : std::uint8_t { Free, Claimed, Filled };  // of the result

    void end(bool isAnotherExpected) VKT_REQUIRES(mutex_);
    void endResolution() VKT_REQUIRES(mutex_);

    mutable VKTMutex mutex_;
    std::condition_variable_any waitEnded_;
    std::unordered_set<const VKTVASTAd*> known_ VKT_GUARDED_BY(mutex_);
    ConsumableAds inline_ VKT_GUARDED_BY(mutex_);
    ConsumableAds wrappers_ VKT_GUARDED_BY(mutex_);
    bool isCancelled_ VKT_GUARDED_BY(mutex_) = false;
    bool isResolving_ VKT_GUARDED_BY(mutex_) = false;
    bool didResolve_ VKT_GUARDED_BY(mutex_) = false;
    bool hasWaitEnded_ VKT_GUARDED_BY(mutex_) = false;
    std::size_t underWay_ VKT_GUARDED_BY(mutex_) = 0;
    Place place_ VKT_GUARDED_BY(mutex_) = Place::Free;
    Result result_ VKT_GUARDED_BY(mutex_);
};
