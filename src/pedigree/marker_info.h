#pragma once
// Catalogue entry of one marker: the alleles seen with their counts per group ("all",
// "founders", "males", "females"), their new names 1..n in sorted order, and on demand
// every unordered genotype with observed and expected counts.

#include <string>
#include <vector>
#include "model/rbtree.h"
#include "model/records.h"

class Genotype {
public:
    Genotype(const std::string& first, const std::string& second);
    void addGenotypeCount(const std::string& type);
    int getGenotypeCount(const std::string& type) const;
    void setGenotypeFreq(double value, const std::string& type);
    double getGenotypeFreq(const std::string& type) const;
    void setExpectedGenotypeCount(double value, const std::string& type);
    double getExpectedGenotypeCount(const std::string& type) const;
    double getChi2(const std::string& type) const;
    std::string getAllele(int i) const;
    const std::string& getGenotypeName() const { return name; }

private:
    std::string name;
    std::string firstAllele;
    std::string secondAllele;
    int countAll = 0;
    int countFounders = 0;
    double frequencyAll = 0.0, frequencyFounders = 0.0;
    double expectedAll = 0.0, expectedFounders = 0.0;
};

class MarkerInfo : public Object<MarkerInfo> {
public:
    MarkerInfo() = default;
    explicit MarkerInfo(const std::string& markerIndex);
    ~MarkerInfo() override;

    void addCount(const std::string& type);
    // Adds to all four totals at once (the catalogue build counts millions of copies).
    void addCounts(int allCopies, int founderCopies, int maleCopies, int femaleCopies) {
        totalAll += allCopies;
        totalFounders += founderCopies;
        totalMales += maleCopies;
        totalFemales += femaleCopies;
    }
    int getTotal(const std::string& type) const;
    void addAllele(Allele* allele);
    Allele* getAlleleWithName(const std::string& name) const;
    std::vector<Allele*> getAlleles() const { return alleles; }
    int getAlleleCount() const { return static_cast<int>(alleles.size()); }
    double getAlleleFreq(int index, const std::string& type) const;
    double getAlleleFreqWithName(const std::string& name, const std::string& type) const;
    bool hasFoundersAllAlleles() const;
    bool hasAllAlleles(const std::string& type) const;
    void sortAllelesVector();
    void addAllelesNewNames();
    void createMarkerGenotypes();
    std::vector<Genotype*> getGenotypes() const { return genotypes; }
    double getGenotypeCount(const std::string& type) const;
    double getExpectedGenotypeCount(const std::string& type) const;
    double getChi2Count(const std::string& type) const;
    const std::string& getMarkerIndex() const { return markerIndex; }

    // Founders of pedigrees without a trio, tallied by the association analysis.
    void addAffectedSingleton() { ++affectedSingletons; }
    void addUnaffectedSingleton() { ++unaffectedSingletons; }
    int getAffectedSingletons() const { return affectedSingletons; }
    int getUnaffectedSingletons() const { return unaffectedSingletons; }

private:
    std::string markerIndex;
    std::vector<Allele*> alleles;
    bool sortByCount = false;
    std::vector<Genotype*> genotypes;
    int totalAll = 0, totalFounders = 0, totalMales = 0, totalFemales = 0;
    int affectedSingletons = 0, unaffectedSingletons = 0;
};
