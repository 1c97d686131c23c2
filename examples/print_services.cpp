#include <section_feed/section_gate.h>
#include <si_parser/sdt.h>

#include <iostream>
#include <stdexcept>
#include <vector>

void print_services(std::vector<unsigned char>& section) {
    const auto gate = orvix::section_feed::check_section(section.data(), section.size());
    if (!gate.admitted()) throw std::runtime_error(gate.text());

    orvix::si_parser::sdt sdt;
    sdt.parse(section.data(), static_cast<unsigned int>(section.size()));
    for (const auto& service : sdt.services) {
        using orvix::si_parser::service_descriptor;
        const auto name = sdt.get_descriptor_from<service_descriptor>(0x48, service.descriptors);
        if (name) std::cout << service.service_id << ": " << name->service_name << '\n';
    }
}

#include <log/orvix_log.h>

#include <iterator>

// Reads the section from the standard input.
int main() try {
    OrvixLog::reporting_level() = OrvixLog::ERROR;  // the first setting writes every trace
    std::vector<unsigned char> section(std::istreambuf_iterator<char>(std::cin), {});
    print_services(section);
} catch (const std::exception& e) {
    std::cerr << "print_services: standard input: " << e.what() << '\n';
    return 1;
}
