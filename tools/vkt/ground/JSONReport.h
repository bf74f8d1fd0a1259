// A JSON report that is made while it is written. What its lists hold may be many times as large as the model
// it tells of, which shares texts; so no list is ever built as a whole.
#pragma once

#include <concepts>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "VKTCoreKit/foundation/VKTValue.h"

enum class JSONStyle {
    Indented,  ///< by two blanks a level, for people to read
    OneLine,   ///< without blanks and line feeds
};

/// A value, an object with named members in order, or a list whose elements are made one by one. A list
/// refers to the objects it tells of, which must outlive it. One thread.
class JSONReport {
  public:
    using Member = std::pair<std::string, JSONReport>;
    using Maker = std::function<JSONReport(std::size_t index)>;

    template <std::convertible_to<VKTValue> Value>
    JSONReport(Value value) : value_(std::move(value)) {}

    static JSONReport object(std::vector<Member> members);
    static JSONReport list(std::size_t count, Maker make);

    /// A list with what `report` makes of each element of a vector.
    template <typename Element, typename ReportOf>
    static JSONReport listOf(const std::vector<Element>& elements, ReportOf report) {
        return list(elements.size(),
                    [&elements, report](std::size_t index) { return JSONReport(report(elements[index])); });
    }

    template <typename Element, typename ReportOf>
    static JSONReport listOf(const std::vector<Element>&& elements, ReportOf report) = delete;

    /// Appends a member to an object.
    void add(std::string name, JSONReport value);

    /// Appends the members of another object.
    void addMembersOf(JSONReport object);

    /// Appends the report as JSON, in pieces. Beside what JSON asks for, the control characters that it lets
    /// through and a terminal obeys are escaped: DEL and C1. False for what cannot be written: it nests too
    /// deep or holds text that is not UTF-8.
    bool write(const std::function<void(std::string_view piece)>& append,
               JSONStyle style = JSONStyle::Indented) const;

  private:
    enum class Kind { Value, Object, List };
    class Writer;

    [[nodiscard]] std::size_t size() const { return kind_ == Kind::List ? count_ : members_.size(); }

    Kind kind_ = Kind::Value;
    VKTValue value_;
    std::vector<Member> members_;
    std::size_t count_ = 0;
    Maker make_;
};
