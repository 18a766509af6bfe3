// The Mendelian clean-up option: inconsistent genotypes set to unknown, listed, and the run
// goes on; without the option the run stops as before.

#include <string>
#include <vector>

#include "support/test_support.h"

using namespace testing_support;

namespace {

// Pedigree 1: child 3 is 3/3 at M1 with parents 1/1 and 2/2 (the child is the offender).
// Pedigree 2: untyped parents with children 1/2, 3/4, 5/6 at M1, six alleles where two
// parents carry at most four (no offender can be told: the whole family).
void writeFamilies(const ScratchDir& dir) {
    dir.write("fam.pre",
              "1 1 0 0 1 1  1 1  1 2\n"
              "1 2 0 0 2 1  2 2  1 2\n"
              "1 3 1 2 1 2  3 3  1 1\n"
              "1 4 1 2 2 2  1 2  2 2\n"
              "2 1 0 0 1 1  0 0  0 0\n"
              "2 2 0 0 2 1  0 0  0 0\n"
              "2 3 1 2 1 2  1 2  0 0\n"
              "2 4 1 2 2 2  3 4  0 0\n"
              "2 5 1 2 1 1  5 6  0 0\n");
    dir.write("fam.map", "CHROMOSOME HALDANE NAME\n1 0.0 M1\n1 10.0 M2\n");
    dir.write("fam.model", "0 0.01 1\n0.0 0.9 0.9\n");
}

const std::vector<std::string> kArgs = {"--ped", "fam.pre", "--map", "fam.map", "--model", "fam.model",
                                        "--singlepoint", "--prefix", "fam"};

}  // namespace

TEST(SetMeMissing, OffendersAreWipedListedAndTheRunGoesOn) {
    ScratchDir dir;
    writeFamilies(dir);
    std::vector<std::string> args = kArgs;
    args.push_back("--set-me-missing");
    const RunResult run = runProgram("varkel", args, dir.path());
    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(dir.read("fam_mendel_wiped.tsv"),
              "pedigree\tperson\tmarker\treason\n"
              "1\t3\tM1\talleles not found from parents\n"
              "2\t3\tM1\ttoo many alleles found in childs LEVEL2\n"
              "2\t4\tM1\ttoo many alleles found in childs LEVEL2\n"
              "2\t5\tM1\ttoo many alleles found in childs LEVEL2\n");
    EXPECT_NE(run.output.find("4 genotype(s) set to unknown"), std::string::npos) << run.output;
    // The conversion and the analysis ran on the cleaned data.
    EXPECT_TRUE(dir.exists("fam_singlepoint.out"));
}

TEST(SetMeMissing, WithoutTheOptionMendelianErrorsStopTheRun) {
    ScratchDir dir;
    writeFamilies(dir);
    const RunResult run = runProgram("varkel", kArgs, dir.path());
    EXPECT_EQ(run.status, 255);
    EXPECT_NE(run.output.find("Mendelian errors found in pedigree file fam.pre"), std::string::npos) << run.output;
    EXPECT_FALSE(dir.exists("fam_mendel_wiped.tsv"));
    EXPECT_TRUE(dir.exists("mendel.err"));
}
