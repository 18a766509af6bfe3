#include "engine/fastlink_runner.h"

#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <deque>
#include <fstream>
#include <iostream>
#include <map>
#include <numeric>
#include <sstream>

#include "driver/utilities.h"
#include "engine/process.h"
#include "engine/progress_line.h"
#include "engine/run_directory.h"

namespace {

const char* const kLogName = "fastlink.log";  // standard output and error of the job's programs
const size_t kLastLinesShown = 12;

std::string readWhole(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream content;
    content << in.rdbuf();
    return content.str();
}

std::vector<std::string> lastLines(const std::string& text, size_t count) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        while (!line.empty() && (line.back() == '\r' || line.back() == ' ')) line.pop_back();
        if (!line.empty()) lines.push_back(line);
    }
    if (lines.size() > count) lines.erase(lines.begin(), lines.end() - static_cast<long>(count));
    return lines;
}

std::string commandText(const FastlinkStep& step) {
    std::string text = step.program;
    for (const std::string& argument : step.arguments) text += " " + argument;
    return text;
}

void printFramedError(std::ostream& out, const FastlinkStep& step) {
    const std::string stars(66, '*');
    if (step.breaksLoops) {
        out << "\n" << stars << "\nError in breaking loops with UNKNOWN...\n" << stars << "\n\n";
        return;
    }
    out << "\n"
              << stars << "\n"
              << step.errorLine << "\n\n"
              << "Something is wrong....\n"
              << stars << "\n\n"
              << "Aborting program!\n";
}

struct ActiveJob {
    size_t job;
    size_t step;
    std::string directory;
};

}  // namespace

std::vector<FastlinkStep> fastlinkSteps(bool breakLoops, const std::string& program, const std::string& errorLine) {
    std::vector<FastlinkStep> steps;
    if (breakLoops) steps.push_back({"unknownvarkel", {"-l"}, "Error in breaking loops with UNKNOWN...", true});
    steps.push_back({"unknownvarkel", {}, "Error in executing UNKNOWN: unknownvarkel", false});
    steps.push_back({program, {}, errorLine, false});
    return steps;
}

pid_t startFastlinkStep(const FastlinkStep& step, const std::string& directory, bool verbose, std::string& error) {
    std::vector<std::string> arguments{step.program};
    arguments.insert(arguments.end(), step.arguments.begin(), step.arguments.end());
    ProcessOptions options;
    options.workingDirectory = directory;
    // Each program's messages on their own: a failure shows the failing program's lines.
    std::remove((directory + "/" + kLogName).c_str());
    options.standardOutput = directory + "/" + kLogName;
    options.standardError = options.standardOutput;
    options.withoutFsync = true;
    options.ownProcessGroup = true;
    if (verbose) {
        if (step.breaksLoops) std::cout << "Breaking loops..." << std::endl;
        std::cout << "External command: " << commandText(step) << std::endl;
    }
    const pid_t process = startProcess(arguments, options, error);
    if (process < 0) error = "Unable to start " + step.program + ": " + error;
    return process;
}

std::string fastlinkFailureReport(const FastlinkJob& job, size_t step, const std::string& directory,
                                  const std::string& reason, bool showLog) {
    std::ostringstream report;
    const FastlinkStep& failing = job.steps[std::min(step, job.steps.size() - 1)];
    printFramedError(report, failing);
    report << "FASTLINK job: " << commandText(failing) << " for " << job.description << "\n";
    if (!reason.empty()) report << reason << "\n";
    if (showLog) {
        const std::vector<std::string> last = lastLines(readWhole(directory + "/" + kLogName), kLastLinesShown);
        if (!last.empty()) {
            report << "Last lines printed by " << failing.program << ":\n";
            for (const std::string& line : last) report << "    " << line << "\n";
        }
    }
    return report.str();
}

FastlinkRunner::FastlinkRunner(int parallelJobs, bool verbose, std::string outputPrefix)
    : parallelJobs(std::max(1, parallelJobs)), verbose(verbose), outputPrefix(std::move(outputPrefix)) {}

int FastlinkRunner::availableCores() {
    cpu_set_t cores;
    CPU_ZERO(&cores);
    if (sched_getaffinity(0, sizeof cores, &cores) == 0) return std::max(1, CPU_COUNT(&cores));
    const long online = sysconf(_SC_NPROCESSORS_ONLN);
    return online > 0 ? static_cast<int>(online) : 1;
}

bool FastlinkRunner::run(std::vector<FastlinkJob>& jobs) {
    if (jobs.empty()) return true;
    if (run_directory::path(outputPrefix).empty()) return false;

    // The largest jobs first, so that the last ones to end are short and every core stays busy.
    std::vector<size_t> order(jobs.size());
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin(), order.end(), [&](size_t a, size_t b) { return jobs[a].size > jobs[b].size; });

    run_directory::setRunningJobs(true);
    std::map<pid_t, ActiveJob> active;
    size_t next = 0, done = 0;
    bool failed = false;
    ProgressLine progress("FASTLINK jobs", jobs.size(), !verbose);
    std::vector<std::chrono::steady_clock::time_point> jobStarts(jobs.size());
    jobSeconds.assign(jobs.size(), 0.0);

    // The failure's report, printed once every program has stopped.
    std::string failureReport;
    const auto fail = [&](const ActiveJob& job, const std::string& reason, bool showLog) {
        failed = true;
        failureReport = fastlinkFailureReport(jobs[job.job], job.step, job.directory, reason, showLog);
    };

    const auto startStep = [&](ActiveJob job) {
        if (job.step == 0) jobStarts[job.job] = std::chrono::steady_clock::now();
        std::string error;
        const pid_t process = startFastlinkStep(jobs[job.job].steps[job.step], job.directory, verbose, error);
        if (process < 0) {
            fail(job, error, false);
            return;
        }
        active[process] = job;
    };

    // Programs are started first; varkel's own work on the jobs (writing the next inputs, reading
    // the finished outputs) is done while they run, so the cores wait for neither.
    std::deque<ActiveJob> prepared;  // input written, not started
    std::deque<ActiveJob> finished;  // programs done, output not read
    const auto prepare = [&]() {
        ActiveJob job{order[next++], 0, run_directory::makeJobDirectory()};
        if (job.directory.empty() || !jobs[job.job].writeInput(job.directory)) {
            fail(job, "Unable to write its input files in the scratch directory " + run_directory::path(outputPrefix),
                 false);
            run_directory::removeDirectory(job.directory);
            return;
        }
        prepared.push_back(job);
    };
    const auto stopping = [&] { return failed || run_directory::interrupted(); };

    while (true) {
        while (!stopping() && active.size() < static_cast<size_t>(parallelJobs) &&
               (!prepared.empty() || next < order.size())) {
            if (prepared.empty()) prepare();
            if (prepared.empty()) break;
            startStep(prepared.front());
            prepared.pop_front();
        }
        while (!finished.empty()) {
            const ActiveJob job = finished.front();
            finished.pop_front();
            if (stopping()) {
                run_directory::removeDirectory(job.directory);
                continue;
            }
            if (!jobs[job.job].readOutput(job.directory)) {
                fail(job, "Its output file outfile.dat is missing or incomplete", true);
            } else {
                jobSeconds[job.job] =
                    std::chrono::duration<double>(std::chrono::steady_clock::now() - jobStarts[job.job]).count();
                ++done;
                progress.update(done);
            }
            run_directory::removeDirectory(job.directory);
        }
        if (!stopping() && prepared.size() < static_cast<size_t>(parallelJobs) && next < order.size()) prepare();
        if (active.empty()) {
            if (!stopping() && (!prepared.empty() || next < order.size())) continue;
            break;
        }

        int waitStatus = 0;
        const pid_t process = waitpid(-1, &waitStatus, 0);
        if (process < 0) {
            if (errno == EINTR) {
                if (run_directory::interrupted()) break;
                continue;
            }
            break;
        }
        const auto found = active.find(process);
        if (found == active.end()) continue;
        ActiveJob job = found->second;
        active.erase(found);
        const int status = exitStatusOf(waitStatus);
        const FastlinkJob& current = jobs[job.job];
        const FastlinkStep& step = current.steps[job.step];

        if (verbose) {
            // The programs' messages, shown after the command that printed them.
            const std::string log = job.directory + "/" + kLogName;
            std::cout << readWhole(log) << std::flush;
            std::remove(log.c_str());
        }
        if (failed) {
            run_directory::removeDirectory(job.directory);
            continue;
        }
        if (status != 0) {
            fail(job, step.program + " ended with status " + std::to_string(status), true);
            run_directory::removeDirectory(job.directory);
            continue;
        }
        // UNKNOWN writes the pedigrees with their loop breakers doubled into "lpedfile.dat".
        if (step.breaksLoops &&
            std::rename((job.directory + "/lpedfile.dat").c_str(), (job.directory + "/pedfile.dat").c_str()) != 0) {
            fail(job, "UNKNOWN wrote no lpedfile.dat", true);
            run_directory::removeDirectory(job.directory);
            continue;
        }
        if (job.step + 1 < current.steps.size()) {
            ++job.step;
            startStep(job);
            continue;
        }
        finished.push_back(job);
    }
    for (const ActiveJob& job : prepared) run_directory::removeDirectory(job.directory);
    for (const ActiveJob& job : finished) run_directory::removeDirectory(job.directory);

    // After a failure or an interrupt: stop what still runs (with anything it started) and
    // clean up.
    for (const auto& running : active) kill(-running.first, SIGTERM);
    for (const auto& running : active) {
        waitForProcess(running.first);
        run_directory::removeDirectory(running.second.directory);
    }
    run_directory::setRunningJobs(false);
    progress.clear();
    if (run_directory::interrupted()) return false;
    if (failed) {
        std::cout << failureReport << std::flush;
        return false;
    }
    return true;
}
