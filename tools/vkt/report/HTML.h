// HTML that is made of texts from outside.
#pragma once

#include <concepts>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>

/// A piece of HTML. Whatever text becomes a part of it is escaped, and made safe as any line: there is no way
/// to add markup but by the names of elements and attributes, which are the program's own. A value.
///
/// ```cpp
/// HTML::element("p", {{"class", "bad"}}, "It cannot be played: ", ad.problem).markup()
/// ```
class HTML {
  public:
    /// A name and its value; an attribute without a value has an empty one.
    using Attributes = std::initializer_list<std::pair<const char*, std::string>>;

    HTML() = default;
    template <std::convertible_to<std::string_view> Text>
    HTML(const Text& text) : markup_(escaped(text)) {}

    template <typename... Parts>
    static HTML element(const char* name, Attributes attributes, const Parts&... parts) {
        HTML html = openingTag(name, attributes);
        ((html += HTML(parts)), ...);
        html.markup_.append("</").append(name).append(">");
        return html;
    }
    template <typename... Parts>
    static HTML element(const char* name, const Parts&... parts) {
        return element(name, Attributes(), parts...);
    }

    /// One that never has content: img, br.
    static HTML openingTag(const char* name, Attributes attributes);

    HTML& operator+=(const HTML& other) {
        markup_ += other.markup_;
        return *this;
    }
    friend HTML operator+(HTML left, const HTML& right) { return left += right; }

    [[nodiscard]] bool empty() const { return markup_.empty(); }
    [[nodiscard]] const std::string& markup() const { return markup_; }

  private:
    static std::string escaped(std::string_view text);

    std::string markup_;
};
