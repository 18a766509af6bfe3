#pragma once
// Records read from the input: pedigrees, persons, phenotypes, map markers and catalogue
// alleles. Identifiers and values stay the strings read from the files; a person's genotypes
// live in the collection's genotype store, the person holds its row.

#include <string>

#include "model/genotype_store.h"
#include "model/rbtree.h"

class Phenotype : public Object<Phenotype> {
public:
    Phenotype() = default;
    Phenotype(const std::string& name, const std::string& value);
    const std::string& getName() const { return name; }
    const std::string& getValue() const { return value; }

private:
    std::string name;
    std::string value;
};

// A marker of the map (key = name) with its index in the map as decimal text.
class Marker : public Object<Marker> {
public:
    Marker() = default;
    Marker(const std::string& name, const std::string& chromosome, const std::string& position);
    const std::string& getName() const { return name; }
    void setName(const std::string& n) { name = n; }
    const std::string& getChromosome() const { return chromosome; }
    void setChromosome(const std::string& c) { chromosome = c; }
    double getPosition() const;
    const std::string& getPositionText() const { return position; }
    void setPosition(const std::string& p) { position = p; }
    void setPhysicalPosition(const std::string& p) { physicalPosition = p; }
    const std::string& getIndex() const { return index; }
    void setIndex(const std::string& i) { index = i; }

private:
    std::string name, chromosome, position, physicalPosition;
    std::string index;
};

// The two allele names of a typed genotype, for code that compares or reports names.
class GenotypeNames {
public:
    GenotypeNames(const std::string& first, const std::string& second) : first(&first), second(&second) {}
    const std::string& getAllele(int k) const { return k == 0 ? *first : *second; }

private:
    const std::string* first;
    const std::string* second;
};

class Person : public Object<Person> {
public:
    Person() = default;
    Person(const std::string& pedigreeId, const std::string& personId, const std::string& fatherId,
           const std::string& motherId, const std::string& sex);
    ~Person() override;
    // Gives a person taken out of its pedigree the identifiers of another numbering (the
    // converter's), as a person read under them would have; phenotypes and genotypes stay.
    void renumber(const std::string& newPedigreeId, const std::string& newPersonId, const std::string& newFatherId,
                  const std::string& newMotherId);

    const std::string& getPedigreeId() const { return pedigreeId; }
    const std::string& getPersonId() const { return personId; }
    const std::string& getFatherId() const { return fatherId; }
    const std::string& getMotherId() const { return motherId; }
    const std::string& getSex() const { return sex; }
    const std::string& getFOID() const { return FOID; }
    void setFOID(const std::string& v) { FOID = v; }
    const std::string& getNPSID() const { return NPSID; }
    void setNPSID(const std::string& v) { NPSID = v; }
    const std::string& getNMSID() const { return NMSID; }
    void setNMSID(const std::string& v) { NMSID = v; }
    const std::string& getProbandStatus() const { return probandStatus; }
    void setProbandStatus(const std::string& v) { probandStatus = v; }
    const std::string& getNewPersonId() const { return newPersonId; }
    void setNewPersonId(const std::string& v) { newPersonId = v; }
    const std::string& getOriginalPedigreeId() const { return originalPedigreeId; }
    void setOriginalPedigreeId(const std::string& v) { originalPedigreeId = v; }
    const std::string& getOriginalPersonId() const { return originalPersonId; }
    void setOriginalPersonId(const std::string& v) { originalPersonId = v; }
    bool isUsedAsChild() const { return usedAsChild; }
    void setUsedAsChild(bool v) { usedAsChild = v; }
    bool isUsedAsParent() const { return usedAsParent; }
    void setUsedAsParent(bool v) { usedAsParent = v; }

    RBTree<Phenotype>* getPhenotypeTree() const { return phenotypeTree; }
    bool addPhenotype(Phenotype* p);
    // Replace the owned tree (records copied into derived pedigrees).
    void addPhenotypes(RBTree<Phenotype>* tree);
    Phenotype* getPhenotype(const std::string& name) const;

    // The person's genotypes: a row of the store, all of its markers or, for a member of a
    // set derived for one marker, only that one (onlyMarker >= 0).
    void setGenotypes(const GenotypeStore* store, int row, int onlyMarker = -1);
    // The same row, seen at the markers another person sees.
    void shareGenotypes(const Person& source, int onlyMarker = -1);
    int getGenotypeRow() const { return genotypeRow; }
    // Untyped outside the markers the person can be typed at.
    GenotypeCodes getGenotype(int marker) const {
        if (marker < firstGenotypeMarker() || marker >= endGenotypeMarker()) return {};
        return genotypeStore->get(marker, genotypeRow);
    }
    bool isTyped(int marker) const { return getGenotype(marker).isTyped(); }
    // The name of allele k (0, 1) of the genotype at a marker; "0" when untyped.
    const std::string& getAlleleName(int marker, int k) const;
    GenotypeNames getGenotypeNames(int marker) const {
        return {getAlleleName(marker, 0), getAlleleName(marker, 1)};
    }
    // The genotypes at the markers [first, end) below, the one at marker m at [m], for walks
    // over them (only while the person has markers).
    const GenotypeCodes* genotypeCodes() const { return genotypeStore->rowCodes(genotypeRow); }
    // The markers [first, end) at which the person can be typed.
    int firstGenotypeMarker() const { return onlyMarker >= 0 ? onlyMarker : 0; }
    int endGenotypeMarker() const {
        if (!genotypeStore) return 0;
        return onlyMarker >= 0 ? onlyMarker + 1 : genotypeStore->getMarkerCount();
    }
    bool isFounder() const { return fatherId == "0" && motherId == "0"; }

    // The fixed columns, each followed by a tab: nine for a person with MAKEPED
    // pointers, five for one read from a pre-MAKEPED file (FOID "-999").
    const std::string& getPersonInfo();

private:
    std::string pedigreeId, personId, fatherId, motherId;
    std::string FOID, NPSID, NMSID;
    std::string sex;
    std::string probandStatus;
    RBTree<Phenotype>* phenotypeTree = nullptr;
    const GenotypeStore* genotypeStore = nullptr;
    int genotypeRow = 0;
    int onlyMarker = -1;
    bool usedAsChild = false;
    bool usedAsParent = false;
    std::string newPersonId;
    std::string originalPedigreeId, originalPersonId;
    std::string personInfo;
};

class Pedigree : public Object<Pedigree> {
public:
    Pedigree() = default;
    explicit Pedigree(const std::string& pedigreeId);
    ~Pedigree() override;

    const std::string& getPedigreeId() const { return pedigreeId; }
    const std::string& getOriginalPedigreeId() const { return originalPedigreeId; }
    void setOriginalPedigreeId(const std::string& v) { originalPedigreeId = v; }
    RBTree<Person>* getPersonTree() const { return personTree; }
    Person* getPerson(const std::string& id) const;
    bool addPerson(Person* p);

private:
    std::string pedigreeId;
    std::string originalPedigreeId;
    RBTree<Person>* personTree = nullptr;
};

// One allele of a catalogue entry, with its counts among all persons, founders, males
// and females ("all", "founders", "males", "females"; other group words count nothing).
class Allele {
public:
    explicit Allele(const std::string& name);
    const std::string& getAlleleName() const { return alleleName; }
    const std::string& getAlleleNewName() const { return alleleNewName; }
    void setAlleleNewName(const std::string& n) { alleleNewName = n; }
    void addCount(const std::string& group);
    // Adds to all four counts at once (the catalogue build counts millions of copies).
    void addCounts(int allCopies, int founderCopies, int maleCopies, int femaleCopies) {
        all += allCopies;
        founders += founderCopies;
        males += maleCopies;
        females += femaleCopies;
    }
    int getAlleleCount(const std::string& group) const;
    // Founders with this allele in pedigrees without a trio, by phenotype value.
    void addAffectedSingleton() { ++affectedSingletons; }
    void addUnaffectedSingleton() { ++unaffectedSingletons; }
    int getAffectedSingletons() const { return affectedSingletons; }
    int getUnaffectedSingletons() const { return unaffectedSingletons; }

private:
    std::string alleleName;
    std::string alleleNewName;
    int all = 0, founders = 0, males = 0, females = 0;
    int affectedSingletons = 0, unaffectedSingletons = 0;
};

// A deep copy of a person's phenotypes for a derived pedigree (a record can belong to one
// tree only). A null source gives an empty tree.
RBTree<Phenotype>* copyPhenotypeTree(const RBTree<Phenotype>* source, const std::string& treeName);
