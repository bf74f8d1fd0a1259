#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/platform/VKTServices.h"

namespace {

using Json = nlohmann::json;

constexpr const char* errorDomain = "NSCocoaErrorDomain";
constexpr std::int64_t corruptDataErrorCode = 3840;

// Builds the value while the text is read. The open containers are a chain of last elements, so their
// addresses hold until they are closed.
class ValueBuilder final : public nlohmann::json_sax<Json> {
  public:
    bool null() override { return add(VKTValue()); }
    bool boolean(bool value) override { return add(VKTValue(value)); }
    bool number_integer(number_integer_t value) override { return add(VKTValue(std::int64_t{value})); }
    bool number_unsigned(number_unsigned_t value) override { return add(VKTValue(std::uint64_t{value})); }
    bool number_float(number_float_t value, const string_t& /*text*/) override {
        return add(VKTValue(value));
    }
    bool string(string_t& text) override { return add(VKTValue(std::move(text))); }
    bool binary(binary_t& /*bytes*/) override { return fail("binary value"); }
    bool start_object(std::size_t /*count*/) override { return open(VKTValue(VKTDictionary())); }
    bool key(string_t& name) override {
        key_ = std::move(name);
        return true;
    }
    bool end_object() override { return close(); }
    bool start_array(std::size_t /*count*/) override { return open(VKTValue(VKTArray())); }
    bool end_array() override { return close(); }
    bool parse_error(std::size_t /*position*/, const std::string& /*token*/,
                     const nlohmann::detail::exception& error) override {
        // Drops the "[json.exception…] " in front.
        const std::string_view text = error.what();
        const std::size_t tagEnd = text.find("] ");
        return fail(std::string(tagEnd == std::string_view::npos ? text : text.substr(tagEnd + 2)));
    }

    VKTValue& root() { return root_; }
    [[nodiscard]] const std::string& reason() const { return reason_; }

  private:
    VKTValue& place(VKTValue value) {
        if (open_.empty()) return root_ = std::move(value);
        if (VKTArray* array = open_.back()->asArray()) return array->emplace_back(std::move(value));
        return open_.back()->asDictionary()->set(key_, std::move(value));
    }

    bool add(VKTValue value) {
        place(std::move(value));
        return true;
    }

    bool open(VKTValue container) {
        if (open_.size() == VKTJSONDepthLimit) return fail("nested too deep");
        open_.push_back(&place(std::move(container)));
        return true;
    }

    bool close() {
        open_.pop_back();
        return true;
    }

    bool fail(std::string reason) {
        reason_ = std::move(reason);
        return false;
    }

    VKTValue root_;
    std::vector<VKTValue*> open_;
    std::string key_;
    std::string reason_;
};

// Writes without recursion: each open container knows what is left of it.
class Writer {
  public:
    explicit Writer(bool isPretty) : isPretty_(isPretty) {}

    std::optional<std::string> write(const VKTValue& root) {
        if (!writeValue(root)) return std::nullopt;
        while (!open_.empty()) {
            if (!writeNext()) return std::nullopt;
        }
        return std::move(out_);
    }

  private:
    struct Container {
        const VKTArray* array;
        const VKTDictionary* dictionary;
        std::size_t next = 0;

        [[nodiscard]] std::size_t size() const {
            return array != nullptr ? array->size() : dictionary->size();
        }
    };

    bool writeNext() {
        Container& container = open_.back();
        if (container.next == container.size()) {
            const char end = container.array != nullptr ? ']' : '}';
            const bool isEmpty = container.size() == 0;
            open_.pop_back();
            if (!isEmpty) breakLine();
            out_ += end;
            return true;
        }
        if (container.next > 0) out_ += ',';
        breakLine();
        const std::size_t index = container.next++;
        if (container.array != nullptr) return writeValue((*container.array)[index]);
        const VKTDictionary::Entry& entry = container.dictionary->begin()[index];
        if (!writeString(entry.key)) return false;
        out_ += isPretty_ ? ": " : ":";
        return writeValue(entry.value);
    }

    bool writeValue(const VKTValue& value) {
        if (value.asArray() != nullptr || value.asDictionary() != nullptr) {
            if (open_.size() == VKTJSONDepthLimit) return false;
            open_.push_back({value.asArray(), value.asDictionary()});
            out_ += value.asArray() != nullptr ? '[' : '{';
            return true;
        }
        if (const std::string* text = value.asString()) return writeString(*text);
        if (const double* number = value.asDouble()) {
            if (!std::isfinite(*number)) return false;
            out_ += vkt_numberDescription(*number);
            return true;
        }
        if (const std::int64_t* number = value.asInteger()) {
            out_ += std::to_string(*number);
        } else if (const std::uint64_t* unsignedNumber = value.asUnsignedInteger()) {
            out_ += std::to_string(*unsignedNumber);
        } else if (const bool* flag = value.asBool()) {
            out_ += *flag ? "true" : "false";
        } else if (value.isNull()) {
            out_ += "null";
        } else {
            return false;
        }
        return true;
    }

    bool writeString(const std::string& text) {
        if (std::all_of(text.begin(), text.end(), standsForItself)) {
            out_.append("\"").append(text).append("\"");
            return true;
        }
        if (!vkt_isValidUTF8(text)) return false;
        out_ += Json(text).dump();
        return true;
    }

    // Most texts are of nothing else.
    static bool standsForItself(char c) { return c >= ' ' && c <= '~' && c != '"' && c != '\\'; }

    void breakLine() {
        if (!isPretty_) return;
        out_ += '\n';
        out_.append(open_.size() * 2, ' ');
    }

    bool isPretty_;
    std::string out_;
    std::vector<Container> open_;
};

}  // namespace

std::optional<VKTValue> vkt_JSONValueWithData(std::string_view data, std::optional<VKTError>* error) {
    ValueBuilder builder;
    std::string reason = "NUL byte in the text";
    // The parser would take a NUL for the end of the text.
    if (data.find('\0') == std::string_view::npos) {
        if (Json::sax_parse(data.begin(), data.end(), &builder)) return std::move(builder.root());
        reason = builder.reason();
    }
    if (error != nullptr) {
        *error = VKTError(errorDomain, corruptDataErrorCode, {{VKTLocalizedDescriptionKey, reason}});
    }
    return std::nullopt;
}

std::optional<std::string> vkt_JSONStringWithValue(const VKTValue& value) {
    return Writer(false).write(value);
}

std::optional<std::string> vkt_prettyJSONStringWithValue(const VKTValue& value) {
    return Writer(true).write(value);
}
