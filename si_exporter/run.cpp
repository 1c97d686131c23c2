#include "run.h"

#include <log/orvix_log.h>
#include <malloc.h>
#include <systemd/sd-daemon.h>

#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <iostream>

#include "http_server.h"
#include "input_list.h"
#include "input_set.h"
#include "metrics.h"
#include "shared_page.h"

namespace orvix::si_exporter {

namespace {

void say(const std::string& line) { std::cerr << "si_exporter: " + line + '\n' << std::flush; }

std::vector<named_input> wanted_inputs(const options& how) {
    std::vector<named_input> all;
    for (const std::string& word : how.inputs) all.push_back(parse_input(word));
    if (!how.inputs_file.empty()) {
        const std::vector<named_input> listed = read_input_list(how.inputs_file);
        all.insert(all.end(), listed.begin(), listed.end());
    }
    check_input_list(all);
    return all;
}

/// A page of a hundred inputs goes back to the system when it has been sent. Otherwise the
/// allocator raises its threshold, and each thread that has ever made a page keeps the room for
/// one.
void return_large_blocks() {
    constexpr int large = 128 * 1024;
    mallopt(M_MMAP_THRESHOLD, large);
}

/// What ends the program and what it listens to; of all threads that begin from now on.
sigset_t block_signals() {
    sigset_t all;
    sigemptyset(&all);
    for (const int signal : {SIGHUP, SIGINT, SIGTERM}) sigaddset(&all, signal);
    pthread_sigmask(SIG_BLOCK, &all, nullptr);
    signal(SIGPIPE, SIG_IGN);
    return all;
}

/// Half of the time after which the service manager takes the program for stuck, or a second.
timespec time_between_looks() {
    constexpr std::uint64_t second = 1'000'000;
    std::uint64_t microseconds = 0;
    if (sd_watchdog_enabled(0, &microseconds) <= 0) microseconds = 2 * second;
    const std::uint64_t half = microseconds / 2;
    return {static_cast<time_t>(half / second), static_cast<long>(half % second * 1'000)};
}

void reload(const options& how, input_set& inputs) {
    sd_notify(0, "RELOADING=1");
    try {
        inputs.follow(wanted_inputs(how));
        say("follows " + std::to_string(inputs.all().size()) + " inputs");
    } catch (const std::exception& e) {
        say(std::string(e.what()) + ", the inputs stay as they were");
    }
    sd_notify(0, "READY=1");
}

void serve(const options& how, const sigset_t& signals, input_set& inputs) {
    const timespec pause = time_between_looks();
    for (;;) {
        const int signal = sigtimedwait(&signals, nullptr, &pause);
        if (signal == SIGTERM || signal == SIGINT) break;
        if (signal == SIGHUP) reload(how, inputs);
        if (inputs.is_healthy()) sd_notify(0, "WATCHDOG=1");
    }
    sd_notify(0, "STOPPING=1");
}

}  // namespace

int run(const options& how) {
    // What the receiver's library notes of each section is no concern of a daemon.
    OrvixLog::reporting_level() = OrvixLog::NONE;
    return_large_blocks();
    const sigset_t signals = block_signals();
    try {
        const std::vector<named_input> wanted = wanted_inputs(how);
        input_set inputs(how.monitoring, [](const std::string& name, const std::string& line) {
            say(name + ": " + line);
        });
        shared_page metrics([&inputs] { return page_of(inputs.all()); });
        const http_server server(how.listen_address, {[&metrics] { return metrics.get(); },
                                                      [&inputs] { return inputs.is_healthy(); }});
        inputs.follow(wanted);
        say("listens to port " + std::to_string(server.port()));
        sd_notify(0, "READY=1");
        serve(how, signals, inputs);
        // The server would wait for its slowest client, some seconds at worst. Nothing is left to
        // be written.
        std::_Exit(exit_ok);
    } catch (const std::exception& e) {
        say(e.what());
        return exit_failure;
    }
}

}  // namespace orvix::si_exporter
