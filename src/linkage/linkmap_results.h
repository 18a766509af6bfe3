#pragma once
// One LINKMAP run of a window: the trait at one position of the window, evaluated at a row of
// points (its recombination fraction to the neighbouring marker moved step by step). Each point
// is a FastlinkLikelihoods record with the point's recombination fractions, the totals and the
// pedigrees' natural-log likelihoods.

#include <string>
#include <vector>

#include "linkage/fastlink_results.h"

class LinkmapLikelihoods {
public:
    LinkmapLikelihoods(std::vector<int> locusOrder, int numberOfLoci, std::vector<std::string> markerNames,
                       int numberOfPedigrees, int traitPosition);
    ~LinkmapLikelihoods();
    LinkmapLikelihoods(const LinkmapLikelihoods&) = delete;
    LinkmapLikelihoods& operator=(const LinkmapLikelihoods&) = delete;

    // Reads LINKMAP's output file. False when it cannot be opened or ends inside a block.
    bool readOutFile(const std::string& fileName);
    // The natural-log likelihood of the pedigree at the first (which = 0) or the last (which = 1)
    // evaluation; -99.0 when the pedigree is not there or `which` is neither.
    double getNullMinus2LNLikelihoodForPedigree(const std::string& pedigreeId, int which) const;
    // The record's console table.
    void printBetter() const;

    void addEvaluation(FastlinkLikelihoods* evaluation) { evaluations.push_back(evaluation); }
    const std::vector<FastlinkLikelihoods*>& getEvaluations() const { return evaluations; }
    // The window's unlinked reference: -2 ln L of the trait unlinked before the first marker.
    void setNullMinus2LnLikelihood(double value) { nullMinus2LnLikelihood = value; }
    double getNullMinus2LnLikelihood() const { return nullMinus2LnLikelihood; }
    // The total LOD of an evaluation against the window's unlinked reference.
    double getLodScore(const FastlinkLikelihoods* evaluation) const;
    // The recombination fraction between the trait and the marker before it (the first marker
    // when the trait is first).
    double getTraitRecombinationFraction(const FastlinkLikelihoods* evaluation) const;
    int getTraitPosition() const { return traitPosition; }
    int getNumberOfLoci() const { return numberOfLoci; }
    int getNumberOfPedigrees() const { return numberOfPedigrees; }
    const std::vector<int>& getLocusOrder() const { return locusOrder; }
    const std::vector<std::string>& getMarkerNames() const { return markerNames; }

private:
    int numberOfLoci;
    int numberOfPedigrees;
    std::vector<int> locusOrder;
    int traitPosition;
    std::vector<std::string> markerNames;
    double nullMinus2LnLikelihood = 0.0;
    std::vector<FastlinkLikelihoods*> evaluations;
};
