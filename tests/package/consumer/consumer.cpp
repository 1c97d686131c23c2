// A program of another project: uses each installed library once and checks what it gets.

#include <log/orvix_log.h>
#include <section_feed/section_gate.h>
#include <si_parser/pat.h>

#include <cstdio>

int main() {
    // A PAT: programme 1's PMT is on PID 0x100. The CRC_32 is left at 0.
    unsigned char section[] = {0x00, 0xB0, 0x0D, 0x07, 0x20, 0xC1, 0x00, 0x00,
                               0x00, 0x01, 0xE1, 0x00, 0x00, 0x00, 0x00, 0x00};

    orvix::section_feed::gate_options without_crc;
    without_crc.check_crc = false;
    const bool admitted =
        orvix::section_feed::check_section(section, sizeof section, without_crc).admitted();
    const bool refused = !orvix::section_feed::check_section(section, sizeof section).admitted();

    orvix::si_parser::pat table;
    table.parse(section, sizeof section);
    ORVIX_LOG(INFO, "consumer", "PMT on PID " << table.program_map[1]);

    const bool right = admitted && refused && table.program_map[1] == 0x100;
    std::puts(right ? "right" : "wrong");
    return right ? 0 : 1;
}
