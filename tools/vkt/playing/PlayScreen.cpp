#include "playing/PlayScreen.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <iomanip>
#include <sstream>
#include <string_view>

#include "ground/Output.h"

namespace {

constexpr std::string_view eraseLine = "\r\x1b[K";

// The shell's prompt must not stand behind the bar.
void eraseBarAndEnd(int signal) {
    [[maybe_unused]] const ssize_t count = write(STDOUT_FILENO, eraseLine.data(), eraseLine.size());
    std::signal(signal, SIG_DFL);
    raise(signal);
}

bool canMoveCursor() {
    const char* terminal = std::getenv("TERM");
    const bool isPlain = terminal == nullptr || std::string_view(terminal) == "dumb";
    return isatty(STDOUT_FILENO) == 1 && !isPlain;
}

std::size_t terminalWidth() {
    constexpr std::size_t usualWidth = 80;
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return usualWidth;
    return size.ws_col;
}

// "[=====|==>  |     |     ]" with marks at the quartiles.
std::string barOf(double share, std::size_t width) {
    const auto filled = static_cast<std::size_t>(std::floor(share * static_cast<double>(width)));
    std::string bar(width, ' ');
    std::fill_n(bar.begin(), filled, '=');
    if (filled > 0 && filled < width) bar[filled - 1] = '>';
    for (std::size_t quartile = 1; quartile <= 3; ++quartile)
        bar[width * quartile / 4] = '|';
    return "[" + bar + "]";
}

}  // namespace

PlayScreen::PlayScreen(bool isSilent) : isSilent_(isSilent), hasBar_(!isSilent && canMoveCursor()) {
    if (!hasBar_) return;
    std::signal(SIGINT, eraseBarAndEnd);
    std::signal(SIGTERM, eraseBarAndEnd);
}

void PlayScreen::line(const std::string& text) {
    if (isSilent_) return;
    erase();
    Output::standard().line(text);
    draw();
}

void PlayScreen::note(const std::string& text) {
    erase();
    Output::standard().flush();
    printError(text);
    draw();
}

void PlayScreen::showBar(double position, double duration) {
    if (!hasBar_) return;
    constexpr std::size_t leastWidth = 8;
    constexpr std::size_t mostWidth = 48;
    const std::string begin = textOfTime(position) + " ";
    const std::string end = " of" + textOfTime(duration);
    const std::size_t taken = begin.size() + end.size() + 3;  // brackets, and the last column stays free
    const std::size_t columns = terminalWidth();
    if (columns < taken + leastWidth) return hideBar();
    bar_ = begin + barOf(position / duration, std::min(columns - taken, mostWidth)) + end;
    Output::standard().bytes("\r");
    draw();
}

void PlayScreen::showText(const std::string& text) {
    if (!hasBar_) return;
    erase();
    bar_ = text.substr(0, terminalWidth() - 1);
    draw();
}

void PlayScreen::hideBar() {
    erase();
    Output::standard().flush();
    bar_.clear();
}

void PlayScreen::erase() const {
    if (!bar_.empty()) Output::standard().bytes(eraseLine);
}

void PlayScreen::draw() const {
    Output::standard().bytes(bar_);
    Output::standard().flush();
}

std::string textOfTime(double seconds) {
    std::ostringstream text;
    text << std::fixed << std::setprecision(2) << std::setw(8) << seconds << " s";
    return text.str();
}
