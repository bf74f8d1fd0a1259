// Calls from the library into the application's code.
#pragma once

#include <exception>
#include <string_view>

#include "VKTCoreKit/foundation/VKTExport.h"

/// Logs, as an error, that a callback of the application has thrown. Any thread.
VKT_EXPORT void vkt_logThrown(std::string_view callback, std::string_view reason);

/// Makes a call into the application's code. An exception ends here, with one line in the log that names the
/// callback; the library then goes on as if the callback had returned, so no flag or counter of its own stays
/// behind and none of its threads ends. False when it has thrown. Call it with no lock held.
template <typename Call>
bool vkt_callGuarded(std::string_view callback, const Call& call) {
    try {
        call();
        return true;
    } catch (const std::exception& exception) {
        vkt_logThrown(callback, exception.what());
    } catch (...) {
        vkt_logThrown(callback, "not a std::exception");
    }
    return false;
}
