// What holds in every build type and from every build folder.

#include <gmock/gmock.h>
#include <log/orvix_log.h>
#include <si_parser/ait.h>
#include <si_parser/psi_table.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>

namespace {

using orvix::si_parser::ait;
using orvix::si_parser::descriptor_ptr;
using orvix::si_parser::psi_table;
using testing::HasSubstr;

TEST(ShippedLibrariesDeathTest, EmptyHandleInALookedUpListAborts) {
    const psi_table table;
    EXPECT_DEATH(table.get_descriptor_from(0x48, {descriptor_ptr()}), "px != 0");
}

TEST(ShippedLibraries, LogLinesNameFilesRelativeToTheProjectsRootAndTheLinesThatReadersKnow) {
    char* text = nullptr;
    std::size_t size = 0;
    std::FILE* const log = open_memstream(&text, &size);
    OrvixLog::output_stream() = log;

    std::array<unsigned char, 6> short_section = {0x74, 0x80};
    ait table;
    EXPECT_THROW(table.parse(short_section.data(), short_section.size()), std::runtime_error);

    OrvixLog::output_stream() = stdout;
    std::fclose(log);
    const std::unique_ptr<char, decltype(&std::free)> owner(text, &std::free);
    EXPECT_THAT(text, HasSubstr(" ERROR: si_parser/src/psi_table.cpp:61 - Short buffer, "));
    EXPECT_THAT(text, HasSubstr(" ERROR: si_parser/src/ait.cpp:27 - Caught: "));
}

}  // namespace
