#pragma once
// Test access to the private state of MLink, and small builders of likelihood records.

#include <cmath>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "linkage/mlink.h"

class MLinkTestAccess {
public:
    static void setMarkers(MLink& m, const std::vector<std::string>& markers, int current) {
        m.markers = markers;
        m.currentMarker = current;
    }
    static const std::vector<MLinkMarker*>& currentResults(const MLink& m) { return m.currentResults; }
    static void setMode(MLink& m, const std::string& mode) { m.mode = mode; }
    // Hands one phenotype's marker records to the object (which takes ownership).
    static void addPhenotype(MLink& m, const std::string& phenotype, const std::vector<MLinkMarker*>& markers) {
        m.phenotypes.push_back(phenotype);
        m.results.push_back(markers);
    }
    static const std::vector<std::vector<std::vector<std::vector<MLinkHLod*>>>>& grid(const MLink& m) {
        return m.hlodGrid;
    }
    static const std::vector<std::string>& alphaNames(const MLink& m) { return m.alphaNames; }
    static const std::vector<std::string>& hlodThetaNames(const MLink& m) { return m.hlodThetaNames; }
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
// of whom k agree with one phase and r = n - k with the other.
inline double closedFormLod(double theta, int k, int r) {
    const int n = k + r;
    const double phase1 = std::pow(1.0 - theta, k) * std::pow(theta, r);
    const double phase2 = std::pow(theta, k) * std::pow(1.0 - theta, r);
    return std::log10((phase1 + phase2) / 2.0 / std::pow(0.5, n));
}
