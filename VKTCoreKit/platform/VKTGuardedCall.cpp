#include "VKTCoreKit/platform/VKTGuardedCall.h"

#include <string>

#include "VKTCoreKit/platform/VKTProblemLog.h"

void vkt_logThrown(std::string_view callback, std::string_view reason) {
    vkt_logError(std::string(callback) + " has thrown an exception (" + std::string(reason) +
                 "), which was dropped. Catch it in there: the library takes the call as returned.");
}
