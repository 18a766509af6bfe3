// The program with stand-in FASTLINK launchers beside a copy of it: a failing program's own
// reason on the console, the complete analyses still reported, and an interrupted run that
// leaves no scratch behind.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <thread>

#include "engine/process.h"
#include "support/test_support.h"

using namespace testing_support;
namespace fs = std::filesystem;

namespace {

// A copy of varkel and its converter in bin/, with real FASTLINK launchers unless replaced,
// and one nuclear family in run/ (an affected father 1/2, his children agreeing).
class Installation {
public:
    Installation() {
        fs::create_directory(dir.file("bin"));
        fs::create_directory(dir.file("run"));
        for (const char* program : {"varkel", "makepedpseudo"})
            fs::copy_file(std::string(VARKEL_BIN_DIR) + "/" + program, dir.file("bin/") + program);
        for (const char* launcher : {"unknownvarkel", "mlinkvarkel"})
            fs::create_symlink(fs::read_symlink(std::string(VARKEL_BIN_DIR) + "/" + launcher),
                               dir.file("bin/") + launcher);
        dir.write("run/p.pre", "1 1 0 0 1 2 1 2\n1 2 0 0 2 1 3 3\n1 3 1 2 1 2 1 3\n1 4 1 2 2 2 1 3\n"
                               "1 5 1 2 1 1 2 3\n");
        dir.write("run/m.map", "CHROMOSOME HALDANE POSITION\n1 10.0 D1\n");
        dir.write("run/d.model", "0 0.0001 1\n0.0 1.0 1.0\n");
    }
    void replace(const std::string& launcher, const std::string& script) const {
        fs::remove(dir.file("bin/" + launcher));
        dir.write("bin/" + launcher, "#!/bin/sh\n" + script);
        chmod(dir.file("bin/" + launcher).c_str(), 0755);
    }
    std::vector<std::string> command(std::vector<std::string> options) const {
        std::vector<std::string> arguments{dir.file("bin/varkel"), "--ped", "p.pre", "--map", "m.map", "--model",
                                           "d.model"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        return arguments;
    }
    ScratchDir dir;
};

// The scratch directories of process `pid` in the places varkel makes them.
std::vector<std::string> scratchOf(pid_t pid) {
    std::vector<std::string> found;
    const std::string name = "varkel-" + std::to_string(pid) + "-";
    for (const char* place : std::vector<const char*>{"/dev/shm", "/tmp", std::getenv("TMPDIR")}) {
        if (!place || !fs::is_directory(place)) continue;
        for (const auto& entry : fs::directory_iterator(place))
            if (entry.path().filename().string().rfind(name, 0) == 0) found.push_back(entry.path());
    }
    return found;
}

}  // namespace

TEST(VarkelWithStandIns, AFailingNuclearRunShowsItsReasonAndKeepsTheWholePedigreeReports) {
    Installation installation;
    // The first MLINK run (whole pedigrees) is real, the second (nuclear) fails with a reason.
    installation.replace("mlinkvarkel", "if [ -e " + installation.dir.file("once") + " ]; then\n"
                                        "  echo 'Error detected reading pedigree record 1. Maximum number of "
                                        "individuals exceeded' >&2; exit 1\nfi\ntouch " +
                                            installation.dir.file("once") + "\nexec /usr/bin/mlink\n");
    const RunResult run = runProgram(installation.dir.file("bin/varkel"), {"--ped", "p.pre", "--map", "m.map", "--model", "d.model",
                                                       "--singlepoint", "--nuclear", "--jobs", "1", "--engine", "fastlink"},
                                     installation.dir.file("run"));
    EXPECT_EQ(run.status, 255);
    EXPECT_TRUE(contains(run.output, "Error in executing MLINK: mlinkvarkel\n\nSomething is wrong....\n")) << run.output;
    EXPECT_TRUE(contains(run.output, "FASTLINK job: mlinkvarkel for trait DISEASE_LOCUS, marker D1, pedigree 1-1\n"
                                     "mlinkvarkel ended with status 1\nLast lines printed by "
                                     "mlinkvarkel:\n    Error detected reading pedigree record 1. Maximum number of "
                                     "individuals exceeded\n"))
        << run.output;
    EXPECT_FALSE(contains(run.output, "Elapsed time"));
    // The whole-pedigree analysis had finished: its reports and the summary are there.
    const std::string summary = installation.dir.read("run/varkel_summary.out");
    EXPECT_TRUE(contains(summary, "Marker       LodHom     Theta\n                  D1     0.602059      0.00\n"))
        << summary;
    EXPECT_TRUE(fs::exists(installation.dir.file("run/varkel_singlepoint.out")));
    EXPECT_FALSE(fs::exists(installation.dir.file("run/varkel_singlepoint_nuc.out")));
}

TEST(VarkelWithStandIns, AnInterruptedRunLeavesNoScratchBehind) {
    Installation installation;
    const std::string started = installation.dir.file("started");
    // The stand-in starts a program of its own, which must be stopped with it.
    const std::string sleeper = installation.dir.file("sleeper");
    installation.replace("mlinkvarkel", "sleep 60 &\necho $! > " + sleeper + "\ntouch " + started + "\nwait\n");
    ProcessOptions options;
    options.workingDirectory = installation.dir.file("run");
    options.standardOutput = installation.dir.file("run/console.txt");
    options.standardError = options.standardOutput;
    std::string error;
    const pid_t varkel = startProcess(installation.command({"--singlepoint", "--engine", "fastlink"}), options, error);
    ASSERT_GT(varkel, 0) << error;
    for (int wait = 0; wait < 300 && !fs::exists(started); ++wait)
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    ASSERT_TRUE(fs::exists(started)) << installation.dir.read("run/console.txt");
    EXPECT_EQ(scratchOf(varkel).size(), 1u);
    kill(varkel, SIGINT);
    const auto before = std::chrono::steady_clock::now();
    EXPECT_EQ(waitForProcess(varkel), 128 + SIGINT);
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(10));
    EXPECT_TRUE(scratchOf(varkel).empty());
    const pid_t sleeping = static_cast<pid_t>(std::stol(installation.dir.read("sleeper")));
    bool stopped = false;
    for (int wait = 0; wait < 100 && !stopped; ++wait) {
        stopped = kill(sleeping, 0) != 0;
        if (!stopped) std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    EXPECT_TRUE(stopped) << "the program the stand-in started is still running";
    for (const std::string& name : installation.dir.listing())
        EXPECT_TRUE(name == "bin" || name == "run" || name == "started" || name == "sleeper") << name;
}

// File names reach the converter as they are: no shell reads them.
TEST(VarkelWithStandIns, PedigreeFileNamesWithShellCharactersAreConverted) {
    Installation installation;
    for (const std::string name : {"a$(touch X).pre", "q\"uote.pre", "it's.pre"}) {
        SCOPED_TRACE(name);
        fs::copy_file(installation.dir.file("run/p.pre"), installation.dir.file("run/" + name));
        const RunResult run = runProgram(
            installation.dir.file("bin/varkel"), {"--ped", name, "--map", "m.map", "--model", "d.model", "--singlepoint", "--engine", "fastlink"},
            installation.dir.file("run"));
        EXPECT_EQ(run.status, 0) << run.output;
        EXPECT_TRUE(contains(run.output, "                  D1     0.602059      0.00\n")) << run.output;
        EXPECT_FALSE(fs::exists(installation.dir.file("run/X")));
        EXPECT_FALSE(fs::exists(installation.dir.file("run/" + name + ".linkage")));
    }
}

// The converter works while the genotypes are checked: a check that fails stops it, and a
// converter that fails has its reason shown; neither leaves a converted file to be read later.
TEST(VarkelWithStandIns, TheConverterBesideTheCheckStopsWithItAndShowsWhyItFailed) {
    Installation installation;
    const auto leftovers = [&] {
        std::vector<std::string> found;
        for (const auto& entry : fs::directory_iterator(installation.dir.file("run")))
            if (entry.path().filename().string().find(".linkage") != std::string::npos)
                found.push_back(entry.path().filename());
        return found;
    };
    // Child 3 carries 3 at D1, which neither parent has; the converter would take a minute.
    installation.dir.write("run/p.pre", "1 1 0 0 1 2 1 2\n1 2 0 0 2 1 1 1\n1 3 1 2 1 2 3 3\n");
    installation.replace("makepedpseudo", "exec sleep 60\n");
    const auto before = std::chrono::steady_clock::now();
    RunResult run = runProgram(installation.dir.file("bin/varkel"),
                               {"--ped", "p.pre", "--map", "m.map", "--model", "d.model", "--singlepoint"},
                               installation.dir.file("run"));
    EXPECT_EQ(run.status, 255);
    EXPECT_TRUE(contains(run.output, "Mendelian errors found in pedigree file p.pre: the run stops")) << run.output;
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(20));
    EXPECT_EQ(leftovers(), std::vector<std::string>{});

    installation.dir.write("run/p.pre", "1 1 0 0 1 2 1 2\n1 2 0 0 2 1 3 3\n1 3 1 2 1 2 1 3\n");
    installation.replace("makepedpseudo", "echo \"makepedpseudo: $1, line 2: no such thing\" >&2\nexit 1\n");
    run = runProgram(installation.dir.file("bin/varkel"),
                     {"--ped", "p.pre", "--map", "m.map", "--model", "d.model", "--singlepoint"},
                     installation.dir.file("run"));
    EXPECT_EQ(run.status, 255);
    EXPECT_TRUE(contains(run.errors, "makepedpseudo: p.pre.linkage.persons, line 2: no such thing\n")) << run.errors;
    EXPECT_TRUE(contains(run.output, "Unable to open pedigree file p.pre.linkage for reading.")) << run.output;
    EXPECT_FALSE(fs::exists(installation.dir.file("run/varkel_singlepoint.out")));
    EXPECT_EQ(leftovers(), std::vector<std::string>{});
}
