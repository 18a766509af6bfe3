#pragma once
// A pedigree and its loci as the native likelihood engine sees them: persons by position with
// their parents, sex, trait status and liability class; marker genotypes as locus allele
// numbers; the trait model and the marker allele frequencies. It is filled from the same
// locus model and allele numbering that the FASTLINK files are written from.

#include <array>
#include <vector>

namespace likelihood {

struct PersonInput {
    int father = -1;  // position in the pedigree, -1 for a founder
    int mother = -1;
    bool male = false;
    int status = 0;          // affection: 0 unknown, 1 unaffected, 2 affected
    int liabilityClass = 0;  // from 0
};

// Locus allele numbers 1..n of one person at one marker; 0 and 0 when untyped.
struct GenotypeInput {
    int first = 0;
    int second = 0;
};

struct PedigreeInput {
    std::vector<PersonInput> persons;
    std::vector<std::vector<GenotypeInput>> genotypes;  // [marker column][person]
};

// The affection-status trait: allele 1 and 2 frequencies and the probability of being
// affected per liability class, for genotypes 1/1, 1/2, 2/2 (and, X-linked, for hemizygous
// males carrying allele 1 or 2).
struct TraitModel {
    std::array<double, 2> frequencies{{0.5, 0.5}};
    std::vector<std::array<double, 3>> penetrances;
    std::vector<std::array<double, 2>> malePenetrances;
};

struct LocusModel {
    bool xlinked = false;
    TraitModel trait;
    std::vector<std::vector<double>> markerFrequencies;  // [marker column][allele - 1]
};

}  // namespace likelihood
