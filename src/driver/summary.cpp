#include <cmath>
#include <iomanip>
#include <iostream>
#include <sstream>
#include <vector>

#include "association/hrr.h"
#include "association/tdt.h"
#include "driver/varkel.h"
#include "input/marker_map.h"
#include "linkage/linkmap.h"
#include "linkage/mlink.h"
#include "model/file.h"
#include "model/pedigrees.h"

namespace {

// The best theta record of the marker at a position of a phenotype's results, or null when
// the analysis has no such marker or the marker has no theta record.
FastlinkLikelihoods* maximumLod(const MLink* analysis, std::size_t phenotype, std::size_t position) {
    if (!analysis) return nullptr;
    const auto& results = analysis->getResults();
    if (phenotype >= results.size() || position >= results[phenotype].size()) return nullptr;
    const MLinkMarker* marker = results[phenotype][position];
    return marker ? marker->getLikelihoodWithMaxLodScore() : nullptr;
}

// The heterogeneity maximum of the marker at a position of a phenotype's results. Maxima are
// stored only for the markers that have a record, so the position is counted over those.
const MLinkHLod* maximumHLod(const MLink* analysis, std::size_t phenotype, std::size_t position) {
    if (!analysis) return nullptr;
    const auto& results = analysis->getResults();
    const auto& maxima = analysis->getHLodMaxima();
    if (phenotype >= results.size() || phenotype >= maxima.size() || position >= results[phenotype].size() ||
        !results[phenotype][position])
        return nullptr;
    std::size_t stored = 0;
    for (std::size_t i = 0; i < position; ++i)
        if (results[phenotype][i]) ++stored;
    return stored < maxima[phenotype].size() ? maxima[phenotype][stored] : nullptr;
}

void writeLod(std::ostream& out, const FastlinkLikelihoods* best) {
    if (best)
        out << std::setw(13) << best->getLodScore() << std::setw(10) << std::setprecision(2)
            << best->getRecombinationFraction() << std::setprecision(6);
    else
        out << std::setw(13) << "" << std::setw(10) << "";
}

void writeHLod(std::ostream& out, const MLinkHLod* best) {
    if (best)
        out << std::setw(13) << best->getHLod() << std::setprecision(2) << std::setw(10) << best->getTheta()
            << std::setw(10) << best->getAlpha() << std::setprecision(6);
    else
        out << std::setw(13) << "" << std::setw(10) << "" << std::setw(10) << "";
}

// A map position, or "NA" for a point with no finite position (the trait unlinked outside the
// window).
std::string positionText(double position) {
    if (!std::isfinite(position)) return "NA";
    std::ostringstream text;
    text << std::fixed << std::setprecision(2) << position;
    return text.str();
}

// Per phenotype and window: the best total LOD with its map position, and the best
// heterogeneity LOD with its position and alpha.
void writeMultipointSummary(std::ostream& out, const Linkmap& multipoint) {
    out << "\n\n" << "Multipoint linkage analysis summary - All on Lod Score Scale" << "\n";
    for (const std::string& phenotype : multipoint.getPhenotypes()) {
        out << "\n" << "Phenotype: " << phenotype << "\n";
        out << std::left << std::setw(40) << "Markers" << std::right << std::setw(13) << "LodMax" << std::setw(10)
            << "cM" << std::setw(13) << "HLodMax" << std::setw(10) << "cM" << std::setw(10) << "Alpha" << "\n";
        for (const std::string& key : multipoint.getWindowKeys(phenotype)) {
            const std::vector<LinkmapLikelihoods*>& window = multipoint.getWindow(phenotype, key);
            const auto& grid = multipoint.getHLods(phenotype, key);
            const LinkmapLikelihoods* bestRecord = nullptr;
            const FastlinkLikelihoods* bestPoint = nullptr;
            const LinkmapHLod* bestHLod = nullptr;
            const LinkmapLikelihoods* bestHLodRecord = nullptr;
            const FastlinkLikelihoods* bestHLodPoint = nullptr;
            for (size_t t = 0; t < window.size(); ++t) {
                const auto& evaluations = window[t]->getEvaluations();
                for (size_t e = 0; e < evaluations.size(); ++e) {
                    if (!bestPoint || window[t]->getLodScore(evaluations[e]) > bestRecord->getLodScore(bestPoint)) {
                        bestRecord = window[t];
                        bestPoint = evaluations[e];
                    }
                    if (t >= grid.size() || e >= grid[t].size()) continue;
                    for (const LinkmapHLod* value : grid[t][e])
                        if (!bestHLod || value->getHLod() > bestHLod->getHLod()) {
                            bestHLod = value;
                            bestHLodRecord = window[t];
                            bestHLodPoint = evaluations[e];
                        }
                }
            }
            std::string markers = key;
            while (!markers.empty() && markers.back() == ' ') markers.pop_back();
            out << std::left << std::setw(40) << markers << std::right;
            if (bestPoint)
                out << std::setw(13) << bestRecord->getLodScore(bestPoint) << std::setw(10)
                    << positionText(multipoint.getPosition(bestRecord, bestPoint));
            else
                out << std::setw(13) << "" << std::setw(10) << "";
            if (bestHLod)
                out << std::setw(13) << bestHLod->getHLod() << std::setw(10)
                    << positionText(multipoint.getPosition(bestHLodRecord, bestHLodPoint)) << std::setw(10)
                    << std::setprecision(2) << bestHLod->getAlpha() << std::setprecision(6);
            out << "\n";
        }
    }
}

// Per phenotype and marker: the best allele and the global p-value, as on the console.
void writeTdtSummary(std::ostream& out, const Tdt& tdt, MarkerMap& map) {
    out << "\n\n" << "Transmission/disequilibrium test summary - results are p-values" << "\n";
    for (const std::string& phenotype : tdt.getPhenotypeNames()) {
        out << "Phenotype: " << phenotype << "\n" << tdtMarkerTableHeading();
        for (const TdtMarker& marker : tdt.getMarkers(phenotype))
            out << tdtMarkerTableLine(map.getMarkerName(marker.getKey()), marker);
    }
}

}  // namespace

bool Varkel::writeSummaryFile(const std::string& base) {
    File file;
    if (!file.openForWriting(base + ".out")) return false;
    std::cout << std::endl << "Summary file: " << base << ".out" << std::endl;

    std::ostream& out = file.text;
    out << std::fixed << std::setprecision(6) << std::right;
    out << welcome() << "\n" << pedigrees->getCommonHeader();

    if (singlepoint) {
        out << "Parametric Linkage analysis summary - All on Lod Score Scale" << "\n";
        const auto& phenotypes = singlepoint->getPhenotypes();
        const auto& results = singlepoint->getResults();
        for (std::size_t p = 0; p < results.size(); ++p) {
            out << "\n" << "Phenotype: " << (p < phenotypes.size() ? phenotypes[p] : "") << "\n";
            out << std::setw(20) << "Marker" << std::setw(13) << "LodHom" << std::setw(10) << "Theta";
            if (nuclear) out << std::setw(13) << "NucLodHom" << std::setw(10) << "Theta";
            out << "\n";
            for (std::size_t m = 0; m < results[p].size(); ++m) {
                const FastlinkLikelihoods* best = maximumLod(singlepoint, p, m);
                if (!best) continue;
                out << std::setw(20) << results[p][m]->getIndex();
                writeLod(out, best);
                if (nuclear) writeLod(out, maximumLod(nuclear, p, m));
                out << "\n";
            }

            if (!settings.heterogeneityAnalysis) continue;
            out << std::setw(20) << "Marker" << std::setw(13) << "LodHet" << std::setw(10) << "Theta"
                << std::setw(10) << "Alpha";
            if (nuclear)
                out << std::setw(13) << "NucLodHet" << std::setw(10) << "Theta" << std::setw(10) << "Alpha";
            out << "\n";
            for (std::size_t m = 0; m < results[p].size(); ++m) {
                const MLinkHLod* best = maximumHLod(singlepoint, p, m);
                if (!best) continue;
                out << std::setw(20) << results[p][m]->getIndex();
                writeHLod(out, best);
                if (nuclear) writeHLod(out, maximumHLod(nuclear, p, m));
                out << "\n";
            }
        }
    }

    if (multipoint && multipoint->hasResults()) writeMultipointSummary(out, *multipoint);

    if (hrr) {
        out << "\n\n" << "Association analysis summary - results are p-values" << "\n";
        MarkerMap* map = pedigrees->getMarkerMap();
        for (const std::string& name : hrr->getPhenotypeNames()) {
            const HrrPhenotype* phenotype = hrr->getHrrPhenotype(name);
            if (!phenotype) continue;
            out << "Phenotype: " << name << "\n" << "Halplotype Relative Risk" << "\n";
            out << std::setw(20) << "Marker" << std::setw(15) << "Allele-based" << std::setw(15) << "Allele-based"
                << std::setw(15) << "Genotype-based" << std::setw(15) << "Genotype-based" << "\n";
            out << std::setw(20) << "" << std::setw(15) << "randomized" << std::setw(15) << "theoretical"
                << std::setw(15) << "randomized" << std::setw(15) << "theoretical" << "\n";
            for (const std::string& key : phenotype->getHrrMarkerNames()) {
                const HrrMarker* marker = phenotype->getHrrMarker(key);
                if (!marker) continue;
                out << std::setw(20) << (map ? map->getMarkerName(key) : key) << std::setw(15)
                    << randomizedPText(marker->getAlleleRandomizedP()) << std::setw(15)
                    << marker->getAlleleTheoreticalP() << std::setw(15)
                    << randomizedPText(marker->getGenotypeRandomizedP()) << std::setw(15)
                    << marker->getGenotypeTheoreticalP() << "\n";
            }
        }
    }

    if (singlepoint || multipoint) {
        out << "\n\n" << "Likelihood engines - pedigrees each computed" << "\n";
        out << std::setw(20) << "Analysis" << std::setw(10) << "Native" << std::setw(10) << "FASTLINK" << "\n";
        const auto row = [&out](const char* name, std::pair<int, int> counts) {
            out << std::setw(20) << name << std::setw(10) << counts.first << std::setw(10) << counts.second << "\n";
        };
        if (singlepoint) row("singlepoint", singlepoint->getEngineCounts());
        if (nuclear) row("nuclear", nuclear->getEngineCounts());
        if (multipoint && multipoint->hasResults()) row("multipoint", multipoint->getEngineCounts());
    }

    if (tdt) writeTdtSummary(out, *tdt, *pedigrees->getMarkerMap());

    return file.writeTextAndClose();
}
