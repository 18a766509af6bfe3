#include "engine/process.h"

#include <fcntl.h>
#include <glob.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

extern char** environ;

const std::string& fsyncDisablingLibrary() {
    static const std::string library = [] {
        std::string found;
        glob_t matches{};
        if (glob("/usr/lib/*/libeatmydata.so.1", 0, nullptr, &matches) == 0 && matches.gl_pathc > 0)
            found = matches.gl_pathv[0];
        globfree(&matches);
        if (found.empty() && access("/usr/lib/libeatmydata.so.1", R_OK) == 0) found = "/usr/lib/libeatmydata.so.1";
        return found;
    }();
    return library;
}

namespace {

// The environment of the child: ours, with the fsync-disabling library added to LD_PRELOAD.
std::vector<std::string> childEnvironment(bool withoutFsync) {
    std::vector<std::string> variables;
    std::string preload;
    for (char** variable = environ; *variable; ++variable) {
        if (std::strncmp(*variable, "LD_PRELOAD=", 11) == 0) preload = *variable + 11;
        else variables.emplace_back(*variable);
    }
    if (withoutFsync && !fsyncDisablingLibrary().empty())
        preload = preload.empty() ? fsyncDisablingLibrary() : fsyncDisablingLibrary() + ":" + preload;
    if (!preload.empty()) variables.push_back("LD_PRELOAD=" + preload);
    return variables;
}

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string& text : texts) pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

}  // namespace

pid_t startProcess(const std::vector<std::string>& arguments, const ProcessOptions& options, std::string& error) {
    if (arguments.empty()) {
        error = "no program given";
        return -1;
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (!options.workingDirectory.empty())
        posix_spawn_file_actions_addchdir_np(&actions, options.workingDirectory.c_str());
    // Paths are opened after the change of directory, so relative names are the job's own.
    if (!options.standardInput.empty())
        posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, options.standardInput.c_str(), O_RDONLY, 0);
    const int outputFlags = O_WRONLY | O_CREAT | O_APPEND;
    if (!options.standardOutput.empty())
        posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, options.standardOutput.c_str(), outputFlags, 0644);
    if (!options.standardError.empty()) {
        if (options.standardError == options.standardOutput)
            posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);
        else
            posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, options.standardError.c_str(), outputFlags,
                                             0644);
    }

    std::vector<std::string> argumentTexts = arguments;
    std::vector<std::string> environmentTexts = childEnvironment(options.withoutFsync);
    std::vector<char*> argv = pointersTo(argumentTexts);
    std::vector<char*> envp = pointersTo(environmentTexts);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    if (options.ownProcessGroup) {
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
        posix_spawnattr_setpgroup(&attributes, 0);
    }
    pid_t process = -1;
    const int result = posix_spawnp(&process, argv[0], &actions, &attributes, argv.data(), envp.data());
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    if (result != 0) {
        error = std::strerror(result);
        return -1;
    }
    return process;
}

int exitStatusOf(int waitStatus) {
    if (WIFEXITED(waitStatus)) return WEXITSTATUS(waitStatus);
    if (WIFSIGNALED(waitStatus)) return 128 + WTERMSIG(waitStatus);
    return -1;
}

int waitForProcess(pid_t process) {
    int status = 0;
    if (waitpid(process, &status, 0) < 0) return -1;
    return exitStatusOf(status);
}
