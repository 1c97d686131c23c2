#pragma once

// What the tests of several tables and descriptors look at in the same way.

#include <gmock/gmock.h>
#include <parse_exactly.h>
#include <si_parser/psi_table.h>

#include <boost/smart_ptr/make_shared.hpp>
#include <cstddef>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace orvix::test {

/// Sees the list's tags: `Tags(0x48, 0x52)` is a service descriptor, then a stream identifier.
inline std::vector<int> tags_of(const si_parser::descriptor_list& list) {
    std::vector<int> tags;
    for (const si_parser::descriptor_ptr& d : list) tags.push_back(d->tag);
    return tags;
}

template <typename... Tag>
auto Tags(Tag... tag) {
    return testing::ResultOf("tags", tags_of, testing::ElementsAre(tag...));
}

/// Each address of a `std::vector<const void*>` is above the one before it.
MATCHER(AreInMemoryOrder, "") {
    for (std::size_t i = 1; i < arg.size(); ++i) {
        if (arg[i - 1] >= arg[i]) {
            *result_listener << "address " << i << " is not above the one before it";
            return false;
        }
    }
    return true;
}

/// A descriptor that writes its name down when it is destroyed: puts the order in which a table
/// lets go of its lists on record.
class farewell : public si_parser::descriptor {
public:
    farewell(std::string name, std::vector<std::string>& said)
        : name_(std::move(name)), said_(said) {}
    ~farewell() override { said_.push_back(name_); }

private:
    std::string name_;
    std::vector<std::string>& said_;
};

inline si_parser::descriptor_ptr says_farewell(const std::string& name,
                                               std::vector<std::string>& said) {
    return boost::make_shared<farewell>(name, said);
}

/// Counts the calls of `clear` that reach a class derived from a table.
template <typename Table>
class clear_counter : public Table {
public:
    void clear() override {
        ++clears;
        Table::clear();
    }
    int clears = 0;
};

/// The descriptors of a loop, from a block of exactly its bytes and those that a descriptor reads
/// behind it. The block is gone afterwards.
inline si_parser::descriptor_list parse_loop(const bytes& loop, const bytes& spare = {}) {
    const exact_block block(loop + spare);
    si_parser::psi_table table;
    table._parse_descriptors(block.data(), static_cast<unsigned int>(loop.size()));
    return table.get_descriptors();
}

/// The last descriptor of a loop, which is a `T`.
template <typename T>
boost::shared_ptr<T> parse_descriptor(const bytes& loop, const bytes& spare = {}) {
    const si_parser::descriptor_list list = parse_loop(loop, spare);
    if (list.empty()) throw std::runtime_error("the loop holds no known descriptor");
    auto last = boost::dynamic_pointer_cast<T>(list.back());
    if (!last) throw std::runtime_error("the loop's last descriptor is of another class");
    return last;
}

}  // namespace orvix::test
