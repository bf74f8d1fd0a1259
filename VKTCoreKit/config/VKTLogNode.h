// Named parts of the records that go to the log collector.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "VKTCoreKit/foundation/VKTDate.h"
#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/foundation/VKTValue.h"

/// One named part. Embedders derive their own. Immutable, so any thread; shared by the records that it is
/// given to.
class VKT_EXPORT VKTLogNode {
  public:
    virtual ~VKTLogNode() = default;

    /// Where the part stands in the record, and what stands there; nothing leaves it out. A class that does
    /// not override one of these throws a `std::logic_error` when it is called, and so does whatever writes
    /// or compares such a node. Nothing else in the library throws.
    [[nodiscard]] virtual std::string name() const;
    [[nodiscard]] virtual std::optional<VKTDictionary> jsonDictionary() const;

    /// Equal dictionaries, whatever the names.
    [[nodiscard]] bool isEqual(const VKTLogNode& other) const { return isEqualToLogNode(other); }
    [[nodiscard]] bool isEqualToLogNode(const VKTLogNode& other) const;
};

/// Null ones count as nothing.
using VKTLogNodes = std::vector<std::shared_ptr<const VKTLogNode>>;

/// A part whose dictionary is fixed when it is made; an empty one counts as nothing.
class VKT_EXPORT VKTLogDictionaryNode : public VKTLogNode {
  public:
    [[nodiscard]] std::string name() const override { return name_; }
    [[nodiscard]] std::optional<VKTDictionary> jsonDictionary() const override;

  protected:
    VKTLogDictionaryNode(std::string name, VKTDictionary dictionary)
        : name_(std::move(name)), dictionary_(std::move(dictionary)) {}

  private:
    const std::string name_;
    const VKTDictionary dictionary_;
};

/// "error": what failed, and the ad call that it happened in. Empty texts of the ad call are left out.
class VKT_EXPORT VKTLogErrorNode final : public VKTLogDictionaryNode {
  public:
    static std::shared_ptr<VKTLogErrorNode> initWithErrorMessage(
        std::string errorMessage, std::optional<std::string> adResponse,
        std::optional<std::string> adCallUrlString, std::optional<std::string> adCallJsonMessage);

    /// For callers who still give the time-out; it is not used.
    static std::shared_ptr<VKTLogErrorNode> initWithErrorMessage(std::string errorMessage,
                                                                 std::optional<std::string> adResponse,
                                                                 VKTTimeInterval timeoutSettingTime);
    static std::shared_ptr<VKTLogErrorNode> initWithErrorMessage(
        std::string errorMessage, std::optional<std::string> adResponse, VKTTimeInterval timeoutSettingTime,
        std::optional<std::string> adCallUrlString, std::optional<std::string> adCallJsonMessage);

  private:
    using VKTLogDictionaryNode::VKTLogDictionaryNode;
};

/// "error": a VAST error. The entries of `optionalInfo` come last and replace others of the same name.
class VKT_EXPORT VKTLogVASTErrorNode final : public VKTLogDictionaryNode {
  public:
    static std::shared_ptr<VKTLogVASTErrorNode> initWithDescription(
        std::string description, std::optional<std::string> VASTResponse, std::int64_t VASTCode,
        std::int64_t korvoCode, const std::optional<VKTDictionary>& optionalInfo);

  private:
    using VKTLogDictionaryNode::VKTLogDictionaryNode;
};

/// "measure": measured values by their names.
class VKT_EXPORT VKTLogMeasureNode final : public VKTLogDictionaryNode {
  public:
    static std::shared_ptr<VKTLogMeasureNode> initWithMeasureDictionary(VKTDictionary dictionary);

  private:
    using VKTLogDictionaryNode::VKTLogDictionaryNode;
};

/// "openMeasurement": a vendor's measurement script.
class VKT_EXPORT VKTLogOpenMeasurementNode final : public VKTLogDictionaryNode {
  public:
    static std::shared_ptr<VKTLogOpenMeasurementNode> initWithVendorName(
        std::optional<std::string> vendorName, std::string JSLibraryURLString,
        std::int64_t implementationType);

  private:
    using VKTLogDictionaryNode::VKTLogDictionaryNode;
};
