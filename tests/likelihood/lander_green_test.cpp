// The likelihood over inheritance states: the transition and the trait emissions against their
// definitions.

#include <gtest/gtest.h>

#include <cmath>

#include "likelihood/emissions.h"
#include "likelihood/enumeration.h"
#include "likelihood/lander_green.h"

using namespace likelihood;
using namespace enumeration;

// The transition against its definition: per interval every meiosis recombines with
// probability theta independently, and a state stands for itself and its founder flips (each
// founder's first meiosis is fixed), so moving from state x to state y sums over the flips of
// y. A pedigree of 15 free bits: a founder couple with eight children (two founder groups of
// seven bits, the second beyond the transition's cache-sized blocks), and a grandchild whose
// mother is a founder with a single meiosis.
TEST(LanderGreen, TransitionAgainstItsDefinition) {
    PedigreeInput pedigree;
    pedigree.persons = {person(-1, -1, true, 0), person(-1, -1, false, 0)};
    for (int child = 0; child < 8; ++child) pedigree.persons.push_back(person(0, 1, child % 2 == 0, 0));
    pedigree.persons.push_back(person(-1, -1, false, 0));
    pedigree.persons.push_back(person(2, 10, true, 0));
    InheritanceSpace space;
    ASSERT_EQ(InheritanceSpace::build(pedigree, false, space), "");
    ASSERT_EQ(space.bits(), 15);
    // Every meiosis of the full space: its free bit, or -1 for a founder's first; per founder,
    // the free bits its flip changes.
    struct Meiosis { int parent; int bit; };
    std::vector<Meiosis> meioses;
    for (int p = 0; p < space.personCount(); ++p)
        for (const InheritanceSpace::AlleleSource* source : {&space.firstSource(p), &space.secondSource(p)})
            if (source->parent >= 0) meioses.push_back({source->parent, source->bit});
    std::vector<uint64_t> flips;
    for (int founder : {0, 1, 10}) {
        uint64_t mask = 0;
        for (const Meiosis& m : meioses)
            if (m.parent == founder && m.bit >= 0) mask |= uint64_t(1) << m.bit;
        flips.push_back(mask);
    }
    ASSERT_EQ(meioses.size(), 18u);
    const double theta = 0.13;
    const auto probability = [&](uint64_t x, uint64_t y) {
        double total = 0.0;
        for (int subset = 0; subset < 8; ++subset) {
            uint64_t target = y;
            double p = 1.0;
            for (int f = 0; f < 3; ++f) {
                const bool flipped = (subset >> f) & 1;
                if (flipped) target ^= flips[static_cast<size_t>(f)];
                p *= flipped ? theta : 1.0 - theta;  // the founder's fixed meiosis
            }
            const int changed = __builtin_popcountll(x ^ target);
            p *= std::pow(theta, changed) * std::pow(1.0 - theta, 15 - changed);
            total += p;
        }
        return total;
    };
    std::vector<double> x(space.states()), moved(space.states());
    for (size_t s = 0; s < x.size(); ++s) x[s] = static_cast<double>((s * 2654435761u) % 1000) / 1000.0;
    space.transition(theta, x.data(), moved.data());
    for (uint64_t y : {uint64_t(0), uint64_t(1), uint64_t(0x4001), uint64_t(0x1234), uint64_t(0x7fff), uint64_t(0x7a5c)}) {
        double expected = 0.0;
        for (uint64_t s = 0; s < space.states(); ++s) expected += x[s] * probability(s, y);
        EXPECT_NEAR(moved[y], expected, 1e-12 * expected) << "state " << y;
    }
    // In place alike, and across theta 1/2 every state gets the mean.
    std::vector<double> inPlace = x;
    space.transition(theta, inPlace.data());
    EXPECT_EQ(inPlace, moved);
    space.transition(0.5, inPlace.data());
    double mean = 0.0;
    for (double v : moved) mean += v / static_cast<double>(moved.size());
    for (uint64_t s = 0; s < space.states(); s += 997) EXPECT_NEAR(inPlace[s], mean, 1e-12) << s;
}

namespace {

// The trait emission of one inheritance state by its definition: every assignment of trait
// alleles to the founder alleles, with the frequencies, times the penetrance of each person
// with a known status given the founder alleles the state hands him.
double enumeratedTraitEmission(const InheritanceSpace& space, const std::vector<PersonInput>& persons,
                               const TraitModel& trait, uint64_t state) {
    const int n = space.personCount();
    std::vector<int> first(static_cast<size_t>(n)), second(static_cast<size_t>(n));
    const auto founderAllele = [&](const InheritanceSpace::AlleleSource& source) {
        if (source.parent < 0) return source.founderAllele;
        const bool takeSecond = source.bit >= 0 && ((state >> source.bit) & 1);
        return takeSecond ? second[static_cast<size_t>(source.parent)] : first[static_cast<size_t>(source.parent)];
    };
    for (int p : space.personOrder()) {
        first[static_cast<size_t>(p)] = founderAllele(space.firstSource(p));
        second[static_cast<size_t>(p)] = space.isHemizygous(p) ? -1 : founderAllele(space.secondSource(p));
    }
    double total = 0.0;
    for (uint64_t assignment = 0; assignment < (uint64_t(1) << space.founderAlleleCount()); ++assignment) {
        double product = 1.0;
        for (int a = 0; a < space.founderAlleleCount(); ++a) product *= trait.frequencies[(assignment >> a) & 1];
        for (int p = 0; p < n; ++p) {
            const PersonInput& person = persons[static_cast<size_t>(p)];
            if (person.status == 0) continue;
            const int x = static_cast<int>((assignment >> first[static_cast<size_t>(p)]) & 1);
            const int y = second[static_cast<size_t>(p)] < 0 ? 0 : static_cast<int>((assignment >> second[static_cast<size_t>(p)]) & 1);
            const size_t liability = static_cast<size_t>(person.liabilityClass);
            const double affected = space.isHemizygous(p) ? trait.malePenetrances[liability][static_cast<size_t>(x)]
                                                          : trait.penetrances[liability][static_cast<size_t>(x + y)];
            product *= person.status == 2 ? affected : 1.0 - affected;
        }
        total += product;
    }
    return total;
}

void expectTraitEmissionsByDefinition(const std::vector<PersonInput>& persons, bool xlinked) {
    PedigreeInput pedigree;
    pedigree.persons = persons;
    InheritanceSpace space;
    ASSERT_EQ(InheritanceSpace::build(pedigree, xlinked, space), "");
    StateValues emissions;
    traitEmissions(space, persons, dominant(), emissions);
    ASSERT_EQ(emissions.size(), space.states());
    for (uint64_t state = 0; state < space.states(); state += 1 + state % 7) {
        const double expected = enumeratedTraitEmission(space, persons, dominant(), state);
        EXPECT_NEAR(emissions[state], expected, 1e-13 * expected) << "state " << state;
    }
}

}  // namespace

// The trait's walk holds only the founder alleles of persons with children still to come, in
// an order of its own choosing; on pedigrees where that order and the summing out matter
// (spouses marrying in at every generation, a founder couple whose children all marry, a
// marriage between cousins, persons of unknown status with children, X-linked), every state's
// emission agrees with its definition.
TEST(LanderGreen, TraitEmissionsAgainstTheirDefinition) {
    // Three generations: founders 0 and 1 with children 2, 3, 4; 2 marries founder 5 and 3
    // marries founder 6, each with two children; 4 has no children and an unknown status.
    const std::vector<PersonInput> marriedIn = {
        person(-1, -1, true, 2), person(-1, -1, false, 0), person(0, 1, true, 2),     person(0, 1, false, 1, 1),
        person(0, 1, true, 0),   person(-1, -1, false, 1), person(-1, -1, true, 0),   person(2, 5, true, 2),
        person(2, 5, false, 1),  person(6, 3, false, 2),   person(6, 3, true, 1, 1)};
    expectTraitEmissionsByDefinition(marriedIn, false);
    expectTraitEmissionsByDefinition(marriedIn, true);
    // First cousins 7 and 9 of the pedigree above marry and have two affected children.
    std::vector<PersonInput> cousins = marriedIn;
    cousins.push_back(person(7, 9, true, 2));
    cousins.push_back(person(7, 9, false, 2));
    expectTraitEmissionsByDefinition(cousins, false);
    // Persons listed children first: the walk finds its own order.
    const std::vector<PersonInput> childrenFirst = {person(3, 4, false, 2), person(3, 4, true, 1), person(-1, -1, true, 0),
                                                    person(2, 5, true, 2), person(-1, -1, false, 1), person(-1, -1, false, 2)};
    expectTraitEmissionsByDefinition(childrenFirst, false);
}
