#include <gmock/gmock.h>

#include <array>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>

#include "isdb_sections.h"

namespace orvix::test {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

struct outcome {
    std::string output;  ///< both streams
    bool succeeded = false;
};

/// Runs the example with `section` as its standard input.
outcome print_services(const bytes& section) {
    const std::string file = testing::TempDir() + "print_services_test." +
                             testing::UnitTest::GetInstance()->current_test_info()->name();
    std::ofstream(file, std::ios::binary) << std::string(section.begin(), section.end());

    outcome result;
    std::FILE* const program = popen(("'" PRINT_SERVICES "' 2>&1 < '" + file + "'").c_str(), "r");
    std::array<char, 256> line;
    while (std::fgets(line.data(), line.size(), program) != nullptr) result.output += line.data();
    result.succeeded = pclose(program) == 0;
    std::remove(file.c_str());
    return result;
}

std::string text_of(const std::string& file) {
    std::ifstream stream(file);
    return {std::istreambuf_iterator<char>(stream), {}};
}

/// The first C++ block of a Markdown text.
std::string first_example(const std::string& markdown) {
    const std::string opening = "```cpp\n";
    const std::size_t begin = markdown.find(opening) + opening.size();
    return markdown.substr(begin, markdown.find("```", begin) - begin);
}

bytes two_services() {
    return sdt_section(
        0x0720, 0x0720,
        service(0x5C20, 4, 0, describe_service(0x01, "Provider", "Canal Um")) +
            service(0x5C38, 4, 0, describe_service(0x01, "Provider", "Canal M\xF3vel")));
}

TEST(PrintServices, PrintsIdentifierAndNameOfEachService) {
    const outcome printed = print_services(two_services());
    EXPECT_EQ(printed.output, "23584: Canal Um\n23608: Canal M\xC3\xB3vel\n");
    EXPECT_TRUE(printed.succeeded);
}

TEST(PrintServices, FailsOnASectionThatTheGateRefuses) {
    bytes damaged = two_services();
    damaged[20] ^= 1;
    const outcome printed = print_services(damaged);
    EXPECT_THAT(printed.output, StartsWith("print_services: standard input: "));
    EXPECT_THAT(printed.output, HasSubstr("CRC_32"));
    EXPECT_FALSE(printed.succeeded);
}

TEST(PrintServices, IsTheExampleOfTheReadme) {
    const std::string example = first_example(text_of(README));
    EXPECT_THAT(example, HasSubstr("void print_services("));
    EXPECT_THAT(text_of(PRINT_SERVICES_SOURCE), StartsWith(example));
}

}  // namespace
}  // namespace orvix::test
