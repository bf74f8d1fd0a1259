#include "VKTCoreKit/foundation/VKTKeyedArchive.h"

#include <array>
#include <bit>

namespace {

constexpr std::string_view magic = "VKTA";
constexpr char formatVersion = 2;
constexpr int depthLimit = 64;
constexpr std::size_t checksumLength = 4;

// The remainders of all bytes for the reversed polynomial of CRC-32.
constexpr auto checksumTable = [] {
    std::array<std::uint32_t, 256> table{};
    for (std::uint32_t byte = 0; byte < table.size(); ++byte) {
        std::uint32_t remainder = byte;
        for (int bit = 0; bit < 8; ++bit)
            remainder = (remainder >> 1U) ^ ((remainder & 1U) != 0 ? 0xEDB88320U : 0U);
        table.at(byte) = remainder;
    }
    return table;
}();

// One byte before each value.
enum Tag : char {
    TagNull = 'n',
    TagFalse = 'f',
    TagTrue = 't',
    TagInteger = 'i',
    TagUnsignedInteger = 'u',  // above the greatest signed one
    TagDouble = 'd',
    TagString = 's',
    TagBytes = 'b',
    TagDate = 'D',
    TagArray = 'a',
    TagDictionary = 'o',
};

void appendUnsigned(std::string& out, std::uint64_t value, int bytes) {
    for (int i = 0; i < bytes; ++i)
        out.push_back(static_cast<char>((value >> (8 * i)) & 0xFFU));
}

void appendText(std::string& out, std::string_view text) {
    appendUnsigned(out, text.size(), 4);
    out.append(text);
}

void appendTagged(std::string& out, Tag tag, std::uint64_t value) {
    out.push_back(tag);
    appendUnsigned(out, value, 8);
}

void appendValue(std::string& out, const VKTValue& value);

void appendDictionary(std::string& out, const VKTDictionary& dictionary) {
    out.push_back(TagDictionary);
    appendUnsigned(out, dictionary.size(), 4);
    for (const auto& [key, value] : dictionary) {
        appendText(out, key);
        appendValue(out, value);
    }
}

// Recursion is over our own objects, whose nesting is fixed by their classes.
void appendValue(std::string& out, const VKTValue& value) {
    if (const auto* boolean = value.asBool()) {
        out.push_back(*boolean ? TagTrue : TagFalse);
    } else if (const auto* integer = value.asInteger()) {
        appendTagged(out, TagInteger, static_cast<std::uint64_t>(*integer));
    } else if (const auto* unsignedInteger = value.asUnsignedInteger()) {
        appendTagged(out, TagUnsignedInteger, *unsignedInteger);
    } else if (const auto* number = value.asDouble()) {
        appendTagged(out, TagDouble, std::bit_cast<std::uint64_t>(*number));
    } else if (const auto* text = value.asString()) {
        out.push_back(TagString);
        appendText(out, *text);
    } else if (const auto* bytes = value.asBytes()) {
        out.push_back(TagBytes);
        appendText(out, bytes->bytes);
    } else if (const auto* date = value.asDate()) {
        appendTagged(out, TagDate, static_cast<std::uint64_t>(date->time_since_epoch().count()));
    } else if (const auto* array = value.asArray()) {
        out.push_back(TagArray);
        appendUnsigned(out, array->size(), 4);
        for (const VKTValue& element : *array)
            appendValue(out, element);
    } else if (const auto* dictionary = value.asDictionary()) {
        appendDictionary(out, *dictionary);
    } else {
        out.push_back(TagNull);
    }
}

class Reader {
  public:
    explicit Reader(std::string_view data) : rest_(data) {}

    [[nodiscard]] bool atEnd() const { return rest_.empty(); }

    std::optional<std::string_view> take(std::size_t count) {
        if (rest_.size() < count) return std::nullopt;
        const std::string_view taken = rest_.substr(0, count);
        rest_.remove_prefix(count);
        return taken;
    }

    std::optional<std::uint64_t> takeUnsigned(std::size_t bytes) {
        const auto taken = take(bytes);
        if (!taken) return std::nullopt;
        std::uint64_t value = 0;
        for (std::size_t i = bytes; i-- > 0;) {
            value = (value << 8U) | static_cast<unsigned char>((*taken)[i]);
        }
        return value;
    }

    std::optional<std::string_view> takeText() {
        const auto length = takeUnsigned(4);
        return length ? take(static_cast<std::size_t>(*length)) : std::nullopt;
    }

    // Recursion is bounded by `depthLimit`.
    std::optional<VKTValue> takeValue(int depth) {
        const auto tag = take(1);
        if (!tag || depth > depthLimit) return std::nullopt;
        switch ((*tag)[0]) {
            case TagNull:
                return VKTValue();
            case TagFalse:
                return VKTValue(false);
            case TagTrue:
                return VKTValue(true);
            case TagInteger:
            case TagUnsignedInteger:
            case TagDouble:
            case TagDate:
                return takeFixed((*tag)[0]);
            case TagString:
            case TagBytes: {
                const auto text = takeText();
                if (!text) return std::nullopt;
                if ((*tag)[0] == TagString) return VKTValue(*text);
                return VKTValue(VKTBytes{std::string(*text)});
            }
            case TagArray:
                return takeArray(depth);
            case TagDictionary:
                return takeDictionary(depth);
            default:
                return std::nullopt;
        }
    }

  private:
    std::optional<VKTValue> takeFixed(char tag) {
        const auto bits = takeUnsigned(8);
        if (!bits) return std::nullopt;
        if (tag == TagDouble) return VKTValue(std::bit_cast<double>(*bits));
        if (tag == TagUnsignedInteger) return VKTValue(*bits);
        const auto integer = static_cast<std::int64_t>(*bits);
        if (tag == TagDate) return VKTValue(VKTDate(std::chrono::microseconds(integer)));
        return VKTValue(integer);
    }

    std::optional<VKTValue> takeArray(int depth) {
        const auto count = takeUnsigned(4);
        if (!count) return std::nullopt;
        VKTArray array;
        for (std::uint64_t i = 0; i < *count; ++i) {
            auto element = takeValue(depth + 1);
            if (!element) return std::nullopt;
            array.push_back(std::move(*element));
        }
        return VKTValue(std::move(array));
    }

    std::optional<VKTValue> takeDictionary(int depth) {
        const auto count = takeUnsigned(4);
        if (!count) return std::nullopt;
        VKTDictionary dictionary;
        for (std::uint64_t i = 0; i < *count; ++i) {
            const auto key = takeText();
            if (!key) return std::nullopt;
            auto value = takeValue(depth + 1);
            if (!value) return std::nullopt;
            dictionary.set(*key, std::move(*value));
        }
        return VKTValue(std::move(dictionary));
    }

    std::string_view rest_;
};

}  // namespace

void VKTKeyedArchiver::encodeString(std::string_view key, const std::optional<std::string>& value) {
    if (value) values_.set(key, *value);
}

void VKTKeyedArchiver::encodeURL(std::string_view key, const std::optional<VKTURL>& value) {
    if (value) values_.set(key, value->absoluteString());
}

void VKTKeyedArchiver::encodeNumber(std::string_view key, const std::optional<VKTNumber>& value) {
    if (value) values_.set(key, *value);
}

void VKTKeyedArchiver::encodeBool(std::string_view key, bool value) {
    values_.set(key, value);
}

void VKTKeyedArchiver::encodeDate(std::string_view key, VKTDate value) {
    values_.set(key, value);
}

std::optional<std::string> VKTKeyedUnarchiver::decodeString(std::string_view key) const {
    const VKTValue* value = values_.find(key);
    const std::string* text = value == nullptr ? nullptr : value->asString();
    return text == nullptr ? std::nullopt : std::optional<std::string>(*text);
}

std::optional<VKTURL> VKTKeyedUnarchiver::decodeURL(std::string_view key) const {
    const auto text = decodeString(key);
    return text ? VKTURL::URLWithString(*text) : std::nullopt;
}

std::optional<VKTNumber> VKTKeyedUnarchiver::decodeNumber(std::string_view key) const {
    const VKTValue* value = values_.find(key);
    return value == nullptr ? std::nullopt : value->asNumber();
}

bool VKTKeyedUnarchiver::decodeBool(std::string_view key) const {
    const VKTValue* value = values_.find(key);
    const bool* boolean = value == nullptr ? nullptr : value->asBool();
    return boolean != nullptr && *boolean;
}

std::optional<VKTDate> VKTKeyedUnarchiver::decodeDate(std::string_view key) const {
    const VKTValue* value = values_.find(key);
    const VKTDate* date = value == nullptr ? nullptr : value->asDate();
    return date == nullptr ? std::nullopt : std::optional<VKTDate>(*date);
}

std::uint32_t vkt_archiveChecksum(std::string_view bytes) {
    std::uint32_t checksum = ~0U;
    for (const char byte : bytes)
        checksum = (checksum >> 8U) ^ checksumTable.at((checksum ^ static_cast<unsigned char>(byte)) & 0xFFU);
    return ~checksum;
}

std::string vkt_archiveData(std::string_view className, const VKTDictionary& values) {
    std::string out(magic);
    out.push_back(formatVersion);
    appendText(out, className);
    appendDictionary(out, values);
    appendUnsigned(out, vkt_archiveChecksum(out), checksumLength);
    return out;
}

std::optional<VKTDictionary> vkt_unarchivedValues(std::string_view data, std::string_view className) {
    if (data.size() < checksumLength) return std::nullopt;
    const std::string_view content = data.substr(0, data.size() - checksumLength);
    if (Reader(data.substr(content.size())).takeUnsigned(checksumLength) != vkt_archiveChecksum(content))
        return std::nullopt;
    Reader reader(content);
    if (reader.take(magic.size()) != magic || reader.take(1) != std::string_view(&formatVersion, 1) ||
        reader.takeText() != className) {
        return std::nullopt;
    }
    auto root = reader.takeValue(0);
    if (!root || root->asDictionary() == nullptr || !reader.atEnd()) return std::nullopt;
    return std::move(*root->asDictionary());
}
