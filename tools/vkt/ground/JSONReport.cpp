#include "ground/JSONReport.h"

#include "VKTCoreKit/platform/VKTServices.h"

namespace {

std::string lineBreak(std::size_t depth) {
    return "\n" + std::string(2 * depth, ' ');
}

}  // namespace

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

// Calls itself only for the report's own levels, of which there are few.
bool JSONReport::write(const Append& append, std::size_t depth) const {
    if (kind_ == Kind::Value) return writeValue(append, depth);
    append(kind_ == Kind::List ? "[" : "{");
    for (std::size_t index = 0; index < size(); ++index) {
        append((index == 0 ? "" : ",") + lineBreak(depth + 1));
        if (!writeElement(index, append, depth + 1)) return false;
    }
    if (size() > 0) append(lineBreak(depth));
    append(kind_ == Kind::List ? "]" : "}");
    return true;
}

bool JSONReport::writeElement(std::size_t index, const Append& append, std::size_t depth) const {
    if (kind_ == Kind::List) return make_(index).write(append, depth);
    const auto& [name, value] = members_[index];
    const auto nameText = vkt_JSONStringWithValue(name);
    if (!nameText) return false;
    append(*nameText + ": ");
    return value.write(append, depth);
}

bool JSONReport::writeValue(const Append& append, std::size_t depth) const {
    const auto text = vkt_prettyJSONStringWithValue(value_);
    if (!text) return false;
    std::string_view rest = *text;
    while (depth > 0) {
        const std::size_t end = rest.find('\n');
        if (end == std::string_view::npos) break;
        append(rest.substr(0, end));
        append(lineBreak(depth));
        rest.remove_prefix(end + 1);
    }
    append(rest);
    return true;
}
