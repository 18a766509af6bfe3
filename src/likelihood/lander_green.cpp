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
    : space(space), trait(trait), fractions(fractions) {}

void TwoPointTrait::add(std::vector<EmissionTerm>& terms, double logScale) {
    // In state order, each state once: the sums then read the moved trait front to back.
    std::sort(terms.begin(), terms.end(), [](const EmissionTerm& a, const EmissionTerm& b) { return a.state < b.state; });
    std::vector<EmissionTerm> merged;
    for (const EmissionTerm& term : terms)
        if (!merged.empty() && merged.back().state == term.state) merged.back().weight += term.weight;
        else merged.push_back(term);
    pendingTerms += merged.size();
    pending.push_back({std::move(merged), logScale});
    if (pendingTerms >= std::max<size_t>(size_t(1) << 20, 2 * trait.values.size())) flush();
}

void TwoPointTrait::flush() {
    const size_t first = results.size();
    for (size_t m = 0; m < pending.size(); ++m) results.emplace_back(fractions.size());
    moved.resize(trait.values.size());
    for (size_t f = 0; f < fractions.size(); ++f) {
        space.transition(fractions[f], trait.values.data(), moved.data());
        for (size_t m = 0; m < pending.size(); ++m) {
            double sum = 0.0;
            for (const EmissionTerm& term : pending[m].terms) sum += term.weight * moved[term.state];
            results[first + m][f] = lnSum(sum, trait.logScale + pending[m].logScale, space.bits());
        }
    }
    pending.clear();
    pendingTerms = 0;
}

const std::vector<std::vector<double>>& TwoPointTrait::lnLikelihoods() {
    if (!pending.empty()) flush();
    return results;
}

namespace {

// `to` = `from` moved across theta, times the emission, with their scales.
void moveAndEmit(const InheritanceSpace& space, const ScaledVector& from, double theta, const ScaledVector& emission,
                 ScaledVector& to) {
    to.values.resize(from.values.size());
    space.transition(theta, from.values.data(), to.values.data());
    for (size_t s = 0; s < to.values.size(); ++s) to.values[s] *= emission.values[s];
    to.logScale = from.logScale + emission.logScale;
    to.normalise();
}

}  // namespace

void MarkerWindow::sweep(const std::vector<ScaledVector>& emissions, const std::vector<double>& fractions) {
    markers = emissions.size();
    if (forward.size() < markers) {
        forward.resize(markers);
        backward.resize(markers);
    }
    forward[0] = emissions[0];
    for (size_t i = 1; i < markers; ++i) moveAndEmit(space, forward[i - 1], fractions[i - 1], emissions[i], forward[i]);
    backward[markers - 1] = emissions[markers - 1];
    for (size_t i = markers - 1; i-- > 0;) moveAndEmit(space, backward[i + 1], fractions[i], emissions[i], backward[i]);
}

double MarkerWindow::lnLikelihood(const ScaledVector& trait, int position, double left, double right) {
    const int k = static_cast<int>(markers);
    const size_t n = trait.values.size();
    double sum = 0.0;
    double logScale = trait.logScale;
    if (position == 0 || position == k) {
        const ScaledVector& side = position == 0 ? backward[0] : forward[static_cast<size_t>(k - 1)];
        rightPart.resize(n);
        space.transition(left, side.values.data(), rightPart.data());
        for (size_t s = 0; s < n; ++s) sum += trait.values[s] * rightPart[s];
        logScale += side.logScale;
    } else {
        const ScaledVector& before = forward[static_cast<size_t>(position - 1)];
        const ScaledVector& after = backward[static_cast<size_t>(position)];
        leftPart.resize(n);
        rightPart.resize(n);
        space.transition(left, before.values.data(), leftPart.data());
        space.transition(right, after.values.data(), rightPart.data());
        for (size_t s = 0; s < n; ++s) sum += leftPart[s] * trait.values[s] * rightPart[s];
        logScale += before.logScale + after.logScale;
    }
    return lnSum(sum, logScale, space.bits());
}

}  // namespace likelihood
