// Trio extraction for the association analysis: for one phenotype and marker, at most one
// trio (affected, typed child and its two parents) per input pedigree, copied into a
// derived collection with its own allele catalogue. Pedigrees without a trio add their
// typed founders to the singleton tallies of the main catalogue.

#include <string>

#include "association/derived_families.h"
#include "model/pedigrees.h"
#include "pedigree/marker_info.h"

Person* copyDerivedMember(const Person* source, int marker, const std::string& personId,
                          const std::string& fatherId, const std::string& motherId,
                          const std::string& firstOffspring, const std::string& nextSibling,
                          const std::string& probandStatus) {
    auto* person = new Person(source->getPedigreeId(), personId, fatherId, motherId, source->getSex());
    person->setFOID(firstOffspring);
    person->setNMSID(nextSibling);
    person->setNPSID(nextSibling);
    person->setProbandStatus(probandStatus);
    person->addPhenotypes(copyPhenotypeTree(source->getPhenotypeTree(), personId));
    person->shareGenotypes(*source, marker);
    return person;
}

Pedigree* copyHrrFamily(const Person* child, const Person* mother, const Person* father,
                        int marker) {
    auto* family = new Pedigree(child->getPedigreeId());
    family->addPerson(copyDerivedMember(child, marker, "3", "1", "2", "0", "0", "0"));
    family->addPerson(copyDerivedMember(mother, marker, "2", "0", "0", "3", "0", "0"));
    family->addPerson(copyDerivedMember(father, marker, "1", "0", "0", "3", "0", "1"));
    return family;
}

namespace {

// The trio rules. A candidate must be typed and affected, with both parents persons of its
// pedigree; then rule One (both parents typed), Two (one typed) or Three (neither typed)
// applies, so every such candidate forms a trio. Trios of rules Two and Three enter the
// collection and its catalogue but add nothing to the association counts, which need
// three typed members. An unaffected child never forms a trio.
bool trioCandidate(const Pedigree* pedigree, const Person* person, const std::string& phenotypeName,
                   int marker, Person*& mother, Person*& father) {
    const Phenotype* phenotype = person->getPhenotype(phenotypeName);
    if (!person->isTyped(marker) || !phenotype || phenotype->getValue() != "2") return false;
    if (person->getFatherId() == "0" || person->getMotherId() == "0") return false;
    father = pedigree->getPerson(person->getFatherId());
    mother = pedigree->getPerson(person->getMotherId());
    return father && mother;
}

// Scans the persons in identifier order and stops at the first one that forms a trio.
bool personCreateHrrPedigrees(RBTree<Pedigree>* trios, const Pedigree* pedigree, const Person* node,
                              const std::string& phenotypeName, int marker) {
    if (!node || node->isNil()) return false;
    if (personCreateHrrPedigrees(trios, pedigree, node->left, phenotypeName, marker)) return true;
    Person* mother = nullptr;
    Person* father = nullptr;
    if (trioCandidate(pedigree, node, phenotypeName, marker, mother, father)) {
        // Pedigree identifiers of the input are unique and each yields at most one trio.
        Pedigree* trio = copyHrrFamily(node, mother, father, marker);
        if (!trios->insert(trio)) delete trio;
        return true;
    }
    return personCreateHrrPedigrees(trios, pedigree, node->right, phenotypeName, marker);
}

// A typed founder with the phenotype adds itself and its two alleles to the affected or
// unaffected singleton tallies of the marker's catalogue entry.
void singletonPerson(MarkerInfo* entry, const Person* person, const std::string& phenotypeName,
                     int marker) {
    const Phenotype* phenotype = person->getPhenotype(phenotypeName);
    if (!person->isFounder() || !person->isTyped(marker) || !phenotype) return;
    const bool affected = phenotype->getValue() == "2";
    if (!affected && phenotype->getValue() != "1") return;
    if (affected) entry->addAffectedSingleton();
    else entry->addUnaffectedSingleton();
    for (int i = 0; i < 2; ++i) {
        Allele* allele = entry->getAlleleWithName(person->getAlleleName(marker, i));
        if (!allele) continue;
        if (affected) allele->addAffectedSingleton();
        else allele->addUnaffectedSingleton();
    }
}

void singletonPedigree(MarkerInfo* entry, const Pedigree* pedigree, const std::string& phenotypeName,
                       int marker) {
    if (!entry) return;
    pedigree->getPersonTree()->forEach(
        [&](const Person* person) { singletonPerson(entry, person, phenotypeName, marker); });
}

}  // namespace

RBTree<Pedigree>* Pedigrees::createHrrPedigreesForMarker(const std::string& phenotypeName,
                                                         const std::string& markerKey) {
    delete hrrPedigrees;
    hrrPedigrees = new RBTree<Pedigree>(new Pedigree(), "Master-HRR-Tree");
    MarkerInfo* entry = markerInfo ? markerInfo->find(markerKey) : nullptr;
    const int marker = markerColumnOfKey(markerKey, genotypeStore.getMarkerCount());
    if (marker >= 0) pedigrees->forEach([&](const Pedigree* pedigree) {
        trioFound = personCreateHrrPedigrees(hrrPedigrees, pedigree, pedigree->getPersonTree()->getRoot(),
                                             phenotypeName, marker);
        if (!trioFound) singletonPedigree(entry, pedigree, phenotypeName, marker);
        trioFound = false;
    });
    delete hrrMarkerInfo;
    hrrMarkerInfo = buildMarkerInfo(hrrPedigrees, "hrrarkersinfo");
    return hrrPedigrees;
}
