#include "linkage/fastlink_batches.h"

#include <iostream>

#include "driver/utilities.h"
#include "input/linkage_locus_file.h"
#include "model/pedigrees.h"

FastlinkPedigreeSet fastlinkPedigreeSet(Pedigrees& pedigrees, bool nuclear) {
    FastlinkPedigreeSet set;
    // FASTLINK takes the pedigrees in input order, so every per-family table lists them so.
    for (const Pedigree* pedigree : pedigrees.getPedigreesInInputOrder(nuclear)) {
        set.pedigrees.push_back(pedigree);
        set.nameOfNumber[IntToString(static_cast<int>(set.pedigrees.size()))] = pedigrees.getPedigreeLabel(pedigree);
    }
    return set;
}

const Locus* fastlinkMarkerLocus(const Pedigrees& pedigrees, const std::string& index, const std::string& name,
                                 FastlinkMarkerColumn& column) {
    const LinkageLocusFile* model = pedigrees.getLinkageLocusFile();
    const Locus* locus = model ? model->getLocus(stringToInt(index) + 1) : nullptr;
    if (!locus) {
        std::cout << "Error: LINKAGE locus file model has no locus for marker " << name << "\n";
        return nullptr;
    }
    if (static_cast<int>(locus->getAlleleFrequencies().size()) != locus->getNumberOfAlleles()) {
        std::cout << "Error: The locus of marker " << name << " has " << locus->getNumberOfAlleles()
                  << " alleles but " << locus->getAlleleFrequencies().size() << " allele frequencies\n";
        return nullptr;
    }
    column.markerIndex = index;
    if (!pedigrees.getLocusAlleleNumbers(index, locus->getNumberOfAlleles(), column.locusAllele)) return nullptr;
    return locus;
}

BatchInput batchInput(const Pedigrees& pedigrees, const FastlinkPedigreeSet& set, const PedigreeBatch& batch,
                      const std::string& trait, int liabilityClasses,
                      const std::vector<const FastlinkMarkerColumn*>& columns) {
    BatchInput input;
    input.file.trait = trait;
    input.file.liabilityClasses = liabilityClasses;
    input.file.markers = columns;
    for (const AlleleDowncoding& coding : batch.markers) input.file.batchAlleles.push_back(&coding.batchAllele);
    for (size_t position : batch.pedigrees) {
        const Pedigree* pedigree = set.pedigrees[position];
        input.file.pedigrees.push_back(pedigree);
        input.file.numbers.push_back(static_cast<int>(position) + 1);
        input.loops = input.loops || pedigrees.hasLoop(pedigree);
        input.persons += pedigree->getPersonTree()->getCount();
    }
    const std::string first = pedigrees.getPedigreeLabel(input.file.pedigrees.front());
    const std::string last = pedigrees.getPedigreeLabel(input.file.pedigrees.back());
    input.pedigreesText = input.file.pedigrees.size() == 1
                              ? "pedigree " + first
                              : "pedigrees " + first + " to " + last + " (" +
                                    IntToString(static_cast<int>(input.file.pedigrees.size())) + " pedigrees)";
    return input;
}
