#include <algorithm>
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
        // Ties: equal up to a relative 1e-9.
        auto reaches = [](double s, double observed) { return s >= observed - 1e-9 * std::max(1.0, observed); };
        if (reaches(m.getLRT("allele", caseA, controlA), m.getLRT("allele"))) ++alleleExceed;
        if (reaches(m.getLRT("genotype", caseG, controlG), m.getLRT("genotype"))) ++genotypeExceed;
    }
    return {alleleExceed / 100000.0, genotypeExceed / 100000.0};
}

// The LRT of genotype counts by its definition, in long double and with the terms of each sum
// added smallest first (another order than the marker's).
long double lrtByDefinition(const std::vector<int>& cases, const std::vector<int>& controls) {
    long double a = 0, b = 0;
    for (size_t i = 0; i < cases.size(); ++i) a += cases[i], b += controls[i];
    std::vector<long double> terms;
    auto term = [](long double n, long double total) { return n > 0 ? n * std::log(n / total) : 0.0L; };
    for (size_t i = 0; i < cases.size(); ++i) {
        terms.push_back(2 * term(cases[i], a));
        terms.push_back(2 * term(controls[i], b));
        terms.push_back(-2 * term(cases[i] + controls[i], a + b));
    }
    std::sort(terms.begin(), terms.end(), [](long double x, long double y) { return std::fabs(x) < std::fabs(y); });
    long double sum = 0;
    for (long double t : terms) sum += t;
    return sum;
}

// Every split of n draws over k items.
void splits(int n, size_t k, std::vector<int>& current, std::vector<std::vector<int>>& all) {
    if (current.size() + 1 == k) {
        current.push_back(n);
        all.push_back(current);
        current.pop_back();
        return;
    }
    for (int i = 0; i <= n; ++i) {
        current.push_back(i);
        splits(n - i, k, current, all);
        current.pop_back();
    }
}

// The exact null probability that the genotype LRT reaches the observed one: every split of
// the case and control draws over the genotypes, weighted by its multinomial probability
// under the pooled frequencies; statistics within 1e-9 of each other are the same value.
double exactGenotypeP(const std::vector<int>& cases, const std::vector<int>& controls) {
    int a = 0, b = 0;
    for (size_t i = 0; i < cases.size(); ++i) a += cases[i], b += controls[i];
    std::vector<long double> pooled;
    for (size_t i = 0; i < cases.size(); ++i) pooled.push_back((cases[i] + controls[i]) / (long double)(a + b));
    auto logProbability = [&](const std::vector<int>& split, int total) {
        long double value = std::lgamma(total + 1.0L);
        for (size_t i = 0; i < split.size(); ++i)
            value += split[i] == 0 ? 0.0L : split[i] * std::log(pooled[i]) - std::lgamma(split[i] + 1.0L);
        return value;
    };
    std::vector<std::vector<int>> caseSplits, controlSplits;
    std::vector<int> current;
    splits(a, cases.size(), current, caseSplits);
    splits(b, cases.size(), current, controlSplits);
    const long double observed = lrtByDefinition(cases, controls);
    long double p = 0;
    for (const auto& x : caseSplits)
        for (const auto& y : controlSplits)
            if (lrtByDefinition(x, y) >= observed - 1e-9L * std::max(1.0L, observed))
                p += std::exp(logProbability(x, a) + logProbability(y, b));
    return static_cast<double>(p);
}

}  // namespace

TEST(HrrMarker, EqualStatisticsFromSumsInAnotherOrderTie) {
    // Genotypes 1/1 1/2 1/3 2/2 2/3 3/3: cases 0 0 0 0 2 2, controls 2 1 0 1 0 0, so
    // H0 = 10 ln(1/2) and H1 = 18 ln(1/2): LRT = 16 ln 2. Four case 3/3 and four control 2/3 give
    // H0 = 0 and H1 = 8 ln(1/2), the same statistic from other sums; about half the replicates
    // that reach the observed statistic tie with it so.
    const std::vector<int> cases = {0, 0, 0, 0, 2, 2}, controls = {2, 1, 0, 1, 0, 0};
    const auto marker = makeMarker({"1", "2", "3"}, "2/3 2/3 3/3 3/3", "1/1 1/1 1/2 2/2");
    const CountMap tyingCases = {{"3/3", 4}}, tyingControls = {{"2/3", 4}};
    marker->countLRT("genotype", marker->getCaseGenotypeCounts(), marker->getControlGenotypeCounts());
    EXPECT_NEAR(marker->getLRT("genotype"), 16 * std::log(2.0), 1e-12);
    // The case is only a test of ties when the two sums differ in their last bits.
    ASSERT_NE(marker->getLRT("genotype", tyingCases, tyingControls), marker->getLRT("genotype"));
    EXPECT_NEAR(marker->getLRT("genotype", tyingCases, tyingControls), marker->getLRT("genotype"), 1e-12);

    // Exactly 0.04183 with ties, 0.02034 without; the standard error of 100000 replicates at
    // 0.042 is 0.00063.
    const double exact = exactGenotypeP(cases, controls);
    EXPECT_NEAR(exact, 0.04183, 5e-6);
    getRandom();  // the generator's own first-use seeding happens now, not after the seed below
    std::srand(5);
    marker->Randomize();
    EXPECT_NEAR(marker->getGenotypeRandomizedP(), exact, 0.0032);
}

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
