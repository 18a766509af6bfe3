#pragma once
// The probability of what is observed at one locus given each inheritance state: founder
// alleles drawn independently with the locus frequencies, every other allele a copy of a
// founder allele. Both are computed for every state at once by walks over the persons in
// order that branch on each person's meiosis bits.

#include <vector>

#include "likelihood/inheritance_space.h"
#include "likelihood/pedigree_input.h"
#include "likelihood/state_vector.h"

namespace likelihood {

// Marker: emissions[state] for every state. All zero when a hemizygous male is typed
// heterozygous.
void markerEmissions(const InheritanceSpace& space, const std::vector<GenotypeInput>& genotypes,
                     const std::vector<double>& frequencies, StateValues& emissions);

// A marker's emissions as the states that can occur with their weights (a state may appear more
// than once; its emission is the sum), scaled so that the largest weight is 1; returns the
// logarithm of the scale, -infinity when no state can occur. Informative markers leave few
// states, so sums over the terms are much shorter than over all states.
struct EmissionTerm {
    uint64_t state;
    double weight;
};
double markerEmissionTerms(const InheritanceSpace& space, const std::vector<GenotypeInput>& genotypes,
                           const std::vector<double>& frequencies, std::vector<EmissionTerm>& terms);

// Trait: the penetrances of the persons with a known status, summed over the assignments of the
// two trait alleles to the founder alleles. The walk holds only the founder alleles that persons
// with children still to come can carry.
void traitEmissions(const InheritanceSpace& space, const std::vector<PersonInput>& persons, const TraitModel& trait,
                    StateValues& emissions);

// The values the trait's walk computes, for its cost.
double traitEmissionWork(const InheritanceSpace& space);

}  // namespace likelihood
