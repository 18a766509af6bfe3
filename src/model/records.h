#pragma once
// Records read from the input: pedigrees, persons, phenotypes, genotypes / map markers,
// and catalogue alleles. Identifiers and values stay the strings read from the files.

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "model/rbtree.h"

// Marker records come from a pool of their own, except under AddressSanitizer: there every
// record stays a heap block of its own, so that a use after free or an overrun is still seen.
#if defined(__SANITIZE_ADDRESS__)
#define VARKEL_POOLED_RECORDS 0
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VARKEL_POOLED_RECORDS 0
#endif
#endif
#ifndef VARKEL_POOLED_RECORDS
#define VARKEL_POOLED_RECORDS 1
#endif

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

// A marker of the map (key = name) or one person's genotype at a marker
// (key = the marker's map index as decimal text, two alleles).
class Marker : public Object<Marker> {
public:
    Marker() = default;
    Marker(const std::string& key, const std::string& a, const std::string& b, bool isGenotype);
    // A genotype made straight from the alleles' text in a file buffer: millions are read,
    // and building each string once in place avoids a temporary and a reassignment apiece.
    Marker(const std::string& index, std::string_view a, std::string_view b);
    const std::string& getName() const { return mapText(&MapFields::name); }
    void setName(const std::string& n) { setMapText(&MapFields::name, n); }
    const std::string& getAllele(int i) const { return i == 0 ? allele1 : allele2; }
    void setAllele(int i, const std::string& a) { (i == 0 ? allele1 : allele2) = a; }
    const std::string& getChromosome() const { return mapText(&MapFields::chromosome); }
    void setChromosome(const std::string& c) { setMapText(&MapFields::chromosome, c); }
    double getPosition() const;
    const std::string& getPositionText() const { return mapText(&MapFields::position); }
    void setPosition(const std::string& p) { setMapText(&MapFields::position, p); }
    void setPhysicalPosition(const std::string& p) { setMapText(&MapFields::physicalPosition, p); }
    const std::string& getIndex() const { return index; }
    void setIndex(const std::string& i) { index = i; }

#if VARKEL_POOLED_RECORDS
    // Every typed genotype and every nil leaf of a marker tree is a Marker: millions of
    // same-sized blocks that live until the data go. The pool hands them out without the
    // general allocator's per-block bookkeeping and returns its memory in a few large pieces.
    static void* operator new(std::size_t size);
    static void operator delete(void* storage, std::size_t size) noexcept;
#endif

private:
    // What only a marker of the map has. Genotypes and nil leaves, two records per typed
    // genotype, never set it; held inline it would be two fifths of every record.
    struct MapFields {
        std::string name, chromosome, position, physicalPosition;
    };
    const std::string& mapText(std::string MapFields::*field) const;
    void setMapText(std::string MapFields::*field, const std::string& value);

    std::string allele1;
    std::string allele2;
    std::string index;
    std::unique_ptr<MapFields> map;  // null while every map field is empty
};

class Person : public Object<Person> {
public:
    Person() = default;
    Person(const std::string& pedigreeId, const std::string& personId, const std::string& fatherId,
           const std::string& motherId, const std::string& sex);
    ~Person() override;

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
    RBTree<Marker>* getMarkerTree() const { return markerTree; }
    bool addPhenotype(Phenotype* p);
    bool addMarker(Marker* m);
    // Replace the owned trees (records copied into derived pedigrees).
    void addPhenotypes(RBTree<Phenotype>* tree);
    void addMarkers(RBTree<Marker>* tree);
    Phenotype* getPhenotype(const std::string& name) const;
    Marker* getMarker(const std::string& key) const;
    Marker* getMarkerWithIndex(const std::string& index);
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
    RBTree<Marker>* markerTree = nullptr;
    Marker* markerSearchResult = nullptr;
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

// Deep copies of a person's phenotypes and genotypes for a derived pedigree (a record can
// belong to one tree only). A null source gives an empty tree.
RBTree<Phenotype>* copyPhenotypeTree(const RBTree<Phenotype>* source, const std::string& treeName);
RBTree<Marker>* copyMarkerTree(const RBTree<Marker>* source, const std::string& treeName);
