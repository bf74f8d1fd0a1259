// The files of media/, in the program: the demo server needs no folder of its own on the machine.
#pragma once

#include <string_view>

namespace DemoMedia {

extern const std::string_view video;      ///< video/mp4, 15 seconds, silent
extern const std::string_view companion;  ///< image/gif, 300x250
extern const std::string_view icon;       ///< image/gif, 16x16

}  // namespace DemoMedia
