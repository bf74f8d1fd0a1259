#include "VKTCoreKit/core/VKTXMLDictionaryUtils.h"

#include "VKTCoreKit/core/VKTUtils.h"
#include "VKTCoreKit/core/VKTXMLDictionary.h"
#include "VKTCoreKit/foundation/VKTText.h"

const VKTArray* VKTXMLDictionaryUtils::findArrayForKey(std::string_view key,
                                                       const VKTDictionary& dictionary) {
    const VKTValue* value = dictionary.find(key);
    return value == nullptr ? nullptr : value->asArray();
}

const VKTDictionary* VKTXMLDictionaryUtils::findFirstObjectOfArrayAsDictionary(
    std::string_view key, const VKTDictionary& dictionary) {
    return findObjectAtIndexOfArray(0, key, dictionary);
}

const VKTDictionary* VKTXMLDictionaryUtils::findObjectAtIndexOfArray(std::size_t index, std::string_view key,
                                                                     const VKTDictionary& dictionary) {
    const VKTArray* array = findArrayForKey(key, dictionary);
    return array == nullptr || array->size() <= index ? nullptr : (*array)[index].asDictionary();
}

const std::string* VKTXMLDictionaryUtils::findFirstObjectOfArrayAsString(std::string_view key,
                                                                         const VKTDictionary& dictionary) {
    const VKTDictionary* node = findFirstObjectOfArrayAsDictionary(key, dictionary);
    return node == nullptr ? nullptr : findNodeText(*node);
}

const std::string* VKTXMLDictionaryUtils::findAttribute(std::string_view key,
                                                        const VKTDictionary& dictionary) {
    const VKTValue* value = dictionary.find(key);
    return value == nullptr ? nullptr : value->asString();
}

std::optional<double> VKTXMLDictionaryUtils::stringToNSNumber(std::string_view string) {
    if (!VKTUtils::stringIsDigitsOnly(string)) return std::nullopt;
    return vkt_doubleValue(string);
}

const std::string* VKTXMLDictionaryUtils::findNodeText(const VKTDictionary& dictionary) {
    return findAttribute(VKTXMLDictionaryTextKey, dictionary);
}

std::optional<double> VKTXMLDictionaryUtils::findNodeTextAsNSNumber(const VKTDictionary& dictionary) {
    const std::string* text = findNodeText(dictionary);
    return text == nullptr ? std::nullopt : stringToNSNumber(*text);
}
