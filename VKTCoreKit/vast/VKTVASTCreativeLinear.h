// A linear creative: the video ad itself ("Linear" element, VAST 4.2).
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/vast/VKTVASTCreative.h"
#include "VKTCoreKit/vast/VKTVASTCreativeIcon.h"
#include "VKTCoreKit/vast/VKTVASTMediaFile.h"

/// Highest bitrate of `mostAppropriateMediaFile`, in kbit/s.
inline constexpr float VKTVASTDefaultMaximumBitrate = 5000;

/// Refused media files that a creative keeps. Real creatives have fewer than twenty files.
inline constexpr std::size_t VKTVASTRefusedMediaFileLimit = 256;

/// Duration, media files, clicks and icons. Built on one thread and not changed once its ad is merged; then
/// any thread may read it. Shared by its ad and the player.
class VKT_EXPORT VKTVASTCreativeLinear final : public VKTVASTCreative {
  public:
    using MediaFiles = std::vector<std::shared_ptr<VKTVASTMediaFile>>;
    using Icons = std::vector<std::shared_ptr<VKTVASTCreativeIcon>>;

    static std::shared_ptr<VKTVASTCreativeLinear> initEmptyCreative();

    /// Reads a "Linear" node. Problems go to the handler with an empty pixel list:
    /// - no "Duration": `VAST_VALIDATION_ERROR_LINEAR_MISSING_DURATION`; the creative is built all the same;
    /// - not in a wrapper and no "MediaFiles" at all: nothing is built, and
    ///   `VAST_VALIDATION_ERROR_LINEAR_MISSING_MEDIAFILES` is reported and put in `error`;
    /// - not in a wrapper and no usable media file: the same report, but the creative is built (and not
    /// valid). The media-file reports are made only when `error` is given.
    static std::shared_ptr<VKTVASTCreativeLinear> initWithElement(const VKTVASTElement& element,
                                                                  const VKTVASTReadingContext& context);
    static std::shared_ptr<VKTVASTCreativeLinear> initWithDictionary(const VKTDictionary& dictionary,
                                                                     VKTErrorOutput error,
                                                                     const VKTVASTErrorHandler& errorHandler,
                                                                     bool isWrapper);

    /// Without reports, not in a wrapper.
    static std::shared_ptr<VKTVASTCreativeLinear> initWithDictionary(const VKTDictionary& dictionary);

    /// The steps of construction, in their order; each reads from the "Linear" element.
    void findSkipOffset(const VKTVASTElement& linear);
    void findDuration(const VKTVASTElement& linear, const VKTVASTErrorHandler& errorHandler);
    void findAdParameters(const VKTVASTElement& linear);
    bool findMediaFiles(const VKTVASTElement& linear, VKTErrorOutput error,
                        const VKTVASTErrorHandler& errorHandler, bool isWrapper);
    void findTrackingEvents(const VKTVASTElement& linear);
    void findClicks(const VKTVASTElement& linear);
    void findClickTracking(const VKTVASTElement& videoClicks);
    void findClickThrough(const VKTVASTElement& videoClicks);
    void findIcons(const VKTVASTElement& linear);

    /// The selector's choice up to `VKTVASTDefaultMaximumBitrate` on a fast connection; null without media.
    [[nodiscard]] std::shared_ptr<VKTVASTMediaFile> mostAppropriateMediaFile() const;

    /// In a wrapper always; otherwise only with media files.
    [[nodiscard]] bool isValidForWrapper(bool isWrapper) const override;

    /// As written, for example "00:00:15".
    [[nodiscard]] const std::optional<std::string>& duration() const { return duration_; }
    /// As written: a time code or a percentage.
    [[nodiscard]] const std::optional<std::string>& skipOffset() const { return skipOffset_; }
    [[nodiscard]] const std::optional<std::string>& adParameters() const { return adParameters_; }
    [[nodiscard]] const MediaFiles& mediaFiles() const { return mediaFiles_; }

    /// What the document lists and this library cannot play, up to `VKTVASTRefusedMediaFileLimit`;
    /// `VKTVASTMediaFile::refusal` says why.
    [[nodiscard]] const MediaFiles& refusedMediaFiles() const { return refusedMediaFiles_; }

    /// Why there is no media file, half a sentence about the ad: "its media files are video/webm, which is
    /// not playable".
    [[nodiscard]] std::string mediaFilesProblem() const;
    [[nodiscard]] const Icons& icons() const { return icons_; }

  private:
    VKTVASTCreativeLinear() = default;
    void findMediaFiles(const VKTVASTElement& container, std::string_view name, bool areInteractive);

    std::optional<std::string> duration_;
    std::optional<std::string> skipOffset_;
    std::optional<std::string> adParameters_;
    MediaFiles mediaFiles_;
    MediaFiles refusedMediaFiles_;
    Icons icons_;
};
