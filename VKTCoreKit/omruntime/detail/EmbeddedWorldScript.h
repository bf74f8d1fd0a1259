// The script that every world begins with.
#pragma once

#include <string_view>

namespace OMIDKorvonet1 {

/// ECMAScript 5, from world_script.js. Adds to the engine's language what scripts for browsers expect of it.
std::string_view embeddedWorldScript();

}  // namespace OMIDKorvonet1
