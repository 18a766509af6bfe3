#include "model/records.h"

#include <cstdlib>

Phenotype::Phenotype(const std::string& name, const std::string& value)
    : Object<Phenotype>(name), name(name), value(value) {}

Marker::Marker(const std::string& name, const std::string& chromosome, const std::string& position)
    : Object<Marker>(name), name(name), chromosome(chromosome), position(position) {}

double Marker::getPosition() const { return std::strtod(position.c_str(), nullptr); }

Person::Person(const std::string& pedigreeId, const std::string& personId, const std::string& fatherId,
               const std::string& motherId, const std::string& sex)
    : Object<Person>(personId),
      pedigreeId(pedigreeId),
      personId(personId),
      fatherId(fatherId),
      motherId(motherId),
      FOID("-999"),
      sex(sex),
      phenotypeTree(new RBTree<Phenotype>(new Phenotype(), personId)) {}

Person::~Person() { delete phenotypeTree; }

void Person::renumber(const std::string& newPedigreeId, const std::string& newPersonId, const std::string& newFatherId,
                      const std::string& newMotherId) {
    key = newPersonId;
    pedigreeId = newPedigreeId;
    personId = newPersonId;
    fatherId = newFatherId;
    motherId = newMotherId;
    grey = blue = red = false;
    usedAsChild = usedAsParent = false;
    personInfo.clear();
}

bool Person::addPhenotype(Phenotype* p) { return phenotypeTree->insert(p); }

void Person::addPhenotypes(RBTree<Phenotype>* tree) {
    delete phenotypeTree;
    phenotypeTree = tree;
}

Phenotype* Person::getPhenotype(const std::string& name) const {
    return phenotypeTree ? phenotypeTree->find(name) : nullptr;
}

void Person::setGenotypes(const GenotypeStore* store, int row, int only) {
    genotypeStore = store;
    genotypeRow = row;
    onlyMarker = only;
}

void Person::shareGenotypes(const Person& source, int only) {
    setGenotypes(source.genotypeStore, source.genotypeRow, only >= 0 ? only : source.onlyMarker);
}

const std::string& Person::getAlleleName(int marker, int k) const {
    static const std::string untyped = "0";
    const GenotypeCodes genotype = getGenotype(marker);
    return genotype.isTyped() ? genotypeStore->getAlleleName(marker, genotype[k]) : untyped;
}

const std::string& Person::getPersonInfo() {
    std::string info = pedigreeId + "\t" + personId + "\t" + fatherId + "\t" + motherId + "\t";
    if (FOID != "-999") info += FOID + "\t" + NPSID + "\t" + NMSID + "\t" + sex + "\t" + probandStatus + "\t";
    else info += sex + "\t";
    personInfo = info;
    return personInfo;
}

Pedigree::Pedigree(const std::string& pedigreeId)
    : Object<Pedigree>(pedigreeId), pedigreeId(pedigreeId), personTree(new RBTree<Person>(new Person(), pedigreeId)) {}

Pedigree::~Pedigree() { delete personTree; }

Person* Pedigree::getPerson(const std::string& id) const { return personTree ? personTree->find(id) : nullptr; }

bool Pedigree::addPerson(Person* p) { return p && personTree && personTree->insert(p); }

Allele::Allele(const std::string& name) : alleleName(name) {}

void Allele::addCount(const std::string& group) {
    if (group == "all") ++all;
    else if (group == "founders") ++founders;
    else if (group == "males") ++males;
    else if (group == "females") ++females;
}

int Allele::getAlleleCount(const std::string& group) const {
    if (group == "all") return all;
    if (group == "founders") return founders;
    if (group == "males") return males;
    if (group == "females") return females;
    return 0;
}

RBTree<Phenotype>* copyPhenotypeTree(const RBTree<Phenotype>* source, const std::string& treeName) {
    auto* copy = new RBTree<Phenotype>(new Phenotype(), treeName);
    if (source)
        source->forEach([&](const Phenotype* p) { copy->insert(new Phenotype(p->getName(), p->getValue())); });
    return copy;
}
