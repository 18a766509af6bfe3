#pragma once
// The likelihoods of a linkage analysis come from two exact engines: the native engine and
// FASTLINK. This is what the singlepoint and multipoint analyses share in sending each
// pedigree one way, running the native side on threads, and laying the values out the way
// FASTLINK prints them, so that every record is filled alike whichever engine computed it.

#include <chrono>
#include <string>
#include <vector>

#include "likelihood/pedigree_input.h"
#include "linkage/fastlink_batches.h"

class Pedigrees;

// Which pedigrees of a set each engine computes in one analysis.
struct EngineRouting {
    std::vector<size_t> native;    // positions in the set, ascending
    std::vector<size_t> fastlink;  // positions in the set, ascending
    std::vector<size_t> skipped;
    std::vector<int> bits;         // per position: meiosis bits (0 where the native engine cannot take it)
    std::vector<char> peeled;      // per position: the native engine peels it
    std::vector<double> nativeSeconds;  // per position: the native engine's estimated time for the analysis
    std::string notes;             // one line per skipped pedigree
    // The console line saying how many pedigrees each engine computes (and, verbose, which).
    std::string summary(const Pedigrees& pedigrees, const FastlinkPedigreeSet& set) const;
};

// What the analysis asks of every pedigree and trait, for the cost of each engine.
struct AnalysisWork {
    std::vector<std::string> traits;
    std::vector<const FastlinkMarkerColumn*> columns;  // every marker column the analysis reads
    std::vector<const std::vector<double>*> frequencies;  // their locus allele frequencies
    int liabilityClasses = 1;
    // Per trait: the native engine's marker emissions, transitions and sums over the states.
    double markerEmissions = 1.0;
    double transitions = 1.0;
    double sums = 1.0;
    // Per trait: FASTLINK's evaluations, the share of a program run of each, and the markers
    // of one evaluation.
    double evaluations = 1.0;
    double runShare = 0.0;
    int markersPerEvaluation = 1;
    // The loci of every likelihood: per group, its marker columns (places in `columns`) with the
    // trait among them, and how many likelihoods of them are evaluated per trait.
    struct Loci {
        std::vector<int> columns;
        double evaluations = 1.0;
    };
    std::vector<Loci> loci;
    int vectors = 3;             // vectors over the states the native engine keeps per pedigree
    bool fastlinkUsable = true;  // false where FASTLINK cannot take the analysis (window too large)
    std::string analysisName;    // "the singlepoint analysis" in messages
};

// After the native engine's tasks (numbered trait by trait over the native pedigrees): the
// pedigrees of tasks that ran out of memory go to FASTLINK when the choice is auto and FASTLINK
// can take the analysis, else are skipped, each with a message. Fills the positions each engine
// computes in the end and returns, per native pedigree, whether it failed.
std::vector<char> rerouteOutOfMemory(const Pedigrees& pedigrees, const FastlinkPedigreeSet& set,
                                     const EngineRouting& routing, const std::vector<size_t>& outOfMemory,
                                     bool fastlinkUsable, std::vector<size_t>& nativePositions,
                                     std::vector<size_t>& fastlinkPositions);

// Drops the entries of the native pedigrees that failed.
template <class T>
void dropFailed(std::vector<T>& perPedigree, const std::vector<char>& failed) {
    std::vector<T> kept;
    for (size_t i = 0; i < perPedigree.size(); ++i)
        if (i >= failed.size() || !failed[i]) kept.push_back(std::move(perPedigree[i]));
    perPedigree = std::move(kept);
}

// The verbose line of where an analysis's time went.
std::string engineTimes(std::chrono::steady_clock::duration native, std::chrono::steady_clock::duration fastlink);

// The trait as the native engine takes it; false, with the reason printed, when it cannot.
bool nativeTraitModel(const Locus* trait, bool xlinked, likelihood::TraitModel& model);

EngineRouting routePedigrees(const Pedigrees& pedigrees, const FastlinkPedigreeSet& set, const AnalysisWork& work);

// The natural-log likelihood as FASTLINK writes it: six decimals, and -1e20 for data that
// cannot occur.
double fastlinkLnLike(double lnLike);
// A recombination fraction as FASTLINK prints it (three decimals), which names the row.
double printedFraction(double theta);
// MLINK's fractions in its order: 0.5, then from 0 in steps of 0.02 while not above 0.49.
std::vector<double> mlinkFractions();
// LINKMAP's fractions of the trait to its left neighbour (to the first marker at position 0)
// for a trait position of a window with `markers` markers; `interval` is the fraction of the
// interval the trait is in (unused outside the window).
std::vector<double> linkmapTraitFractions(int position, int markers, double interval, int steps);
// The fraction to the right neighbour of a trait at `left` in an interval of `interval`, with
// no interference.
double rightFraction(double interval, double left);
