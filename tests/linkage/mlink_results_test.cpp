// MLINK's outfile.dat read back (a real FASTLINK run and hand-cut files), the heterogeneity
// grid, and the singlepoint reports and plots written from hand-made likelihood records.

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <sstream>

#include "linkage/mlink.h"
#include "linkage/mlink_test_access.h"
#include "model/pedigrees.h"
#include "support/test_support.h"

using namespace testing_support;

namespace {

// One theta block of two pedigrees "1" and "2" in MLINK's layout.
std::string block(const std::string& theta, double lod1, double lod2) {
    std::ostringstream out;
    const std::string rule(35, '-');
    out << "THETAS  " << theta << "\n" << rule << "\nPEDIGREE |  LN LIKE  | LOG 10 LIKE\n" << rule << "\n"
        << "        1    -9.939627    -4.316716 LOD=     " << lod1 << "\n"
        << "        2    -9.939627    -4.316716 LOD=     " << lod2 << "\n" << rule << "\n"
        << "TOTALS      -18.492959    -8.031373\n-2 LN(LIKE) =  3.69859e+01 LOD SCORE =     " << lod1 + lod2
        << "\n" << rule << "\n" << rule << "\n";
    return out.str();
}

size_t count(const std::string& text, const std::string& part) {
    size_t n = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size())) ++n;
    return n;
}

// Up to n lines that follow the first line equal to `start`.
std::vector<std::string> linesAfter(const std::string& text, const std::string& start, size_t n) {
    const std::vector<std::string> all = lines(text);
    auto from = std::min(std::find(all.begin(), all.end(), start) + 1, all.end());
    return std::vector<std::string>(from, from + std::min<size_t>(n, all.end() - from));
}

// Text of page `page` (1-based) of a PostScript document.
std::string pageText(const std::string& document, int page) {
    const size_t start = document.find("%%Page: " + std::to_string(page) + " " + std::to_string(page) + "\n");
    return start == std::string::npos ? "" : document.substr(start, document.find("%%EndDocument", start) - start);
}

// One pedigree "1" on MLINK's theta grid, the LOD a function of the position in the grid.
template <class F>
MLinkMarker* gridMarker(const std::string& name, F lodAt) {
    std::vector<std::pair<double, PedigreeLods>> blocks;
    const std::vector<double> thetas = mlinkThetas();
    for (size_t i = 0; i < thetas.size(); ++i) blocks.push_back({thetas[i], {{"1", lodAt(i)}}});
    return makeMarker(name, blocks);
}

}  // namespace

// Two families: an affected father 1/2, an unaffected mother 3/3, three children; in pedigree
// 7 every child agrees with one phase (k=3, r=0), in pedigree 12 one child does not (k=2, r=1).
TEST(MLinkOutput, RealMlinkOutputMatchesClosedFormAndCutFilesStopCleanly) {
    ScratchDir dir;
    dir.write("pedfile.dat", "7 1 0 0 3 0 0 1 1 2 1 2\n7 2 0 0 3 0 0 2 0 1 3 3\n7 3 1 2 0 4 4 1 0 2 1 3\n"
                             "7 4 1 2 0 5 5 2 0 2 1 3\n7 5 1 2 0 0 0 1 0 1 2 3\n12 1 0 0 3 0 0 1 1 2 1 2\n"
                             "12 2 0 0 3 0 0 2 0 1 3 3\n12 3 1 2 0 4 4 1 0 2 1 3\n12 4 1 2 0 5 5 2 0 2 2 3\n"
                             "12 5 1 2 0 0 0 1 0 1 2 3\n");
    dir.write("datafile.dat",
              "2 0 0 5\n0 0 0 0\n1 2\n1 2\n0.9999 0.0001\n1\n0 1 1\n3 3\n0.3 0.3 0.4\n0 0\n0\n1 0.02 0.49\n");
    ASSERT_EQ(std::system(("cd '" + dir.path() + "' && /usr/bin/unknown < /dev/null > /dev/null 2>&1"
                           " && /usr/bin/mlink < /dev/null > /dev/null 2>&1").c_str()), 0);
    // Two pedigree lines per block.
    const std::unique_ptr<MLinkMarker> read(MLink::readResultsFile(dir.file("outfile.dat"), 2));
    ASSERT_TRUE(read);
    const MLinkMarker* marker = read.get();
    // The file writes "0.500", "0.000", "0.020": keys are the shortest texts.
    const std::vector<std::string>& names = marker->getLikelihoodsNames();
    ASSERT_EQ(names.size(), 26u);
    EXPECT_TRUE(names[0] == "0.5" && names[1] == "0" && names[2] == "0.02") << names[1];
    EXPECT_EQ(marker->getLikelihoods(std::string("0.000")), nullptr);
    double best = 0.0, bestTheta = 0.5;
    for (double t : mlinkThetas()) {
        SCOPED_TRACE("theta " + std::to_string(t));
        const FastlinkLikelihoods* record = marker->getLikelihoods(t);
        ASSERT_NE(record, nullptr);
        const FastlinkLikelihood* p7 = record->getLikelihood("7");
        const FastlinkLikelihood* p12 = record->getLikelihood("12");
        ASSERT_TRUE(p7 && p12);
        EXPECT_NEAR(p7->getLodScore(), closedFormLod(t, 3, 0), 2e-6);
        EXPECT_NEAR(p7->getLnLike(), p7->getLog10Like() * std::log(10.0), 1e-5 * std::fabs(p7->getLnLike()));
        if (t == 0.0) {  // a recombinant at theta 0: MLINK's floor
            EXPECT_LE(p12->getLodScore(), -999.0);
            EXPECT_LT(record->getLodScore(), -1e10);
            continue;
        }
        const double total = closedFormLod(t, 3, 0) + closedFormLod(t, 2, 1);
        EXPECT_NEAR(p12->getLodScore(), closedFormLod(t, 2, 1), 2e-6);
        EXPECT_NEAR(record->getLodScore(), total, 5e-6);
        if (total > best) best = total, bestTheta = t;
    }
    EXPECT_DOUBLE_EQ(marker->getLikelihoodWithMaxLodScore()->getRecombinationFraction(), bestTheta);

    // Equal totals at 0 and 0.02 (the smaller theta is kept), then a block cut inside its
    // pedigree lines, right after its theta line, or inside its totals.
    const std::string head = "LINKAGE (V5.1) WITH  2-POINT AUTOSOMAL DATA\n ORDER OF LOCI:   1  2\n" +
                             std::string(35, '-') + "\n" + std::string(35, '-') + "\n" + block("0.500", 0, 0) +
                             block("0.000", 0.8, 0.7) + block("0.020", 1.0, 0.5);
    const std::string third = block("0.040", 0.9, 0.9);
    for (size_t cut : {third.find("LOD=     0.9"), third.find('\n') + 1, third.find("LOD SCORE")}) {
        dir.write("outfile.dat", head + third.substr(0, cut));
        const std::unique_ptr<MLinkMarker> cutRead(MLink::readResultsFile(dir.file("outfile.dat"), 2));
        ASSERT_TRUE(cutRead);
        EXPECT_EQ(cutRead->getLikelihoodsNames(), (std::vector<std::string>{"0.5", "0", "0.02"}));
        EXPECT_EQ(cutRead->getLikelihoodWithMaxLodScore(), cutRead->getLikelihoods(0.0));
        EXPECT_DOUBLE_EQ(cutRead->getLikelihoods(0.02)->getLikelihood("1")->getLodScore(), 1.0);
    }
    EXPECT_EQ(MLink::readResultsFile(dir.file("no-such-outfile.dat"), 2), nullptr);
    {
    }
}

TEST(HLod, GridSkipsFirstThetaAndMatchesAdmixtureSum) {
    Pedigrees pedigrees;
    MLink mlink(&pedigrees);
    // The first block (theta 0.5) carries LODs far above the rest: it must not be evaluated.
    const std::vector<std::vector<double>> lods{{1.2, -0.9, -999.999999}, {1.0, -0.4, 0.3}, {0.8, -0.2, 0.2}};
    std::vector<std::pair<double, PedigreeLods>> blocks{{0.5, {{"1", 4.0}, {"2", 4.0}, {"10", 4.0}}}};
    for (size_t t = 0; t < 3; ++t)
        blocks.push_back({0.02 * t, {{"1", lods[t][0]}, {"2", lods[t][1]}, {"10", lods[t][2]}}});
    MLinkTestAccess::addPhenotype(
        mlink, "DISEASE_LOCUS",
        {makeMarker("D1", blocks),
         makeMarker("NEG", {{0.5, {{"1", 0.0}, {"2", 0.0}}}, {0.0, {{"1", -2.0}, {"2", -0.1}}},
                            {0.02, {{"1", -1.0}, {"2", -0.05}}}})});
    captureOutput([&] { mlink.maximizeHLod(); });

    const auto& grid = MLinkTestAccess::grid(mlink).at(0);
    ASSERT_EQ(grid.size(), 2u);
    ASSERT_EQ(grid[0].size(), 3u);  // thetas 0, 0.02, 0.04
    double best = 0.0, bestTheta = 0.0, bestAlpha = 0.0;
    for (size_t t = 0; t < 3; ++t) {
        ASSERT_EQ(grid[0][t].size(), 101u);
        for (size_t a = 0; a < 101; ++a) {
            const MLinkHLod* point = grid[0][t][a];
            EXPECT_NEAR(point->getTheta(), 0.02 * t, 1e-12);
            EXPECT_NEAR(point->getAlpha(), a / 100.0, 1e-12);
            // Everyone linked: the plain LOD sum, also where 10^LOD underflows.
            const double expected = a == 100 ? lods[t][0] + lods[t][1] + lods[t][2] : admixtureLod(lods[t], a / 100.0);
            EXPECT_NEAR(point->getHLod(), expected, 1e-9) << "theta " << t << " alpha " << a;
            if (expected > best) best = expected, bestTheta = 0.02 * t, bestAlpha = a / 100.0;
        }
    }
    const MLinkHLod* maximum = mlink.getHLodMaxima().at(0).at(0);
    EXPECT_DOUBLE_EQ(maximum->getHLod(), best);
    EXPECT_NEAR(maximum->getTheta(), bestTheta, 1e-12);
    EXPECT_NEAR(maximum->getAlpha(), bestAlpha, 1e-9);
    // Every LOD negative: nothing beats alpha 0, reported as (0, 0, 0).
    EXPECT_NEAR(grid[1][0][100]->getHLod(), -2.1, 1e-12);
    const MLinkHLod* negative = mlink.getHLodMaxima().at(0).at(1);
    EXPECT_TRUE(negative->getHLod() == 0.0 && negative->getTheta() == 0.0 && negative->getAlpha() == 0.0);
}

TEST(SinglepointReports, ColumnRulesPagingAndGeometry) {
    ScratchDir dir;
    Pedigrees pedigrees;
    for (const char* id : {"9", "10"}) pedigrees.getPedigrees()->insert(new Pedigree(id));
    pedigrees.setSinglepointCurves(true);
    MLink mlink(&pedigrees);
    MLinkTestAccess::addPhenotype(
        mlink, "DISEASE_LOCUS",
        {makeMarker("D1", {{0.5, {{"9", 0.0}, {"10", 0.0}}}, {0.0, {{"9", 0.60206}, {"10", -999.999999}}},
                           {0.02, {{"9", 0.575741}, {"10", -1.105682}}}}),
         makeMarker("D2", {{0.5, {{"9", 0.0}, {"10", 0.0}}}, {0.0, {{"9", 1.2345678}, {"10", 0.2}}},
                           {0.02, {{"9", 0.3}, {"10", 0.2}}}})});
    // First theta as the last column; rows in the order of the records (FASTLINK's order).
    captureOutput([&] { EXPECT_TRUE(mlink.writeResultsByFamilyFile(dir.file("fam"))); });
    EXPECT_EQ(linesAfter(dir.read("fam.out"), "Marker: D1", 5),
              (std::vector<std::string>{"               Theta", "Pedigreeid",
                                        "                        0           0.02            0.5",
                                        "         9        0.60206        0.57574        0.00000",
                                        "        10    -1000.00000       -1.10568        0.00000"}));
    // Curve table: negative (and zero) LODs in scientific notation; the first theta last.
    captureOutput([&] { EXPECT_TRUE(mlink.writeAllLODScoresFile(dir.file("cur"))); });
    EXPECT_EQ(linesAfter(dir.read("cur.out"), "Phenotype: DISEASE_LOCUS", 5),
              (std::vector<std::string>{"               Theta                  D1                  D2",
                                        "                0.00       -9.993979e+02            1.434568",
                                        "                0.02       -5.299410e-01            0.500000",
                                        "                0.50        0.000000e+00        0.000000e+00"}));
    EXPECT_TRUE(rendersInGhostscript(dir.file("cur.ps")));

    // 101 markers with LODs 0.01 m: two pages of 100 slots of 600/100 - 5 points, the second
    // with one bar and 99 empty slots; bars in proportion to the axis maximum 2 (400 points).
    MLink many(&pedigrees);
    std::vector<MLinkMarker*> markers;
    for (int m = 1; m <= 101; ++m)
        markers.push_back(gridMarker("M" + std::to_string(m), [m](size_t i) { return i == 3 ? 0.01 * m : 0.0; }));
    MLinkTestAccess::addPhenotype(many, "DISEASE_LOCUS", markers);
    captureOutput([&] { EXPECT_TRUE(many.writeResultsFile(dir.file("many"))); });
    const std::string paged = dir.read("many.ps");
    EXPECT_TRUE(contains(paged, "%%Pages: 2\n"));
    const std::string first = pageText(paged, 1), second = pageText(paged, 2);
    EXPECT_EQ(count(first, "% rightlower"), 100u);
    EXPECT_TRUE(contains(first, " 100 400 moveto   % rightlower") && contains(first, "\n100 0 rlineto"));  // M50
    EXPECT_EQ(count(second, "% rightlower"), 1u);
    EXPECT_TRUE(contains(second, "(M101)show") && !contains(second, "(@"));
    EXPECT_TRUE(contains(second, " 100 694 moveto   % rightlower") && contains(second, "\n202 0 rlineto"));
    EXPECT_TRUE(rendersInGhostscript(dir.file("many.ps")));

    // Curves: one page per marker; points below LOD -3 are dropped. A keeps theta 0 and the
    // thetas from 0.18 to 0.48 (17 points: 8 segments); B keeps all 26 points (12 segments,
    // the last point of an even count is not drawn).
    MLink two(&pedigrees);
    MLinkTestAccess::addPhenotype(two, "DISEASE_LOCUS",
                                  {gridMarker("A", [](size_t i) { return i == 1 ? 2.0 : -4.0 + 0.1 * i; }),
                                   gridMarker("B", [](size_t i) { return i == 2 ? 1.0 : 0.0; })});
    captureOutput([&] { EXPECT_TRUE(two.writeAllLODScoresFile(dir.file("curves"))); });
    const std::string curves = dir.read("curves.ps");
    EXPECT_TRUE(contains(curves, "%%Pages: 2\n"));
    const std::string pageA = pageText(curves, 1), pageB = pageText(curves, 2);
    EXPECT_EQ(count(pageA, "curveto"), 8u);
    EXPECT_EQ(count(pageB, "curveto"), 12u);
    EXPECT_TRUE(rendersInGhostscript(dir.file("curves.ps")));
}
