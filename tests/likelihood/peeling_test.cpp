// Peeling at three loci: against enumeration over founder haplotypes and meioses on nuclear
// families with the trait before, between and after the markers, and against the likelihood
// over inheritance states on a larger pedigree with three markers; what it leaves to the other
// methods. (Two loci: two_loci_test.cpp.)

#include <gtest/gtest.h>

#include <cmath>

#include "likelihood/emissions.h"
#include "likelihood/enumeration.h"
#include "likelihood/lander_green.h"
#include "likelihood/peeling.h"

using namespace likelihood;
using namespace enumeration;

TEST(Peeling, LoopsAndXLinkedDataAreLeftToTheOtherMethods) {
    PedigreeInput pedigree;
    // Half-sibs 3 and 4 with a child 5.
    pedigree.persons = {person(-1, -1, true, 2), person(-1, -1, false, 1), person(-1, -1, false, 0), person(0, 1, true, 2),
                        person(0, 2, false, 1), person(3, 4, false, 2)};
    LocusModel model;
    model.trait = dominant();
    Peeling peeling;
    EXPECT_EQ(Peeling::build(pedigree, model, false, peeling), "a marriage loop");
    pedigree.persons.pop_back();
    EXPECT_EQ(Peeling::build(pedigree, model, false, peeling), "");
    EXPECT_EQ(Peeling::build(pedigree, model, true, peeling), "X-linked data");
}

namespace {

// Three loci (the trait at `traitPosition` among two markers) on a nuclear family: every
// haplotype of the parents' four chromosomes, and for each child, independently given them,
// every choice of chromosome at every locus.
double enumeratedNuclearThreeLoci(const std::vector<PersonInput>& persons, const TraitModel& trait,
                                  const std::vector<std::vector<double>>& frequencies,
                                  const std::vector<std::vector<GenotypeInput>>& markers, int traitPosition,
                                  const std::vector<double>& fractions) {
    // Alleles per locus: the trait's 0/1, markers' 1..n.
    std::vector<int> locusMarker(3, -1), alleles(3, 2);
    for (int locus = 0, m = 0; locus < 3; ++locus)
        if (locus != traitPosition) {
            locusMarker[static_cast<size_t>(locus)] = m;
            alleles[static_cast<size_t>(locus)] = static_cast<int>(frequencies[static_cast<size_t>(m)].size());
            ++m;
        }
    const int haplotypes = alleles[0] * alleles[1] * alleles[2];
    const auto allele = [&](int haplotype, int locus) {
        for (int l = 2; l > locus; --l) haplotype /= alleles[static_cast<size_t>(l)];
        return haplotype % alleles[static_cast<size_t>(locus)];
    };
    const auto frequency = [&](int haplotype) {
        double f = 1.0;
        for (int locus = 0; locus < 3; ++locus) {
            const int a = allele(haplotype, locus);
            f *= locus == traitPosition ? trait.frequencies[static_cast<size_t>(a)]
                                        : frequencies[static_cast<size_t>(locusMarker[static_cast<size_t>(locus)])][static_cast<size_t>(a)];
        }
        return f;
    };
    // The probability of a person's data given his two haplotypes.
    const auto data = [&](size_t person, int first, int second) {
        const PersonInput& p = persons[person];
        double value = 1.0;
        for (int locus = 0; locus < 3; ++locus) {
            const int a = allele(first, locus), b = allele(second, locus);
            if (locus == traitPosition) {
                if (p.status == 0) continue;
                const double affected = trait.penetrances[static_cast<size_t>(p.liabilityClass)][static_cast<size_t>(a + b)];
                value *= p.status == 2 ? affected : 1.0 - affected;
            } else {
                const GenotypeInput& g = markers[static_cast<size_t>(locusMarker[static_cast<size_t>(locus)])][person];
                if (g.first == 0) continue;
                if (!((a + 1 == g.first && b + 1 == g.second) || (a + 1 == g.second && b + 1 == g.first))) value = 0.0;
            }
        }
        return value;
    };
    // A gamete from chromosomes x and y choosing `choices` (a bit per locus), with its chance.
    const auto gamete = [&](int x, int y, int choices, double& chance) {
        int haplotype = 0;
        chance = 0.5;
        for (int locus = 0; locus < 3; ++locus) {
            const int pick = (choices >> locus) & 1;
            haplotype = haplotype * alleles[static_cast<size_t>(locus)] + allele(pick ? y : x, locus);
            if (locus > 0) {
                const double theta = fractions[static_cast<size_t>(locus - 1)];
                chance *= pick == ((choices >> (locus - 1)) & 1) ? 1.0 - theta : theta;
            }
        }
        return haplotype;
    };
    double total = 0.0;
    for (int f1 = 0; f1 < haplotypes; ++f1)
        for (int f2 = 0; f2 < haplotypes; ++f2)
            for (int m1 = 0; m1 < haplotypes; ++m1)
                for (int m2 = 0; m2 < haplotypes; ++m2) {
                    double value = frequency(f1) * frequency(f2) * frequency(m1) * frequency(m2) * data(0, f1, f2) * data(1, m1, m2);
                    for (size_t child = 2; child < persons.size() && value > 0.0; ++child) {
                        double sum = 0.0;
                        for (int fromFather = 0; fromFather < 8; ++fromFather)
                            for (int fromMother = 0; fromMother < 8; ++fromMother) {
                                double a, b;
                                const int h1 = gamete(f1, f2, fromFather, a), h2 = gamete(m1, m2, fromMother, b);
                                sum += a * b * data(child, h1, h2);
                            }
                        value *= sum;
                    }
                    total += value;
                }
    return total;
}

}  // namespace

TEST(Peeling, ThreeLociOnNuclearFamiliesAgainstEnumeration) {
    const TraitModel trait = dominant();
    // Founders 0 and 1 (the mother untyped at the first marker), three children.
    const std::vector<PersonInput> persons = {person(-1, -1, true, 2), person(-1, -1, false, 1), person(0, 1, true, 2),
                                              person(0, 1, false, 1, 1), person(0, 1, false, 0)};
    const std::vector<std::vector<double>> frequencies = {{0.7, 0.3}, {0.2, 0.5, 0.3}};
    const std::vector<std::vector<GenotypeInput>> markers = {{{1, 2}, {0, 0}, {1, 2}, {2, 2}, {1, 1}},
                                                             {{1, 3}, {2, 3}, {3, 3}, {1, 2}, {0, 0}}};
    PedigreeInput pedigree;
    pedigree.persons = persons;
    pedigree.genotypes = markers;
    LocusModel model;
    model.trait = trait;
    model.markerFrequencies = frequencies;
    Peeling peeling;
    ASSERT_EQ(Peeling::build(pedigree, model, false, peeling), "");
    for (int traitPosition = 0; traitPosition < 3; ++traitPosition) {
        peeling.place({0, 1}, traitPosition);
        for (const std::vector<double>& fractions : {std::vector<double>{0.1, 0.25}, std::vector<double>{0.0, 0.5},
                                                    std::vector<double>{0.33, 0.02}}) {
            const double expected = enumeratedNuclearThreeLoci(persons, trait, frequencies, markers, traitPosition, fractions);
            const double lnL = peeling.lnLikelihood(fractions);
            if (expected == 0.0) EXPECT_TRUE(std::isinf(lnL) && lnL < 0) << "trait at " << traitPosition;
            else EXPECT_NEAR(lnL, std::log(expected), 1e-10)
                << "trait at " << traitPosition << ", fractions " << fractions[0] << " " << fractions[1];
        }
    }
}

// Peeling and the likelihood over inheritance states are different methods; on three
// generations with spouses marrying in, untyped founders and three markers they agree at every
// trait position.
TEST(Peeling, AgreesWithInheritanceStatesOverThreeMarkers) {
    PedigreeInput pedigree;
    pedigree.persons = {person(-1, -1, true, 2),  person(-1, -1, false, 0), person(0, 1, true, 2),   person(0, 1, false, 1),
                        person(0, 1, true, 1, 1), person(-1, -1, false, 1), person(-1, -1, true, 0), person(2, 5, true, 2),
                        person(2, 5, false, 1),   person(6, 3, false, 2),   person(6, 3, true, 1)};
    pedigree.genotypes = {{{1, 2}, {0, 0}, {1, 3}, {2, 3}, {1, 2}, {3, 3}, {0, 0}, {1, 3}, {3, 3}, {2, 4}, {0, 0}},
                          {{1, 1}, {0, 0}, {1, 2}, {1, 2}, {1, 2}, {1, 2}, {0, 0}, {1, 1}, {0, 0}, {2, 2}, {1, 2}},
                          {{0, 0}, {0, 0}, {2, 3}, {1, 3}, {1, 2}, {2, 2}, {3, 4}, {2, 2}, {2, 3}, {1, 3}, {3, 4}}};
    LocusModel model;
    model.trait = dominant();
    model.markerFrequencies = {{0.3, 0.3, 0.2, 0.2}, {0.6, 0.4}, {0.1, 0.2, 0.3, 0.4}};
    Peeling peeling;
    ASSERT_EQ(Peeling::build(pedigree, model, false, peeling), "");
    InheritanceSpace space;
    ASSERT_EQ(InheritanceSpace::build(pedigree, false, space), "");
    ScaledVector trait;
    traitEmissions(space, pedigree.persons, model.trait, trait.values);
    trait.normalise();
    std::vector<ScaledVector> markers(3);
    for (size_t m = 0; m < 3; ++m) {
        markerEmissions(space, pedigree.genotypes[m], model.markerFrequencies[m], markers[m].values);
        markers[m].normalise();
    }
    const std::vector<double> between = {0.08, 0.15};
    MarkerWindow window(space);
    window.sweep(markers, between);
    for (int position = 0; position <= 3; ++position) {
        peeling.place({0, 1, 2}, position);
        for (double left : {0.0, 0.03, 0.5}) {
            if (position > 0 && position < 3 && left > between[static_cast<size_t>(position - 1)]) continue;
            // The right fraction of a place in an interval, with no interference.
            double right = 0.0;
            if (position > 0 && position < 3) {
                const double interval = between[static_cast<size_t>(position - 1)];
                right = 0.5 * (1.0 - (1.0 - 2.0 * interval) / (1.0 - 2.0 * left));
            }
            const std::vector<double> fractions = Peeling::lociFractions(between, position, left, right);
            ASSERT_EQ(fractions.size(), 3u);
            EXPECT_NEAR(peeling.lnLikelihood(fractions), window.lnLikelihood(trait, position, left, right), 1e-9)
                << "position " << position << ", left " << left;
        }
    }
}
