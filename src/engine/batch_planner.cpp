#include "engine/batch_planner.h"

#include <algorithm>

#include "engine/fastlink_limits.h"

using namespace fastlink_limits;

AlleleDowncoding downcodeAlleles(std::vector<int> carried, const std::vector<double>& locusFrequencies) {
    std::sort(carried.begin(), carried.end());
    carried.erase(std::unique(carried.begin(), carried.end()), carried.end());
    const int locusAlleles = static_cast<int>(locusFrequencies.size());
    AlleleDowncoding coding;
    coding.batchAllele.assign(static_cast<size_t>(locusAlleles) + 1, 0);
    std::vector<bool> isCarried(static_cast<size_t>(locusAlleles) + 1, false);
    for (int allele : carried) {
        if (allele < 1 || allele > locusAlleles) continue;
        isCarried[static_cast<size_t>(allele)] = true;
        coding.frequencies.push_back(locusFrequencies[static_cast<size_t>(allele) - 1]);
        coding.batchAllele[static_cast<size_t>(allele)] = static_cast<int>(coding.frequencies.size());
    }
    double lumped = 0.0;
    bool anyLumped = false;
    for (int allele = 1; allele <= locusAlleles; ++allele)
        if (!isCarried[static_cast<size_t>(allele)]) {
            lumped += locusFrequencies[static_cast<size_t>(allele) - 1];
            anyLumped = true;
        }
    // An allele of frequency 0 cannot be carried by an untyped person: nothing to lump then.
    if (anyLumped && lumped > 0.0) {
        coding.frequencies.push_back(lumped);
        const int lumpedAllele = static_cast<int>(coding.frequencies.size());
        for (int allele = 1; allele <= locusAlleles; ++allele)
            if (!isCarried[static_cast<size_t>(allele)]) coding.batchAllele[static_cast<size_t>(allele)] = lumpedAllele;
    }
    // FASTLINK needs two alleles at a locus: a marker whose only allele is carried by everybody
    // gets a second one of frequency 0.
    if (coding.frequencies.size() == 1) coding.frequencies.push_back(0.0);
    return coding;
}

namespace {

// Alleles FASTLINK sees at a column for this set of carried alleles: the carried ones plus
// the lumped one when any allele of positive frequency is not carried.
int downcodedAlleleCount(const std::vector<bool>& carried, int carriedCount, const std::vector<double>& frequencies) {
    for (size_t allele = 1; allele <= frequencies.size(); ++allele)
        if (!carried[allele] && frequencies[allele - 1] > 0.0) return carriedCount + 1;
    return std::max(carriedCount, 2);
}

// The carried alleles of a growing batch, per marker column.
class CarriedSets {
public:
    explicit CarriedSets(const std::vector<std::vector<double>>& frequencies) : frequencies(frequencies) { clear(); }

    void clear() {
        carried.assign(frequencies.size(), {});
        counts.assign(frequencies.size(), 0);
        for (size_t m = 0; m < frequencies.size(); ++m) carried[m].assign(frequencies[m].size() + 1, false);
    }

    // The largest downcoded allele count over the columns if the pedigree joined, and the
    // first column that has it.
    int allelesWith(const PedigreeLoad& pedigree, int* column = nullptr) const {
        int largest = 0;
        for (size_t m = 0; m < frequencies.size(); ++m) {
            std::vector<bool> joined = carried[m];
            int count = counts[m];
            if (m < pedigree.carriedAlleles.size())
                for (int allele : pedigree.carriedAlleles[m])
                    if (allele >= 1 && static_cast<size_t>(allele) < joined.size() && !joined[static_cast<size_t>(allele)]) {
                        joined[static_cast<size_t>(allele)] = true;
                        ++count;
                    }
            const int alleles = downcodedAlleleCount(joined, count, frequencies[m]);
            if (alleles > largest) {
                largest = alleles;
                if (column) *column = static_cast<int>(m);
            }
        }
        return largest;
    }

    void add(const PedigreeLoad& pedigree) {
        for (size_t m = 0; m < frequencies.size() && m < pedigree.carriedAlleles.size(); ++m)
            for (int allele : pedigree.carriedAlleles[m])
                if (allele >= 1 && static_cast<size_t>(allele) < carried[m].size() &&
                    !carried[m][static_cast<size_t>(allele)]) {
                    carried[m][static_cast<size_t>(allele)] = true;
                    ++counts[m];
                }
    }

private:
    const std::vector<std::vector<double>>& frequencies;
    std::vector<std::vector<bool>> carried;
    std::vector<int> counts;
};

}  // namespace

BatchPlan planBatches(const std::vector<PedigreeLoad>& pedigrees,
                      const std::vector<std::vector<double>>& locusFrequencies) {
    BatchPlan plan;
    CarriedSets batchAlleles(locusFrequencies);
    const CarriedSets none(locusFrequencies);
    PedigreeBatch current;
    int persons = 0;

    const auto close = [&] {
        if (current.pedigrees.empty()) return;
        for (size_t m = 0; m < locusFrequencies.size(); ++m) {
            std::vector<int> carried;
            for (size_t position : current.pedigrees)
                if (m < pedigrees[position].carriedAlleles.size())
                    carried.insert(carried.end(), pedigrees[position].carriedAlleles[m].begin(),
                                   pedigrees[position].carriedAlleles[m].end());
            current.markers.push_back(downcodeAlleles(carried, locusFrequencies[m]));
        }
        plan.batches.push_back(std::move(current));
        current = PedigreeBatch();
        persons = 0;
        batchAlleles.clear();
    };

    for (size_t position = 0; position < pedigrees.size(); ++position) {
        const PedigreeLoad& pedigree = pedigrees[position];
        int alleleColumn = -1;
        const int ownAlleles = none.allelesWith(pedigree, &alleleColumn);
        SkippedPedigree skip{position, -1, ""};
        if (pedigree.persons > kPersonsPerPedigree) {
            skip.reason = std::to_string(pedigree.persons) + " persons (FASTLINK accepts at most " +
                          std::to_string(kPersonsPerPedigree) + ")";
        } else if (pedigree.largestSibship > kChildrenPerParent) {
            skip.reason = "a parent with " + std::to_string(pedigree.largestSibship) +
                          " children (FASTLINK accepts at most " + std::to_string(kChildrenPerParent) + ")";
        } else if (ownAlleles > kAllelesPerLocus) {
            skip.markerColumn = alleleColumn;
            skip.reason = std::to_string(ownAlleles) + " alleles (FASTLINK accepts at most " +
                          std::to_string(kAllelesPerLocus) + ")";
        }
        if (!skip.reason.empty()) {
            plan.skipped.push_back(skip);
            continue;
        }
        const bool fits = static_cast<int>(current.pedigrees.size()) < kPedigreesPerRun &&
                          persons + pedigree.persons <= kPersonsPerRun &&
                          batchAlleles.allelesWith(pedigree) <= kAllelesPerLocus;
        if (!fits) close();
        current.pedigrees.push_back(position);
        persons += pedigree.persons;
        batchAlleles.add(pedigree);
    }
    close();
    return plan;
}
