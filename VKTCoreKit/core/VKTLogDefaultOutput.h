// Log lines on standard output.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "VKTCoreKit/core/VKTLog.h"
#include "VKTCoreKit/foundation/VKTExport.h"

/// Writes "time tag[LEVEL] message" lines, local time as HH:mm:ss. Safe from any thread: lines interleave
/// only as wholes. Each further line of a message begins with a tab, so that it is not taken for a line of
/// the log; `vkt_onOneLine` says what becomes of control characters.
class VKT_EXPORT VKTLogDefaultOutput : public VKTLogOutput {
  public:
    static const std::shared_ptr<VKTLogDefaultOutput>& sharedInstance();

    /// The line without its newline, stamped with the current time.
    static std::string generateLog(std::string_view message, VKTLogLevel level, std::string_view tag);

    void logMessage(std::string_view message, VKTLogLevel level, std::string_view tag) override;
};
