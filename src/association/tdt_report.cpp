// The TDT report: per phenotype and marker the transmission table with the per-allele tests
// and the global test, as text (".out") and as a tidy table (".tsv").

#include <cmath>
#include <iomanip>
#include <iostream>
#include <sstream>

#include "association/hrr_marker.h"
#include "association/tdt.h"
#include "driver/utilities.h"
#include "input/marker_map.h"
#include "model/file.h"
#include "model/pedigrees.h"
#include "model/tidy_table.h"

namespace {

// A statistic in the text report: 6 decimals, "NA" when undefined, "Inf" when infinite.
std::string valueText(double value) {
    if (std::isnan(value)) return "NA";
    if (std::isinf(value)) return "Inf";
    std::ostringstream text;
    text << std::fixed << std::setprecision(6) << value;
    return text.str();
}

const char* const explanation =
    "Transmission/Disequilibrium Test\n"
    "================================\n"
    "Trios: every affected, genotyped child whose father and mother are both genotyped.\n"
    "T, U: transmissions and non-transmissions of the allele from heterozygous parents.\n"
    "Chisq = (T - U)^2 / (T + U) on 1 df; OR = T / U with the 95% interval\n"
    "exp(ln OR -+ 1.96 sqrt(1/T + 1/U)).\n"
    "Global test over the m alleles with T + U > 0 (Spielman and Ewens):\n"
    "(m - 1) / m * sum of (T - U)^2 / (T + U), chi-square on m - 1 df.\n"
    "Trios whose child cannot have its genotype from its parents are not counted.\n\n";

void writeMarker(std::ostream& out, const std::string& name, const TdtMarker& marker) {
    out << "Marker : " << name << "\n"
        << "Trios counted: " << marker.getTrioCount() << ", heterozygous parents: "
        << marker.getHeterozygousParentCount() << ", trios inconsistent with their parents: "
        << marker.getInconsistentTrioCount() << "\n\n";
    out << std::right << std::setw(13) << "Allele" << std::setw(8) << "T" << std::setw(8) << "U" << std::setw(13)
        << "Chisq" << std::setw(15) << "p" << std::setw(13) << "OR" << std::setw(13) << "L95" << std::setw(13)
        << "U95" << "\n";
    for (const TdtAllele& a : marker.getAlleles())
        out << std::setw(13) << a.name << std::setw(8) << a.transmitted << std::setw(8) << a.untransmitted
            << std::setw(13) << valueText(a.chiSquare()) << std::setw(15) << theoreticalPText(a.pValue()) << std::setw(13)
            << valueText(a.oddsRatio()) << std::setw(13) << valueText(a.lower95()) << std::setw(13)
            << valueText(a.upper95()) << "\n";
    out << "\nGlobal test         : " << valueText(marker.getGlobalStatistic()) << " on "
        << marker.getGlobalDegreesOfFreedom() << " df, p = " << theoreticalPText(marker.getGlobalPValue()) << "\n\n";
}

}  // namespace

int Tdt::writeReport(const std::string& fileStem) const {
    std::cout << "The TDT results: " << fileStem << ".out";
    File report;
    std::cout << "\n";
    if (!report.openForWriting(fileStem + ".out")) return 0;
    std::stringstream& out = report.text;
    out << programBanner("Program for Linkage and Linkage Disequilibrium analysis") << pedigrees->getCommonHeader()
        << explanation;

    TidyTable table({"phenotype", "marker", "allele", "T", "U", "chisq", "p", "OR", "L95", "U95"});
    MarkerMap* map = pedigrees->getMarkerMap();
    for (const std::string& phenotype : phenotypeNames) {
        out << "Phenotype : " << phenotype << "\n\n";
        for (const TdtMarker& marker : getMarkers(phenotype)) {
            const std::string name = map->getMarkerName(marker.getKey());
            writeMarker(out, name, marker);
            for (const TdtAllele& a : marker.getAlleles())
                table.addRow({phenotype, name, a.name, TidyTable::number(static_cast<long>(a.transmitted)),
                              TidyTable::number(static_cast<long>(a.untransmitted)), TidyTable::number(a.chiSquare()),
                              TidyTable::number(a.pValue()), TidyTable::number(a.oddsRatio()),
                              TidyTable::number(a.lower95()), TidyTable::number(a.upper95())});
        }
    }
    return report.writeTextAndClose() && table.write(fileStem + ".tsv") ? 1 : 0;
}
