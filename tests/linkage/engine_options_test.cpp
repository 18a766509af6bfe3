// The engine options as a user meets them: an unknown engine or budget stops the run; a
// pedigree the native engine cannot take (beyond its budget and with a loop) is skipped by name
// with --engine native and left out of the tables; --wsize 0 puts each chromosome's markers into one window, whose LODs are
// LINKMAP's for the same window.

#include <gtest/gtest.h>

#include <cstdlib>
#include <map>

#include "linkage/closed_form_reports.h"

using namespace testing_support;
using closed_form::words;

namespace {

// Two nuclear families (2 and 4 meiosis bits, the first of each founder fixed) typed at two markers on each of two chromosomes.
void writeData(const ScratchDir& dir) {
    dir.write("f.pre",
              "1 1 0 0 1 2 1 2 1 2 1 3 2 2\n1 2 0 0 2 1 3 3 2 2 2 2 1 3\n1 3 1 2 1 2 1 3 1 2 1 2 2 3\n"
              "1 4 1 2 2 1 2 3 2 2 3 2 1 2\n2 1 0 0 1 1 1 1 1 2 1 2 1 1\n2 2 0 0 2 2 2 3 1 1 3 3 2 3\n"
              "2 3 1 2 1 2 1 2 1 1 1 3 1 2\n2 4 1 2 2 2 1 3 2 1 2 3 1 3\n2 5 1 2 2 1 1 2 1 1 1 3 1 2\n");
    dir.write("f.map", "CHROMOSOME HALDANE POSITION\n1 10 A1\n1 25 A2\n2 5 B1\n2 30 B2\n");
    dir.write("f.model", "0 0.02 1\n0.03 0.9 0.9\n");
}

const std::vector<std::string> kData{"--ped", "f.pre", "--map", "f.map", "--model", "f.model", "--jobs", "1"};

std::vector<std::string> with(std::vector<std::string> args) {
    args.insert(args.begin(), kData.begin(), kData.end());
    return args;
}

}  // namespace

TEST(EngineOptions, UnknownEngineOrBudgetStopsTheRun) {
    ScratchDir dir;
    writeData(dir);
    RunResult run = runProgram("varkel", with({"--singlepoint", "--engine", "peeling"}), dir.path());
    EXPECT_EQ(run.status, 255);
    EXPECT_TRUE(contains(run.output, "Error: Unknown likelihood engine peeling (use auto, native or fastlink)"))
        << run.output;
    run = runProgram("varkel", with({"--singlepoint", "--max-bits", "0"}), dir.path());
    EXPECT_EQ(run.status, 255);
    EXPECT_TRUE(contains(run.output, "Error: --max-bits must be between 1 and 40 (given 0)")) << run.output;
    EXPECT_FALSE(dir.exists("varkel_singlepoint.out"));
}

// Beyond the budget of inheritance vectors, a pedigree without loops is peeled; one with a
// marriage loop (pedigree 3: half-sibs 4 and 5 with a child, 3 meiosis bits) is skipped.
TEST(EngineOptions, NativeSkipsAPedigreeBeyondItsBudgetByName) {
    ScratchDir dir;
    writeData(dir);
    dir.write("f.pre", dir.read("f.pre") +
                           "3 1 0 0 1 2 1 2 1 1 1 2 1 2\n3 2 0 0 2 1 1 3 1 2 2 2 1 1\n3 3 0 0 2 1 2 2 2 2 1 1 2 2\n"
                           "3 4 1 2 1 2 1 3 1 2 1 2 1 1\n3 5 1 3 2 2 2 2 1 2 1 1 2 2\n3 6 4 5 1 2 1 2 1 1 1 1 1 2\n");
    const RunResult run = runProgram(
        "varkel", with({"--singlepoint", "--byfamily", "--engine", "native", "--max-bits", "2", "--verbose"}), dir.path());
    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_TRUE(contains(run.output, "Skipping pedigree 3 for the singlepoint analysis, since it has 3 meiosis bits, "
                                     "more than the native engine's budget of 2 (--max-bits), and a marriage loop"))
        << run.output;
    EXPECT_TRUE(contains(run.output, "Likelihoods: 2 pedigrees by the native engine, 0 by FASTLINK, 1 skipped"))
        << run.output;
    EXPECT_TRUE(contains(run.output, "  native engine: 1 (2 bits) 2 (peeled)\n")) << run.output;
    // Pedigree 3 is in no row of the table; pedigrees 1 and 2 are.
    const std::string table = dir.read("varkel_lod.tsv");
    EXPECT_TRUE(contains(table, "\t1\t0.5\t")) << table;
    EXPECT_TRUE(contains(table, "\t2\t0.5\t")) << table;
    EXPECT_FALSE(contains(table, "\t3\t0.5\t")) << table;
    const std::string summary = dir.read("varkel_summary.out");
    EXPECT_TRUE(contains(summary, "         singlepoint         2         0\n")) << summary;
}

TEST(EngineOptions, WholeChromosomeWindowsAreLinkmapsWindowsOfTheirMarkers) {
    ScratchDir dir;
    writeData(dir);
    const RunResult whole = runProgram(
        "varkel", with({"--multipoint", "--wsize", "0", "--steps", "3", "--prefix", "whole"}), dir.path());
    ASSERT_EQ(whole.status, 0) << whole.output;
    EXPECT_TRUE(contains(whole.output, "Multipoint window size 0 (whole chromosomes)")) << whole.output;
    // Two markers per chromosome: LINKMAP's windows of two over A1 A2 and B1 B2 are the same
    // windows (and its window A2 B1 across the chromosomes is one more).
    const RunResult pairs = runProgram(
        "varkel", with({"--multipoint", "--wsize", "2", "--steps", "3", "--engine", "fastlink", "--prefix", "pairs"}),
        dir.path());
    ASSERT_EQ(pairs.status, 0) << pairs.output;
    std::vector<std::string> wholeRows = lines(dir.read("whole_multipoint.tsv"));
    std::vector<std::string> pairRows;
    for (const std::string& row : lines(dir.read("pairs_multipoint.tsv")))
        if (!contains(row, "A2 B1")) pairRows.push_back(row);
    ASSERT_EQ(wholeRows.size(), pairRows.size());
    ASSERT_GT(wholeRows.size(), 10u);
    for (size_t i = 0; i < wholeRows.size(); ++i) {
        const std::vector<std::string> a = words(wholeRows[i]), b = words(pairRows[i]);
        ASSERT_EQ(a.size(), b.size()) << wholeRows[i];
        for (size_t f = 0; f < a.size(); ++f) {
            char* end = nullptr;
            const double x = std::strtod(a[f].c_str(), &end);
            if (*end != '\0' || end == a[f].c_str()) {
                EXPECT_EQ(a[f], b[f]) << wholeRows[i];
                continue;
            }
            EXPECT_NEAR(x, std::strtod(b[f].c_str(), nullptr), 1e-5) << wholeRows[i] << " | " << pairRows[i];
        }
    }
    // With LINKMAP alone a whole-chromosome window cannot be had: the usual window of three.
    const RunResult fastlink = runProgram(
        "varkel", with({"--multipoint", "--wsize", "0", "--engine", "fastlink", "--prefix", "fl"}), dir.path());
    EXPECT_TRUE(contains(fastlink.output, "Warning: Multipoint window size must be > 1! Setting window size to 3."))
        << fastlink.output;
}

// Sliding windows across the boundary of two chromosomes hold an interval of fraction 0.5: the
// native engine evaluates LINKMAP's points in it (short of 0.5 from the left marker) and the
// curves leave out the points with no map position, so both engines write the same rows.
TEST(EngineOptions, WindowsAcrossTwoChromosomes) {
    ScratchDir dir;
    writeData(dir);
    std::map<std::string, std::vector<std::string>> rows;
    for (const std::string engine : {"native", "fastlink"}) {
        const RunResult run = runProgram(
            "varkel", with({"--multipoint", "--wsize", "3", "--engine", engine, "--prefix", engine}), dir.path());
        ASSERT_EQ(run.status, 0) << run.output;
        EXPECT_TRUE(dir.exists(engine + "_multipoint.ps")) << run.output;
        rows[engine] = lines(dir.read(engine + "_multipoint.tsv"));
    }
    ASSERT_EQ(rows["native"].size(), rows["fastlink"].size());
    size_t across = 0;
    for (size_t i = 0; i < rows["native"].size(); ++i) {
        const std::vector<std::string> a = words(rows["native"][i]), b = words(rows["fastlink"][i]);
        ASSERT_EQ(a.size(), b.size()) << rows["native"][i];
        // phenotype, three marker names, trait position, cM, pedigree, then the numbers.
        for (size_t f = 0; f < 7; ++f) EXPECT_EQ(a[f], b[f]) << rows["native"][i] << " | " << rows["fastlink"][i];
        if (a[2] == "A2" && a[3] == "B1") ++across;
        if (i > 0) {
            EXPECT_NEAR(std::stod(a[7]), std::stod(b[7]), 1e-5) << rows["native"][i] << " | " << rows["fastlink"][i];
        }
    }
    EXPECT_GT(across, 0u);
}
