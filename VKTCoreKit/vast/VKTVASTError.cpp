#include "VKTCoreKit/vast/VKTVASTError.h"

#include <utility>

#include "VKTCoreKit/foundation/VKTText.h"

VKTVASTError VKTVASTError::initWithName(std::string name, std::optional<std::string> description,
                                        std::int64_t VASTCode, std::int64_t korvoCode) {
    VKTVASTError error;
    error.errorName_ = std::move(name);
    error.errorDescription_ = std::move(description);
    error.VASTCode_ = VASTCode;
    error.korvoCode_ = korvoCode;
    return error;
}

#define VKT_VAST_ERROR(factory, name, VASTCode, korvoCode, description) \
    VKTVASTError VKTVASTError::factory() {                              \
        return initWithName(name, description, VASTCode, korvoCode);    \
    }
#include "VKTCoreKit/vast/VKTVASTErrorTable.inc"

std::vector<VKTVASTError> VKTVASTError::all() {
    return {
#define VKT_VAST_ERROR(factory, name, VASTCode, korvoCode, description) factory(),
#include "VKTCoreKit/vast/VKTVASTErrorTable.inc"
    };
}

VKTError VKTVASTError::error() const {
    VKTError::UserInfo userInfo;
    if (errorDescription_) {
        userInfo[VKTLocalizedDescriptionKey] = *errorDescription_;
        userInfo[VKTVASTErrorUserInfoKey] = *this;
    }
    return {VKTVASTErrorDomain, VASTCode_ == -1 ? korvoCode_ : VASTCode_, std::move(userInfo)};
}

std::string VKTVASTError::description() const {
    return vkt_stringWithFormat("VKTVASTError(name=%@, VASTCode=%ld, korvoCode=%ld, errorDescription=%@)",
                                {errorName_, VASTCode_, korvoCode_, errorDescription_});
}
