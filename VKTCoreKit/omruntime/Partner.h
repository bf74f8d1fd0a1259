// The values that describe a measured ad, before its session is made.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "VKTCoreKit/foundation/VKTError.h"
#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/foundation/VKTURL.h"
#include "VKTCoreKit/omruntime/Enumerations.h"

namespace OMIDKorvonet1 {

/// Bytes of a partner's name and version, and of a custom reference, at most.
inline constexpr std::size_t TextLimit = 256;

/// The integrator. A value.
class VKT_EXPORT Partner {
  public:
    /// Nothing when either is empty, longer than `TextLimit` or not UTF-8.
    static std::optional<Partner> initWithName(std::string name, std::string versionString);

    [[nodiscard]] const std::string& name() const { return name_; }
    [[nodiscard]] const std::string& versionString() const { return versionString_; }

  private:
    Partner(std::string name, std::string versionString)
        : name_(std::move(name)), versionString_(std::move(versionString)) {}

    std::string name_;
    std::string versionString_;
};

/// One vendor's script. A value.
class VKT_EXPORT VerificationScriptResource {
  public:
    static VerificationScriptResource initWithURL(VKTURL URL);

    /// Nothing when the vendor key or the parameters are empty or not UTF-8.
    static std::optional<VerificationScriptResource> initWithURL(VKTURL URL, std::string vendorKey,
                                                                 std::string parameters);

    [[nodiscard]] const VKTURL& URL() const { return URL_; }
    [[nodiscard]] const std::optional<std::string>& vendorKey() const { return vendorKey_; }
    [[nodiscard]] const std::optional<std::string>& parameters() const { return parameters_; }

  private:
    VerificationScriptResource(VKTURL URL, std::optional<std::string> vendorKey,
                               std::optional<std::string> parameters)
        : URL_(std::move(URL)), vendorKey_(std::move(vendorKey)), parameters_(std::move(parameters)) {}

    VKTURL URL_;
    std::optional<std::string> vendorKey_;
    std::optional<std::string> parameters_;
};

/// Who measures what with which scripts. Immutable, shared; main thread.
class VKT_EXPORT AdSessionContext {
  public:
    /// Null, with the error, when the runtime is not active, the service script is empty, the custom
    /// reference is longer than `TextLimit`, or it or the content URL is not UTF-8. No resources at all are
    /// allowed: the session then has nobody to tell.
    static std::shared_ptr<const AdSessionContext> initWithPartner(
        Partner partner, std::string script, std::vector<VerificationScriptResource> resources,
        std::optional<std::string> contentURL, std::optional<std::string> customReferenceIdentifier,
        std::optional<VKTError>* error);

    [[nodiscard]] const Partner& partner() const { return partner_; }
    [[nodiscard]] const std::shared_ptr<const std::string>& script() const { return script_; }
    [[nodiscard]] const std::vector<VerificationScriptResource>& resources() const { return resources_; }
    [[nodiscard]] const std::optional<std::string>& contentURL() const { return contentURL_; }
    [[nodiscard]] const std::optional<std::string>& customReferenceIdentifier() const {
        return customReferenceIdentifier_;
    }

  private:
    AdSessionContext(Partner partner, std::string script, std::vector<VerificationScriptResource> resources,
                     std::optional<std::string> contentURL,
                     std::optional<std::string> customReferenceIdentifier);

    const Partner partner_;
    const std::shared_ptr<const std::string> script_;
    const std::vector<VerificationScriptResource> resources_;
    const std::optional<std::string> contentURL_;
    const std::optional<std::string> customReferenceIdentifier_;
};

/// What kind of ad it is and who reports its events. A value.
class VKT_EXPORT AdSessionConfiguration {
  public:
    /// Nothing, with the error, when the impression is nobody's, or when the creative or the impression type
    /// is defined by JavaScript and the impression's owner is not. A creative without media may name an owner
    /// of media events: there are none then.
    static std::optional<AdSessionConfiguration> initWithCreativeType(
        CreativeType creativeType, ImpressionType impressionType, Owner impressionOwner,
        Owner mediaEventsOwner, bool isolateVerificationScripts, std::optional<VKTError>* error);

    [[nodiscard]] CreativeType creativeType() const { return creativeType_; }
    [[nodiscard]] ImpressionType impressionType() const { return impressionType_; }
    [[nodiscard]] Owner impressionOwner() const { return impressionOwner_; }
    [[nodiscard]] Owner mediaEventsOwner() const { return mediaEventsOwner_; }
    [[nodiscard]] bool isolateVerificationScripts() const { return isolateVerificationScripts_; }

  private:
    AdSessionConfiguration(CreativeType creativeType, ImpressionType impressionType, Owner impressionOwner,
                           Owner mediaEventsOwner, bool isolateVerificationScripts)
        : creativeType_(creativeType),
          impressionType_(impressionType),
          impressionOwner_(impressionOwner),
          mediaEventsOwner_(mediaEventsOwner),
          isolateVerificationScripts_(isolateVerificationScripts) {}

    CreativeType creativeType_;
    ImpressionType impressionType_;
    Owner impressionOwner_;
    Owner mediaEventsOwner_;
    bool isolateVerificationScripts_;
};

/// How the ad may be skipped and how it starts. A value.
class VASTProperties {
  public:
    static VASTProperties initWithSkipOffset(double skipOffset, bool autoPlay, Position position) {
        return {skipOffset, autoPlay, position};
    }
    static VASTProperties initWithAutoPlay(bool autoPlay, Position position) {
        return {std::nullopt, autoPlay, position};
    }

    [[nodiscard]] bool isSkippable() const { return skipOffset_.has_value(); }
    [[nodiscard]] std::optional<double> skipOffset() const { return skipOffset_; }  ///< seconds
    [[nodiscard]] bool autoPlay() const { return autoPlay_; }
    [[nodiscard]] Position position() const { return position_; }

  private:
    VASTProperties(std::optional<double> skipOffset, bool autoPlay, Position position)
        : skipOffset_(skipOffset), autoPlay_(autoPlay), position_(position) {}

    std::optional<double> skipOffset_;
    bool autoPlay_;
    Position position_;
};

}  // namespace OMIDKorvonet1
