// bench_sections CORPORA WORK/CORPUS TIMES: works TIMES times through the sections of a corpus, for
// something else to count what that takes. bench_sections CORPORA: lists what there is to do, each
// with its number of sections and of bytes. CORPORA is "broadcast", "growing" or a file of whole
// sections.

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

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "work.h"

namespace orvix::bench {

std::unique_ptr<si_parser::psi_table> make_table(const std::string& table) {
    if (table == "PAT") return std::make_unique<si_parser::pat>();
    if (table == "PMT") return std::make_unique<si_parser::pmt>();
    if (table == "SDT") return std::make_unique<si_parser::sdt>();
    if (table == "NIT") return std::make_unique<si_parser::nit>();
    if (table == "EIT") return std::make_unique<si_parser::eit>();
    if (table == "TDT") return std::make_unique<si_parser::tdt>();
    if (table == "TOT") return std::make_unique<si_parser::tot>();
    return std::make_unique<si_parser::ait>();
}

namespace {

class parse : public work {
public:
    explicit parse(const corpus& c) {
        for (const sample& s : c.samples) {
            auto& table = tables_[s.table];
            if (!table) table = make_table(s.table);
            sections_.push_back({table.get(), s.section, told_size(s)});
            sections_.back().bytes.push_back(0);  // the spare one
        }
    }
    void run() override {
        for (section& s : sections_) s.table->parse(s.bytes.data(), s.size);
    }

private:
    struct section {
        si_parser::psi_table* table;
        test::bytes bytes;
        unsigned int size;
    };
    std::map<std::string, std::unique_ptr<si_parser::psi_table>> tables_;
    std::vector<section> sections_;
};

class gate : public work {
public:
    explicit gate(const corpus& c) : samples_(c.samples) {}
    void run() override {
        for (const sample& s : samples_) {
            const auto result = section_feed::check_section(s.section.data(), s.section.size());
            if (!result.admitted()) throw std::runtime_error(result.text());
        }
    }

private:
    std::vector<sample> samples_;
};

/// The names of the kinds of work on a corpus.
std::vector<std::string> kinds(const corpus& c) {
    std::vector<std::string> names = {"parse", "gate", "floor"};
    if (peer_decodes(c)) names.emplace_back("libdvbpsi");
    return names;
}

std::unique_ptr<work> make_work(const std::string& kind, const corpus& c) {
    if (kind == "parse") return std::make_unique<parse>(c);
    if (kind == "gate") return std::make_unique<gate>(c);
    if (kind == "floor") return make_floor(c);
    return make_peer(c);
}

std::size_t bytes_of(const corpus& c) {
    std::size_t bytes = 0;
    for (const sample& s : c.samples) bytes += s.section.size();
    return bytes;
}

void list(const std::vector<corpus>& corpora) {
    for (const corpus& c : corpora) {
        for (const std::string& kind : kinds(c)) {
            std::printf("%s/%s %zu %zu\n", kind.c_str(), c.name.c_str(), c.samples.size(),
                        bytes_of(c));
        }
    }
}

std::vector<corpus> corpora_of(const std::string& name) {
    if (name == "broadcast") return broadcast_corpora();
    if (name == "growing") return growing_corpora();
    return file_corpora(name);
}

void run(const std::vector<corpus>& corpora, const std::string& name, long times) {
    for (const corpus& c : corpora) {
        for (const std::string& kind : kinds(c)) {
            if (kind + "/" + c.name != name) continue;
            const auto work = make_work(kind, c);
            for (long i = 0; i < times; ++i) work->run();
            return;
        }
    }
    throw std::runtime_error("there is no " + name);
}

}  // namespace
}  // namespace orvix::bench

int main(int argc, char** argv) try {
    using namespace orvix;
    OrvixLog::reporting_level() = OrvixLog::NONE;
    const std::vector<std::string> words(argv + 1, argv + argc);
    if (words.size() != 1 && words.size() != 3) {
        std::fputs("usage: bench_sections broadcast|growing|FILE [WORK/CORPUS TIMES]\n", stderr);
        return 2;
    }
    const std::vector<bench::corpus> corpora = bench::corpora_of(words[0]);
    if (words.size() == 1) {
        bench::list(corpora);
    } else {
        bench::run(corpora, words[1], std::stol(words[2]));
    }
    return 0;
} catch (const std::exception& e) {
    std::fprintf(stderr, "bench_sections: %s\n", e.what());
    return 1;
}
