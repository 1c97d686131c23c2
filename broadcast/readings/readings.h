#pragma once

#include <broadcast/table_ref.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "value.h"

namespace orvix::broadcast {

/// A descriptor that was sent and that the receiver passes over.
struct skipped_descriptor {
    /// In whose loop: the number of the record in the table object's list, or none for the table's
    /// own loop.
    std::optional<std::size_t> record;
    std::size_t known_before = 0;  ///< of the loop's descriptors in the table object
    std::uint8_t tag = 0;
    std::uint8_t length = 0;             ///< as sent
    std::string_view name;               ///< "data component"
    const std::uint8_t* body = nullptr;  ///< in the section
    std::size_t body_size = 0;           ///< less than `length` where its loop cuts it off
    value::record fields;                ///< where there are none, the body says what it says
};

/// Which field of a table object.
struct field_place {
    std::string_view records;               ///< "services"; empty for the table's own fields
    std::optional<std::size_t> record;      ///< of those in the table object's list
    std::optional<std::size_t> descriptor;  ///< of its loop's, skipped ones counted, as sent
    /// May be one that the receiver's object lacks: "transmission_types".
    std::string_view field;

    /// JSON pointer into the table's JSON object.
    std::string pointer() const;
};

/// A place where the receiver reads something else than was sent.
struct difference {
    field_place at;
    value broadcast;
    std::string why;  ///< "the receiver drops the transmission types"
    enum class kind {
        otherwise,  ///< the receiver has another value
        missed,     ///< the receiver has nothing
    };
    kind receiver = kind::otherwise;
    bool is_visible = true;  ///< whether a viewer may notice
};

/// The broadcast's reading of a section beside the receiver's. Takes as much as a few times the
/// section's size, and linear time.
struct readings {
    /// By loop, the table's own first; in each as sent.
    std::vector<skipped_descriptor> skipped;
    /// The table's own first, then by record; in each those of its fields, then by descriptor.
    std::vector<difference> differences;
};

/// Of an admitted section, and the table that was decoded from these very bytes. The result is
/// valid as long as they are.
readings read_broadcast(const std::uint8_t* section, std::size_t size, const table_ref& table);

}  // namespace orvix::broadcast
