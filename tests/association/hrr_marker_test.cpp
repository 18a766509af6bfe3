#include <cmath>
#include <cstdlib>
#include <memory>
#include <sstream>

#include "association/hrr_marker.h"
#include "driver/utilities.h"
#include "model/records.h"
#include "support/test_support.h"

namespace {

// A quiet marker over catalogue alleles of the given names, with the case and control
// genotypes of the lists ("1/2 3/3") counted with both their alleles, as the trio counting does.
std::unique_ptr<HrrMarker> makeMarker(const std::vector<std::string>& names, const std::string& cases,
                                      const std::string& controls) {
    std::vector<Allele> owned(names.begin(), names.end());
    std::vector<Allele*> alleles;
    for (Allele& a : owned) alleles.push_back(&a);
    auto m = std::make_unique<HrrMarker>("0", alleles);
    m->setQuiet(true);
    std::istringstream caseList(cases), controlList(controls);
    for (std::string g; caseList >> g;) {
        m->addCaseCountForGenotype(g);
        for (const std::string& a : {g.substr(0, g.find('/')), g.substr(g.find('/') + 1)}) m->addCaseAlleleCount(a);
    }
    for (std::string g; controlList >> g;) {
        m->addControlCountForGenotype(g);
        for (const std::string& a : {g.substr(0, g.find('/')), g.substr(g.find('/') + 1)}) m->addControlAlleleCount(a);
    }
    return m;
}

// The randomised p-values (allele, genotype) computed directly from their definition: fresh
// maps of counts, a linear scan of the cumulative distribution, the statistics of getLRT.
std::pair<double, double> randomizeDirectly(const HrrMarker& m) {
    const std::vector<double> cumulative = m.getProbabilityDistribution();
    const std::vector<std::string> genotypes = m.getGenotypeNames();
    auto draw = [&](int times, CountMap& g, CountMap& a) {
        for (int d = 0; d < times; ++d) {
            const double r = getRandom();
            for (size_t k = 0; k < cumulative.size(); ++k)
                if (cumulative[k] >= r) {
                    ++g[genotypes[k]];
                    ++a[genotypes[k].substr(0, genotypes[k].find('/'))];
                    ++a[genotypes[k].substr(genotypes[k].find('/') + 1)];
                    break;
                }
        }
    };
    int alleleExceed = 0, genotypeExceed = 0;
    for (int n = 1; n <= 100000; ++n) {
        CountMap caseG, controlG, caseA, controlA;
        draw(m.getCaseGenotypeTotal(), caseG, caseA);
        draw(m.getControlGenotypeTotal(), controlG, controlA);
        if (m.getLRT("allele", caseA, controlA) >= m.getLRT("allele")) ++alleleExceed;
        if (m.getLRT("genotype", caseG, controlG) >= m.getLRT("genotype")) ++genotypeExceed;
    }
    return {alleleExceed / 100000.0, genotypeExceed / 100000.0};
}

}  // namespace

TEST(HrrMarker, StatisticsByHandAndFastRandomisationAsTheDirectAlgorithm) {
    // Case alleles 1:3, 2:1 and control alleles 1:1, 2:3; many replicates tie with it.
    const auto hand = makeMarker({"1", "2"}, "1/1 1/2", "1/2 2/2");
    // Pooled sevenths (between the bounds of the fast search's buckets); 2/3, 3/4, 4/4 pooled 0.
    const auto zeroPooled = makeMarker({"1", "2", "3", "4"}, "1/2 1/2 1/1 2/4", "1/3 2/2 3/3");
    const auto empty = makeMarker({"1", "2", "3"}, "", "");
    const auto casesOnly = makeMarker({"1", "2", "3"}, "1/3 1/3 2/2", "");
    const auto identical = makeMarker({"1", "2", "3"}, "1/2 1/2 3/3", "1/2 1/2 3/3");
    const auto single = makeMarker({"5"}, "5/5 5/5 5/5", "5/5 5/5");
    const std::vector<HrrMarker*> markers = {hand.get(),      zeroPooled.get(), empty.get(),
                                             casesOnly.get(), identical.get(),  single.get()};

    // The same seed gives the same decisions, replicate by replicate, as the direct algorithm.
    getRandom();  // the generator's own first-use seeding happens now, not after a reseed
    for (size_t i = 0; i < markers.size(); ++i) {
        std::srand(static_cast<unsigned int>(11 + 7 * i));
        markers[i]->Randomize();
        std::srand(static_cast<unsigned int>(11 + 7 * i));
        const std::pair<double, double> direct = randomizeDirectly(*markers[i]);
        EXPECT_EQ(markers[i]->getAlleleRandomizedP(), direct.first) << "marker " << i;
        EXPECT_EQ(markers[i]->getGenotypeRandomizedP(), direct.second) << "marker " << i;
    }

    // Alleles: H0 = 6 ln 0.75 + 2 ln 0.25, H1 = 8 ln 0.5. Genotypes: H0 = 4 ln 0.5,
    // H1 = 2 ln 0.25 + 2 ln 0.5, so the LRT is 4 ln 2.
    EXPECT_NEAR(hand->getH0("allele", hand->getCaseAlleleCounts(), hand->getControlAlleleCounts()), -4.498681, 1e-6);
    EXPECT_NEAR(hand->getLRT("allele"), 2.092993, 1e-6);
    EXPECT_NEAR(hand->getLRT("genotype"), 4.0 * std::log(2.0), 1e-12);
    // Chi-square upper tails: 1 df, P(X > 2.092993) = erfc(sqrt(2.092993 / 2)) = 0.147976
    // (the normal approximation is good to 2e-5); 2 df, exp(-2 ln 2) = 0.25 exactly.
    EXPECT_NEAR(hand->getAlleleTheoreticalP(), 0.147976, 3e-5);
    EXPECT_NEAR(hand->getGenotypeTheoreticalP(), 0.25, 1e-12);
    // Exact null probabilities over the 81 draws of two case and two control genotypes from
    // 1/1 0.25, 1/2 0.5, 2/2 0.25: 37/128 and 57/128 (standard error about 0.0016).
    EXPECT_NEAR(hand->getAlleleRandomizedP(), 0.2890625, 0.008);
    EXPECT_NEAR(hand->getGenotypeRandomizedP(), 0.4453125, 0.008);

    // Cases only: no control sum, and the pooled total is the case total: H0 = H1 = 6 ln(1/3).
    EXPECT_NEAR(casesOnly->getH0("allele", casesOnly->getCaseAlleleCounts(), casesOnly->getControlAlleleCounts()),
                6.0 * std::log(1.0 / 3.0), 1e-12);
    for (const HrrMarker* m : {casesOnly.get(), identical.get()})
        EXPECT_NEAR(m->getLRT("allele") + m->getLRT("genotype"), 0.0, 1e-12);
    // One allele (0 degrees of freedom) or nothing counted: every replicate ties, p-values 1.
    for (const HrrMarker* m : {single.get(), empty.get()})
        for (double p : {m->getAlleleRandomizedP(), m->getGenotypeRandomizedP(), m->getAlleleTheoreticalP(),
                         m->getGenotypeTheoreticalP()})
            EXPECT_EQ(p, 1.0);
}
