// Both native methods at two loci (the trait and a marker) against enumeration over founder
// haplotypes and meioses (enumeration.h): the likelihood over inheritance states always, peeling
// where it takes the pedigree (no loop, not X-linked). Nuclear families, three generations, a
// father with two spouses, a loop (half-sibs with a child), X-linked data, untyped founders, two
// liability classes and impossible data.

#include <gtest/gtest.h>

#include <cmath>
#include <functional>

#include "likelihood/emissions.h"
#include "likelihood/lander_green.h"
#include "likelihood/enumeration.h"
#include "likelihood/peeling.h"

using namespace likelihood;
using namespace enumeration;

namespace {

double engineLnLikelihood(const Case& c, double theta) {
    PedigreeInput pedigree;
    pedigree.persons = c.persons;
    InheritanceSpace space;
    EXPECT_EQ(InheritanceSpace::build(pedigree, c.xlinked, space), "");
    ScaledVector trait;
    traitEmissions(space, c.persons, c.trait, trait.values);
    trait.normalise();
    std::vector<EmissionTerm> marker;
    const double logScale = markerEmissionTerms(space, c.marker, c.frequencies, marker);
    const std::vector<double> fractions = {theta};
    TwoPointTrait twoPoint(space, trait, fractions);
    twoPoint.add(marker, logScale);
    return twoPoint.lnLikelihoods().front().front();
}

// ln L by peeling; false where peeling does not take the pedigree.
bool peeledLnLikelihood(const Case& c, double theta, double& lnL) {
    PedigreeInput pedigree;
    pedigree.persons = c.persons;
    pedigree.genotypes = {c.marker};
    LocusModel model;
    model.trait = c.trait;
    model.markerFrequencies = {c.frequencies};
    Peeling peeling;
    if (!Peeling::build(pedigree, model, c.xlinked, peeling).empty()) return false;
    peeling.place({0}, 0);
    lnL = peeling.lnLikelihood({theta});
    return true;
}

void expectNear(double lnL, double expected, double theta, const char* method) {
    if (expected == 0.0) EXPECT_TRUE(std::isinf(lnL) && lnL < 0) << method << ", theta " << theta << ": " << lnL;
    else EXPECT_NEAR(lnL, std::log(expected), 1e-10) << method << ", theta " << theta;
}

// Both methods against enumeration; `peeled` says whether peeling should take the pedigree.
void expectAgreement(const Case& c, bool peeled = true) {
    for (double theta : {0.0, 0.05, 0.37, 0.5}) {
        const double expected = enumeratedLikelihood(c, theta);
        expectNear(engineLnLikelihood(c, theta), expected, theta, "inheritance vectors");
        double lnL = 0.0;
        ASSERT_EQ(peeledLnLikelihood(c, theta, lnL), peeled);
        if (peeled) expectNear(lnL, expected, theta, "peeling");
    }
}

}  // namespace

TEST(TwoLoci, NuclearFamiliesAgainstEnumeration) {
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

TEST(TwoLoci, ThreeGenerationsAndALoopAgainstEnumeration) {
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
    expectAgreement(c, false);
    // Without their child the half-sibs are a father with two spouses, a child of each.
    c.persons.pop_back();
    c.marker.pop_back();
    expectAgreement(c);
}

TEST(TwoLoci, XLinkedAgainstEnumeration) {
    Case c;
    c.xlinked = true;
    c.trait = dominant();
    c.frequencies = {0.5, 0.3, 0.2};
    // Father hemizygous 3, mother 1/2; sons take one of the mother's, daughters the father's 3.
    c.persons = {person(-1, -1, true, 2), person(-1, -1, false, 1), person(0, 1, true, 2), person(0, 1, false, 2),
                 person(0, 1, true, 1, 1), person(0, 1, false, 0)};
    c.marker = {{3, 3}, {1, 2}, {1, 1}, {3, 2}, {2, 2}, {0, 0}};
    expectAgreement(c, false);
    // Mother untyped, a daughter's paternal allele tells the father's.
    c.marker = {{0, 0}, {0, 0}, {1, 1}, {3, 2}, {2, 2}, {1, 3}};
    expectAgreement(c, false);
    // A son typed heterozygous cannot be.
    c.marker = {{3, 3}, {1, 2}, {1, 2}, {0, 0}, {0, 0}, {0, 0}};
    expectAgreement(c, false);
}

