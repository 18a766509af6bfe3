// The haplotype relative risk run: for every phenotype and marker the trios are extracted,
// the transmitted (case) and non-transmitted (control) alleles and genotypes counted, and
// the two likelihood-ratio tests computed and randomised; one result row per marker.

#include "association/hrr.h"

#include <iomanip>
#include <iostream>

#include "driver/utilities.h"
#include "input/marker_map.h"
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

// Markers to analyse, in analysis order: the only-markers list, else the named marker, else
// every marker of the map. A name not in the map is returned in missing.
std::vector<Marker*> selectMarkers(Pedigrees* pedigrees, const std::string& markerName, std::string& missing) {
    MarkerMap* map = pedigrees->getMarkerMap();
    std::vector<Marker*> selected;
    std::vector<std::string> names = pedigrees->getOnlyMarkers();
    if (names.empty() && !markerName.empty()) names.push_back(markerName);
    if (names.empty()) {
        for (int i = 0; i < map->getMarkerCount(); ++i)
            if (Marker* m = map->getMarker(IntToString(i))) selected.push_back(m);
        return selected;
    }
    for (const std::string& name : names) {
        Marker* m = map->getMarkerWithName(name);
        if (!m) {
            missing = name;
            return {};
        }
        selected.push_back(m);
    }
    return selected;
}

void printPValue(double p) {
    if (p < 1e-6) std::cout << std::scientific;
    else std::cout << std::fixed;
    std::cout << std::setprecision(6) << std::setw(15) << p;
}

void printResultRow(const std::string& markerName, const HrrMarker& marker) {
    std::cout << std::right << std::setw(20) << markerName;
    printPValue(marker.getAlleleRandomizedP());
    printPValue(marker.getAlleleTheoreticalP());
    printPValue(marker.getGenotypeRandomizedP());
    printPValue(marker.getGenotypeTheoreticalP());
    std::cout << std::defaultfloat << std::setprecision(6) << "\n";
}

}  // namespace

int Hrr::run(const std::string& markerName, const std::string& phenotypeName) {
    std::string missing;
    const std::vector<Marker*> markers = selectMarkers(pedigrees, markerName, missing);
    if (!missing.empty()) {
        std::cout << "Cannot find given marker " << missing << "\n";
        return 0;
    }
    std::vector<std::string> phenotypeList = pedigrees->getTraitNames();
    if (!phenotypeName.empty()) {
        if (!pedigrees->isTrait(phenotypeName)) {
            std::cout << "Cannot find given phenotype " << phenotypeName << "\n";
            return 0;
        }
        phenotypeList.assign(1, phenotypeName);
    }

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

// Genotype text with the numerically smaller allele first.
std::string orderedGenotype(const std::string& a, const std::string& b) {
    return stringToInt(a) >= stringToInt(b) ? b + "/" + a : a + "/" + b;
}

// The non-transmitted alleles when the child's allele fromMother came from the mother and
// fromFather from the father; false when that assignment explains neither parent pairing.
bool untransmitted(const std::string& fromMother, const std::string& fromFather, const Marker* mother,
                   const Marker* father, std::string& maternal, std::string& paternal) {
    for (int m = 0; m < 2; ++m)
        for (int f = 0; f < 2; ++f)
            if (fromMother == mother->getAllele(m) && fromFather == father->getAllele(f)) {
                maternal = mother->getAllele(1 - m);
                paternal = father->getAllele(1 - f);
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
        const std::string& key = currentMarker->getName();
        const Marker* f = father->getMarker(key);
        const Marker* m = mother->getMarker(key);
        const Marker* c = child->getMarker(key);
        if (f && m && c) {
            const std::string& c0 = c->getAllele(0);
            const std::string& c1 = c->getAllele(1);
            const bool anyZero = f->getAllele(0) == "0" || f->getAllele(1) == "0" || m->getAllele(0) == "0" ||
                                 m->getAllele(1) == "0" || c0 == "0" || c1 == "0";
            if (!anyZero) {
                currentMarker->addCaseCountForGenotype(orderedGenotype(c0, c1));
                currentMarker->addCaseAlleleCount(c0);
                currentMarker->addCaseAlleleCount(c1);
                // The first allele is tried as the maternal one first; when that explains
                // nothing, the second. Unexplained transmissions add no control.
                std::string maternal, paternal;
                if (untransmitted(c0, c1, m, f, maternal, paternal) || untransmitted(c1, c0, m, f, maternal, paternal)) {
                    currentMarker->addControlCountForGenotype(orderedGenotype(maternal, paternal));
                    currentMarker->addControlAlleleCount(maternal);
                    currentMarker->addControlAlleleCount(paternal);
                }
            }
        }
    }

    pedigreeCountCaseAndControlGenotypes(node->right, phenotypeName);
}
