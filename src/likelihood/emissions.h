#pragma once
// The probability of what is observed at one locus given each inheritance state: founder
// alleles drawn independently with the locus frequencies, every other allele a copy of a
// founder allele. Both are computed for every state at once by walks over the persons in
// order that branch on each person's meiosis bits.

#include <vector>

#include "likelihood/inheritance_space.h"
#include "likelihood/pedigree_input.h"

namespace likelihood {

// Marker: emissions[state] for every state. All zero when a hemizygous male is typed
// heterozygous.
void markerEmissions(const InheritanceSpace& space, const std::vector<GenotypeInput>& genotypes,
                     const std::vector<double>& frequencies, std::vector<double>& emissions);

// Trait: the penetrances of the persons with a known status, summed over every assignment of
// the two trait alleles to the founder alleles, so the work grows as 2 to their number.
void traitEmissions(const InheritanceSpace& space, const std::vector<PersonInput>& persons, const TraitModel& trait,
                    std::vector<double>& emissions);

}  // namespace likelihood
