#include "VKTCoreKit/vast/VKTVASTNamedEvent.h"

#include <typeinfo>
#include <utility>

#include "VKTCoreKit/foundation/VKTKeyedHash.h"

VKTVASTNamedEvent::VKTVASTNamedEvent(std::string name, VKTURL url)
    : name_(std::move(name)), url_(std::move(url)) {}

bool VKTVASTNamedEvent::isEqual(const VKTTrackingEvent& other) const {
    return typeid(*this) == typeid(other) && name_ == other.eventName() && url_ == other.eventURL();
}

std::size_t VKTVASTNamedEvent::hash() const {
    return VKTKeyedHash()(name_ + ' ' + url_.absoluteString());
}
