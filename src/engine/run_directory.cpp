#include "engine/run_directory.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <system_error>
#include <utility>
#include <vector>

namespace fs = std::filesystem;

namespace run_directory {

namespace {

// A memory file system is used only with this much room left; job files are small (a few
// megabytes at most), but other programs need the memory too.
constexpr unsigned long long kMinimumFreeBytes = 256ull << 20;

std::string runPath;
int jobNumber = 0;
// Read by the signal handler: a fixed buffer holding the run directory's path.
char runPathForHandler[4096] = {0};
volatile std::sig_atomic_t runningJobs = 0;
volatile std::sig_atomic_t pendingSignal = 0;

// Removes a file or a directory tree with system calls alone, which a signal handler may make.
// Entries are removed while the directory is read, so it is read again until nothing is left.
bool removeTreeAt(int parent, const char* name, int depth) {
    if (unlinkat(parent, name, 0) == 0) return true;
    if (errno != EISDIR || depth > 8) return false;
    const int directory = openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
    if (directory < 0) return false;
    alignas(dirent64) char entries[2048];
    for (bool removed = true; removed;) {
        removed = false;
        lseek(directory, 0, SEEK_SET);
        for (ssize_t length; (length = getdents64(directory, entries, sizeof entries)) > 0;)
            for (ssize_t offset = 0; offset < length;) {
                const dirent64* entry = reinterpret_cast<const dirent64*>(entries + offset);
                offset += entry->d_reclen;
                if (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0) continue;
                if (removeTreeAt(directory, entry->d_name, depth + 1)) removed = true;
            }
    }
    close(directory);
    return unlinkat(parent, name, AT_REMOVEDIR) == 0;
}

void onInterrupt(int signal) {
    pendingSignal = signal;
    if (runningJobs) return;
    // No runner at work: no program writes into the run directory any more. It holds at
    // most a rank's copy of its input links and files left by reading (a run over several
    // ranks), which go with it.
    if (runPathForHandler[0]) removeTreeAt(AT_FDCWD, runPathForHandler, 0);
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

bool usable(const std::string& directory, bool needsRoom) {
    if (directory.empty() || access(directory.c_str(), W_OK | X_OK) != 0) return false;
    if (!needsRoom) return true;
    struct statvfs info {};
    if (statvfs(directory.c_str(), &info) != 0) return false;
    return static_cast<unsigned long long>(info.f_bavail) * info.f_frsize >= kMinimumFreeBytes;
}

std::string makeRunDirectory(const std::string& parent) {
    // The process id in the name tells whose scratch a directory is.
    std::string pattern =
        (parent == "/" ? std::string() : parent) + "/varkel-" + std::to_string(getpid()) + "-XXXXXX";
    if (!mkdtemp(pattern.data())) return "";
    return pattern;
}

}  // namespace

void installInterruptHandlers() {
    struct sigaction action {};
    action.sa_handler = onInterrupt;
    sigemptyset(&action.sa_mask);
    action.sa_flags = 0;  // no SA_RESTART: a runner's wait must return when interrupted
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

const std::string& path(const std::string& outputPrefix) {
    if (!runPath.empty()) return runPath;
    const std::string::size_type slash = outputPrefix.rfind('/');
    const std::string besideOutput =
        slash == std::string::npos ? "." : slash == 0 ? "/" : outputPrefix.substr(0, slash);
    // Where fsync costs nothing first: FASTLINK checkpoints its state with many of them.
    std::vector<std::pair<std::string, bool>> candidates{{"/dev/shm", true}};
    if (const char* tmp = std::getenv("TMPDIR")) candidates.emplace_back(tmp, false);
    candidates.emplace_back("/tmp", false);
    candidates.emplace_back(besideOutput, false);
    for (const auto& candidate : candidates) {
        if (!usable(candidate.first, candidate.second)) continue;
        runPath = makeRunDirectory(candidate.first);
        if (!runPath.empty()) break;
    }
    if (runPath.empty()) {
        std::cout << "Error: Unable to make a scratch directory for FASTLINK in /dev/shm, $TMPDIR, /tmp or "
                  << besideOutput << std::endl;
        return runPath;
    }
    if (runPath.size() < sizeof runPathForHandler) runPath.copy(runPathForHandler, runPath.size());
    return runPath;
}

std::string makeJobDirectory() {
    if (runPath.empty()) return "";
    const std::string directory = runPath + "/job" + std::to_string(++jobNumber);
    std::error_code error;
    if (!fs::create_directory(directory, error)) return "";
    return directory;
}

void removeDirectory(const std::string& directory) {
    std::error_code error;
    if (!directory.empty()) fs::remove_all(directory, error);
}

void remove() {
    if (runPath.empty()) return;
    runPathForHandler[0] = '\0';
    removeDirectory(runPath);
    runPath.clear();
}

void setRunningJobs(bool running) { runningJobs = running ? 1 : 0; }

bool interrupted() { return pendingSignal != 0; }

void endAfterInterrupt() {
    remove();
    const int signal = pendingSignal;
    std::signal(signal, SIG_DFL);
    std::raise(signal);
    std::_Exit(128 + signal);
}

}  // namespace run_directory
