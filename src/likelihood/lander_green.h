#pragma once
// The likelihood of a pedigree along a map of loci as a hidden Markov chain over inheritance
// states (Lander and Green): a uniform start, a transition per interval, an emission per
// locus. Markers of a window are swept forward and backward once; each place of the trait
// then costs two transitions and a sum over the states.

#include <vector>

#include "likelihood/emissions.h"
#include "likelihood/inheritance_space.h"

namespace likelihood {

// Values over the inheritance states times exp(logScale): kept near 1 so that products over
// many loci neither underflow nor overflow.
struct ScaledVector {
    StateValues values;
    double logScale = 0.0;
    // Divides by the largest value and adds its logarithm to the scale; an all-zero vector
    // gets the scale -infinity.
    void normalise();
};

// ln L of the trait and each of many markers at a list of recombination fractions, since
// L(theta) = sum over s of marker(s) (T_theta trait)(s): the trait is moved across a fraction
// once for a batch of markers, and each marker costs a sum over its possible states. Markers
// are batched up to a budget of terms, so that only one moved trait is held at a time.
class TwoPointTrait {
public:
    TwoPointTrait(const InheritanceSpace& space, const ScaledVector& trait, const std::vector<double>& fractions);
    // A marker's emission terms and the logarithm of their scale.
    void add(std::vector<EmissionTerm>& terms, double logScale);
    // ln L per marker, in the order added, and fraction.
    const std::vector<std::vector<double>>& lnLikelihoods();

private:
    void flush();

    const InheritanceSpace& space;
    const ScaledVector& trait;
    const std::vector<double>& fractions;
    StateValues moved;
    struct Marker {
        std::vector<EmissionTerm> terms;
        double logScale;
    };
    std::vector<Marker> pending;
    size_t pendingTerms = 0;
    std::vector<std::vector<double>> results;
};

// Adjacent markers with fixed fractions between them, swept once; the trait is then placed
// anywhere in or beside the window. One object serves every window of a pedigree, so that its
// vectors are allocated once.
class MarkerWindow {
public:
    explicit MarkerWindow(const InheritanceSpace& space) : space(space) {}

    // Sweeps the markers of a window (at least one) forward and backward; fractions[i] lies
    // between markers i and i + 1.
    void sweep(const std::vector<ScaledVector>& markers, const std::vector<double>& fractions);

    // ln L with the trait at `position`: 0 before the first marker at fraction `left` to it;
    // p between markers p-1 and p at `left` to the one and `right` to the other; the number of
    // markers after the last marker at `left` to it.
    double lnLikelihood(const ScaledVector& trait, int position, double left, double right);

private:
    const InheritanceSpace& space;
    size_t markers = 0;
    std::vector<ScaledVector> forward;  // markers 0..i given, ending in marker i's emission
    std::vector<ScaledVector> backward; // marker i's emission and everything after it
    StateValues leftPart, rightPart;
};

}  // namespace likelihood
