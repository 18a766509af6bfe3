// The native likelihood against brute-force enumeration done here, independently of inheritance
// states: every founder haplotype (trait allele and marker allele of each founder chromosome) and
// every meiosis at both loci are summed over, with founder probabilities from the frequencies
// and a recombination between the loci where a meiosis switches chromosome. Nuclear families,
// a pedigree with a loop (half-sibs with a child), X-linked data, untyped founders, two
// liability classes and impossible data.

#include <gtest/gtest.h>

#include <cmath>
#include <functional>

#include "likelihood/emissions.h"
#include "likelihood/lander_green.h"

using namespace likelihood;

namespace {

struct Case {
    std::vector<PersonInput> persons;
    std::vector<GenotypeInput> marker;  // one marker
    TraitModel trait;
    std::vector<double> frequencies;
    bool xlinked = false;
};

double penetrance(const Case& c, const PersonInput& p, int copies, bool hemizygous) {
    if (p.status == 0) return 1.0;
    const double affected = hemizygous ? c.trait.malePenetrances[static_cast<size_t>(p.liabilityClass)][static_cast<size_t>(copies)]
                                       : c.trait.penetrances[static_cast<size_t>(p.liabilityClass)][static_cast<size_t>(copies)];
    return p.status == 2 ? affected : 1.0 - affected;
}

// Enumeration over founder haplotypes and meioses of both loci (trait first, marker second).
double enumeratedLikelihood(const Case& c, double theta) {
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

double engineLnLikelihood(const Case& c, double theta) {
    PedigreeInput pedigree;
    pedigree.persons = c.persons;
    InheritanceSpace space;
    EXPECT_EQ(InheritanceSpace::build(pedigree, c.xlinked, space), "");
    ScaledVector trait, marker;
    traitEmissions(space, c.persons, c.trait, trait.values);
    markerEmissions(space, c.marker, c.frequencies, marker.values);
    trait.normalise();
    marker.normalise();
    return TwoPointTrait(space, trait, {theta}).lnLikelihoods(marker).front();
}

PersonInput person(int father, int mother, bool male, int status, int liability = 0) {
    PersonInput p;
    p.father = father;
    p.mother = mother;
    p.male = male;
    p.status = status;
    p.liabilityClass = liability;
    return p;
}

TraitModel dominant() {
    TraitModel t;
    t.frequencies = {0.9, 0.1};
    t.penetrances = {{0.05, 0.8, 0.95}, {0.2, 0.5, 0.7}};
    t.malePenetrances = {{0.03, 0.85}, {0.1, 0.6}};
    return t;
}

void expectAgreement(const Case& c) {
    for (double theta : {0.0, 0.05, 0.37, 0.5}) {
        const double expected = enumeratedLikelihood(c, theta);
        const double lnL = engineLnLikelihood(c, theta);
        if (expected == 0.0) {
            EXPECT_TRUE(std::isinf(lnL) && lnL < 0) << "theta " << theta << ": " << lnL;
        } else {
            EXPECT_NEAR(lnL, std::log(expected), 1e-10) << "theta " << theta;
        }
    }
}

}  // namespace

TEST(LanderGreen, NuclearFamiliesAgainstEnumeration) {
    Case c;
    c.trait = dominant();
    c.frequencies = {0.5, 0.3, 0.2};
    // Father affected 1/2, mother untyped; three children, one untyped, one in class 2.
    c.persons = {person(-1, -1, true, 2), person(-1, -1, false, 1), person(0, 1, true, 2), person(0, 1, false, 1, 1),
                 person(0, 1, false, 2)};
    c.marker = {{1, 2}, {0, 0}, {1, 3}, {2, 3}, {0, 0}};
    expectAgreement(c);
    // Everyone typed, a homozygous child.
    c.marker = {{1, 2}, {2, 3}, {1, 3}, {2, 3}, {2, 2}};
    expectAgreement(c);
    // Nobody typed but the children.
    c.marker = {{0, 0}, {0, 0}, {1, 3}, {2, 3}, {1, 2}};
    expectAgreement(c);
    // Inconsistent: a child with an allele neither parent has.
    c.marker = {{1, 1}, {2, 2}, {1, 3}, {0, 0}, {0, 0}};
    expectAgreement(c);
}

TEST(LanderGreen, ThreeGenerationsAndALoopAgainstEnumeration) {
    Case c;
    c.trait = dominant();
    c.frequencies = {0.6, 0.4};
    // Grandfather 0, grandmother 1, their daughter 2 married to founder 3, grandchildren 4, 5.
    c.persons = {person(-1, -1, true, 2), person(-1, -1, false, 0), person(0, 1, false, 2), person(-1, -1, true, 1),
                 person(3, 2, true, 2), person(3, 2, false, 1)};
    c.marker = {{1, 2}, {0, 0}, {1, 2}, {2, 2}, {1, 2}, {2, 2}};
    expectAgreement(c);
    // A loop: half-sibs 3 (father 0, mother 1) and 4 (father 0, mother 2) have child 5.
    c.persons = {person(-1, -1, true, 2), person(-1, -1, false, 1), person(-1, -1, false, 0), person(0, 1, true, 2),
                 person(0, 2, false, 1), person(3, 4, false, 2)};
    c.marker = {{1, 2}, {0, 0}, {2, 2}, {1, 2}, {1, 2}, {1, 1}};
    expectAgreement(c);
}

TEST(LanderGreen, XLinkedAgainstEnumeration) {
    Case c;
    c.xlinked = true;
    c.trait = dominant();
    c.frequencies = {0.5, 0.3, 0.2};
    // Father hemizygous 3, mother 1/2; sons take one of the mother's, daughters the father's 3.
    c.persons = {person(-1, -1, true, 2), person(-1, -1, false, 1), person(0, 1, true, 2), person(0, 1, false, 2),
                 person(0, 1, true, 1, 1), person(0, 1, false, 0)};
    c.marker = {{3, 3}, {1, 2}, {1, 1}, {3, 2}, {2, 2}, {0, 0}};
    expectAgreement(c);
    // Mother untyped, a daughter's paternal allele tells the father's.
    c.marker = {{0, 0}, {0, 0}, {1, 1}, {3, 2}, {2, 2}, {1, 3}};
    expectAgreement(c);
    // A son typed heterozygous cannot be.
    c.marker = {{3, 3}, {1, 2}, {1, 2}, {0, 0}, {0, 0}, {0, 0}};
    expectAgreement(c);
}

// A pedigree of 11 free meiosis bits, so that the transition's tiles of high bits are used:
// moving across theta a and then b is moving across the c with 1 - 2c = (1 - 2a)(1 - 2b) (no
// interference), the moved vector keeps its sum, and the transition is symmetric.
TEST(LanderGreen, TransitionOverManyBitsComposesAndIsSymmetric) {
    PedigreeInput pedigree;
    pedigree.persons = {person(-1, -1, true, 0), person(-1, -1, false, 0)};
    for (int child = 0; child < 6; ++child) pedigree.persons.push_back(person(0, 1, child % 2 == 0, 0));
    pedigree.persons.push_back(person(-1, -1, false, 0));
    pedigree.persons.push_back(person(2, 8, true, 0));
    InheritanceSpace space;
    ASSERT_EQ(InheritanceSpace::build(pedigree, false, space), "");
    ASSERT_EQ(space.bits(), 11);
    std::vector<double> x(space.states()), y(space.states());
    for (size_t s = 0; s < x.size(); ++s) {
        x[s] = static_cast<double>((s * 2654435761u) % 1000) / 1000.0;
        y[s] = static_cast<double>((s * 40503u + 7) % 997) / 997.0;
    }
    const double a = 0.07, b = 0.21, c = 0.5 * (1.0 - (1.0 - 2 * a) * (1.0 - 2 * b));
    std::vector<double> twice = x, once = x;
    space.transition(a, twice.data());
    space.transition(b, twice.data());
    space.transition(c, once.data());
    double sumX = 0.0, sumOnce = 0.0, xTy = 0.0, txY = 0.0;
    std::vector<double> ty = y;
    space.transition(c, ty.data());
    for (size_t s = 0; s < x.size(); ++s) {
        EXPECT_NEAR(twice[s], once[s], 1e-12) << s;
        sumX += x[s];
        sumOnce += once[s];
        xTy += x[s] * ty[s];
        txY += once[s] * y[s];
    }
    EXPECT_NEAR(sumX, sumOnce, 1e-9);
    EXPECT_NEAR(xTy, txY, 1e-9);
}
