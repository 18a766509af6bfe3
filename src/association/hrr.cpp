// The haplotype relative risk run: for every phenotype and marker the trios are extracted,
// the transmitted (case) and non-transmitted (control) alleles and genotypes counted, and
// the two likelihood-ratio tests computed and randomised; one result row per marker.

#include "association/hrr.h"

#include <iomanip>
#include <iostream>
#include <limits>

#include "association/analysis_targets.h"

#include "driver/utilities.h"
#include "model/pedigrees.h"
#include "pedigree/marker_info.h"

HrrPhenotype::~HrrPhenotype() {
    for (auto& entry : markers) delete entry.second;
}

void HrrPhenotype::addHrrMarker(const std::string& key, HrrMarker* marker) {
    if (!marker || getHrrMarker(key)) return;
    markerKeys.push_back(key);
    markers[key] = marker;
}

HrrMarker* HrrPhenotype::getHrrMarker(const std::string& key) const {
    auto it = markers.find(key);
    return it == markers.end() ? nullptr : it->second;
}

Hrr::~Hrr() {
    for (auto& entry : phenotypes) delete entry.second;
    delete currentMarker;
}

HrrPhenotype* Hrr::getHrrPhenotype(const std::string& name) const {
    auto it = phenotypes.find(name);
    return it == phenotypes.end() ? nullptr : it->second;
}

std::string Hrr::welcome() const {
    return programBanner("Program for Linkage and Linkage Disequilibrium analysis");
}

bool Hrr::isSingletons(const MarkerInfo* markerInfo) {
    return markerInfo && (markerInfo->getAffectedSingletons() > 0 || markerInfo->getUnaffectedSingletons() > 0);
}

namespace {

void printResultRow(const std::string& markerName, const HrrMarker& marker) {
    std::cout << std::right << std::setw(20) << markerName << std::setw(15)
              << randomizedPText(marker.getAlleleRandomizedP()) << std::setw(15)
              << theoreticalPText(marker.getAlleleTheoreticalP()) << std::setw(15)
              << randomizedPText(marker.getGenotypeRandomizedP()) << std::setw(15)
              << theoreticalPText(marker.getGenotypeTheoreticalP()) << "\n";
}

}  // namespace

int Hrr::run(const std::string& markerName, const std::string& phenotypeName) {
    if (pedigrees->isXlinked()) {
        std::cout << "Error: The HRR analysis needs two alleles per person; with X-linked data (--xlinked) "
                     "hemizygous males make its transmitted and non-transmitted counts meaningless\n";
        return 0;
    }
    std::vector<Marker*> markers;
    std::vector<std::string> phenotypeList;
    if (!selectAnalysisTargets(pedigrees, markerName, phenotypeName, markers, phenotypeList)) return 0;

    std::cout << "\nHaplotype Relative Risk\n";
    const bool verbose = pedigrees->isVerbose();
    for (const std::string& phenotype : phenotypeList) {
        std::cout << "Phenotype: " << phenotype << "\n";
        auto* results = new HrrPhenotype(phenotype);
        std::cout << std::right << std::setw(20) << "Marker" << std::setw(15) << "Allele-based" << std::setw(15)
                  << "Allele-based" << std::setw(15) << "Genotype-based" << std::setw(15) << "Genotype-based"
                  << "\n"
                  << std::setw(20) << " " << std::setw(15) << "randomized" << std::setw(15) << "theoretical"
                  << std::setw(15) << "randomized" << std::setw(15) << "theoretical" << "\n";

        for (Marker* mapMarker : markers) {
            const std::string& key = mapMarker->getIndex();
            const std::string& name = mapMarker->getName();
            RBTree<Pedigree>* trios = pedigrees->createHrrPedigreesForMarker(phenotype, key);
            if (trios->getCount() == 0) {
                if (!isSingletons(pedigrees->getMarkerInfo()->find(key)))
                    std::cout << "Skipping marker " << name << ", since no informative families found\n";
                continue;
            }
            MarkerInfo* catalogue = pedigrees->getHrrMarkerInfo() ? pedigrees->getHrrMarkerInfo()->find(key) : nullptr;
            if (!catalogue) continue;
            currentMarker = new HrrMarker(key, catalogue->getAlleles());
            currentMarker->setQuiet(quiet);
            pedigreeCountCaseAndControlGenotypes(trios->getRoot(), phenotype);
            currentMarker->countLRT("allele", currentMarker->getCaseAlleleCounts(),
                                    currentMarker->getControlAlleleCounts());
            if (verbose) std::cout << "...done\nCounting genotype based LRT for marker: " << name;
            currentMarker->countLRT("genotype", currentMarker->getCaseGenotypeCounts(),
                                    currentMarker->getControlGenotypeCounts());
            if (verbose) std::cout << "...done\nRandomizing marker : " << name << "\n";
            currentMarker->Randomize();
            std::cout << std::flush;
            printResultRow(name, *currentMarker);
            results->addHrrMarker(key, currentMarker);
            currentMarker = nullptr;
        }

        phenotypeNames.push_back(phenotype);
        delete phenotypes[phenotype];  // a phenotype analysed twice keeps its latest results
        phenotypes[phenotype] = results;
        std::cout << "\n";
    }
    return 1;
}

namespace {

// The non-transmitted alleles when the child's allele fromMother came from the mother and
// fromFather from the father; false when that assignment explains neither parent pairing.
bool untransmitted(const std::string& fromMother, const std::string& fromFather, const GenotypeNames& mother,
                   const GenotypeNames& father, std::string& maternal, std::string& paternal) {
    for (int m = 0; m < 2; ++m)
        for (int f = 0; f < 2; ++f)
            if (fromMother == mother.getAllele(m) && fromFather == father.getAllele(f)) {
                maternal = mother.getAllele(1 - m);
                paternal = father.getAllele(1 - f);
                return true;
            }
    return false;
}

}  // namespace

void Hrr::pedigreeCountCaseAndControlGenotypes(Pedigree* node, const std::string& phenotypeName) {
    if (!node || node->isNil()) return;
    pedigreeCountCaseAndControlGenotypes(node->left, phenotypeName);

    const Person* father = node->getPerson("1");
    const Person* mother = node->getPerson("2");
    const Person* child = node->getPerson("3");
    const Phenotype* affection = child ? child->getPhenotype(phenotypeName) : nullptr;
    if (father && mother && affection && affection->getValue() == "2" && currentMarker) {
        const int column = markerColumnOfKey(currentMarker->getName(), std::numeric_limits<int>::max());
        if (father->isTyped(column) && mother->isTyped(column) && child->isTyped(column)) {
            const GenotypeNames f = father->getGenotypeNames(column);
            const GenotypeNames m = mother->getGenotypeNames(column);
            const GenotypeNames c = child->getGenotypeNames(column);
            const std::string& c0 = c.getAllele(0);
            const std::string& c1 = c.getAllele(1);
            const bool anyZero = f.getAllele(0) == "0" || f.getAllele(1) == "0" || m.getAllele(0) == "0" ||
                                 m.getAllele(1) == "0" || c0 == "0" || c1 == "0";
            if (!anyZero) {
                currentMarker->addCaseCountForGenotype(currentMarker->genotypeName(c0, c1));
                currentMarker->addCaseAlleleCount(c0);
                currentMarker->addCaseAlleleCount(c1);
                // The first allele is tried as the maternal one first; when that explains
                // nothing, the second. Unexplained transmissions add no control.
                std::string maternal, paternal;
                if (untransmitted(c0, c1, m, f, maternal, paternal) || untransmitted(c1, c0, m, f, maternal, paternal)) {
                    currentMarker->addControlCountForGenotype(currentMarker->genotypeName(maternal, paternal));
                    currentMarker->addControlAlleleCount(maternal);
                    currentMarker->addControlAlleleCount(paternal);
                }
            }
        }
    }

    pedigreeCountCaseAndControlGenotypes(node->right, phenotypeName);
}
