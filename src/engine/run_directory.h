#pragma once
// The private scratch of one run: a directory made on first use, preferably on a memory file
// system, holding one directory per FASTLINK job. It is removed at the end of the run and when
// the run is interrupted (SIGINT, SIGTERM), so nothing is left behind in any case.

#include <string>

namespace run_directory {

// Installs the interrupt handlers; called once at program start.
void installInterruptHandlers();

// The run directory, made on the first call (an empty text when none could be made; the
// reason has then been printed). The last place tried is the directory of the output prefix.
const std::string& path(const std::string& outputPrefix);

// A fresh, empty job directory inside the run directory ("" on failure).
std::string makeJobDirectory();

// Removes a job directory and everything in it.
void removeDirectory(const std::string& directory);

// Removes the run directory (at the end of the run).
void remove();

// While a runner runs its jobs, an interrupt only sets a flag: the runner stops its
// programs and cleans up. Outside that time the run directory is empty, so the handler
// removes it and ends the process at once.
void setRunningJobs(bool running);
bool interrupted();
// Ends the process the way the pending interrupt would have (after the clean-up).
[[noreturn]] void endAfterInterrupt();

}  // namespace run_directory
