// Files named on the command line are used or the run stops, and every report asked for is
// written whole or the run fails: runs of the built program with exit status and message.

#include <sys/stat.h>
#include <unistd.h>

#include <cmath>
#include <sstream>
#include <string>
#include <vector>

#include "driver/nuclear_family.h"
#include "support/test_support.h"

using namespace testing_support;

namespace {

std::vector<std::string> args(std::vector<std::string> extra) {
    std::vector<std::string> all = {"-p", "post.ped", "-m", "map.txt", "--post"};
    all.insert(all.end(), extra.begin(), extra.end());
    return all;
}

struct Case {
    std::vector<std::string> args;
    std::string message;
};

void expectStops(const ScratchDir& dir, const std::vector<Case>& cases) {
    for (const Case& c : cases) {
        SCOPED_TRACE(c.message);
        const RunResult run = runProgram("varkel", c.args, dir.path());
        EXPECT_EQ(run.status, 255);
        EXPECT_TRUE(contains(run.output, c.message)) << run.output;
        EXPECT_FALSE(contains(run.output, "Elapsed time"));
    }
}

}  // namespace

TEST(GivenFiles, AnUnreadableOrEmptyLocusOrModelFileStopsTheRun) {
    ScratchDir dir;
    writeFamily(dir);
    dir.write("badsum.dat", "3 0 0 5\n0 0.0 0.0 0\n1 2 3\n1 2\n0.99 0.01\n1\n0 1 1\n3 4\n0.3 0.3 0.3 0.3\n"
                            "3 1\n1.0\n0 0\n0.1 0.1\n1 0.1 0.45\n");
    dir.write("bom.model", "\xEF\xBB\xBF" "0 0.0001 1\n0.0 1.0 1.0\n");  // read as the plain file
    expectStops(dir, {
                         {args({"--dat", "nothere.dat", "--singlepoint"}),
                          "...failed\nUnable to open locus file nothere.dat for reading.\n"},
                         {args({"--dat", "badsum.dat", "--singlepoint"}), "...failed\nAllele frequencies do not sum to 1\n"},
                         {args({"--dat", "", "--singlepoint"}), "Error: --dat was given an empty file name\n"},
                         {args({"--model", "", "--singlepoint"}), "Error: --model was given an empty file name\n"},
                         {args({"--model", "nothere.model", "--singlepoint"}),
                          "Unable to open model file nothere.model for reading.\n"},
                     });
    for (const char* name : {"varkel_singlepoint.out", "varkel_summary.out"}) EXPECT_FALSE(dir.exists(name));
    const RunResult run = runProgram("varkel", args({"--model", "bom.model", "--singlepoint"}), dir.path());
    EXPECT_EQ(run.status, 0) << run.output;
    EXPECT_FALSE(contains(run.output, "Generating model"));
}

TEST(GivenFiles, MendelianErrorsBeforeConversionSayWhyTheRunStops) {
    ScratchDir dir;
    writeFamily(dir);
    // Child 3 carries 5 at M1, which neither parent has.
    dir.write("pre.ped", "1 1 0 0 1 2 1 2 5 5\n1 2 0 0 2 1 3 4 5 5\n1 3 1 2 1 2 5 3 5 5\n1 4 1 2 2 2 1 4 5 5\n");
    expectStops(dir, {{{"-p", "pre.ped", "-m", "map.txt", "-k", "model.txt", "--singlepoint"},
                       "Mendelian errors found in pedigree file pre.ped: the run stops; see mendel.err\n"}});
    EXPECT_TRUE(dir.exists("mendel.err"));
}

TEST(ReportFiles, AReportThatCannotBeWrittenFailsTheRun) {
    ScratchDir dir;
    writeFamily(dir);
    ASSERT_EQ(mkdir(dir.file("x_hrr.out").c_str(), 0755), 0);  // a directory in the report's place
    // A full disk: the summary goes to the device that is always full.
    ASSERT_EQ(symlink("/dev/full", dir.file("full_summary.out").c_str()), 0);
    const std::vector<std::string> hrr = {"-k", "model.txt", "--hrrrand", "--quiet", "--seed", "3", "--prefix"};
    auto with = [&](const std::string& prefix) {
        std::vector<std::string> all = args(hrr);
        all.push_back(prefix);
        return all;
    };
    expectStops(dir, {
                         {with("sub/dir/y"),
                          "Error: Cannot write results under --prefix sub/dir/y: directory sub/dir: No such file or "
                          "directory\n"},
                         {with("x"), "Error: Unable to open x_hrr.out for writing!\n"},
                         {with("full"), "Error: Unable to write full_summary.out\n"},
                         {args({"-k", "model.txt", "--singlepoint", "--prefix", "sub/z"}),
                          "Error: Cannot write results under --prefix sub/z: directory sub: No such file or "
                          "directory\n"},
                     });
    // The statistics files, the TDT table, the LOD table and the scan figure alike.
    ASSERT_EQ(symlink("/dev/full", dir.file("st_pedigree_statistics.info").c_str()), 0);
    for (const char* name : {"t_tdt.tsv", "l_lod.tsv", "f_scan.ps"}) ASSERT_EQ(mkdir(dir.file(name).c_str(), 0755), 0);
    expectStops(dir, {
                         {args({"-k", "model.txt", "--tdt", "--stats", "--prefix", "st"}),
                          "Error: Unable to write st_pedigree_statistics.info\n"},
                         {args({"-k", "model.txt", "--tdt", "--prefix", "t"}),
                          "Error: Unable to open t_tdt.tsv for writing!\n"},
                         {args({"-k", "model.txt", "--singlepoint", "--prefix", "l"}),
                          "Error: Unable to open l_lod.tsv for writing!\n"},
                         {args({"-k", "model.txt", "--singlepoint", "--prefix", "f"}),
                          "Error: Unable to open f_scan.ps for writing!\n"},
                     });
    EXPECT_FALSE(dir.exists("st_genotype_statistics.info"));  // the files after the failed one are not begun
    struct stat device;
    ASSERT_EQ(stat("/dev/full", &device), 0);
    EXPECT_TRUE(S_ISCHR(device.st_mode));
    EXPECT_TRUE(dir.exists("full_summary.out"));  // the link is left as it was
    EXPECT_EQ(dir.read("full_hrr.out").rfind(std::string(79, '-'), 0), 0u);  // the reports before it are whole
}

TEST(PlatformFiles, APreMakepedFileFromAnotherPlatformGivesThePlainFilesLods) {
    // Father 1/2 affected, mother 3/4, two affected children who received allele 1 from him:
    // two non-recombinant meioses of unknown phase, LOD(0) = log10(2^2 / 2) = log10 2.
    const std::string plain = "A 1 0 0 1 2 1 2 5 5\nA 2 0 0 2 1 3 4 5 5\nA 3 1 2 1 2 1 3 5 5\nA 4 1 2 2 2 1 4 5 5\n";
    std::string other = "\xEF\xBB\xBF";
    for (const std::string& line : lines(plain)) other += line + " 0 0 0 0 1 orig\r\n";
    other += "\r\n";
    std::vector<std::string> rows;
    for (const std::string& content : {plain, other}) {
        ScratchDir dir;
        writeFamily(dir);
        dir.write("pre.ped", content);
        const RunResult run =
            runProgram("varkel", {"-p", "pre.ped", "-m", "map.txt", "-k", "model.txt", "--singlepoint", "--byfamily"},
                       dir.path());
        ASSERT_EQ(run.status, 0) << run.output;
        for (const std::string& line : lines(dir.read("varkel_singlepoint_by_family.out")))
            if (line.find(" A ") != std::string::npos) rows.push_back(line);
    }
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[0], rows[1]);
    std::istringstream row(rows[0]);
    std::string pedigree;
    double lodAtZero = 0.0;
    row >> pedigree >> lodAtZero;
    EXPECT_EQ(pedigree, "A");
    EXPECT_NEAR(lodAtZero, std::log10(2.0), 1e-3);
}
