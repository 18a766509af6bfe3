#include <cmath>
#include <cstdlib>

#include "association/hrr.h"
#include "association/hrr_test_data.h"
#include "plot/plot_test_helpers.h"

using namespace testing_support;
using hrr_test::person;

namespace {

// Markers M1 (trios), M2 (nobody typed), M3 (only founders typed), M4 (only a child with
// untyped parents typed). All founders are unaffected.
std::string countingPedigrees() {
    std::string p;
    // A: child 1 2 from mother 1 3 and father 2 4: case 1/2, control 3/4.
    p += person("A", "1", "0", "0", "1", "1", {"2 4", "0 0", "1 1", "0 0"});
    p += person("A", "2", "0", "0", "2", "1", {"1 3", "0 0", "1 2", "0 0"});
    p += person("A", "3", "1", "2", "1", "2", {"1 2", "0 0", "0 0", "0 0"});
    // B: the same trio with the child's alleles written 2 1.
    p += person("B", "1", "0", "0", "1", "1", {"2 4", "0 0", "1 1", "0 0"});
    p += person("B", "2", "0", "0", "2", "1", {"1 3", "0 0", "1 2", "0 0"});
    p += person("B", "3", "1", "2", "2", "2", {"2 1", "0 0", "0 0", "0 0"});
    // C: allele 2 comes from neither parent: case counts only.
    p += person("C", "1", "0", "0", "1", "1", {"1 4", "0 0", "1 1", "0 0"});
    p += person("C", "2", "0", "0", "2", "1", {"1 3", "0 0", "1 2", "0 0"});
    p += person("C", "3", "1", "2", "1", "2", {"1 2", "0 0", "0 0", "0 0"});
    // D: child 10 9, 9 from mother 9 1 and 10 from father 10 2: case 9/10, control 1/2.
    p += person("D", "1", "0", "0", "1", "1", {"10 2", "0 0", "1 1", "0 0"});
    p += person("D", "2", "0", "0", "2", "1", {"9 1", "0 0", "1 2", "0 0"});
    p += person("D", "3", "1", "2", "1", "2", {"10 9", "0 0", "0 0", "0 0"});
    // E: untyped parents: a trio that counts nothing (its child brings allele 5, or 5 and 6).
    p += person("E", "1", "0", "0", "1", "1", {"0 0", "0 0", "1 1", "0 0"});
    p += person("E", "2", "0", "0", "2", "1", {"0 0", "0 0", "1 2", "0 0"});
    p += person("E", "3", "1", "2", "1", "2", {"5 5", "0 0", "0 0", "5 6"});
    return p;
}

std::string spaces(int n) { return std::string(static_cast<size_t>(n), ' '); }

struct Loaded {
    ScratchDir dir;
    Pedigrees pedigrees;
};

// The four p-values of a result row (fields of 15 after the name field of 20).
std::vector<double> rowValues(const std::string& row) {
    std::vector<double> values;
    for (size_t i = 0; i < 4; ++i) values.push_back(std::strtod(row.substr(20 + 15 * i, 15).c_str(), nullptr));
    return values;
}

}  // namespace

TEST(HrrRun, CountsTransmittedAndUntransmittedAllelesPerTrio) {
    Loaded data;
    ASSERT_TRUE(hrr_test::load(data.pedigrees, data.dir, hrr_test::mapFile({"M1", "M2", "M3", "M4"}),
                               countingPedigrees()));
    Hrr hrr(&data.pedigrees);
    hrr.setQuiet(true);
    int result = 0;
    const std::string printed = captureOutput([&] { result = hrr.run("", ""); });
    ASSERT_EQ(result, 1);

    const HrrPhenotype* phenotype = hrr.getHrrPhenotype("DISEASE_LOCUS");
    ASSERT_NE(phenotype, nullptr);
    EXPECT_EQ(hrr.getPhenotypeNames(), (std::vector<std::string>{"DISEASE_LOCUS"}));
    // M2 and M3 give no trio and store nothing; M4's trio counts nothing but is stored.
    EXPECT_EQ(phenotype->getHrrMarkerNames(), (std::vector<std::string>{"0", "3"}));

    HrrMarker* m1 = phenotype->getHrrMarker("0");
    ASSERT_NE(m1, nullptr);
    EXPECT_EQ(m1->getAlleleNames(), (std::vector<std::string>{"1", "2", "3", "4", "5", "9", "10"}));
    EXPECT_EQ(m1->getGenotypeNames().size(), 28u);
    // Cases: 1/2 from A, B and C, 9/10 from D (not "10/9"); E counts nothing.
    EXPECT_EQ(m1->getCaseCountForGenotype("1/2"), 3);
    EXPECT_EQ(m1->getCaseCountForGenotype("9/10"), 1);
    EXPECT_EQ(m1->getCaseCountForGenotype("5/5"), 0);
    EXPECT_EQ(m1->getCaseGenotypeTotal(), 4);
    EXPECT_EQ(m1->getCaseAlleleCount("1"), 3);
    EXPECT_EQ(m1->getCaseAlleleCount("2"), 3);
    EXPECT_EQ(m1->getCaseAlleleCount("9"), 1);
    EXPECT_EQ(m1->getCaseAlleleCount("10"), 1);
    EXPECT_EQ(m1->getCaseAlleleTotal(), 8);
    // Controls: 3/4 from A and from B (second allele maternal), 1/2 from D; none from C.
    EXPECT_EQ(m1->getControlCountForGenotype("3/4"), 2);
    EXPECT_EQ(m1->getControlCountForGenotype("1/2"), 1);
    EXPECT_EQ(m1->getControlGenotypeTotal(), 3);
    EXPECT_EQ(m1->getControlAlleleCount("3"), 2);
    EXPECT_EQ(m1->getControlAlleleCount("4"), 2);
    EXPECT_EQ(m1->getControlAlleleCount("1"), 1);
    EXPECT_EQ(m1->getControlAlleleCount("2"), 1);
    EXPECT_EQ(m1->getControlAlleleTotal(), 6);

    // By hand: allele LRT = 2 (H0 - H1) with cases 3,3,1,1 of 8, controls 1,1,2,2 of 6 and
    // pooled 4,4,2,2,1,1 of 14 = 10.124065; genotypes: cases 3,1 of 4, controls 2,1 of 3,
    // pooled 4,1,2 of 7 = 5.062032. 6 df: exp(-x/2)(1 + x/2 + x^2/8) = 0.119524; 27 df:
    // 0.999999 (regularised upper incomplete gamma).
    EXPECT_NEAR(m1->getLRT("allele"), 10.124065, 1e-6);
    EXPECT_NEAR(m1->getLRT("genotype"), 5.062032, 1e-6);
    EXPECT_NEAR(m1->getAlleleTheoreticalP(), 0.11952368, 1e-7);
    EXPECT_NEAR(m1->getGenotypeTheoreticalP(), 0.99999884, 3e-5);

    HrrMarker* m4 = phenotype->getHrrMarker("3");
    ASSERT_NE(m4, nullptr);
    EXPECT_EQ(m4->getCaseGenotypeTotal() + m4->getControlGenotypeTotal(), 0);
    EXPECT_EQ(m4->getAlleleRandomizedP(), 1.0);

    // The console table.
    const std::vector<std::string> out = lines(printed);
    auto at = [&](const std::string& line) {
        for (size_t i = 0; i < out.size(); ++i)
            if (out[i] == line) return static_cast<int>(i);
        return -1;
    };
    const int title = at("Haplotype Relative Risk");
    ASSERT_GE(title, 1);
    EXPECT_EQ(out[title - 1], "");
    ASSERT_LT(static_cast<size_t>(title + 5), out.size());
    EXPECT_EQ(out[title + 1], "Phenotype: DISEASE_LOCUS");
    EXPECT_EQ(out[title + 2], spaces(14) + "Marker" + spaces(3) + "Allele-based" + spaces(3) + "Allele-based" +
                                  spaces(1) + "Genotype-based" + spaces(1) + "Genotype-based");
    EXPECT_EQ(out[title + 3], spaces(20) + spaces(5) + "randomized" + spaces(4) + "theoretical" + spaces(5) +
                                  "randomized" + spaces(4) + "theoretical");
    const std::string& row = out[title + 4];
    ASSERT_EQ(row.size(), 80u);
    EXPECT_EQ(row.substr(0, 20), spaces(18) + "M1");
    EXPECT_EQ(row.substr(20 + 15, 15), spaces(7) + "0.119524");
    EXPECT_NEAR(rowValues(row)[0], m1->getAlleleRandomizedP(), 1e-6);
    EXPECT_EQ(out[title + 5], "Skipping marker M2, since no informative families found");
    // M3's founders were tallied as singletons, so it is skipped silently.
    EXPECT_FALSE(contains(printed, "Skipping marker M3"));
    EXPECT_EQ(out[title + 6], spaces(18) + "M4" + spaces(7) + "1.000000" + spaces(7) + "1.000000" + spaces(7) +
                                  "1.000000" + spaces(7) + "1.000000");
    // Quiet: no progress line.
    EXPECT_FALSE(contains(printed, "Completed"));
}

TEST(HrrRun, SelectsMarkersAndPhenotypesAndRejectsUnknownNames) {
    Loaded data;
    ASSERT_TRUE(hrr_test::load(data.pedigrees, data.dir, hrr_test::mapFile({"M1", "M2", "M3", "M4"}),
                               countingPedigrees()));
    {
        Hrr hrr(&data.pedigrees);
        int result = -1;
        EXPECT_EQ(captureOutput([&] { result = hrr.run("NOPE", ""); }), "Cannot find given marker NOPE\n");
        EXPECT_EQ(result, 0);
        EXPECT_EQ(captureOutput([&] { result = hrr.run("M1", "NOPE"); }), "Cannot find given phenotype NOPE\n");
        EXPECT_EQ(result, 0);
        EXPECT_TRUE(hrr.getPhenotypeNames().empty());
    }
    {
        Hrr hrr(&data.pedigrees);
        hrr.setQuiet(true);
        int result = 0;
        const std::string printed = captureOutput([&] { result = hrr.run("M4", "DISEASE_LOCUS"); });
        EXPECT_EQ(result, 1);
        EXPECT_FALSE(contains(printed, "M1"));
        EXPECT_EQ(hrr.getHrrPhenotype("DISEASE_LOCUS")->getHrrMarkerNames(), (std::vector<std::string>{"3"}));
    }
}

TEST(HrrReport, TablesHeaderAndHistograms) {
    Loaded data;
    ASSERT_TRUE(hrr_test::load(data.pedigrees, data.dir, hrr_test::mapFile({"M1", "M2", "M3", "M4"}),
                               countingPedigrees()));
    Hrr hrr(&data.pedigrees);
    hrr.setQuiet(true);
    captureOutput([&] { hrr.run("", ""); });
    int result = 0;
    const std::string stem = data.dir.file("out_hrr");
    const std::string printed = captureOutput([&] { result = hrr.writeGenotypeAndAlleleCounts(stem); });
    ASSERT_EQ(result, 1);
    EXPECT_EQ(printed, "The Hrr Counts: " + stem + "\nThe HRR Histograms:  " + stem + ".ps\n");

    const std::string text = data.dir.read("out_hrr.out");
    const std::vector<std::string> out = lines(text);
    ASSERT_GT(out.size(), 10u);
    EXPECT_EQ(out[0], std::string(79, '-'));
    EXPECT_EQ(out[3], "Program for Linkage and Linkage Disequilibrium analysis");
    EXPECT_TRUE(contains(text, "Date : "));
    // The counts of the last marker analysed (M4: E's trio).
    EXPECT_TRUE(contains(text, "HRR Pedigree statistics\n" + std::string(24, '=') +
                                   "\n  # pedigrees          : 1\n  # persons            : 3\n\nPhenotype : DISEASE_LOCUS\n"));

    const std::string heading = spaces(5) + "Genotype" + spaces(9) + "Case" + spaces(6) + "Control";
    std::string m1 = "Marker : M1\n\nGenotype Count\n" + heading + "\n";
    const std::vector<std::string> alleles = {"1", "2", "3", "4", "5", "9", "10"};
    // Every genotype is listed, zero counts too.
    for (size_t i = 0; i < alleles.size(); ++i)
        for (size_t j = i; j < alleles.size(); ++j) {
            const std::string g = alleles[i] + "/" + alleles[j];
            const int cases = g == "1/2" ? 3 : g == "9/10" ? 1 : 0;
            const int controls = g == "3/4" ? 2 : g == "1/2" ? 1 : 0;
            m1 += spaces(13 - static_cast<int>(g.size())) + g + spaces(12) + std::to_string(cases) + spaces(12) +
                  std::to_string(controls) + "\n";
        }
    // Only alleles seen in cases or controls: 5 is left out.
    auto alleleRow = [&](const std::string& a, int cases, int controls) {
        return spaces(13 - static_cast<int>(a.size())) + a + spaces(12) + std::to_string(cases) + spaces(12) +
               std::to_string(controls) + "\n";
    };
    m1 += "\nAllele Count\n" + spaces(7) + "Allele" + spaces(9) + "Case" + spaces(6) + "Control\n" +
          alleleRow("1", 3, 1) + alleleRow("2", 3, 1) + alleleRow("3", 0, 2) + alleleRow("4", 0, 2) +
          alleleRow("9", 1, 0) + alleleRow("10", 1, 0) + "\n";
    m1 += "Genotype-Based LRT  " + spaces(11) + ": 5.062032\n";
    m1 += "Allele-Based LRT    " + spaces(11) + ": 10.124065\n\n";
    EXPECT_TRUE(contains(text, m1)) << text;
    // M4: its three genotypes with zero counts and an empty allele table.
    EXPECT_TRUE(contains(text, "Marker : M4\n\nGenotype Count\n" + heading + "\n" + spaces(10) + "5/5" +
                                   spaces(12) + "0" + spaces(12) + "0\n" + spaces(10) + "5/6" + spaces(12) + "0" +
                                   spaces(12) + "0\n" + spaces(10) + "6/6" + spaces(12) + "0" + spaces(12) +
                                   "0\n\nAllele Count\n" + spaces(7) + "Allele" + spaces(9) + "Case" + spaces(6) +
                                   "Control\n\nGenotype-Based LRT  "));
    EXPECT_FALSE(contains(text, "Marker : M2"));

    // Four histogram pages (one per curve) with the two markers as bars.
    const std::string plot = data.dir.read("out_hrr.ps");
    EXPECT_TRUE(contains(plot, "%%Pages: 4\n"));
    EXPECT_EQ(plot_test::linesWith(plot, "%%Page: ").size(), 4u);
    EXPECT_EQ(plot_test::linesWith(plot, " .7 fillbox ").size(), 8u);
    EXPECT_EQ(plot_test::linesWith(plot, "(Hrr Analysis       (").size(), 4u);
    EXPECT_EQ(plot_test::linesWith(plot, "(Phenotype: DISEASE_LOCUS)show").size(), 4u);
    EXPECT_EQ(plot_test::linesWith(plot, "(hrr.map hrr.ped   )show").size(), 4u);
    EXPECT_EQ(plot_test::linesWith(plot, "(-log10(p-value)    (Genotype theo))show").size(), 1u);
    EXPECT_TRUE(plot_test::rendersInGhostscript(data.dir.file("out_hrr.ps")));

    // A report that cannot be opened.
    const std::string missing = data.dir.file("no/such/dir/x");
    EXPECT_EQ(captureOutput([&] { result = hrr.writeGenotypeAndAlleleCounts(missing); }),
              "The Hrr Counts: " + missing + "\n");
    EXPECT_EQ(result, 0);
}

TEST(HrrReport, ManyMarkersArePagedInFifties) {
    // One trio at 120 markers; its parents are untyped, so the randomisations draw nothing.
    std::vector<std::string> names, father, mother, child;
    for (int i = 1; i <= 120; ++i) {
        names.push_back("S" + std::to_string(i));
        father.push_back("0 0");
        mother.push_back("0 0");
        child.push_back("1 2");
    }
    Loaded data;
    ASSERT_TRUE(hrr_test::load(data.pedigrees, data.dir, hrr_test::mapFile(names),
                               person("1", "1", "0", "0", "1", "1", father) +
                                   person("1", "2", "0", "0", "2", "1", mother) +
                                   person("1", "3", "1", "2", "1", "2", child)));
    Hrr hrr(&data.pedigrees);
    hrr.setQuiet(true);
    captureOutput([&] { hrr.run("", ""); });
    int result = 0;
    captureOutput([&] { result = hrr.writeGenotypeAndAlleleCounts(data.dir.file("many_hrr")); });
    ASSERT_EQ(result, 1);

    const std::string plot = data.dir.read("many_hrr.ps");
    // Four curves of three pages each: 50, 50 and 20 bars, the last page padded with 30 empty
    // slots; every page is drawn.
    EXPECT_TRUE(contains(plot, "%%Pages: 12\n"));
    EXPECT_EQ(plot_test::linesWith(plot, "%%Page: ").size(), 12u);
    EXPECT_EQ(plot_test::linesWith(plot, " .7 fillbox ").size(), 4u * 120u);
    EXPECT_EQ(plot_test::linesWith(plot, "(S120)show").size(), 4u);
    // p = 1 everywhere: bars of length 0 labelled 0.
    EXPECT_EQ(plot_test::linesWith(plot, "(S1)show 105 ").size(), 4u);
    EXPECT_TRUE(plot_test::linesWith(plot, "(-0)").empty());
    EXPECT_TRUE(plot_test::linesWith(plot, "(@").empty());
    // Bars of a 50-slot page are 600 / 50 - 2 = 10 wide; the 20th bar of the last page sits
    // at y = 700 - 12 * 20 = 460; the next slot (y = 448) is drawn on the full pages only.
    EXPECT_EQ(plot_test::linesWith(plot, " 0 10 rlineto").size(), 4u * 120u);
    EXPECT_EQ(plot_test::linesWith(plot, " 100 460 moveto").size(), 4u * 3u);
    EXPECT_EQ(plot_test::linesWith(plot, " 100 448 moveto").size(), 4u * 2u);
    EXPECT_TRUE(plot_test::rendersInGhostscript(data.dir.file("many_hrr.ps")));
}
