// The statistics files of --stats on a small pedigree file, against counts made by hand.

#include <cmath>
#include <cstdio>

#include "association/trio_files.h"
#include "support/test_support.h"

using namespace testing_support;
using namespace trio_files;

namespace {

// The text right-aligned in a field of the width.
std::string right(const std::string& text, size_t width) {
    return std::string(width > text.size() ? width - text.size() : 0, ' ') + text;
}

std::string fixed(double value, int decimals) {
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", decimals, value);
    return text;
}

// A line of an allele frequency table: name, then count and frequency for all, founders,
// males and females, then the new name.
std::string alleleLine(const std::string& name, int all, double fAll, int founders, double fFounders, int males,
                       double fMales, int females, double fFemales, const std::string& newName) {
    return right(name, 6) + right(std::to_string(all), 7) + right(fixed(fAll, 6), 10) +
           right(std::to_string(founders), 12) + right(fixed(fFounders, 6), 10) + right(std::to_string(males), 9) +
           right(fixed(fMales, 6), 10) + right(std::to_string(females), 11) + right(fixed(fFemales, 6), 10) +
           right(newName, 14) + "\n";
}

const std::string frequencyHeading =
    "Allele    All      Freq    Founders      Freq    Males      Freq    Females      Freq    New Allele\n";

// A line of the genotype table: observed, expected and chi-square for all and founders.
std::string genotypeLine(const std::string& name, int all, double eAll, double cAll, int founders, double eFounders,
                         double cFounders) {
    return right(name, 8) + right(std::to_string(all), 7) + right(fixed(eAll, 2), 10) + right(fixed(cAll, 5), 10) +
           right(std::to_string(founders), 15) + right(fixed(eFounders, 2), 10) + right(fixed(cFounders, 5), 10) +
           "\n";
}

}  // namespace

TEST(StatisticsFiles, FrequenciesGenotypesAndDerivedSetsAsCountedByHand) {
    // Marker M1 typed in five of seven persons, M2 in nobody. Pedigree 1: father 1 2, mother
    // 2 3, son 1 2 (affected), daughter untyped with unknown affection. Pedigree 2: father
    // 1 3, affected mother untyped, affected daughter 1 1.
    const std::string ped =
        person("1", "1", "0", "0", "1", "1", {"1 2", "0 0"}) + person("1", "2", "0", "0", "2", "1", {"2 3", "0 0"}) +
        person("1", "3", "1", "2", "1", "2", {"1 2", "0 0"}) + person("1", "4", "1", "2", "2", "0", {"0 0", "0 0"}) +
        person("2", "1", "0", "0", "1", "1", {"1 3", "0 0"}) + person("2", "2", "0", "0", "2", "2", {"0 0", "0 0"}) +
        person("2", "3", "1", "2", "2", "2", {"1 1", "0 0"});
    ScratchDir dir;
    dir.write("small.ped", ped);
    dir.write("small.map", mapFile({"M1", "M2"}));
    dir.write("small.model", "0 0.01 1\n0.01 0.9 0.9\n");
    const RunResult run = runProgram("varkel",
                                     {"--post", "--ped", "small.ped", "--map", "small.map", "--model", "small.model",
                                      "--stats", "--tdt", "--prefix", "small"},
                                     dir.path());
    ASSERT_EQ(run.status, 0) << run.output;
    for (const char* name : {"markerinfo", "hrr_markerinfo", "tdt_markerinfo", "sib_pair_markerinfo", "pedigree",
                             "genotype", "number_of_hrr_tdt_sibpair_peds"}) {
        const std::string file = std::string("small_") + name + (contains(name, "peds") ? ".info" : "_statistics.info");
        ASSERT_TRUE(dir.exists(file)) << file;
        EXPECT_EQ(dir.read(file).rfind("Date : ", 0), 0u) << file;  // the common header first
    }

    // Allele copies of M1: all 1:5 2:3 3:2; founders 2 2 2; males (the two fathers and the
    // son) 3 2 1; females 2 1 1.
    const std::string frequencies = dir.read("small_markerinfo_statistics.info");
    EXPECT_TRUE(contains(frequencies, "Marker M1\n" + frequencyHeading +
                                          alleleLine("1", 5, 0.5, 2, 1 / 3.0, 3, 0.5, 2, 0.5, "1") +
                                          alleleLine("2", 3, 0.3, 2, 1 / 3.0, 2, 1 / 3.0, 1, 0.25, "2") +
                                          alleleLine("3", 2, 0.2, 2, 1 / 3.0, 1, 1 / 6.0, 1, 0.25, "3") +
                                          "\n\nMarker M2\nNo alleles found\n\n\n"))
        << frequencies;

    // Derived sets at M1: HRR trios in both pedigrees (the second with its mother untyped), a
    // TDT trio only in pedigree 1 (pedigree 2's mother is untyped), no affected sib pair.
    const std::string hrr = dir.read("small_hrr_markerinfo_statistics.info");
    EXPECT_TRUE(contains(hrr, "\n\n\nMarker M1\n# hrr pedigrees   : 2\n# hrr persons     : 6\n" + frequencyHeading +
                                  alleleLine("1", 5, 0.5, 2, 1 / 3.0, 3, 0.5, 2, 0.5, "1")))
        << hrr;
    EXPECT_FALSE(contains(hrr, "Marker M2"));
    // TDT trio: father 1 2, mother 2 3, son 1 2; the father and the son are the males.
    const std::string tdt = dir.read("small_tdt_markerinfo_statistics.info");
    EXPECT_TRUE(contains(tdt, "Marker M1\n# tdt pedigrees   : 1\n# tdt persons     : 3\n" + frequencyHeading +
                                  alleleLine("1", 2, 1 / 3.0, 1, 0.25, 2, 0.5, 0, 0.0, "1") +
                                  alleleLine("2", 3, 0.5, 2, 0.5, 2, 0.5, 1, 0.5, "2") +
                                  alleleLine("3", 1, 1 / 6.0, 1, 0.25, 0, 0.0, 1, 0.5, "3") + "\n\n"))
        << tdt;
    EXPECT_FALSE(contains(tdt, "Marker M2") || contains(tdt, "hrr"));
    EXPECT_FALSE(contains(dir.read("small_sib_pair_markerinfo_statistics.info"), "Marker "));
    const std::string counts = dir.read("small_number_of_hrr_tdt_sibpair_peds.info");
    EXPECT_TRUE(contains(counts, "Number of Hrr, Tdt And Sib Pair Pedigrees\n\n"
                                 "Marker         HRR            TDT       SIBPAIRS  \n"
                                 "M1             2              1         0         \n"
                                 "M2             0              0         0         \n"))
        << counts;

    // Genotypes of M1, all: 1/1 1, 1/2 2, 1/3 1, 2/3 1 of 5, expected 5 p q (twice for
    // heterozygotes) with p = 0.5 0.3 0.2; founders 1/2, 1/3, 2/3 of 3 with p = 1/3 each.
    const std::string genotypes = dir.read("small_genotype_statistics.info");
    const double hom = 1 / 3.0, het = 2 / 3.0;
    auto chi = [](double o, double e) { return (o - e) * (o - e) / e; };
    EXPECT_TRUE(contains(
        genotypes,
        "Marker M1\n" + right("All", 15) + right("Founders", 35) + "\n" +
            "Genotype Obs(0)    Exp(E) (O-E)^2/E         Obs(0)    Exp(E) (O-E)^2/E\n" + std::string(70, '=') + "\n" +
            genotypeLine("1/1", 1, 1.25, chi(1, 1.25), 0, hom, chi(0, hom)) +
            genotypeLine("1/2", 2, 1.5, chi(2, 1.5), 1, het, chi(1, het)) +
            genotypeLine("1/3", 1, 1.0, 0.0, 1, het, chi(1, het)) +
            genotypeLine("2/2", 0, 0.45, 0.45, 0, hom, hom) + genotypeLine("2/3", 1, 0.6, chi(1, 0.6), 1, het, chi(1, het)) +
            genotypeLine("3/3", 0, 0.2, 0.2, 0, hom, hom) + std::string(70, '=') + "\n" +
            genotypeLine("Total", 5, 5.0, 17 / 15.0, 3, 3.0, 1.5) + "\n" + right("All", 35) + right("Founders", 15) +
            "\n"))
        << genotypes;
    // Three alleles in both groups: the genotype test has 3 df, P(X > x) = erfc(sqrt(x / 2)) +
    // sqrt(2 x / pi) exp(-x / 2): 0.76903 for 17/15, 0.68227 for 1.5 (the program's normal
    // approximation is good to 1e-5, the text to 5e-6).
    double pAll = 0, pFounders = 0;
    int dfAll = 0, dfFounders = 0;
    const size_t at = genotypes.find("Chi-squared p-value");
    ASSERT_NE(at, std::string::npos) << genotypes;
    ASSERT_EQ(std::sscanf(genotypes.c_str() + at, "Chi-squared p-value %lf %lf\n Degrees of freedom %d %d", &pAll,
                          &pFounders, &dfAll, &dfFounders),
              4)
        << genotypes;
    auto tail3 = [](double x) { return std::erfc(std::sqrt(x / 2)) + std::sqrt(2 * x / M_PI) * std::exp(-x / 2); };
    EXPECT_NEAR(pAll, tail3(17 / 15.0), 3e-5);
    EXPECT_NEAR(pFounders, tail3(1.5), 3e-5);
    EXPECT_EQ(dfAll, 3);
    EXPECT_EQ(dfFounders, 3);
    EXPECT_TRUE(contains(genotypes, "Marker M2\nNo genotypes found\n"));

    // Pedigree statistics: 7 persons in 2 pedigrees; M1 typed in 5 of 7 persons and both
    // pedigrees, H = 1 - (0.25 + 0.09 + 0.04), PIC = H - 2 (0.25 0.09 + 0.25 0.04 + 0.09 0.04).
    const std::string pedigree = dir.read("small_pedigree_statistics.info");
    EXPECT_TRUE(contains(pedigree, "Average pedigree size: 3.5\nPedigree Count: 2\nPerson Count: 7\n")) << pedigree;
    EXPECT_TRUE(contains(pedigree, right("M1", 10) + right(fixed(5 / 7.0, 5), 15) + right("1.00000", 15) +
                                       right("0.54780", 10) + right("0.62000", 10) + "\n" + right("M2", 10) +
                                       right("0.00000", 15) + right("0.00000", 15) + right("-1.10000", 10) +
                                       right("-1.10000", 10) + "\n"))
        << pedigree;
    // Affected: the son and pedigree 2's mother and daughter; unknown: pedigree 1's daughter.
    EXPECT_TRUE(contains(pedigree, right("DISEASE_LOCUS", 15) + right("42.86", 15) + right("42.86", 15) +
                                       right("14.29", 15) + "\n"));
    // Typed at M1: two of three affected, all three unaffected, not the one unknown.
    EXPECT_TRUE(contains(pedigree, "Phenotype: DISEASE_LOCUS\n" + right("Marker", 15) + right("%Affected", 15) +
                                       right("%Unaffected", 15) + right("%Unknown", 15) + "\n" + right("M1", 15) +
                                       right("66.67", 15) + right("100.00", 15) + right("0.00", 15) + "\n"));
}
