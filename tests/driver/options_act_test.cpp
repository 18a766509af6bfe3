// Every option acts or says why: runs of the built program on the driver's nuclear family.

#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "driver/nuclear_family.h"
#include "support/test_support.h"

using namespace testing_support;

namespace {

std::vector<std::string> post(std::vector<std::string> extra) {
    std::vector<std::string> all = {"-p", "post.ped", "-m", "map.txt", "--post"};
    all.insert(all.end(), extra.begin(), extra.end());
    return all;
}

// Files whose names start with the prefix and an underscore.
std::vector<std::string> filesOf(const ScratchDir& dir, const std::string& prefix) {
    std::vector<std::string> found;
    for (const std::string& name : dir.listing())
        if (name.rfind(prefix + "_", 0) == 0) found.push_back(name);
    return found;
}

}  // namespace

TEST(OptionsAct, RunsWithoutAnAnalysisSayWhichOptionsStartOne) {
    ScratchDir dir;
    writeFamily(dir);
    const std::string noAnalysis =
        "Error: No analysis asked for: give --singlepoint, --multipoint, --tdt, --hrrrand or --stats\n";
    const std::string sibPairs = "Note: there is no sib-pair linkage analysis (--sibpair); --stats writes the affected "
                                 "sib pairs' allele frequencies to s_sib_pair_markerinfo_statistics.info and their "
                                 "number per marker to s_number_of_hrr_tdt_sibpair_peds.info\n";
    for (const auto& extra : {std::vector<std::string>{"-k", "model.txt", "--prefix", "s"},
                              std::vector<std::string>{"-k", "model.txt", "--sibpair", "--prefix", "s"},
                              std::vector<std::string>{"--nuclear", "--hlod", "--byfamily", "--prefix", "s"}}) {
        const RunResult run = runProgram("varkel", post(extra), dir.path());
        EXPECT_EQ(run.status, 255);
        EXPECT_TRUE(contains(run.output, noAnalysis)) << run.output;
        EXPECT_FALSE(contains(run.output, "Reading pedigree file")) << run.output;  // said before any reading
        EXPECT_EQ(contains(run.output, sibPairs), extra[2] == "--sibpair") << run.output;
    }
    EXPECT_TRUE(filesOf(dir, "s").empty());

    // With --stats the sib-pair files it names are written.
    const RunResult run = runProgram("varkel", post({"--sibpair", "--stats", "--prefix", "s"}), dir.path());
    EXPECT_EQ(run.status, 0) << run.output;
    EXPECT_TRUE(contains(run.output, sibPairs)) << run.output;
    EXPECT_TRUE(dir.exists("s_sib_pair_markerinfo_statistics.info"));
    EXPECT_TRUE(dir.exists("s_number_of_hrr_tdt_sibpair_peds.info"));
}

TEST(OptionsAct, AssociationAndStatisticsRunsNeedNoModel) {
    ScratchDir dir;
    writeFamily(dir);
    const RunResult stats = runProgram("varkel", post({"--stats", "--prefix", "st"}), dir.path());
    ASSERT_EQ(stats.status, 0) << stats.output;
    EXPECT_TRUE(dir.exists("st_genotype_statistics.info"));
    EXPECT_TRUE(dir.exists("st_hwe.tsv"));
    EXPECT_FALSE(dir.exists("st_summary.out"));  // nothing to summarise
    EXPECT_TRUE(contains(stats.output, "Elapsed time: "));

    const RunResult association =
        runProgram("varkel", post({"--tdt", "--hrrrand", "--quiet", "--seed", "5", "--prefix", "as"}), dir.path());
    ASSERT_EQ(association.status, 0) << association.output;
    for (const char* file : {"as_tdt.out", "as_tdt.tsv", "as_hrr.out", "as_summary.out"}) {
        SCOPED_TRACE(file);
        ASSERT_TRUE(dir.exists(file));
        // No disease model was given, so none is reported as used.
        EXPECT_FALSE(contains(dir.read(file), "Parameters used in analysis")) << dir.read(file);
        EXPECT_FALSE(contains(dir.read(file), "Model file")) << dir.read(file);
    }
    EXPECT_FALSE(contains(association.output, "Generating LINKAGE locus file"));

    // A linkage analysis still needs one, and says so.
    for (const char* analysis : {"--singlepoint", "--multipoint"}) {
        const RunResult run = runProgram("varkel", post({analysis, "--tdt", "--prefix", "li"}), dir.path());
        EXPECT_EQ(run.status, 255);
        EXPECT_TRUE(contains(run.output, "Error: Model file or Linkage locus file must be given (--model or --dat) "
                                         "for linkage analysis\n"))
            << run.output;
    }
    EXPECT_TRUE(filesOf(dir, "li").empty());
}

TEST(OptionsAct, QuietKeepsWarningsAndResultsButNoWindowTablesOrProgress) {
    ScratchDir dir;
    writeFamily(dir);
    // A third marker, a copy of M1, so that the multipoint run has a window; M2 is monomorphic
    // and skipped with a warning.
    dir.write("map.txt", "CHROMOSOME HALDANE MAP\n1 0.0 M1\n1 10.0 M2\n1 20.0 M3\n");
    std::string ped;
    for (const std::string& line : lines(dir.read("post.ped"))) {
        std::vector<std::string> f;
        std::string rest = line;
        for (size_t at; (at = rest.find(' ')) != std::string::npos; rest = rest.substr(at + 1))
            f.push_back(rest.substr(0, at));
        f.push_back(rest);
        ped += line + " " + f[10] + " " + f[11] + "\n";
    }
    dir.write("post.ped", ped);
    const std::vector<std::string> analyses = {"-k", "model.txt", "--singlepoint", "--multipoint", "--hrrrand",
                                               "--seed", "2"};
    std::vector<std::string> quietArgs = post(analyses);
    quietArgs.push_back("--quiet");
    const RunResult loud = runProgram("varkel", post(analyses), dir.path());
    const RunResult quiet = runProgram("varkel", quietArgs, dir.path());
    ASSERT_EQ(loud.status, 0) << loud.output;
    ASSERT_EQ(quiet.status, 0) << quiet.output;
    EXPECT_TRUE(contains(loud.output, "Marker order: M1 M3 \tLocus order: 1 2 3 \n")) << loud.output;
    EXPECT_FALSE(contains(quiet.output, "Marker order:")) << quiet.output;
    const std::string warning = "Warning: Marker M2 has less than 2 alleles...SKIPPING!\n";
    EXPECT_TRUE(contains(loud.output, warning)) << loud.output;
    EXPECT_TRUE(contains(quiet.output, warning)) << quiet.output;
    // The singlepoint table stays.
    EXPECT_TRUE(contains(quiet.output, "Parametric Linkage analysis\nPhenotype: DISEASE_LOCUS\n")) << quiet.output;
    // The output is no terminal: progress lines (rewritten with a carriage return) reach neither.
    for (const RunResult* run : {&loud, &quiet}) {
        EXPECT_FALSE(contains(run->output, "Completed")) << run->output;
        EXPECT_FALSE(contains(run->output, "\r")) << run->output;
    }
}

TEST(OptionsAct, AnUnwritablePrefixDirectoryStopsTheRunBeforeAnyReading) {
    ScratchDir dir;
    writeFamily(dir);
    dir.write("plain", "a file, no directory\n");
    ASSERT_EQ(mkdir(dir.file("locked").c_str(), 0555), 0);
    struct Case {
        std::string prefix, message;
    };
    std::vector<Case> cases = {
        {"nodir/res",
         "Error: Cannot write results under --prefix nodir/res: directory nodir: No such file or directory\n"},
        {"plain/res", "Error: Cannot write results under --prefix plain/res: directory plain: not a directory\n"},
    };
    if (geteuid() != 0)  // the super-user writes anywhere
        cases.push_back({"locked/res", "Error: Cannot write results under --prefix locked/res: directory locked: "
                                       "Permission denied\n"});
    for (const Case& c : cases) {
        SCOPED_TRACE(c.prefix);
        const RunResult run =
            runProgram("varkel", post({"-k", "model.txt", "--singlepoint", "--multipoint", "--prefix", c.prefix}),
                       dir.path());
        EXPECT_EQ(run.status, 255);
        EXPECT_TRUE(contains(run.output, c.message)) << run.output;
        EXPECT_FALSE(contains(run.output, "Reading map file")) << run.output;
    }
    const RunResult absolute = runProgram("varkel", post({"--stats", "--prefix", dir.path() + "/abs"}), dir.path());
    EXPECT_EQ(absolute.status, 0) << absolute.output;
    EXPECT_TRUE(dir.exists("abs_hwe.tsv"));
}

TEST(OptionsAct, ReportsStateTheSeedAndTheAlleleFrequenciesUsed) {
    ScratchDir dir;
    writeFamily(dir);
    // Without --seed the clock's seed is stated; given back with --seed, it repeats the run.
    const RunResult clock = runProgram("varkel", post({"--hrrrand", "--quiet", "--prefix", "c"}), dir.path());
    ASSERT_EQ(clock.status, 0) << clock.output;
    const std::string report = dir.read("c_hrr.out");
    const size_t at = report.find("Random seed            : ");
    ASSERT_NE(at, std::string::npos) << report;
    const std::string seedLine = report.substr(at, report.find('\n', at) - at);
    const std::string suffix = " (from the clock)";
    ASSERT_GT(seedLine.size(), suffix.size());
    EXPECT_EQ(seedLine.substr(seedLine.size() - suffix.size()), suffix);
    const std::string seed = seedLine.substr(25, seedLine.size() - 25 - suffix.size());
    EXPECT_TRUE(contains(dir.read("c_summary.out"), seedLine + "\n"));
    EXPECT_TRUE(contains(report, "Allele frequencies     : all persons\n"));

    const RunResult again =
        runProgram("varkel", post({"--hrrrand", "--quiet", "--seed", seed, "--prefix", "s"}), dir.path());
    ASSERT_EQ(again.status, 0) << again.output;
    EXPECT_TRUE(contains(dir.read("s_hrr.out"), "Random seed            : " + seed + "\n"));
    EXPECT_EQ(dir.read("s_hrr.tsv"), dir.read("c_hrr.tsv"));

    // Founders' frequencies asked, but a child of untyped parents carries allele 7, which no
    // founder has: all persons' frequencies are used, and the reports say so.
    dir.write("post.ped", dir.read("post.ped") + "2 1 0 0 3 0 0 1 0 1 0 0 0 0\n2 2 0 0 3 0 0 2 0 1 0 0 0 0\n"
                                                 "2 3 1 2 0 0 0 1 0 2 1 7 5 5\n");
    const RunResult founders =
        runProgram("varkel", post({"-k", "model.txt", "--tdt", "--freq", "f", "--prefix", "f"}), dir.path());
    ASSERT_EQ(founders.status, 0) << founders.output;
    EXPECT_TRUE(contains(dir.read("f_summary.out"),
                         "Allele frequencies     : founders asked; all persons used (an allele is missing from "
                         "founders)\n"))
        << dir.read("f_summary.out");
}

TEST(OptionsAct, ProgressOnATerminalOnlyAndNotWithQuiet) {
    if (access("/usr/bin/script", X_OK) != 0) GTEST_SKIP() << "script (util-linux) is not installed";
    ScratchDir dir;
    writeFamily(dir);
    // script runs the program on a pseudo-terminal and copies what it shows.
    const std::string command =
        std::string(VARKEL_BIN_DIR) + "/varkel -p post.ped -m map.txt --post --hrrrand --seed 4";
    const RunResult terminal = runProgram("/usr/bin/script", {"-qec", command, "/dev/null"}, dir.path());
    ASSERT_EQ(terminal.status, 0) << terminal.output;
    // One line rewritten in place: each state ends in a carriage return, and the last is blanked.
    EXPECT_TRUE(contains(terminal.output, "Completed: 50%")) << terminal.output;
    EXPECT_TRUE(contains(terminal.output, "Completed: 100%" + std::string(20, ' ') + "\r\r" + std::string(40, ' ') +
                                              "\r"))
        << terminal.output;
    const RunResult quiet = runProgram("/usr/bin/script", {"-qec", command + " --quiet", "/dev/null"}, dir.path());
    ASSERT_EQ(quiet.status, 0) << quiet.output;
    EXPECT_FALSE(contains(quiet.output, "Completed")) << quiet.output;
    EXPECT_TRUE(contains(quiet.output, "Elapsed time")) << quiet.output;
}
