// One benchmark per kind of work and table: parse/EIT, gate/EIT, floor/EIT, libdvbpsi/EIT.
// With --iterations=N each runs exactly N times, which is what counting instructions needs.

#include <benchmark/benchmark.h>
#include <log/orvix_log.h>
#include <section_feed/section_gate.h>
#include <si_parser/ait.h>
#include <si_parser/eit.h>
#include <si_parser/nit.h>
#include <si_parser/pat.h>
#include <si_parser/pmt.h>
#include <si_parser/sdt.h>
#include <si_parser/tdt.h>
#include <si_parser/tot.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "floor.h"
#include "samples.h"
#ifdef ORVIX_BENCH_PEER
#include "peer.h"
#endif

using namespace orvix;

namespace {

std::unique_ptr<si_parser::psi_table> make_table(const std::string& name) {
    if (name == "PAT") return std::make_unique<si_parser::pat>();
    if (name == "PMT") return std::make_unique<si_parser::pmt>();
    if (name == "SDT") return std::make_unique<si_parser::sdt>();
    if (name == "NIT") return std::make_unique<si_parser::nit>();
    if (name == "EIT") return std::make_unique<si_parser::eit>();
    if (name == "TDT") return std::make_unique<si_parser::tdt>();
    if (name == "TOT") return std::make_unique<si_parser::tot>();
    return std::make_unique<si_parser::ait>();
}

/// The size that a table is told: a TDT has one byte less than its parser wants.
unsigned int told_size(const bench::sample& s) {
    return static_cast<unsigned int>(s.section.size()) + (s.table == "TDT" ? 1u : 0u);
}

void run_parse(benchmark::State& state, bench::sample s) {
    const auto table = make_table(s.table);
    for (auto _ : state) table->parse(s.section.data(), told_size(s));
}

void run_gate(benchmark::State& state, const bench::sample& s) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(section_feed::check_section(s.section.data(), s.section.size()));
    }
}

void run_floor(benchmark::State& state, bench::sample s) {
    const auto table = make_table(s.table);
    table->parse(s.section.data(), told_size(s));
    const auto floor = bench::make_floor(s.table, *table);
    for (auto _ : state) floor->run();
}

long take_iterations(int& argc, char** argv) {
    constexpr char option[] = "--iterations=";
    if (argc < 2 || std::strncmp(argv[argc - 1], option, std::strlen(option)) != 0) return 0;
    --argc;
    return std::atol(argv[argc] + std::strlen(option));
}

}  // namespace

int main(int argc, char** argv) {
    OrvixLog::reporting_level() = OrvixLog::NONE;
    const long iterations = take_iterations(argc, argv);
    const auto add = [&](const std::string& name, auto work, const auto& sample) {
        auto* b = benchmark::RegisterBenchmark(
            name.c_str(), [=](benchmark::State& state) { work(state, sample); });
        if (iterations > 0) b->Iterations(iterations);
    };
    for (const bench::sample& s : bench::samples()) {
        add("parse/" + s.table, run_parse, s);
        add("gate/" + s.table, run_gate, s);
        add("floor/" + s.table, run_floor, s);
#ifdef ORVIX_BENCH_PEER
        if (bench::peer_decodes(s)) add("libdvbpsi/" + s.table, bench::run_peer, s);
#endif
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
