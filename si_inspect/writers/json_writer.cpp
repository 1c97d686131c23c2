#include "writers/json_writer.h"

#include <broadcast/names.h>

#include <nlohmann/json.hpp>

#include "display.h"
#include "writers/fields.h"

namespace orvix::si_inspect {

using namespace broadcast;

namespace {

using json = nlohmann::ordered_json;

/// Puts fields into JSON objects, each value under its name and its meaning beside it.
class object_builder {
public:
    explicit object_builder(utc_offset offset) : offset_(offset) {}

    void add(json& object, const record& fields) const {
        for (const field& f : fields) {
            std::visit([&](const auto& value) { put(object, std::string(f.name), value); },
                       f.value);
        }
    }

private:
    void put(json& object, const std::string& name, bool value) const { object[name] = value; }
    void put(json& object, const std::string& name, const number& value) const {
        object[name] = value.value;
        if (!value.meaning.empty()) object[name + "_name"] = value.meaning;
    }
    void put(json& object, const std::string& name, const text& value) const {
        object[name] = value.utf8;
    }
    void put(json& object, const std::string& name, const raw_text& value) const {
        if (is_plain_text(value.bytes)) {
            object[name] = value.bytes;
        } else {
            object[name + "_hex"] = hex(value.bytes);
        }
    }
    void put(json& object, const std::string& name, const moment& value) const {
        object[name] = value.seconds;
        object[name + "_iso"] = iso_time(value.seconds, offset_);
    }
    void put(json& object, const std::string& name, const duration& value) const {
        object[name] = value.seconds;
        object[name + "_iso"] = iso_duration(value.seconds);
    }
    void put(json& object, const std::string& name, const record_list& value) const {
        object[name] = array(value.records);
    }
    void put(json& object, const std::string& name, const described_list& value) const {
        object[name] = array(value.descriptors);
    }

    json array(const std::vector<record>& records) const {
        json all = json::array();
        for (const record& r : records) {
            json object = json::object();
            add(object, r);
            all.push_back(std::move(object));
        }
        return all;
    }

    utc_offset offset_;
};

/// Where the section was found, and of which table it is.
json begin_object(const place& where, std::uint32_t table_id) {
    json object = json::object();
    if (!where.file.empty()) object["file"] = where.file;
    object[where.pid ? "packet" : "section"] = where.number;
    if (where.pid) object["pid"] = *where.pid;
    object["table"] = names::table_kind(table_id);
    return object;
}

void write_line(output& to, const json& object) {
    // Names of files need not be UTF-8: what is not is replaced, so that every line stays valid.
    to.write(object.dump(-1, ' ', false, json::error_handler_t::replace) + '\n');
}

/// "0x0011" for a PID's counts; bare sections have none.
std::string pid_key(std::uint16_t pid) {
    return pid == totals::no_pid ? "none" : std::to_string(pid);
}

template <typename Reason>
json by_pid(const std::map<std::uint16_t, std::map<Reason, std::uint64_t>>& counts) {
    json pids = json::object();
    for (const auto& [pid, reasons] : counts) {
        json& object = pids[pid_key(pid)];
        for (const auto& [reason, count] : reasons) object[to_string(reason)] = count;
    }
    return pids;
}

json not_decoded(const totals& counts) {
    json pids = json::object();
    for (const auto& [pid, tables] : counts.not_decoded) {
        json& object = pids[pid_key(pid)];
        for (const auto& [table_id, count] : tables) {
            object[std::to_string(table_id)] = {{"name", names::table_id(table_id)},
                                                {"sections", count}};
        }
    }
    return pids;
}

json left_out(const totals& counts) {
    json object = json::object();
    for (const auto& [what, count] : counts.left_out) object[std::string(what)] = count;
    return object;
}

}  // namespace

void json_writer::table(const sighting& seen) {
    const table_ref& table = *seen.table;
    const std::uint32_t table_id =
        std::visit([](const auto* decoded) { return decoded->table_id; }, table);
    json object = begin_object(seen.where, table_id);
    object_builder(offset_).add(object, describe(table));
    write_line(to_, object);
}

void json_writer::refused(const place& where, const refusal& what) {
    json object = begin_object(where, what.section[0]);
    object["table_id"] = what.section[0];
    object["refused"] = {{"reason", to_string(what.why.why)},
                         {"byte", what.why.byte},
                         {"sentence", what.why.text()}};
    object["bytes"] = hex({reinterpret_cast<const char*>(what.section), what.size});
    write_line(to_, object);
}

void json_writer::finish(const totals* counts) {
    if (counts == nullptr) return;
    json tables = json::object();
    for (const auto& [table, count] : counts->tables) {
        tables[std::string(table)] = {{"sections", count.sections}, {"shown", count.shown}};
    }
    const json object = {{"totals",
                          {{"packets", counts->packets},
                           {"pids", counts->pids.count()},
                           {"tables", std::move(tables)},
                           {"not_decoded", not_decoded(*counts)},
                           {"passed_over", counts->passed_over},
                           {"refused", by_pid(counts->refused)},
                           {"dropped", by_pid(counts->dropped)},
                           {"skipped_bytes", counts->skipped_bytes},
                           {"sync_losses", counts->sync_losses},
                           {"left_out", left_out(*counts)}}}};
    write_line(to_, object);
}

}  // namespace orvix::si_inspect
