#include "linkage/linkmap.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <iostream>
#include <memory>
#include <mutex>

#include "driver/utilities.h"
#include "engine/fastlink_limits.h"
#include "engine/likelihood_work.h"
#include "likelihood/emissions.h"
#include "likelihood/lander_green.h"
#include "likelihood/peeling.h"
#include "linkage/fastlink_batches.h"
#include "linkage/likelihood_routing.h"
#include "input/linkage_locus_file.h"
#include "input/marker_map.h"
#include "model/pedigrees.h"
#include "pedigree/marker_info.h"

// One window of the scan: its markers, how their alleles are written, and its pedigree
// batches (the same for every phenotype and trait position).
struct Linkmap::WindowPlan {
    std::string key;
    std::vector<std::string> markerNames;
    std::vector<std::string> markerIndices;
    std::vector<const Locus*> loci;
    std::vector<FastlinkMarkerColumn> columns;
    std::vector<double> fractions;  // between adjacent markers
    // Per trait position, the trait's fraction to its left neighbour at each point LINKMAP
    // evaluates, and the fractions it prints for the point.
    std::vector<std::vector<double>> traitFractions;
    std::vector<std::vector<std::vector<double>>> printedPoints;
    BatchPlan batches;
    std::string notes;  // pedigrees left out, one message per line
    std::string skipMessage;
};

Linkmap::Linkmap(Pedigrees* pedigrees) : pedigrees(pedigrees) {}

Linkmap::~Linkmap() { clear(); }

void Linkmap::clear() {
    for (auto& phenotype : windowsByPhenotype)
        for (auto& window : phenotype.second)
            for (LinkmapLikelihoods* record : window.second) delete record;
    windowsByPhenotype.clear();
    windowKeysByPhenotype.clear();
    phenotypes.clear();
    clearHLods();
}

void Linkmap::clearHLods() {
    for (auto& phenotype : hlods)
        for (auto& window : phenotype.second)
            for (auto& position : window.second)
                for (auto& point : position)
                    for (LinkmapHLod* value : point) delete value;
    hlods.clear();
    alphaNames.clear();
}

std::string Linkmap::welcome() const { return programBanner("Program for Linkage and Linkage Disequilibrium analysis"); }

const std::vector<std::string>& Linkmap::getWindowKeys(const std::string& phenotype) const {
    static const std::vector<std::string> none;
    const auto found = windowKeysByPhenotype.find(phenotype);
    return found == windowKeysByPhenotype.end() ? none : found->second;
}

const std::vector<LinkmapLikelihoods*>& Linkmap::getWindow(const std::string& phenotype, const std::string& key) const {
    static const std::vector<LinkmapLikelihoods*> none;
    const auto found = windowsByPhenotype.find(phenotype);
    if (found == windowsByPhenotype.end()) return none;
    const auto window = found->second.find(key);
    return window == found->second.end() ? none : window->second;
}

double Linkmap::pedigreeLod(const std::vector<LinkmapLikelihoods*>& window, const FastlinkLikelihoods* evaluation,
                            const std::string& pedigree) {
    const double null = window.empty() ? -99.0 : window.front()->getNullMinus2LNLikelihoodForPedigree(pedigree, 0);
    const FastlinkLikelihood* value = evaluation->getLikelihood(pedigree);
    return ((value ? value->getLnLike() : -99.0) - null) / std::log(10.0);
}

namespace {

// The natural-log likelihoods of the native engine's pedigrees at one trait position of a
// window: per pedigree, per evaluation point.
using NativePositionValues = std::vector<std::vector<double>>;

// The merged record of one trait position: per evaluation point every pedigree in the set's
// order under its report name, from the FASTLINK batch that computed it (records keep
// FASTLINK's numbers, the place in the set from 1) or from the native engine; totals are the
// batches' totals plus the native values. Null when the sources do not hold the same points.
LinkmapLikelihoods* mergePosition(const std::vector<std::unique_ptr<LinkmapLikelihoods>>& batches,
                                  const NativePositionValues& native, const std::vector<size_t>& nativePositions,
                                  const std::vector<std::vector<double>>& nativePoints, const FastlinkPedigreeSet& set,
                                  const LinkmapLikelihoods& shape, int pedigreeCount) {
    auto merged = std::make_unique<LinkmapLikelihoods>(shape.getLocusOrder(), shape.getNumberOfLoci(),
                                                       shape.getMarkerNames(), pedigreeCount, shape.getTraitPosition());
    const size_t points = batches.empty() ? nativePoints.size() : batches.front()->getEvaluations().size();
    for (const auto& batch : batches)
        if (batch->getEvaluations().size() != points) return nullptr;
    if (!native.empty() && nativePoints.size() != points) return nullptr;
    std::vector<int> fromNative(set.pedigrees.size(), -1);
    for (size_t i = 0; i < nativePositions.size(); ++i) fromNative[nativePositions[i]] = static_cast<int>(i);
    std::vector<const FastlinkLikelihood*> fromBatches(set.pedigrees.size(), nullptr);
    for (size_t e = 0; e < points; ++e) {
        const std::vector<double>& thetas =
            batches.empty() ? nativePoints[e] : batches.front()->getEvaluations()[e]->getRecombinationFractions();
        if (!native.empty() && thetas != nativePoints[e]) return nullptr;
        auto* point = new FastlinkLikelihoods(thetas.empty() ? 0.0 : thetas.front());
        point->setRecombinationFractions(thetas);
        double lnLike = 0.0, log10Like = 0.0;
        std::fill(fromBatches.begin(), fromBatches.end(), nullptr);
        for (const auto& batch : batches) {
            const FastlinkLikelihoods* part = batch->getEvaluations()[e];
            if (part->getRecombinationFractions() != thetas) {
                delete point;
                return nullptr;
            }
            for (const std::string& number : part->getPedigreeNames())
                fromBatches[static_cast<size_t>(stringToInt(number) - 1)] = part->getLikelihood(number);
            lnLike += part->getLnLikeTotal();
            log10Like += part->getLog10Total();
        }
        for (size_t position = 0; position < set.pedigrees.size(); ++position) {
            const std::string& label = set.nameOfNumber.at(IntToString(static_cast<int>(position) + 1));
            if (fromNative[position] >= 0) {
                // As LINKMAP's line is read: six decimals, -infinity where the data cannot occur.
                const double value = native[static_cast<size_t>(fromNative[position])][e];
                const double ln = std::isinf(value) ? value : std::round(value * 1e6) / 1e6;
                const double log10 = std::isinf(value) ? value : std::round(value / std::log(10.0) * 1e6) / 1e6;
                point->addLikelihood(label, ln, log10, -99.0);
                lnLike += ln;
                log10Like += log10;
            } else if (const FastlinkLikelihood* pedigree = fromBatches[position]) {
                point->addLikelihood(label, pedigree->getLnLike(), pedigree->getLog10Like(), pedigree->getLodScore());
            }
        }
        point->setLnLikeTotal(lnLike);
        point->setLog10Total(log10Like);
        point->setMinus2LnLike(-2.0 * lnLike);
        merged->addEvaluation(point);
    }
    return merged.release();
}

// The LINKMAP locus file of one trait position: the trait and the window's markers with the
// batch's alleles, the trait moved from its start toward the stop value.
LinkageLocusFile* linkmapLocusFile(const LinkageLocusFile* model, const Locus* trait,
                                   const std::vector<const Locus*>& markers,
                                   const std::vector<AlleleDowncoding>& alleles, const std::vector<double>& fractions,
                                   int traitPosition, int steps) {
    const int k = static_cast<int>(markers.size());
    auto* file = new LinkageLocusFile();
    file->setNumberOfLoci(k + 1);
    file->setRiskLocus(0);
    file->setSexLink(model->getXlinked());
    file->setProgramNumber(4);
    file->setMutLocus(0);
    file->setMutRateMale(0.0);
    file->setMutRateFemale(0.0);
    file->setHapFreq(0);
    std::vector<int> order;
    for (int m = 0; m < k; ++m) order.push_back(m + 2);
    order.insert(order.begin() + traitPosition, 1);
    file->setLocusOrder(order);
    file->addLocus(new Locus(trait));
    for (int m = 0; m < k; ++m) {
        auto* locus = new Locus(markers[static_cast<size_t>(m)]->getName(), 3,
                                static_cast<int>(alleles[static_cast<size_t>(m)].frequencies.size()));
        locus->addAlleleFrequencies(alleles[static_cast<size_t>(m)].frequencies);
        file->addLocus(locus);
    }
    file->setSexDifference(0);
    file->setInterference(0);
    double stop = 0.5;
    if (traitPosition == 0) {
        file->addRecombinationFraction(0.5);
        stop = 0.0001;
    }
    for (int i = 0; i + 1 < k; ++i) {
        if (traitPosition - 1 == i) {
            file->addRecombinationFraction(0.0);
            stop = fractions[static_cast<size_t>(i)];
        }
        file->addRecombinationFraction(fractions[static_cast<size_t>(i)]);
    }
    if (traitPosition == k) {
        file->addRecombinationFraction(0.0);
        stop = 0.5;
    }
    file->setLinkmapLastLine(1, stop, steps);
    return file;
}

}  // namespace

bool Linkmap::planWindow(const std::vector<int>& loci, WindowPlan& plan) {
    MarkerMap* map = pedigrees->getMarkerMap();
    for (int locus : loci) {
        const std::string index = IntToString(locus - 1);
        plan.markerIndices.push_back(index);
        plan.markerNames.push_back(map->getMarkerName(index));
        plan.key += plan.markerNames.back() + " ";
        FastlinkMarkerColumn column;
        const Locus* markerLocus = fastlinkMarkerLocus(*pedigrees, index, plan.markerNames.back(), column);
        if (!markerLocus) return false;
        plan.loci.push_back(markerLocus);
        plan.columns.push_back(column);
    }
    for (size_t m = 0; m + 1 < plan.markerIndices.size(); ++m) {
        plan.fractions.push_back(
            map->getRecombinationFractionBetweenWithIndex(plan.markerIndices[m], plan.markerIndices[m + 1]));
        // LINKMAP cannot move the trait between two markers at one position: it evaluates
        // nothing useful there.
        if (plan.fractions.back() < 0.00001 && plan.skipMessage.empty())
            plan.skipMessage = "Skipping window " + plan.key + "since markers " + plan.markerNames[m] + " and " +
                               plan.markerNames[m + 1] + " are at the same map position\n";
    }
    // The points LINKMAP evaluates at each trait position, with the fractions it prints.
    const int k = static_cast<int>(loci.size());
    for (int t = 0; t <= k && plan.skipMessage.empty(); ++t) {
        const double interval = t > 0 && t < k ? plan.fractions[static_cast<size_t>(t - 1)] : 0.5;
        plan.traitFractions.push_back(linkmapTraitFractions(t, k, interval, steps));
        std::vector<std::vector<double>> printed;
        for (double left : plan.traitFractions.back()) {
            std::vector<double> thetas;
            for (int i = 0; i + 1 < k; ++i) {
                if (t - 1 == i) {
                    thetas.push_back(printedFraction(left));
                    thetas.push_back(printedFraction(rightFraction(plan.fractions[static_cast<size_t>(i)], left)));
                } else {
                    thetas.push_back(printedFraction(plan.fractions[static_cast<size_t>(i)]));
                }
            }
            if (t == 0) thetas.insert(thetas.begin(), printedFraction(left));
            if (t == k) thetas.push_back(printedFraction(left));
            printed.push_back(thetas);
        }
        plan.printedPoints.push_back(printed);
    }
    return true;
}

void Linkmap::planBatches(const FastlinkPedigreeSet& set, const std::vector<size_t>& positions, bool nativeToo,
                          WindowPlan& plan) {
    std::vector<PedigreeLoad> loads;
    for (size_t position : positions) loads.push_back(pedigrees->getFastlinkLoad(set.pedigrees[position], plan.columns));
    std::vector<std::vector<double>> frequencies;
    for (const Locus* locus : plan.loci) frequencies.push_back(locus->getAlleleFrequencies());
    // As few runs as the limits allow: LINKMAP sets up tables of a few hundred megabytes at the
    // start of every run, which costs more than it saves to give small pedigrees runs of their
    // own (measured on the shipped example: 116 s one pedigree per run, 88 s one run per
    // position). The trait positions give the cores enough runs to share.
    plan.batches = ::planBatches(loads, frequencies);
    for (PedigreeBatch& batch : plan.batches.batches)
        for (size_t& pedigree : batch.pedigrees) pedigree = positions[pedigree];
    for (SkippedPedigree& skipped : plan.batches.skipped) {
        skipped.pedigree = positions[skipped.pedigree];
        plan.notes += "Skipping pedigree " + pedigrees->getPedigreeLabel(set.pedigrees[skipped.pedigree]) +
                      " for the window " + plan.key + "since it has " + skipped.reason +
                      (skipped.markerColumn >= 0
                           ? " at marker " + plan.markerNames[static_cast<size_t>(skipped.markerColumn)]
                           : "") +
                      "\n";
    }
    if (plan.batches.batches.empty() && !nativeToo)
        plan.skipMessage = "Skipping window " + plan.key + "since no pedigree can be analysed\n";
}

bool Linkmap::run() {
    clear();
    resultsFlag = true;
    MarkerMap* map = pedigrees->getMarkerMap();
    const LinkageLocusFile* model = pedigrees->getLinkageLocusFile();
    if (!map || !model || !pedigrees->isPedigreeFileRead()) return false;

    // Markers by their place in the locus model: map index + 1 (the trait is at 0).
    std::vector<int> candidates;
    if (!pedigrees->getOnlyMarkers().empty()) {
        for (const std::string& name : pedigrees->getOnlyMarkers())
            if (const Marker* marker = map->getMarkerWithName(name)) candidates.push_back(stringToInt(marker->getIndex()) + 1);
    } else {
        for (int index = 0; index < map->getMarkerCount(); ++index) candidates.push_back(index + 1);
    }
    std::vector<int> loci;
    for (int locus : candidates) {
        const std::string index = IntToString(locus - 1);
        const MarkerInfo* info = pedigrees->getMarkerInfo()->find(index);
        if (info && info->getAlleleCount() > 1) {
            loci.push_back(locus);
        } else if (frequenciesFromLocusFile) {
            std::cout << "Warning: Pedigree file contains less alleles than defined in linkage data file (analyzing "
                         "anyway)\n";
            loci.push_back(locus);
        } else {
            std::cout << "Warning: Marker " << map->getMarkerName(index) << " has less than 2 alleles...SKIPPING!\n";
        }
    }
    if (loci.empty()) {
        std::cout << "No markers to analyze...!\n";
        return false;
    }
    if (loci.size() == 1) {
        std::cout << "Too few markers to analyze...!\n";
        resultsFlag = false;
        return true;
    }

    std::vector<std::string> analysed;
    if (phenotypeGiven) {
        if (pedigrees->isTrait(phenotypeName)) analysed.push_back(phenotypeName);
        else std::cout << "Error: Phenotype " << phenotypeName << " not found!\n";
    } else {
        analysed = pedigrees->getTraitNames();
    }
    if (analysed.empty()) {
        std::cout << "No phenotypes to analyze...!\n";
        return false;
    }

    // Window size 0: every marker of a chromosome in one window, which only the native engine
    // computes; LINKMAP takes the trait and at most 7 markers.
    const bool fastlinkOnly = pedigrees->getEngineSettings().kind == EngineKind::Fastlink;
    if (windowSize < 2 && !(windowSize == 0 && !fastlinkOnly)) {
        std::cout << "Warning: Multipoint window size must be > 1! Setting window size to 3.\n";
        windowSize = 3;
    }
    if (windowSize > static_cast<int>(loci.size())) {
        std::cout << "Warning: Multipoint window size cannot be more than number of markers! Setting window size to "
                  << loci.size() << "\n";
        windowSize = static_cast<int>(loci.size());
    }
    if (fastlinkOnly && windowSize > fastlink_limits::kLociPerRun - 1) {
        std::cout << "Warning: LINKMAP takes at most " << fastlink_limits::kLociPerRun - 1
                  << " markers with the trait! Setting window size to " << fastlink_limits::kLociPerRun - 1 << "\n";
        windowSize = fastlink_limits::kLociPerRun - 1;
    }
    if (!execute_analysis(analysed, loci)) return false;
    resultsFlag = true;
    return true;
}

// The windows of a scan: `size` adjacent loci sliding along the list, or for size 0 the loci
// of each chromosome (a chromosome with a single marker has no window).
static std::vector<std::vector<int>> scanWindows(const std::vector<int>& loci, int size, MarkerMap& map) {
    std::vector<std::vector<int>> windows;
    if (size > 0) {
        for (size_t s = 0; s + static_cast<size_t>(size) <= loci.size(); ++s)
            windows.emplace_back(loci.begin() + static_cast<long>(s), loci.begin() + static_cast<long>(s) + size);
        return windows;
    }
    std::string chromosome;
    for (int locus : loci) {
        const std::string& here = map.getMarker(IntToString(locus - 1))->getChromosome();
        if (windows.empty() || here != chromosome) windows.emplace_back();
        chromosome = here;
        windows.back().push_back(locus);
    }
    std::vector<std::vector<int>> kept;
    for (const std::vector<int>& window : windows)
        if (window.size() > 1) kept.push_back(window);
        else
            std::cout << "Skipping chromosome " << map.getMarker(IntToString(window.front() - 1))->getChromosome()
                      << ", since it has one marker to analyse\n";
    return kept;
}

bool Linkmap::execute_analysis(const std::vector<std::string>& analysed, const std::vector<int>& loci) {
    std::cout << "Multipoint linkage analysis...\n"
              << std::string(78, '=') << "\n"
              << "Multipoint window size " << windowSize << (windowSize == 0 ? " (whole chromosomes)" : "") << "\n"
              << "Number of phenotypes " << analysed.size() << "\n"
              << "Number of markers    " << loci.size() << "\n";

    const LinkageLocusFile* model = pedigrees->getLinkageLocusFile();
    const Locus* trait = model->getLocus(0);
    if (!trait) {
        std::cout << "Error: LINKAGE locus file model has no trait locus\n";
        return false;
    }
    const int liabilityClasses = pedigrees->getFastlinkLiabilityClasses(trait);
    if (liabilityClasses == 0) return false;
    const FastlinkPedigreeSet set = fastlinkPedigreeSet(*pedigrees, false);

    const std::vector<std::vector<int>> windowLoci = scanWindows(loci, windowSize, *pedigrees->getMarkerMap());
    const size_t windows = windowLoci.size();
    std::vector<WindowPlan> plans(windows);
    for (size_t w = 0; w < windows; ++w)
        if (!planWindow(windowLoci[w], plans[w])) return false;

    // The marker columns of the scan, each once; a window reads its own by position.
    std::vector<const FastlinkMarkerColumn*> columns;
    std::map<std::string, size_t> columnOf;
    size_t largestWindow = 0;
    AnalysisWork work;
    work.markerEmissions = work.transitions = work.sums = work.evaluations = 0.0;
    for (const WindowPlan& plan : plans) {
        if (!plan.skipMessage.empty()) continue;
        largestWindow = std::max(largestWindow, plan.columns.size());
        AnalysisWork::Loci loci;
        for (size_t m = 0; m < plan.columns.size(); ++m) {
            const FastlinkMarkerColumn& column = plan.columns[m];
            if (columnOf.emplace(column.markerIndex, columns.size()).second) {
                columns.push_back(&column);
                work.frequencies.push_back(&plan.loci[m]->getAlleleFrequencies());
            }
            loci.columns.push_back(static_cast<int>(columnOf.at(column.markerIndex)));
        }
        double points = 0.0;
        for (const auto& position : plan.printedPoints) points += static_cast<double>(position.size());
        loci.evaluations = points;
        work.loci.push_back(loci);
        const double k = static_cast<double>(plan.columns.size());
        work.markerEmissions += k;
        work.transitions += 2.0 * (k - 1.0) + 2.0 * points;
        work.sums += points;
        work.evaluations += points;
    }
    work.traits = analysed;
    work.columns = columns;
    work.liabilityClasses = liabilityClasses;
    // A LINKMAP run evaluates one trait position (about six points) for a batch of pedigrees
    // after setting up tables of a few hundred megabytes (measured on the shipped example: 14 ms
    // a point for a pedigree of 14 persons alone, most of it the set-up).
    work.runShare = 2e-3;
    work.markersPerEvaluation = static_cast<int>(std::max<size_t>(1, largestWindow));
    work.vectors = 3 * static_cast<int>(largestWindow) + 3;
    work.fastlinkUsable = static_cast<int>(largestWindow) <= fastlink_limits::kLociPerRun - 1;
    work.analysisName = "the multipoint analysis";
    const EngineRouting routing = routePedigrees(*pedigrees, set, work);
    engineCounts = {static_cast<int>(routing.native.size()), static_cast<int>(routing.fastlink.size())};

    // Native pedigrees: [phenotype][window][trait position][native pedigree][point].
    std::vector<std::vector<std::vector<NativePositionValues>>> nativeResults(
        analysed.size(), std::vector<std::vector<NativePositionValues>>(windows));
    const size_t nativeCount = routing.native.size();
    likelihood::TraitModel traitModel;
    if (nativeCount > 0) {
        if (!nativeTraitModel(trait, model->getXlinked() != 0, traitModel)) return false;
        for (auto& phenotype : nativeResults)
            for (size_t w = 0; w < windows; ++w)
                if (plans[w].skipMessage.empty())
                    phenotype[w].assign(plans[w].printedPoints.size(), NativePositionValues(nativeCount));
    }
    // A native task computes one trait of one pedigree in some of the windows that start on one
    // chromosome: all of them, or for a pedigree that costs much a run of them, so that a
    // whole-genome scan has pieces enough for many processes and one large pedigree does not keep
    // the others waiting. The pieces of a pedigree share its trait emissions in each process.
    std::vector<std::vector<size_t>> chromosomes;  // window indices, chromosome by chromosome
    std::vector<std::string> chromosomeNames;
    std::vector<double> windowWork(windows, 0.0);  // the window's share of the native work
    double scanWork = 0.0;
    for (size_t w = 0; w < windows; ++w) {
        if (!plans[w].skipMessage.empty()) continue;
        for (const auto& position : plans[w].printedPoints) windowWork[w] += 2.0 + static_cast<double>(position.size());
        scanWork += windowWork[w];
        const std::string& chromosome =
            pedigrees->getMarkerMap()->getMarker(plans[w].markerIndices.front())->getChromosome();
        if (chromosomeNames.empty() || chromosomeNames.back() != chromosome) {
            chromosomeNames.push_back(chromosome);
            chromosomes.emplace_back();
        }
        chromosomes.back().push_back(w);
    }
    struct Piece {
        size_t phenotype, pedigree, chromosome;  // pedigree: place among the native pedigrees
        std::vector<size_t> windows;
        double cost;
    };
    double nativeTotal = 0.0;
    for (size_t i = 0; i < nativeCount; ++i) nativeTotal += routing.nativeSeconds[routing.native[i]];
    // Pieces enough for a few hundred processes, of half a second at least, since each one
    // handed out costs a message and its pedigree's set-up.
    const double pieceTarget = std::max(0.5, nativeTotal / 256.0);
    std::vector<Piece> pieces;
    std::vector<char> split(nativeCount, 0);
    for (size_t p = 0; p < analysed.size(); ++p)
        for (size_t i = 0; i < nativeCount; ++i)
            for (size_t c = 0; c < chromosomes.size(); ++c) {
                double share = 0.0;
                for (size_t w : chromosomes[c]) share += windowWork[w];
                const double cost =
                    routing.nativeSeconds[routing.native[i]] / static_cast<double>(analysed.size()) * share / scanWork;
                const size_t parts = std::min(chromosomes[c].size(), static_cast<size_t>(std::ceil(cost / pieceTarget)));
                if (parts > 1) split[i] = 1;
                // Runs of windows of about equal work.
                double done = 0.0;
                for (size_t part = 0, k = 0; part < std::max<size_t>(1, parts); ++part) {
                    Piece piece{p, i, c, {}, 0.0};
                    const double until = share * static_cast<double>(part + 1) / static_cast<double>(std::max<size_t>(1, parts));
                    while (k < chromosomes[c].size() && (piece.windows.empty() || done + windowWork[chromosomes[c][k]] / 2.0 <= until)) {
                        done += windowWork[chromosomes[c][k]];
                        piece.windows.push_back(chromosomes[c][k++]);
                    }
                    if (part + 1 == std::max<size_t>(1, parts))
                        while (k < chromosomes[c].size()) piece.windows.push_back(chromosomes[c][k++]);
                    for (size_t w : piece.windows) piece.cost += cost * windowWork[w] / share;
                    if (!piece.windows.empty()) pieces.push_back(std::move(piece));
                }
            }
    // Trait emissions of the pedigrees split into pieces, made once per process.
    std::vector<std::once_flag> traitMade(analysed.size() * nativeCount);
    std::vector<likelihood::ScaledVector> traitOf(analysed.size() * nativeCount);
    NativeTasks native;
    native.count = pieces.size();
    native.compute = [&](size_t task) {
        const Piece& piece = pieces[task];
        const size_t p = piece.phenotype, i = piece.pedigree;
        likelihood::PedigreeInput input;
        std::string ignored;
        pedigrees->getLikelihoodInput(set.pedigrees[routing.native[i]], analysed[p], liabilityClasses, columns, input,
                                      ignored);
        // Each window's likelihoods at its trait positions: `place(plan)` readies a window,
        // `at(plan, t, left, right)` gives the trait at a point.
        const auto scan = [&](const auto& place, const auto& at) {
            for (size_t w : piece.windows) {
                const WindowPlan& plan = plans[w];
                place(plan);
                const int k = static_cast<int>(plan.columns.size());
                for (int t = 0; t <= k; ++t) {
                    std::vector<double>& values = nativeResults[p][w][static_cast<size_t>(t)][i];
                    values.clear();
                    for (double left : plan.traitFractions[static_cast<size_t>(t)]) {
                        const double right =
                            t > 0 && t < k ? rightFraction(plan.fractions[static_cast<size_t>(t - 1)], left) : 0.0;
                        values.push_back(at(plan, t, left, right));
                    }
                }
            }
        };
        if (routing.peeled[routing.native[i]]) {
            likelihood::LocusModel loci;
            loci.trait = traitModel;
            loci.markerFrequencies.resize(columns.size());
            for (const WindowPlan& plan : plans)
                for (size_t m = 0; m < plan.columns.size() && plan.skipMessage.empty(); ++m)
                    loci.markerFrequencies[columnOf.at(plan.columns[m].markerIndex)] = plan.loci[m]->getAlleleFrequencies();
            likelihood::Peeling peeling;
            likelihood::Peeling::build(input, loci, false, peeling);
            std::vector<int> windowColumns;
            int placedAt = -1;
            scan(
                [&](const WindowPlan& plan) {
                    windowColumns.clear();
                    for (const FastlinkMarkerColumn& column : plan.columns)
                        windowColumns.push_back(static_cast<int>(columnOf.at(column.markerIndex)));
                    placedAt = -1;
                },
                [&](const WindowPlan& plan, int t, double left, double right) {
                    if (t != placedAt) peeling.place(windowColumns, placedAt = t);
                    return peeling.lnLikelihood(likelihood::Peeling::lociFractions(plan.fractions, t, left, right));
                });
            return;
        }
        likelihood::InheritanceSpace space;
        likelihood::InheritanceSpace::build(input, model->getXlinked() != 0, space);
        likelihood::ScaledVector ownTrait;
        const auto makeTrait = [&](likelihood::ScaledVector& trait) {
            likelihood::traitEmissions(space, input.persons, traitModel, trait.values);
            trait.normalise();
        };
        const size_t pedigreeTask = p * nativeCount + i;
        if (split[i]) std::call_once(traitMade[pedigreeTask], makeTrait, std::ref(traitOf[pedigreeTask]));
        else makeTrait(ownTrait);
        const likelihood::ScaledVector& traitEmission = split[i] ? traitOf[pedigreeTask] : ownTrait;
        likelihood::MarkerWindow sweep(space);
        std::vector<likelihood::ScaledVector> markers;
        scan(
            [&](const WindowPlan& plan) {
                markers.resize(plan.columns.size());
                for (size_t m = 0; m < plan.columns.size(); ++m) {
                    markers[m].logScale = 0.0;
                    likelihood::markerEmissions(space, input.genotypes[columnOf.at(plan.columns[m].markerIndex)],
                                                plan.loci[m]->getAlleleFrequencies(), markers[m].values);
                    markers[m].normalise();
                }
                sweep.sweep(markers, plan.fractions);
            },
            [&](const WindowPlan&, int t, double left, double right) {
                return sweep.lnLikelihood(traitEmission, t, left, right);
            });
    };
    native.results = [&](size_t task) {
        const Piece& piece = pieces[task];
        std::vector<std::vector<double>*> values;
        for (size_t w : piece.windows)
            for (NativePositionValues& position : nativeResults[piece.phenotype][w]) values.push_back(&position[piece.pedigree]);
        return values;
    };
    native.cost = [&](size_t task) { return pieces[task].cost; };
    native.describe = [&](size_t task) {
        const Piece& piece = pieces[task];
        std::string text = "trait " + analysed[piece.phenotype] + ", pedigree " +
                           pedigrees->getPedigreeLabel(set.pedigrees[routing.native[piece.pedigree]]);
        if (chromosomes.size() > 1) text += ", windows from chromosome " + chromosomeNames[piece.chromosome];
        if (split[piece.pedigree] && piece.windows.size() == 1)
            text += ", window " + windowName(plans[piece.windows.front()].key);
        else if (split[piece.pedigree])
            text += ", windows " + windowName(plans[piece.windows.front()].key) + " to " +
                    windowName(plans[piece.windows.back()].key);
        return text;
    };

    // Pedigrees the native engine ran out of memory on go to FASTLINK where it can take them,
    // or are skipped; then one job per phenotype, window, trait position and batch.
    const auto nativeStart = std::chrono::steady_clock::now();
    auto nativeEnd = nativeStart;
    std::vector<size_t> nativePositions, fastlinkPositions;
    const std::string program = slow ? "linkmapvarkelslow" : "linkmapvarkel";
    // [phenotype][window][trait position][batch]
    std::vector<std::vector<std::vector<std::vector<std::unique_ptr<LinkmapLikelihoods>>>>> batchResults(
        analysed.size());
    const auto planJobs = [&](const std::vector<size_t>& outOfMemory) {
        nativeEnd = std::chrono::steady_clock::now();
        // The task numbers of the pedigrees, trait by trait, as the rerouting counts them.
        std::vector<size_t> pedigreeTasks;
        for (size_t task : outOfMemory) pedigreeTasks.push_back(pieces[task].phenotype * nativeCount + pieces[task].pedigree);
        const std::vector<char> failed = rerouteOutOfMemory(*pedigrees, set, routing, pedigreeTasks,
                                                            work.fastlinkUsable, nativePositions, fastlinkPositions);
        for (auto& phenotype : nativeResults)
            for (auto& window : phenotype)
                for (NativePositionValues& position : window) dropFailed(position, failed);
        for (WindowPlan& plan : plans)
            if (plan.skipMessage.empty()) planBatches(set, fastlinkPositions, !nativePositions.empty(), plan);

        std::vector<FastlinkJob> jobs;
        for (size_t p = 0; p < analysed.size(); ++p) {
            batchResults[p].resize(windows);
            for (size_t w = 0; w < windows; ++w) {
                const WindowPlan& plan = plans[w];
                if (!plan.skipMessage.empty()) continue;
                const int k = static_cast<int>(plan.columns.size());
                batchResults[p][w].resize(static_cast<size_t>(k) + 1);
                for (int t = 0; t <= k; ++t) {
                    batchResults[p][w][static_cast<size_t>(t)].resize(plan.batches.batches.size());
                    for (size_t b = 0; b < plan.batches.batches.size(); ++b) {
                        const PedigreeBatch& batch = plan.batches.batches[b];
                        std::vector<const FastlinkMarkerColumn*> batchColumns;
                        for (const FastlinkMarkerColumn& column : plan.columns) batchColumns.push_back(&column);
                        const BatchInput input = batchInput(*pedigrees, set, batch, analysed[p], liabilityClasses, batchColumns);
                        FastlinkJob job;
                        job.description = "trait " + analysed[p] + " at position " + IntToString(t) + " of the window " +
                                          windowName(plan.key) + ", " + input.pedigreesText;
                        // LINKMAP's work grows with the persons and the square of the haplotypes.
                        double haplotypes = 1.0;
                        for (const AlleleDowncoding& coding : batch.markers)
                            haplotypes *= static_cast<double>(coding.frequencies.size());
                        job.size = input.persons * haplotypes * haplotypes;
                        job.steps = fastlinkSteps(input.loops, program, "Error in executing LINKMAPVARKEL: " + program);
                        job.steps[input.loops ? 1 : 0].errorLine = "Error in executing UNKNOWVARKEL: unknownvarkel";
                        const FastlinkPedigreeFile content = input.file;
                        const std::vector<AlleleDowncoding>* alleles = &batch.markers;
                        const int stepsPerInterval = steps;
                        job.writeInput = [this, content, model, trait, &plan, alleles, t,
                                          stepsPerInterval](const std::string& directory) {
                            if (!pedigrees->writePedigreeFile(directory + "/pedfile.dat", content)) return false;
                            std::unique_ptr<LinkageLocusFile> file(
                                linkmapLocusFile(model, trait, plan.loci, *alleles, plan.fractions, t, stepsPerInterval));
                            file->writeLocusFile(directory + "/datafile.dat", {});
                            return true;
                        };
                        std::vector<int> order;
                        for (int m = 0; m < k; ++m) order.push_back(m + 2);
                        order.insert(order.begin() + t, 1);
                        const int pedigreeCount = static_cast<int>(content.pedigrees.size());
                        std::unique_ptr<LinkmapLikelihoods>* slot = &batchResults[p][w][static_cast<size_t>(t)][b];
                        const std::vector<std::string> names = plan.markerNames;
                        job.readOutput = [slot, order, k, names, pedigreeCount, t](const std::string& directory) {
                            slot->reset(new LinkmapLikelihoods(order, k + 1, names, pedigreeCount, t));
                            std::streambuf* console = std::cout.rdbuf(nullptr);
                            const bool read = (*slot)->readOutFile(directory + "/outfile.dat");
                            std::cout.rdbuf(console);
                            return read && !(*slot)->getEvaluations().empty();
                        };
                        jobs.push_back(std::move(job));
                    }
                }
            }
        }

        std::cout.flush();
        return jobs;
    };
    const WorkSettings engines{pedigrees->getParallelJobs(), pedigrees->isVerbose(), pedigrees->getOutputPrefix()};
    if (!computeLikelihoods(engines, native, planJobs)) return false;
    if (pedigrees->isVerbose())
        std::cout << engineTimes(nativeEnd - nativeStart, std::chrono::steady_clock::now() - nativeEnd);

    for (size_t p = 0; p < analysed.size(); ++p) {
        const std::string& phenotype = analysed[p];
        std::cout << "Phenotype: " << phenotype << "\n";
        for (size_t w = 0; w < windows; ++w) {
            const WindowPlan& plan = plans[w];
            std::cout << plan.notes;
            if (!plan.skipMessage.empty()) {
                std::cout << plan.skipMessage;
                continue;
            }
            const int k = static_cast<int>(plan.columns.size());
            const int pedigreeCount = static_cast<int>(nativePositions.size() + fastlinkPositions.size() -
                                                       plan.batches.skipped.size());
            std::vector<LinkmapLikelihoods*> records;
            for (int t = 0; t <= k; ++t) {
                std::vector<int> order;
                for (int m = 0; m < k; ++m) order.push_back(m + 2);
                order.insert(order.begin() + t, 1);
                const LinkmapLikelihoods shape(order, k + 1, plan.markerNames, pedigreeCount, t);
                const NativePositionValues none;
                const NativePositionValues& native =
                    nativePositions.empty() ? none : nativeResults[p][w][static_cast<size_t>(t)];
                LinkmapLikelihoods* merged =
                    mergePosition(batchResults[p][w][static_cast<size_t>(t)], native, nativePositions,
                                  plan.printedPoints[static_cast<size_t>(t)], set, shape, pedigreeCount);
                if (!merged) {
                    std::cout << "Error: The batches of the window " << plan.key
                              << "evaluated different points\n";
                    for (LinkmapLikelihoods* record : records) delete record;
                    return false;
                }
                records.push_back(merged);
            }
            // The window's unlinked reference: the trait before the first marker at 0.5.
            const double null = records.front()->getEvaluations().front()->getMinus2LnLike();
            for (LinkmapLikelihoods* record : records) {
                record->setNullMinus2LnLikelihood(null);
                if (!isQuietConsole()) record->printBetter();
            }
            windowsByPhenotype[phenotype][plan.key] = records;
            windowKeysByPhenotype[phenotype].push_back(plan.key);
        }
        phenotypes.push_back(phenotype);
    }
    // Which engine computed which pedigrees, after the tables.
    std::cout << routing.notes << routing.summary(*pedigrees, set);
    return true;
}

std::string Linkmap::windowName(const std::string& key) {
    std::string name = key;
    while (!name.empty() && name.back() == ' ') name.pop_back();
    return name;
}

double Linkmap::getPosition(const LinkmapLikelihoods* record, const FastlinkLikelihoods* evaluation) const {
    MarkerMap* map = pedigrees->getMarkerMap();
    const auto centiMorgans = [map](double theta) {
        return map->isHaldane() ? RecombinationFractionToHaldaneCentiMorgan(theta)
                                : RecombinationFractionToKosambiCentiMorgan(theta);
    };
    const std::vector<std::string>& names = record->getMarkerNames();
    const int t = record->getTraitPosition();
    const double theta = record->getTraitRecombinationFraction(evaluation);
    if (t == 0) return map->getMarkerWithName(names.front())->getPosition() - centiMorgans(theta);
    return map->getMarkerWithName(names[static_cast<size_t>(t) - 1])->getPosition() + centiMorgans(theta);
}
