#pragma once
// Haplotype relative risk analysis: per phenotype and marker, trios are extracted, case and
// control alleles and genotypes counted, and the likelihood-ratio tests randomised.

#include <map>
#include <string>
#include <vector>
#include "association/hrr_marker.h"
#include "model/records.h"

class Pedigrees;
class MarkerInfo;

class HrrPhenotype {
public:
    explicit HrrPhenotype(const std::string& name) : name(name) {}
    ~HrrPhenotype();
    HrrPhenotype(const HrrPhenotype&) = delete;
    HrrPhenotype& operator=(const HrrPhenotype&) = delete;

    const std::string& getName() const { return name; }
    void addHrrMarker(const std::string& key, HrrMarker* marker);
    HrrMarker* getHrrMarker(const std::string& key) const;
    std::vector<std::string> getHrrMarkerNames() const { return markerKeys; }

private:
    std::string name;
    std::map<std::string, HrrMarker*> markers;
    std::vector<std::string> markerKeys;
};

class Hrr {
public:
    explicit Hrr(Pedigrees* pedigrees) : pedigrees(pedigrees) {}
    ~Hrr();
    Hrr(const Hrr&) = delete;
    Hrr& operator=(const Hrr&) = delete;

    void setQuiet(bool q) { quiet = q; }
    int run(const std::string& markerName, const std::string& phenotypeName);
    int writeGenotypeAndAlleleCounts(const std::string& fileStem);
    std::string welcome() const;

    const std::vector<std::string>& getPhenotypeNames() const { return phenotypeNames; }
    HrrPhenotype* getHrrPhenotype(const std::string& name) const;

private:
    void pedigreeCountCaseAndControlGenotypes(Pedigree* node, const std::string& phenotypeName);
    static bool isSingletons(const MarkerInfo* markerInfo);

    Pedigrees* pedigrees;
    std::map<std::string, HrrPhenotype*> phenotypes;
    std::vector<std::string> phenotypeNames;
    HrrMarker* currentMarker = nullptr;
    bool quiet = false;
};
