#pragma once
// The probability of what is observed at one locus given each inheritance state: founder
// alleles drawn independently with the locus frequencies, every other allele a copy of a
// founder allele. A typed person ties the founder alleles he carries to his genotype; each
// connected set of founder alleles has at most two assignments that fit a marker, and is
// summed over both trait alleles for the trait.

#include <vector>

#include "likelihood/inheritance_space.h"
#include "likelihood/pedigree_input.h"

namespace likelihood {

// Marker: emissions[state] for every state. All zero when a hemizygous male is typed
// heterozygous.
void markerEmissions(const InheritanceSpace& space, const std::vector<GenotypeInput>& genotypes,
                     const std::vector<double>& frequencies, std::vector<double>& emissions);

// Trait: the penetrances of the persons with a known status. Founder alleles tied together
// by statuses are summed over jointly, so the work per state grows as 2 to the largest such set.
void traitEmissions(const InheritanceSpace& space, const std::vector<PersonInput>& persons, const TraitModel& trait,
                    std::vector<double>& emissions);

}  // namespace likelihood
