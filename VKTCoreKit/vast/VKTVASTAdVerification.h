// A third-party verification ("Verification" element, VAST 4.1) with its resources and events.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/foundation/VKTKeyedArchive.h"
#include "VKTCoreKit/vast/VKTVASTElement.h"
#include "VKTCoreKit/vast/VKTVASTNamedEvent.h"

/// One script of a verification. A value; any thread.
struct VKT_EXPORT VKTVASTAdVerificationResource {
    static constexpr const char* archiveClassName = "VKTVASTAdVerificationResource";

    std::int64_t type = 0;      ///< 0 for every resource of a document
    std::optional<VKTURL> url;  ///< nothing when the text does not read as a URL
    std::optional<std::string> apiFramework;
    bool browserOptional = false;
    std::optional<std::string> executableType;  ///< of executable resources only

    static VKTVASTAdVerificationResource initWithType(std::int64_t type, std::optional<VKTURL> url,
                                                      std::optional<std::string> apiFramework,
                                                      bool browserOptional,
                                                      std::optional<std::string> executableType);

    /// Nothing for a node without text.
    static std::optional<VKTVASTAdVerificationResource> initJavascriptResourceWithDictionary(
        const VKTVASTElement& element);
    static std::optional<VKTVASTAdVerificationResource> initExecutableResourceWithDictionary(
        const VKTVASTElement& element);

    static std::optional<VKTVASTAdVerificationResource> initWithCoder(const VKTKeyedUnarchiver& coder);
    void encodeWithCoder(VKTKeyedArchiver& coder) const;

    friend bool operator==(const VKTVASTAdVerificationResource&,
                           const VKTVASTAdVerificationResource&) = default;
};

/// An event of a verification; the only one is "verificationNotExecuted", which is consumable. Immutable,
/// shared with its tracking manager; any thread.
class VKT_EXPORT VKTVASTAdVerificationEvent final : public VKTVASTNamedEvent {
    struct Private {
        explicit Private() = default;
    };

  public:
    static constexpr const char* archiveClassName = "VKTVASTAdVerificationEvent";

    /// Nothing for any other name.
    static std::shared_ptr<VKTVASTAdVerificationEvent> initWithName(std::string name, VKTURL url);
    static std::shared_ptr<VKTVASTAdVerificationEvent> initWithDictionary(const VKTVASTElement& element);
    static std::shared_ptr<VKTVASTAdVerificationEvent> initWithCoder(const VKTKeyedUnarchiver& coder);
    void encodeWithCoder(VKTKeyedArchiver& coder) const;

    /// False, with a debug message, for any other name.
    static bool isEventConsumableFromName(std::string_view name);

    VKTVASTAdVerificationEvent(Private, std::string name, VKTURL url);
};

struct VKTVASTAdVerification;
VKT_EXPORT bool operator==(const VKTVASTAdVerification& left, const VKTVASTAdVerification& right);

/// One verification. A value (its events are shared); any thread.
struct VKT_EXPORT VKTVASTAdVerification {
    static constexpr const char* archiveClassName = "VKTVASTAdVerification";

    using Resources = std::vector<VKTVASTAdVerificationResource>;
    using TrackingEvents = std::vector<std::shared_ptr<VKTVASTAdVerificationEvent>>;

    std::optional<std::string> vendor;
    Resources resources;
    TrackingEvents trackingEvents;
    std::optional<std::string> verificationParameters;

    static VKTVASTAdVerification initWithVendor(std::optional<std::string> vendor, Resources resources,
                                                TrackingEvents trackingEvents,
                                                std::optional<std::string> verificationParameters);

    /// One "omid" script that needs no browser, and no events.
    static VKTVASTAdVerification initWithOMIDJavascriptResourceURL(
        VKTURL url, std::optional<std::string> vendor, std::optional<std::string> verificationParameters);

    /// Nothing for a node without a resource. Resources: JavaScript ones (both spellings of the element),
    /// then executable ones.
    static std::optional<VKTVASTAdVerification> initWithDictionary(const VKTVASTElement& element);

    static std::optional<VKTVASTAdVerification> initWithCoder(const VKTKeyedUnarchiver& coder);
    void encodeWithCoder(VKTKeyedArchiver& coder) const;

    /// Items of a merge budget that a copy costs: its resources and events and all its texts.
    [[nodiscard]] std::size_t mergeCost() const;

    friend bool operator==(const VKTVASTAdVerification& left, const VKTVASTAdVerification& right);
};

/// A verification script in the form that predates VAST 4.1, inside an extension. A value; any thread.
struct VKT_EXPORT VKTVASTAdExtensionAdVerification {
    static constexpr const char* archiveClassName = "VKTVASTAdExtensionAdVerification";

    VKTURL javascriptResourceURL;
    std::optional<std::string> vendor;
    std::optional<std::string> verificationParameters;

    static VKTVASTAdExtensionAdVerification initWithJavascriptResourceURL(
        VKTURL url, std::optional<std::string> vendor = std::nullopt,
        std::optional<std::string> verificationParameters = std::nullopt);

    static std::optional<VKTVASTAdExtensionAdVerification> initWithCoder(const VKTKeyedUnarchiver& coder);
    void encodeWithCoder(VKTKeyedArchiver& coder) const;

    [[nodiscard]] bool isEqualToScript(const VKTVASTAdExtensionAdVerification& other) const {
        return *this == other;
    }

    friend bool operator==(const VKTVASTAdExtensionAdVerification&,
                           const VKTVASTAdExtensionAdVerification&) = default;
};
