// What non-linear, companion and icon creatives share: one resource, attributes, clicks.
#pragma once

#include <optional>
#include <string>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/vast/VKTVASTCreative.h"

/// Why a creative that needs a resource is dropped.
inline constexpr const char* VKTVASTNoResource = "it has no usable resource";

/// At most one of the three resources is set: a static one wins over an iframe, an iframe over HTML. An HTML
/// snippet is kept in URL form.
class VKT_EXPORT VKTVASTCreativeResource : public VKTVASTCreative {
  public:
    /// In a wrapper always; otherwise only with a resource.
    [[nodiscard]] bool isValidForWrapper(bool isWrapper) const override;

    [[nodiscard]] const std::optional<VKTVASTURL>& staticResource() const { return staticResource_; }
    /// The MIME type of the static resource as written ("creativeType"); nothing without one.
    [[nodiscard]] const std::optional<std::string>& staticResourceType() const { return staticResourceType_; }
    [[nodiscard]] const std::optional<VKTVASTURL>& iFrameResource() const { return iFrameResource_; }
    [[nodiscard]] const std::optional<VKTVASTURL>& htmlResource() const { return htmlResource_; }

  protected:
    VKTVASTCreativeResource() = default;

    /// Reads the first resource element that has a text. False when none has.
    bool findResource(const VKTVASTElement& element);

  private:
    std::optional<VKTVASTURL> staticResource_;
    std::optional<std::string> staticResourceType_;
    std::optional<VKTVASTURL> iFrameResource_;
    std::optional<VKTVASTURL> htmlResource_;
};
