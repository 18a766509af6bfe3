// The HRR report: case and control counts and the two statistics of every analysed marker
// in a text file, and histograms of -log10 p-values per marker in a PostScript file.

#include <cmath>
#include <iomanip>
#include <iostream>
#include <map>
#include <sstream>

#include "association/hrr.h"
#include "driver/utilities.h"
#include "input/marker_map.h"
#include "model/file.h"
#include "model/pedigrees.h"
#include "model/tidy_table.h"
#include "plot/postscript.h"

namespace {

// Plotted values of one p-value per marker. A randomised p-value of 0 is drawn at its bound,
// one over the number of replicates; a theoretical one of exactly 0 is plotted as 0.
struct Curve {
    const char* name;
    double (HrrMarker::*pValue)() const;
    bool randomized;
    std::map<std::string, double> values;
    double maximum = 0.0;

    void add(const std::string& marker, const HrrMarker& result) {
        const double p = randomized ? randomizedPBound((result.*pValue)()) : (result.*pValue)();
        // 0 - log10(1) is +0, so a p-value of 1 is not labelled "-0".
        const double value = p == 0.0 ? 0.0 : 0.0 - std::log10(p);
        values[marker] = value;
        if (value > maximum) maximum = value;
    }
};

const int barsPerLongPage = 50;
const int maxBarsOnOnePage = 100;

struct PageTexts {
    std::string title, phenotypeLine, inputFiles;
};

PostScriptPage* histogramPage(const PageTexts& texts, const Curve& curve, const std::vector<std::string>& markers,
                              size_t first, size_t slots) {
    auto* page = new PostScriptPage();
    page->title = texts.title;
    page->subtitle1 = texts.phenotypeLine;
    page->subtitle2 = texts.inputFiles;
    page->positionAxisLabel = "Markers";
    page->valueAxisLabel = std::string("-log10(p-value)    (") + curve.name + ")";
    const double m = curve.maximum;
    page->valueMax = m < 3.0 ? 3.0 : std::floor(m) + 1.0;
    page->tickStep = m <= 1.0 ? 0.1 : (m <= 3.0 ? 0.5 : 1.0);
    page->maxTicks = 100;
    page->barGap = 2;
    page->barCount = static_cast<int>(slots);
    for (size_t i = first; i < first + slots; ++i) {
        if (i < markers.size()) {
            page->names.push_back(markers[i]);
            page->values[markers[i]] = curve.values.at(markers[i]);
        } else {
            // An empty slot keeps the bars of the last page as wide as on the others.
            const std::string placeholder = "@" + IntToString(static_cast<int>(i));
            page->names.push_back(placeholder);
            page->values[placeholder] = 0.0;
        }
    }
    return page;
}

void addHistogramPages(PostScript& document, const PageTexts& texts, const Curve& curve,
                       const std::vector<std::string>& markers) {
    if (markers.size() <= static_cast<size_t>(maxBarsOnOnePage)) {
        document.addPostScriptPage(histogramPage(texts, curve, markers, 0, markers.size()));
        return;
    }
    for (size_t first = 0; first < markers.size(); first += barsPerLongPage)
        document.addPostScriptPage(histogramPage(texts, curve, markers, first, barsPerLongPage));
}

void writeMarkerCounts(std::ostream& out, const std::string& markerName, HrrMarker& marker) {
    out << "Marker : " << markerName << "\n\n";
    out << "Genotype Count\n" << std::setw(13) << "Genotype" << std::setw(13) << "Case" << std::setw(13) << "Control"
        << "\n";
    for (const std::string& g : marker.getGenotypeNames())
        out << std::setw(13) << g << std::setw(13) << marker.getCaseCountForGenotype(g) << std::setw(13)
            << marker.getControlCountForGenotype(g) << "\n";
    out << "\nAllele Count\n" << std::setw(13) << "Allele" << std::setw(13) << "Case" << std::setw(13) << "Control"
        << "\n";
    for (const std::string& a : marker.getAlleleNames()) {
        const int cases = marker.getCaseAlleleCount(a);
        const int controls = marker.getControlAlleleCount(a);
        if (cases != 0 || controls != 0)
            out << std::setw(13) << a << std::setw(13) << cases << std::setw(13) << controls << "\n";
    }
    out << "\nGenotype-Based LRT  " << std::setw(13) << ": " << std::fixed << std::setprecision(6)
        << marker.getLRT("genotype") << "\n";
    out << "Allele-Based LRT    " << std::setw(13) << ": " << marker.getLRT("allele") << "\n";
    out << std::defaultfloat;
    out << std::setw(20) << "" << std::setw(6) << "df" << std::setw(15) << "theoretical" << std::setw(15)
        << "randomized" << "\n";
    out << std::left << std::setw(20) << "Genotype-Based p" << std::right << std::setw(6)
        << marker.getDegreesOfFreedom("genotype") << std::setw(15) << theoreticalPText(marker.getGenotypeTheoreticalP())
        << std::setw(15) << randomizedPText(marker.getGenotypeRandomizedP()) << "\n";
    out << std::left << std::setw(20) << "Allele-Based p" << std::right << std::setw(6)
        << marker.getDegreesOfFreedom("allele") << std::setw(15) << theoreticalPText(marker.getAlleleTheoreticalP())
        << std::setw(15) << randomizedPText(marker.getAlleleRandomizedP()) << "\n";
    out << "\n";
}

// One row per test of a marker: the same numbers as the report.
void addTidyRows(TidyTable& table, const std::string& phenotype, const std::string& markerName,
                 const HrrMarker& marker) {
    const std::string replicates = TidyTable::number(static_cast<long>(HrrMarker::getReplicateCount()));
    auto randomized = [](double p) { return p == 0.0 ? randomizedPText(p) : TidyTable::number(p); };
    table.addRow({phenotype, markerName, "genotype", TidyTable::number(marker.getLRT("genotype")),
                  TidyTable::number(static_cast<long>(marker.getDegreesOfFreedom("genotype"))),
                  TidyTable::number(marker.getGenotypeTheoreticalP()), randomized(marker.getGenotypeRandomizedP()),
                  replicates});
    table.addRow({phenotype, markerName, "allele", TidyTable::number(marker.getLRT("allele")),
                  TidyTable::number(static_cast<long>(marker.getDegreesOfFreedom("allele"))),
                  TidyTable::number(marker.getAlleleTheoreticalP()), randomized(marker.getAlleleRandomizedP()),
                  replicates});
}

}  // namespace

int Hrr::writeGenotypeAndAlleleCounts(const std::string& fileStem) {
    std::cout << "The Hrr Counts: " << fileStem;
    File report;
    if (!report.openFile(fileStem + ".out", "write")) {
        std::cout << "\nError: Unable to open " << fileStem << ".out for writing!" << std::endl;
        return 0;
    }
    std::stringstream& out = report.text;
    out << welcome() << pedigrees->getCommonHeader() << "HRR Pedigree statistics\n"
        << std::string(24, '=') << "\n"
        << "  # pedigrees          : " << pedigrees->getHrrPedigreeCount() << "\n"
        << "  # persons            : " << pedigrees->getHrrPersonCount() << "\n\n"
        << "Randomized p-values from " << HrrMarker::getReplicateCount()
        << " replicates; \"" << randomizedPText(0.0) << "\": no replicate reached the observed statistic\n\n";
    TidyTable table({"phenotype", "marker", "test", "statistic", "df", "p_theoretical", "p_randomised", "replicates"});

    PageTexts texts;
    texts.title = "Hrr Analysis       (" + current_time_and_date() + ")";
    texts.inputFiles = pedigrees->getMapFileName() + " " + pedigrees->getPedigreeFileName() + " " +
                       pedigrees->getPhenotypeFileName() + " " + pedigrees->getModelFileName() + " " +
                       pedigrees->getLocusFileName();

    MarkerMap* map = pedigrees->getMarkerMap();
    PostScript document;
    for (const std::string& phenotypeName : phenotypeNames) {
        out << "Phenotype : " << phenotypeName << "\n";
        Curve curves[] = {{"Allele rand", &HrrMarker::getAlleleRandomizedP, true, {}, 0.0},
                          {"Allele theo", &HrrMarker::getAlleleTheoreticalP, false, {}, 0.0},
                          {"Genotype rand", &HrrMarker::getGenotypeRandomizedP, true, {}, 0.0},
                          {"Genotype theo", &HrrMarker::getGenotypeTheoreticalP, false, {}, 0.0}};
        std::vector<std::string> markerNames;
        const HrrPhenotype* phenotype = getHrrPhenotype(phenotypeName);
        for (const std::string& key : phenotype->getHrrMarkerNames()) {
            const std::string name = map->getMarkerName(key);
            HrrMarker* marker = phenotype->getHrrMarker(key);
            writeMarkerCounts(out, name, *marker);
            addTidyRows(table, phenotypeName, name, *marker);
            markerNames.push_back(name);
            for (Curve& curve : curves) curve.add(name, *marker);
        }
        texts.phenotypeLine = "Phenotype: " + phenotypeName;
        for (const Curve& curve : curves) addHistogramPages(document, texts, curve, markerNames);
    }

    const std::string plotName = fileStem + ".ps";
    std::cout << "\nThe HRR Histograms:  " << plotName;
    if (!document.writeHistogramPagesIntoPostScriptFile(plotName)) {
        std::cout << "\n";
        return 0;
    }
    std::cout << "\n";
    return report.writeTextAndClose() && table.write(fileStem + ".tsv") ? 1 : 0;
}
