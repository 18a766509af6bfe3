#include "linkage/tidy_reports.h"

#include <algorithm>
#include <cmath>
#include <iostream>

#include "input/marker_map.h"
#include "linkage/linkmap.h"
#include "linkage/mlink.h"
#include "model/tidy_table.h"

namespace {

const char* const kTotal = "ALL";

bool writeTable(const TidyTable& table, const std::string& fileName, const std::string& what) {
    std::cout << what << fileName << "\n";
    return table.write(fileName);
}

// The singlepoint analyses that ran, under the names the tables give them.
std::vector<std::pair<const char*, const MLink*>> analysesOf(const MLink* singlepoint, const MLink* nuclear) {
    std::vector<std::pair<const char*, const MLink*>> analyses;
    if (singlepoint) analyses.emplace_back("singlepoint", singlepoint);
    if (nuclear) analyses.emplace_back("nuclear", nuclear);
    return analyses;
}

// A marker's theta records from theta 0 up to the unlinked 0.5 (MLINK gives 0.5 first).
std::vector<const FastlinkLikelihoods*> recordsByTheta(const MLinkMarker* marker) {
    std::vector<const FastlinkLikelihoods*> records;
    for (const std::string& theta : marker->getLikelihoodsNames())
        if (const FastlinkLikelihoods* record = marker->getLikelihoods(theta)) records.push_back(record);
    std::stable_sort(records.begin(), records.end(), [](const FastlinkLikelihoods* a, const FastlinkLikelihoods* b) {
        return a->getRecombinationFraction() < b->getRecombinationFraction();
    });
    return records;
}

}  // namespace

bool writeLodTable(const std::string& fileName, const MLink* singlepoint, const MLink* nuclear, MarkerMap& map) {
    TidyTable table({"phenotype", "analysis", "marker", "chromosome", "cM", "pedigree", "theta", "lod"});
    for (const auto& analysis : analysesOf(singlepoint, nuclear)) {
        const auto& results = analysis.second->getResults();
        const auto& phenotypes = analysis.second->getPhenotypes();
        for (size_t p = 0; p < results.size() && p < phenotypes.size(); ++p) {
            for (const MLinkMarker* marker : results[p]) {
                const Marker* onMap = map.getMarkerWithName(marker->getIndex());
                const std::string chromosome = onMap ? onMap->getChromosome() : TidyTable::missing();
                const std::string position = onMap ? TidyTable::number(onMap->getPosition()) : TidyTable::missing();
                const std::vector<const FastlinkLikelihoods*> records = recordsByTheta(marker);
                if (records.empty()) continue;
                // Pedigrees in FASTLINK's order, as in the by-family report.
                const FastlinkLikelihoods* first = marker->getLikelihoods(marker->getLikelihoodsNames().front());
                std::vector<std::string> pedigrees{kTotal};
                for (const std::string& id : first->getPedigreeNames()) pedigrees.push_back(id);
                for (const std::string& pedigree : pedigrees) {
                    for (const FastlinkLikelihoods* record : records) {
                        std::string lod = TidyTable::number(record->getLodScore());
                        if (pedigree != kTotal) {
                            const FastlinkLikelihood* likelihood = record->getLikelihood(pedigree);
                            lod = likelihood ? TidyTable::number(likelihood->getLodScore()) : TidyTable::missing();
                        }
                        table.addRow({phenotypes[p], analysis.first, marker->getIndex(), chromosome, position, pedigree,
                                      TidyTable::number(record->getRecombinationFraction()), lod});
                    }
                }
            }
        }
    }
    return writeTable(table, fileName, "The LOD Score table: ");
}

bool writeHLodTable(const std::string& fileName, const MLink* singlepoint, const MLink* nuclear) {
    TidyTable table({"phenotype", "analysis", "marker", "theta", "alpha", "hlod"});
    for (const auto& analysis : analysesOf(singlepoint, nuclear)) {
        const auto& results = analysis.second->getResults();
        const auto& maxima = analysis.second->getHLodMaxima();
        const auto& phenotypes = analysis.second->getPhenotypes();
        for (size_t p = 0; p < maxima.size() && p < results.size() && p < phenotypes.size(); ++p) {
            for (size_t m = 0; m < maxima[p].size() && m < results[p].size(); ++m) {
                const MLinkHLod* best = maxima[p][m];
                // With no family linked (alpha 0) the heterogeneity LOD is 0 at every theta:
                // there is no maximising theta.
                const bool unlinked = best->getAlpha() <= 0.0;
                table.addRow({phenotypes[p], analysis.first, results[p][m]->getIndex(),
                              unlinked ? TidyTable::missing() : TidyTable::number(best->getTheta()),
                              TidyTable::number(best->getAlpha()), TidyTable::number(best->getHLod())});
            }
        }
    }
    return writeTable(table, fileName, "The heterogeneity LOD Score table: ");
}

bool writeMultipointTable(const std::string& fileName, const Linkmap& multipoint) {
    TidyTable table({"phenotype", "window", "trait_position", "cM", "pedigree", "lod", "hlod", "alpha"});
    for (const std::string& phenotype : multipoint.getPhenotypes()) {
        for (const std::string& key : multipoint.getWindowKeys(phenotype)) {
            const std::vector<LinkmapLikelihoods*>& window = multipoint.getWindow(phenotype, key);
            if (window.empty() || window.front()->getEvaluations().empty()) continue;
            const auto& grid = multipoint.getHLods(phenotype, key);
            const std::string windowName = Linkmap::windowName(key);
            const std::vector<std::string> pedigrees = window.front()->getEvaluations().front()->getPedigreeNames();
            for (size_t t = 0; t < window.size(); ++t) {
                const LinkmapLikelihoods* record = window[t];
                const std::string traitPosition = TidyTable::number(static_cast<long>(record->getTraitPosition()));
                const auto& evaluations = record->getEvaluations();
                for (size_t e = 0; e < evaluations.size(); ++e) {
                    const FastlinkLikelihoods* point = evaluations[e];
                    // Outside the window at recombination fraction 0.5 the trait has no map position.
                    const double cM = multipoint.getPosition(record, point);
                    const std::string position = std::isfinite(cM) ? TidyTable::number(cM) : TidyTable::missing();
                    const LinkmapHLod* best = nullptr;
                    if (t < grid.size() && e < grid[t].size())
                        for (const LinkmapHLod* value : grid[t][e])
                            if (!best || value->getHLod() > best->getHLod()) best = value;
                    table.addRow({phenotype, windowName, traitPosition, position, kTotal,
                                  TidyTable::number(record->getLodScore(point)),
                                  best ? TidyTable::number(best->getHLod()) : TidyTable::missing(),
                                  best ? TidyTable::number(best->getAlpha()) : TidyTable::missing()});
                    for (const std::string& pedigree : pedigrees)
                        table.addRow({phenotype, windowName, traitPosition, position, pedigree,
                                      TidyTable::number(Linkmap::pedigreeLod(window, point, pedigree)),
                                      TidyTable::missing(), TidyTable::missing()});
                }
            }
        }
    }
    return writeTable(table, fileName, "The multipoint LOD Score table: ");
}
