#include "linkage/mlink.h"

#include <algorithm>
#include <iomanip>
#include <iostream>
#include <memory>
#include <sstream>

#include "driver/utilities.h"
#include "engine/fastlink_runner.h"
#include "linkage/fastlink_batches.h"
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

// The batch records of one marker merged into one record: per theta the pedigrees of every
// batch in batch order, the totals summed over the batches. Null when the batches do not hold
// the same thetas. The batches' records are taken over.
MLinkMarker* mergeBatches(std::vector<std::unique_ptr<MLinkMarker>>& batches, const std::string& name) {
    if (batches.size() == 1) {
        batches.front()->setIndex(name);
        return batches.front().release();
    }
    auto merged = std::make_unique<MLinkMarker>();
    merged->setIndex(name);
    if (batches.empty()) return merged.release();
    const std::vector<std::string>& thetas = batches.front()->getLikelihoodsNames();
    for (const auto& batch : batches)
        if (batch->getLikelihoodsNames() != thetas) return nullptr;
    for (const std::string& theta : thetas) {
        auto* record = new FastlinkLikelihoods(stringToDouble(theta));
        double lnLike = 0.0, log10Like = 0.0, minus2LnLike = 0.0, lod = 0.0;
        for (const auto& batch : batches) {
            const FastlinkLikelihoods* part = batch->getLikelihoods(theta);
            for (const std::string& pedigree : part->getPedigreeNames()) {
                const FastlinkLikelihood* likelihood = part->getLikelihood(pedigree);
                record->addLikelihood(pedigree, likelihood->getLnLike(), likelihood->getLog10Like(),
                                      likelihood->getLodScore());
            }
            lnLike += part->getLnLikeTotal();
            log10Like += part->getLog10Total();
            minus2LnLike += part->getMinus2LnLike();
            lod += part->getLodScore();
        }
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

bool MLink::planMarker(const std::string& name, const FastlinkPedigreeSet& set, MarkerPlan& plan) {
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
    if (!plan.locus) return false;

    std::vector<PedigreeLoad> loads;
    const std::vector<FastlinkMarkerColumn> columns{plan.column};
    for (const Pedigree* pedigree : set.pedigrees) loads.push_back(pedigrees->getFastlinkLoad(pedigree, columns));
    plan.batches = planBatches(loads, {plan.locus->getAlleleFrequencies()});
    for (const SkippedPedigree& skipped : plan.batches.skipped)
        plan.notes += "Skipping pedigree " + pedigrees->getPedigreeLabel(set.pedigrees[skipped.pedigree]) + " for marker " +
                      name + ", since it has " + skipped.reason + "\n";
    if (plan.batches.batches.empty())
        plan.skipMessage = "Skipping marker " + name + ", since no pedigree can be analysed\n";
    return true;
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
        if (!planMarker(markers[m], set, plans[m])) return false;

    // One job per phenotype, marker and batch; each batch's records land in its own slot.
    std::vector<std::vector<std::vector<std::unique_ptr<MLinkMarker>>>> batchResults(phenotypes.size());
    std::vector<FastlinkJob> jobs;
    for (size_t p = 0; p < phenotypes.size(); ++p) {
        batchResults[p].resize(plans.size());
        for (size_t m = 0; m < plans.size(); ++m) {
            const MarkerPlan& plan = plans[m];
            if (!plan.skipMessage.empty()) continue;
            batchResults[p][m].resize(plan.batches.batches.size());
            for (size_t b = 0; b < plan.batches.batches.size(); ++b) {
                const PedigreeBatch& batch = plan.batches.batches[b];
                const BatchInput input = batchInput(*pedigrees, set, batch, phenotypes[p], liabilityClasses, {&plan.column});
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
                const std::map<std::string, std::string>* names = &set.nameOfNumber;
                job.readOutput = [slot, pedigreeCount, names](const std::string& directory) {
                    slot->reset(readResultsFile(directory + "/outfile.dat", pedigreeCount, names));
                    if (!*slot || (*slot)->getLikelihoodsNames().empty()) return false;
                    for (const std::string& theta : (*slot)->getLikelihoodsNames())
                        if (static_cast<int>((*slot)->getLikelihoods(theta)->getPedigreeNames().size()) != pedigreeCount)
                            return false;
                    return true;
                };
                jobs.push_back(std::move(job));
            }
        }
    }

    std::cout.flush();
    FastlinkRunner runner(pedigrees->getParallelJobs(), pedigrees->isVerbose(), pedigrees->getOutputPrefix());
    if (!runner.run(jobs)) return false;

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
            MLinkMarker* merged = mergeBatches(batchResults[p][m], plan.name);
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
    return true;
}
