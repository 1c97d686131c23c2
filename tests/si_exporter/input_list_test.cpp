#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <input_list.h>

#include <string>

namespace orvix::si_exporter {
namespace {

std::string why_wrong(const std::string& word) {
    try {
        parse_input(word);
        return "";
    } catch (const list_error& e) {
        return e.what();
    }
}

TEST(InputList, HasNamesAndAddresses) {
    const named_input parsed = parse_input("manaca=udp://239.255.7.7:5004?interface=eth0");
    EXPECT_EQ(parsed.name, "manaca");
    EXPECT_EQ(parsed.address, "udp://239.255.7.7:5004?interface=eth0");
    EXPECT_EQ(parse_input("a-B_3.x=/run/a=b.ts").address, "/run/a=b.ts");
}

TEST(InputList, SaysWhatIsWrongWithAnInput) {
    const std::string form = " is not like NAME=INPUT, the name of letters, digits, '_', '-', '.'";
    EXPECT_EQ(why_wrong(""), "''" + form);
    EXPECT_EQ(why_wrong("udp"), "'udp'" + form);
    EXPECT_EQ(why_wrong("=x"), "'=x'" + form);
    EXPECT_EQ(why_wrong("x="), "'x='" + form);
    EXPECT_EQ(why_wrong("a b=x"), "'a b=x'" + form);
    EXPECT_EQ(why_wrong("a\"=x"), "'a\"=x'" + form);
    EXPECT_EQ(why_wrong("a\x1B=x"), "'a?=x'" + form);
    EXPECT_EQ(why_wrong(std::string(65, 'a') + "=x"), "'" + std::string(65, 'a') + "=x'" + form);
    EXPECT_EQ(why_wrong(std::string(64, 'a') + "=x"), "");
    EXPECT_EQ(why_wrong("a=udp://tower:1"), "a=udp://tower:1: 'tower' is no IP address");
}

TEST(InputList, HasEachNameOnce) {
    check_input_list({{"a", "x"}, {"b", "x"}});
    try {
        check_input_list({{"a", "x"}, {"b", "x"}, {"a", "y"}});
        FAIL();
    } catch (const list_error& e) {
        EXPECT_STREQ(e.what(), "two inputs have the name 'a'");
    }
}

TEST(InputList, HasAnEnd) {
    std::vector<named_input> many;
    for (std::size_t i = 0; i < most_inputs; ++i) many.push_back({std::to_string(i), "x"});
    check_input_list(many);
    many.push_back({"one-more", "x"});
    EXPECT_THROW(check_input_list(many), list_error);
}

}  // namespace
}  // namespace orvix::si_exporter
