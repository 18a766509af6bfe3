#include "linkage/fastlink_results.h"

#include "driver/utilities.h"

FastlinkLikelihoods::~FastlinkLikelihoods() {
    for (auto& entry : likelihoods) delete entry.second;
}

void FastlinkLikelihoods::addLikelihood(const std::string& pedigreeId, double lnLike, double log10Like,
                                        double lodScore) {
    pedigreeNames.push_back(pedigreeId);
    FastlinkLikelihood*& slot = likelihoods[pedigreeId];
    // A repeated id keeps both names but only the later values.
    delete slot;
    slot = new FastlinkLikelihood(pedigreeId, lnLike, log10Like, lodScore);
}

FastlinkLikelihood* FastlinkLikelihoods::getLikelihood(const std::string& pedigreeId) const {
    auto found = likelihoods.find(pedigreeId);
    return found == likelihoods.end() ? nullptr : found->second;
}

MLinkMarker::~MLinkMarker() {
    for (auto& entry : likelihoods) delete entry.second;
}

void MLinkMarker::addLikelihoods(double theta, FastlinkLikelihoods* record) {
    const std::string key = doubleToString(theta);
    thetaNames.push_back(key);
    FastlinkLikelihoods*& slot = likelihoods[key];
    if (slot != record) delete slot;
    slot = record;
}

FastlinkLikelihoods* MLinkMarker::getLikelihoods(double theta) const { return getLikelihoods(doubleToString(theta)); }

FastlinkLikelihoods* MLinkMarker::getLikelihoods(const std::string& thetaText) const {
    auto found = likelihoods.find(thetaText);
    return found == likelihoods.end() ? nullptr : found->second;
}

FastlinkLikelihoods* MLinkMarker::getLikelihoodWithMaxLodScore() const {
    FastlinkLikelihoods* best = nullptr;
    for (const std::string& name : thetaNames) {
        FastlinkLikelihoods* record = getLikelihoods(name);
        if (!record) continue;
        // Strictly greater: among equal LODs the earlier (smaller) theta stays.
        if (!best || record->getLodScore() > best->getLodScore()) best = record;
    }
    return best;
}
