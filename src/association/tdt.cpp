// The transmission/disequilibrium test: transmissions of each allele from heterozygous
// parents to affected children, counted over every qualifying child, with the per-allele
// McNemar test, the odds ratio T/U and a global test over all alleles.

#include "association/tdt.h"

#include <cmath>
#include <iomanip>
#include <iostream>
#include <limits>
#include <sstream>

#include "association/analysis_targets.h"
#include "association/hrr_marker.h"
#include "driver/utilities.h"
#include "model/pedigrees.h"
#include "pedigree/marker_info.h"

namespace {

const double notANumber = std::numeric_limits<double>::quiet_NaN();

// Upper tail of the chi-square distribution; exact for 1 df.
double chiSquareUpperTail(double x, int df) {
    if (std::isnan(x)) return notANumber;
    return df == 1 ? std::erfc(std::sqrt(x / 2.0)) : chipr(x, df);
}

}  // namespace

double TdtAllele::chiSquare() const {
    const int informative = transmitted + untransmitted;
    if (informative == 0) return notANumber;
    const double difference = transmitted - untransmitted;
    return difference * difference / informative;
}

double TdtAllele::pValue() const { return chiSquareUpperTail(chiSquare(), 1); }

double TdtAllele::oddsRatio() const {
    if (transmitted + untransmitted == 0) return notANumber;
    if (untransmitted == 0) return std::numeric_limits<double>::infinity();
    return static_cast<double>(transmitted) / untransmitted;
}

double TdtAllele::lower95() const {
    if (transmitted == 0 || untransmitted == 0) return notANumber;
    return std::exp(std::log(oddsRatio()) - 1.96 * std::sqrt(1.0 / transmitted + 1.0 / untransmitted));
}

double TdtAllele::upper95() const {
    if (transmitted == 0 || untransmitted == 0) return notANumber;
    return std::exp(std::log(oddsRatio()) + 1.96 * std::sqrt(1.0 / transmitted + 1.0 / untransmitted));
}

TdtMarker::TdtMarker(const std::string& key, const std::vector<std::string>& alleleNames) : key(key) {
    for (const std::string& name : alleleNames) alleles.push_back({name, 0, 0});
}

TdtAllele& TdtMarker::allele(const std::string& name) {
    for (TdtAllele& a : alleles)
        if (a.name == name) return a;
    alleles.push_back({name, 0, 0});
    return alleles.back();
}

void TdtMarker::countParent(const GenotypeNames& parent, const std::string& transmittedAllele) {
    const std::string& first = parent.getAllele(0);
    const std::string& second = parent.getAllele(1);
    if (first == second) return;
    ++heterozygousParents;
    ++allele(transmittedAllele).transmitted;
    ++allele(first == transmittedAllele ? second : first).untransmitted;
}

bool TdtMarker::addTrio(const GenotypeNames& child, const GenotypeNames& mother, const GenotypeNames& father) {
    auto carries = [](const GenotypeNames& parent, const std::string& a) {
        return parent.getAllele(0) == a || parent.getAllele(1) == a;
    };
    const std::string& c0 = child.getAllele(0);
    const std::string& c1 = child.getAllele(1);
    // Which parent gave which allele is open only when both parents carry both of the child's
    // alleles; then each gave one of them, and the counts of either reading are the same.
    const bool firstFromMother = carries(mother, c0) && carries(father, c1);
    if (!firstFromMother && !(carries(mother, c1) && carries(father, c0))) {
        ++inconsistentTrios;
        return false;
    }
    ++trios;
    countParent(mother, firstFromMother ? c0 : c1);
    countParent(father, firstFromMother ? c1 : c0);
    return true;
}

int TdtMarker::getGlobalDegreesOfFreedom() const {
    int informative = 0;
    for (const TdtAllele& a : alleles)
        if (a.transmitted + a.untransmitted > 0) ++informative;
    return informative > 1 ? informative - 1 : 0;
}

double TdtMarker::getGlobalStatistic() const {
    const int df = getGlobalDegreesOfFreedom();
    if (df < 1) return notANumber;
    double sum = 0.0;
    for (const TdtAllele& a : alleles)
        if (a.transmitted + a.untransmitted > 0) sum += a.chiSquare();
    return sum * df / (df + 1);
}

double TdtMarker::getGlobalPValue() const {
    return chiSquareUpperTail(getGlobalStatistic(), getGlobalDegreesOfFreedom());
}

const TdtAllele* TdtMarker::getBestAllele() const {
    // An under-transmitted allele has as small a p-value as an over-transmitted one of the same
    // counts, but it is no risk allele.
    const TdtAllele* best = nullptr;
    for (const TdtAllele& a : alleles)
        if (a.transmitted > a.untransmitted && (!best || a.chiSquare() > best->chiSquare())) best = &a;
    return best;
}

std::string tdtMarkerTableHeading() {
    std::ostringstream out;
    out << "Best allele: of the alleles transmitted more often than not (T > U) the one with the largest "
           "chi-square; none when no allele is.\n"
        << std::right << std::setw(20) << "Marker" << std::setw(8) << "Trios" << std::setw(15) << "Best allele"
        << std::setw(8) << "T" << std::setw(8) << "U" << std::setw(15) << "p" << std::setw(15) << "Global p"
        << std::setw(6) << "df" << "\n";
    return out.str();
}

std::string tdtMarkerTableLine(const std::string& markerName, const TdtMarker& marker) {
    std::ostringstream out;
    const TdtAllele* best = marker.getBestAllele();
    out << std::right << std::setw(20) << markerName << std::setw(8) << marker.getTrioCount();
    if (best)
        out << std::setw(15) << best->name << std::setw(8) << best->transmitted << std::setw(8)
            << best->untransmitted << std::setw(15) << theoreticalPText(best->pValue());
    else
        out << std::setw(15) << "none" << std::setw(8) << "" << std::setw(8) << "" << std::setw(15) << "NA";
    out << std::setw(15) << theoreticalPText(marker.getGlobalPValue()) << std::setw(6)
        << marker.getGlobalDegreesOfFreedom() << "\n";
    return out.str();
}

void Tdt::countPedigree(const Pedigree* pedigree, const std::string& phenotypeName, TdtMarker& marker) const {
    const int column = markerColumnOfKey(marker.getKey(), std::numeric_limits<int>::max());
    pedigree->getPersonTree()->forEach([&](const Person* child) {
        const Phenotype* affection = child->getPhenotype(phenotypeName);
        if (!affection || affection->getValue() != "2" || !child->isTyped(column)) return;
        const Person* mother = pedigree->getPerson(child->getMotherId());
        const Person* father = pedigree->getPerson(child->getFatherId());
        if (child->isFounder() || !mother || !father) return;
        if (mother->isTyped(column) && father->isTyped(column))
            marker.addTrio(child->getGenotypeNames(column), mother->getGenotypeNames(column),
                           father->getGenotypeNames(column));
    });
}

int Tdt::run(const std::string& markerName, const std::string& phenotypeName) {
    if (pedigrees->isXlinked()) {
        std::cout << "Error: The TDT needs two alleles per person; with X-linked data (--xlinked) hemizygous "
                     "males make its transmission counts meaningless\n";
        return 0;
    }
    std::vector<Marker*> markers;
    std::vector<std::string> phenotypeList;
    if (!selectAnalysisTargets(pedigrees, markerName, phenotypeName, markers, phenotypeList)) return 0;

    std::cout << "\nTransmission/Disequilibrium Test\n";
    for (const std::string& phenotype : phenotypeList) {
        std::cout << "Phenotype: " << phenotype << "\n" << tdtMarkerTableHeading();
        std::vector<TdtMarker> counted;
        for (const Marker* mapMarker : markers) {
            const std::string& key = mapMarker->getIndex();
            std::vector<std::string> alleleNames;
            if (const MarkerInfo* entry = pedigrees->getMarkerInfo()->find(key))
                for (const Allele* a : entry->getAlleles()) alleleNames.push_back(a->getAlleleName());
            TdtMarker marker(key, alleleNames);
            pedigrees->getPedigrees()->forEach(
                [&](const Pedigree* pedigree) { countPedigree(pedigree, phenotype, marker); });
            std::cout << tdtMarkerTableLine(mapMarker->getName(), marker);
            counted.push_back(std::move(marker));
        }
        if (results.find(phenotype) == results.end()) phenotypeNames.push_back(phenotype);
        results[phenotype] = std::move(counted);
        std::cout << "\n";
    }
    return 1;
}

const std::vector<TdtMarker>& Tdt::getMarkers(const std::string& phenotype) const {
    static const std::vector<TdtMarker> none;
    auto it = results.find(phenotype);
    return it == results.end() ? none : it->second;
}
