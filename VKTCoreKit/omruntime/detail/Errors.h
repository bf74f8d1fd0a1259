// The errors that the runtime's operations give.
#pragma once

#include <optional>
#include <string>
#include <utility>

#include "VKTCoreKit/core/VKTUtils.h"
#include "VKTCoreKit/omruntime/Enumerations.h"

namespace OMIDKorvonet1 {

inline VKTError runtimeError(ErrorCode code, std::string description) {
    return VKTUtils::errorWithDomain(ErrorDomain, code, std::move(description));
}

inline VKTError argumentError(std::string description) {
    return runtimeError(ErrorCodeInvalidArgument, std::move(description));
}

inline VKTError stateError(std::string description) {
    return runtimeError(ErrorCodeWrongState, std::move(description));
}

inline VKTError inactiveError() {
    return runtimeError(ErrorCodeInactive,
                        "The measurement runtime is not active: call SDK::sharedInstance().activate() first");
}

/// Stores the error where one is asked for.
inline void setError(std::optional<VKTError>* error, VKTError what) {
    if (error != nullptr) *error = std::move(what);
}

}  // namespace OMIDKorvonet1
