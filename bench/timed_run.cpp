// Runs a program and appends "<label> <start> <end>" (seconds, monotonic clock) to a log file,
// so that a benchmark can sum the time spent inside the programs that varkel starts without
// charging a shell or a `date` process per call to varkel.
//
//   timed_run <log file> <label> <program> [arguments...]
//
// Started through a link of another name (e.g. "mlinkvarkel"), it runs the program named by
// the environment variable TIMED_RUN_<name> with the arguments given, logs under that name to
// the file named by TIMED_RUN_LOG, and so stands in for a launcher at no extra cost.
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

static double now() {
    timespec t{};
    clock_gettime(CLOCK_MONOTONIC, &t);
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}

int main(int argc, char** argv) {
    const std::string invokedAs = argv[0];
    const std::string name = invokedAs.substr(invokedAs.find_last_of('/') + 1);
    std::string log, label;
    std::vector<char*> command;
    if (name == "timed_run") {
        if (argc < 4) {
            std::fprintf(stderr, "usage: timed_run <log file> <label> <program> [arguments...]\n");
            return 2;
        }
        log = argv[1];
        label = argv[2];
        command.assign(argv + 3, argv + argc);
    } else {
        const char* logFile = std::getenv("TIMED_RUN_LOG");
        const char* program = std::getenv(("TIMED_RUN_" + name).c_str());
        if (!logFile || !program) {
            std::fprintf(stderr, "timed_run: TIMED_RUN_LOG and TIMED_RUN_%s must be set\n", name.c_str());
            return 2;
        }
        log = logFile;
        label = name;
        command.push_back(const_cast<char*>(program));
        command.insert(command.end(), argv + 1, argv + argc);
    }
    command.push_back(nullptr);

    const double start = now();
    const pid_t child = fork();
    if (child == 0) {
        execv(command[0], command.data());
        std::perror(command[0]);
        _exit(127);
    }
    int status = 0;
    waitpid(child, &status, 0);
    const double end = now();
    if (FILE* file = std::fopen(log.c_str(), "a")) {
        std::fprintf(file, "%s %.6f %.6f\n", label.c_str(), start, end);
        std::fclose(file);
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}
