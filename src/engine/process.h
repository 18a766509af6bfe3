#pragma once
// Starting external programs without a shell: the arguments reach the program as they are,
// so a file or identifier of the user's is never parsed as a command.

#include <sys/types.h>

#include <string>
#include <vector>

struct ProcessOptions {
    std::string workingDirectory;  // empty: the caller's
    // Files for the three standard streams; an empty name inherits the caller's stream.
    // Output files are appended to, so two streams may share one file.
    std::string standardInput = "/dev/null";
    std::string standardOutput;
    std::string standardError;
    // Start the program with fsync made a no-op (where libeatmydata is installed).
    bool withoutFsync = false;
    // Start it as the leader of a process group of its own, so that it can be stopped with
    // whatever it starts itself (kill with the negated process id).
    bool ownProcessGroup = false;
};

// Starts the program (looked up on PATH when the name has no slash). Returns its process id,
// or -1 with the reason in `error`.
pid_t startProcess(const std::vector<std::string>& arguments, const ProcessOptions& options, std::string& error);

// Waits for a started process and returns its exit status; a program ended by a signal gives
// 128 plus the signal number. A wait interrupted by a signal returns -1 with errno EINTR.
int waitForProcess(pid_t process);

// Decodes a status from waitpid as above.
int exitStatusOf(int waitStatus);

// The fsync-disabling library to preload, or "" when none is installed.
const std::string& fsyncDisablingLibrary();
