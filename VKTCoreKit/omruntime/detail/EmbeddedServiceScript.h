// The service script that is used when no other is configured.
#pragma once

#include <string_view>

namespace OMIDKorvonet1 {

/// ECMAScript 5, from service_script.js. Gives a verification script its `omid3p`; not certified by anybody.
std::string_view embeddedServiceScript();

}  // namespace OMIDKorvonet1
