#include "VKTCoreKit/vast/VKTVASTError.h"

#include <utility>

#include "VKTCoreKit/foundation/VKTText.h"

VKTVASTError VKTVASTError::initWithName(std::string name, std::optional<std::string> description,
                                        std::int64_t VASTCode, std::int64_t korvoCode) {
    return VKTVASTError(std::make_shared<const Content>(
        Content{std::move(name), std::move(description), VASTCode, korvoCode}));
}

// Each error of the catalogue is made once, and never destroyed: threads may outlive the end of `main`.
#define VKT_VAST_ERROR(factory, name, VASTCode, korvoCode, description)                                    \
    VKTVASTError VKTVASTError::factory() {                                                                 \
        static const auto* error = new VKTVASTError(initWithName(name, description, VASTCode, korvoCode)); \
        return *error;                                                                                     \
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
    if (errorDescription()) {
        userInfo[VKTLocalizedDescriptionKey] = *errorDescription();
        userInfo[VKTVASTErrorUserInfoKey] = *this;
    }
    return {VKTVASTErrorDomain, VASTCode() == -1 ? korvoCode() : VASTCode(), std::move(userInfo)};
}

std::string VKTVASTError::description() const {
    return vkt_stringWithFormat("VKTVASTError(name=%@, VASTCode=%ld, korvoCode=%ld, errorDescription=%@)",
                                {errorName(), VASTCode(), korvoCode(), errorDescription()});
}
