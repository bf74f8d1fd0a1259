#include "ground/Output.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <thread>

#include "VKTCoreKit/foundation/VKTText.h"
#include "ground/ExitStatus.h"

namespace {

// Bytes of a report that are kept while it is found out whether all of it can be written.
constexpr std::size_t keptReportSize = std::size_t{4} * 1024 * 1024;

constexpr const char* notJSON =
    "it cannot be written as JSON: it nests too deep or holds text that is not UTF-8";

}  // namespace

JSONText textOfJSON(const JSONReport& report, JSONStyle style) {
    JSONText text{false, std::string()};
    text.isWritable = report.write(
        [&text](std::string_view piece) {
            if (text.whole && text.whole->size() + piece.size() > keptReportSize) text.whole.reset();
            if (text.whole) text.whole->append(piece);
        },
        style);
    return text;
}

Output& Output::standard() {
    static Output output(stdout, "the result to the standard output");
    return output;
}

Output::Output(const std::string& path) : Output(std::fopen(path.c_str(), "wb"), path) {
    if (file_ == nullptr) fail(std::strerror(errno));
}

Output::~Output() {
    if (file_ != nullptr && file_ != stdout) std::fclose(file_);
}

void Output::line(std::string_view text) {
    const std::lock_guard lock(mutex_);
    write(vkt_onOneLine(text) + '\n');
}

void Output::lines(const std::vector<std::string>& texts) {
    for (const std::string& text : texts)
        line(text);
}

// What does not fit is made a second time, once it is known that all of it can be written.
void Output::JSON(const JSONReport& report, JSONStyle style) {
    const std::lock_guard lock(mutex_);
    const JSONText text = textOfJSON(report, style);
    if (!text.isWritable) return fail(notJSON);
    if (text.whole) {
        write(*text.whole);
    } else {
        report.write([this](std::string_view piece) { write(piece); }, style);
    }
    write("\n");
}

void Output::bytes(std::string_view bytes) {
    const std::lock_guard lock(mutex_);
    write(bytes);
}

void Output::flush() {
    const std::lock_guard lock(mutex_);
    if (file_ != nullptr && std::fflush(file_) != 0) fail(std::strerror(errno));
}

std::optional<std::string> Output::finish() {
    flush();
    const std::lock_guard lock(mutex_);
    if (file_ != nullptr && std::ferror(file_) != 0) fail("a part of it was lost");
    if (file_ != nullptr && file_ != stdout) {
        if (std::fclose(file_) != 0) fail(std::strerror(errno));
        file_ = nullptr;
    }
    return problem_;
}

bool Output::hasFailed() {
    const std::lock_guard lock(mutex_);
    // A pipe without a reader reports an error without being asked for anything.
    pollfd file{file_ == nullptr ? -1 : fileno(file_), 0, 0};
    if (poll(&file, 1, 0) > 0 && (file.revents & POLLERR) != 0) fail(std::strerror(EPIPE));
    return problem_.has_value();
}

void Output::endProcessWithReader() const {
    if (file_ == nullptr) return;
    std::thread([descriptor = fileno(file_)] {
        pollfd file{descriptor, 0, 0};
        while (poll(&file, 1, -1) < 0 && errno == EINTR) {
        }
        if ((file.revents & POLLERR) != 0) _exit(ExitOutputUnwritten);
    }).detach();
}

void Output::write(std::string_view bytes) {
    if (problem_ || file_ == nullptr) return;
    if (std::fwrite(bytes.data(), 1, bytes.size(), file_) < bytes.size()) fail(std::strerror(errno));
}

void Output::fail(std::string reason) {
    if (!problem_) problem_ = "cannot write " + name_ + ": " + std::move(reason);
}

void printError(std::string_view message) {
    const std::string line = "vkt: " + vkt_onOneLine(message) + '\n';
    std::fwrite(line.data(), 1, line.size(), stderr);
}

void prepareStandardStreams() {
    std::signal(SIGPIPE, SIG_IGN);
    // The first free descriptor is taken; the wrong direction makes each use of it fail.
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(descriptor, F_GETFD) != -1) continue;
        [[maybe_unused]] const int taken =
            open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
}
