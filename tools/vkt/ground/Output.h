// What the tool writes, and whether it was written.
#pragma once

#include <cstdio>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ground/JSONReport.h"

/// What a report looks like as JSON.
struct JSONText {
    bool isWritable;                   ///< as JSONReport::write says
    std::optional<std::string> whole;  ///< nothing when it has more than 4 MiB
};
JSONText textOfJSON(const JSONReport& report, JSONStyle style);

/// Writes to the standard output or to a file, and remembers the first thing that goes wrong; what comes
/// after it is dropped. main ends the process with ExitOutputUnwritten when that was the standard output, so
/// a command needs no check of its own. Any thread.
class Output {
  public:
    static Output& standard();

    /// A file, which is made or emptied.
    explicit Output(const std::string& path);
    ~Output();
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    /// One line, made safe by vkt_onOneLine, and its line feed. The way of all text for people: what comes
    /// from a document needs no care of the caller's.
    void line(std::string_view text = {});
    void lines(const std::vector<std::string>& texts);

    /// JSON, with each control character escaped, and a line feed. Nothing is written, which is a problem of
    /// the output, for what nests too deep or holds text that is not UTF-8.
    void JSON(const JSONReport& report, JSONStyle style = JSONStyle::Indented);

    /// Bytes as they are: pages and bodies that a machine reads, and control characters of our own. Never
    /// text of a document for people.
    void bytes(std::string_view bytes);

    /// Passes on what has been gathered.
    void flush();

    /// Whether something could not be written, or the reader of a pipe has gone away, which is a problem from
    /// then on: nothing is written any more.
    [[nodiscard]] bool hasFailed();

    /// Ends the process, by itself and at once, when the reader of the pipe goes away: for a command whose
    /// reader alone wants it to go on, and that may have nothing to write for long.
    void endProcessWithReader() const;

    /// Ends a file; the standard output is flushed. A sentence about the first problem, if there was one:
    /// what could not be written, and why.
    std::optional<std::string> finish();

  private:
    Output(std::FILE* file, std::string name) : file_(file), name_(std::move(name)) {}

    void write(std::string_view bytes);
    void fail(std::string reason);

    std::mutex mutex_;
    std::FILE* file_;
    const std::string name_;
    std::optional<std::string> problem_;
};

/// One line on the standard error, "vkt: " before it; made safe as any line.
void printError(std::string_view message);

/// Before anything is written or opened: a reader who goes away is a problem of the output and not the end of
/// the process, and no file is ever opened in the place of a standard stream that the caller has closed.
void prepareStandardStreams();
