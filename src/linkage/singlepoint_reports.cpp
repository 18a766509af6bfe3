// Text reports and PostScript plots of a singlepoint run: the best LOD per marker, the LOD
// per family and theta, the LOD curves, and the heterogeneity grids and maxima.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iomanip>
#include <iostream>
#include <sstream>

#include "driver/utilities.h"
#include "linkage/mlink.h"
#include "linkage/report_files.h"
#include "model/file.h"
#include "model/pedigrees.h"
#include "plot/postscript.h"

static const int barsPerPage = 100;
// Curve points below this LOD are left out of the plots, whose value axis starts here.
static const double curveFloor = -3.0;

// Fixed notation as a stream with std::fixed writes it; formatted directly, as the grids of a
// genome scan hold millions of numbers.
static std::string fixedText(double value, int precision) {
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", precision, value);
    return text;
}

// LODs in the curve table: fixed notation, or scientific below 0.000001 (every negative LOD).
static std::string curveLodText(double value) {
    std::ostringstream text;
    if (value < 0.000001) text << std::scientific;
    else text << std::fixed;
    text << std::setprecision(6) << value;
    return text.str();
}

// The theta texts of a marker in report order: the second to the last block, then the first
// (MLINK's first block is the unlinked theta).
static std::vector<std::string> thetasInReportOrder(const MLinkMarker* marker) {
    std::vector<std::string> names = marker->getLikelihoodsNames();
    if (names.size() > 1) std::rotate(names.begin(), names.begin() + 1, names.end());
    return names;
}

// A value axis that holds the largest bar, with about ten ticks.
static void setHistogramValueAxis(PostScriptPage* page, double largest) {
    page->valueMax = largest > 1.0 ? std::ceil(largest) : 1.0;
    page->tickStep = page->valueMax <= 5.0 ? 0.5 : std::ceil(page->valueMax / 10.0);
}

// Bar pages of one phenotype: up to 100 bars per page; with more than 100 markers every page
// has 100 slots and the last one is filled up with empty "@<position>" slots.
static void addHistogramPages(PostScript& document, const std::vector<std::pair<std::string, double>>& bars,
                              const std::string& title, const std::string& phenotypeLine,
                              const std::string& analysisLine) {
    if (bars.empty()) return;
    double largest = 0.0;
    for (const auto& bar : bars) largest = std::max(largest, bar.second);
    const size_t slots = bars.size() <= barsPerPage ? bars.size()
                                                    : (bars.size() + barsPerPage - 1) / barsPerPage * barsPerPage;
    const size_t slotsPerPage = std::min<size_t>(slots, barsPerPage);
    for (size_t first = 0; first < slots; first += slotsPerPage) {
        PostScriptPage* page = new PostScriptPage();
        page->title = title;
        page->subtitle1 = phenotypeLine;
        page->subtitle2 = analysisLine;
        page->positionAxisLabel = "Markers";
        page->valueAxisLabel = "Lod Score";
        page->barCount = static_cast<int>(slotsPerPage);
        setHistogramValueAxis(page, largest);
        for (size_t position = first; position < first + slotsPerPage; ++position) {
            if (position < bars.size()) {
                page->names.push_back(bars[position].first);
                page->values[bars[position].first] = bars[position].second;
            } else {
                const std::string placeholder = "@" + IntToString(static_cast<int>(position));
                page->names.push_back(placeholder);
                page->values[placeholder] = 0.0;
            }
        }
        document.addPostScriptPage(page);
    }
}

static std::string plotTitle() { return "Singlepoint Analysis       (" + current_time_and_date() + ")"; }

bool MLink::writeResultsFile(const std::string& base) {
    const std::string textName = base + ".out";
    std::cout << "The LOD Scores: " << textName << "\n";
    File file;
    if (!openReport(file, textName, welcome(), pedigrees)) return false;
    std::ostream& out = file.text;

    PostScript document;
    const std::string analysis = mode == "nuclear" ? "Linkage Analysis for nuclear pedigrees" : "Linkage Analysis";
    for (size_t p = 0; p < results.size(); ++p) {
        const std::string& phenotype = phenotypes[p];
        out << "\n" << "Phenotype: " << phenotype << "\n";
        out << std::setw(20) << "Marker" << std::setw(13) << "LOD Score" << std::setw(13) << "Theta" << "\n";
        std::vector<std::pair<std::string, double>> bars;
        for (const MLinkMarker* marker : results[p]) {
            const FastlinkLikelihoods* best = marker->getLikelihoodWithMaxLodScore();
            if (!best) continue;
            out << std::setw(20) << marker->getIndex() << std::setw(13) << fixedText(best->getLodScore(), 6)
                << std::setw(13) << fixedText(best->getRecombinationFraction(), 6) << "\n";
            bars.emplace_back(marker->getIndex(), best->getLodScore());
        }
        addHistogramPages(document, bars, plotTitle(), "Phenotype: " + phenotype, analysis);
    }

    bool plotted = true;
    std::cout << "The LOD Score histograms: " << base << ".ps\n";
    if (!document.writeHistogramPagesIntoPostScriptFile(base + ".ps")) {
        std::cout << "...failed\n";
        plotted = false;
    }
    return closeReport(file) && plotted;
}

bool MLink::writeResultsByFamilyFile(const std::string& base) {
    const std::string textName = base + ".out";
    std::cout << "The LOD Scores: " << textName << "\n";
    File file;
    if (!openReport(file, textName, welcome(), pedigrees)) return false;
    std::ostream& out = file.text;
    const bool nuclear = mode == "nuclear";
    if (nuclear) {
        out << "Nuclear Pedigree statistics\n" << std::string(24, '=') << "\n";
        out << "  # pedigrees          : " << pedigrees->getNuclearPedigreeCount() << "\n";
        out << "  # persons            : " << pedigrees->getNuclearPersonCount() << "\n";
    }
    for (size_t p = 0; p < results.size(); ++p) {
        out << "\n" << "Phenotype: " << phenotypes[p] << "\n";
        for (const MLinkMarker* marker : results[p]) {
            out << "Marker: " << marker->getIndex() << "\n";
            const std::vector<std::string> thetas = thetasInReportOrder(marker);
            out << std::setw(10) << "" << std::setw(10) << "Theta" << "\n";
            out << std::setw(10) << "Pedigreeid" << "\n";
            out << std::setw(10) << "";
            for (const std::string& theta : thetas) out << std::setw(15) << theta;
            out << "\n";
            if (thetas.empty()) continue;

            // Pedigrees in FASTLINK's order, under the names the user can trace (the analysis
            // gives nuclear pedigrees the id of their source pedigree and their number in it).
            const FastlinkLikelihoods* first = marker->getLikelihoods(marker->getLikelihoodsNames().front());
            for (const std::string& id : first->getPedigreeNames()) {
                out << std::setw(10) << id;
                for (const std::string& theta : thetas) {
                    const FastlinkLikelihoods* record = marker->getLikelihoods(theta);
                    const FastlinkLikelihood* likelihood = record ? record->getLikelihood(id) : nullptr;
                    out << std::setw(15) << (likelihood ? fixedText(likelihood->getLodScore(), 5) : "NaN");
                }
                out << "\n";
            }
        }
    }
    return closeReport(file);
}

// One row of the curve table: every marker's total LOD at the theta.
static void writeEveryMarkersGivenLODScore(std::ostream& out, const std::vector<MLinkMarker*>& markers,
                                           const std::string& theta) {
    for (const MLinkMarker* marker : markers) {
        const FastlinkLikelihoods* record = marker->getLikelihoods(theta);
        out << std::setw(20) << (record ? curveLodText(record->getLodScore()) : "NaN");
    }
}

bool MLink::writeAllLODScoresFile(const std::string& base) {
    const std::string textName = base + ".out";
    std::cout << "The LOD Scores for singlepoint curves: " << textName << "\n";
    File file;
    if (!openReport(file, textName, welcome(), pedigrees)) return false;
    std::ostream& out = file.text;

    PostScript document;
    for (size_t p = 0; p < results.size(); ++p) {
        const std::vector<MLinkMarker*>& markers = results[p];
        out << "Phenotype: " << phenotypes[p] << "\n";
        out << std::setw(20) << "Theta";
        for (const MLinkMarker* marker : markers) out << std::setw(20) << marker->getIndex();
        out << "\n";
        if (!markers.empty()) {
            const std::vector<std::string> thetas = thetasInReportOrder(markers.front());
            for (size_t t = 0; t < thetas.size(); ++t) {
                double theta = stringToDouble(thetas[t]);
                // The last row is MLINK's first block.
                if (t + 1 < thetas.size()) theta = changeValueLengthToTwo(theta);
                out << std::setw(20) << fixedText(theta, 2);
                writeEveryMarkersGivenLODScore(out, markers, thetas[t]);
                out << "\n";
            }
        }
        if (!pedigrees->isSinglepointCurves()) continue;

        double valueMax = 0.0;
        for (const MLinkMarker* marker : markers)
            if (const FastlinkLikelihoods* best = marker->getLikelihoodWithMaxLodScore())
                valueMax = std::max(valueMax, best->getLodScore());
        for (const MLinkMarker* marker : markers) {
            PostScriptPage* page = new PostScriptPage();
            page->title = plotTitle();
            page->subtitle1 = "Phenotype: " + phenotypes[p];
            page->subtitle2 = "   Marker: " + marker->getIndex();
            page->valueAxisLabel = "Lod Score";
            page->positionMin = 0.0;
            page->positionMax = 0.5;
            page->valueMin = curveFloor;
            page->valueMax = valueMax;
            for (const std::string& theta : thetasInReportOrder(marker)) {
                const double lod = marker->getLikelihoods(theta)->getLodScore();
                if (lod < curveFloor) continue;
                page->positions.push_back(changeValueLengthToTwo(stringToDouble(theta)));
                page->curveValues.push_back(lod);
            }
            document.addPostScriptPage(page);
        }
    }
    if (!closeReport(file)) return false;

    if (!pedigrees->isSinglepointCurves()) return true;
    std::cout << "The LOD Score curves: " << base << ".ps\n";
    if (!document.writeCurvePagesIntoPostScriptFile(base + ".ps")) {
        std::cout << "...failed\n";
        return false;
    }
    return true;
}

bool MLink::writeHLodFile(const std::string& base) {
    const std::string textName = base + ".out";
    std::cout << (mode == "nuclear" ? "Component nuclear pedigree LOD Scores under heterogeneity: "
                                    : "The LOD Scores under heterogeneity: ")
              << textName << "\n";
    File file;
    if (!openReport(file, textName, welcome(), pedigrees)) return false;
    std::ostream& out = file.text;

    for (size_t p = 0; p < hlodGrid.size(); ++p) {
        out << "Phenotype: " << hlodPhenotypes[p] << "\n";
        const std::vector<MLinkMarker*>& markers = results[p];
        for (size_t m = 0; m < hlodGrid[p].size() && m < markers.size(); ++m) {
            out << "\tMarker: " << markers[m]->getIndex() << "\n";
            // Rows are theta, columns alpha.
            out << std::setw(10) << "" << std::setw(10) << "Alpha" << "\n";
            out << std::setw(10) << "Theta" << "\n";
            out << std::setw(10) << "";
            for (const std::string& alpha : alphaNames) out << std::setw(10) << alpha;
            out << "\n";
            for (const std::vector<MLinkHLod*>& row : hlodGrid[p][m]) {
                if (row.empty()) continue;
                out << std::setw(10) << doubleToString(row.front()->getTheta());
                for (const MLinkHLod* point : row) out << std::setw(10) << fixedText(point->getHLod(), 5);
                out << "\n";
            }
            out << "\n";
        }
        out << "\n";
    }
    return closeReport(file);
}

bool MLink::writeHLodPostscript(const std::string& base) {
    const bool nuclear = mode == "nuclear";
    const std::string fileName = base + ".ps";
    std::cout << (nuclear ? "Component nuclear pedigree LOD Scores under heterogeneity histograms: "
                          : "The LOD Scores under heterogeneity histograms: ")
              << fileName << "\n";
    const std::string analysis =
        nuclear ? "Linkage Analysis for nuclear pedigrees under heterogeneity" : "Linkage Analysis under heterogeneity";
    PostScript document;
    for (size_t p = 0; p < hlodMaxima.size(); ++p) {
        std::vector<std::pair<std::string, double>> bars;
        for (size_t m = 0; m < hlodMaxima[p].size() && m < results[p].size(); ++m)
            bars.emplace_back(results[p][m]->getIndex(), hlodMaxima[p][m]->getHLod());
        addHistogramPages(document, bars, plotTitle(), "Phenotype: " + hlodPhenotypes[p], analysis);
    }
    std::cout << "Writing Linkage Analysis histograms into " << fileName << "\n";
    if (!document.writeHistogramPagesIntoPostScriptFile(fileName)) {
        std::cout << "...failed\n";
        return false;
    }
    return true;
}
