#include "linkage/linkmap.h"

#include <algorithm>
#include <cmath>
#include <iostream>
#include <memory>

#include "driver/utilities.h"
#include "engine/fastlink_limits.h"
#include "engine/fastlink_runner.h"
#include "linkage/fastlink_batches.h"
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

// The merged record of one trait position: per evaluation point the pedigrees of every batch
// in batch order under their report names, the totals summed over the batches. Null when the
// batches do not hold the same points.
LinkmapLikelihoods* mergeBatches(const std::vector<std::unique_ptr<LinkmapLikelihoods>>& batches,
                                 const std::map<std::string, std::string>& labelOfNumber,
                                 const LinkmapLikelihoods& shape, int pedigreeCount) {
    auto merged = std::make_unique<LinkmapLikelihoods>(shape.getLocusOrder(), shape.getNumberOfLoci(),
                                                       shape.getMarkerNames(), pedigreeCount, shape.getTraitPosition());
    const size_t points = batches.empty() ? 0 : batches.front()->getEvaluations().size();
    for (const auto& batch : batches)
        if (batch->getEvaluations().size() != points) return nullptr;
    for (size_t e = 0; e < points; ++e) {
        const std::vector<double>& thetas = batches.front()->getEvaluations()[e]->getRecombinationFractions();
        auto* point = new FastlinkLikelihoods(thetas.empty() ? 0.0 : thetas.front());
        point->setRecombinationFractions(thetas);
        double lnLike = 0.0, log10Like = 0.0;
        for (const auto& batch : batches) {
            const FastlinkLikelihoods* part = batch->getEvaluations()[e];
            if (part->getRecombinationFractions() != thetas) {
                delete point;
                return nullptr;
            }
            for (const std::string& number : part->getPedigreeNames()) {
                const FastlinkLikelihood* pedigree = part->getLikelihood(number);
                const auto label = labelOfNumber.find(number);
                point->addLikelihood(label == labelOfNumber.end() ? number : label->second, pedigree->getLnLike(),
                                     pedigree->getLog10Like(), pedigree->getLodScore());
            }
            lnLike += part->getLnLikeTotal();
            log10Like += part->getLog10Total();
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

bool Linkmap::planWindow(const std::vector<int>& loci, const FastlinkPedigreeSet& set, WindowPlan& plan) {
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
    if (!plan.skipMessage.empty()) return true;

    std::vector<PedigreeLoad> loads;
    for (const Pedigree* pedigree : set.pedigrees) loads.push_back(pedigrees->getFastlinkLoad(pedigree, plan.columns));
    std::vector<std::vector<double>> frequencies;
    for (const Locus* locus : plan.loci) frequencies.push_back(locus->getAlleleFrequencies());
    // As few runs as the limits allow: LINKMAP sets up tables of a few hundred megabytes at the
    // start of every run, which costs more than it saves to give small pedigrees runs of their
    // own (measured on the shipped example: 116 s one pedigree per run, 88 s one run per
    // position). The trait positions give the cores enough runs to share.
    plan.batches = planBatches(loads, frequencies);
    for (const SkippedPedigree& skipped : plan.batches.skipped)
        plan.notes += "Skipping pedigree " + pedigrees->getPedigreeLabel(set.pedigrees[skipped.pedigree]) +
                      " for the window " + plan.key + "since it has " + skipped.reason +
                      (skipped.markerColumn >= 0
                           ? " at marker " + plan.markerNames[static_cast<size_t>(skipped.markerColumn)]
                           : "") +
                      "\n";
    if (plan.batches.batches.empty()) plan.skipMessage = "Skipping window " + plan.key + "since no pedigree can be analysed\n";
    return true;
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

    if (windowSize < 2) {
        std::cout << "Warning: Multipoint window size must be > 1! Setting window size to 3.\n";
        windowSize = 3;
    }
    if (windowSize > static_cast<int>(loci.size())) {
        std::cout << "Warning: Multipoint window size cannot be more than number of markers! Setting window size to "
                  << loci.size() << "\n";
        windowSize = static_cast<int>(loci.size());
    }
    // LINKMAP takes the trait and at most this many markers.
    if (windowSize > fastlink_limits::kLociPerRun - 1) {
        std::cout << "Warning: LINKMAP takes at most " << fastlink_limits::kLociPerRun - 1
                  << " markers with the trait! Setting window size to " << fastlink_limits::kLociPerRun - 1 << "\n";
        windowSize = fastlink_limits::kLociPerRun - 1;
    }
    if (!execute_analysis(analysed, loci)) return false;
    resultsFlag = true;
    return true;
}

bool Linkmap::execute_analysis(const std::vector<std::string>& analysed, const std::vector<int>& loci) {
    std::cout << "Multipoint linkage analysis...\n"
              << std::string(78, '=') << "\n"
              << "Multipoint window size " << windowSize << "\n"
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

    const size_t windows = loci.size() - static_cast<size_t>(windowSize) + 1;
    std::vector<WindowPlan> plans(windows);
    for (size_t s = 0; s < windows; ++s)
        if (!planWindow(std::vector<int>(loci.begin() + static_cast<long>(s),
                                         loci.begin() + static_cast<long>(s) + windowSize),
                        set, plans[s]))
            return false;

    const std::string program = slow ? "linkmapvarkelslow" : "linkmapvarkel";
    const int k = windowSize;
    // [phenotype][window][trait position][batch]
    std::vector<std::vector<std::vector<std::vector<std::unique_ptr<LinkmapLikelihoods>>>>> batchResults(
        analysed.size());
    std::vector<FastlinkJob> jobs;
    for (size_t p = 0; p < analysed.size(); ++p) {
        batchResults[p].resize(windows);
        for (size_t w = 0; w < windows; ++w) {
            const WindowPlan& plan = plans[w];
            if (!plan.skipMessage.empty()) continue;
            batchResults[p][w].resize(static_cast<size_t>(k) + 1);
            for (int t = 0; t <= k; ++t) {
                batchResults[p][w][static_cast<size_t>(t)].resize(plan.batches.batches.size());
                for (size_t b = 0; b < plan.batches.batches.size(); ++b) {
                    const PedigreeBatch& batch = plan.batches.batches[b];
                    std::vector<const FastlinkMarkerColumn*> columns;
                    for (const FastlinkMarkerColumn& column : plan.columns) columns.push_back(&column);
                    const BatchInput input = batchInput(*pedigrees, set, batch, analysed[p], liabilityClasses, columns);
                    FastlinkJob job;
                    job.description = "trait " + analysed[p] + " at position " + IntToString(t) + " of the window " +
                                      plan.key + input.pedigreesText;
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
    FastlinkRunner runner(pedigrees->getParallelJobs(), pedigrees->isVerbose(), pedigrees->getOutputPrefix());
    if (!runner.run(jobs)) return false;

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
            std::vector<LinkmapLikelihoods*> records;
            for (int t = 0; t <= k; ++t) {
                const auto& parts = batchResults[p][w][static_cast<size_t>(t)];
                LinkmapLikelihoods* merged = mergeBatches(parts, set.nameOfNumber, *parts.front(),
                                                          static_cast<int>(set.pedigrees.size() -
                                                                           plan.batches.skipped.size()));
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
    return true;
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
