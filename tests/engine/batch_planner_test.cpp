// Batches of pedigrees under FASTLINK's limits, and the allele downcoding of a batch.

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>

#include "engine/batch_planner.h"
#include "engine/fastlink_limits.h"

using namespace fastlink_limits;

namespace {

PedigreeLoad pedigree(int persons, std::vector<int> alleles = {1, 2}, int sibship = 2) {
    return PedigreeLoad{persons, sibship, {std::move(alleles)}};
}

std::vector<double> uniform(int alleles) { return std::vector<double>(static_cast<size_t>(alleles), 1.0 / alleles); }

// Every batch within the limits, and the batches in a row give the input order less the skipped.
void expectWithinLimitsAndInOrder(const BatchPlan& plan, const std::vector<PedigreeLoad>& loads) {
    std::vector<size_t> batched;
    for (const PedigreeBatch& batch : plan.batches) {
        int persons = 0;
        for (size_t position : batch.pedigrees) persons += loads[position].persons;
        EXPECT_LE(static_cast<int>(batch.pedigrees.size()), kPedigreesPerRun);
        EXPECT_LE(persons, kPersonsPerRun);
        for (const AlleleDowncoding& marker : batch.markers)
            EXPECT_LE(static_cast<int>(marker.frequencies.size()), kAllelesPerLocus);
        batched.insert(batched.end(), batch.pedigrees.begin(), batch.pedigrees.end());
    }
    std::vector<size_t> expected;
    for (size_t i = 0; i < loads.size(); ++i)
        if (std::none_of(plan.skipped.begin(), plan.skipped.end(), [i](const SkippedPedigree& s) { return s.pedigree == i; }))
            expected.push_back(i);
    EXPECT_EQ(batched, expected);
}

}  // namespace

TEST(AlleleDowncoding, UncarriedAllelesLumpedWithTheirFrequenciesSummed) {
    // Carried 3 and 1 (given twice and out of order) of five alleles: 1 -> 1, 3 -> 2, the rest -> 3.
    const AlleleDowncoding lumped = downcodeAlleles({3, 1, 3}, {0.1, 0.2, 0.3, 0.15, 0.25});
    EXPECT_EQ(lumped.batchAllele, (std::vector<int>{0, 1, 3, 2, 3, 3}));
    ASSERT_EQ(lumped.frequencies.size(), 3u);
    EXPECT_DOUBLE_EQ(lumped.frequencies[0], 0.1);
    EXPECT_DOUBLE_EQ(lumped.frequencies[1], 0.3);
    EXPECT_NEAR(lumped.frequencies[2], 0.6, 1e-15);
    // Every allele carried: nothing to lump, the locus as it is.
    const AlleleDowncoding all = downcodeAlleles({2, 1, 3}, {0.5, 0.3, 0.2});
    EXPECT_EQ(all.batchAllele, (std::vector<int>{0, 1, 2, 3}));
    EXPECT_EQ(all.frequencies, (std::vector<double>{0.5, 0.3, 0.2}));
    // Alleles of frequency 0 are no possibility for an untyped person: not lumped.
    const AlleleDowncoding zero = downcodeAlleles({1, 2}, {0.6, 0.4, 0.0});
    EXPECT_EQ(zero.frequencies, (std::vector<double>{0.6, 0.4}));
    // One allele carried and nothing else possible: FASTLINK still gets two alleles.
    EXPECT_EQ(downcodeAlleles({1}, {1.0}).frequencies, (std::vector<double>{1.0, 0.0}));
    // Nobody typed: a single lumped allele of frequency 1, and the empty second one.
    const AlleleDowncoding untyped = downcodeAlleles({}, {0.5, 0.5});
    EXPECT_EQ(untyped.batchAllele, (std::vector<int>{0, 1, 1}));
    EXPECT_EQ(untyped.frequencies, (std::vector<double>{1.0, 0.0}));
}

TEST(BatchPlanner, PedigreePersonAndAlleleLimitsKeepTheOrder) {
    // 400 trios: batches of 150, 150 and 100 pedigrees.
    std::vector<PedigreeLoad> trios(400, pedigree(3));
    BatchPlan plan = planBatches(trios, {uniform(2)});
    ASSERT_EQ(plan.batches.size(), 3u);
    EXPECT_EQ(plan.batches[0].pedigrees.size(), 150u);
    EXPECT_EQ(plan.batches[2].pedigrees.size(), 100u);
    expectWithinLimitsAndInOrder(plan, trios);

    // Pedigrees of 7 persons: the persons limit comes first (142 pedigrees are 994 persons).
    std::vector<PedigreeLoad> sevens(300, pedigree(7));
    plan = planBatches(sevens, {uniform(2)});
    ASSERT_EQ(plan.batches.size(), 3u);
    EXPECT_EQ(plan.batches[0].pedigrees.size(), 142u);
    expectWithinLimitsAndInOrder(plan, sevens);

    // A 40-allele marker, each family showing four alleles of its own (1-4, 5-8, ...): six
    // families carry 24 alleles, plus the lumped one makes 25; a seventh would make 29.
    std::vector<PedigreeLoad> families;
    for (int f = 0; f < 10; ++f) families.push_back(pedigree(5, {4 * f % 40 + 1, 4 * f % 40 + 2, 4 * f % 40 + 3, 4 * f % 40 + 4}));
    plan = planBatches(families, {uniform(40)});
    ASSERT_EQ(plan.batches.size(), 2u);
    EXPECT_EQ(plan.batches[0].pedigrees.size(), 6u);
    EXPECT_EQ(plan.batches[0].markers[0].frequencies.size(), 25u);
    EXPECT_NEAR(plan.batches[0].markers[0].frequencies.back(), 16.0 / 40, 1e-12);
    EXPECT_EQ(plan.batches[0].markers[0].batchAllele[24], 24);  // family 6's last allele
    EXPECT_EQ(plan.batches[0].markers[0].batchAllele[25], 25);  // lumped
    EXPECT_EQ(plan.batches[1].markers[0].batchAllele[25], 1);   // family 7's first allele
    expectWithinLimitsAndInOrder(plan, families);

    // Every allele of a 25-allele marker in one batch needs no lumped allele: it fits.
    std::vector<int> all25(25);
    std::iota(all25.begin(), all25.end(), 1);
    plan = planBatches({pedigree(30, all25), pedigree(3, {1, 2})}, {uniform(25)});
    ASSERT_EQ(plan.batches.size(), 1u);
    EXPECT_TRUE(plan.skipped.empty());
}

TEST(BatchPlanner, APedigreeBeyondALimitOnItsOwnIsSkippedWithItsReason) {
    std::vector<int> alleles26(26);
    std::iota(alleles26.begin(), alleles26.end(), 1);
    const std::vector<PedigreeLoad> loads{pedigree(3), pedigree(1001), pedigree(21, {1, 2}, 19),
                                          pedigree(40, alleles26), pedigree(3)};
    // Two marker columns; the second carries the 26 alleles.
    std::vector<PedigreeLoad> twoColumns = loads;
    for (PedigreeLoad& load : twoColumns) load.carriedAlleles.insert(load.carriedAlleles.begin(), {1});
    const BatchPlan plan = planBatches(twoColumns, {uniform(2), uniform(30)});
    ASSERT_EQ(plan.skipped.size(), 3u);
    EXPECT_EQ(plan.skipped[0].pedigree, 1u);
    EXPECT_EQ(plan.skipped[0].reason, "1001 persons (FASTLINK accepts at most 1000)");
    EXPECT_EQ(plan.skipped[1].reason, "a parent with 19 children (FASTLINK accepts at most 18)");
    EXPECT_EQ(plan.skipped[2].markerColumn, 1);
    EXPECT_EQ(plan.skipped[2].reason, "27 alleles (FASTLINK accepts at most 25)");
    ASSERT_EQ(plan.batches.size(), 1u);
    EXPECT_EQ(plan.batches[0].pedigrees, (std::vector<size_t>{0, 4}));
    expectWithinLimitsAndInOrder(plan, twoColumns);
}
