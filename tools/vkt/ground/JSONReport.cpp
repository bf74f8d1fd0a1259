#include "ground/JSONReport.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "VKTCoreKit/platform/VKTServices.h"

namespace {

// Bytes that are gathered before they are handed on.
constexpr std::size_t pieceSize = std::size_t{64} * 1024;

// Whether a text is its own JSON but for the quotation marks, as most are. All of it is looked at, which the
// processor does for many characters at once.
bool standsForItself(std::string_view text) {
    unsigned char others = 0;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        others |= static_cast<unsigned char>((byte < ' ') | (byte > '~') | (byte == '"') | (byte == '\\'));
    }
    return others == 0;
}

// DEL, and the first byte of C1 and of others.
bool mayBeControl(char byte) {
    return byte == '\x7F' || byte == '\xC2';
}

// Appends JSON without DEL and C1, U+0080 to U+009F, which are two bytes in UTF-8. They stand in strings
// only.
void appendWithEscapedControls(std::string& text, std::string_view JSON) {
    constexpr std::string_view digits = "0123456789abcdef";
    for (std::size_t i = 0; i < JSON.size(); ++i) {
        const auto next =
            std::find_if(JSON.begin() + static_cast<std::ptrdiff_t>(i), JSON.end(), mayBeControl);
        text.append(JSON.begin() + static_cast<std::ptrdiff_t>(i), next);
        i = static_cast<std::size_t>(next - JSON.begin());
        if (i == JSON.size()) return;
        const bool isC1 = JSON[i] == '\xC2' && JSON.substr(i + 1, 1) < "\xA0";
        if (isC1) ++i;
        const auto byte = static_cast<unsigned char>(JSON[i]);
        if (isC1 || byte == 0x7F) {
            text.append("\\u00").append(1, digits[byte >> 4U]).append(1, digits[byte & 0xFU]);
        } else {
            text += JSON[i];
        }
    }
}

}  // namespace

class JSONReport::Writer {
  public:
    using Append = std::function<void(std::string_view piece)>;

    Writer(const Append& append, JSONStyle style)
        : append_(append), isOneLine_(style == JSONStyle::OneLine) {}

    bool writeWhole(const JSONReport& report) {
        if (!write(report, 0)) return false;
        append_(text_);
        return true;
    }

  private:
    // Calls itself only for the report's own levels, of which there are few.
    bool write(const JSONReport& report, std::size_t depth) {
        if (const auto* value = std::get_if<VKTValue>(&report.content_)) return writeValue(*value, depth);
        if (const auto* list = std::get_if<List>(&report.content_)) {
            return writeAll("[]", list->count, depth,
                            [&](std::size_t index) { return write(list->make(index), depth + 1); });
        }
        const Members& members = report.members_;
        return writeAll("{}", members.size(), depth, [&](std::size_t index) {
            text_.append(1, '"').append(members[index].name).append(isOneLine_ ? "\":" : "\": ");
            return write(members[index].value, depth + 1);
        });
    }

    template <typename WriteElement>
    bool writeAll(std::string_view brackets, std::size_t count, std::size_t depth,
                  WriteElement writeElement) {
        text_ += brackets.front();
        for (std::size_t index = 0; index < count; ++index) {
            if (index > 0) text_ += ',';
            breakLine(depth + 1);
            if (!writeElement(index)) return false;
            handOn();
        }
        if (count > 0) breakLine(depth);
        text_ += brackets.back();
        return true;
    }

    bool writeText(std::string_view text) {
        if (!standsForItself(text)) return writeAny(text, 0);
        text_.append(1, '"').append(text).append(1, '"');
        return true;
    }

    bool writeValue(const VKTValue& value, std::size_t depth) {
        if (value.isNull()) return text_.append("null"), true;
        const std::string* text = value.asString();
        return text == nullptr ? writeAny(value, depth) : writeText(*text);
    }

    bool writeAny(const VKTValue& value, std::size_t depth) {
        const auto text = isOneLine_ ? vkt_JSONStringWithValue(value) : vkt_prettyJSONStringWithValue(value);
        if (!text) return false;
        if (value.asNumber()) return text_.append(*text), true;
        std::string_view rest = *text;
        while (depth > 0) {
            const std::size_t end = rest.find('\n');
            if (end == std::string_view::npos) break;
            appendWithEscapedControls(text_, rest.substr(0, end));
            breakLine(depth);
            rest.remove_prefix(end + 1);
        }
        appendWithEscapedControls(text_, rest);
        return true;
    }

    void breakLine(std::size_t depth) {
        if (!isOneLine_) text_.append(1, '\n').append(2 * depth, ' ');
    }

    void handOn() {
        if (text_.size() < pieceSize) return;
        append_(text_);
        text_.clear();
    }

    const Append& append_;
    const bool isOneLine_;
    std::string text_;
};

JSONReport::JSONReport(Members members) : content_(Object()), members_(std::move(members)) {}

JSONReport::JSONReport(List list) : content_(std::move(list)) {}

JSONReport JSONReport::object(std::initializer_list<Member> members) {
    Members own;
    own.reserve(members.size());
    for (const Member& member : members)
        own.push_back({member.name, std::move(member.value)});
    return JSONReport(std::move(own));
}

JSONReport JSONReport::list(std::size_t count, Maker make) {
    return JSONReport(List{count, std::move(make)});
}

void JSONReport::add(const char* name, JSONReport value) {
    members_.push_back({name, std::move(value)});
}

void JSONReport::addMembersOf(JSONReport object) {
    for (Member& member : object.members_)
        members_.push_back(std::move(member));
}

bool JSONReport::write(const Writer::Append& append, JSONStyle style) const {
    return Writer(append, style).writeWhole(*this);
}
