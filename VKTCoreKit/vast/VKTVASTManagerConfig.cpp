#include "VKTCoreKit/vast/VKTVASTManagerConfig.h"

#include "VKTCoreKit/foundation/VKTText.h"

std::string VKTVASTManagerConfig::description() const {
    const auto yesOrNo = [](bool value) { return value ? "YES" : "NO"; };
    return vkt_stringWithFormat(
        "VKTVASTManagerConfig(requestTimeout: %f, maximumWrappers: %ld, handleWrappersAdpods: %@, "
        "strictWrapperFirstLevelImpressionValidation: %@)",
        {requestTimeout.count(), maximumWrappers, yesOrNo(handleWrappersAdpods),
         yesOrNo(strictWrapperFirstLevelImpressionValidation)});
}
