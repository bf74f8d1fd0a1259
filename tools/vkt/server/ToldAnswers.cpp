#include "server/ToldAnswers.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace {

std::optional<int> numberOf(std::string_view text) {
    int number = 0;
    const auto* end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || rest != end) return std::nullopt;
    return number;
}

bool isAnswer(std::string_view text) {
    constexpr std::array<std::string_view, 6> words{"hang",          "stall", "close",
                                                    "redirect-loop", "huge",  "normal"};
    if (std::find(words.begin(), words.end(), text) != words.end()) return true;
    const auto status = numberOf(text);
    return status && *status >= 400 && *status <= 599;
}

bool matches(std::string_view path, std::string_view pattern) {
    if (pattern.ends_with('*')) return path.starts_with(pattern.substr(0, pattern.size() - 1));
    return path == pattern;
}

}  // namespace

std::optional<ToldAnswer> ToldAnswer::initWithTexts(std::string path, std::string answer,
                                                    std::string_view times) {
    if (!path.starts_with('/') || !isAnswer(answer)) return std::nullopt;
    ToldAnswer told{std::move(path), std::move(answer), numberOf(times)};
    const bool isNumber = told.times && *told.times > 0;
    if (!times.empty() && !isNumber) return std::nullopt;
    return told;
}

std::optional<ToldAnswer> ToldAnswer::initWithText(std::string_view text) {
    const std::size_t equals = text.rfind('=');
    if (equals == std::string_view::npos) return std::nullopt;
    const std::string_view answer = text.substr(equals + 1);
    const std::size_t colon = answer.find(':');
    const bool hasTimes = colon != std::string_view::npos;
    return initWithTexts(std::string(text.substr(0, equals)), std::string(answer.substr(0, colon)),
                         hasTimes ? answer.substr(colon + 1) : "");
}

void ToldAnswers::tell(ToldAnswer told) {
    const std::lock_guard lock(mutex_);
    std::erase_if(told_, [&](const ToldAnswer& each) { return each.path == told.path; });
    told_.insert(told_.begin(), std::move(told));
}

std::string ToldAnswers::answerToHit(std::string_view path) {
    const std::lock_guard lock(mutex_);
    const auto told = std::find_if(told_.begin(), told_.end(),
                                   [&](const ToldAnswer& each) { return matches(path, each.path); });
    if (told == told_.end()) return "normal";
    std::string answer = told->answer;
    if (told->times && --*told->times == 0) told_.erase(told);
    return answer;
}
