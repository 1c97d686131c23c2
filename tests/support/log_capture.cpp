#include "log_capture.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <cstdlib>
#include <regex>
#include <stdexcept>

namespace orvix::test {

namespace {

OrvixLog::filter_data current_filters() {
    const OrvixLog::data_locker lock;
    return OrvixLog::data() != nullptr ? *OrvixLog::data() : OrvixLog::filter_data();
}

void restore_filters(const OrvixLog::filter_data& filters) {
    const OrvixLog::data_locker lock;
    if (OrvixLog::data() != nullptr) *OrvixLog::data() = filters;
}

std::string statement(const log_line& line) {
    return "<" + line.category + "> " + line.level + ": " + line.message;
}

}  // namespace

log_capture::log_capture(OrvixLog::Level level)
    : stream_(open_memstream(&caught_, &size_)),
      stream_before_(OrvixLog::output_stream()),
      level_before_(OrvixLog::reporting_level()),
      filters_before_(current_filters()) {
    if (stream_ == nullptr) throw std::runtime_error("log_capture: no memory stream");
    OrvixLog::output_stream() = stream_;
    OrvixLog::reporting_level() = level;
}

log_capture::~log_capture() {
    OrvixLog::output_stream() = stream_before_;
    OrvixLog::reporting_level() = level_before_;
    restore_filters(filters_before_);
    std::fclose(stream_);
    std::free(caught_);
}

std::string log_capture::text() const {
    std::fflush(stream_);
    return std::string(caught_, size_);
}

std::vector<log_line> log_capture::lines() const {
    std::vector<log_line> lines;
    for (const std::string& line : split_lines(text())) lines.push_back(parse_log_line(line));
    return lines;
}

std::vector<std::string> log_capture::statements() const {
    std::vector<std::string> statements;
    for (const log_line& line : lines()) statements.push_back(statement(line));
    return statements;
}

std::vector<std::string> log_capture::statements(const std::string& category) const {
    std::vector<std::string> statements;
    for (const log_line& line : lines()) {
        if (line.category == category) statements.push_back(statement(line));
    }
    return statements;
}

std::vector<std::string> log_capture::messages() const {
    std::vector<std::string> messages;
    for (const log_line& line : lines()) messages.push_back(line.message);
    return messages;
}

log_line parse_log_line(const std::string& line) {
    static const std::regex form(
        R"((\d\d:\d\d:\d\d\.\d\d\d) \[(\d+)\] <([^>]*)> (?:([A-Z]+\d?): )?([^ :]+):(\d+) - (.*))");
    std::smatch part;
    if (!std::regex_match(line, part, form)) throw std::runtime_error("not a log line: " + line);
    return {part[1], std::stol(part[2]), part[3], part[4], part[5], std::stoi(part[6]), part[7]};
}

std::vector<std::string> split_lines(const std::string& text) {
    std::vector<std::string> lines;
    std::size_t begin = 0;
    while (begin < text.size()) {
        const std::size_t end = text.find('\n', begin);
        if (end == std::string::npos) {
            throw std::runtime_error("a line without a newline: " + text.substr(begin));
        }
        lines.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return lines;
}

long kernel_thread_id() { return syscall(SYS_gettid); }

}  // namespace orvix::test
