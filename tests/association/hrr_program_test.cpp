#include <cstdlib>

#include "association/hrr_test_data.h"

using namespace testing_support;
using hrr_test::person;

namespace {

// Three trios at marker M1 and the same trios untyped at M2:
//   A: child 1 2, mother 1 3, father 2 4 -> case 1/2, control 3/4
//   B: child 2 1, mother 1 3, father 2 4 -> case 1/2, control 3/4 (second allele maternal)
//   C: child 3 3, mother 3 1, father 3 2 -> case 3/3, control 1/2
void writeInput(const ScratchDir& dir) {
    std::string p;
    for (const char* id : {"A", "B", "C"}) {
        const std::string ped = id;
        const bool c = ped == "C";
        p += person(ped, "1", "0", "0", "1", "1", {c ? "3 2" : "2 4", "0 0"});
        p += person(ped, "2", "0", "0", "2", "1", {c ? "3 1" : "1 3", "0 0"});
        p += person(ped, "3", "1", "2", "1", "2", {c ? "3 3" : ped == "A" ? "1 2" : "2 1", "0 0"});
    }
    dir.write("trios.ped", p);
    dir.write("trios.map", hrr_test::mapFile({"M1", "M2"}));
    dir.write("trios.model", "0 0.01 1\n0.01 0.9 0.9\n");
}

RunResult runHrr(const ScratchDir& dir, const std::string& seed) {
    return runProgram("varkel", {"--post", "--ped", "trios.ped", "--map", "trios.map", "--model", "trios.model",
                                 "--hrrrand", "--seed", seed},
                      dir.path());
}

// The text without its "Date : " lines.
std::string withoutDates(const std::string& text) {
    std::string kept;
    for (const std::string& line : lines(text))
        if (line.rfind("Date : ", 0) != 0) kept += line + "\n";
    return kept;
}

// The first line starting with the given text; a console line counts from its last carriage
// return, as a terminal shows it.
std::string lineStartingWith(const std::string& text, const std::string& start) {
    for (const std::string& line : lines(text)) {
        const size_t cr = line.rfind('\r');
        const std::string shown = cr == std::string::npos ? line : line.substr(cr + 1);
        if (shown.rfind(start, 0) == 0) return shown;
    }
    return "";
}

}  // namespace

TEST(HrrProgram, SeededRunReportsHandCountsAndIsReproducible) {
    ScratchDir first, second, third;
    writeInput(first);
    writeInput(second);
    writeInput(third);
    const RunResult one = runHrr(first, "7");
    const RunResult two = runHrr(second, "7");
    const RunResult other = runHrr(third, "8");
    ASSERT_EQ(one.status, 0) << one.output << one.errors;
    ASSERT_EQ(two.status, 0) << two.output << two.errors;

    // Console: the table row of M1; M2 has no trio and no typed founder.
    EXPECT_TRUE(contains(one.output, "\nHaplotype Relative Risk\nPhenotype: DISEASE_LOCUS\n"));
    EXPECT_TRUE(contains(one.output, "Skipping marker M2, since no informative families found\n"));
    const std::string row = lineStartingWith(one.output, std::string(18, ' ') + "M1");
    ASSERT_EQ(row.size(), 80u) << one.output;
    // By hand: alleles, cases 2,2,2,0 of 6, controls 1,1,2,2 of 6, pooled 3,3,4,2 of 12:
    // LRT 3.452185, 3 df, p = 0.327017; genotypes, cases 1/2:2 3/3:1, controls 3/4:2 1/2:1,
    // pooled 3,1,2 of 6: LRT 4.498681, 9 df, p = 0.875641.
    EXPECT_NEAR(std::strtod(row.substr(35, 15).c_str(), nullptr), 0.327017, 3e-5);
    EXPECT_NEAR(std::strtod(row.substr(65, 15).c_str(), nullptr), 0.875641, 3e-5);

    const std::string report = first.read("varkel_hrr.out");
    const std::string heading = std::string(5, ' ') + "Genotype" + std::string(9, ' ') + "Case" +
                                std::string(6, ' ') + "Control\n";
    auto row13 = [](const std::string& a, int cases, int controls) {
        return std::string(13 - a.size(), ' ') + a + std::string(12, ' ') + std::to_string(cases) +
               std::string(12, ' ') + std::to_string(controls) + "\n";
    };
    const std::string m1 = "Marker : M1\n\nGenotype Count\n" + heading + row13("1/1", 0, 0) + row13("1/2", 2, 1) +
                           row13("1/3", 0, 0) + row13("1/4", 0, 0) + row13("2/2", 0, 0) + row13("2/3", 0, 0) +
                           row13("2/4", 0, 0) + row13("3/3", 1, 0) + row13("3/4", 0, 2) + row13("4/4", 0, 0) +
                           "\nAllele Count\n" + std::string(7, ' ') + "Allele" + std::string(9, ' ') + "Case" +
                           std::string(6, ' ') + "Control\n" + row13("1", 2, 1) + row13("2", 2, 1) +
                           row13("3", 2, 2) + row13("4", 0, 2) + "\nGenotype-Based LRT  " +
                           std::string(11, ' ') + ": 4.498681\nAllele-Based LRT    " + std::string(11, ' ') +
                           ": 3.452185\n\n";
    EXPECT_TRUE(contains(report, m1)) << report;
    EXPECT_TRUE(first.exists("varkel_hrr.ps"));
    const std::string summary = first.read("varkel_summary.out");
    EXPECT_TRUE(contains(summary, "Association analysis summary - results are p-values"));
    EXPECT_NE(lineStartingWith(summary, std::string(18, ' ') + "M1"), "");

    // With the same seed, everything but the dates is the same in the second run.
    EXPECT_EQ(withoutDates(report), withoutDates(second.read("varkel_hrr.out")));
    EXPECT_EQ(withoutDates(summary), withoutDates(second.read("varkel_summary.out")));
    EXPECT_EQ(row, lineStartingWith(two.output, std::string(18, ' ') + "M1"));
    // Another seed gives other randomised p-values (the same theoretical ones).
    const std::string otherRow = lineStartingWith(other.output, std::string(18, ' ') + "M1");
    ASSERT_EQ(otherRow.size(), 80u);
    EXPECT_NE(otherRow.substr(20, 15) + otherRow.substr(50, 15), row.substr(20, 15) + row.substr(50, 15));
    EXPECT_EQ(otherRow.substr(35, 15), row.substr(35, 15));
    // The randomised p-values are those of a run of 100000 replicates.
    const double randomized = std::strtod(row.substr(20, 15).c_str(), nullptr);
    EXPECT_GT(randomized, 0.0);
    EXPECT_LE(randomized, 1.0);
}
