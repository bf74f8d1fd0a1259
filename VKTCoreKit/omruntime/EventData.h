// The data of the events, as the standard for verification scripts names it.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "VKTCoreKit/foundation/VKTDate.h"
#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/foundation/VKTValue.h"
#include "VKTCoreKit/omruntime/Geometry.h"
#include "VKTCoreKit/omruntime/Partner.h"

namespace OMIDKorvonet1 {

VKT_EXPORT const char* nameOf(PlayerState state);
VKT_EXPORT const char* nameOf(InteractionType type);

/// Milliseconds since 1970.
VKT_EXPORT std::int64_t millisecondsOf(VKTDate date);

/// Whether the creative has a beginning, an end and a volume.
VKT_EXPORT bool isMedia(CreativeType type);

VKT_EXPORT VKTDictionary sessionStartData(const AdSessionConfiguration& configuration,
                                          const AdSessionContext& context,
                                          const std::vector<FriendlyObstruction>& friendlyObstructions,
                                          std::optional<VKTDate> lastActivity);
VKT_EXPORT VKTDictionary impressionData(const AdSessionConfiguration& configuration,
                                        const Geometry& geometry);
VKT_EXPORT VKTDictionary loadedData(const AdSessionConfiguration& configuration,
                                    const std::optional<VASTProperties>& properties);
VKT_EXPORT VKTDictionary geometryData(const Geometry& geometry, std::optional<VKTDate> lastActivity);

}  // namespace OMIDKorvonet1
