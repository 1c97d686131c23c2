/// @file
/// Line logger that a receiver's middleware shares.

#pragma once

#include <pthread.h>

#include <cstdint>
#include <cstdio>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <string_view>

/// On what programs may use; all else stays inside the library.
#define ORVIX_LOG_EXPORT __attribute__((visibility("default")))

/// Writes one log line. `LEVEL` is an enumerator of OrvixLog::Level without its scope, `category` a
/// string, `items` the message as one chain of insertions:
///
///     ORVIX_LOG(DEBUG, "sdt", "offset " << offset);
///
/// `category` is evaluated only when level and stream let the line through, the items only when it
/// is written. Numbers are decimal and never grouped unless an item switches the stream. Nothing is
/// thrown on the statement's own account; what an item throws passes through, and no line is
/// written then.
#define ORVIX_LOG(LEVEL, category, items)                                                \
    do {                                                                                 \
        if (OrvixLog::LEVEL <= OrvixLog::reporting_level() &&                            \
            OrvixLog::output_stream() != nullptr) {                                      \
            OrvixLog::statement orvix_log_statement(OrvixLog::LEVEL, category, __FILE__, \
                                                    __LINE__);                           \
            if (orvix_log_statement.is_let_through()) {                                  \
                orvix_log_statement.message() << items; /* NOLINT */                     \
                orvix_log_statement.end();                                               \
            }                                                                            \
        }                                                                                \
    } while (false)

/// One logging statement, and the settings that all statements of the process share.
///
/// A line reads, in local time,
///
///     13:02:51.417 [812] <si_parser> ERROR: si_parser/src/psi_table.cpp:61 - Short buffer, ...
///
/// that is time, kernel thread id, category, level, source position, message. It is written by the
/// destructor, with one call, and flushed, and is the same under any global locale. Write errors
/// are ignored, and errno is left as it was. A line that cannot be built, above all for lack of
/// memory, is lost whole. Use ORVIX_LOG, which builds nothing when the line would not be written.
///
/// `reporting_level` and `output_stream` are read and written without a lock: set them before other
/// threads log. The filters may be changed at any time from any thread.
class ORVIX_LOG_EXPORT OrvixLog {
public:
    /// A larger value is more verbose.
    enum Level {
        NONE,   ///< as a reporting level: nothing is written but NONE itself
        PLAIN,  ///< a line without a level word
        ERROR,
        WARNING,
        INFO,
        DEBUG,
        DEBUG1,
        DEBUG2,
        DEBUG3,
        DEBUG4
    };

    /// Which lines are let through. Read or change it only while holding a data_locker.
    struct filter_data {
        std::set<std::string> enabled_categories;   ///< counts only while `only_enabled` is set
        std::set<std::string> disabled_categories;  ///< counts only while `only_enabled` is clear
        std::set<std::uint32_t> muted_threads;      ///< kernel thread ids, silent in every mode
        bool only_enabled = false;                  ///< just the enabled, or all but the disabled
    };

    /// Holds the mutex of the filter data from construction to destruction.
    class ORVIX_LOG_EXPORT data_locker {
    public:
        data_locker();
        ~data_locker();
        data_locker(const data_locker&) = delete;
        data_locker& operator=(const data_locker&) = delete;

        /// The one mutex of the process, not recursive; never destroyed.
        static pthread_mutex_t& get_mutex();
    };

    /// The most verbose level that is written, at first DEBUG4. Assign through the reference.
    static Level& reporting_level() {
        static Level level = DEBUG4;
        return level;
    }

    /// Where lines go, at first the standard output. Assign through the reference; null silences
    /// all logging. The stream stays the caller's.
    static std::FILE*& output_stream();

    /// Whether the filters let a line of this category, from the calling thread, through.
    static bool can_log(const std::string& category);

    /// The level's printed name, empty for PLAIN. `level` must be one of the enumerators.
    static std::string to_string(Level level);

    /// The filter data, null before its first use; never freed. Call it holding a data_locker.
    static filter_data* data();

    /// @name Changing the filters
    /// Each of these takes the filter data's mutex; they throw only std::bad_alloc. Names are
    /// compared exactly; repeats are harmless.
    /// @{

    /// Lets the category's lines through while `only_enabled` is set.
    static void add_enabled_category(const std::string& category);
    /// Holds them back again while `only_enabled` is set.
    static void remove_enabled_category(const std::string& category);
    /// Holds the category's lines back while `only_enabled` is clear.
    static void add_disabled_category(const std::string& category);
    /// Lets them through again while `only_enabled` is clear.
    static void remove_disabled_category(const std::string& category);
    /// Holds back all lines of the thread, in every mode, until it is unmuted. Thread ids are the
    /// kernel's (gettid), and are used again for new threads.
    static void mute_thread(std::uint32_t kernel_thread_id);
    /// Lets the thread's lines through as the categories have it.
    static void unmute_thread(std::uint32_t kernel_thread_id);
    /// With `only_enabled`, just the enabled categories are written; without, all but the disabled.
    static void set_only_enabled(bool only_enabled);

    /// @}

    OrvixLog();
    /// Writes the line to the output stream in force now, which may be another than at
    /// construction.
    ~OrvixLog();
    OrvixLog(const OrvixLog&) = delete;
    OrvixLog& operator=(const OrvixLog&) = delete;

    /// Begins the line with colour, time, thread, category and level; the message goes into the
    /// returned stream, its newline included.
    std::ostream& get(Level level, const std::string& category);

    class statement;

private:
    static filter_data*& shared_data();
    static filter_data& filters();

    std::FILE* stream_;
    bool terminal_ = false;
    std::ostringstream line_;
};

/// What ORVIX_LOG is made of, kept out of the way of code that does not log; of no use by itself.
class ORVIX_LOG_EXPORT OrvixLog::statement {
public:
    /// Begins the line, source position included, if the filters let it through.
    __attribute__((cold))
    statement(Level level, std::string_view category, const char* file, int line) noexcept;
    /// Writes the line if it was ended.
    __attribute__((cold)) ~statement();
    statement(const statement&) = delete;
    statement& operator=(const statement&) = delete;

    /// Whether the line was begun; only then may its message be written and ended.
    bool is_let_through() const { return log_.has_value(); }
    /// Where the items go.
    std::ostream& message() { return log_->line_; }
    /// Ends the line. One that was not ended is lost whole: an item threw.
    __attribute__((cold)) void end() noexcept;

private:
    std::optional<OrvixLog> log_;
    bool ended_ = false;
};
