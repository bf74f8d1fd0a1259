// From a VAST document to the ads of a break.
#pragma once

#include <memory>
#include <optional>
#include <string_view>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/player/VKTAdBreakAd.h"
#include "VKTCoreKit/player/VKTAdBreakOptions.h"
#include "VKTCoreKit/vast/VKTVASTManager.h"

/// The macros of a break: the library's own, cache buster and timestamp drawn anew, and the options' over
/// them.
VKT_EXPORT VKTReplacements vkt_macrosOfAdBreak(const VKTAdBreakOptions& options);

/// Asks a VAST manager for the ads of a break, judges each, keeps the time budget, and follows passbacks.
///
/// Threads: one at a time calls it, a worker and never the main thread, since it blocks for the time budget
/// at most; `cancel` may be called on any. Holds what it is made of.
///
/// ```cpp
/// // On a worker.
/// auto resolver = VKTAdBreakResolver::initWithOptions(VKTAdBreakOptions(), services, nullptr);
/// resolver->readWithXML(std::nullopt, url);
/// while (auto next = resolver->nextAd()) std::cout << next->problem << '\n';  // empty: it can be played
/// ```
class VKT_EXPORT VKTAdBreakResolver {
  public:
    /// Of the services the clock, the session and the passback pool are used. The delegate, which may be
    /// null, hears everything that the manager tells its own, on the same threads, but is not asked for
    /// macros; of error pixels it is told VKTAdBreakErrorPixelLimit.
    static std::shared_ptr<VKTAdBreakResolver> initWithOptions(
        VKTAdBreakOptions options, const VKTAdBreakServices& services,
        std::shared_ptr<VKTVASTManagerDelegate> delegate);

    /// Once, before any ad is asked for: reads the text, or downloads the URL when there is none. Without a
    /// model there are no ads.
    void readWithXML(std::optional<std::string_view> xml, const std::optional<VKTURL>& url);

    /// The next ad; after one that is not playable its passback, or else the next. Nothing when there are no
    /// more.
    std::optional<VKTAdBreakAd> nextAd();

    /// The passback for an ad that failed while it was played, with the time budget anew; it may be not
    /// playable. Nothing when there is none: the others go on with `nextAd`.
    std::optional<VKTAdBreakAd> passbackAd();

    /// What has come of it so far; of `passbackAd` nothing.
    [[nodiscard]] const VKTAdBreakResolution& resolution() const { return resolution_; }

    /// Ends what is under way at once; nothing is told any more, and no ad given.
    void cancel() { manager_->cancelImmediately(); }

  private:
    class Budget;
    class BudgetProvider;
    class Relay;
    struct Adapter;

    explicit VKTAdBreakResolver(VKTAdBreakOptions options) : options_(std::move(options)) {}

    VKTVASTManagerResponse ask(bool dueToAdFailure);
    void end(const std::optional<VKTError>& error);
    [[nodiscard]] VKTAdBreakAd verdictOn(const VKTVASTManagerResponse& response) const;

    const VKTAdBreakOptions options_;
    std::shared_ptr<Budget> budget_;
    std::shared_ptr<Relay> relay_;
    std::shared_ptr<Adapter> adapter_;
    std::shared_ptr<VKTVASTManager> manager_;
    bool hasFailed_ = false;  // the last ad
    bool isOver_ = false;
    VKTAdBreakResolution resolution_;
};
