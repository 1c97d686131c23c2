#include "run.h"

#include <broadcast/bare_sections.h>
#include <broadcast/multiplex.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <optional>
#include <set>
#include <string_view>
#include <vector>

#include "completeness_watch.h"
#include "destination.h"
#include "display.h"
#include "input.h"
#include "interruption.h"
#include "output.h"
#include "progress.h"
#include "views/differences_view.h"
#include "views/findings_view.h"
#include "views/guide_view.h"
#include "views/page_view.h"
#include "views/services_view.h"
#include "views/tables_view.h"
#include "writers/html/html_writer.h"
#include "writers/json/json_writer.h"
#include "writers/m3u_writer.h"
#include "writers/sections_writer.h"
#include "writers/text/text_writer.h"
#include "writers/xmltv_writer.h"

namespace orvix::si_inspect {

using namespace broadcast;

namespace {

// Large enough that a read costs nothing beside what is done with its bytes, small enough that
// these are still in the processor's cache then.
constexpr std::size_t read_bytes = 128 * 1024;

void complain(const std::string& sentence) {
    write_to_standard_error("si_inspect: " + sentence + '\n');
}

/// What the caller has closed must not be taken by a file or pipe of the program's own. Opened so
/// that its use still fails.
void fill_closed_standard_streams() {
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        const bool is_closed = fcntl(descriptor, F_GETFD) < 0 && errno == EBADF;
        if (is_closed) open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
}

bool terminal_is_dumb() {
    const char* const terminal = std::getenv("TERM");
    return terminal == nullptr || std::string_view(terminal) == "dumb";
}

bool wants_color(const options& how, const output& to) {
    if (how.color != color_choice::automatic) return how.color == color_choice::always;
    const char* const no_color = std::getenv("NO_COLOR");
    const bool unwanted = no_color != nullptr && *no_color != '\0';
    return to.is_terminal() && !unwanted && !terminal_is_dumb();
}

std::unique_ptr<writer> make_writer(const options& how, output& to) {
    const utc_offset offset = how.utc_offset.value_or(brasilia);
    switch (how.format) {
        case output_format::text:
            return std::make_unique<text_writer>(
                to, text_writer::settings{offset, wants_color(how, to)});
        case output_format::json:
            return std::make_unique<json_writer>(to, offset);
        case output_format::xmltv:
            return std::make_unique<xmltv_writer>(to, how.utc_offset);
        case output_format::m3u:
            return std::make_unique<m3u_writer>(to, how.address,
                                                [&how](const std::string& sentence) {
                                                    if (!how.quiet) complain(sentence);
                                                });
        case output_format::html:
            return std::make_unique<html_writer>(to, offset);
        case output_format::sections:
            return std::make_unique<sections_writer>(to);
    }
    return nullptr;
}

void configure_log(const options& how) {
    OrvixLog::reporting_level() = how.log_level;
    OrvixLog::output_stream() = stderr;
    if (how.log_categories.empty()) return;
    for (const std::string& category : how.log_categories) {
        OrvixLog::add_enabled_category(category);
    }
    OrvixLog::set_only_enabled(true);
}

/// Keeps the bar out of the way of what is written to the terminal.
class writer_over_progress : public writer {
public:
    writer_over_progress(std::unique_ptr<writer> to, std::unique_ptr<progress>& bar)
        : to_(std::move(to)), bar_(bar) {}

    void table(const sighting& seen) override {
        bar_->hide();
        to_->table(seen);
    }
    void refused(const place& where, const refusal& what) override {
        bar_->hide();
        to_->refused(where, what);
    }
    void services(const std::string& file, const told_services& all) override {
        bar_->hide();
        to_->services(file, all);
    }
    void findings(const std::string& file, const std::vector<finding>& all) override {
        bar_->hide();
        to_->findings(file, all);
    }
    void finding_changed(const std::string& file, const finding& changed) override {
        bar_->hide();
        to_->finding_changed(file, changed);
    }
    void differences(const changes& all) override {
        bar_->hide();
        to_->differences(all);
    }
    void guide(const guide_contents& all) override {
        bar_->hide();
        to_->guide(all);
    }
    void everything(const page& all) override {
        bar_->hide();
        to_->everything(all);
    }
    void finish(const totals* counts) override { to_->finish(counts); }

private:
    std::unique_ptr<writer> to_;
    std::unique_ptr<progress>& bar_;
};

std::vector<std::string> inputs_of(const options& how) {
    return how.inputs.empty() ? std::vector<std::string>{"-"} : how.inputs;
}

/// One run of the program over all its inputs.
class reading {
public:
    explicit reading(const options& how)
        : how_(how),
          to_(how.output.empty() ? std::make_unique<output>()
                                 : std::make_unique<output>(how.output)),
          writer_(make_writer(how, *to_), bar_),
          view_(make_view()) {}

    int all() {
        for (const std::string& path : inputs_of(how_)) {
            if (view_->is_done()) break;
            if (interruption::happened()) {
                if (cut_short_.empty()) cut_short_ = input::name_of(path);
                break;
            }
            try {
                one(path);
            } catch (const input_error& e) {
                bar_->hide();
                complain(e.what());
                failed_ = true;
            }
        }
        finish();
        if (failed_) return exit_input;
        const bool lacks_something = how_.until_complete && view_->counts().has_missing();
        if (view_->has_differences()) return exit_different;
        return how_.strict && (view_->has_failed() || lacks_something) ? exit_incomplete : exit_ok;
    }

private:
    std::unique_ptr<view> make_view() {
        const auto report_refusal = [this](const place& where, const refusal& what) {
            report(where, what);
        };
        const auto notice_it = [this](const std::string& sentence) { notice(sentence); };
        switch (how_.show) {
            case view_choice::tables:
                return std::make_unique<tables_view>(how_, writer_, report_refusal);
            case view_choice::services:
                return std::make_unique<services_view>(how_.services, writer_, report_refusal,
                                                       notice_it);
            case view_choice::findings:
                return std::make_unique<findings_view>(how_, writer_, report_refusal, notice_it);
            case view_choice::differences:
                return std::make_unique<differences_view>(how_.services, writer_, report_refusal);
            case view_choice::guide:
                return std::make_unique<guide_view>(how_, writer_, report_refusal, notice_it);
            case view_choice::page:
                return std::make_unique<page_view>(how_, writer_, report_refusal);
        }
        return nullptr;
    }

    void one(const std::string& path) {
        input from(path);
        const bool several = how_.inputs.size() > 1;
        show_progress_of(from);
        if (!from.notice().empty()) notice(from.name() + ": " + from.notice());
        const std::string file = several ? path : std::string();
        view_->begin_input(file, !from.size());
        watch_.reset();
        const bool is_watched = how_.until_complete || how_.show == view_choice::guide ||
                                how_.show == view_choice::differences ||
                                how_.show == view_choice::page;
        if (is_watched) watch_ = std::make_unique<completeness_watch>(*view_, how_.services);
        observer& to = is_watched ? static_cast<observer&>(*watch_) : *view_;
        if (how_.timeout) end_of_waiting_ = input::clock::now() + *how_.timeout;
        const intake_settings intake = {how_.check_crc, how_.all, &interruption::happened()};
        if (how_.sections) {
            bare_sections sections(file, to, intake);
            const std::uint64_t bytes = read_all(from, sections, "section that can be decoded");
            if (sections.admitted() == 0)
                complain_of(from, bytes, "no section that can be decoded");
        } else {
            multiplex stream(file, to, {intake, how_.pids});
            const std::uint64_t bytes = read_all(from, stream, "packet");
            if (stream.reader().packets() == 0) complain_of(from, bytes, "not a transport stream");
        }
        if (is_watched) add_missing(file);
    }

    void add_missing(const std::string& file) {
        auto& missing = view_->counts().missing;
        if (!missing) missing.emplace();
        missing->push_back({file, watch_->seen().missing()});
        view_->counts().add(watch_->seen().bounds());
    }

    static std::uint64_t found_by(const multiplex& stream) { return stream.reader().packets(); }
    static std::uint64_t found_by(const bare_sections& sections) { return sections.admitted(); }

    /// Returns how many bytes there were.
    template <typename Reader>
    std::uint64_t read_all(input& from, Reader& to, const std::string& sought) {
        std::uint64_t bytes = 0;
        silence nothing;
        try {
            while (!is_over() && !is_complete()) {
                const std::size_t count =
                    from.read(to.room(read_bytes), read_bytes, end_of_waiting_);
                if (count == 0) break;
                bytes += count;
                to.filled(count);
                bar_->update(bytes);
                tell(to.bounds());
                tell(view_->bounds());
                if (from.size()) continue;
                if (const auto mebibytes = nothing.update(count, found_by(to))) {
                    notice(from.name() + ": no " + sought + " in the last " +
                           std::to_string(*mebibytes) + " MiB, reading on");
                }
            }
        } catch (const input_error&) {
            count(from, to);
            if (found_by(to) > 0) view_->end_input();
            throw;
        }
        // What nobody wants to read any more is not lost.
        if (!is_over() && !is_complete()) to.end();
        tell(to.bounds());
        tell(view_->bounds());
        // A stream may end at any time, a file only where it ends.
        if (interruption::happened() && from.size()) cut_short_ = from.name();
        count(from, to);
        if (found_by(to) > 0) {
            any_read_ = true;
            view_->end_input();
        }
        bar_->hide();
        return bytes;
    }

    template <typename Reader>
    void count(const input& from, const Reader& to) {
        view_->counts().add(to);
        if (from.network() != nullptr) view_->counts().add(*from.network());
    }

    /// Says of each bound once that it is met.
    void tell(const std::vector<bound>& bounds) {
        for (const bound& b : bounds) {
            if (b.left_out == 0 || how_.quiet || !told_bounds_.insert(b.what).second) continue;
            bar_->hide();
            complain("more than " + std::to_string(b.most) + ' ' + std::string(b.what) +
                     ": the others are left out and counted");
        }
    }

    void notice(const std::string& sentence) const {
        if (!how_.quiet) complain(sentence);
    }

    /// Whether the user wants no more.
    bool is_over() const { return interruption::happened() || view_->is_done(); }

    /// Whether all has come that the user waits for.
    bool is_complete() { return how_.until_complete && watch_->is_whole(); }

    /// Nothing was found, and the user did not stop it.
    void complain_of(const input& from, std::uint64_t bytes, const std::string& what) const {
        if (interruption::happened()) return;
        if (bytes == 0 && input::clock::now() >= end_of_waiting_) {
            throw input_error(from.name() + ": nothing came within " +
                              std::to_string(how_.timeout->count()) + " s");
        }
        if (bytes == 0) throw input_error(from.name() + ": empty");
        throw input_error(from.name() + ": " + what + " (" + std::to_string(bytes) +
                          " bytes read)");
    }

    void show_progress_of(const input& from) {
        const bool wanted =
            !how_.quiet && from.size() && isatty(STDERR_FILENO) == 1 && !terminal_is_dumb();
        bar_ = wanted ? std::make_unique<progress>(*from.size()) : std::make_unique<progress>();
    }

    /// In the formats that have no place for it.
    void report(const place& where, const refusal& what) {
        const bool is_in_output =
            how_.format == output_format::json && how_.show == view_choice::tables;
        if (how_.quiet || is_in_output) return;
        if (!reports_.admits(reported_)) return tell({reports_});
        ++reported_;
        std::string found = where.file.empty() ? "" : printable(where.file) + ": ";
        if (where.pid) found += name_of_pid(*where.pid) + ", ";
        found += (where.pid ? "packet " : "section ") + std::to_string(where.number);
        complain(found + ": refused: " + what.why.text());
    }

    void finish() {
        totals& counts = view_->counts();
        counts.add(view_->bounds());
        if (const auto reason = why_not_written()) {
            complain(*reason + ", so " + to_->name() + " is not written");
            failed_ = true;
        } else {
            if (any_read_) view_->end();
            if (any_read_ || how_.totals) writer_.finish(how_.totals ? &counts : nullptr);
            to_->commit();
        }
        if (!how_.quiet && !how_.totals) write_to_standard_error(to_text(counts));
    }

    /// What stood at the path before is better than what holds nothing, or ends in the middle.
    std::optional<std::string> why_not_written() const {
        if (!to_->is_aside()) return std::nullopt;
        if (!cut_short_.empty()) return cut_short_ + ": interrupted";
        if (!any_read_) return "no input could be read";
        return std::nullopt;
    }

    const options& how_;
    std::unique_ptr<output> to_;
    std::unique_ptr<progress> bar_ = std::make_unique<progress>();
    writer_over_progress writer_;
    std::unique_ptr<view> view_;
    std::unique_ptr<completeness_watch> watch_;  ///< of the input, where the user wants to know
    input::clock::time_point end_of_waiting_ = input::clock::time_point::max();
    std::set<std::string_view> told_bounds_;
    // With --all each is told, but nobody reads more.
    bound reports_ = {"lines about refusals", 1'000};
    std::size_t reported_ = 0;
    bool failed_ = false;
    bool any_read_ = false;  ///< an input that held something, as far as the user wanted
    std::string cut_short_;  ///< the file that the user interrupted, as messages name it
};

}  // namespace

int run(const options& how) try {
    if (how.inputs.empty() && isatty(STDIN_FILENO) == 1) {
        complain("name a file, or pipe a stream in (si_inspect --help says more)");
        return exit_usage;
    }
    if (how.format == output_format::sections && how.output.empty() && isatty(STDOUT_FILENO) == 1) {
        complain("a terminal cannot show sections: name a file with --output, or a pipe");
        return exit_usage;
    }
    fill_closed_standard_streams();
    refuse_to_damage(inputs_of(how), how.output);
    configure_log(how);
    interruption::watch();
    return reading(how).all();
} catch (const output_closed&) {
    return exit_ok;
} catch (const std::exception& e) {
    complain(e.what());
    return exit_input;
}

}  // namespace orvix::si_inspect
