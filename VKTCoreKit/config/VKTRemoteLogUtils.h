// Log records as JSON objects.
#pragma once

#include <vector>

#include "VKTCoreKit/config/VKTRemoteLog.h"
#include "VKTCoreKit/foundation/VKTExport.h"

/// Pure functions, safe from any thread. What stands under the same name twice is there once, with the later
/// value.
class VKT_EXPORT VKTRemoteLogUtils {
  public:
    /// The record and its nodes, as the collector reads them. Never empty: time stamp, level, sampling rate
    /// and "secured" (-1 without a base URL) are always there.
    static VKTDictionary dictionaryFromLog(const VKTRemoteLog& log);

    /// The same with further nodes; those without a dictionary are left out.
    static VKTDictionary generateJSONDictionaryWithLog(const VKTRemoteLog& log, const VKTLogNodes& nodes);

    /// The same with the entries of each dictionary.
    static VKTDictionary generateJSONDictionaryWithLog(const VKTRemoteLog& log,
                                                       const std::vector<VKTDictionary>& dictionaries);
};
