#include "model/pedigrees.h"

#include <algorithm>

#include "input/linkage_locus_file.h"
#include "input/marker_map.h"
#include "input/model.h"
#include "pedigree/marker_info.h"

Pedigrees::Pedigrees()
    : markerMap(new MarkerMap()),
      pedigrees(new RBTree<Pedigree>(new Pedigree(), "Master-Tree")),
      linkageLocusFile(new LinkageLocusFile()),
      markerInfo(new RBTree<MarkerInfo>(new MarkerInfo(), "markersinfo")),
      hrrMarkerInfo(new RBTree<MarkerInfo>(new MarkerInfo(), "hrrarkersinfo")),
      checkedPersons(new RBTree<Person>(new Person(), "Cheked-Person-Tree")) {}

template <class T>
static void release(T*& owned) {
    delete owned;
    owned = nullptr;
}

Pedigrees::~Pedigrees() {
    release(pedigrees);
    release(markerMap);
    release(markerInfo);
    release(hrrMarkerInfo);
    release(hrrPedigrees);
    release(tdtPedigrees);
    release(tdtMarkerInfo);
    release(sibPairPedigrees);
    release(sibPairMarkerInfo);
    release(nuclearPedigrees);
    release(checkedPersons);
    release(model);
    release(linkageLocusFile);
}

void Pedigrees::clearPedigrees() {
    delete pedigrees;
    pedigrees = new RBTree<Pedigree>(new Pedigree(), "Master-Tree");
    pedigreeInputOrder.clear();
}

void Pedigrees::setMarkerMap(MarkerMap* map) {
    if (map) {
        if (map != markerMap) delete markerMap;
        markerMap = map;
        markerCount = map->getMarkerCount();
    } else {
        markerMap = nullptr;
        markerCount = 0;
    }
}

void Pedigrees::addGenotypeRow(Person* person) {
    if (genotypeStore.getRowCount() == 0 && genotypeStore.getMarkerCount() != markerCount)
        genotypeStore.reset(markerCount);
    person->setGenotypes(&genotypeStore, genotypeStore.addRow());
}

int Pedigrees::countPersons(const RBTree<Pedigree>* tree) {
    int persons = 0;
    if (tree) tree->forEach([&](const Pedigree* p) { persons += p->getPersonTree()->getCount(); });
    return persons;
}

int Pedigrees::getPedigreeCount() const { return pedigrees->getCount(); }

int Pedigrees::getPedigreePersonCount() const { return countPersons(pedigrees); }

double Pedigrees::getAveragePedigreeSize() const {
    return static_cast<double>(getPedigreePersonCount()) / static_cast<double>(getPedigreeCount());
}

int Pedigrees::getNuclearPedigreeCount() const { return nuclearPedigrees ? nuclearPedigrees->getCount() : 0; }

int Pedigrees::getNuclearPersonCount() const { return countPersons(nuclearPedigrees); }

int Pedigrees::getHrrPedigreeCount() const { return hrrPedigrees ? hrrPedigrees->getCount() : 0; }

int Pedigrees::getHrrPersonCount() const { return countPersons(hrrPedigrees); }

int Pedigrees::getTdtPedigreeCount() const { return tdtPedigrees ? tdtPedigrees->getCount() : 0; }

int Pedigrees::getTdtPersonCount() const { return countPersons(tdtPedigrees); }

int Pedigrees::getSibPairPedigreeCount() const { return sibPairPedigrees ? sibPairPedigrees->getCount() : 0; }

int Pedigrees::getSibPairPersonCount() const { return countPersons(sibPairPedigrees); }

bool Pedigrees::isPhenotypeRead(const std::string& name) const {
    return std::find(phenotypeNames.begin(), phenotypeNames.end(), name) != phenotypeNames.end();
}

bool Pedigrees::isTrait(const std::string& name) const { return name != kLiabilityClassName && isPhenotypeRead(name); }

std::vector<std::string> Pedigrees::getTraitNames() const {
    std::vector<std::string> traits;
    for (const std::string& name : phenotypeNames)
        if (name != kLiabilityClassName) traits.push_back(name);
    return traits;
}
