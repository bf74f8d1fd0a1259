// The data of the events, as the standard for verification scripts names it.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "VKTCoreKit/foundation/VKTDate.h"
#include "VKTCoreKit/foundation/VKTValue.h"
#include "VKTCoreKit/omruntime/Partner.h"
#include "VKTCoreKit/omruntime/detail/Geometry.h"

namespace OMIDKorvonet1 {

const char* nameOf(PlayerState state);
const char* nameOf(InteractionType type);

/// Milliseconds since 1970.
std::int64_t millisecondsOf(VKTDate date);

/// Whether the creative has a beginning, an end and a volume.
bool isMedia(CreativeType type);

VKTDictionary sessionStartData(const AdSessionConfiguration& configuration, const AdSessionContext& context,
                               const std::vector<FriendlyObstruction>& friendlyObstructions,
                               std::optional<VKTDate> lastActivity);
VKTDictionary impressionData(const AdSessionConfiguration& configuration, const Geometry& geometry);
VKTDictionary loadedData(const AdSessionConfiguration& configuration,
                         const std::optional<VASTProperties>& properties);
VKTDictionary geometryData(const Geometry& geometry, std::optional<VKTDate> lastActivity);

}  // namespace OMIDKorvonet1
