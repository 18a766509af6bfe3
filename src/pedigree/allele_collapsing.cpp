// Merging of alleles too rare to be told apart from typing errors: at every marker with more
// than two alleles the rarest allele below the minimum frequency is rewritten, in every row of
// the genotype store, into the next rarest one, until the rarest allele is frequent enough or
// two alleles are left.

#include <iostream>

#include "driver/utilities.h"
#include "model/pedigrees.h"
#include "pedigree/marker_info.h"

namespace {

const double kMinimumCollapseFrequency = 1e-05;

}  // namespace

void Pedigrees::collapseAlleles() {
    std::cout << "(Collapsing alleles...)" << std::endl;
    // The catalogue depends only on the genotypes, which change only when the pedigree file is
    // read (its reader builds the catalogue) and in the merges below (each followed by a
    // rebuild): a catalogue with an entry per marker is current, and rebuilding it would cost
    // a walk over every genotype.
    if (markerInfo->getCount() != markerCount) createMarkerInfo();
    for (int m = 0; m < markerCount; ++m) {
        const std::string markerIndex = IntToString(m);
        const MarkerInfo* entry = markerInfo->find(markerIndex);
        while (entry && entry->getAlleleCount() > 2) {
            const std::vector<Allele*> alleles = entry->getAlleles();
            const Allele* smallest = nullptr;
            double smallestFrequency = 1.0;
            for (size_t i = 0; i < alleles.size(); ++i) {
                const double frequency = entry->getAlleleFreq(static_cast<int>(i), "all");
                if (frequency < smallestFrequency) {
                    smallestFrequency = frequency;
                    smallest = alleles[i];
                }
            }
            if (!smallest || smallestFrequency >= kMinimumCollapseFrequency) break;
            // The rarest of the other alleles, possibly as rare as the smallest.
            const Allele* second = nullptr;
            double secondFrequency = 1.0;
            for (size_t i = 0; i < alleles.size(); ++i) {
                const double frequency = entry->getAlleleFreq(static_cast<int>(i), "all");
                if (frequency < secondFrequency && frequency >= smallestFrequency &&
                    alleles[i]->getAlleleName() != smallest->getAlleleName()) {
                    secondFrequency = frequency;
                    second = alleles[i];
                }
            }
            if (!second) break;
            // Both names are in the store already: their codes are found, never added.
            genotypeStore.replaceAllele(m, genotypeStore.codeOf(m, smallest->getAlleleName()),
                                        genotypeStore.codeOf(m, second->getAlleleName()));
            createMarkerInfo();
            entry = markerInfo->find(markerIndex);
        }
    }
}
