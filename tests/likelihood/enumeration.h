#pragma once
// Likelihoods by enumeration, independent of inheritance states and of peeling: every founder
// haplotype and every meiosis at every locus is summed over, with founder probabilities from the
// frequencies and a recombination between adjacent loci where a meiosis switches chromosome.
// Small pedigrees only.

#include <cmath>
#include <vector>

#include "likelihood/pedigree_input.h"

namespace enumeration {

using namespace likelihood;

struct Case {
    std::vector<PersonInput> persons;
    std::vector<GenotypeInput> marker;  // one marker
    TraitModel trait;
    std::vector<double> frequencies;
    bool xlinked = false;
};

inline double penetrance(const Case& c, const PersonInput& p, int copies, bool hemizygous) {
    if (p.status == 0) return 1.0;
    const double affected = hemizygous ? c.trait.malePenetrances[static_cast<size_t>(p.liabilityClass)][static_cast<size_t>(copies)]
                                       : c.trait.penetrances[static_cast<size_t>(p.liabilityClass)][static_cast<size_t>(copies)];
    return p.status == 2 ? affected : 1.0 - affected;
}

// Enumeration over founder haplotypes and meioses of both loci (trait first, marker second).
inline double enumeratedLikelihood(const Case& c, double theta) {
    const size_t n = c.persons.size();
    const int markerAlleles = static_cast<int>(c.frequencies.size());
    // Chromosomes: founders have 2 (X-linked males 1); a non-founder's chromosomes are copies.
    std::vector<int> chromosomeOf(2 * n, -1);
    int founderChromosomes = 0;
    std::vector<std::pair<int, int>> meioses;  // (child chromosome slot, parent)
    for (size_t i = 0; i < n; ++i) {
        const PersonInput& p = c.persons[i];
        const bool hemizygous = c.xlinked && p.male;
        if (p.father < 0) {
            chromosomeOf[2 * i] = founderChromosomes++;
            if (!hemizygous) chromosomeOf[2 * i + 1] = founderChromosomes++;
        }
    }
    // Per founder chromosome: trait allele (0/1) and marker allele (1..m).
    std::vector<int> traitAllele(static_cast<size_t>(founderChromosomes)), markerAllele(static_cast<size_t>(founderChromosomes));
    // Meiosis choices: per non-founder slot whose parent chooses, a bit at each locus.
    struct Slot { size_t child; int which; int parent; bool choice; };
    std::vector<Slot> slots;
    for (size_t i = 0; i < n; ++i) {
        const PersonInput& p = c.persons[i];
        if (p.father < 0) continue;
        if (c.xlinked) {
            if (p.male) slots.push_back({i, 0, p.mother, true});
            else {
                slots.push_back({i, 0, p.father, false});
                slots.push_back({i, 1, p.mother, true});
            }
        } else {
            slots.push_back({i, 0, p.father, true});
            slots.push_back({i, 1, p.mother, true});
        }
    }
    int choices = 0;
    for (const Slot& s : slots) choices += s.choice ? 1 : 0;
    double total = 0.0;
    std::vector<int> atTrait(2 * n, -1), atMarker(2 * n, -1);
    const long haplotypeCombos = static_cast<long>(std::pow(2 * markerAlleles, founderChromosomes));
    for (long h = 0; h < haplotypeCombos; ++h) {
        long rest = h;
        double founderProbability = 1.0;
        for (int k = 0; k < founderChromosomes; ++k) {
            traitAllele[static_cast<size_t>(k)] = static_cast<int>(rest % 2);
            rest /= 2;
            markerAllele[static_cast<size_t>(k)] = static_cast<int>(rest % markerAlleles) + 1;
            rest /= markerAlleles;
            founderProbability *= c.trait.frequencies[static_cast<size_t>(traitAllele[static_cast<size_t>(k)])] *
                                  c.frequencies[static_cast<size_t>(markerAllele[static_cast<size_t>(k)] - 1)];
        }
        for (long bitsT = 0; bitsT < (1L << choices); ++bitsT)
            for (long bitsM = 0; bitsM < (1L << choices); ++bitsM) {
                double probability = founderProbability;
                // Chromosome of every slot at the trait and at the marker.
                for (size_t i = 0; i < n; ++i)
                    if (c.persons[i].father < 0) {
                        atTrait[2 * i] = atMarker[2 * i] = chromosomeOf[2 * i];
                        atTrait[2 * i + 1] = atMarker[2 * i + 1] = chromosomeOf[2 * i + 1];
                    }
                int bit = 0;
                // Persons are listed parents first in every case here.
                for (const Slot& s : slots) {
                    const size_t parent = static_cast<size_t>(s.parent);
                    int t = 0, m = 0;
                    if (s.choice) {
                        t = static_cast<int>((bitsT >> bit) & 1);
                        m = static_cast<int>((bitsM >> bit) & 1);
                        ++bit;
                        probability *= 0.5 * (t == m ? 1.0 - theta : theta);
                    }
                    atTrait[2 * s.child + static_cast<size_t>(s.which)] = atTrait[2 * parent + static_cast<size_t>(t)];
                    atMarker[2 * s.child + static_cast<size_t>(s.which)] = atMarker[2 * parent + static_cast<size_t>(m)];
                }
                for (size_t i = 0; i < n && probability > 0.0; ++i) {
                    const bool hemizygous = c.xlinked && c.persons[i].male;
                    int copies = traitAllele[static_cast<size_t>(atTrait[2 * i])];
                    if (!hemizygous) copies += traitAllele[static_cast<size_t>(atTrait[2 * i + 1])];
                    probability *= penetrance(c, c.persons[i], copies, hemizygous);
                    const GenotypeInput& g = c.marker[i];
                    if (g.first == 0) continue;
                    const int a = markerAllele[static_cast<size_t>(atMarker[2 * i])];
                    const int b = hemizygous ? a : markerAllele[static_cast<size_t>(atMarker[2 * i + 1])];
                    if (!((a == g.first && b == g.second) || (a == g.second && b == g.first))) probability = 0.0;
                }
                total += probability;
            }
    }
    return total;
}

inline PersonInput person(int father, int mother, bool male, int status, int liability = 0) {
    PersonInput p;
    p.father = father;
    p.mother = mother;
    p.male = male;
    p.status = status;
    p.liabilityClass = liability;
    return p;
}

inline TraitModel dominant() {
    TraitModel t;
    t.frequencies = {0.9, 0.1};
    t.penetrances = {{0.05, 0.8, 0.95}, {0.2, 0.5, 0.7}};
    t.malePenetrances = {{0.03, 0.85}, {0.1, 0.6}};
    return t;
}

}  // namespace enumeration
