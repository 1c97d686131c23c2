#pragma once

#include <atomic>

/// Ctrl-C, SIGTERM and the terminal's end (SIGHUP) end the reading, not the program: what was read
/// is still shown and counted. A second one ends the program.
namespace orvix::si_inspect::interruption {

/// From now on these signals are noted, but those that the program was started to ignore (by nohup,
/// or in the background of a shell without job control). Also lets writes to a closed pipe, and
/// behind the largest size of a file, fail instead of ending the program.
void watch();
const std::atomic<bool>& happened();
/// Becomes readable when the user interrupts; negative before `watch`.
int descriptor();

}  // namespace orvix::si_inspect::interruption
