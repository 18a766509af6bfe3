// Heterogeneity LOD grid and maximum, checked against log10(alpha 10^LOD + 1 - alpha)
// summed over the pedigrees, computed here.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>

#include "linkage/mlink.h"
#include "linkage/mlink_test_access.h"
#include "model/pedigrees.h"
#include "support/test_support.h"

using namespace testing_support;

namespace {

double expectedHLod(const PedigreeLods& lods, double alpha) {
    double sum = 0.0;
    for (const auto& p : lods) sum += std::log10(alpha * std::pow(10.0, p.second) + 1.0 - alpha);
    return sum;
}

std::string row(const std::string& name, double hlod, double theta, double alpha) {
    char text[128];
    std::snprintf(text, sizeof text, "%20s%13.6f%10.2f%10.2f\n", name.c_str(), hlod, theta, alpha);
    return text;
}

}  // namespace

TEST(HLod, GridMatchesAdmixtureFormulaAndSkipsFirstTheta) {
    Pedigrees pedigrees;
    MLink mlink(&pedigrees);
    MLinkTestAccess::setMode(mlink, "basic");
    // The first block (theta 0.5) carries LODs far above the rest: it must not be evaluated.
    const PedigreeLods unlinked{{"1", 4.0}, {"2", 4.0}, {"10", 4.0}};
    const PedigreeLods at0{{"1", 1.2}, {"2", -0.9}, {"10", -999.999999}};
    const PedigreeLods at02{{"1", 1.0}, {"2", -0.4}, {"10", 0.3}};
    const PedigreeLods at04{{"1", 0.8}, {"2", -0.2}, {"10", 0.2}};
    MLinkTestAccess::addPhenotype(
        mlink, "DISEASE_LOCUS",
        {makeMarker("D1", {{0.5, unlinked}, {0.0, at0}, {0.02, at02}, {0.04, at04}}),
         makeMarker("D2", {{0.5, unlinked}, {0.0, at0}, {0.02, at02}, {0.04, at04}})});
    const std::string console = captureOutput([&] { mlink.maximizeHLod(); });

    const auto& grid = MLinkTestAccess::grid(mlink);
    ASSERT_EQ(grid.size(), 1u);
    ASSERT_EQ(grid[0].size(), 2u);
    ASSERT_EQ(grid[0][0].size(), 3u);  // thetas 0, 0.02, 0.04
    EXPECT_EQ(MLinkTestAccess::hlodThetaNames(mlink), (std::vector<std::string>{"0", "0.02", "0.04"}));
    const auto& alphas = MLinkTestAccess::alphaNames(mlink);
    ASSERT_EQ(alphas.size(), 101u);
    EXPECT_EQ(alphas[0], "0");
    EXPECT_EQ(alphas[1], "0.01");
    EXPECT_EQ(alphas[50], "0.5");
    EXPECT_EQ(alphas[100], "1");

    const PedigreeLods* blocks[] = {&at0, &at02, &at04};
    const double thetas[] = {0.0, 0.02, 0.04};
    double best = 0.0, bestTheta = 0.0, bestAlpha = 0.0;
    for (size_t t = 0; t < 3; ++t) {
        ASSERT_EQ(grid[0][0][t].size(), 101u);
        for (size_t a = 0; a < 101; ++a) {
            const MLinkHLod* point = grid[0][0][t][a];
            EXPECT_DOUBLE_EQ(point->getTheta(), thetas[t]);
            EXPECT_NEAR(point->getAlpha(), a / 100.0, 1e-12);
            const double alpha = std::min(point->getAlpha(), 1.0);
            double expected = expectedHLod(*blocks[t], alpha);
            if (a == 100) {
                // Everyone linked: the plain LOD sum, also where 10^LOD underflows.
                expected = 0.0;
                for (const auto& p : *blocks[t]) expected += p.second;
            }
            EXPECT_NEAR(point->getHLod(), expected, 1e-9) << "theta " << thetas[t] << " alpha " << a;
            if (expected > best) {
                best = expected;
                bestTheta = thetas[t];
                bestAlpha = point->getAlpha();
            }
        }
    }
    EXPECT_TRUE(std::isfinite(grid[0][0][0][100]->getHLod()));
    const MLinkHLod* maximum = mlink.getHLodMaxima().at(0).at(0);
    EXPECT_DOUBLE_EQ(maximum->getHLod(), best);
    EXPECT_DOUBLE_EQ(maximum->getTheta(), bestTheta);
    EXPECT_DOUBLE_EQ(maximum->getAlpha(), bestAlpha);
    EXPECT_GT(best, 0.0);
    EXPECT_LT(best, 4.0);

    EXPECT_EQ(mlink.getHLodPhenotypes(), (std::vector<std::string>{"DISEASE_LOCUS"}));
    EXPECT_EQ(console, "\nParametric linkage analysis under heterogeneity\nPhenotype: DISEASE_LOCUS\n" +
                           std::string("              Marker       LodHet     Theta     Alpha\n") +
                           row("D1", best, bestTheta, bestAlpha) + row("D2", best, bestTheta, bestAlpha) + "\n\n");
}

TEST(HLod, TiesNegativeLodsSinglePedigreeAndSingleBlock) {
    Pedigrees pedigrees;
    MLink mlink(&pedigrees);
    MLinkTestAccess::setMode(mlink, "nuclear");
    const PedigreeLods positive{{"5", 0.7}};
    const PedigreeLods weaker{{"5", 0.4}};
    MLinkTestAccess::addPhenotype(
        mlink, "P1",
        {// equal LODs at 0.02 and 0.04: the smaller theta wins
         makeMarker("TIE", {{0.5, {{"5", 0.0}}}, {0.0, weaker}, {0.02, positive}, {0.04, positive}}),
         // every LOD negative: nothing beats alpha 0, reported as (0, 0, 0)
         makeMarker("NEG", {{0.5, {{"1", 0.0}, {"2", 0.0}}},
                            {0.0, {{"1", -2.0}, {"2", -0.1}}},
                            {0.02, {{"1", -1.0}, {"2", -0.05}}}}),
         // a single block has no evaluated theta
         makeMarker("ONE", {{0.5, {{"1", 3.0}}}})});
    MLinkTestAccess::addPhenotype(mlink, "P2", {makeMarker("SOLO", {{0.5, {{"9", 0.0}}}, {0.1, {{"9", 1.3}}}})});
    const std::string console = captureOutput([&] { mlink.maximizeHLod(); });

    const auto& maxima = mlink.getHLodMaxima();
    ASSERT_EQ(maxima.size(), 2u);
    ASSERT_EQ(maxima[0].size(), 3u);
    // One pedigree with a positive LOD: the HLOD grows with alpha up to the LOD itself.
    EXPECT_NEAR(maxima[0][0]->getHLod(), 0.7, 1e-12);
    EXPECT_DOUBLE_EQ(maxima[0][0]->getTheta(), 0.02);
    EXPECT_NEAR(maxima[0][0]->getAlpha(), 1.0, 1e-9);
    for (const MLinkHLod* m : {maxima[0][1], maxima[0][2]}) {
        EXPECT_EQ(m->getHLod(), 0.0);
        EXPECT_EQ(m->getTheta(), 0.0);
        EXPECT_EQ(m->getAlpha(), 0.0);
    }
    const auto& grid = MLinkTestAccess::grid(mlink);
    EXPECT_TRUE(grid[0][2].empty());
    ASSERT_EQ(grid[0][1].size(), 2u);
    EXPECT_NEAR(grid[0][1][0][100]->getHLod(), -2.1, 1e-12);
    EXPECT_NEAR(grid[0][1][1][37]->getHLod(), expectedHLod({{"1", -1.0}, {"2", -0.05}}, 0.37), 1e-9);
    EXPECT_NEAR(maxima[1][0]->getHLod(), 1.3, 1e-12);
    EXPECT_NEAR(grid[1][0][0][99]->getHLod(), std::log10(0.99 * std::pow(10.0, 1.3) + 0.01), 1e-9);
    EXPECT_EQ(mlink.getHLodPhenotypes(), (std::vector<std::string>{"P1", "P2"}));

    EXPECT_TRUE(contains(console, "Parametric linkage analysis for nuclear pedigrees under heterogeneity\n"));
    EXPECT_TRUE(contains(console, "              Marker    NucLodHet     Theta     Alpha\n"));
    EXPECT_TRUE(contains(console, row("NEG", 0.0, 0.0, 0.0)));
    EXPECT_TRUE(contains(console, row("ONE", 0.0, 0.0, 0.0)));
    EXPECT_TRUE(contains(console, row("TIE", 0.7, 0.02, 1.0)));
    EXPECT_TRUE(contains(console, "Phenotype: P2\n"));
}
