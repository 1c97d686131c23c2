#pragma once

#include <log/orvix_log.h>

#include <cstddef>
#include <cstdio>
#include <string>
#include <vector>

namespace orvix::test {

/// A log line taken apart.
struct log_line {
    std::string time;  ///< hh:mm:ss.mmm
    long thread = 0;   ///< kernel thread id
    std::string category;
    std::string level;  ///< printed name, empty for PLAIN
    std::string file;   ///< relative to the project's root
    int line = 0;
    std::string message;
};

/// Catches the log lines of its scope in memory, and afterwards gives the process its output
/// stream, reporting level and filters back.
///
///     log_capture log;
///     table.parse(...);
///     EXPECT_THAT(log.statements(), ElementsAre("<sdt> DEBUG: offset 11"));
class log_capture {
public:
    explicit log_capture(OrvixLog::Level level = OrvixLog::DEBUG4);
    ~log_capture();
    log_capture(const log_capture&) = delete;
    log_capture& operator=(const log_capture&) = delete;

    /// Everything that was written, as it was written.
    std::string text() const;
    /// Its lines. Throws std::runtime_error, naming the line, where one has not the form of a line.
    std::vector<log_line> lines() const;
    /// `<category> LEVEL: message` of each line, or of each line of one category.
    std::vector<std::string> statements() const;
    std::vector<std::string> statements(const std::string& category) const;
    /// The message of each line.
    std::vector<std::string> messages() const;

private:
    char* caught_ = nullptr;
    std::size_t size_ = 0;
    std::FILE* stream_;

    std::FILE* stream_before_;
    OrvixLog::Level level_before_;
    OrvixLog::filter_data filters_before_;
};

/// One log line without its newline. Throws std::runtime_error where it is none.
log_line parse_log_line(const std::string& line);

/// The lines of a text; throws std::runtime_error if the last one has no newline.
std::vector<std::string> split_lines(const std::string& text);

/// The number by which log lines and the thread filter know the calling thread.
long kernel_thread_id();

}  // namespace orvix::test
