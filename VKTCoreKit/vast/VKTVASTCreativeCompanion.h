// A companion banner ("Companion" element, VAST 4.2).
#pragma once

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/vast/VKTVASTCreativeResource.h"

/// Built on one thread and not changed once its ad is merged; then any thread may read it. Shared by its ad
/// and the player.
class VKT_EXPORT VKTVASTCreativeCompanion final : public VKTVASTCreativeResource {
  public:
    static std::shared_ptr<VKTVASTCreativeCompanion> initEmptyCreative();

    /// Never nothing: a companion without a resource is only not valid. `error` and `errorHandler` are not
    /// used.
    static std::shared_ptr<VKTVASTCreativeCompanion> initWithDictionary(
        const VKTDictionary& dictionary, VKTErrorOutput error, const VKTVASTErrorHandler& errorHandler,
        bool isWrapper);
    static std::shared_ptr<VKTVASTCreativeCompanion> initWithElement(const VKTVASTElement& element,
                                                                     const VKTVASTReadingContext& context);

    [[nodiscard]] const std::optional<std::string>& id() const { return id_; }
    [[nodiscard]] const std::optional<std::string>& adSlotID() const { return adSlotID_; }
    [[nodiscard]] const std::optional<std::string>& adParameters() const { return adParameters_; }

    /// Pixels; 0 when absent.
    [[nodiscard]] float width() const { return width_; }
    [[nodiscard]] float height() const { return height_; }
    [[nodiscard]] float assetWidth() const { return assetWidth_; }
    [[nodiscard]] float assetHeight() const { return assetHeight_; }

  private:
    VKTVASTCreativeCompanion() = default;

    std::optional<std::string> id_;
    std::optional<std::string> adSlotID_;
    std::optional<std::string> adParameters_;
    float width_ = 0;
    float height_ = 0;
    float assetWidth_ = 0;
    float assetHeight_ = 0;
};
