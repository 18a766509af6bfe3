#pragma once
// The inheritance vectors of a pedigree: one bit per meiosis says which of the parent's two
// alleles the child received. Swapping a founder's two alleles flips every meiosis from that
// founder and leaves the likelihood unchanged, so the first meiosis of each founder is fixed
// and the states are the remaining free bits; the transition over an interval then also
// mixes each founder's other meioses as a group.
//
// X-linked: a male has one allele, which he takes from his mother; a daughter receives her
// father's only allele without a meiosis; only mothers' meioses have bits.

#include <cstdint>
#include <string>
#include <vector>

#include "likelihood/pedigree_input.h"

namespace likelihood {

class InheritanceSpace {
public:
    // Empty on success; otherwise why the pedigree has no inheritance space (parents
    // missing or a person among his own ancestors).
    static std::string build(const PedigreeInput& pedigree, bool xlinked, InheritanceSpace& space);

    int bits() const { return freeBits; }
    uint64_t states() const { return uint64_t(1) << freeBits; }
    int founderAlleleCount() const { return founderAlleles; }
    int personCount() const { return static_cast<int>(sources.size()); }
    bool isHemizygous(int person) const { return sources[static_cast<size_t>(person)].hemizygous; }

    // Moves a vector over the states across an interval with recombination fraction theta:
    // `to` gets `from` moved (they may be the same vector).
    void transition(double theta, const double* from, double* to) const;
    void transition(double theta, double* values) const { transition(theta, values, values); }

    struct AlleleSource {
        int parent = -1;  // -1: a founder allele of its own
        int bit = -1;     // free bit choosing the parent's second allele; -1: always the first
        int founderAllele = -1;
    };
    // Persons with parents before children, and where each allele of a person comes from (the
    // second of a hemizygous male is unused).
    const std::vector<int>& personOrder() const { return order; }
    const AlleleSource& firstSource(int person) const { return sources[static_cast<size_t>(person)].first; }
    const AlleleSource& secondSource(int person) const { return sources[static_cast<size_t>(person)].second; }

private:
    void placeGroupBits();

    struct PersonSources {
        AlleleSource first, second;
        bool hemizygous = false;
    };
    std::vector<int> order;  // parents before children
    std::vector<PersonSources> sources;
    std::vector<uint64_t> founderGroups;  // free bits of each founder's meioses but its first
    int freeBits = 0;
    int founderAlleles = 0;
};

}  // namespace likelihood
