#include "likelihood/lander_green.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace likelihood {

namespace {

// ln of 2^-bits times the sum of a[s] b[s] (c[s]) with their scales.
double lnSum(double sum, double logScale, int bits) {
    if (!(sum > 0.0) || std::isinf(logScale)) return -std::numeric_limits<double>::infinity();
    return std::log(sum) + logScale - bits * std::log(2.0);
}

}  // namespace

void ScaledVector::normalise() {
    const double largest = values.empty() ? 0.0 : *std::max_element(values.begin(), values.end());
    if (!(largest > 0.0)) {
        logScale = -std::numeric_limits<double>::infinity();
        return;
    }
    const double inverse = 1.0 / largest;
    for (double& v : values) v *= inverse;
    logScale += std::log(largest);
}

TwoPointTrait::TwoPointTrait(const InheritanceSpace& space, const ScaledVector& trait,
                             const std::vector<double>& fractions)
    : bits(space.bits()), logScale(trait.logScale) {
    for (double theta : fractions) {
        moved.push_back(trait.values);
        space.transition(theta, moved.back().data());
    }
}

std::vector<double> TwoPointTrait::lnLikelihoods(const ScaledVector& marker) const {
    std::vector<double> lnLikelihoods;
    for (const std::vector<double>& trait : moved) {
        double sum = 0.0;
        for (size_t s = 0; s < trait.size(); ++s) sum += trait[s] * marker.values[s];
        lnLikelihoods.push_back(lnSum(sum, logScale + marker.logScale, bits));
    }
    return lnLikelihoods;
}

MarkerWindow::MarkerWindow(const InheritanceSpace& space, const std::vector<ScaledVector>& markers,
                           const std::vector<double>& fractions)
    : space(space), forward(markers.size()), backward(markers.size()) {
    const size_t k = markers.size();
    forward[0] = markers[0];
    for (size_t i = 1; i < k; ++i) {
        ScaledVector& f = forward[i];
        f = forward[i - 1];
        space.transition(fractions[i - 1], f.values.data());
        for (size_t s = 0; s < f.values.size(); ++s) f.values[s] *= markers[i].values[s];
        f.logScale += markers[i].logScale;
        f.normalise();
    }
    backward[k - 1] = markers[k - 1];
    for (size_t i = k - 1; i-- > 0;) {
        ScaledVector& b = backward[i];
        b = backward[i + 1];
        space.transition(fractions[i], b.values.data());
        for (size_t s = 0; s < b.values.size(); ++s) b.values[s] *= markers[i].values[s];
        b.logScale += markers[i].logScale;
        b.normalise();
    }
}

double MarkerWindow::lnLikelihood(const ScaledVector& trait, int position, double left, double right) {
    const int k = static_cast<int>(forward.size());
    const size_t n = trait.values.size();
    double sum = 0.0;
    double logScale = trait.logScale;
    if (position == 0) {
        rightPart = backward[0].values;
        space.transition(left, rightPart.data());
        for (size_t s = 0; s < n; ++s) sum += trait.values[s] * rightPart[s];
        logScale += backward[0].logScale;
    } else if (position == k) {
        leftPart = forward[static_cast<size_t>(k - 1)].values;
        space.transition(left, leftPart.data());
        for (size_t s = 0; s < n; ++s) sum += trait.values[s] * leftPart[s];
        logScale += forward[static_cast<size_t>(k - 1)].logScale;
    } else {
        leftPart = forward[static_cast<size_t>(position - 1)].values;
        rightPart = backward[static_cast<size_t>(position)].values;
        space.transition(left, leftPart.data());
        space.transition(right, rightPart.data());
        for (size_t s = 0; s < n; ++s) sum += leftPart[s] * trait.values[s] * rightPart[s];
        logScale += forward[static_cast<size_t>(position - 1)].logScale + backward[static_cast<size_t>(position)].logScale;
    }
    return lnSum(sum, logScale, space.bits());
}

}  // namespace likelihood
