#pragma once
// Case (transmitted) and control (non-transmitted) counts of one marker for one phenotype,
// the allele- and genotype-based likelihood-ratio tests, and their p-values.

#include <map>
#include <string>
#include <vector>

class Allele;

// A replicate statistic reaches the observed one when it is at least as large, up to the
// rounding of sums taken in another order (a relative 1e-9): mathematically equal statistics
// tie. A statistic that is not a number never reaches.
bool reachesObservedStatistic(double statistic, double observed);

// A randomised p-value as reports show it: 6 decimals, or, when no replicate reached the
// observed statistic (p = 0), the bound "< 1e-05" (one over the number of replicates).
std::string randomizedPText(double p);
// A chi-square p-value as reports show it: 6 decimals, scientific notation below 1e-6, "NA"
// when the test is undefined.
std::string theoreticalPText(double p);
// The value a randomised p-value stands for on a -log10 scale: p = 0 as its bound.
double randomizedPBound(double p);

using CountMap = std::map<std::string, int>;

class HrrMarker {
public:
    HrrMarker(const std::string& key, const std::vector<Allele*>& alleles);

    void addCaseCountForGenotype(const std::string& g);
    void addControlCountForGenotype(const std::string& g);
    void addCaseAlleleCount(const std::string& a);
    void addControlAlleleCount(const std::string& a);
    int getCaseCountForGenotype(const std::string& g);
    int getControlCountForGenotype(const std::string& g);
    int getCaseAlleleCount(const std::string& a);
    int getControlAlleleCount(const std::string& a);
    // The catalogue's name of the genotype of two alleles, in either order: the alleles in
    // catalogue order ("A/B", "10/2" when letters make the order textual). Alleles outside the
    // catalogue are put in numeric order.
    std::string genotypeName(const std::string& a, const std::string& b) const;
    std::vector<std::string> getGenotypeNames() const { return genotypeNames; }
    std::vector<std::string> getAlleleNames() const { return alleleNames; }
    const std::string& getName() const { return name; }

    double getH0(const std::string& type, CountMap caseCounts, CountMap controlCounts) const;
    double getH1(const std::string& type, CountMap caseCounts, CountMap controlCounts) const;
    void countLRT(const std::string& type, CountMap caseCounts, CountMap controlCounts);
    double getLRT(const std::string& type, CountMap caseCounts, CountMap controlCounts) const;
    double getLRT(const std::string& type) const;
    std::vector<double> getProbabilityDistribution() const;

    void Randomize();
    static int getReplicateCount();
    // Degrees of freedom of the "allele" or "genotype" test: items of the catalogue - 1.
    int getDegreesOfFreedom(const std::string& type) const;
    void setQuiet(bool q) { quiet = q; }

    const CountMap& getCaseGenotypeCounts() const { return caseGenotypeCounts; }
    const CountMap& getControlGenotypeCounts() const { return controlGenotypeCounts; }
    const CountMap& getCaseAlleleCounts() const { return caseAlleleCounts; }
    const CountMap& getControlAlleleCounts() const { return controlAlleleCounts; }
    int getCaseGenotypeTotal() const { return caseGenotypeTotal; }
    int getControlGenotypeTotal() const { return controlGenotypeTotal; }
    int getCaseAlleleTotal() const { return caseAlleleTotal; }
    int getControlAlleleTotal() const { return controlAlleleTotal; }
    double getAlleleRandomizedP() const { return alleleRandomizedP; }
    double getGenotypeRandomizedP() const { return genotypeRandomizedP; }
    double getAlleleTheoreticalP() const { return alleleTheoreticalP; }
    double getGenotypeTheoreticalP() const { return genotypeTheoreticalP; }

private:
    std::string name;
    std::vector<std::string> genotypeNames;
    std::vector<std::string> alleleNames;
    CountMap caseGenotypeCounts, controlGenotypeCounts, caseAlleleCounts, controlAlleleCounts;
    int caseGenotypeTotal = 0, controlGenotypeTotal = 0, caseAlleleTotal = 0, controlAlleleTotal = 0;
    double alleleLRT = 0.0, genotypeLRT = 0.0;
    double alleleRandomizedP = 0.0, genotypeRandomizedP = 0.0;
    double alleleTheoreticalP = 0.0, genotypeTheoreticalP = 0.0;
    bool quiet = false;
};
