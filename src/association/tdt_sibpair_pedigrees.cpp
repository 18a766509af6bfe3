// TDT trios and affected sib pairs: per phenotype and marker, at most one of each per input
// pedigree, copied into derived sets with their own allele catalogues; and the statistics
// files about the HRR, TDT and sib-pair sets of every marker.

#include <iomanip>
#include <iostream>
#include <sstream>

#include "association/derived_families.h"
#include "driver/utilities.h"
#include "input/marker_map.h"
#include "model/file.h"
#include "model/pedigrees.h"
#include "pedigree/marker_info.h"
#include "pedigree/statistics_reports.h"

namespace {

const std::string kAffectionStatus = "DISEASE_LOCUS";

bool isAffected(const Person* person, const std::string& phenotypeName) {
    const Phenotype* phenotype = person->getPhenotype(phenotypeName);
    return phenotype && phenotype->getValue() == "2";
}

bool isHeterozygous(GenotypeCodes genotype) { return genotype.isTyped() && genotype.first != genotype.second; }

// The parents of a person when both are persons of its pedigree.
bool parentsOf(const Pedigree* pedigree, const Person* person, const Person*& mother, const Person*& father) {
    mother = pedigree->getPerson(person->getMotherId());
    father = pedigree->getPerson(person->getFatherId());
    return !person->isFounder() && mother && father;
}

// The first person in identifier order for which found returns true, or null.
template <class Test>
const Person* firstPerson(const Pedigree* pedigree, Test found) {
    const Person* first = nullptr;
    pedigree->getPersonTree()->forEach([&](const Person* person) {
        if (!first && found(person)) first = person;
    });
    return first;
}

// The sib pair as a four-person pedigree under the person's pedigree identifier: father
// "1", mother "2", the person "3" and its sib "4".
Pedigree* copySibFamily(const Person* sib, const Person* person, const Person* mother, const Person* father,
                        int marker) {
    auto* family = new Pedigree(person->getPedigreeId());
    family->addPerson(copyDerivedMember(person, marker, "3", "1", "2", "0", "4", "0"));
    family->addPerson(copyDerivedMember(sib, marker, "4", "1", "2", "0", "0", "0"));
    family->addPerson(copyDerivedMember(mother, marker, "2", "0", "0", "3", "0", "0"));
    family->addPerson(copyDerivedMember(father, marker, "1", "0", "0", "3", "0", "1"));
    return family;
}

void insertOrDelete(RBTree<Pedigree>* tree, Pedigree* family) {
    if (!tree->insert(family)) delete family;
}

bool typedAndAffected(const Person* person, const std::string& phenotypeName, int marker) {
    return person->isTyped(marker) && isAffected(person, phenotypeName);
}

// The TDT rule: a typed, affected child whose two parents are typed and heterozygous forms
// a trio.
bool personCreateTdtPedigreesSimple(RBTree<Pedigree>* trios, const Pedigree* pedigree, const Person* person,
                                    const std::string& phenotypeName, int marker) {
    const Person* mother = nullptr;
    const Person* father = nullptr;
    if (!typedAndAffected(person, phenotypeName, marker) || !parentsOf(pedigree, person, mother, father) ||
        !isHeterozygous(mother->getGenotype(marker)) || !isHeterozygous(father->getGenotype(marker)))
        return false;
    insertOrDelete(trios, copyHrrFamily(person, mother, father, marker));
    return true;
}

// At most one trio per pedigree: the first child in identifier order that forms one.
void pedigreeCreateTdtPedigrees(RBTree<Pedigree>* trios, const Pedigree* pedigree, const std::string& phenotypeName,
                                int marker) {
    firstPerson(pedigree, [&](const Person* person) {
        return personCreateTdtPedigreesSimple(trios, pedigree, person, phenotypeName, marker);
    });
}

// A typed, affected person with both parents in the pedigree forms a pair with the first
// other typed, affected child of the same father and mother. Whether the parents are typed
// does not matter; half-sibs never pair.
bool personFindSiblingAndCreateSibPairPedigreesSimple(RBTree<Pedigree>* pairs, const Pedigree* pedigree,
                                                      const Person* person, const std::string& phenotypeName,
                                                      int marker) {
    const Person* mother = nullptr;
    const Person* father = nullptr;
    if (!typedAndAffected(person, phenotypeName, marker) || !parentsOf(pedigree, person, mother, father))
        return false;
    const Person* sib = firstPerson(pedigree, [&](const Person* other) {
        return other->getPersonId() != person->getPersonId() && other->getFatherId() == person->getFatherId() &&
               other->getMotherId() == person->getMotherId() && typedAndAffected(other, phenotypeName, marker);
    });
    if (!sib) return false;
    insertOrDelete(pairs, copySibFamily(sib, person, mother, father, marker));
    return true;
}

// At most one sib pair per pedigree: that of the first person in identifier order with one.
void pedigreeCreateSibPairPedigrees(RBTree<Pedigree>* pairs, const Pedigree* pedigree,
                                    const std::string& phenotypeName, int marker) {
    firstPerson(pedigree, [&](const Person* person) {
        return personFindSiblingAndCreateSibPairPedigreesSimple(pairs, pedigree, person, phenotypeName, marker);
    });
}

}  // namespace

RBTree<Pedigree>* Pedigrees::createTdtPedigreesForMarker(const std::string& phenotypeName,
                                                         const std::string& markerKey) {
    delete tdtPedigrees;
    tdtPedigrees = new RBTree<Pedigree>(new Pedigree(), "Master-TDT-TRee");
    const int marker = markerColumnOfKey(markerKey, genotypeStore.getMarkerCount());
    if (marker >= 0) pedigrees->forEach([&](const Pedigree* pedigree) {
        pedigreeCreateTdtPedigrees(tdtPedigrees, pedigree, phenotypeName, marker);
    });
    delete tdtMarkerInfo;
    tdtMarkerInfo = buildMarkerInfo(tdtPedigrees, "tdtmarkersinfo");
    return tdtPedigrees;
}

RBTree<Pedigree>* Pedigrees::createSibPairPedigreesForMarker(const std::string& phenotypeName,
                                                             const std::string& markerKey) {
    delete sibPairPedigrees;
    sibPairPedigrees = new RBTree<Pedigree>(new Pedigree(), "Master-Sibpair-TRee");
    const int marker = markerColumnOfKey(markerKey, genotypeStore.getMarkerCount());
    if (marker >= 0) pedigrees->forEach([&](const Pedigree* pedigree) {
        pedigreeCreateSibPairPedigrees(sibPairPedigrees, pedigree, phenotypeName, marker);
    });
    delete sibPairMarkerInfo;
    sibPairMarkerInfo = buildMarkerInfo(sibPairPedigrees, "sibpairmarkersinfo");
    return sibPairPedigrees;
}

namespace {

// The two size lines of a derived set in its frequency section.
std::string setCountLines(const std::string& label, int pedigreeCount, int personCount, int width) {
    std::ostringstream lines;
    lines << std::left << std::setw(width) << "# " + label + " pedigrees" << ": " << pedigreeCount << "\n"
          << std::setw(width) << "# " + label + " persons" << ": " << personCount << "\n";
    return lines.str();
}

const MarkerInfo* entryOf(const RBTree<MarkerInfo>* catalogue, const std::string& key) {
    return catalogue ? catalogue->find(key) : nullptr;
}

}  // namespace

Pedigrees::DerivedSetStatistics Pedigrees::collectDerivedSetStatistics() {
    DerivedSetStatistics statistics;
    for (int i = 0; i < markerCount; ++i) {
        const std::string key = IntToString(i);
        const std::string name = markerMap->getMarkerName(key);
        const int hrr = createHrrPedigreesForMarker(kAffectionStatus, key)->getCount();
        if (hrr > 0)
            statistics.hrrSections += alleleFrequencySection(
                name, entryOf(hrrMarkerInfo, key), setCountLines("hrr", hrr, getHrrPersonCount(), 18));
        const int tdt = createTdtPedigreesForMarker(kAffectionStatus, key)->getCount();
        if (tdt > 0)
            statistics.tdtSections += alleleFrequencySection(
                name, entryOf(tdtMarkerInfo, key), setCountLines("tdt", tdt, getTdtPersonCount(), 18));
        const int sibPairs = createSibPairPedigreesForMarker(kAffectionStatus, key)->getCount();
        if (sibPairs > 0)
            statistics.sibPairSections += alleleFrequencySection(
                name, entryOf(sibPairMarkerInfo, key),
                setCountLines("sibpair", sibPairs, getSibPairPersonCount(), 22));
        statistics.pedigreeCounts.push_back({hrr, tdt, sibPairs});
    }
    return statistics;
}

bool Pedigrees::writeDerivedFrequenciesFile(const std::string& fileName, const std::string& sections) const {
    File file;
    if (!file.openForWriting(fileName)) return false;
    file.text << getCommonHeader() << sections;
    return file.writeTextAndClose();
}

bool Pedigrees::writeNumberOfHrrTdtSibpairPeds(const std::string& fileName,
                                               const DerivedSetStatistics& statistics) const {
    File file;
    if (!file.openForWriting(fileName)) return false;
    std::ostream& out = file.text;
    out << getCommonHeader() << "Number of Hrr, Tdt And Sib Pair Pedigrees\n\n";
    out << std::left << std::setw(15) << "Marker" << std::setw(15) << "HRR" << std::setw(10) << "TDT"
        << std::setw(10) << "SIBPAIRS" << "\n";
    for (int i = 0; i < markerCount && i < static_cast<int>(statistics.pedigreeCounts.size()); ++i) {
        const std::vector<int>& counts = statistics.pedigreeCounts[static_cast<size_t>(i)];
        out << std::setw(15) << markerMap->getMarkerName(IntToString(i)) << std::setw(15) << counts[0]
            << std::setw(10) << counts[1] << std::setw(10) << counts[2] << "\n";
    }
    return file.writeTextAndClose();
}
