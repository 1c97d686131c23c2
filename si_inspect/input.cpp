#include "input.h"

#include "display.h"
#include "interruption.h"

namespace orvix::si_inspect {

input::input(const std::string& word) try : name_(name_of(word)), from_(inputs::open_source(word)) {
} catch (const inputs::source_error& e) {
    throw input_error(name_of(word) + ": " + e.what());
}

std::string input::name_of(const std::string& word) {
    return word == "-" ? "standard input" : printable(word);
}

std::size_t input::read(std::uint8_t* to, std::size_t room, clock::time_point until) {
    try {
        return from_->read(to, room, until, interruption::descriptor());
    } catch (const inputs::source_error& e) {
        throw input_error(name_ + ": " + e.what());
    }
}

}  // namespace orvix::si_inspect
