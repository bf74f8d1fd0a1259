// What several commands ask of the values of their options.
#pragma once

#include <CLI/CLI.hpp>
#include <charconv>
#include <functional>
#include <limits>
#include <optional>
#include <string>

/// SOURCE, which is required.
void addSource(CLI::App& command, std::string& source);

/// --json.
void addJSON(CLI::App& command, bool& isJSON, const std::string& description = "One JSON object");

/// --report.
void addReport(CLI::App& command, std::string& path);

/// A number from 0 to a million, a fraction included: seconds, or how many of them. What stands in `amount`
/// is the default.
void addAmount(CLI::App& command, const std::string& name, double& amount, const std::string& description);
void addAmount(CLI::App& command, const std::string& name, std::optional<double>& amount,
               const std::string& description);

/// An option that may be repeated, one value each time.
CLI::Option* addRepeated(CLI::App& command, const std::string& name, std::vector<std::string>& values,
                         const std::string& description);

/// Each of these tells what is wrong with a value, in one sentence, or nothing when it is right.
std::string assignmentProblem(const std::string& text);  ///< NAME=VALUE
std::string rangeProblem(const std::string& kind, const std::string& range, const std::string& text);

/// The whole text as a number; nothing for anything else.
template <typename Number>
std::optional<Number> numberOf(const std::string& text) {
    Number number{};
    const auto* end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && rest == end ? std::optional(number) : std::nullopt;
}

/// A whole number in decimal digits. It is handed on without leading zeros, which would make it octal.
template <typename Integer>
CLI::Validator integerWithin(Integer least, Integer most) {
    const std::string range = "from " + std::to_string(least) + " to " + std::to_string(most);
    const std::function<std::string(std::string&)> check = [least, most, range](std::string& text) {
        const auto number = numberOf<Integer>(text);
        if (!number || *number < least || *number > most) return rangeProblem("A whole number", range, text);
        text = std::to_string(*number);
        return std::string();
    };
    return {check, ""};
}

/// The same up to the greatest number of the type.
template <typename Integer>
CLI::Validator integerFrom(Integer least) {
    return integerWithin(least, std::numeric_limits<Integer>::max());
}
