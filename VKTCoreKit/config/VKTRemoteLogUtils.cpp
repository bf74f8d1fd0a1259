#include "VKTCoreKit/config/VKTRemoteLogUtils.h"

#include <utility>

namespace {

void addNodes(VKTDictionary& dictionary, const VKTLogNodes& nodes) {
    for (const auto& node : nodes) {
        if (!node) continue;
        if (auto nodeDictionary = node->jsonDictionary())
            dictionary.set(node->name(), *std::move(nodeDictionary));
    }
}

}  // namespace

VKTDictionary VKTRemoteLogUtils::dictionaryFromLog(const VKTRemoteLog& log) {
    VKTDictionary dictionary{{"timestamp", log.timestamp}};
    if (!log.message.empty()) dictionary.set("message", log.message);
    dictionary.set("severity", VKTRemoteLog::stringFromLogLevel(log.level));
    dictionary.set("samplingRate", log.samplingRate);
    if (log.host) dictionary.set("host", *log.host);
    dictionary.set("secured", log.secured ? VKTValue(*log.secured) : VKTValue(-1));
    if (log.type && !log.type->empty()) dictionary.set("type", *log.type);
    if (log.nodes) addNodes(dictionary, *log.nodes);
    return dictionary;
}

VKTDictionary VKTRemoteLogUtils::generateJSONDictionaryWithLog(const VKTRemoteLog& log,
                                                               const VKTLogNodes& nodes) {
    VKTDictionary dictionary = dictionaryFromLog(log);
    addNodes(dictionary, nodes);
    return dictionary;
}

VKTDictionary VKTRemoteLogUtils::generateJSONDictionaryWithLog(
    const VKTRemoteLog& log, const std::vector<VKTDictionary>& dictionaries) {
    VKTDictionary dictionary = dictionaryFromLog(log);
    for (const VKTDictionary& each : dictionaries) {
        for (const auto& [key, value] : each)
            dictionary.set(key, value);
    }
    return dictionary;
}
