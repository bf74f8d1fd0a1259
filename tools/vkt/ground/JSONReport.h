// A JSON report that is made while it is written. What its lists hold may be many times as large as the model
// it tells of, which shares texts; so no list is ever built as a whole.
#pragma once

#include <concepts>
#include <cstddef>
#include <functional>
#include <initializer_list>
#include <string_view>
#include <utility>
#include <variant>
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
    /// A name, which must outlive the report as a literal does and stands in JSON as it is, and its value.
    struct Member;
    using Maker = std::function<JSONReport(std::size_t index)>;

    template <std::convertible_to<VKTValue> Value>
    JSONReport(Value value) : content_(VKTValue(std::move(value))) {}

    static JSONReport object(std::initializer_list<Member> members);
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
    void add(const char* name, JSONReport value);

    /// Appends the members of another object.
    void addMembersOf(JSONReport object);

    /// Appends the report as JSON, in pieces. Beside what JSON asks for, the control characters that it lets
    /// through and a terminal obeys are escaped: DEL and C1. False for what cannot be written: it nests too
    /// deep or holds text that is not UTF-8.
    bool write(const std::function<void(std::string_view piece)>& append,
               JSONStyle style = JSONStyle::Indented) const;

  private:
    class Writer;
    using Members = std::vector<Member>;
    struct List {
        std::size_t count;
        Maker make;
    };

    struct Object {};

    explicit JSONReport(Members members);
    explicit JSONReport(List list);

    std::variant<VKTValue, Object, List> content_;
    Members members_;  // of an object
};

// The members of a list of initialisers cannot be moved from, unless they say so: they would all be copied.
struct JSONReport::Member {
    const char* name;
    mutable JSONReport value;
};
