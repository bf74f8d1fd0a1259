// The file that keeps pixels from one run to the next.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "VKTCoreKit/tracking/VKTPixelStore.h"

/// What the file is opened for. All but reading is for one process at a time, as the library says.
enum PixelFileUse : std::uint8_t {
    PixelFileToRead,
    PixelFileToSend,
    PixelFileToKeep,  ///< made when there is none
};

/// The pixels in the file; null, with an error line, when it cannot be used so.
std::shared_ptr<VKTPixelStoreProviderProtocol> openPixelFile(const std::string& path, PixelFileUse use);
