#include "linkage/mlink.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <iomanip>
#include <iostream>
#include <memory>
#include <sstream>

#include "driver/utilities.h"
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

// One marker of the scan: its locus, how its alleles are written, and its pedigree batches
// (the same for every phenotype).
struct MLink::MarkerPlan {
    std::string name;
    std::string skipMessage;  // set when the marker is not analysed
    std::string notes;        // pedigrees left out, one message per line
    const Locus* locus = nullptr;
    FastlinkMarkerColumn column;
    BatchPlan batches;
};

MLink::MLink(Pedigrees* pedigrees) : pedigrees(pedigrees) {}

MLink::~MLink() {
    clearResults();
    clearHLods();
}

void MLink::clearResults() {
    for (auto& phenotypeResults : results)
        for (MLinkMarker* marker : phenotypeResults) delete marker;
    results.clear();
}

void MLink::clearHLods() {
    for (auto& phenotypeGrid : hlodGrid)
        for (auto& markerGrid : phenotypeGrid)
            for (auto& thetaRow : markerGrid)
                for (MLinkHLod* point : thetaRow) delete point;
    hlodGrid.clear();
    for (auto& phenotypeMaxima : hlodMaxima)
        for (MLinkHLod* maximum : phenotypeMaxima) delete maximum;
    hlodMaxima.clear();
    hlodPhenotypes.clear();
    alphaNames.clear();
    hlodThetaNames.clear();
    thetaNames.clear();
}

std::string MLink::welcome() const {
    return programBanner("Program for Linkage and Linkage Disequilibrium analysis");
}

// Marker names of the map ordered by their index (the map tree is keyed by name).
static std::vector<std::string> mapMarkersInOrder(MarkerMap* map) {
    std::vector<std::pair<int, std::string>> indexed;
    map->getMarkerTree()->forEach([&](const Marker* marker) {
        if (!marker->getName().empty()) indexed.emplace_back(stringToInt(marker->getIndex()), marker->getName());
    });
    std::sort(indexed.begin(), indexed.end());
    std::vector<std::string> names;
    names.reserve(indexed.size());
    for (const auto& entry : indexed) names.push_back(entry.second);
    return names;
}

namespace {

// The natural-log likelihoods of the native engine's pedigrees of one marker, per pedigree at
// MLINK's fractions in MLINK's order.
using NativeMarkerValues = std::vector<std::vector<double>>;

// MLINK turns natural logs into base 10 dividing by this rounding of ln 10 (2.302585...): its
// log10 likelihoods and LODs are 2.1e-6 of their size short of exact. The native pedigrees'
// rows are made the same way, so that a total adds like with like and a report is the same
// whichever engine computed a pedigree.
constexpr double kMlinkLn10 = 2.30259;

// One record per theta of one marker: every pedigree in the set's order, from the FASTLINK
// batch that computed it (its records keep FASTLINK's numbers, the place in the set from 1)
// or from the native engine, with LODs against theta 0.5 as MLINK gives them. Totals are the
// batches' totals plus the native pedigrees' values. Null when the sources do not hold the
// same thetas.
MLinkMarker* mergeMarker(const std::vector<std::unique_ptr<MLinkMarker>>& batches, const NativeMarkerValues& native,
                         const std::vector<size_t>& nativePositions, const FastlinkPedigreeSet& set,
                         const std::string& name) {
    auto merged = std::make_unique<MLinkMarker>();
    merged->setIndex(name);
    const std::vector<double> fractions = mlinkFractions();
    std::vector<std::string> thetas;
    if (!batches.empty()) thetas = batches.front()->getLikelihoodsNames();
    else if (!native.empty())
        for (double theta : fractions) thetas.push_back(doubleToString(printedFraction(theta)));
    for (const auto& batch : batches)
        if (batch->getLikelihoodsNames() != thetas) return nullptr;
    if (!native.empty()) {
        if (thetas.size() != fractions.size()) return nullptr;
        for (size_t t = 0; t < thetas.size(); ++t)
            if (thetas[t] != doubleToString(printedFraction(fractions[t]))) return nullptr;
    }
    // The native pedigrees' rows: ln L, log10 L and the LOD against the first fraction (0.5).
    struct Row {
        double lnLike, log10Like, lod;
    };
    std::vector<std::vector<Row>> nativeRows(native.size());
    for (size_t i = 0; i < native.size(); ++i)
        for (size_t t = 0; t < native[i].size(); ++t) {
            const double lnLike = fastlinkLnLike(native[i][t]);
            const double unlinked = native[i][0];
            const double lod = std::isinf(native[i][t]) ? -999.999999
                               : std::isinf(unlinked)  ? 0.0
                                                       : (native[i][t] - unlinked) / kMlinkLn10;
            nativeRows[i].push_back({lnLike, std::round(lnLike / kMlinkLn10 * 1e6) / 1e6, std::round(lod * 1e6) / 1e6});
        }
    std::vector<const FastlinkLikelihood*> fromBatches(set.pedigrees.size(), nullptr);
    std::vector<int> fromNative(set.pedigrees.size(), -1);
    for (size_t i = 0; i < nativePositions.size(); ++i) fromNative[nativePositions[i]] = static_cast<int>(i);
    double nativeUnlinkedLog10 = 0.0;
    for (const auto& rows : nativeRows) nativeUnlinkedLog10 += rows[0].log10Like;
    for (size_t t = 0; t < thetas.size(); ++t) {
        auto* record = new FastlinkLikelihoods(stringToDouble(thetas[t]));
        double lnLike = 0.0, log10Like = 0.0, minus2LnLike = 0.0, lod = 0.0;
        std::fill(fromBatches.begin(), fromBatches.end(), nullptr);
        for (const auto& batch : batches) {
            const FastlinkLikelihoods* part = batch->getLikelihoods(thetas[t]);
            for (const std::string& number : part->getPedigreeNames())
                fromBatches[static_cast<size_t>(stringToInt(number) - 1)] = part->getLikelihood(number);
            lnLike += part->getLnLikeTotal();
            log10Like += part->getLog10Total();
            minus2LnLike += part->getMinus2LnLike();
            lod += part->getLodScore();
        }
        double nativeLog10 = 0.0;
        for (size_t position = 0; position < set.pedigrees.size(); ++position) {
            const std::string& label = set.nameOfNumber.at(IntToString(static_cast<int>(position) + 1));
            if (fromNative[position] >= 0) {
                const Row& row = nativeRows[static_cast<size_t>(fromNative[position])][t];
                record->addLikelihood(label, row.lnLike, row.log10Like, row.lod);
                lnLike += row.lnLike;
                log10Like += row.log10Like;
                minus2LnLike += -2.0 * row.lnLike;
                nativeLog10 += row.log10Like;
            } else if (const FastlinkLikelihood* value = fromBatches[position]) {
                record->addLikelihood(label, value->getLnLike(), value->getLog10Like(), value->getLodScore());
            }
        }
        // MLINK's total LOD is the difference of the total log10 likelihoods.
        lod += std::round((nativeLog10 - nativeUnlinkedLog10) * 1e6) / 1e6;
        record->setLnLikeTotal(lnLike);
        record->setLog10Total(log10Like);
        record->setMinus2LnLike(minus2LnLike);
        record->setLodScore(lod);
        merged->addLikelihoods(record->getRecombinationFraction(), record);
    }
    return merged.release();
}

// The two-locus file of one batch: the trait and the marker with the batch's alleles.
LinkageLocusFile* pairLocusFile(const LinkageLocusFile* model, const Locus* trait, const Locus* marker,
                                const AlleleDowncoding& alleles) {
    auto* pair = new LinkageLocusFile();
    pair->setNumberOfLoci(2);
    pair->setRiskLocus(0);
    pair->setSexLink(model->getXlinked());
    pair->setProgramNumber(5);
    pair->setMutLocus(0);
    pair->setMutRateMale(0.0);
    pair->setMutRateFemale(0.0);
    pair->setHapFreq(0);
    pair->setLocusOrder({1, 2});
    pair->addLocus(new Locus(trait));
    auto* downcoded = new Locus(marker->getName(), 3, static_cast<int>(alleles.frequencies.size()));
    downcoded->addAlleleFrequencies(alleles.frequencies);
    pair->addLocus(downcoded);
    pair->setSexDifference(0);
    pair->setInterference(0);
    pair->setRecombinationVaried(1);
    pair->setIncrement(0.02);
    pair->setFinishingValue(0.49);
    pair->addRecombinationFraction(0.0);
    return pair;
}

void printMarkerRow(const MLinkMarker* marker) {
    const FastlinkLikelihoods* best = marker->getLikelihoodWithMaxLodScore();
    if (!best) return;
    std::ostringstream row;
    row << std::setw(20) << marker->getIndex() << std::fixed << std::setprecision(6) << std::setw(13)
        << best->getLodScore() << std::setprecision(2) << std::setw(10) << best->getRecombinationFraction() << "\n";
    std::cout << row.str();
}

}  // namespace

bool MLink::planMarker(const std::string& name, MarkerPlan& plan) {
    plan.name = name;
    MarkerMap* map = pedigrees->getMarkerMap();
    Marker* mapMarker = map->getMarkerWithName(name);
    if (!mapMarker) {
        std::cout << "Cannot find given marker " << name << "\n";
        return false;
    }
    const std::string& index = mapMarker->getIndex();
    const MarkerInfo* info = pedigrees->getMarkerInfo() ? pedigrees->getMarkerInfo()->find(index) : nullptr;
    if (!info || (info->getAlleleCount() < 2 && !frequenciesFromLocusFile)) {
        plan.skipMessage = "Skipping marker " + name + ", since no informative families found\n";
        return true;
    }
    plan.locus = fastlinkMarkerLocus(*pedigrees, index, name, plan.column);
    return plan.locus != nullptr;
}

// The FASTLINK batches of a marker over the pedigrees FASTLINK computes (positions in the set).
void MLink::planBatches(const FastlinkPedigreeSet& set, const std::vector<size_t>& positions, bool nativeToo,
                        MarkerPlan& plan) {
    std::vector<PedigreeLoad> loads;
    const std::vector<FastlinkMarkerColumn> columns{plan.column};
    for (size_t position : positions) loads.push_back(pedigrees->getFastlinkLoad(set.pedigrees[position], columns));
    plan.batches = ::planBatches(loads, {plan.locus->getAlleleFrequencies()});
    for (PedigreeBatch& batch : plan.batches.batches)
        for (size_t& pedigree : batch.pedigrees) pedigree = positions[pedigree];
    for (SkippedPedigree& skipped : plan.batches.skipped) {
        skipped.pedigree = positions[skipped.pedigree];
        plan.notes += "Skipping pedigree " + pedigrees->getPedigreeLabel(set.pedigrees[skipped.pedigree]) +
                      " for marker " + plan.name + ", since it has " + skipped.reason + "\n";
    }
    if (plan.batches.batches.empty() && !nativeToo)
        plan.skipMessage = "Skipping marker " + plan.name + ", since no pedigree can be analysed\n";
}

bool MLink::run(const std::string& mode, const std::string& markerName, const std::string& phenotypeName) {
    this->markerName = markerName;
    this->phenotypeName = phenotypeName;
    this->mode = mode;
    clearResults();
    const std::string mlinkProgram = slow ? "mlinkvarkelslow" : "mlinkvarkel";

    if (mode != "basic" && mode != "nuclear") return false;
    MarkerMap* map = pedigrees->getMarkerMap();
    if (!map || map->getMarkerCount() == 0 || !pedigrees->isPedigreeFileRead()) return false;
    const bool nuclear = mode == "nuclear";

    markers.clear();
    if (!pedigrees->getOnlyMarkers().empty()) {
        markers = pedigrees->getOnlyMarkers();
    } else if (markerName.empty()) {
        markers = mapMarkersInOrder(map);
    } else if (map->getMarkerWithName(markerName)) {
        markers.push_back(markerName);
    } else {
        std::cout << "Cannot find given marker " << markerName << "\n";
        return false;
    }

    phenotypes.clear();
    if (!phenotypeName.empty()) {
        if (!pedigrees->isTrait(phenotypeName)) {
            std::cout << "Cannot find given phenotype " << phenotypeName << "\n";
            return false;
        }
        phenotypes.push_back(phenotypeName);
    } else {
        phenotypes = pedigrees->getTraitNames();
    }

    std::cout << "\n" << (nuclear ? "Parametric Linkage analysis for nuclear pedigrees" : "Parametric Linkage analysis")
              << "\n";
    if (frequenciesFromLocusFile)
        std::cout << "Warning: Pedigree file contains less alleles than defined in linkage data file "
                     "(analyzing anyway)\n";

    const LinkageLocusFile* model = pedigrees->getLinkageLocusFile();
    const Locus* trait = model ? model->getLocus(0) : nullptr;
    if (!trait) {
        std::cout << "Error: LINKAGE locus file model has no trait locus\n";
        return false;
    }
    // More than one liability class: each person's class goes to FASTLINK with the status.
    const int liabilityClasses = pedigrees->getFastlinkLiabilityClasses(trait);
    if (liabilityClasses == 0) return false;

    const FastlinkPedigreeSet set = fastlinkPedigreeSet(*pedigrees, nuclear);
    if (set.pedigrees.empty()) {
        std::cout << "Error: no " << (nuclear ? "nuclear pedigrees" : "pedigrees") << " to analyse\n";
        return false;
    }

    std::vector<MarkerPlan> plans(markers.size());
    for (size_t m = 0; m < markers.size(); ++m)
        if (!planMarker(markers[m], plans[m])) return false;

    // Each pedigree goes to the engine that computes the whole scan of it sooner.
    AnalysisWork work;
    work.traits = phenotypes;
    for (const MarkerPlan& plan : plans)
        if (plan.skipMessage.empty()) {
            work.loci.push_back({{static_cast<int>(work.columns.size())}, static_cast<double>(mlinkFractions().size())});
            work.columns.push_back(&plan.column);
            work.frequencies.push_back(&plan.locus->getAlleleFrequencies());
        }
    work.liabilityClasses = liabilityClasses;
    const double fractions = static_cast<double>(mlinkFractions().size());
    const double markerCount = static_cast<double>(work.columns.size());
    work.markerEmissions = markerCount;
    work.transitions = fractions;
    work.sums = 0.0;  // sums over each marker's possible states, part of its emission's cost
    work.evaluations = fractions * markerCount;
    // An MLINK run of a batch evaluates every theta for a few dozen pedigrees (measured:
    // about 0.1 ms per pedigree and theta on the benchmark scan).
    work.runShare = 1e-4;
    work.analysisName = nuclear ? "the nuclear singlepoint analysis" : "the singlepoint analysis";
    // The trait, its moved copy and a batch of marker terms of up to twice the states.
    work.vectors = 6;
    const EngineRouting routing = routePedigrees(*pedigrees, set, work);
    engineCounts = {static_cast<int>(routing.native.size()), static_cast<int>(routing.fastlink.size())};

    // [phenotype][marker][native pedigree][theta]
    std::vector<std::vector<NativeMarkerValues>> nativeResults(phenotypes.size(),
                                                               std::vector<NativeMarkerValues>(plans.size()));
    const size_t nativeCount = routing.native.size();
    likelihood::TraitModel traitModel;
    if (nativeCount > 0) {
        if (!nativeTraitModel(trait, model->getXlinked() != 0, traitModel)) return false;
        for (auto& phenotype : nativeResults)
            for (size_t m = 0; m < plans.size(); ++m)
                if (plans[m].skipMessage.empty()) phenotype[m].resize(nativeCount);
    }
    // A native task computes one trait of one pedigree on the markers of one chromosome, so that
    // a whole-genome scan has pieces enough for many processes.
    std::vector<size_t> columnOfPlan(plans.size(), 0);
    std::vector<std::vector<size_t>> chromosomes;  // plan indices, chromosome by chromosome
    std::vector<std::string> chromosomeNames;
    for (size_t m = 0, column = 0; m < plans.size(); ++m) {
        if (!plans[m].skipMessage.empty()) continue;
        columnOfPlan[m] = column++;
        const std::string& chromosome = map->getMarkerWithName(plans[m].name)->getChromosome();
        if (chromosomeNames.empty() || chromosomeNames.back() != chromosome) {
            chromosomeNames.push_back(chromosome);
            chromosomes.emplace_back();
        }
        chromosomes.back().push_back(m);
    }
    const size_t chunks = std::max<size_t>(1, chromosomes.size());
    const size_t analysedMarkers = work.columns.size();
    const std::vector<double> thetas = mlinkFractions();
    NativeTasks native;
    native.count = chromosomes.empty() ? 0 : phenotypes.size() * nativeCount * chunks;
    native.compute = [&](size_t task) {
        const size_t p = task / (nativeCount * chunks), i = task / chunks % nativeCount, c = task % chunks;
        likelihood::PedigreeInput input;
        std::string ignored;
        pedigrees->getLikelihoodInput(set.pedigrees[routing.native[i]], phenotypes[p], liabilityClasses, work.columns,
                                      input, ignored);
        if (routing.peeled[routing.native[i]]) {
            likelihood::LocusModel loci;
            loci.trait = traitModel;
            for (const std::vector<double>* frequencies : work.frequencies) loci.markerFrequencies.push_back(*frequencies);
            likelihood::Peeling peeling;
            likelihood::Peeling::build(input, loci, false, peeling);
            for (size_t m : chromosomes[c]) {
                peeling.place({static_cast<int>(columnOfPlan[m])}, 0);
                std::vector<double>& values = nativeResults[p][m][i];
                values.clear();
                for (double theta : thetas) values.push_back(peeling.lnLikelihood({theta}));
            }
            return;
        }
        likelihood::InheritanceSpace space;
        likelihood::InheritanceSpace::build(input, model->getXlinked() != 0, space);
        likelihood::ScaledVector traitEmission;
        likelihood::traitEmissions(space, input.persons, traitModel, traitEmission.values);
        traitEmission.normalise();
        likelihood::TwoPointTrait twoPoint(space, traitEmission, thetas);
        std::vector<likelihood::EmissionTerm> marker;
        for (size_t m : chromosomes[c]) {
            const double logScale = likelihood::markerEmissionTerms(space, input.genotypes[columnOfPlan[m]],
                                                                    plans[m].locus->getAlleleFrequencies(), marker);
            twoPoint.add(marker, logScale);
        }
        const std::vector<std::vector<double>>& lnLikelihoods = twoPoint.lnLikelihoods();
        for (size_t k = 0; k < chromosomes[c].size(); ++k) nativeResults[p][chromosomes[c][k]][i] = lnLikelihoods[k];
    };
    native.results = [&](size_t task) {
        const size_t p = task / (nativeCount * chunks), i = task / chunks % nativeCount, c = task % chunks;
        std::vector<std::vector<double>*> values;
        for (size_t m : chromosomes[c]) values.push_back(&nativeResults[p][m][i]);
        return values;
    };
    native.cost = [&](size_t task) {
        const size_t i = task / chunks % nativeCount, c = task % chunks;
        return routing.nativeSeconds[routing.native[i]] / static_cast<double>(phenotypes.size()) *
               static_cast<double>(chromosomes[c].size()) / static_cast<double>(analysedMarkers);
    };
    native.describe = [&](size_t task) {
        const size_t p = task / (nativeCount * chunks), i = task / chunks % nativeCount, c = task % chunks;
        return "trait " + phenotypes[p] + ", pedigree " + pedigrees->getPedigreeLabel(set.pedigrees[routing.native[i]]) +
               (chunks > 1 ? ", chromosome " + chromosomeNames[c] : std::string());
    };

    // Pedigrees the native engine ran out of memory on go to FASTLINK, or are skipped; then one
    // job per phenotype, marker and batch, each batch's records landing in its own slot.
    const auto nativeStart = std::chrono::steady_clock::now();
    auto nativeEnd = nativeStart;
    std::vector<size_t> nativePositions, fastlinkPositions;
    std::vector<std::vector<std::vector<std::unique_ptr<MLinkMarker>>>> batchResults(phenotypes.size());
    const auto planJobs = [&](const std::vector<size_t>& outOfMemory) {
        nativeEnd = std::chrono::steady_clock::now();
        // The task numbers of the pedigrees, trait by trait, as the rerouting counts them.
        std::vector<size_t> pedigreeTasks;
        for (size_t task : outOfMemory) pedigreeTasks.push_back(task / chunks);
        const std::vector<char> failed =
            rerouteOutOfMemory(*pedigrees, set, routing, pedigreeTasks, true, nativePositions, fastlinkPositions);
        for (auto& phenotype : nativeResults)
            for (NativeMarkerValues& marker : phenotype) dropFailed(marker, failed);
        for (MarkerPlan& plan : plans)
            if (plan.skipMessage.empty()) planBatches(set, fastlinkPositions, !nativePositions.empty(), plan);

        std::vector<FastlinkJob> jobs;
        for (size_t p = 0; p < phenotypes.size(); ++p) {
            batchResults[p].resize(plans.size());
            for (size_t m = 0; m < plans.size(); ++m) {
                const MarkerPlan& plan = plans[m];
                if (!plan.skipMessage.empty()) continue;
                batchResults[p][m].resize(plan.batches.batches.size());
                for (size_t b = 0; b < plan.batches.batches.size(); ++b) {
                    const PedigreeBatch& batch = plan.batches.batches[b];
                    const BatchInput input =
                        batchInput(*pedigrees, set, batch, phenotypes[p], liabilityClasses, {&plan.column});
                    FastlinkJob job;
                    job.description = "trait " + phenotypes[p] + ", marker " + plan.name + ", " + input.pedigreesText;
                    // The work grows with the persons and the square of the alleles FASTLINK sees.
                    const double alleles = static_cast<double>(batch.markers[0].frequencies.size());
                    job.size = input.persons * alleles * alleles;
                    job.steps = fastlinkSteps(input.loops, mlinkProgram, "Error in executing MLINK: " + mlinkProgram);
                    const AlleleDowncoding* alleleCoding = &batch.markers[0];
                    const FastlinkPedigreeFile content = input.file;
                    job.writeInput = [this, content, model, trait, &plan, alleleCoding](const std::string& directory) {
                        if (!pedigrees->writePedigreeFile(directory + "/pedfile.dat", content)) return false;
                        std::unique_ptr<LinkageLocusFile> pair(pairLocusFile(model, trait, plan.locus, *alleleCoding));
                        pair->writeLocusFile(directory + "/datafile.dat", {});
                        return true;
                    };
                    const int pedigreeCount = static_cast<int>(content.pedigrees.size());
                    std::unique_ptr<MLinkMarker>* slot = &batchResults[p][m][b];
                    job.readOutput = [slot, pedigreeCount](const std::string& directory) {
                        slot->reset(readResultsFile(directory + "/outfile.dat", pedigreeCount));
                        if (!*slot || (*slot)->getLikelihoodsNames().empty()) return false;
                        for (const std::string& theta : (*slot)->getLikelihoodsNames())
                            if (static_cast<int>((*slot)->getLikelihoods(theta)->getPedigreeNames().size()) !=
                                pedigreeCount)
                                return false;
                        return true;
                    };
                    jobs.push_back(std::move(job));
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

    for (size_t p = 0; p < phenotypes.size(); ++p) {
        std::cout << "Phenotype: " << phenotypes[p] << "\n";
        std::cout << std::setw(20) << "Marker" << std::setw(13) << (nuclear ? "NucLodHom" : "LodHom") << std::setw(10)
                  << "Theta" << "\n";
        std::vector<MLinkMarker*> phenotypeResults;
        for (size_t m = 0; m < plans.size(); ++m) {
            const MarkerPlan& plan = plans[m];
            std::cout << plan.notes;
            if (!plan.skipMessage.empty()) {
                std::cout << plan.skipMessage;
                continue;
            }
            MLinkMarker* merged = mergeMarker(batchResults[p][m], nativeResults[p][m], nativePositions, set, plan.name);
            if (!merged) {
                std::cout << "Error: The batches of marker " << plan.name << " evaluated different thetas\n";
                for (MLinkMarker* marker : phenotypeResults) delete marker;
                return false;
            }
            printMarkerRow(merged);
            phenotypeResults.push_back(merged);
        }
        results.push_back(phenotypeResults);
    }
    // Which engine computed which pedigrees, after the tables.
    std::cout << routing.notes << routing.summary(*pedigrees, set);
    return true;
}
