#pragma once

#include <section_writer.h>

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <string>

namespace orvix::test {

/// A copy of the bytes in a heap block that ends where they end, so that AddressSanitizer sees a
/// read past them.
class exact_block {
public:
    explicit exact_block(const bytes& content)
        : bytes_(new unsigned char[content.size()]),
          size_(static_cast<unsigned int>(content.size())) {
        std::copy(content.begin(), content.end(), bytes_.get());
    }

    unsigned char* data() const { return bytes_.get(); }
    unsigned int size() const { return size_; }

private:
    std::unique_ptr<unsigned char[]> bytes_;
    unsigned int size_;
};

/// Parses the section from a block of exactly its bytes. The block is gone afterwards: a
/// descriptor's `data` must not be read.
template <typename Table>
void parse_exactly(Table& table, const bytes& section) {
    const exact_block block(section);
    table.parse(block.data(), block.size());
}

/// The same where the decoder reads past the section: `spare` is what it finds there.
template <typename Table>
void parse_with_spare_bytes(Table& table, const bytes& section, const bytes& spare) {
    const exact_block block(section + spare);
    table.parse(block.data(), static_cast<unsigned int>(section.size()));
}

/// The text of the exception with which the table refuses the section, or "accepted".
template <typename Table>
std::string answer_of(Table& table, const bytes& section) {
    try {
        parse_exactly(table, section);
        return "accepted";
    } catch (const std::runtime_error& refusal) {
        return refusal.what();
    }
}

}  // namespace orvix::test
