#pragma once

#include <cstdint>
#include <memory>

#include "VKTCoreKit/vast/VKTVASTCreativeLinear.h"

/// The media file of a creative for a kind of connection; null when it has none.
std::shared_ptr<VKTVASTMediaFile> chosenMediaFile(const VKTVASTCreativeLinear& creative,
                                                  std::uint32_t networkAccessType);
