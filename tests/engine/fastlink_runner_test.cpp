// The runner: jobs in directories of their own, largest first, the loop-breaking step with the
// real UNKNOWN, and a failing program's reason in the framed error. Stand-in programs are
// scripts in a directory put first on PATH for the test.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <regex>
#include <set>

#include "engine/fastlink_runner.h"
#include "engine/run_directory.h"
#include "support/test_support.h"

using namespace testing_support;
namespace fs = std::filesystem;

namespace {

// A directory of stand-in programs, first on PATH (with the build's launchers next).
class StandIns {
public:
    StandIns() : previousPath(std::getenv("PATH")) {
        setenv("PATH", (dir.path() + ":" + VARKEL_BIN_DIR + ":" + previousPath).c_str(), 1);
    }
    ~StandIns() { setenv("PATH", previousPath.c_str(), 1); }
    void add(const std::string& name, const std::string& script) const {
        dir.write(name, "#!/bin/sh\n" + script);
        chmod(dir.file(name).c_str(), 0755);
    }
    std::string file(const std::string& name) const { return dir.file(name); }

private:
    ScratchDir dir;
    std::string previousPath;
};

FastlinkJob writingJob(const std::string& content, double size, std::map<std::string, std::string>& results) {
    FastlinkJob job;
    job.description = "job " + content;
    job.size = size;
    job.writeInput = [content](const std::string& directory) {
        writeWholeFile(directory + "/pedfile.dat", content + "\n");
        return true;
    };
    job.steps = {{"copy-input", {}, "Error in executing COPY: copy-input", false}};
    job.readOutput = [content, &results](const std::string& directory) {
        results[content] = readWholeFile(directory + "/outfile.dat");
        return !results[content].empty();
    };
    return job;
}

}  // namespace

TEST(FastlinkRunner, JobsInPrivateDirectoriesLargestFirstRemovedWhenRead) {
    StandIns standIns;
    // Each program run leaves its input, its directory and its arguments in outfile.dat and logs
    // the order of the jobs it saw.
    standIns.add("copy-input", "cat pedfile.dat > outfile.dat; pwd >> outfile.dat; echo \"$@\" >> outfile.dat\n"
                               "cat pedfile.dat >> " + standIns.file("order.log") + "\n");
    std::map<std::string, std::string> results;
    std::vector<FastlinkJob> jobs;
    for (int j = 1; j <= 6; ++j) jobs.push_back(writingJob("input" + std::to_string(j), j % 3, results));
    jobs[3].steps.front().arguments = {"with argument", "$(touch X)"};
    std::string output;
    output = captureOutput([&] { EXPECT_TRUE(FastlinkRunner(1, false, "varkel").run(jobs)); });
    EXPECT_EQ(output, "");
    // Sizes 1, 2, 0, 1, 2, 0: the larger first, equal sizes in their order.
    EXPECT_EQ(readWholeFile(standIns.file("order.log")), "input2\ninput5\ninput1\ninput4\ninput3\ninput6\n");
    std::set<std::string> directories;
    for (const auto& result : results) {
        const std::vector<std::string> parts = lines(result.second);
        ASSERT_EQ(parts.size(), 3u) << result.second;
        EXPECT_EQ(parts[0], result.first);
        directories.insert(parts[1]);
        EXPECT_FALSE(fs::exists(parts[1])) << "left behind: " << parts[1];
        // All under one run directory of this process.
        EXPECT_NE(parts[1].find("/varkel-" + std::to_string(getpid()) + "-"), std::string::npos) << parts[1];
    }
    EXPECT_EQ(directories.size(), 6u);
    // Arguments reach the program as they are, no shell reads them.
    EXPECT_EQ(lines(results["input4"])[2], "with argument $(touch X)");

    // Two at a time: the same results.
    std::map<std::string, std::string> parallel;
    std::vector<FastlinkJob> again;
    for (int j = 1; j <= 6; ++j) again.push_back(writingJob("input" + std::to_string(j), j % 3, parallel));
    EXPECT_TRUE(FastlinkRunner(2, false, "varkel").run(again));
    ASSERT_EQ(parallel.size(), 6u);
    for (const auto& result : parallel) EXPECT_EQ(lines(result.second)[0], result.first);
    run_directory::remove();
}

TEST(FastlinkRunner, LoopBreakingByUnknownReplacesThePedigreeFile) {
    StandIns standIns;
    // First cousins 7 and 8 marry: one marriage loop through the grandparents 1 and 2.
    const std::string pedigree =
        "1 1 0 0 3 0 0 1 1 1 1 2\n1 2 0 0 3 0 0 2 0 1 1 3\n1 3 1 2 7 4 4 1 0 1 1 3\n1 4 1 2 8 0 0 2 0 2 1 2\n"
        "1 5 0 0 7 0 0 2 0 1 0 0\n1 6 0 0 8 0 0 1 0 1 2 3\n1 7 3 5 9 0 0 1 0 2 1 2\n1 8 6 4 9 0 0 2 0 2 2 3\n"
        "1 9 7 8 0 10 10 1 0 2 1 3\n1 10 7 8 0 0 0 2 0 1 2 2\n";
    std::string broken;
    FastlinkJob job;
    job.description = "a looped pedigree";
    job.writeInput = [&](const std::string& directory) {
        writeWholeFile(directory + "/pedfile.dat", pedigree);
        writeWholeFile(directory + "/datafile.dat", "2 0 0 5\n0 0.0 0.0 0\n1 2\n1 2\n0.99 0.01\n1\n0.01 0.9 0.9\n"
                                                           "3 3\n0.3 0.3 0.4\n0 0\n0.0\n1 0.02 0.49\n");
        return true;
    };
    job.steps = fastlinkSteps(true, "true", "Error in executing TRUE: true");
    job.readOutput = [&](const std::string& directory) {
        broken = readWholeFile(directory + "/pedfile.dat");
        return true;
    };
    std::vector<FastlinkJob> jobs{job};
    EXPECT_EQ(captureOutput([&] { EXPECT_TRUE(FastlinkRunner(1, true, "varkel").run(jobs)); }).substr(0, 53),
              "Breaking loops...\nExternal command: unknownvarkel -l\n");
    // UNKNOWN breaks the loop at 8: her copy 11 mothers 9 and 10; both copies proband 2.
    std::vector<std::string> rows;
    for (const std::string& line : lines(broken)) rows.push_back(std::regex_replace(" " + line + " ", std::regex("\\s+"), " "));
    ASSERT_EQ(rows.size(), 11u) << broken;
    EXPECT_EQ(rows[7], " 1 8 6 4 0 0 0 2 2 2 2 3 ");
    EXPECT_EQ(rows[8].substr(0, 10), " 1 9 7 11 ");
    EXPECT_EQ(rows[10], " 1 11 0 0 9 0 0 2 2 2 2 3 ");
    run_directory::remove();
}

TEST(FastlinkRunner, AFailingProgramStopsTheRunWithItsOwnReason) {
    StandIns standIns;
    standIns.add("copy-input", "sleep 0.2; cat pedfile.dat > outfile.dat\n");
    standIns.add("failing", "echo 'Ped.  1'; echo 'Error detected reading pedigree record at pedigree151. Maximum "
                            "number of pedigree records exceeded' >&2; exit 1\n");
    std::map<std::string, std::string> results;
    std::vector<FastlinkJob> jobs;
    for (int j = 1; j <= 4; ++j) jobs.push_back(writingJob("input" + std::to_string(j), 0, results));
    jobs[1].steps = fastlinkSteps(false, "failing", "Error in executing MLINK: failing");
    jobs[1].steps[0].program = "copy-input";  // UNKNOWN's place
    const std::string output = captureOutput([&] { EXPECT_FALSE(FastlinkRunner(2, false, "varkel").run(jobs)); });
    EXPECT_TRUE(contains(output, "\n" + std::string(66, '*') + "\nError in executing MLINK: failing\n\nSomething is wrong....\n" +
                                     std::string(66, '*') + "\n\nAborting program!\n"
                                     "FASTLINK job: failing for job input2\nfailing ended with status 1\n"
                                     "Last lines printed by failing:\n    Ped.  1\n    Error detected reading pedigree "
                                     "record at pedigree151. Maximum number of pedigree records exceeded\n"))
        << output;
    // Nothing started after the failure, nothing left in the run directory.
    EXPECT_LE(results.size(), 1u);
    const std::string runDirectory = run_directory::path("varkel");
    EXPECT_TRUE(fs::is_empty(runDirectory));
    run_directory::remove();
    EXPECT_FALSE(fs::exists(runDirectory));
}
