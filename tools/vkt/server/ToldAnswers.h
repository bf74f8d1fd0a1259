// How the demo server misbehaves when it is told to.
#pragma once

#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// How the hits of a path are answered.
struct ToldAnswer {
    std::string path;          ///< a prefix when it ends in "*"
    std::string answer;        ///< a name of `names`, or an HTTP status of failure
    std::optional<int> times;  ///< the first so many hits; all of them when there is none

    /// Nothing unless the path begins with "/", the answer is known and `times` is empty or a number above 0.
    static std::optional<ToldAnswer> initWithTexts(std::string path, std::string answer,
                                                   std::string_view times);
    /// "PATH=ANSWER" or "PATH=ANSWER:TIMES".
    static std::optional<ToldAnswer> initWithText(std::string_view text);

    /// What can be told, for people.
    static constexpr const char* names =
        "a status from 400 to 599, hang, stall, close, redirect-loop, huge, normal";
};

/// Any thread.
class ToldAnswers {
  public:
    /// Goes before what was told of the same hits earlier.
    void tell(ToldAnswer told);

    /// How to answer one hit of the path, which is counted; "normal" when nothing was told of it.
    std::string answerToHit(std::string_view path);

  private:
    std::mutex mutex_;
    std::vector<ToldAnswer> told_;
};
