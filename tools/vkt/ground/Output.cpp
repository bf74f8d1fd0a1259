#include "ground/Output.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <functional>

#include "VKTCoreKit/foundation/VKTText.h"

namespace {

// Bytes of a report that are kept while it is found out whether all of it can be written.
constexpr std::size_t keptReportSize = std::size_t{4} * 1024 * 1024;

constexpr const char* notJSON =
    "it cannot be written as JSON: it nests too deep or holds text that is not UTF-8";

// The same JSON without the control characters that JSON lets through and a terminal obeys: DEL and C1,
// U+0080 to U+009F, which are two bytes in UTF-8. They stand in strings only.
std::string withEscapedControls(std::string_view JSON) {
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    text.reserve(JSON.size());
    for (std::size_t i = 0; i < JSON.size(); ++i) {
        const bool isC1 = JSON.substr(i, 1) == "\xC2" && JSON.substr(i + 1, 1) < "\xA0";
        if (isC1) ++i;
        const auto byte = static_cast<unsigned char>(JSON[i]);
        if (isC1 || byte == 0x7F) {
            text.append("\\u00").append(1, digits[byte >> 4U]).append(1, digits[byte & 0xFU]);
        } else {
            text += JSON[i];
        }
    }
    return text;
}

}  // namespace

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
void Output::JSON(const JSONReport& report) {
    const std::lock_guard lock(mutex_);
    std::string kept;
    bool isWhole = true;
    const bool isWritable = report.write([&](std::string_view rawPiece) {
        const std::string piece = withEscapedControls(rawPiece);
        isWhole = isWhole && kept.size() + piece.size() <= keptReportSize;
        if (isWhole) kept.append(piece);
    });
    if (!isWritable) return fail(notJSON);
    if (isWhole) {
        write(kept);
    } else {
        report.write([this](std::string_view piece) { write(withEscapedControls(piece)); });
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
