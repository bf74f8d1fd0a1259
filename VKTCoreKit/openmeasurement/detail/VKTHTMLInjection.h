// Puts a script tag into an ad's markup.
#pragma once

#include <string>
#include <string_view>

#include "VKTCoreKit/foundation/VKTURL.h"

/// The HTML with a tag that loads the script, where `VKTOpenMeasurementManager::injectLibraryIntoHTML` says.
/// Tags are found in any case and written in lower case. A pure function, linear in the HTML's length; any
/// thread.
std::string vkt_HTMLByInjectingScript(std::string_view html, const VKTURL& scriptURL,
                                      bool forceEndOfHTMLInjection);
