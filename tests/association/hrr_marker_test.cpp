#include <cmath>
#include <cstdlib>
#include <memory>

#include "association/hrr_marker.h"
#include "driver/utilities.h"
#include "model/records.h"
#include "support/test_support.h"

namespace {

// Catalogue alleles for a marker, kept alive for the test.
class Alleles {
public:
    explicit Alleles(const std::vector<std::string>& names) {
        for (const std::string& n : names) {
            owned.push_back(std::make_unique<Allele>(n));
            pointers.push_back(owned.back().get());
        }
    }
    const std::vector<Allele*>& get() const { return pointers; }

private:
    std::vector<std::unique_ptr<Allele>> owned;
    std::vector<Allele*> pointers;
};

// Adds a case (or control) genotype with both its alleles, as the trio counting does.
void addCase(HrrMarker& m, const std::string& a, const std::string& b, int times = 1) {
    for (int i = 0; i < times; ++i) {
        m.addCaseCountForGenotype(a + "/" + b);
        m.addCaseAlleleCount(a);
        m.addCaseAlleleCount(b);
    }
}
void addControl(HrrMarker& m, const std::string& a, const std::string& b, int times = 1) {
    for (int i = 0; i < times; ++i) {
        m.addControlCountForGenotype(a + "/" + b);
        m.addControlAlleleCount(a);
        m.addControlAlleleCount(b);
    }
}

// Seeds the process-wide generator for a reproducible sequence (its own first-use seeding
// is triggered first, so that it cannot reseed afterwards).
void seedGenerator(unsigned int seed) {
    getRandom();
    std::srand(seed);
}

struct PValues {
    double allele, genotype;
};

// The randomisation test written directly from its definition: maps of counts reset from
// zero templates, a linear scan of the cumulative distribution, the statistics of getLRT.
PValues randomizeDirectly(const HrrMarker& m) {
    const std::vector<double> cumulative = m.getProbabilityDistribution();
    const std::vector<std::string> genotypes = m.getGenotypeNames();
    CountMap genotypeTemplate, alleleTemplate;
    for (const std::string& g : genotypes) genotypeTemplate[g] = 0;
    for (const std::string& a : m.getAlleleNames()) alleleTemplate[a] = 0;
    const double alleleObserved = m.getLRT("allele", m.getCaseAlleleCounts(), m.getControlAlleleCounts());
    const double genotypeObserved = m.getLRT("genotype", m.getCaseGenotypeCounts(), m.getControlGenotypeCounts());

    auto draw = [&](int times, CountMap& g, CountMap& a) {
        for (int d = 0; d < times; ++d) {
            const double r = getRandom();
            for (size_t k = 0; k < cumulative.size(); ++k) {
                if (cumulative[k] >= r) {
                    const std::string& name = genotypes[k];
                    const size_t slash = name.find('/');
                    ++g[name];
                    ++a[name.substr(0, slash)];
                    ++a[name.substr(slash + 1)];
                    break;
                }
            }
        }
    };
    int alleleExceed = 0, genotypeExceed = 0;
    for (int n = 1; n <= 100000; ++n) {
        CountMap caseG = genotypeTemplate, controlG = genotypeTemplate;
        CountMap caseA = alleleTemplate, controlA = alleleTemplate;
        draw(m.getCaseGenotypeTotal(), caseG, caseA);
        draw(m.getControlGenotypeTotal(), controlG, controlA);
        if (m.getLRT("allele", caseA, controlA) >= alleleObserved) ++alleleExceed;
        if (m.getLRT("genotype", caseG, controlG) >= genotypeObserved) ++genotypeExceed;
    }
    return {alleleExceed / 100000.0, genotypeExceed / 100000.0};
}

}  // namespace

TEST(HrrMarkerStatistics, NamesAndCountsFollowTheCatalogueOrder) {
    Alleles alleles({"1", "2", "10"});
    HrrMarker m("4", alleles.get());
    EXPECT_EQ(m.getName(), "4");
    EXPECT_EQ(m.getAlleleNames(), (std::vector<std::string>{"1", "2", "10"}));
    EXPECT_EQ(m.getGenotypeNames(), (std::vector<std::string>{"1/1", "1/2", "1/10", "2/2", "2/10", "10/10"}));
    EXPECT_EQ(m.getCaseGenotypeCounts().size(), 6u);
    EXPECT_EQ(m.getControlAlleleCounts().size(), 3u);

    m.addCaseCountForGenotype("1/2");
    m.addCaseCountForGenotype("1/2");
    m.addControlCountForGenotype("7/7");  // not a name of the marker: counted, not an item
    m.addCaseAlleleCount("10");
    EXPECT_EQ(m.getCaseCountForGenotype("1/2"), 2);
    EXPECT_EQ(m.getControlCountForGenotype("7/7"), 1);
    EXPECT_EQ(m.getCaseGenotypeTotal(), 2);
    EXPECT_EQ(m.getControlGenotypeTotal(), 1);
    EXPECT_EQ(m.getCaseAlleleTotal(), 1);
    EXPECT_EQ(m.getControlAlleleTotal(), 0);
    EXPECT_EQ(m.getCaseAlleleCount("99"), 0);  // an absent key reads 0

    // Pooled genotype frequencies over the 3 genotypes counted: 1/2 holds 2 of them, and
    // 7/7, outside the names, keeps the sum below 1.
    const std::vector<double> cumulative = m.getProbabilityDistribution();
    ASSERT_EQ(cumulative.size(), 6u);
    EXPECT_DOUBLE_EQ(cumulative[0], 0.0);
    EXPECT_DOUBLE_EQ(cumulative[1], 2.0 / 3.0);
    EXPECT_DOUBLE_EQ(cumulative[5], 2.0 / 3.0);

    EXPECT_EQ(m.getLRT("other"), -1.0);
    EXPECT_EQ(m.getH0("other", m.getCaseAlleleCounts(), m.getControlAlleleCounts()), 0.0);
    EXPECT_EQ(m.getH1("other", m.getCaseAlleleCounts(), m.getControlAlleleCounts()), 0.0);
}

TEST(HrrMarkerStatistics, LikelihoodRatioTestsAgreeWithHandComputation) {
    // Cases 1/1 and 1/2 (alleles 1:3, 2:1), controls 1/2 and 2/2 (alleles 1:1, 2:3).
    Alleles alleles({"1", "2"});
    HrrMarker m("0", alleles.get());
    m.setQuiet(true);
    addCase(m, "1", "1");
    addCase(m, "1", "2");
    addControl(m, "1", "2");
    addControl(m, "2", "2");

    // H0 = 6 ln 0.75 + 2 ln 0.25, H1 = 8 ln 0.5.
    EXPECT_NEAR(m.getH0("allele", m.getCaseAlleleCounts(), m.getControlAlleleCounts()), -4.498681, 1e-6);
    EXPECT_NEAR(m.getH1("allele", m.getCaseAlleleCounts(), m.getControlAlleleCounts()), -5.545177, 1e-6);
    m.countLRT("allele", m.getCaseAlleleCounts(), m.getControlAlleleCounts());
    EXPECT_NEAR(m.getLRT("allele"), 2.092993, 1e-6);
    // Genotypes: H0 = 4 ln 0.5, H1 = 2 ln 0.25 + 2 ln 0.5, so the LRT is 4 ln 2.
    m.countLRT("genotype", m.getCaseGenotypeCounts(), m.getControlGenotypeCounts());
    EXPECT_NEAR(m.getLRT("genotype"), 4.0 * std::log(2.0), 1e-12);

    m.Randomize();
    // Chi-square upper tails: 1 df, P(X > 2.092993) = erfc(sqrt(2.092993 / 2)) = 0.147976
    // (the normal approximation is good to 2e-5); 2 df, exp(-2 ln 2) = 0.25 exactly.
    EXPECT_NEAR(m.getAlleleTheoreticalP(), 0.147976, 3e-5);
    EXPECT_NEAR(m.getGenotypeTheoreticalP(), 0.25, 1e-12);
    // Exact null probabilities, enumerating the 81 draws of two case and two control
    // genotypes from 1/1 0.25, 1/2 0.5, 2/2 0.25 with their probabilities: allele statistic
    // >= 2.092993 with probability 37/128 = 0.2890625, genotype statistic >= 4 ln 2 with
    // 57/128 = 0.4453125. 100000 replicates: standard error about 0.0016.
    EXPECT_NEAR(m.getAlleleRandomizedP(), 0.2890625, 0.008);
    EXPECT_NEAR(m.getGenotypeRandomizedP(), 0.4453125, 0.008);
    // A randomised p-value is a whole number of replicates out of 100000.
    EXPECT_DOUBLE_EQ(std::round(m.getAlleleRandomizedP() * 100000.0), m.getAlleleRandomizedP() * 100000.0);
}

TEST(HrrMarkerStatistics, DegenerateMarkersGiveZeroStatisticsAndPValuesOfOne) {
    {  // identical case and control distributions
        Alleles alleles({"1", "2", "3"});
        HrrMarker m("0", alleles.get());
        addCase(m, "1", "2", 2);
        addCase(m, "3", "3");
        addControl(m, "1", "2", 2);
        addControl(m, "3", "3");
        EXPECT_NEAR(m.getLRT("allele", m.getCaseAlleleCounts(), m.getControlAlleleCounts()), 0.0, 1e-12);
        EXPECT_NEAR(m.getLRT("genotype", m.getCaseGenotypeCounts(), m.getControlGenotypeCounts()), 0.0, 1e-12);
    }
    {  // cases only: the control sum is skipped and the pooled total is the case total
        Alleles alleles({"1", "2"});
        HrrMarker m("0", alleles.get());
        addCase(m, "1", "1");
        addCase(m, "1", "2");
        EXPECT_NEAR(m.getH0("allele", m.getCaseAlleleCounts(), m.getControlAlleleCounts()),
                    3.0 * std::log(0.75) + std::log(0.25), 1e-12);
        EXPECT_NEAR(m.getH1("allele", m.getCaseAlleleCounts(), m.getControlAlleleCounts()),
                    3.0 * std::log(0.75) + std::log(0.25), 1e-12);
        EXPECT_NEAR(m.getLRT("genotype", m.getCaseGenotypeCounts(), m.getControlGenotypeCounts()), 0.0, 1e-12);
    }
    {  // a single allele: one genotype, 0 degrees of freedom, every replicate ties
        Alleles alleles({"5"});
        HrrMarker m("0", alleles.get());
        m.setQuiet(true);
        addCase(m, "5", "5", 3);
        addControl(m, "5", "5", 2);
        EXPECT_EQ(m.getGenotypeNames(), (std::vector<std::string>{"5/5"}));
        m.Randomize();
        EXPECT_EQ(m.getLRT("allele"), 0.0);
        EXPECT_EQ(m.getLRT("genotype"), 0.0);
        EXPECT_EQ(m.getAlleleRandomizedP(), 1.0);
        EXPECT_EQ(m.getGenotypeRandomizedP(), 1.0);
        EXPECT_EQ(m.getAlleleTheoreticalP(), 1.0);
        EXPECT_EQ(m.getGenotypeTheoreticalP(), 1.0);
    }
    {  // nothing counted: no draws, statistics 0, every p-value 1; quiet prints nothing
        Alleles alleles({"1", "2"});
        HrrMarker m("0", alleles.get());
        m.setQuiet(true);
        const std::string printed = testing_support::captureOutput([&] { m.Randomize(); });
        EXPECT_EQ(printed, "");
        EXPECT_EQ(m.getLRT("allele"), 0.0);
        EXPECT_EQ(m.getAlleleRandomizedP(), 1.0);
        EXPECT_EQ(m.getGenotypeRandomizedP(), 1.0);
        EXPECT_EQ(m.getAlleleTheoreticalP(), 1.0);
        EXPECT_EQ(m.getGenotypeTheoreticalP(), 1.0);
    }
}

TEST(HrrMarkerRandomisation, ProgressLineUnlessQuiet) {
    Alleles alleles({"1", "2"});
    HrrMarker m("0", alleles.get());
    addCase(m, "1", "2");
    const std::string printed = testing_support::captureOutput([&] { m.Randomize(); });
    // Once per tenth: 0%, 10%, ..., 100%, each overwriting the previous one.
    std::string expected;
    for (int percent = 0; percent <= 100; percent += 10)
        expected += "Completed: " + std::to_string(percent) + "%" + std::string(20, ' ') + "\r";
    EXPECT_EQ(printed, expected);
}

TEST(HrrMarkerRandomisation, FastLoopGivesTheSameDecisionsAsTheDirectAlgorithm) {
    std::vector<std::unique_ptr<Alleles>> keep;
    std::vector<std::unique_ptr<HrrMarker>> markers;
    auto make = [&](const std::vector<std::string>& names) -> HrrMarker& {
        keep.push_back(std::make_unique<Alleles>(names));
        markers.push_back(std::make_unique<HrrMarker>("0", keep.back()->get()));
        markers.back()->setQuiet(true);
        return *markers.back();
    };
    {  // four alleles; genotypes 3/4 and 4/4 have pooled count 0
        HrrMarker& m = make({"1", "2", "3", "4"});
        addCase(m, "1", "2", 2);
        addCase(m, "1", "1");
        addCase(m, "2", "4");
        addControl(m, "1", "3");
        addControl(m, "2", "2");
        addControl(m, "3", "3");
        addControl(m, "2", "3");
    }
    {  // two alleles, where many replicates tie with the observed statistics
        HrrMarker& m = make({"1", "2"});
        addCase(m, "1", "1");
        addCase(m, "1", "2");
        addControl(m, "1", "2");
        addControl(m, "2", "2");
    }
    make({"1", "2", "3"});  // nothing counted
    {  // cases only
        HrrMarker& m = make({"1", "2", "3"});
        addCase(m, "1", "3", 2);
        addCase(m, "2", "2");
    }
    {  // allele names holding "/": "a/b/c" is a genotype name twice, and the texts around
       // the first "/" of some genotypes name no allele
        HrrMarker& m = make({"a", "b/c", "a/b", "c"});
        m.addCaseCountForGenotype("a/a");
        m.addCaseCountForGenotype("a/b/c");
        m.addCaseCountForGenotype("c/c");
        m.addControlCountForGenotype("a/b/c");
        m.addControlCountForGenotype("a/b/a/b");
        m.addControlCountForGenotype("b/c/c");
        for (const char* a : {"a", "a", "a", "b/c", "c", "c"}) m.addCaseAlleleCount(a);
        for (const char* a : {"a", "b/c", "a/b", "a/b", "b/c", "c"}) m.addControlAlleleCount(a);
    }

    bool someValueBetweenZeroAndOne = false;
    unsigned int seed = 11;
    for (auto& marker : markers) {
        seedGenerator(seed);
        marker->Randomize();
        seedGenerator(seed);
        const PValues direct = randomizeDirectly(*marker);
        EXPECT_EQ(marker->getAlleleRandomizedP(), direct.allele) << "marker " << (&marker - &markers[0]);
        EXPECT_EQ(marker->getGenotypeRandomizedP(), direct.genotype) << "marker " << (&marker - &markers[0]);
        for (double p : {direct.allele, direct.genotype})
            if (p > 0.0 && p < 1.0) someValueBetweenZeroAndOne = true;
        seed += 7;
    }
    EXPECT_TRUE(someValueBetweenZeroAndOne);
    // The all-zero marker: no draws, every replicate ties at 0.
    EXPECT_EQ(markers[2]->getAlleleRandomizedP(), 1.0);
    EXPECT_EQ(markers[2]->getGenotypeRandomizedP(), 1.0);
}
