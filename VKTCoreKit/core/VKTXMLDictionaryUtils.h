// Type-checked look-ups in XML nodes (see VKTXMLDictionary.h for their shape).
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/foundation/VKTValue.h"

/// Class operations only; any thread. Each yields null or nothing when a key is missing or holds a value of
/// another type. Pointers point into the given dictionary.
class VKT_EXPORT VKTXMLDictionaryUtils {
  public:
    static const VKTArray* findArrayForKey(std::string_view key, const VKTDictionary& dictionary);

    /// The first element of the array under `key`, when it is a node.
    static const VKTDictionary* findFirstObjectOfArrayAsDictionary(std::string_view key,
                                                                   const VKTDictionary& dictionary);

    static const VKTDictionary* findObjectAtIndexOfArray(std::size_t index, std::string_view key,
                                                         const VKTDictionary& dictionary);

    /// The text of the first element of the array under `key`.
    static const std::string* findFirstObjectOfArrayAsString(std::string_view key,
                                                             const VKTDictionary& dictionary);

    /// `key` is the prefixed one, for example "_id".
    static const std::string* findAttribute(std::string_view key, const VKTDictionary& dictionary);

    /// A number of digits only: no sign, no point, not empty.
    static std::optional<double> stringToNSNumber(std::string_view string);

    /// The node's text when it is one run; a text split by child elements gives nothing.
    static const std::string* findNodeText(const VKTDictionary& dictionary);

    static std::optional<double> findNodeTextAsNSNumber(const VKTDictionary& dictionary);
};
