#pragma once
// Runs FASTLINK jobs, up to a given number at once, each in a directory of its own under the
// run directory, and removes each directory once its output is read. The process itself stays
// single-threaded: it starts programs and waits for whichever ends first.

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

private:
    int parallelJobs;
    bool verbose;
    std::string outputPrefix;
};
