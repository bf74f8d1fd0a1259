// The files of assets/, in the program: it needs no folder of its own on the machine.
#pragma once

#include <string_view>

namespace Assets {

extern const std::string_view page;    ///< page.html
extern const std::string_view style;   ///< page.css, which reports carry, too
extern const std::string_view script;  ///< page.js

}  // namespace Assets
