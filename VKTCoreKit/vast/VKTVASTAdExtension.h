// What the ad server adds to an ad in its "Extensions" element.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/foundation/VKTKeyedArchive.h"
#include "VKTCoreKit/vast/VKTVASTAdVerification.h"
#include "VKTCoreKit/vast/VKTVASTTrackingEvent.h"

struct VKTVASTAdExtension;
VKT_EXPORT bool operator==(const VKTVASTAdExtension& left, const VKTVASTAdExtension& right);

/// All "Extension" elements of one ad in one record. Ads below the same wrapper share the wrapper's record,
/// and its list of metrics grows while they are merged, on one thread. An ad that is handed over gets a
/// record and metrics of its own, which nobody but its holder changes.
struct VKT_EXPORT VKTVASTAdExtension {
    static constexpr const char* archiveClassName = "VKTVASTAdExtension";

    bool offsetIsForced = false;            ///< true for the exact text "1" only
    std::optional<std::string> skipOffset;  ///< as written
    std::optional<std::string> sortRank;
    std::optional<std::string> customScript;
    std::int64_t instanceCount = 0;  ///< 1 in an extension that was read and does not say
    std::vector<std::shared_ptr<VKTVASTTrackingEvent>> metrics;
    std::vector<VKTVASTAdExtensionAdVerification> adVerifications;

    // Server-side macro values: whole numbers.
    std::optional<double> sessionID;
    std::optional<double> statDomainID;
    std::optional<double> networkID;
    std::optional<double> templateID;
    std::optional<double> advertiserID;
    std::optional<double> campaignID;
    std::optional<double> insertionID;
    std::optional<double> siteID;
    std::optional<double> formatID;
    std::optional<double> adBreakType;
    std::optional<double> instances;
    std::optional<double> videoPlayerWidth;
    std::optional<double> videoPlayerHeight;

    // Server-side macro values: texts.
    std::optional<std::string> pageID;
    std::optional<std::string> target;
    std::optional<std::string> baseURL;
    std::optional<std::string> referer;
    std::optional<std::string> clientIP;
    std::optional<std::string> contentID;
    std::optional<std::string> contentProviderID;

    // Real-time bidding values.
    std::optional<std::string> rtbAdvertiserID;
    std::optional<std::string> rtbDspID;
    std::optional<std::string> rtbBuyerID;
    std::optional<std::string> rtbDealID;
    std::optional<std::string> rtbAuctionID;
    std::optional<std::string> rtbPublisherID;
    std::optional<std::string> rtbBidLogTimeTicks;
    std::optional<std::string> rtbEnvironmentType;
    std::optional<std::string> rtbImpressionHash;

    /// Everything absent, the instance count 0.
    static std::shared_ptr<VKTVASTAdExtension> init();

    /// From the ad's "Extensions" element; nothing unless it holds a list of "Extension" elements. Before
    /// VAST 4.1 an ad's verifications stood in an extension of type "AdVerifications": they are appended to
    /// `adVerifications`, if that is not null, whatever else is read of that extension.
    static std::shared_ptr<VKTVASTAdExtension> initWithDictionary(
        const VKTVASTElement& extensions, std::vector<VKTVASTAdVerification>* adVerifications = nullptr);

    /// Whether an "Extension" element is such an extension, and not an empty one.
    static bool holdsAdVerifications(const VKTVASTElement& extension);

    static std::shared_ptr<VKTVASTAdExtension> initWithCoder(const VKTKeyedUnarchiver& coder);
    void encodeWithCoder(VKTKeyedArchiver& coder) const;

    /// Reads one kind of content from each element, the first present of: offset, sort, customised script,
    /// instance count, metrics, macros, verifications. Later elements overwrite values and extend lists.
    void processExtensions(const VKTArray& list);
    void processMetrics(const VKTArray& list);
    void processMacros(const VKTVASTElement& macros);
    void processRTBMacros(const VKTVASTElement& macros);
    void processVerifications(const VKTArray& list);

    /// Items of a merge budget that a copy costs, its metrics not counted.
    [[nodiscard]] std::size_t mergeCost() const;

    /// By value; two absent values are equal, tracking events follow their own rule.
    friend bool operator==(const VKTVASTAdExtension& left, const VKTVASTAdExtension& right);
};

/// One text or number property of the extension: the child element that fills it (empty when it comes from
/// elsewhere), its name, where it stands.
template <typename T>
struct VKTVASTAdExtensionField {
    const char* element;
    const char* name;
    std::optional<T> VKTVASTAdExtension::*member;
};

/// The tables of the macro elements, in the order of reading.
VKT_EXPORT const std::vector<VKTVASTAdExtensionField<double>>& vkt_extensionNumberMacros();
VKT_EXPORT const std::vector<VKTVASTAdExtensionField<std::string>>& vkt_extensionTextMacros();
VKT_EXPORT const std::vector<VKTVASTAdExtensionField<std::string>>& vkt_extensionRTBMacros();
