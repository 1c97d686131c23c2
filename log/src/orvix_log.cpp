#include <log/orvix_log.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <locale>
#include <new>
#include <ostream>

namespace {

constexpr char bold_red[] = "\x1B[1;31m";
constexpr char bold_yellow[] = "\x1B[1;33m";
constexpr char default_colour[] = "\x1B[0;39m";

constexpr std::array<const char*, 10> level_names = {
    "NONE", "", "ERROR", "WARNING", "INFO", "DEBUG", "DEBUG1", "DEBUG2", "DEBUG3", "DEBUG4"};

/// A log line in the middle of a caller's error handling must not change what the caller sees.
class errno_keeper {
public:
    errno_keeper() : kept_(errno) {}
    ~errno_keeper() { errno = kept_; }
    errno_keeper(const errno_keeper&) = delete;
    errno_keeper& operator=(const errno_keeper&) = delete;

private:
    int kept_;
};

long kernel_thread_id() { return syscall(SYS_gettid); }

bool contains(const std::set<std::string>& categories, const std::string& category) {
    return categories.find(category) != categories.end();
}

const char* colour_of(OrvixLog::Level level) {
    switch (level) {
        case OrvixLog::ERROR:
            return bold_red;
        case OrvixLog::WARNING:
            return bold_yellow;
        default:
            return default_colour;
    }
}

/// Local time of day as hh:mm:ss.mmm, milliseconds truncated.
std::array<char, 64> time_of_day() {
    timeval now;
    gettimeofday(&now, nullptr);
    tm local;
    localtime_r(&now.tv_sec, &local);

    std::array<char, 64> text;
    std::snprintf(text.data(), text.size(), "%02d:%02d:%02d.%03d", local.tm_hour, local.tm_min,
                  local.tm_sec, static_cast<int>(now.tv_usec / 1000));
    return text;
}

}  // namespace

std::FILE*& OrvixLog::output_stream() {
    static std::FILE* stream = stdout;
    return stream;
}

pthread_mutex_t& OrvixLog::data_locker::get_mutex() {
    static pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    return mutex;
}

OrvixLog::data_locker::data_locker() { pthread_mutex_lock(&get_mutex()); }

OrvixLog::data_locker::~data_locker() { pthread_mutex_unlock(&get_mutex()); }

OrvixLog::filter_data*& OrvixLog::shared_data() {
    static filter_data* data = nullptr;
    return data;
}

OrvixLog::filter_data* OrvixLog::data() { return shared_data(); }

/// The filter data, created on its first use. The caller holds the mutex.
OrvixLog::filter_data& OrvixLog::filters() {
    filter_data*& data = shared_data();
    if (data == nullptr) data = new filter_data;
    return *data;
}

bool OrvixLog::can_log(const std::string& category) try {
    const auto thread = static_cast<std::uint32_t>(kernel_thread_id());
    const data_locker lock;
    const filter_data& filter = filters();
    if (filter.muted_threads.count(thread) != 0) return false;
    if (filter.only_enabled) return contains(filter.enabled_categories, category);
    return !contains(filter.disabled_categories, category);
} catch (const std::bad_alloc&) {
    return false;  // no memory for the filters: the line is lost, the caller goes on
}

std::string OrvixLog::to_string(Level level) { return level_names[level]; }

void OrvixLog::add_enabled_category(const std::string& category) {
    const data_locker lock;
    filters().enabled_categories.insert(category);
}

void OrvixLog::remove_enabled_category(const std::string& category) {
    const data_locker lock;
    filters().enabled_categories.erase(category);
}

void OrvixLog::add_disabled_category(const std::string& category) {
    const data_locker lock;
    filters().disabled_categories.insert(category);
}

void OrvixLog::remove_disabled_category(const std::string& category) {
    const data_locker lock;
    filters().disabled_categories.erase(category);
}

void OrvixLog::mute_thread(std::uint32_t kernel_thread_id) {
    const data_locker lock;
    filters().muted_threads.insert(kernel_thread_id);
}

void OrvixLog::unmute_thread(std::uint32_t kernel_thread_id) {
    const data_locker lock;
    filters().muted_threads.erase(kernel_thread_id);
}

void OrvixLog::set_only_enabled(bool only_enabled) {
    const data_locker lock;
    filters().only_enabled = only_enabled;
}

OrvixLog::OrvixLog() : stream_(output_stream()) {
    const errno_keeper keep;
    terminal_ = stream_ != nullptr && isatty(fileno(stream_)) != 0;
    line_.imbue(std::locale::classic());  // no digits grouped, whatever the program's own locale
}

std::ostream& OrvixLog::get(Level level, const std::string& category) {
    const errno_keeper keep;
    const bool was_sound = !line_.bad();
    if (terminal_) line_ << colour_of(level);
    line_ << time_of_day().data() << " [" << kernel_thread_id() << "] <" << category << "> "
          << level_names[level];
    if (level != PLAIN) line_ << ": ";
    const bool ran_out_of_memory = was_sound && line_.bad();
    line_.clear(ran_out_of_memory ? std::ios::badbit : std::ios::goodbit);
    return line_;
}

OrvixLog::~OrvixLog() {
    const errno_keeper keep;
    if (line_.bad()) return;  // a part is missing: the line is lost whole
    try {
        const std::string text = line_.str();
        std::FILE* const stream = output_stream();
        if (stream == nullptr) return;

        std::fputs(text.c_str(), stream);
        // The reset follows the newline: it stands at the start of the terminal's next line.
        if (terminal_) std::fwrite(default_colour, 1, std::strlen(default_colour), stream);
        std::fflush(stream);
    } catch (const std::bad_alloc&) {
        // No memory for the text: the line is lost, the caller goes on.
    }
}

OrvixLog::statement::statement(Level level, std::string_view category, const char* file,
                               int line) noexcept {
    const errno_keeper keep;
    try {
        const std::string name(category);
        if (!can_log(name)) return;
        log_.emplace();
        log_->get(level, name) << file << ":" << line << " - ";
    } catch (const std::bad_alloc&) {
        // No memory for the category: the line is lost, the caller goes on.
    }
}

void OrvixLog::statement::end() noexcept {
    message() << std::endl;
    ended_ = true;
}

OrvixLog::statement::~statement() {
    // An item threw. Half a line would run into the next one.
    if (log_ && !ended_) log_->line_.setstate(std::ios::badbit);
}
