#include "commands/LinePipeline.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <deque>
#include <memory>
#include <new>
#include <string_view>
#include <utility>
#include <vector>

#include "VKTCoreKit/foundation/VKTThreadAnnotations.h"
#include "VKTCoreKit/platform/VKTPlatform.h"
#include "commands/LineInspection.h"

namespace {

// Lines that are under way or wait for one before them, for each worker; and bytes of all of them, and of
// their results. One line may have more, and is then alone.
constexpr std::size_t linesForEachJob = 64;
constexpr std::size_t waitingSizeLimit = std::size_t{64} * 1024 * 1024;

// Who waits for something else looks so often whether the output is still wanted.
constexpr std::chrono::milliseconds lookAgain{200};

constexpr const char* notEnoughMemory = "there is not enough memory for it";

struct Line {
    std::size_t number;   // from 1
    std::string text;     // without its line feed
    std::string problem;  // why it could not be kept; empty when it could
};

// The lines of a descriptor. One thread.
class LineReader {
  public:
    LineReader(int input, Output& output) : input_(input), output_(output) {}

    /// Nothing at the end, after a problem, and when the output has failed.
    std::optional<Line> next() {
        Line line{number_ + 1, {}, {}};
        bool isBegun = false;
        while (!rest_.empty() || fill()) {
            isBegun = true;
            const std::size_t end = rest_.find('\n');
            const std::string_view piece = rest_.substr(0, end);
            append(piece, line);
            rest_.remove_prefix(std::min(piece.size() + 1, rest_.size()));
            if (end != std::string_view::npos) break;
        }
        if (!isBegun || problem_) return std::nullopt;
        ++number_;
        return line;
    }

    [[nodiscard]] const std::optional<std::string>& problem() const { return problem_; }

  private:
    static void append(std::string_view piece, Line& line) {
        if (!line.problem.empty()) return;
        try {
            if (line.text.size() + piece.size() <= InspectedLineLimit) {
                line.text.append(piece);
                return;
            }
            line.problem = "it is longer than 128 MiB";
        } catch (const std::bad_alloc&) {
            line.problem = notEnoughMemory;
        }
        std::string().swap(line.text);
    }

    bool fill() {
        pollfd file{input_, POLLIN, 0};
        ssize_t count = -1;
        do {
            if (output_.hasFailed()) return false;
            count =
                poll(&file, 1, lookAgain.count()) == 0 ? -1 : read(input_, buffer_.data(), buffer_.size());
        } while (count < 0 && (file.revents == 0 || errno == EINTR || errno == EAGAIN));
        if (count < 0) problem_ = std::strerror(errno);
        rest_ = std::string_view(buffer_.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
        return count > 0;
    }

    const int input_;
    Output& output_;
    std::size_t number_ = 0;
    std::vector<char> buffer_ = std::vector<char>(std::size_t{256} * 1024);
    std::string_view rest_;  // of the buffer
    std::optional<std::string> problem_;
};

// The lines between the reader and the output, in order. Any thread.
class LineWindow {
  public:
    LineWindow(Output& output, std::size_t lines) : output_(output), limit_(lines) {}

    /// Ends the downloads when the output has failed.
    [[nodiscard]] const std::shared_ptr<VKTHTTPCanceller>& canceller() const { return canceller_; }

    /// The reader's, of each line: waits for room. False when the output has failed.
    bool enter(const Line& line) {
        const VKTLock lock(mutex_);
        while (!isOver_ && !results_.empty() &&
               (results_.size() >= limit_ || size_ + line.text.size() > waitingSizeLimit))
            waitAndLook();
        if (isOver_) return false;
        results_.emplace_back();
        size_ += line.text.size();
        return true;
    }

    /// The reader's: waits until all lines that entered have left.
    void awaitEmpty() {
        const VKTLock lock(mutex_);
        while (!results_.empty() || isWriting_)
            waitAndLook();
    }

    /// A worker's, of each line: its result, which waits for its turn; when too much is waiting, the worker
    /// waits with it.
    void leave(const Line& line, std::string result) {
        const VKTLock lock(mutex_);
        size_ -= line.text.size();
        while (!isTurnOf(line) && size_ + result.size() > waitingSizeLimit)
            changed_.wait(mutex_);
        size_ += result.size();
        results_[line.number - first_] = std::move(result);
        if (!isWriting_) writeReady();
    }

    /// Waits until all lines before this one have been written; the output is then the caller's.
    void awaitTurn(const Line& line) {
        const VKTLock lock(mutex_);
        while (!isTurnOf(line) || isWriting_)
            changed_.wait(mutex_);
    }

    [[nodiscard]] bool isOver() {
        const VKTLock lock(mutex_);
        return isOver_;
    }

  private:
    [[nodiscard]] bool isTurnOf(const Line& line) const VKT_REQUIRES(mutex_) { return line.number == first_; }

    void waitAndLook() VKT_REQUIRES(mutex_) {
        if (changed_.wait_for(mutex_, lookAgain) == std::cv_status::timeout) look();
    }

    void look() VKT_REQUIRES(mutex_) {
        mutex_.unlock();
        const bool isOver = output_.hasFailed();
        if (isOver) canceller_->cancel();
        mutex_.lock();
        isOver_ = isOver_ || isOver;
    }

    // Each line is passed on before one is waited for: somebody may want it before giving the next.
    void writeReady() VKT_REQUIRES(mutex_) {
        isWriting_ = true;
        while (!results_.empty() && results_.front()) {
            const std::string ready = std::move(*results_.front());
            results_.pop_front();
            ++first_;
            size_ -= ready.size();
            const bool isLast = results_.empty() || !results_.front();
            mutex_.unlock();
            output_.bytes(ready);
            if (isLast) output_.flush();
            mutex_.lock();
            if (isLast) look();
            changed_.notify_all();
        }
        isWriting_ = false;
        changed_.notify_all();
    }

    Output& output_;
    const std::size_t limit_;
    const std::shared_ptr<VKTHTTPCanceller> canceller_ = std::make_shared<VKTHTTPCanceller>();
    VKTMutex mutex_;
    std::condition_variable_any changed_;
    std::deque<std::optional<std::string>> results_ VKT_GUARDED_BY(mutex_);  // nothing: under way
    std::size_t first_ VKT_GUARDED_BY(mutex_) = 1;                           // number of the first of them
    std::size_t size_ VKT_GUARDED_BY(mutex_) = 0;                            // bytes of lines and results
    bool isWriting_ VKT_GUARDED_BY(mutex_) = false;
    bool isOver_ VKT_GUARDED_BY(mutex_) = false;  // the output has failed
};

// Waits for its turn and writes what is too long to be kept; the result is then empty.
std::string resultOf(const Line& line, const LineInspection& inspection, LineWindow& window, Output& output) {
    const JSONReport report = reportOfLine(inspection, line.number);
    JSONText text = textOfJSON(report, JSONStyle::OneLine);
    if (text.whole && text.isWritable) return std::move(*text.whole) + '\n';
    window.awaitTurn(line);
    output.JSON(report, JSONStyle::OneLine);
    return "";
}

std::string resultOfProblem(const Line& line) {
    LineInspection inspection;
    inspection.problem = line.problem;
    return textOfJSON(reportOfLine(inspection, line.number), JSONStyle::OneLine).whole.value_or("") + '\n';
}

// As the answer to a line that has no memory would be, without memory.
void writeScarcity(const Line& line, LineWindow& window, Output& output) {
    std::array<char, 128> text{};
    const int size = std::snprintf(text.data(), text.size(), "{\"id\":null,\"error\":\"%s\",\"line\":%zu}\n",
                                   notEnoughMemory, line.number);
    window.awaitTurn(line);
    output.bytes({text.data(), static_cast<std::size_t>(size)});
}

// Scarce memory is a problem of this line and not of the others.
void work(const Line& line, LineWindow& window, Output& output) {
    std::string result;
    try {
        if (!line.problem.empty()) {
            result = resultOfProblem(line);
        } else if (!window.isOver()) {
            result = resultOf(line, inspectLine(line.text, window.canceller()), window, output);
        }
    } catch (const std::bad_alloc&) {
        writeScarcity(line, window, output);
    }
    window.leave(line, std::move(result));
}

}  // namespace

std::optional<std::string> inspectLines(int input, std::size_t jobs, Output& output) {
    LineReader reader(input, output);
    LineWindow window(output, jobs * linesForEachJob);
    const auto pool = VKTPlatform::current().makeConcurrentPool(jobs);
    while (auto next = reader.next()) {
        const auto line = std::make_shared<const Line>(std::move(*next));
        if (!window.enter(*line)) break;
        const auto task = [line, &window, &output] { work(*line, window, output); };
        if (!pool->tryPost(task)) task();
    }
    window.awaitEmpty();
    return reader.problem();
}
