#pragma once
// Test access to MLink's private state, likelihood records built by hand, closed forms.

#include <cmath>
#include <cstdlib>

#include "linkage/mlink.h"
#include "support/ghostscript.h"

class MLinkTestAccess {
public:
    // Hands one phenotype's marker records to the object (which takes ownership).
    static void addPhenotype(MLink& m, const std::string& phenotype, const std::vector<MLinkMarker*>& markers) {
        m.phenotypes.push_back(phenotype);
        m.results.push_back(markers);
    }
    static const auto& grid(const MLink& m) { return m.hlodGrid; }  // [phenotype][marker][theta][alpha]
};

// Per-pedigree LODs at one theta, pedigree ids in file order.
using PedigreeLods = std::vector<std::pair<std::string, double>>;

// A marker record as MLINK output gives it: thetas in file order with the pedigree LODs;
// totals are the sums of the pedigree LODs.
inline MLinkMarker* makeMarker(const std::string& name, const std::vector<std::pair<double, PedigreeLods>>& blocks) {
    MLinkMarker* marker = new MLinkMarker();
    marker->setIndex(name);
    for (const auto& block : blocks) {
        auto* record = new FastlinkLikelihoods(block.first);
        double total = 0.0;
        for (const auto& pedigree : block.second) {
            record->addLikelihood(pedigree.first, 0.0, 0.0, pedigree.second);
            total += pedigree.second;
        }
        record->setLodScore(total);
        marker->addLikelihoods(block.first, record);
    }
    return marker;
}

// The MLINK theta grid: the unlinked theta 0.5 first, then 0, 0.02, ..., 0.48.
inline std::vector<double> mlinkThetas() {
    std::vector<double> thetas{0.5};
    for (int i = 0; i < 25; ++i) thetas.push_back(i * 0.02);
    return thetas;
}

// LOD of a phase-unknown backcross-like family: one doubly informative parent, n children
// of whom k agree with one phase and r = n - k with the other (-inf at theta 0 when r, k > 0).
inline double closedFormLod(double t, int k, int r) {
    const double phases = std::pow(1 - t, k) * std::pow(t, r) + std::pow(t, k) * std::pow(1 - t, r);
    return std::log10(phases / 2 / std::pow(0.5, k + r));
}

// Heterogeneity LOD: the sum over pedigrees of log10(alpha 10^LOD + 1 - alpha).
inline double admixtureLod(const std::vector<double>& lods, double alpha) {
    double sum = 0.0;
    for (double lod : lods) sum += std::log10(alpha * std::pow(10.0, lod) + 1.0 - alpha);
    return sum;
}
