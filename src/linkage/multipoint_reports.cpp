// The heterogeneity grid of a multipoint scan and its reports: the LOD table, the LOD curves
// along the map, the heterogeneity table and the LODs per family.

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <iostream>
#include <map>
#include <sstream>

#include "driver/utilities.h"
#include "input/marker_map.h"
#include "linkage/linkmap.h"
#include "linkage/mlink.h"
#include "linkage/report_files.h"
#include "model/file.h"
#include "model/pedigrees.h"
#include "plot/postscript.h"

namespace {

// Every evaluation point of a window, trait positions in order.
std::vector<std::pair<const LinkmapLikelihoods*, const FastlinkLikelihoods*>> pointsOf(
    const std::vector<LinkmapLikelihoods*>& window) {
    std::vector<std::pair<const LinkmapLikelihoods*, const FastlinkLikelihoods*>> points;
    for (const LinkmapLikelihoods* record : window)
        for (const FastlinkLikelihoods* evaluation : record->getEvaluations()) points.emplace_back(record, evaluation);
    return points;
}

const std::vector<std::string> kNoPedigrees;

// The pedigrees of a window in FASTLINK's order.
const std::vector<std::string> pedigreesOf(const std::vector<LinkmapLikelihoods*>& window) {
    if (window.empty() || window.front()->getEvaluations().empty()) return kNoPedigrees;
    return window.front()->getEvaluations().front()->getPedigreeNames();
}

}  // namespace

const std::vector<std::vector<std::vector<LinkmapHLod*>>>& Linkmap::getHLods(const std::string& phenotype,
                                                                             const std::string& key) const {
    static const std::vector<std::vector<std::vector<LinkmapHLod*>>> none;
    const auto found = hlods.find(phenotype);
    if (found == hlods.end()) return none;
    const auto window = found->second.find(key);
    return window == found->second.end() ? none : window->second;
}

void Linkmap::countHLods() {
    clearHLods();
    for (const std::string& phenotype : phenotypes) {
        for (const std::string& key : getWindowKeys(phenotype)) {
            const std::vector<LinkmapLikelihoods*>& window = getWindow(phenotype, key);
            auto& grid = hlods[phenotype][key];
            for (const LinkmapLikelihoods* record : window) {
                std::vector<std::vector<LinkmapHLod*>> positionGrid;
                int index = 1;
                for (const FastlinkLikelihoods* evaluation : record->getEvaluations()) {
                    std::vector<double> lods, ratios;
                    for (const std::string& pedigree : evaluation->getPedigreeNames()) {
                        lods.push_back(pedigreeLod(window, evaluation, pedigree));
                        ratios.push_back(std::pow(10.0, lods.back()));
                    }
                    std::vector<LinkmapHLod*> point;
                    const bool buildAlphaNames = alphaNames.empty();
                    for (double alpha = 0.0; alpha < 1.01; alpha += 0.01) {
                        const double hlod = heterogeneityLod(lods, ratios, alpha);
                        point.push_back(new LinkmapHLod(index++, alpha, hlod));
                        if (buildAlphaNames) alphaNames.push_back(doubleToString(alpha));
                    }
                    positionGrid.push_back(point);
                }
                grid.push_back(positionGrid);
            }
        }
    }
}

bool Linkmap::writeResults(const std::string& fileName) {
    std::cout << "The LOD Scores: " << fileName << "\n";
    File file;
    if (!openReport(file, fileName, welcome(), pedigrees)) return false;
    std::ostream& out = file.text;
    out << "\n\nLinkmap results\n\n";
    out << std::fixed << std::setprecision(6);
    for (const std::string& phenotype : phenotypes) {
        out << "Phenotype: " << phenotype << "\n";
        for (const std::string& key : getWindowKeys(phenotype)) {
            const std::vector<LinkmapLikelihoods*>& window = getWindow(phenotype, key);
            out << "Markers: " << key << "\n";
            const int loci = window.empty() ? 0 : window.front()->getNumberOfLoci();
            out << std::setw(10) << "Thetas";
            for (int i = 0; i < loci - 2; ++i) out << std::setw(10) << "";
            out << std::setw(13) << "-2ln(like)" << std::setw(13) << "LOD Score" << "\n";
            for (const auto& point : pointsOf(window)) {
                for (double theta : point.second->getRecombinationFractions()) out << std::setw(10) << theta;
                out << std::setw(13) << point.second->getMinus2LnLike() << std::setw(13)
                    << point.first->getLodScore(point.second) << "\n";
            }
        }
    }
    return closeReport(file);
}

bool Linkmap::writeHLodResults(const std::string& base) {
    const std::string fileName = base + ".out";
    std::cout << "The LOD Scores under heterogeneity: " << fileName << "\n";
    File file;
    if (!openReport(file, fileName, welcome(), pedigrees)) return false;
    std::ostream& out = file.text;
    for (const std::string& phenotype : phenotypes) {
        out << "Phenotype: " << phenotype << "\n";
        for (const std::string& key : getWindowKeys(phenotype)) {
            out << "\tMarkers: " << key << "\n";
            std::vector<const std::vector<LinkmapHLod*>*> columns;
            for (const auto& position : getHLods(phenotype, key))
                for (const auto& point : position) columns.push_back(&point);
            out << std::setw(10) << "" << std::setw(10) << "Index" << "\n" << std::setw(10) << "Alpha" << "\n";
            out << std::setw(10) << "";
            for (size_t c = 0; c < columns.size(); ++c) out << std::setw(10) << c;
            out << "\n";
            for (size_t a = 0; a < alphaNames.size(); ++a) {
                out << std::setw(10) << alphaNames[a];
                for (const auto* column : columns) {
                    std::ostringstream value;
                    value << std::fixed << std::setprecision(5) << (a < column->size() ? (*column)[a]->getHLod() : 0.0);
                    out << std::setw(10) << value.str();
                }
                out << "\n";
            }
        }
    }
    const bool written = closeReport(file);
    std::cout << "\n";
    return written;
}

bool Linkmap::writeHLodResultsByFamily(const std::string& base) {
    const std::string fileName = base + ".out";
    std::cout << "The LOD Scores: " << fileName << "\n";
    File file;
    if (!openReport(file, fileName, welcome(), pedigrees)) return false;
    std::ostream& out = file.text;
    for (const std::string& phenotype : phenotypes) {
        out << "Phenotype: " << phenotype << "\n";
        for (const std::string& key : getWindowKeys(phenotype)) {
            const std::vector<LinkmapLikelihoods*>& window = getWindow(phenotype, key);
            const auto points = pointsOf(window);
            out << "\tMarkers: " << key << "\n";
            out << std::setw(10) << "" << std::setw(10) << "Index" << "\n" << std::setw(10) << "Pedigreeid" << "\n";
            out << std::setw(10) << "";
            for (size_t c = 0; c < points.size(); ++c) out << std::setw(15) << c;
            out << "\n";
            // Pedigrees in FASTLINK's order, under the user's names.
            for (const std::string& pedigree : pedigreesOf(window)) {
                out << std::setw(10) << pedigree;
                for (const auto& point : points) {
                    std::ostringstream value;
                    value << std::fixed << std::setprecision(5) << pedigreeLod(window, point.second, pedigree);
                    out << std::setw(15) << value.str();
                }
                out << "\n";
            }
            out << "\n";
        }
    }
    return closeReport(file);
}

bool Linkmap::writeResultsPostScript(const std::string& base) {
    PostScript document;
    for (const std::string& phenotype : phenotypes) {
        for (const std::string& key : getWindowKeys(phenotype)) {
            const std::vector<LinkmapLikelihoods*>& window = getWindow(phenotype, key);
            auto* page = new PostScriptPage();
            page->title = "Multipoint Analysis       (" + current_time_and_date() + ")";
            page->subtitle1 = "Phenotype: " + phenotype;
            page->subtitle2 = "   Marker order: " + key;
            page->positionAxisLabel = "cM";
            page->valueAxisLabel = "Lod Score";
            // Points along the map; a point at recombination fraction 0.5 from its marker (outside
            // the window, or in an interval between two chromosomes) has no finite position and is
            // left out.
            std::map<double, double> curve;
            for (const auto& point : pointsOf(window)) {
                const double position = getPosition(point.first, point.second);
                if (std::isfinite(position)) curve[position] = point.first->getLodScore(point.second);
            }
            double smallest = 0.0, largest = 0.0;
            for (const auto& point : curve) {
                page->positions.push_back(point.first);
                page->curveValues.push_back(point.second);
                smallest = std::min(smallest, point.second);
                largest = std::max(largest, point.second);
            }
            if (!window.empty())
                for (const std::string& name : window.front()->getMarkerNames()) {
                    page->markerNames.push_back(name);
                    page->markerPositions[name] = pedigrees->getMarkerMap()->getMarkerWithName(name)->getPosition();
                }
            page->valueMax = largest < 3.0 ? 3.0 : std::trunc(largest) + 1.0;
            page->valueMin = smallest > 0.0 ? -2.0 : std::trunc(smallest) - 1.0;
            page->tickStep = 1.0;
            if (curve.empty()) {
                page->positionStep = 0.1;
                page->positionMax = 1.0;
            } else {
                // The curve may start before the map's origin: the axis starts at its first point.
                page->positionMin = curve.begin()->first;
                const double span = curve.rbegin()->first - page->positionMin;
                // Ticks at a round step, at most about fifteen of them (the points outside the
                // window can span a hundred cM).
                page->positionStep = 0.1;
                for (double step : {0.1, 0.2, 0.5, 1.0, 2.0, 5.0, 10.0, 20.0, 50.0, 100.0}) {
                    page->positionStep = step;
                    if (span / step <= 15.0) break;
                }
                page->positionMax = std::max(curve.rbegin()->first, page->positionMin + 1e-09);
            }
            document.addPostScriptPage(page);
        }
    }
    std::cout << "The LOD Score Curves: " << base << ".ps\n";
    if (!document.writeCurvePagesIntoPostScriptFileCorrectly(base + ".ps")) {
        std::cout << "...failed\n";
        return false;
    }
    return true;
}
