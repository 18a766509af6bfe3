#pragma once
// What one pedigree file for FASTLINK holds: a batch of pedigrees under FASTLINK's numeric ids,
// one trait (with the liability class when the trait model has several), and marker columns
// whose alleles are written by their batch allele numbers.

#include <map>
#include <string>
#include <vector>

class Pedigree;

struct FastlinkMarkerColumn {
    std::string markerIndex;
    std::map<std::string, int> locusAllele;  // allele name in the data -> allele of the locus model
};

struct FastlinkPedigreeFile {
    std::vector<const Pedigree*> pedigrees;
    std::vector<int> numbers;  // FASTLINK's id of each pedigree: its place in the whole set, from 1
    std::string trait;
    int liabilityClasses = 1;  // the class column is written when the trait model has more than one
    std::vector<const FastlinkMarkerColumn*> markers;
    // Per marker column, the batch allele of every locus allele (index 0 unused).
    std::vector<const std::vector<int>*> batchAlleles;
};
