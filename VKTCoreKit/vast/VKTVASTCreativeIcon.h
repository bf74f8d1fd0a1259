// An icon shown over a linear ad ("Icon" element, VAST 4.2).
#pragma once

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/vast/VKTVASTCreativeResource.h"

/// Built on one thread and not changed afterwards; then any thread may read it. Shared by its linear creative
/// and the player.
class VKT_EXPORT VKTVASTCreativeIcon final : public VKTVASTCreativeResource {
  public:
    /// Never nothing: an icon without a resource is only not valid. `error` and `errorHandler` are not used.
    static std::shared_ptr<VKTVASTCreativeIcon> initWithDictionary(const VKTDictionary& dictionary,
                                                                   VKTErrorOutput error,
                                                                   const VKTVASTErrorHandler& errorHandler,
                                                                   bool isWrapper);
    static std::shared_ptr<VKTVASTCreativeIcon> initWithElement(const VKTVASTElement& element);

    [[nodiscard]] const std::optional<std::string>& program() const { return program_; }
    [[nodiscard]] const std::optional<std::string>& duration() const { return duration_; }
    [[nodiscard]] const std::optional<std::string>& offset() const { return offset_; }
    [[nodiscard]] const std::optional<std::string>& apiFramework() const { return apiFramework_; }

    /// Pixels; 0 when absent. Positions given as words ("left", "top") read as 0.
    [[nodiscard]] float width() const { return width_; }
    [[nodiscard]] float height() const { return height_; }
    [[nodiscard]] float xPosition() const { return xPosition_; }
    [[nodiscard]] float yPosition() const { return yPosition_; }

  private:
    VKTVASTCreativeIcon() = default;

    std::optional<std::string> program_;
    std::optional<std::string> duration_;
    std::optional<std::string> offset_;
    std::optional<std::string> apiFramework_;
    float width_ = 0;
    float height_ = 0;
    float xPosition_ = 0;
    float yPosition_ = 0;
};
