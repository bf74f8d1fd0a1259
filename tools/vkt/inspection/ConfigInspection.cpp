#include "inspection/ConfigInspection.h"

#include <algorithm>
#include <array>

#include "VKTCoreKit/config/VKTConfigReading.h"
#include "VKTCoreKit/config/VKTRemoteConfigManager.h"
#include "VKTCoreKit/config/VKTRemoteLogLevel.h"
#include "VKTCoreKit/core/VKTDictionaryExtension.h"
#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/platform/VKTServices.h"
#include "ground/Text.h"

namespace {

constexpr std::size_t longestQuotation = 60;  // bytes

// A value as it is called in a reason.
std::string nameOf(const VKTValue* value) {
    if (value == nullptr) return "nothing";
    if (value->asArray() != nullptr) return "an array";
    if (value->asDictionary() != nullptr) return "an object";
    const std::string text = vkt_JSONStringWithValue(*value).value_or("");
    return text.size() <= longestQuotation ? text : "a text of " + std::to_string(text.size()) + " bytes";
}

std::string expectation(const std::string& expected, const VKTValue* found) {
    return expected + " is expected, not " + nameOf(found);
}

// Where the member of a path of names would stand.
struct Place {
    const VKTDictionary* parent;  // null when the path leads through something that is no object
    std::string_view name;
};

Place placeOf(const VKTDictionary& document, std::string_view path) {
    Place place{&document, path};
    std::size_t point = path.find('.');
    while (place.parent != nullptr && point != std::string_view::npos) {
        place.parent = vkt_optDictionaryForKey(*place.parent, place.name.substr(0, point));
        place.name.remove_prefix(point + 1);
        point = place.name.find('.');
    }
    return place;
}

const VKTValue* valueAt(const VKTDictionary& document, std::string_view path) {
    const Place place = placeOf(document, path);
    return place.parent == nullptr ? nullptr : place.parent->find(place.name);
}

using Reader = bool (*)(const VKTDictionary& dictionary, std::string_view key);

bool isNumber(const VKTDictionary& dictionary, std::string_view key) {
    return vkt_configNumberForKey(dictionary, key).has_value();
}
bool isRate(const VKTDictionary& dictionary, std::string_view key) {
    const auto number = vkt_configNumberForKey(dictionary, key);
    return number && number->doubleValue() >= 0;
}
bool isVersion(const VKTDictionary& dictionary, std::string_view key) {
    const auto number = vkt_configNumberForKey(dictionary, key);
    return number && number->integerValue() >= 1;
}
bool isText(const VKTDictionary& dictionary, std::string_view key) {
    return vkt_configStringForKey(dictionary, key) != nullptr;
}
bool isURL(const VKTDictionary& dictionary, std::string_view key) {
    return vkt_configURLForKey(dictionary, key).has_value();
}
bool isObject(const VKTDictionary& dictionary, std::string_view key) {
    return vkt_optDictionaryForKey(dictionary, key) != nullptr;
}
bool isLevel(const VKTDictionary& dictionary, std::string_view key) {
    const std::string* name = vkt_configStringForKey(dictionary, key);
    return name != nullptr && vkt_remoteLogLevelFromString(*name) != VKTRemoteLogLevelNone;
}

struct Member {
    const char* path;
    Reader isUsed;
    const char* expected;
};

constexpr auto members = std::to_array<Member>({
    {"statusCode", isNumber, "a number"},
    {"version", isText, "a text"},
    {"korvo.adCallBaseURL", isURL, "the text of a URL"},
    {"korvo.latestSDKVersionId", isVersion, "a number above 0"},
    {"korvo.latestSDKMessage", isText, "a text"},
    {"logger", isObject, "an object"},
    {"logger.URL", isURL, "the text of a URL"},
    {"logger.minLogLevel", isLevel, R"("debug", "info", "warning" or "error")"},
    {"logger.samplingRate", isObject, "an object"},
    {"logger.samplingRate.debug", isRate, "a number from 0 up"},
    {"logger.samplingRate.info", isRate, "a number from 0 up"},
    {"logger.samplingRate.warning", isRate, "a number from 0 up"},
    {"logger.samplingRate.error", isRate, "a number from 0 up"},
});

void addGETParameters(std::vector<IgnoredMember>& ignored, const VKTValue* parameters,
                      const std::string& path) {
    const VKTDictionary* dictionary = parameters == nullptr ? nullptr : parameters->asDictionary();
    if (dictionary == nullptr) {
        ignored.push_back({path, expectation("an object", parameters)});
        return;
    }
    for (const auto& [name, value] : *dictionary) {
        if (value.asString() == nullptr)
            ignored.push_back({vkt_joined({path, name}, "."), expectation("a text", &value)});
    }
}

// What a newer server may tell a logger, or what somebody misspelt: nobody reads it.
void addUnknownMembers(std::vector<IgnoredMember>& ignored, const VKTDictionary& document,
                       const std::string& path, std::string_view known) {
    const VKTValue* value = valueAt(document, path);
    const VKTDictionary* dictionary = value == nullptr ? nullptr : value->asDictionary();
    if (dictionary == nullptr) return;
    const auto names = vkt_split(known, ' ');
    for (const auto& entry : *dictionary) {
        if (std::find(names.begin(), names.end(), entry.key) != names.end()) continue;
        ignored.push_back({path + "." + entry.key,
                           "only " + vkt_replacingOccurrences(known, " ", ", ") + " are read of " + path});
    }
}

void addRefusals(std::vector<IgnoredMember>& ignored, const VKTDictionary& document,
                 const ConfigRefusals& refusals) {
    if (refusals.isSiteWrong) {
        const VKTValue* networkID = valueAt(document, "korvo.networkId");
        ignored.push_back(
            {"korvo.networkId", expectation("a number above 0", networkID) + ": the site ID may be wrong"});
    }
    const std::string parameters = "korvo.adCallAdditionalParameters";
    if (refusals.parts.contains(VKTAdditionalParametersPartAll))
        ignored.push_back({parameters, expectation("an object", valueAt(document, parameters))});
    if (refusals.parts.contains(VKTAdditionalParametersPartPOST))
        ignored.push_back(
            {parameters + ".post", expectation("an object", valueAt(document, parameters + ".post"))});
    if (refusals.parts.contains(VKTAdditionalParametersPartGET))
        addGETParameters(ignored, valueAt(document, parameters + ".get"), parameters + ".get");
}

}  // namespace

std::vector<IgnoredMember> ignoredMembersOf(const VKTDictionary& document, const ConfigRefusals& refusals) {
    std::vector<IgnoredMember> ignored;
    const auto TTL = vkt_configNumberForKey(document, "TTL");
    if (TTL && TTL->doubleValue() > VKTRemoteConfigManager::MAXIMUM_TTL)
        ignored.push_back({"TTL", vkt_numberDescription(VKTRemoteConfigManager::MAXIMUM_TTL) +
                                      " s (7 days) is the most that counts, not " + TTL->description()});
    addRefusals(ignored, document, refusals);
    for (const Member& member : members) {
        const auto [parent, name] = placeOf(document, member.path);
        const VKTValue* value = parent == nullptr ? nullptr : parent->find(name);
        if (value != nullptr && !member.isUsed(*parent, name))
            ignored.push_back({member.path, expectation(member.expected, value)});
    }
    addUnknownMembers(ignored, document, "logger", "URL minLogLevel samplingRate");
    addUnknownMembers(ignored, document, "logger.samplingRate", "debug info warning error");
    return ignored;
}

std::string faultOfDocument(std::string_view data) {
    std::optional<VKTError> error;
    const auto value = vkt_JSONValueWithData(data, &error);
    if (!value)
        return "is not JSON" + (error ? ": " + error->localizedDescription().value_or("") : std::string());
    const VKTDictionary* document = value->asDictionary();
    if (document == nullptr) return "is " + nameOf(&*value) + ", not an object";
    const auto TTL = vkt_configNumberForKey(*document, "TTL");
    if (!TTL || !(TTL->doubleValue() > 0))
        return "holds no valid TTL: " + expectation("a number above 0", document->find("TTL"));
    return "holds no valid korvo: " + expectation("an object", document->find("korvo"));
}
