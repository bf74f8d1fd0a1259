// What vkt play and vkt watch show while they run.
#pragma once

#include <cstddef>
#include <string>

/// Writes lines to the standard output and notes to the standard error. On a terminal a progress bar stands
/// below the lines and is redrawn in place; elsewhere there is none, and no control character is written.
/// SIGINT and SIGTERM erase it before they end the process. One thread; one at a time.
class PlayScreen {
  public:
    /// A silent screen writes notes only.
    explicit PlayScreen(bool isSilent);
    ~PlayScreen() { hideBar(); }
    PlayScreen(const PlayScreen&) = delete;
    PlayScreen& operator=(const PlayScreen&) = delete;

    /// `text` without its line feed, made safe as any line.
    void line(const std::string& text);

    /// One line on the standard error.
    void note(const std::string& text);

    /// Draws the bar: seconds played of seconds in all.
    void showBar(double position, double duration);
    void hideBar();

    /// Draws a text in the place of the bar.
    void showText(const std::string& text);

    [[nodiscard]] bool hasBar() const { return hasBar_; }

  private:
    void erase() const;
    void draw() const;

    const bool isSilent_;
    const bool hasBar_;
    std::string bar_;  // as drawn; empty when there is none
};

/// "   3.50 s".
std::string textOfTime(double seconds);
