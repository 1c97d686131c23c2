#pragma once

#include <cstddef>
#include <vector>

namespace orvix::test {

/// Where the fields lie in their object, in bytes from its beginning.
template <typename Object, typename... Field>
std::vector<std::size_t> places_in(const Object& object, const Field&... fields) {
    const auto place = [&object](const void* field) {
        return static_cast<std::size_t>(static_cast<const char*>(field) -
                                        reinterpret_cast<const char*>(&object));
    };
    return {place(&fields)...};
}

}  // namespace orvix::test
