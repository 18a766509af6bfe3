// The Hardy-Weinberg tests of --stats (genotype file, _hwe.tsv) and the frequency table
// (_freq.tsv) for markers of 2, 3, 4 and 6 alleles, against values computed by hand, by
// enumeration of every heterozygote count, and by PLINK's --hardy.

#include <unistd.h>

#include <cmath>
#include <map>
#include <sstream>

#include "association/trio_files.h"
#include "engine/process.h"
#include "pedigree/hardy_weinberg.h"
#include "support/test_support.h"

using namespace testing_support;
using namespace trio_files;

namespace {

std::vector<std::string> fields(const std::string& line) {
    std::vector<std::string> out;
    std::istringstream in(line);
    std::string field;
    while (std::getline(in, field, '\t')) out.push_back(field);
    return out;
}

// Upper tail of the chi-square distribution by the series of the lower incomplete gamma
// function, independent of the program's approximation.
double chiSquareUpperTail(double x, int df) {
    const double a = df / 2.0, half = x / 2.0;
    double term = 1.0 / a, sum = term;
    for (int n = 1; n < 1000; ++n) {
        term *= half / (a + n);
        sum += term;
    }
    return 1.0 - std::exp(a * std::log(half) - half - std::lgamma(a)) * sum;
}

// The exact test by enumeration: for n persons with r copies of one allele, P(h heterozygotes)
// = n! / (h! ((r - h)/2)! ((2n - r - h)/2)!) 2^h r! (2n - r)! / (2n)!; the p-value sums the
// probabilities not above the observed one.
double exactByEnumeration(int heterozygotes, int firstHomozygotes, int secondHomozygotes) {
    const int n = heterozygotes + firstHomozygotes + secondHomozygotes;
    const int r = 2 * firstHomozygotes + heterozygotes;
    auto logP = [&](int h) {
        return std::lgamma(n + 1.0) - std::lgamma(h + 1.0) - std::lgamma((r - h) / 2 + 1.0) -
               std::lgamma((2 * n - r - h) / 2 + 1.0) + h * std::log(2.0) + std::lgamma(r + 1.0) +
               std::lgamma(2.0 * n - r + 1) - std::lgamma(2.0 * n + 1);
    };
    const double observed = logP(heterozygotes);
    double p = 0.0;
    for (int h = r % 2; h <= std::min(r, 2 * n - r); h += 2)
        if (logP(h) <= observed + 1e-9) p += std::exp(logP(h));
    return p;
}

// Genotype counts of one marker: "a b" -> persons.
using Counts = std::vector<std::pair<std::string, int>>;

// The genotype chi-square from the definition: expected n p_i p_j (twice for i != j) over
// every genotype of the alleles present.
double chiSquareOf(const Counts& counts, int* alleles) {
    std::map<std::string, double> copies;
    std::map<std::string, double> observed;
    double persons = 0;
    for (const auto& c : counts) {
        std::istringstream in(c.first);
        std::string a, b;
        in >> a >> b;
        copies[a] += c.second;
        copies[b] += c.second;
        observed[a < b ? a + " " + b : b + " " + a] += c.second;
        persons += c.second;
    }
    double chi = 0.0;
    for (auto i = copies.begin(); i != copies.end(); ++i)
        for (auto j = i; j != copies.end(); ++j) {
            const double pi = i->second / (2 * persons), pj = j->second / (2 * persons);
            const double e = persons * pi * pj * (i == j ? 1 : 2);
            const double o = observed[i->first + " " + j->first];
            chi += (o - e) * (o - e) / e;
        }
    *alleles = static_cast<int>(copies.size());
    return chi;
}

std::vector<std::string> expand(const Counts& counts) {
    std::vector<std::string> out;
    for (const auto& c : counts) out.insert(out.end(), static_cast<size_t>(c.second), c.first);
    return out;
}

// 20 founders (ten couples with an untyped child) at S and B (2 alleles), T (3 alleles) and H (6 alleles).
const Counts countsS = {{"1 1", 10}, {"1 2", 5}, {"2 2", 5}};
const Counts countsB = {{"1 1", 2}, {"1 2", 15}, {"2 2", 3}};
const Counts countsT = {{"1 1", 6}, {"1 2", 4}, {"2 2", 3}, {"1 3", 2}, {"2 3", 3}, {"3 3", 2}};
const Counts countsH = {{"1 1", 3}, {"2 2", 3}, {"3 3", 2}, {"1 2", 2}, {"4 5", 3},
                        {"5 6", 2}, {"1 6", 1}, {"3 4", 2}, {"2 6", 2}};

}  // namespace

TEST(HardyWeinberg, ExactTestEqualsEnumeration) {
    for (int het = 0; het <= 12; ++het)
        for (int first = 0; first <= 9; ++first)
            for (int second = 0; second <= 9; ++second) {
                if (het + first + second == 0) continue;
                EXPECT_NEAR(exactHardyWeinbergPValue(het, first, second), exactByEnumeration(het, first, second),
                            1e-10)
                    << het << " " << first << " " << second;
            }
    // Wigginton et al.'s example: 100 persons, 21 copies of the rare allele: 21 heterozygotes
    // is the most likely count, p = 1; no heterozygote at all is very unlikely.
    EXPECT_DOUBLE_EQ(exactHardyWeinbergPValue(19, 1, 80), 1.0);
    EXPECT_LT(exactHardyWeinbergPValue(1, 10, 89), 1e-12);
    EXPECT_TRUE(std::isnan(exactHardyWeinbergPValue(0, 0, 0)));
}

TEST(HardyWeinberg, GenotypeTestOnPairsOfAllelesSeenInEachGroup) {
    const std::vector<std::string> s = expand(countsS), b = expand(countsB), t = expand(countsT), h = expand(countsH);
    std::string ped;
    for (size_t i = 0; i < s.size(); ++i) {
        const std::string pedigree = std::to_string(i / 2 + 1);
        ped += person(pedigree, i % 2 ? "2" : "1", "0", "0", i % 2 ? "2" : "1", "1", {s[i], b[i], t[i], h[i]});
        if (i % 2) ped += person(pedigree, "3", "1", "2", "1", "1", {"0 0", "0 0", "0 0", "0 0"});
    }
    // A child of untyped parents carries allele 4 of T, which no founder has: T has 4 alleles
    // among all persons and 3 among founders.
    ped += person("99", "1", "0", "0", "1", "1", {"0 0", "0 0", "0 0", "0 0"}) +
           person("99", "2", "0", "0", "2", "1", {"0 0", "0 0", "0 0", "0 0"}) +
           person("99", "3", "1", "2", "1", "1", {"0 0", "0 0", "1 4", "0 0"});
    ScratchDir dir;
    dir.write("u.ped", ped);
    dir.write("u.map", mapFile({"S", "B", "T", "H"}));
    dir.write("u.model", "0 0.01 1\n0.01 0.9 0.9\n");
    const RunResult run = runProgram(
        "varkel", {"--post", "--ped", "u.ped", "--map", "u.map", "--model", "u.model", "--stats", "--prefix", "u"},
        dir.path());
    ASSERT_EQ(run.status, 0) << run.output;

    // By hand for S: allele 1 25 of 40 copies (p = 0.625); expected 7.8125, 9.375, 2.8125;
    // chi-square 0.6125 + 2.041667 + 1.701389 = 4.355556 on 1 df. B: p = 19/40, expected 4.5125
    // 9.975 5.5125, chi-square 1.398927 + 2.531422 + 1.145122 = 5.075471.
    int alleles = 0;
    EXPECT_NEAR(chiSquareOf(countsS, &alleles), 4.355556, 1e-6);
    EXPECT_NEAR(chiSquareOf(countsB, &alleles), 5.075471, 1e-6);

    struct Expected {
        std::string marker, test;
        double chi;
        int df;
        double exact;  // NaN: none
        std::string a1, a2, geno;
        double observedHet, expectedHet;
    };
    const double none = std::nan("");
    Counts countsTAll = countsT;
    countsTAll.push_back({"1 4", 1});
    int allelesT = 0, allelesH = 0, allelesTAll = 0;
    const double chiT = chiSquareOf(countsT, &allelesT), chiH = chiSquareOf(countsH, &allelesH);
    const double chiTAll = chiSquareOf(countsTAll, &allelesTAll);
    ASSERT_EQ(allelesT, 3);
    ASSERT_EQ(allelesTAll, 4);
    ASSERT_EQ(allelesH, 6);
    // Allele frequencies of T among founders 18/40, 13/40, 9/40 (expected heterozygosity 1 - sum
    // of squares); all persons add 1 and 4: 19/42 13/42 9/42 1/42.
    const double hetT = 1 - (18 * 18 + 13 * 13 + 9 * 9) / 1600.0;
    const double hetTAll = 1 - (19 * 19 + 13 * 13 + 9 * 9 + 1) / 1764.0;
    // H: 9, 10, 6, 5, 5, 5 copies of 40.
    const double hetH = 1 - (9 * 9 + 10 * 10 + 6 * 6 + 5 * 5 + 5 * 5 + 5 * 5) / 1600.0;
    const std::vector<Expected> expected = {
        {"S", "ALL", 4.355556, 1, exactByEnumeration(5, 5, 10), "2", "1", "5/5/10", 0.25, 2 * 0.625 * 0.375},
        {"S", "FOUNDERS", 4.355556, 1, exactByEnumeration(5, 5, 10), "2", "1", "5/5/10", 0.25, 2 * 0.625 * 0.375},
        {"B", "ALL", 5.075471, 1, exactByEnumeration(15, 2, 3), "1", "2", "2/15/3", 0.75, 2 * 0.475 * 0.525},
        {"T", "ALL", chiTAll, 6, none, "NA", "NA", "NA", 10 / 21.0, hetTAll},
        {"T", "FOUNDERS", chiT, 3, none, "NA", "NA", "NA", 9 / 20.0, hetT},
        {"H", "ALL", chiH, 15, none, "NA", "NA", "NA", 12 / 20.0, hetH},
    };

    const std::vector<std::string> table = lines(dir.read("u_hwe.tsv"));
    ASSERT_FALSE(table.empty());
    EXPECT_EQ(table[0], "CHR\tSNP\tTEST\tA1\tA2\tGENO\tO_HET\tE_HET\tCHISQ\tDF\tP_CHISQ\tP_EXACT");
    EXPECT_EQ(table.size(), 9u);  // two groups of four markers
    std::map<std::string, std::vector<std::string>> rows;
    for (size_t i = 1; i < table.size(); ++i) {
        const std::vector<std::string> row = fields(table[i]);
        ASSERT_EQ(row.size(), 12u) << table[i];
        rows[row[1] + " " + row[2]] = row;
    }
    for (const Expected& e : expected) {
        SCOPED_TRACE(e.marker + " " + e.test);
        ASSERT_TRUE(rows.count(e.marker + " " + e.test));
        const std::vector<std::string>& row = rows[e.marker + " " + e.test];
        EXPECT_EQ(row[0], "1");
        EXPECT_EQ(row[3] + " " + row[4] + " " + row[5], e.a1 + " " + e.a2 + " " + e.geno);
        EXPECT_NEAR(std::stod(row[6]), e.observedHet, 1e-9);
        EXPECT_NEAR(std::stod(row[7]), e.expectedHet, 1e-9);
        EXPECT_NEAR(std::stod(row[8]), e.chi, 1e-6);
        EXPECT_EQ(row[9], std::to_string(e.df));
        EXPECT_NEAR(std::stod(row[10]), chiSquareUpperTail(e.chi, e.df), 5e-5);
        if (std::isnan(e.exact))
            EXPECT_EQ(row[11], "NA");
        else
            EXPECT_NEAR(std::stod(row[11]), e.exact, 1e-9);
    }
    // In 20 persons the chi-square overstates B's heterozygote excess; the exact test does not.
    EXPECT_LT(std::stod(rows["B ALL"][10]), 0.05);
    EXPECT_GT(std::stod(rows["B ALL"][11]), 0.05);

    // The fixed-width file gives the same p-values, their degrees of freedom and, for two
    // alleles, the exact p-value.
    const std::string genotypes = dir.read("u_genotype_statistics.info");
    char line[256];
    std::snprintf(line, sizeof line, "Chi-squared p-value%16.5f%15.5f\n Degrees of freedom%16d%15d\n",
                  chiSquareUpperTail(chiH, 15), chiSquareUpperTail(chiH, 15), 15, 15);
    EXPECT_TRUE(contains(genotypes, line)) << line << genotypes;
    std::snprintf(line, sizeof line, " Degrees of freedom%16d%15d\n", 6, 3);
    EXPECT_TRUE(contains(genotypes, line)) << genotypes;
    std::snprintf(line, sizeof line, "      Exact p-value%16.5f%15.5f\n", exactByEnumeration(15, 2, 3),
                  exactByEnumeration(15, 2, 3));
    EXPECT_TRUE(contains(genotypes, line)) << genotypes;

    // Frequencies: one row per marker, group and allele.
    const std::vector<std::string> frequencies = lines(dir.read("u_freq.tsv"));
    ASSERT_FALSE(frequencies.empty());
    EXPECT_EQ(frequencies[0], "CHR\tSNP\tGROUP\tA1\tCOUNT\tFREQ\tNCHROBS");
    EXPECT_EQ(frequencies.size(), 1u + 4 * (2 + 2 + 4 + 6));
    EXPECT_TRUE(contains(dir.read("u_freq.tsv"), "1\tS\tall\t1\t25\t0.625\t40\n1\tS\tall\t2\t15\t0.375\t40\n"));
    EXPECT_TRUE(contains(dir.read("u_freq.tsv"), "1\tT\tfounders\t4\t0\t0\t40\n"));
    EXPECT_TRUE(contains(dir.read("u_freq.tsv"), "1\tT\tmales\t4\t1\t0.04545454545\t22\n"));
}

TEST(HardyWeinberg, BiallelicTestsAsPlinkHardy) {
    const std::string plink = "/usr/bin/plink1.9";
    if (access(plink.c_str(), X_OK) != 0) GTEST_SKIP() << "PLINK 1.9 is not installed";
    const std::vector<std::string> s = expand(countsS), b = expand(countsB);
    std::string varkelPed, plinkPed;
    for (size_t i = 0; i < s.size(); ++i) {
        const std::string pedigree = std::to_string(i / 2 + 1), sex = i % 2 ? "2" : "1";
        varkelPed += person(pedigree, sex, "0", "0", sex, "1", {s[i], b[i]});
        plinkPed += pedigree + " " + sex + " 0 0 " + sex + " 1 " + s[i] + " " + b[i] + "\n";
        if (i % 2 == 0) continue;
        varkelPed += person(pedigree, "3", "1", "2", "1", "1", {"0 0", "0 0"});
        plinkPed += pedigree + " 3 1 2 1 1 0 0 0 0\n";
    }
    ScratchDir varkelDir, plinkDir;
    varkelDir.write("u.ped", varkelPed);
    varkelDir.write("u.map", mapFile({"S", "B"}));
    varkelDir.write("u.model", "0 0.01 1\n0.01 0.9 0.9\n");
    const RunResult run = runProgram(
        "varkel", {"--post", "--ped", "u.ped", "--map", "u.map", "--model", "u.model", "--stats", "--prefix", "u"},
        varkelDir.path());
    ASSERT_EQ(run.status, 0) << run.output;
    std::map<std::string, std::vector<std::string>> varkelRows;
    for (const std::string& line : lines(varkelDir.read("u_hwe.tsv"))) {
        const std::vector<std::string> row = fields(line);
        if (row.size() > 2 && row[2] == "ALL") varkelRows[row[1]] = row;
    }

    plinkDir.write("u.ped", plinkPed);
    plinkDir.write("u.map", "1 S 0 1000\n1 B 0 2000\n");
    ProcessOptions options;
    options.workingDirectory = plinkDir.path();
    options.standardOutput = plinkDir.file("plink.log.out");
    options.standardError = plinkDir.file("plink.log.out");
    std::string error;
    const pid_t process = startProcess(
        {plink, "--ped", "u.ped", "--map", "u.map", "--hardy", "--allow-no-sex", "--out", "u"}, options, error);
    ASSERT_GT(process, 0) << error;
    ASSERT_EQ(waitForProcess(process), 0) << plinkDir.read("plink.log.out");

    // PLINK: CHR SNP TEST A1 A2 GENO O(HET) E(HET) P, the exact p-value.
    int compared = 0;
    for (const std::string& line : lines(plinkDir.read("u.hwe"))) {
        std::istringstream in(line);
        std::string chromosome, snp, test, a1, a2, geno, observed, expectedHet, p;
        in >> chromosome >> snp >> test >> a1 >> a2 >> geno >> observed >> expectedHet >> p;
        if (test != "ALL") continue;
        ++compared;
        ASSERT_TRUE(varkelRows.count(snp)) << line;
        const std::vector<std::string>& row = varkelRows[snp];
        EXPECT_EQ(row[3] + " " + row[4] + " " + row[5], a1 + " " + a2 + " " + geno) << line;
        EXPECT_NEAR(std::stod(row[6]), std::stod(observed), 1e-4) << line;
        EXPECT_NEAR(std::stod(row[7]), std::stod(expectedHet), 1e-4) << line;
        EXPECT_NEAR(std::stod(row[11]), std::stod(p), 1e-4 * std::stod(p)) << line;
    }
    EXPECT_EQ(compared, 2);
}
