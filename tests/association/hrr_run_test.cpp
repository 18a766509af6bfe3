// The association analysis: trio extraction, histogram paging, and seeded runs of the program.

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "association/hrr.h"
#include "model/pedigrees.h"
#include "pedigree/marker_info.h"
#include "association/trio_files.h"
#include "support/test_support.h"

using namespace testing_support;
using namespace trio_files;

namespace {

// The genotype of a trio member ("1" father, "2" mother, "3" child).
std::string genotypeOf(const Pedigree* trio, const std::string& member) {
    const Person* person = trio->getPerson(member);
    return person && person->isTyped(0) ? person->getAlleleName(0, 0) + " " + person->getAlleleName(0, 1)
                                        : "untyped";
}

// The singleton tallies of a catalogue entry, "affected/unaffected" for it and its alleles.
std::string singletons(const MarkerInfo* entry) {
    auto pair = [](int a, int u) { return std::to_string(a) + "/" + std::to_string(u); };
    std::string text = pair(entry->getAffectedSingletons(), entry->getUnaffectedSingletons());
    for (const Allele* a : entry->getAlleles())
        text += " " + a->getAlleleName() + ":" + pair(a->getAffectedSingletons(), a->getUnaffectedSingletons());
    return text;
}

std::string spaces(size_t n) { return std::string(n, ' '); }

// Runs the analysis on five trios (unaffected parents, affected child) at markers M1 (below:
// father, mother, child), M2 (untyped), M3 (parents typed) and M4 (E's child typed, 5 6).
//   A: child 1 2 from mother 1 3 and father 2 4: case 1/2, control 3/4.
//   B: the same with the child's alleles written 2 1 (second allele maternal).
//   C: allele 2 comes from neither parent: case counts only.
//   D: child 10 9, 9 from mother 9 1 and 10 from father 10 2: case 9/10, control 1/2.
//   E: untyped parents: a trio that counts nothing (its child brings allele 5).
RunResult runHrr(const ScratchDir& dir, const std::string& seed) {
    const std::vector<std::vector<std::string>> trios = {{"A", "2 4", "1 3", "1 2"}, {"B", "2 4", "1 3", "2 1"},
                                                         {"C", "1 4", "1 3", "1 2"}, {"D", "10 2", "9 1", "10 9"},
                                                         {"E", "0 0", "0 0", "5 5"}};
    std::string p;
    for (const auto& t : trios)
        p += person(t[0], "1", "0", "0", "1", "1", {t[1], "0 0", "1 1", "0 0"}) +
             person(t[0], "2", "0", "0", "2", "1", {t[2], "0 0", "1 2", "0 0"}) +
             person(t[0], "3", "1", "2", "1", "2", {t[3], "0 0", "0 0", t[0] == "E" ? "5 6" : "0 0"});
    dir.write("trios.ped", p);
    dir.write("trios.map", mapFile({"M1", "M2", "M3", "M4"}));
    dir.write("trios.model", "0 0.01 1\n0.01 0.9 0.9\n");
    return runProgram("varkel", {"--post", "--ped", "trios.ped", "--map", "trios.map", "--model", "trios.model",
                                 "--hrrrand", "--seed", seed},
                      dir.path());
}

// The text without its "Date : " lines.
std::string withoutDates(const std::string& text) {
    std::string kept;
    for (const std::string& line : lines(text)) kept += line.rfind("Date : ", 0) == 0 ? "" : line + "\n";
    return kept;
}

// The result row of a marker; a console line counts from its last carriage return.
std::string rowOf(const std::string& text, const std::string& marker) {
    for (const std::string& line : lines(text))  // (npos + 1 is 0)
        if (line.substr(line.rfind('\r') + 1).rfind(spaces(20 - marker.size()) + marker, 0) == 0)
            return line.substr(line.rfind('\r') + 1);
    return "";
}

// Heading of the "Genotype" or "Allele" count table of the report, and one row of it.
std::string heading(const std::string& what) {
    return what + " Count\n" + spaces(13 - what.size()) + what + spaces(9) + "Case" + spaces(6) + "Control\n";
}
std::string row(const std::string& name, int cases, int controls) {
    return spaces(13 - name.size()) + name + spaces(12) + std::to_string(cases) + spaces(12) +
           std::to_string(controls) + "\n";
}

}  // namespace

TEST(HrrTrios, OneTrioPerPedigreeByRuleAndPersonOrderOthersTallied) {
    std::string p;  // one marker
    // Pedigree 1: two affected children with typed parents; "10" precedes "9" in key order.
    p += person("1", "1", "0", "0", "1", "1", {"1 2"}) + person("1", "2", "0", "0", "2", "1", {"3 4"});
    p += person("1", "9", "1", "2", "1", "2", {"1 3"}) + person("1", "10", "1", "2", "2", "2", {"2 4"});
    // Pedigree 2: only an unaffected child; its typed founders go to the singleton tallies.
    p += person("2", "1", "0", "0", "1", "2", {"1 1"}) + person("2", "2", "0", "0", "2", "1", {"1 3"});
    p += person("2", "3", "1", "2", "1", "1", {"1 3"});
    // Pedigree 3: the only affected child has untyped parents (rule Three).
    p += person("3", "1", "0", "0", "1", "1", {"0 0"}) + person("3", "2", "0", "0", "2", "1", {"0 0"});
    p += person("3", "3", "1", "2", "1", "2", {"2 2"});
    // Pedigree 4: an unaffected child with typed parents comes before the affected one.
    p += person("4", "1", "0", "0", "1", "0", {"1 4"}) + person("4", "2", "0", "0", "2", "0", {"2 3"});
    p += person("4", "3", "1", "2", "1", "1", {"1 2"}) + person("4", "4", "1", "2", "2", "2", {"4 3"});
    // Pedigree 5: the affected child is untyped; the father's affection is unknown.
    p += person("5", "1", "0", "0", "1", "0", {"2 2"}) + person("5", "2", "0", "0", "2", "1", {"2 4"});
    p += person("5", "3", "1", "2", "1", "2", {"0 0"});
    ScratchDir dir;
    Pedigrees pedigrees;
    ASSERT_TRUE(load(pedigrees, dir, mapFile({"M1"}), p));
    const MarkerInfo* m1 = pedigrees.getMarkerInfo()->find("0");
    ASSERT_NE(m1, nullptr);

    // Child, mother, father per trio: pedigree 1 with child "10" (first in key order); 3 with
    // untyped parents; 4 with the affected child "4"; neither 2 nor 5.
    std::string found;
    pedigrees.createHrrPedigreesForMarker("DISEASE_LOCUS", "0")->forEach([&](const Pedigree* trio) {
        found += trio->getPedigreeId() + ": " + genotypeOf(trio, "3") + ", " + genotypeOf(trio, "2") + ", " +
                 genotypeOf(trio, "1") + "; ";
    });
    EXPECT_EQ(found, "1: 2 4, 3 4, 1 2; 3: 2 2, untyped, untyped; 4: 4 3, 2 3, 1 4; ");
    EXPECT_EQ(pedigrees.getHrrPersonCount(), 9);

    // Typed founders with affection 1 or 2 of the pedigrees without a trio: pedigree 2's
    // affected father 1 1 and unaffected mother 1 3, pedigree 5's unaffected mother 2 4.
    EXPECT_EQ(singletons(m1), "1/2 1:2/1 2:0/1 3:0/1 4:0/1");
    // A second call for the same marker adds the same tallies again.
    pedigrees.createHrrPedigreesForMarker("DISEASE_LOCUS", "0");
    EXPECT_EQ(singletons(m1), "2/4 1:4/2 2:0/2 3:0/2 4:0/2");
}

TEST(HrrReport, ManyMarkersArePagedInFifties) {
    // One trio at 120 markers; its parents are untyped, so every p-value is 1.
    std::vector<std::string> names, untyped(120, "0 0"), child(120, "1 2");
    for (int i = 1; i <= 120; ++i) names.push_back("S" + std::to_string(i));
    ScratchDir dir;
    Pedigrees pedigrees;
    ASSERT_TRUE(load(pedigrees, dir, mapFile(names),
                     person("1", "1", "0", "0", "1", "1", untyped) + person("1", "2", "0", "0", "2", "1", untyped) +
                         person("1", "3", "1", "2", "1", "2", child)));
    Hrr hrr(&pedigrees);
    hrr.setQuiet(true);
    int result = 0;
    captureOutput([&] { result = hrr.run("", "") && hrr.writeGenotypeAndAlleleCounts(dir.file("many_hrr")); });
    ASSERT_EQ(result, 1);

    const std::vector<std::string> plot = lines(dir.read("many_hrr.ps"));
    auto count = [&](const std::string& part) {
        return std::count_if(plot.begin(), plot.end(), [&](const std::string& l) { return contains(l, part); });
    };
    // Four curves of three pages each: 50, 50 and 20 bars, the last page padded with 30
    // unlabelled empty slots so that its bars are 600 / 50 - 2 = 10 wide too.
    EXPECT_EQ(count("%%Pages: 12"), 1);
    EXPECT_EQ(count("%%Page: "), 12);
    EXPECT_EQ(count(" .7 fillbox "), 4 * 120);
    EXPECT_EQ(count(" 0 10 rlineto"), 4 * 120);
    EXPECT_EQ(count("(S120)show"), 4);
    EXPECT_EQ(count("(@") + count("(-0)"), 0);  // no placeholder name, no "-0" label
    // The 20th bar of the last page sits at y = 700 - 12 * 20 = 460; the next slot (y = 448)
    // is drawn on the full pages only.
    EXPECT_EQ(count(" 100 460 moveto"), 4 * 3);
    EXPECT_EQ(count(" 100 448 moveto"), 4 * 2);
    const std::string gs = "gs -q -dSAFER -dBATCH -dNOPAUSE -sDEVICE=nullpage '" + dir.file("many_hrr.ps") + "'";
    EXPECT_EQ(std::system((gs + " > /dev/null 2>&1").c_str()), 0);  // renders in ghostscript
}

TEST(HrrProgram, SeededRunCountsTransmissionsByHandAndIsReproducible) {
    ScratchDir first, second, third;
    const RunResult one = runHrr(first, "7");
    const RunResult two = runHrr(second, "7");
    const RunResult other = runHrr(third, "8");
    ASSERT_EQ(one.status, 0) << one.output << one.errors;

    // The console table; M3's founders were tallied as singletons, so it is skipped silently.
    EXPECT_TRUE(contains(one.output, "\nHaplotype Relative Risk\nPhenotype: DISEASE_LOCUS\n" + spaces(14) + "Marker"));
    EXPECT_TRUE(contains(one.output, "\nSkipping marker M2, since no informative families found\n"));
    EXPECT_FALSE(contains(one.output, "Skipping marker M3"));
    const std::string m1Row = rowOf(one.output, "M1");
    ASSERT_EQ(m1Row.size(), 80u) << one.output;
    // By hand: allele LRT = 2 (H0 - H1) with cases 3,3,1,1 of 8, controls 1,1,2,2 of 6 and
    // pooled 4,4,2,2,1,1 of 14 = 10.124065; genotypes: cases 3,1 of 4, controls 2,1 of 3,
    // pooled 4,1,2 of 7 = 5.062032. 6 df: exp(-x/2)(1 + x/2 + x^2/8) = 0.119524; 27 df:
    // 0.99999884 (regularised upper incomplete gamma).
    EXPECT_EQ(m1Row.substr(35, 15), spaces(7) + "0.119524");
    EXPECT_NEAR(std::strtod(m1Row.substr(65, 15).c_str(), nullptr), 0.99999884, 3e-5);
    EXPECT_EQ(rowOf(one.output, "M4"), spaces(18) + "M4" + spaces(7) + "1.000000" + spaces(7) + "1.000000" +
                                           spaces(7) + "1.000000" + spaces(7) + "1.000000");

    // Every genotype of M1's catalogue (allele 5 from E's child) is listed, zero counts too;
    // only the alleles seen in cases or controls are.
    const std::string report = first.read("varkel_hrr.out");
    std::string m1 = "Marker : M1\n\n" + heading("Genotype");
    const std::vector<std::string> alleles = {"1", "2", "3", "4", "5", "9", "10"};
    for (size_t i = 0; i < alleles.size(); ++i)
        for (size_t j = i; j < alleles.size(); ++j) {
            const std::string g = alleles[i] + "/" + alleles[j];
            // Cases from A, B, C and D (not "10/9"); controls from A, B and D, none from C.
            m1 += row(g, g == "1/2" ? 3 : g == "9/10" ? 1 : 0, g == "3/4" ? 2 : g == "1/2" ? 1 : 0);
        }
    const std::string lrt = "\nGenotype-Based LRT  " + spaces(11) + ": ";
    m1 += "\n" + heading("Allele") + row("1", 3, 1) + row("2", 3, 1) + row("3", 0, 2) + row("4", 0, 2) +
          row("9", 1, 0) + row("10", 1, 0) + lrt + "5.062032\nAllele-Based LRT    " + spaces(11) + ": 10.124065\n";
    EXPECT_TRUE(contains(report, m1)) << report;
    // M4: E's trio, its three genotypes with zero counts and an empty allele table.
    EXPECT_TRUE(contains(report, "Marker : M4\n\n" + heading("Genotype") + row("5/5", 0, 0) + row("5/6", 0, 0) +
                                     row("6/6", 0, 0) + "\n" + heading("Allele") + lrt));
    EXPECT_FALSE(contains(report, "Marker : M2") || contains(report, "Marker : M3"));
    const std::string summary = first.read("varkel_summary.out");
    EXPECT_NE(rowOf(summary, "M1"), "") << summary;

    // With the same seed, everything but the dates is the same in the second run.
    EXPECT_EQ(withoutDates(report), withoutDates(second.read("varkel_hrr.out")));
    EXPECT_EQ(withoutDates(summary), withoutDates(second.read("varkel_summary.out")));
    EXPECT_EQ(m1Row, rowOf(two.output, "M1"));
    // Another seed gives other randomised p-values (the same theoretical ones).
    const std::string otherRow = rowOf(other.output, "M1");
    ASSERT_EQ(otherRow.size(), 80u);
    EXPECT_NE(otherRow.substr(20, 15) + otherRow.substr(50, 15), m1Row.substr(20, 15) + m1Row.substr(50, 15));
}

TEST(HrrTrios, LetterCodedGenotypesCountUnderTheCatalogueNames) {
    // Father, mother, child of nine trios at an A/B/C marker, the child's alleles in either
    // order. By hand (the maternal allele first where the child's order leaves it open):
    //   1 AB AC AB: case A/B, control C+A   2 AC BC BC: B/C, C+A   3 AA AB AA: A/A, B+A
    //   4 BC AB AC: A/C, B+B   5 CC AC AC: A/C, C+C   6 AB AB BA: A/B, A+B
    //   7 AC BB BA: A/B, B+C   8 BC AC CB: B/C, A+C   9 AB CC CA: A/C, C+B
    const std::vector<std::vector<std::string>> trios = {
        {"A B", "A C", "A B"}, {"A C", "B C", "B C"}, {"A A", "A B", "A A"}, {"B C", "A B", "A C"},
        {"C C", "A C", "A C"}, {"A B", "A B", "B A"}, {"A C", "B B", "B A"}, {"B C", "A C", "C B"},
        {"A B", "C C", "C A"}};
    std::string p;
    for (size_t t = 0; t < trios.size(); ++t) {
        const std::string id = std::to_string(t + 1);
        p += person(id, "1", "0", "0", "1", "1", {trios[t][0]}) + person(id, "2", "0", "0", "2", "1", {trios[t][1]}) +
             person(id, "3", "1", "2", "1", "2", {trios[t][2]});
    }
    ScratchDir dir;
    Pedigrees pedigrees;
    ASSERT_TRUE(load(pedigrees, dir, mapFile({"ABC"}), p));
    Hrr hrr(&pedigrees);
    hrr.setQuiet(true);
    int result = 0;
    captureOutput([&] { result = hrr.run("", "") && hrr.writeGenotypeAndAlleleCounts(dir.file("abc_hrr")); });
    ASSERT_EQ(result, 1);

    // Cases A/A 1, A/B 3, A/C 3, B/C 2 (all nine); controls A/B 2, A/C 3, B/B 1, B/C 2, C/C 1.
    const std::string report = dir.read("abc_hrr.out");
    EXPECT_TRUE(contains(report, heading("Genotype") + row("A/A", 1, 0) + row("A/B", 3, 2) + row("A/C", 3, 3) +
                                     row("B/B", 0, 1) + row("B/C", 2, 2) + row("C/C", 0, 1) + "\n" +
                                     heading("Allele") + row("A", 8, 5) + row("B", 5, 6) + row("C", 5, 7)))
        << report;
    // LRT = 2 (H0 - H1) with cases 1 3 3 0 2 0 of 9, controls 0 2 3 1 2 1 of 9, pooled
    // 1 5 6 1 4 1 of 18; alleles: cases 8 5 5, controls 5 6 7 of 18, pooled 13 11 12 of 36.
    auto nLogN = [](double n, double total) { return n * std::log(n / total); };
    const double genotypeLrt =
        2 * (nLogN(1, 9) + 2 * nLogN(3, 9) + nLogN(2, 9) + 2 * nLogN(2, 9) + nLogN(3, 9) + 2 * nLogN(1, 9) -
             3 * nLogN(1, 18) - nLogN(5, 18) - nLogN(6, 18) - nLogN(4, 18));
    const double alleleLrt = 2 * (nLogN(8, 18) + 2 * nLogN(5, 18) + nLogN(5, 18) + nLogN(6, 18) + nLogN(7, 18) -
                                  nLogN(13, 36) - nLogN(11, 36) - nLogN(12, 36));
    const HrrMarker* marker = hrr.getHrrPhenotype("DISEASE_LOCUS")->getHrrMarker("0");
    ASSERT_NE(marker, nullptr);
    EXPECT_NEAR(marker->getLRT("genotype"), genotypeLrt, 1e-12);
    EXPECT_NEAR(marker->getLRT("allele"), alleleLrt, 1e-12);
    EXPECT_NEAR(genotypeLrt, 4.360238, 1e-6);
    // 5 and 2 degrees of freedom; 2 df: exp(-x / 2).
    EXPECT_EQ(marker->getDegreesOfFreedom("genotype"), 5);
    EXPECT_NEAR(marker->getAlleleTheoreticalP(), std::exp(-alleleLrt / 2), 1e-12);

    // The tidy table holds the same numbers, one row per test.
    const std::vector<std::string> table = lines(dir.read("abc_hrr.tsv"));
    ASSERT_EQ(table.size(), 3u);
    EXPECT_EQ(table[0], "phenotype\tmarker\ttest\tstatistic\tdf\tp_theoretical\tp_randomised\treplicates");
    EXPECT_EQ(table[1].rfind("DISEASE_LOCUS\tABC\tgenotype\t4.36023821", 0), 0u) << table[1];
    EXPECT_TRUE(contains(table[2], "\tallele\t1.124515867\t2\t")) << table[2];

    // Hemizygous males leave no diploid counts: on X-linked data the analysis refuses to run.
    pedigrees.setXlinked(true);
    Hrr xlinked(&pedigrees);
    const std::string output = captureOutput([&] { result = xlinked.run("", ""); });
    EXPECT_EQ(result, 0);
    EXPECT_TRUE(contains(output, "X-linked")) << output;
}

TEST(HrrProgram, NoReplicateReachingTheStatisticIsReportedAtItsBound) {
    // Thirty trios: father 1 2, mother 2 2, child 1 2, so every case is 1/2 and every control
    // 2/2; a replicate reaches that only with probability 2 / 4^30.
    std::string p;
    for (int t = 1; t <= 30; ++t) {
        const std::string id = std::to_string(t);
        p += person(id, "1", "0", "0", "1", "1", {"1 2"}) + person(id, "2", "0", "0", "2", "1", {"2 2"}) +
             person(id, "3", "1", "2", "1", "2", {"2 1"});
    }
    ScratchDir dir;
    dir.write("bound.ped", p);
    dir.write("bound.map", mapFile({"M1"}));
    dir.write("bound.model", "0 0.01 1\n0.01 0.9 0.9\n");
    const RunResult run = runProgram("varkel", {"--post", "--ped", "bound.ped", "--map", "bound.map", "--model",
                                                "bound.model", "--hrrrand", "--quiet", "--seed", "3"},
                                     dir.path());
    ASSERT_EQ(run.status, 0) << run.output;
    // Console, report, summary and tidy table all give the bound 1 / 100000.
    EXPECT_EQ(rowOf(run.output, "M1").substr(20, 15), spaces(8) + "< 1e-05");
    EXPECT_TRUE(contains(dir.read("varkel_hrr.out"), "Genotype-Based p         2   8.673617e-19        < 1e-05\n"))
        << dir.read("varkel_hrr.out");
    EXPECT_EQ(rowOf(dir.read("varkel_summary.out"), "M1").substr(20, 15), spaces(8) + "< 1e-05");
    EXPECT_TRUE(contains(dir.read("varkel_hrr.tsv"), "\t< 1e-05\t100000\n"));
    // The bar of a randomised p-value sits at -log10(1e-05) = 5, not at 0.
    EXPECT_TRUE(contains(dir.read("varkel_hrr.ps"), "moveto (5)show")) << dir.read("varkel_hrr.ps");

    const RunResult xlinked = runProgram("varkel", {"--post", "--ped", "bound.ped", "--map", "bound.map", "--model",
                                                    "bound.model", "--hrrrand", "--xlinked"},
                                         dir.path());
    EXPECT_EQ(xlinked.status, 255);
    EXPECT_TRUE(contains(xlinked.output, "Error: The HRR analysis needs two alleles per person")) << xlinked.output;
}
