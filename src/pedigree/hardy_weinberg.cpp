#include "pedigree/hardy_weinberg.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "driver/utilities.h"
#include "pedigree/marker_info.h"

double exactHardyWeinbergPValue(int heterozygotes, int firstHomozygotes, int secondHomozygotes) {
    const int persons = heterozygotes + firstHomozygotes + secondHomozygotes;
    if (persons == 0) return std::numeric_limits<double>::quiet_NaN();
    const int rareCopies = 2 * std::min(firstHomozygotes, secondHomozygotes) + heterozygotes;
    const int commonCopies = 2 * persons - rareCopies;

    // Heterozygote counts have the parity of the rare copies; the probabilities rise to a mode
    // near the expected count and fall on both sides, so they are built outwards from there
    // by the ratio of neighbouring counts, unnormalised, and normalised at the end.
    std::vector<double> probability(static_cast<size_t>(rareCopies) + 1, 0.0);
    int mode = static_cast<int>(static_cast<double>(rareCopies) * commonCopies / (2.0 * persons));
    if ((mode % 2) != (rareCopies % 2)) ++mode;
    probability[static_cast<size_t>(mode)] = 1.0;
    double sum = 1.0;

    int rareHomozygotes = (rareCopies - mode) / 2;
    int commonHomozygotes = persons - mode - rareHomozygotes;
    for (int h = mode; h > 1; h -= 2) {
        const double next = probability[static_cast<size_t>(h)] * h * (h - 1.0) /
                            (4.0 * (rareHomozygotes + 1.0) * (commonHomozygotes + 1.0));
        probability[static_cast<size_t>(h - 2)] = next;
        sum += next;
        ++rareHomozygotes;
        ++commonHomozygotes;
    }
    rareHomozygotes = (rareCopies - mode) / 2;
    commonHomozygotes = persons - mode - rareHomozygotes;
    for (int h = mode; h + 2 <= rareCopies; h += 2) {
        const double next = probability[static_cast<size_t>(h)] * 4.0 * rareHomozygotes * commonHomozygotes /
                            ((h + 2.0) * (h + 1.0));
        probability[static_cast<size_t>(h + 2)] = next;
        sum += next;
        --rareHomozygotes;
        --commonHomozygotes;
    }

    // Counts as likely as the observed one up to rounding count as reaching it.
    const double observed = probability[static_cast<size_t>(heterozygotes)] * (1.0 + 1e-9);
    double tail = 0.0;
    for (double p : probability)
        if (p <= observed) tail += p;
    return std::min(1.0, tail / sum);
}

HardyWeinbergTest hardyWeinbergTest(const MarkerInfo& entry, const std::string& group) {
    HardyWeinbergTest test;
    const double nan = std::numeric_limits<double>::quiet_NaN();
    std::vector<std::string>& seen = test.seenAlleles;
    double homozygosity = 0.0;
    for (int i = 0; i < entry.getAlleleCount(); ++i) {
        const double frequency = entry.getAlleleFreq(i, group);
        if (frequency <= 0.0) continue;
        seen.push_back(entry.getAlleles()[static_cast<size_t>(i)]->getAlleleName());
        homozygosity += frequency * frequency;
    }
    test.allelesSeen = static_cast<int>(seen.size());

    // A genotype of an allele nobody of the group carries is expected and observed 0 times;
    // it is no part of the test of the group.
    for (const Genotype* genotype : entry.getGenotypes()) {
        const int observed = genotype->getGenotypeCount(group);
        const bool homozygous = genotype->getAllele(0) == genotype->getAllele(1);
        test.genotyped += observed;
        if (!homozygous) test.heterozygotes += observed;
        else if (test.allelesSeen == 2) (genotype->getAllele(0) == seen[0] ? test.firstHomozygotes
                                                                          : test.secondHomozygotes) += observed;
        const double expected = genotype->getExpectedGenotypeCount(group);
        if (expected > 0.0) test.chiSquare += (observed - expected) * (observed - expected) / expected;
    }
    if (test.genotyped == 0) {
        test.observedHeterozygosity = test.expectedHeterozygosity = test.pValue = test.exactPValue = nan;
        return test;
    }
    test.observedHeterozygosity = static_cast<double>(test.heterozygotes) / test.genotyped;
    test.expectedHeterozygosity = 1.0 - homozygosity;
    test.degreesOfFreedom = test.allelesSeen * (test.allelesSeen - 1) / 2;
    test.pValue = test.degreesOfFreedom == 0 ? nan : chipr(test.chiSquare, test.degreesOfFreedom);
    test.exactPValue = test.allelesSeen == 2
                           ? exactHardyWeinbergPValue(test.heterozygotes, test.firstHomozygotes, test.secondHomozygotes)
                           : nan;
    return test;
}
