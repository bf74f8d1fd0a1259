#include "ground/JSONReport.h"

#include <algorithm>
#include <iterator>

#include "VKTCoreKit/platform/VKTServices.h"

namespace {

// Bytes that are gathered before they are handed on.
constexpr std::size_t pieceSize = std::size_t{64} * 1024;

// Whether a text is its own JSON but for the quotation marks, as most are.
bool standsForItself(std::string_view text) {
    return std::all_of(text.begin(), text.end(),
                       [](char c) { return c >= ' ' && c <= '~' && c != '"' && c != '\\'; });
}

// Appends JSON without DEL and C1, U+0080 to U+009F, which are two bytes in UTF-8. They stand in strings
// only.
void appendWithEscapedControls(std::string& text, std::string_view JSON) {
    constexpr std::string_view digits = "0123456789abcdef";
    for (std::size_t i = 0; i < JSON.size(); ++i) {
        const bool isC1 = JSON.substr(i, 1) == "\xC2" && JSON.substr(i + 1, 1) < "\xA0";
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

    Writer(const Append& append, JSONStyle style) : append_(append), isOneLine_(style == JSONStyle::OneLine) {}

    bool writeAll(const JSONReport& report) {
        if (!write(report, 0)) return false;
        append_(text_);
        return true;
    }

  private:
    // Calls itself only for the report's own levels, of which there are few.
    bool write(const JSONReport& report, std::size_t depth) {
        if (report.kind_ == Kind::Value) return writeValue(report.value_, depth);
        const bool isList = report.kind_ == Kind::List;
        text_ += isList ? '[' : '{';
        for (std::size_t index = 0; index < report.size(); ++index) {
            if (index > 0) text_ += ',';
            breakLine(depth + 1);
            if (!(isList ? write(report.make_(index), depth + 1)
                         : writeMember(report.members_[index], depth + 1)))
                return false;
            handOn();
        }
        if (report.size() > 0) breakLine(depth);
        text_ += isList ? ']' : '}';
        return true;
    }

    bool writeMember(const Member& member, std::size_t depth) {
        if (!writeText(member.first)) return false;
        text_ += isOneLine_ ? ":" : ": ";
        return write(member.second, depth);
    }

    bool writeText(const std::string& text) {
        if (!standsForItself(text)) return writeAny(text, 0);
        text_.append(1, '"').append(text).append(1, '"');
        return true;
    }

    bool writeValue(const VKTValue& value, std::size_t depth) {
        const std::string* text = value.asString();
        return text == nullptr ? writeAny(value, depth) : writeText(*text);
    }

    bool writeAny(const VKTValue& value, std::size_t depth) {
        const auto text = isOneLine_ ? vkt_JSONStringWithValue(value) : vkt_prettyJSONStringWithValue(value);
        if (!text) return false;
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

JSONReport JSONReport::object(std::vector<Member> members) {
    JSONReport report{VKTValue()};
    report.kind_ = Kind::Object;
    report.members_ = std::move(members);
    return report;
}

JSONReport JSONReport::list(std::size_t count, Maker make) {
    JSONReport report{VKTValue()};
    report.kind_ = Kind::List;
    report.count_ = count;
    report.make_ = std::move(make);
    return report;
}

void JSONReport::add(std::string name, JSONReport value) {
    members_.emplace_back(std::move(name), std::move(value));
}

void JSONReport::addMembersOf(JSONReport object) {
    std::move(object.members_.begin(), object.members_.end(), std::back_inserter(members_));
}

bool JSONReport::write(const Writer::Append& append, JSONStyle style) const {
    return Writer(append, style).writeAll(*this);
}
