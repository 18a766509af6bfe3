#pragma once
// The likelihood of a pedigree along a map of loci as a hidden Markov chain over inheritance
// states (Lander and Green): a uniform start, a transition per interval, an emission per
// locus. Markers of a window are swept forward and backward once; each place of the trait
// then costs two transitions and a sum over the states.

#include <vector>

#include "likelihood/inheritance_space.h"

namespace likelihood {

// Values over the inheritance states times exp(logScale): kept near 1 so that products over
// many loci neither underflow nor overflow.
struct ScaledVector {
    std::vector<double> values;
    double logScale = 0.0;
    // Divides by the largest value and adds its logarithm to the scale; an all-zero vector
    // gets the scale -infinity.
    void normalise();
};

// The trait moved across each of a list of recombination fractions once; ln L of the trait
// and any marker at those fractions is then one sum over the states per fraction, since
// L(theta) = sum over s of marker(s) (T_theta trait)(s).
class TwoPointTrait {
public:
    TwoPointTrait(const InheritanceSpace& space, const ScaledVector& trait, const std::vector<double>& fractions);
    std::vector<double> lnLikelihoods(const ScaledVector& marker) const;

private:
    int bits;
    double logScale;
    std::vector<std::vector<double>> moved;  // per fraction
};

// Adjacent markers with fixed fractions between them, swept once; the trait is then placed
// anywhere in or beside the window.
class MarkerWindow {
public:
    MarkerWindow(const InheritanceSpace& space, const std::vector<ScaledVector>& markers,
                 const std::vector<double>& fractions);

    // ln L with the trait at `position`: 0 before the first marker at fraction `left` to it;
    // p between markers p-1 and p at `left` to the one and `right` to the other; the number of
    // markers after the last marker at `left` to it.
    double lnLikelihood(const ScaledVector& trait, int position, double left, double right);

private:
    const InheritanceSpace& space;
    std::vector<ScaledVector> forward;  // markers 0..i given, ending in marker i's emission
    std::vector<ScaledVector> backward; // marker i's emission and everything after it
    std::vector<double> leftPart, rightPart;
};

}  // namespace likelihood
