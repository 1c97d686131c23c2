// log_to_syslog [PRIORITY]: sends the library's log lines to syslog, up to a priority of syslog.h
// (at first 7, debug), and to the standard error as well, so that they are seen here.

#include <log/orvix_log.h>
#include <si_parser/sdt.h>
#include <syslog.h>

#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <stdexcept>
#include <string>

namespace {

/// What syslog knows of a line: its priority, by the level's word, and its text. Time and thread
/// are left out, since syslog adds its own:
///
///     13:02:51.417 [812] <sdt> ERROR: file:line - message
void write_line(const std::string& line) {
    const std::size_t category = line.find('<');
    const std::string text = category == std::string::npos ? line : line.substr(category);
    const auto is = [&text](const char* level) {
        return text.find(std::string("> ") + level + ": ") != std::string::npos;
    };
    const int priority = is("ERROR")     ? LOG_ERR
                         : is("WARNING") ? LOG_WARNING
                         : is("INFO")    ? LOG_INFO
                                         : LOG_DEBUG;
    syslog(priority, "%s", text.c_str());
}

/// Lines may come in pieces; `cookie` is the piece that has no newline yet.
ssize_t write_lines(void* cookie, const char* bytes, size_t size) {
    std::string& line = *static_cast<std::string*>(cookie);
    for (size_t i = 0; i != size; ++i) {
        if (bytes[i] != '\n') {
            line += bytes[i];
            continue;
        }
        write_line(line);
        line.clear();
    }
    return static_cast<ssize_t>(size);
}

/// A stdio stream into syslog. It stays open as long as anything may log: to the process's end.
std::FILE* open_syslog_stream() {
    static std::string& unfinished_line = *new std::string;
    cookie_io_functions_t functions{};
    functions.write = write_lines;
    std::FILE* const stream = fopencookie(&unfinished_line, "w", functions);
    if (stream == nullptr) throw std::runtime_error("no stream into syslog");
    return stream;
}

}  // namespace

int main(int argc, char** argv) try {
    openlog("log_to_syslog", LOG_PERROR, LOG_USER);
    setlogmask(LOG_UPTO(argc > 1 ? std::atoi(argv[1]) : LOG_DEBUG));

    // Once, before any thread logs.
    OrvixLog::output_stream() = open_syslog_stream();
    OrvixLog::reporting_level() = OrvixLog::DEBUG;

    // A service description table without services, and then one that is cut off.
    unsigned char section[] = {0x42, 0xF0, 0x0C, 0x02, 0xE1, 0xC1, 0x00, 0x00,
                               0x02, 0xE1, 0xFF, 0x00, 0x00, 0x00, 0x00};
    orvix::si_parser::sdt table;
    table.parse(section, sizeof section);
    try {
        table.parse(section, 6);
    } catch (const std::runtime_error&) {  // said in the log already
    }
} catch (const std::exception& e) {
    std::cerr << "log_to_syslog: " << e.what() << '\n';
    return 1;
}
