// An overlay ("NonLinear" element, VAST 4.2).
#pragma once

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/vast/VKTVASTCreativeResource.h"

/// Built on one thread and not changed once its ad is merged; then any thread may read it. Shared by its ad
/// and the player.
class VKT_EXPORT VKTVASTCreativeNonLinear final : public VKTVASTCreativeResource {
  public:
    static std::shared_ptr<VKTVASTCreativeNonLinear> initEmptyCreative();

    /// Nothing when no resource element has a text; `error`, when given, then receives
    /// `VAST_VALIDATION_ERROR_NONLINEAR_MISSING_RESOURCE`. The handler is not called. Tracking events are not
    /// read here: they stand beside the element.
    static std::shared_ptr<VKTVASTCreativeNonLinear> initWithDictionary(
        const VKTDictionary& dictionary, VKTErrorOutput error, const VKTVASTErrorHandler& errorHandler,
        bool isWrapper);
    static std::shared_ptr<VKTVASTCreativeNonLinear> initWithElement(const VKTVASTElement& element,
                                                                     const VKTVASTReadingContext& context);

    [[nodiscard]] const std::optional<std::string>& id() const { return id_; }
    [[nodiscard]] const std::optional<std::string>& minSuggestedDuration() const {
        return minSuggestedDuration_;
    }
    [[nodiscard]] const std::optional<std::string>& apiFramework() const { return apiFramework_; }
    [[nodiscard]] const std::optional<std::string>& adParameters() const { return adParameters_; }
    [[nodiscard]] bool scalable() const { return scalable_; }
    [[nodiscard]] bool maintainAspectRatio() const { return maintainAspectRatio_; }

    /// Pixels; 0 when absent.
    [[nodiscard]] float width() const { return width_; }
    [[nodiscard]] float height() const { return height_; }
    [[nodiscard]] float expandedWidth() const { return expandedWidth_; }
    [[nodiscard]] float expandedHeight() const { return expandedHeight_; }

  private:
    VKTVASTCreativeNonLinear() = default;

    std::optional<std::string> id_;
    std::optional<std::string> minSuggestedDuration_;
    std::optional<std::string> apiFramework_;
    std::optional<std::string> adParameters_;
    bool scalable_ = false;
    bool maintainAspectRatio_ = false;
    float width_ = 0;
    float height_ = 0;
    float expandedWidth_ = 0;
    float expandedHeight_ = 0;
};
