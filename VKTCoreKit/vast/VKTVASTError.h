// The single vocabulary of problems met while fetching, parsing, validating and playing VAST ads.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "VKTCoreKit/foundation/VKTError.h"
#include "VKTCoreKit/foundation/VKTExport.h"

/// Domain of the error objects of VAST errors, and of the readers' and the manager's own errors.
inline constexpr const char* VKTVASTErrorDomain = "VKTVASTErrorDomain";

/// User-info key of an error object under which the `VKTVASTError` stands.
inline constexpr const char* VKTVASTErrorUserInfoKey = "VASTError";

/// One VAST error. An immutable value, cheap to copy; any thread. Made by the named factories, which stand in
/// VKTVASTErrorTable.inc.
class VKT_EXPORT VKTVASTError {
  public:
    static VKTVASTError initWithName(std::string name, std::optional<std::string> description,
                                     std::int64_t VASTCode, std::int64_t korvoCode);

#define VKT_VAST_ERROR(factory, name, VASTCode, korvoCode, description) static VKTVASTError factory();
#include "VKTCoreKit/vast/VKTVASTErrorTable.inc"

    /// Every error of the catalogue, in its order.
    static std::vector<VKTVASTError> all();

    [[nodiscard]] const std::string& errorName() const {
        return content_->errorName;
    }
    [[nodiscard]] const std::optional<std::string>& errorDescription() const {
        return content_->errorDescription;
    }

    /// The code reported to ad servers; -1 when VAST has none, and then no pixel is called.
    [[nodiscard]] std::int64_t VASTCode() const {
        return content_->VASTCode;
    }

    /// The library's own, finer code; always set.
    [[nodiscard]] std::int64_t korvoCode() const {
        return content_->korvoCode;
    }

    /// The error object: `VKTVASTErrorDomain`, the VAST code (the korvo code when there is none), and, when
    /// there is a description, the description and this error as user information.
    [[nodiscard]] VKTError error() const;

    [[nodiscard]] std::string description() const;

    /// All four fields are equal.
    [[nodiscard]] bool isEqual(const VKTVASTError& other) const {
        return *this == other;
    }
    [[nodiscard]] bool isEqualToVASTError(const VKTVASTError& other) const {
        return *this == other;
    }
    [[nodiscard]] VKTVASTError copy() const {
        return *this;
    }

    friend bool operator==(const VKTVASTError& left, const VKTVASTError& right) {
        return left.content_ == right.content_ || *left.content_ == *right.content_;
    }

  private:
    struct Content {
        std::string errorName;
        std::optional<std::string> errorDescription;
        std::int64_t VASTCode = -1;
        std::int64_t korvoCode = 0;

        friend bool operator==(const Content&, const Content&) = default;
    };

    explicit VKTVASTError(std::shared_ptr<const Content> content) : content_(std::move(content)) {}

    std::shared_ptr<const Content> content_;
};

/// An optional output for the error object of a blocking problem. Readers write the last one; with null some
/// of them report less, as their comments say.
using VKTErrorOutput = std::optional<VKTError>*;
