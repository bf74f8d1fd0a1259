// How much merging may add to the ads of one request, and the count of what it had to leave out.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/foundation/VKTText.h"

/// Items that merging may add to all ads of one request together; what would exceed it is dropped. Real
/// chains add a few thousand.
inline constexpr std::size_t VKTVASTMergeBudgetLimit = 131072;

/// Bytes of text that count as one item where merging copies texts.
inline constexpr std::size_t VKTVASTMergeBudgetTextBytes = 128;

/// Items that are left to the merges of one request. Every element that a merge appends costs one item; one
/// that is copied with its texts costs one more for every `VKTVASTMergeBudgetTextBytes` of them. Any thread.
class VKT_EXPORT VKTVASTMergeBudget {
  public:
    explicit VKTVASTMergeBudget(std::size_t items = VKTVASTMergeBudgetLimit) : limit_(items), left_(items) {}

    /// Takes up to `count` items. How many it took.
    std::size_t takeUpTo(std::size_t count);

    /// Takes `count` items, or none and gives false.
    bool takeAll(std::size_t count);

    /// True for the first call only: that caller logs what was dropped.
    bool claimReport() { return !isReported_.exchange(true); }

    [[nodiscard]] std::size_t limit() const { return limit_; }
    [[nodiscard]] std::size_t itemsLeft() const { return left_; }

  private:
    const std::size_t limit_;
    std::atomic<std::size_t> left_;
    std::atomic<bool> isReported_ = false;
};

/// What merging appends, in the order in which a log line counts it.
enum class VKTVASTMergedElement : std::size_t {
    ErrorPixel,
    Impression,
    ViewabilityEvent,
    TrackingEvent,
    ClickTracker,
    Metric,
    Verification,
    Extension,
};

/// One user of a budget, for example one merge: takes items and counts what was refused. One thread.
class VKT_EXPORT VKTVASTMergeTally {
  public:
    explicit VKTVASTMergeTally(VKTVASTMergeBudget& budget) : budget_(budget) {}

    /// How many of `count` elements, at one item each, may be appended.
    std::size_t takeUpTo(std::size_t count, VKTVASTMergedElement element);

    /// Whether one element of that cost may be appended.
    bool takeOne(std::size_t cost, VKTVASTMergedElement element);

    /// Counts elements that another limit keeps out. Not in the log line, which tells of the budget.
    void leaveOut(std::size_t count, VKTVASTMergedElement element) {
        leftOut_[static_cast<std::size_t>(element)] += count;
    }

    /// "2 error pixels, 1 tracking events" of all that was refused or left out; empty when nothing was.
    [[nodiscard]] std::string dropped() const;

    /// Logs one warning when something was refused, unless this budget's warning has been logged before.
    /// Format and arguments, those of `vkt_stringWithFormat`, say where: "when ad %@ was read".
    void logRefusals(std::string_view format, std::initializer_list<VKTFormatArgument> arguments) const;

  private:
    static constexpr std::size_t elementCount = static_cast<std::size_t>(VKTVASTMergedElement::Extension) + 1;

    using Counts = std::array<std::size_t, elementCount>;

    std::size_t& refused(VKTVASTMergedElement element) { return refused_[static_cast<std::size_t>(element)]; }
    static std::string textOf(const Counts& counts);

    VKTVASTMergeBudget& budget_;
    Counts refused_{};
    Counts leftOut_{};
};
