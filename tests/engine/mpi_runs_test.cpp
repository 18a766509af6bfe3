// The program started by mpirun as three processes against the same run in one process: the
// same console and reports (dates aside) for singlepoint, nuclear and multipoint analyses with
// both engines, the pieces computed on several ranks; a FASTLINK program that fails on a
// worker, or input that one rank cannot read, ends the whole run within seconds with status
// 255, naming the rank, its host and what failed; Ctrl-C on mpirun leaves no scratch directory
// and no program behind. Stand-in launchers go beside a copy of varkel, as in the tests of one
// process. Skipped where mpirun is not installed or varkel was built without MPI.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <thread>

#include "engine/process.h"
#include "support/test_support.h"

using namespace testing_support;
namespace fs = std::filesystem;

namespace {

std::string mpirunPath() {
#ifndef VARKEL_BUILT_WITH_MPI
    return "";
#else
    const char* path = std::getenv("PATH");
    std::istringstream directories(path ? path : "/usr/bin");
    for (std::string directory; std::getline(directories, directory, ':');)
        if (!directory.empty() && access((directory + "/mpirun").c_str(), X_OK) == 0) return directory + "/mpirun";
    return "";
#endif
}

std::string hostName() {
    char name[256] = {0};
    gethostname(name, sizeof name - 1);
    return name;
}

// Three families on two chromosomes: half-sibs 4 and 5 with two children (a loop), three
// generations (two nuclear families), a trio. With --max-bits 3 the family with the loop goes to
// FASTLINK and the others to the native engine, in every analysis.
const char* const kPedigrees =
    "A 1 0 0 1 2 1 2 3 4 1 2 2 3\nA 2 0 0 2 1 3 3 1 1 2 2 1 1\nA 3 0 0 2 1 1 3 2 4 1 1 2 2\n"
    "A 4 1 2 1 2 1 3 3 1 1 2 2 1\nA 5 1 3 2 2 2 1 4 2 2 1 3 2\nA 6 4 5 1 2 1 2 3 4 1 1 2 3\n"
    "A 7 4 5 2 1 3 1 1 2 2 2 1 2\n"
    "B 1 0 0 1 2 1 1 2 2 1 1 1 2\nB 2 0 0 2 1 2 3 1 3 1 2 3 3\nB 3 1 2 1 2 1 2 2 1 1 1 1 3\n"
    "B 4 0 0 2 1 1 1 2 2 2 2 1 1\nB 5 3 4 2 2 2 1 1 2 1 2 3 1\nB 6 3 4 1 1 1 1 2 2 1 2 1 1\n"
    "C 1 0 0 1 1 1 2 1 2 1 2 1 2\nC 2 0 0 2 2 3 2 2 3 2 2 2 2\nC 3 1 2 2 2 1 3 1 3 1 2 1 2\n";

// A copy of varkel and its converter in bin/ with the real FASTLINK launchers unless replaced,
// and the study in a directory per run.
class Installation {
public:
    Installation() {
        fs::create_directory(dir.file("bin"));
        for (const char* program : {"varkel", "makepedpseudo"})
            fs::copy_file(std::string(VARKEL_BIN_DIR) + "/" + program, dir.file("bin/") + program);
        for (const char* launcher : {"unknownvarkel", "mlinkvarkel", "linkmapvarkel"})
            fs::create_symlink(fs::read_symlink(std::string(VARKEL_BIN_DIR) + "/" + launcher),
                               dir.file("bin/") + launcher);
#if defined(__SANITIZE_ADDRESS__)
        // Open MPI keeps some of what MPI_Init allocates to the end of the process; its own
        // allocations alone are left out of the leak report, and only in runs under mpirun.
        const char* asan = std::getenv("ASAN_OPTIONS");
        savedAsanOptions = asan ? asan : "";
        setenv("ASAN_OPTIONS", (savedAsanOptions + (asan ? ":" : "") + "fast_unwind_on_malloc=0").c_str(), 1);
        setenv("LSAN_OPTIONS",
               ("suppressions=" + std::string(VARKEL_SOURCE_DIR) + "/tests/support/open_mpi.supp").c_str(), 1);
#endif
    }
    ~Installation() {
#if defined(__SANITIZE_ADDRESS__)
        setenv("ASAN_OPTIONS", savedAsanOptions.c_str(), 1);
        unsetenv("LSAN_OPTIONS");
#endif
    }
    // A launcher script beside the copy; the real program of the launcher is "$REAL".
    void replace(const std::string& launcher, const std::string& script) const {
        const std::string real =
            launcher == "makepedpseudo" ? std::string(VARKEL_BIN_DIR) + "/makepedpseudo"
                                        : fs::read_symlink(std::string(VARKEL_BIN_DIR) + "/" + launcher).string();
        fs::remove(dir.file("bin/" + launcher));
        dir.write("bin/" + launcher, "#!/bin/sh\nREAL=" + real + "\nRANK=$OMPI_COMM_WORLD_RANK\n" + script);
        chmod(dir.file("bin/" + launcher).c_str(), 0755);
    }
    std::string study(const std::string& name) const {
        fs::create_directory(dir.file(name));
        dir.write(name + "/f.pre", kPedigrees);
        dir.write(name + "/f.map", "CHROMOSOME HALDANE POSITION\n1 10.0 M1\n1 20.0 M2\n2 5.0 M3\n2 15.0 M4\n");
        dir.write(name + "/f.model", "0 0.0001 1\n0.0 1.0 1.0\n");
        return dir.file(name);
    }
    std::vector<std::string> varkel(std::vector<std::string> options) const {
        std::vector<std::string> arguments{dir.file("bin/varkel"), "--ped", "f.pre", "--map", "f.map", "--model",
                                           "f.model", "--seed", "7", "--jobs", "1"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        return arguments;
    }
    // mpirun's arguments for three ranks of this varkel (oversubscribed: the machine may have
    // fewer cores).
    std::vector<std::string> mpirun(std::vector<std::string> options) const {
        // After a rank fails Open MPI ends the others with SIGTERM and, a second later by
        // default, SIGKILL: on a loaded machine their clean-up needs the longer grace given here.
        std::vector<std::string> arguments{"--oversubscribe", "--mca", "odls_base_sigkill_timeout", "3", "-np", "3"};
        if (geteuid() == 0) arguments.push_back("--allow-run-as-root");
        const std::vector<std::string> program = varkel(std::move(options));
        arguments.insert(arguments.end(), program.begin(), program.end());
        return arguments;
    }
    ScratchDir dir;
    std::string savedAsanOptions;
};

// The output with dates blanked, which differ between two runs.
std::string withoutDates(const std::string& text) {
    static const std::regex date("(Mon|Tue|Wed|Thu|Fri|Sat|Sun) [A-Z][a-z][a-z] [ 0-9][0-9] [0-9:]{8} [0-9]{4}");
    static const std::regex elapsed("Elapsed time: [^\n]*");
    return std::regex_replace(std::regex_replace(text, date, "DATE"), elapsed, "Elapsed time");
}

// The scratch directories of these processes in the places varkel makes them.
std::vector<std::string> scratchOf(const std::set<std::string>& pids) {
    std::vector<std::string> found;
    for (const char* place : std::vector<const char*>{"/dev/shm", "/tmp", std::getenv("TMPDIR")}) {
        if (!place || !fs::is_directory(place)) continue;
        for (const auto& entry : fs::directory_iterator(place))
            for (const std::string& pid : pids)
                if (entry.path().filename().string().rfind("varkel-" + pid + "-", 0) == 0) found.push_back(entry.path());
    }
    return found;
}

std::set<std::string> linesOf(const std::string& text) {
    std::set<std::string> found;
    for (const std::string& line : lines(text))
        if (!line.empty()) found.insert(line);
    return found;
}

// A process that has ended (gone, or a zombie nobody reaps).
bool ended(const std::string& pid) {
    std::ifstream stat("/proc/" + pid + "/stat");
    std::string ignored, state;
    return !(stat >> ignored >> ignored >> state) || state == "Z";
}

class MpiRuns : public ::testing::Test {
protected:
    void SetUp() override {
        mpirun = mpirunPath();
        if (mpirun.empty()) GTEST_SKIP() << "mpirun is not installed or varkel was built without MPI";
    }
    // mpirun on a singlepoint run through FASTLINK, started in the background in `run`, its
    // console in run/console.txt.
    pid_t startSinglepointRun(const Installation& installation, const std::string& run) const {
        ProcessOptions options;
        options.workingDirectory = run;
        options.standardOutput = run + "/console.txt";
        options.standardError = options.standardOutput;
        std::vector<std::string> command{mpirun};
        const std::vector<std::string> arguments = installation.mpirun({"--singlepoint", "--engine", "fastlink"});
        command.insert(command.end(), arguments.begin(), arguments.end());
        std::string error;
        const pid_t launcher = startProcess(command, options, error);
        EXPECT_GT(launcher, 0) << error;
        return launcher;
    }
    std::string mpirun;
};

}  // namespace

TEST_F(MpiRuns, ThreeRanksWriteTheReportsOfOneProcess) {
    Installation installation;
    // FASTLINK's jobs take a while, so that every rank gets some; the launchers say who ran them.
    installation.replace("mlinkvarkel", "echo $RANK >> " + installation.dir.file("ranks") + "\nsleep 0.2\nexec $REAL \"$@\"\n");
    const std::vector<std::string> options{"--singlepoint", "--nuclear", "--multipoint", "--wsize", "0", "--hlod",
                                           "--byfamily",    "--max-bits", "3"};
    const std::string one = installation.study("one"), three = installation.study("three");
    const std::vector<std::string> plain = installation.varkel(options);
    const RunResult single = runProgram(plain.front(), {plain.begin() + 1, plain.end()}, one);
    ASSERT_EQ(single.status, 0) << single.output;
    ASSERT_TRUE(contains(single.output, "Likelihoods: 2 pedigrees by the native engine, 1 by FASTLINK\n"))
        << single.output;
    fs::remove(installation.dir.file("ranks"));

    std::vector<std::string> spread = options;
    spread.insert(spread.end(), {"--piece-times", "times.tsv"});
    const RunResult shared = runProgram(mpirun, installation.mpirun(spread), three);
    ASSERT_EQ(shared.status, 0) << shared.output << shared.errors;

    EXPECT_EQ(withoutDates(shared.output), withoutDates(single.output));
    const auto listing = [](const std::string& directory) {
        std::set<std::string> names;
        for (const auto& entry : fs::directory_iterator(directory)) names.insert(entry.path().filename());
        return names;
    };
    std::set<std::string> threeNames = listing(three);
    threeNames.erase("times.tsv");
    ASSERT_EQ(listing(one), threeNames);
    for (const std::string& name : listing(one)) {
        SCOPED_TRACE(name);
        EXPECT_EQ(withoutDates(readWholeFile(three + "/" + name)), withoutDates(readWholeFile(one + "/" + name)));
    }
    // Every rank computed FASTLINK jobs, and the table of piece times says where each ran.
    EXPECT_EQ(linesOf(installation.dir.read("ranks")), (std::set<std::string>{"0", "1", "2"}));
    const std::vector<std::string> times = lines(readWholeFile(three + "/times.tsv"));
    ASSERT_GT(times.size(), 1u);
    EXPECT_EQ(times.front(), "part\tkind\tpiece\tcost\tseconds\trank\thost\tdescription");
    std::set<std::string> kinds;
    for (size_t i = 1; i < times.size(); ++i) {
        std::istringstream fields(times[i]);
        std::string part, kind;
        std::getline(fields, part, '\t');
        std::getline(fields, kind, '\t');
        kinds.insert(kind);
        EXPECT_TRUE(contains(times[i], "\t" + hostName() + "\t")) << times[i];
    }
    EXPECT_EQ(kinds, (std::set<std::string>{"Native engine tasks", "FASTLINK jobs"}));
    // Native tasks per chromosome: each pedigree of the native engine has one per chromosome.
    EXPECT_TRUE(contains(readWholeFile(three + "/times.tsv"), "trait DISEASE_LOCUS, pedigree B, chromosome 2"));
}

TEST_F(MpiRuns, AFastlinkFailureOnAWorkerEndsTheRunNamingRankHostAndJob) {
    Installation installation;
    // Rank 0's jobs take long, so that the workers get jobs; every worker's job fails.
    installation.replace("mlinkvarkel", "echo $PPID >> " + installation.dir.file("pids") +
                                            "\nif [ \"$RANK\" = 0 ]; then sleep 2; exec $REAL \"$@\"; fi\n"
                                            "echo 'Error: out of pedigree space' >&2\nexit 3\n");
    const std::string run = installation.study("run");
    const auto start = std::chrono::steady_clock::now();
    const RunResult failed = runProgram(mpirun, installation.mpirun({"--singlepoint", "--engine", "fastlink"}), run);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30));
    EXPECT_EQ(failed.status, 255) << failed.output << failed.errors;
    static const std::regex report(
        "Error in executing MLINK: mlinkvarkel\n\nSomething is wrong\\.\\.\\.\\.\n[*]+\n\nAborting program!\n"
        "FASTLINK job: mlinkvarkel for trait DISEASE_LOCUS, marker M[1-4], pedigrees A to C \\(3 pedigrees\\)\n"
        "mlinkvarkel ended with status 3\nLast lines printed by mlinkvarkel:\n    Error: out of pedigree space\n"
        "Computed on rank [12] of 3 \\(host " + hostName() + "\\)\n");
    EXPECT_TRUE(std::regex_search(failed.output, report)) << failed.output;
    EXPECT_FALSE(contains(failed.output, "Elapsed time"));
    // Nothing looks complete: no report, no summary.
    EXPECT_FALSE(fs::exists(run + "/varkel_singlepoint.out"));
    EXPECT_FALSE(fs::exists(run + "/varkel_summary.out"));
    EXPECT_TRUE(scratchOf(linesOf(installation.dir.read("pids"))).empty());
}

TEST_F(MpiRuns, InputOneRankCannotReadEndsTheRunNamingTheRankAndItsReason) {
    Installation installation;
    installation.replace("makepedpseudo", "if [ \"$RANK\" = 2 ]; then exit 1; fi\nexec $REAL \"$@\"\n");
    const std::string run = installation.study("run");
    const RunResult failed = runProgram(mpirun, installation.mpirun({"--singlepoint"}), run);
    EXPECT_EQ(failed.status, 255) << failed.output << failed.errors;
    EXPECT_TRUE(contains(failed.output, "Done reading input files.\nError: rank 2 of 3 (host " + hostName() +
                                            ") could not read the input:\n"))
        << failed.output;
    EXPECT_TRUE(contains(failed.output, "    Unable to open pedigree file f.pre.linkage for reading.\n")) << failed.output;
    EXPECT_FALSE(contains(failed.output, "Parametric Linkage analysis"));
    EXPECT_FALSE(fs::exists(run + "/varkel_singlepoint.out"));
    // The workers read in directories of their own: nothing of theirs is beside the input.
    EXPECT_FALSE(fs::exists(run + "/f.pre.linkage"));
}

TEST_F(MpiRuns, ControlCOnMpirunLeavesNoScratchAndNoProgramBehind) {
    Installation installation;
    const std::string pids = installation.dir.file("pids"), sleepers = installation.dir.file("sleepers");
    installation.replace("mlinkvarkel",
                         "sleep 60 &\necho $! >> " + sleepers + "\necho $PPID >> " + pids + "\nwait\n");
    const std::string run = installation.study("run");
    const pid_t launcher = startSinglepointRun(installation, run);
    ASSERT_GT(launcher, 0);
    // Until every rank runs a program of its own.
    for (int wait = 0; wait < 600 && linesOf(installation.dir.exists("pids") ? installation.dir.read("pids") : "").size() < 3;
         ++wait)
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    const std::set<std::string> ranks = linesOf(installation.dir.read("pids"));
    ASSERT_EQ(ranks.size(), 3u) << readWholeFile(run + "/console.txt");
    EXPECT_EQ(scratchOf(ranks).size(), 3u);
    kill(launcher, SIGINT);
    const auto before = std::chrono::steady_clock::now();
    EXPECT_NE(waitForProcess(launcher), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(15));
    // The ranks clean up when the launcher stops them: give them a moment.
    bool clean = false;
    for (int wait = 0; wait < 100 && !clean; ++wait) {
        clean = scratchOf(ranks).empty();
        for (const std::string& sleeper : linesOf(installation.dir.read("sleepers"))) clean = clean && ended(sleeper);
        if (!clean) std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    EXPECT_TRUE(scratchOf(ranks).empty());
    for (const std::string& sleeper : linesOf(installation.dir.read("sleepers")))
        EXPECT_TRUE(ended(sleeper)) << "a program a rank started is still running";
    EXPECT_TRUE(contains(readWholeFile(run + "/console.txt"), "Interrupted while computing:\n"));
    EXPECT_FALSE(fs::exists(run + "/varkel_singlepoint.out"));
}

TEST_F(MpiRuns, RanksThatPlanOtherWorkStopTheRun) {
    Installation installation;
    // Rank 2's converter loses a family, as if its node read another version of the file.
    installation.replace("makepedpseudo", "$REAL \"$@\" || exit\nif [ \"$RANK\" = 2 ]; then sed -i '/Ped: C /d' \"$2\"; fi\n");
    const std::string run = installation.study("run");
    const RunResult failed = runProgram(mpirun, installation.mpirun({"--singlepoint", "--max-bits", "3"}), run);
    EXPECT_EQ(failed.status, 255) << failed.output << failed.errors;
    EXPECT_TRUE(contains(failed.output, "Error: rank 2 of 3 (host " + hostName() +
                                            ") planned other likelihood work than rank 0: Native engine tasks (2) "
                                            "where rank 0 has Native engine tasks (4). Every rank must read the same "
                                            "input with the same options"))
        << failed.output;
    EXPECT_FALSE(fs::exists(run + "/varkel_singlepoint.out"));
}

TEST_F(MpiRuns, AWorkerKilledMidRunEndsEveryRank) {
    Installation installation;
    const std::string pids = installation.dir.file("pids"), sleepers = installation.dir.file("sleepers");
    installation.replace("mlinkvarkel", "sleep 60 &\necho $! >> " + sleepers + "\necho $RANK $PPID >> " + pids +
                                            "\nwait\n");
    const std::string run = installation.study("run");
    const pid_t launcher = startSinglepointRun(installation, run);
    ASSERT_GT(launcher, 0);
    std::map<std::string, std::string> rankPids;  // rank -> process id
    for (int wait = 0; wait < 600 && rankPids.size() < 3; ++wait) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        for (const std::string& line : linesOf(installation.dir.exists("pids") ? installation.dir.read("pids") : "")) {
            std::istringstream fields(line);
            std::string rank, pid;
            fields >> rank >> pid;
            rankPids[rank] = pid;
        }
    }
    ASSERT_EQ(rankPids.size(), 3u) << readWholeFile(run + "/console.txt");
    kill(std::stoi(rankPids["1"]), SIGKILL);
    const auto before = std::chrono::steady_clock::now();
    EXPECT_NE(waitForProcess(launcher), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(15));
    // Rank 0 says what was in flight where; the ranks alive clean up.
    const std::string console = readWholeFile(run + "/console.txt");
    EXPECT_TRUE(contains(console, "Interrupted while computing:\n")) << console;
    EXPECT_TRUE(contains(console, "rank 1 of 3 (host " + hostName() + "): trait DISEASE_LOCUS, marker M")) << console;
    bool clean = false;
    for (int wait = 0; wait < 100 && !clean; ++wait) {
        clean = scratchOf({rankPids["0"], rankPids["2"]}).empty();
        if (!clean) std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    EXPECT_TRUE(clean);
    // A killed process cleans nothing: its program and its scratch are the test's to remove.
    for (const std::string& sleeper : linesOf(installation.dir.read("sleepers")))
        if (!ended(sleeper)) kill(std::stoi(sleeper), SIGKILL);
    for (const std::string& left : scratchOf({rankPids["1"]})) fs::remove_all(left);
}

// The table of piece times of one process: every piece of every part, in the order of the
// parts, with the estimate it was scheduled by.
TEST(PieceTimes, OneProcessListsEveryPieceOfEveryPart) {
    Installation installation;
    const std::string run = installation.study("run");
    const std::vector<std::string> plain = installation.varkel({"--singlepoint", "--max-bits", "3", "--piece-times", "t.tsv"});
    const RunResult result = runProgram(plain.front(), {plain.begin() + 1, plain.end()}, run);
    ASSERT_EQ(result.status, 0) << result.output;
    const std::vector<std::string> rows = lines(readWholeFile(run + "/t.tsv"));
    // Native tasks: pedigrees B and C on two chromosomes; FASTLINK jobs: pedigree A at 4 markers.
    ASSERT_EQ(rows.size(), 1u + 4u + 4u) << readWholeFile(run + "/t.tsv");
    std::multiset<std::string> parts;
    for (size_t i = 1; i < rows.size(); ++i) {
        std::istringstream fields(rows[i]);
        std::string part, kind, piece, cost, seconds, rank;
        std::getline(fields, part, '\t');
        std::getline(fields, kind, '\t');
        std::getline(fields, piece, '\t');
        std::getline(fields, cost, '\t');
        std::getline(fields, seconds, '\t');
        std::getline(fields, rank, '\t');
        parts.insert(part + " " + kind);
        EXPECT_GT(std::stod(cost), 0.0) << rows[i];
        EXPECT_GE(std::stod(seconds), 0.0) << rows[i];
        EXPECT_EQ(rank, "0");
    }
    EXPECT_EQ(parts.count("1 Native engine tasks"), 4u);
    EXPECT_EQ(parts.count("2 FASTLINK jobs"), 4u);
}
