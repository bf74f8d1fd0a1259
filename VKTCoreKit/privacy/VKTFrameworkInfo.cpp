#include "VKTCoreKit/privacy/VKTFrameworkInfo.h"

const std::shared_ptr<VKTFrameworkInfo>& VKTFrameworkInfo::sharedInstance() {
    static const auto* instance = new std::shared_ptr<VKTFrameworkInfo>(std::make_shared<VKTFrameworkInfo>());
    return *instance;
}
