// The transmission/disequilibrium test: transmissions counted by hand on small pedigrees,
// and T and U of biallelic markers against PLINK 1.9 run on the same trios.

#include <sys/stat.h>
#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <map>
#include <sstream>

#include "association/tdt.h"
#include "association/trio_files.h"
#include "engine/process.h"
#include "model/pedigrees.h"
#include "support/test_support.h"

using namespace testing_support;
using namespace trio_files;

namespace {

// Tab-separated fields of a line.
std::vector<std::string> fields(const std::string& line) {
    std::vector<std::string> result;
    std::istringstream in(line);
    for (std::string field; std::getline(in, field, '\t');) result.push_back(field);
    return result;
}

// The upper tail of the chi-square distribution on 1 df.
double p1(double x) { return std::erfc(std::sqrt(x / 2)); }

}  // namespace

TEST(Tdt, TransmissionsFromHeterozygousParentsCountedByHand) {
    std::string p;  // father, mother, then children; marker M1 with alleles 1, 2, 3
    // 1: father 1 2, mother 1 3. Child 3 (1 1): T1 T1, U2 U3. Child 4 (2 3): 3 from the mother
    //    and 2 from the father: T3 T2, U1 U1. Child 5 is unaffected.
    p += person("1", "1", "0", "0", "1", "1", {"1 2"}) + person("1", "2", "0", "0", "2", "1", {"1 3"}) +
         person("1", "3", "1", "2", "1", "2", {"1 1"}) + person("1", "4", "1", "2", "2", "2", {"2 3"}) +
         person("1", "5", "1", "2", "2", "1", {"1 2"});
    // 2: homozygous father 2 2, mother 1 2, child 1 2: only the mother counts, T1 U2.
    p += person("2", "1", "0", "0", "1", "1", {"2 2"}) + person("2", "2", "0", "0", "2", "1", {"1 2"}) +
         person("2", "3", "1", "2", "1", "2", {"1 2"});
    // 3: both parents 1 2, child 2 1: either parent may have given either allele; T1 T2 U1 U2.
    p += person("3", "1", "0", "0", "1", "1", {"1 2"}) + person("3", "2", "0", "0", "2", "1", {"1 2"}) +
         person("3", "3", "1", "2", "1", "2", {"2 1"});
    // 4: child 3 1 of parents 1 1 and 1 1 is impossible: not counted.
    p += person("4", "1", "0", "0", "1", "1", {"1 1"}) + person("4", "2", "0", "0", "2", "1", {"1 1"}) +
         person("4", "3", "1", "2", "1", "2", {"3 1"});
    // 5: the father is untyped: not a trio.
    p += person("5", "1", "0", "0", "1", "1", {"0 0"}) + person("5", "2", "0", "0", "2", "1", {"1 3"}) +
         person("5", "3", "1", "2", "1", "2", {"1 1"});
    // 6: child 3 untyped; child 4 (1 3) of father 2 3 and mother 1 2: T1 U2, T3 U2. The
    //    affected, typed father has no parents.
    p += person("6", "1", "0", "0", "1", "2", {"2 3"}) + person("6", "2", "0", "0", "2", "1", {"1 2"}) +
         person("6", "3", "1", "2", "1", "2", {"0 0"}) + person("6", "4", "1", "2", "1", "2", {"1 3"});
    ScratchDir dir;
    Pedigrees pedigrees;
    ASSERT_TRUE(load(pedigrees, dir, mapFile({"M1"}), p));
    Tdt tdt(&pedigrees);
    int result = 0;
    captureOutput([&] { result = tdt.run("", "") && tdt.writeReport(dir.file("hand_tdt")); });
    ASSERT_EQ(result, 1);
    ASSERT_EQ(tdt.getMarkers("DISEASE_LOCUS").size(), 1u);
    const TdtMarker& marker = tdt.getMarkers("DISEASE_LOCUS")[0];

    // T and U: allele 1 5 and 3, allele 2 2 and 5, allele 3 2 and 1; five trios, one impossible.
    EXPECT_EQ(marker.getTrioCount(), 5);
    EXPECT_EQ(marker.getInconsistentTrioCount(), 1);
    EXPECT_EQ(marker.getHeterozygousParentCount(), 9);
    const std::vector<std::vector<int>> counts = {{5, 3}, {2, 5}, {2, 1}};
    ASSERT_EQ(marker.getAlleles().size(), 3u);
    for (size_t i = 0; i < 3; ++i) {
        const TdtAllele& a = marker.getAlleles()[i];
        EXPECT_EQ(a.name, std::to_string(i + 1));
        EXPECT_EQ(a.transmitted, counts[i][0]) << a.name;
        EXPECT_EQ(a.untransmitted, counts[i][1]) << a.name;
    }
    // Allele 2: (2 - 5)^2 / 7; OR 2/5 with exp(ln 0.4 -+ 1.96 sqrt(1/2 + 1/5)).
    const TdtAllele& two = marker.getAlleles()[1];
    EXPECT_NEAR(two.chiSquare(), 9.0 / 7, 1e-12);
    EXPECT_NEAR(two.pValue(), p1(9.0 / 7), 1e-12);
    EXPECT_NEAR(two.pValue(), 0.256839, 1e-6);
    EXPECT_NEAR(two.oddsRatio(), 0.4, 1e-12);
    EXPECT_NEAR(two.lower95(), 0.4 * std::exp(-1.96 * std::sqrt(0.7)), 1e-12);
    EXPECT_NEAR(two.upper95(), 0.4 * std::exp(1.96 * std::sqrt(0.7)), 1e-12);
    // Global: (3 - 1) / 3 * (4/8 + 9/7 + 1/3) on 2 df, p = exp(-x / 2).
    const double global = 2.0 / 3 * (0.5 + 9.0 / 7 + 1.0 / 3);
    EXPECT_EQ(marker.getGlobalDegreesOfFreedom(), 2);
    EXPECT_NEAR(marker.getGlobalStatistic(), global, 1e-12);
    EXPECT_NEAR(marker.getGlobalPValue(), std::exp(-global / 2), 1e-12);
    // Allele 2 has the largest statistic but is under-transmitted: the best allele is the
    // over-transmitted one with the largest statistic, allele 1 (4/8 against allele 3's 1/3).
    EXPECT_EQ(marker.getBestAllele(), &marker.getAlleles()[0]);

    // The tidy table: one row per allele, the same numbers.
    const std::vector<std::string> table = lines(dir.read("hand_tdt.tsv"));
    ASSERT_EQ(table.size(), 4u);
    EXPECT_EQ(table[0], "phenotype\tmarker\tallele\tT\tU\tchisq\tp\tOR\tL95\tU95");
    const std::vector<std::string> row = fields(table[2]);
    ASSERT_EQ(row.size(), 10u);
    EXPECT_EQ(std::vector<std::string>(row.begin(), row.begin() + 5),
              (std::vector<std::string>{"DISEASE_LOCUS", "M1", "2", "2", "5"}));
    EXPECT_NEAR(std::stod(row[5]), 9.0 / 7, 1e-9);
    EXPECT_NEAR(std::stod(row[8]), 0.4 * std::exp(-1.96 * std::sqrt(0.7)), 1e-9);
    // The text report states the global test's degrees of freedom.
    EXPECT_TRUE(contains(dir.read("hand_tdt.out"), "Global test         : 1.412698 on 2 df, p = 0.493442\n"));

    // Hemizygous males leave no diploid transmissions: on X-linked data the test refuses to run.
    pedigrees.setXlinked(true);
    Tdt xlinked(&pedigrees);
    const std::string output = captureOutput([&] { result = xlinked.run("", ""); });
    EXPECT_EQ(result, 0);
    EXPECT_TRUE(contains(output, "X-linked")) << output;
}

TEST(Tdt, BiallelicTransmissionsAsPlink) {
    const std::string plink = "/usr/bin/plink1.9";
    if (access(plink.c_str(), X_OK) != 0) GTEST_SKIP() << "PLINK 1.9 is not installed";

    // Families of two parents and one to three children at three biallelic markers, drawn
    // from a fixed generator: the children's alleles are drawn from their parents', a few
    // genotypes are left out, affection is random.
    unsigned state = 12345;
    auto next = [&](unsigned n) {
        state = state * 1103515245u + 12345u;
        return (state >> 16) % n;
    };
    const int markers = 3;
    std::string varkelPed, plinkPed;
    for (int family = 1; family <= 60; ++family) {
        const std::string id = std::to_string(family);
        std::vector<std::vector<std::string>> parents(2, std::vector<std::string>(2 * markers));
        for (auto& parent : parents)
            for (auto& allele : parent) allele = next(3) == 0 ? "1" : "2";
        const int children = 1 + static_cast<int>(next(3));
        for (int member = 0; member < 2 + children; ++member) {
            std::vector<std::string> alleles(2 * markers);
            for (int m = 0; m < markers; ++m) {
                if (member < 2) {
                    alleles[2 * m] = parents[member][2 * m];
                    alleles[2 * m + 1] = parents[member][2 * m + 1];
                } else {
                    alleles[2 * m] = parents[0][2 * m + next(2)];
                    alleles[2 * m + 1] = parents[1][2 * m + next(2)];
                }
                if (next(12) == 0) alleles[2 * m] = alleles[2 * m + 1] = "0";
            }
            std::vector<std::string> genotypes;
            std::string plinkGenotypes;
            for (int m = 0; m < markers; ++m) {
                genotypes.push_back(alleles[2 * m] + " " + alleles[2 * m + 1]);
                plinkGenotypes += " " + alleles[2 * m] + " " + alleles[2 * m + 1];
            }
            const std::string person_id = std::to_string(member + 1);
            const std::string father = member < 2 ? "0" : "1", mother = member < 2 ? "0" : "2";
            const std::string sex = member == 0 ? "1" : member == 1 ? "2" : std::to_string(1 + next(2));
            const std::string affection = member < 2 ? (next(4) == 0 ? "2" : "1") : (next(3) == 0 ? "1" : "2");
            varkelPed += person(id, person_id, father, mother, sex, affection, genotypes);
            plinkPed += id + " " + person_id + " " + father + " " + mother + " " + sex + " " + affection +
                        plinkGenotypes + "\n";
        }
    }

    ScratchDir varkelDir, plinkDir;
    varkelDir.write("trios.ped", varkelPed);
    varkelDir.write("trios.map", mapFile({"S1", "S2", "S3"}));
    varkelDir.write("trios.model", "0 0.01 1\n0.01 0.9 0.9\n");
    const RunResult run = runProgram(
        "varkel", {"--post", "--ped", "trios.ped", "--map", "trios.map", "--model", "trios.model", "--tdt"},
        varkelDir.path());
    ASSERT_EQ(run.status, 0) << run.output;
    std::map<std::string, std::vector<std::string>> varkelRows;  // by marker and allele
    for (const std::string& line : lines(varkelDir.read("varkel_tdt.tsv"))) {
        const std::vector<std::string> row = fields(line);
        varkelRows[row[1] + " " + row[2]] = row;
    }

    plinkDir.write("trios.ped", plinkPed);
    plinkDir.write("trios.map", "1 S1 0 1000\n1 S2 0 2000\n1 S3 0 3000\n");
    ProcessOptions options;
    options.workingDirectory = plinkDir.path();
    options.standardOutput = plinkDir.file("plink.log.out");
    options.standardError = plinkDir.file("plink.log.out");
    std::string error;
    const pid_t process =
        startProcess({plink, "--ped", "trios.ped", "--map", "trios.map", "--tdt", "--out", "trios"}, options, error);
    ASSERT_GT(process, 0) << error;
    ASSERT_EQ(waitForProcess(process), 0) << plinkDir.read("plink.log.out");

    // PLINK: CHR SNP BP A1 A2 T U OR CHISQ P, T and U of allele A1.
    const std::vector<std::string> plinkRows = lines(plinkDir.read("trios.tdt"));
    ASSERT_EQ(plinkRows.size(), 1u + markers);
    for (size_t i = 1; i < plinkRows.size(); ++i) {
        std::istringstream in(plinkRows[i]);
        std::string chromosome, snp, position, a1, a2, t, u, oddsRatio, chisq;
        in >> chromosome >> snp >> position >> a1 >> a2 >> t >> u >> oddsRatio >> chisq;
        ASSERT_TRUE(varkelRows.count(snp + " " + a1)) << plinkRows[i];
        const std::vector<std::string>& row = varkelRows[snp + " " + a1];
        EXPECT_GT(std::stoi(t) + std::stoi(u), 30) << plinkRows[i];  // many informative parents
        EXPECT_EQ(row[3], t) << plinkRows[i];
        EXPECT_EQ(row[4], u) << plinkRows[i];
        EXPECT_NEAR(std::stod(row[5]), std::stod(chisq), 1e-3) << plinkRows[i];
        // The other allele's counts are the same two numbers swapped.
        const std::vector<std::string>& other = varkelRows[snp + " " + a2];
        EXPECT_EQ(other[3] + " " + other[4], u + " " + t);
    }

    // The summary: per marker the over-transmitted allele (none when T = U), its T and U, its
    // p-value, and the global test, which for two alleles is the allele test on 1 df.
    const std::string summary = varkelDir.read("varkel_summary.out");
    ASSERT_TRUE(contains(summary, "Transmission/disequilibrium test summary - results are p-values\n")) << summary;
    const int t1 = std::stoi(varkelRows["S1 1"][3]), u1 = std::stoi(varkelRows["S1 1"][4]);
    ASSERT_NE(t1, u1);  // the draw has a best allele
    const std::vector<std::string>& over = varkelRows[t1 > u1 ? "S1 1" : "S1 2"];
    int summaryRows = 0;
    for (const std::string& line : lines(summary)) {
        std::istringstream in(line);
        std::string marker, trios, best, t, u, p, globalP, df;
        if (!(in >> marker >> trios >> best >> t >> u >> p >> globalP >> df) || marker != "S1") continue;
        ++summaryRows;
        EXPECT_EQ(best + " " + t + " " + u, over[2] + " " + over[3] + " " + over[4]) << line;
        EXPECT_GT(std::stoi(t), std::stoi(u)) << line;
        EXPECT_EQ(p, globalP) << line;
        EXPECT_EQ(df, "1") << line;
        EXPECT_NEAR(std::stod(p), std::stod(over[6]), 1e-6) << line;
        // The console shows the same line.
        EXPECT_TRUE(contains(run.output, line + "\n")) << run.output;
    }
    EXPECT_EQ(summaryRows, 1) << summary;
}

TEST(Tdt, NoBestAlleleWhenNoneIsOverTransmittedAndTheConsoleShowsTheSummaryTable) {
    // Two trios of father 1 2 and mother 1 1: one child receives 1, the other 2. Allele 1 and
    // allele 2 both have T = U = 1. Marker M2: the father transmits 2 twice, T2 = 2, U1 = 2.
    std::string p;
    p += person("1", "1", "0", "0", "1", "1", {"1 2", "1 2"}) + person("1", "2", "0", "0", "2", "1", {"1 1", "1 1"}) +
         person("1", "3", "1", "2", "1", "2", {"1 1", "1 2"});
    p += person("2", "1", "0", "0", "1", "1", {"1 2", "1 2"}) + person("2", "2", "0", "0", "2", "1", {"1 1", "1 1"}) +
         person("2", "3", "1", "2", "1", "2", {"1 2", "2 1"});
    ScratchDir dir;
    dir.write("t.ped", p);
    dir.write("t.map", mapFile({"M1", "M2"}));
    const RunResult run = runProgram("varkel", {"--post", "--ped", "t.ped", "--map", "t.map", "--tdt"}, dir.path());
    ASSERT_EQ(run.status, 0) << run.output;
    const std::string summary = dir.read("varkel_summary.out");
    const std::string heading = "Best allele: of the alleles transmitted more often than not (T > U) the one with "
                                "the largest chi-square; none when no allele is.\n";
    // Global p for M1: statistic 0 on 1 df, p = 1; for M2: chi-square (2 - 0)^2 / 2 = 2 on 1 df,
    // p = erfc(1) = 0.157299.
    char m1[128], m2[128];
    std::snprintf(m1, sizeof m1, "%20s%8d%15s%8s%8s%15s%15.6f%6d\n", "M1", 2, "none", "", "", "NA", 1.0, 1);
    std::snprintf(m2, sizeof m2, "%20s%8d%15s%8d%8d%15.6f%15.6f%6d\n", "M2", 2, "2", 2, 0, std::erfc(1.0),
                  std::erfc(1.0), 1);
    const std::string table = heading + "              Marker   Trios    Best allele       T       U              p"
                                        "       Global p    df\n" +
                              m1 + m2;
    EXPECT_TRUE(contains(summary, table)) << summary;
    EXPECT_TRUE(contains(run.output, table)) << run.output;
}
