// The ads of a break, and what becomes of each.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "VKTCoreKit/vast/VKTVASTAd.h"
#include "VKTCoreKit/vast/VKTVASTError.h"
#include "VKTCoreKit/vast/VKTVASTModel.h"

/// An ad that a break comes to, and whether it can be played: one of its linear creatives has a media file
/// that suits the options. A value; any thread.
struct VKTAdBreakAd {
    std::shared_ptr<VKTVASTAd> ad;                    ///< never null
    std::shared_ptr<VKTVASTCreativeLinear> creative;  ///< what is played; null when the ad is not playable
    std::shared_ptr<VKTVASTMediaFile> mediaFile;      ///< the same
    std::optional<VKTVASTError> failure;              ///< what VAST says of an ad that is not playable
    std::string problem;  ///< half a sentence: why it is not playable; empty when it is

    [[nodiscard]] bool isPlayable() const { return creative != nullptr; }
};

/// What a document has led to.
struct VKTAdBreakResolution {
    std::shared_ptr<VKTVASTModel> model;  ///< of the document; null when it could not be read
    std::vector<VKTAdBreakAd> ads;        ///< in their order, playable or not
    std::optional<VKTError> end;          ///< why there are no more
    bool hasRunOutOfTime = false;

    /// Error pixels beyond VKTAdBreakErrorPixelLimit were left out.
    bool isErrorPixelLimitReached = false;
};

enum VKTAdEndKind : std::uint8_t {
    VKTAdCompleted,  ///< played to its end
    VKTAdSkipped,    ///< by the viewer
    VKTAdFailed,     ///< not playable, or its media failed
    VKTAdCancelled,  ///< the break was cancelled
};

/// How an ad has ended.
struct VKTAdEnd {
    VKTAdEndKind kind = VKTAdCompleted;
    std::optional<VKTVASTError> error = {};  ///< of one that failed; its error pixels have been called
    std::string reason = {};                 ///< of one that failed, half a sentence
};

enum VKTAdBreakEndKind : std::uint8_t {
    VKTAdBreakPlayed,     ///< there are no more ads; there may have been none
    VKTAdBreakFailed,     ///< the first document could not be read
    VKTAdBreakCancelled,  ///< `VKTAdBreakPlayer::cancel`
};

/// How a break has ended.
struct VKTAdBreakEnd {
    VKTAdBreakEndKind kind = VKTAdBreakPlayed;
    std::size_t completedAds = 0;
    std::size_t skippedAds = 0;
    std::size_t failedAds = 0;

    /// Why there are no more ads. Nothing when each has had its turn, when the break was cancelled, and when
    /// the system gave no thread for it.
    std::optional<VKTError> error = {};

    /// The same in words, for the log; empty when each ad has had its turn.
    std::string reason = {};
};
