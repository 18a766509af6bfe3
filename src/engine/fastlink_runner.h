#pragma once
// Runs FASTLINK jobs, up to a given number at once, each in a directory of its own under the
// run directory, and removes each directory once its output is read. The process itself stays
// single-threaded: it starts programs and waits for whichever ends first.

#include <sys/types.h>

#include <string>
#include <vector>

#include "engine/fastlink_job.h"

class FastlinkRunner {
public:
    // The run directory goes beside the output prefix when no temporary file system is usable.
    FastlinkRunner(int parallelJobs, bool verbose, std::string outputPrefix);

    // Runs every job. On the first failure the programs still running are stopped, the framed
    // error with the failing job and FASTLINK's last lines is printed, and false returned.
    bool run(std::vector<FastlinkJob>& jobs);

    // Cores available to this process: the default number of parallel jobs.
    static int availableCores();

    // Seconds each job of the last run took, from its first program's start to its output read.
    const std::vector<double>& lastJobSeconds() const { return jobSeconds; }

private:
    int parallelJobs;
    bool verbose;
    std::string outputPrefix;
    std::vector<double> jobSeconds;
};

// Starts a step of a job in the job's directory, its messages going to the job's log. Returns
// the process id (the leader of a process group of its own), or -1 with the reason in `error`.
pid_t startFastlinkStep(const FastlinkStep& step, const std::string& directory, bool verbose, std::string& error);

// The framed report of a job that failed at `step`: the failing program, what the job computes,
// the reason and, when `showLog`, the last lines the program printed.
std::string fastlinkFailureReport(const FastlinkJob& job, size_t step, const std::string& directory,
                                  const std::string& reason, bool showLog);
