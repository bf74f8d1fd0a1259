// A universal ad identifier ("UniversalAdId" element, VAST 4.2).
#pragma once

#include <optional>
#include <string>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/foundation/VKTKeyedArchive.h"
#include "VKTCoreKit/vast/VKTVASTElement.h"

/// A value; any thread.
struct VKT_EXPORT VKTVASTUniversalAdId {
    static constexpr const char* archiveClassName = "VKTVASTUniversalAdId";

    std::string registry;
    std::string value;

    /// Nothing unless the result is valid.
    static std::optional<VKTVASTUniversalAdId> initWithRegistry(std::string registry, std::string value);

    /// From a node with an "_idRegistry"; its text, when there is one, wins over "_idValue" (VAST 4.0).
    static std::optional<VKTVASTUniversalAdId> initWithDictionary(const VKTVASTElement& element);

    static std::optional<VKTVASTUniversalAdId> initWithCoder(const VKTKeyedUnarchiver& coder);
    void encodeWithCoder(VKTKeyedArchiver& coder) const;

    /// Neither part is empty and the value is not "unknown".
    [[nodiscard]] bool isValid() const;

    friend bool operator==(const VKTVASTUniversalAdId&, const VKTVASTUniversalAdId&) = default;
};
