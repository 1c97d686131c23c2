// A plugin of QEMU's user-mode emulators: writes to standard error how many instructions the
// program executed. Emulation makes the count the same on every machine: the C library picks its
// variants by the emulated processor, not by the one underneath.
//
// Debian ships the emulators with plugins enabled but without their header, so what is used of it
// (version 1 of the interface) is declared here.

#include <cstddef>
#include <cstdint>
#include <cstdio>

#define EXPORTED __attribute__((visibility("default")))

extern "C" {

struct qemu_plugin_tb;  // a block of translated instructions
enum qemu_plugin_op { QEMU_PLUGIN_INLINE_ADD_U64 };

void qemu_plugin_register_vcpu_tb_trans_cb(std::uint64_t id,
                                           void (*translated)(std::uint64_t id, qemu_plugin_tb*));
std::size_t qemu_plugin_tb_n_insns(const qemu_plugin_tb*);
void qemu_plugin_register_vcpu_tb_exec_inline(qemu_plugin_tb*, qemu_plugin_op, void* counter,
                                              std::uint64_t by);
void qemu_plugin_register_atexit_cb(std::uint64_t id, void (*ended)(std::uint64_t id, void*),
                                    void* data);

EXPORTED int qemu_plugin_version = 1;
EXPORTED int qemu_plugin_install(std::uint64_t id, const void* info, int argc, char** argv);

}  // extern "C"

namespace {

std::uint64_t executed = 0;

void count(std::uint64_t /*id*/, qemu_plugin_tb* block) {
    qemu_plugin_register_vcpu_tb_exec_inline(block, QEMU_PLUGIN_INLINE_ADD_U64, &executed,
                                             qemu_plugin_tb_n_insns(block));
}

void report(std::uint64_t /*id*/, void* /*data*/) {
    std::fprintf(stderr, "instructions: %llu\n", static_cast<unsigned long long>(executed));
}

}  // namespace

int qemu_plugin_install(std::uint64_t id, const void* /*info*/, int /*argc*/, char** /*argv*/) {
    qemu_plugin_register_vcpu_tb_trans_cb(id, count);
    qemu_plugin_register_atexit_cb(id, report, nullptr);
    return 0;
}
