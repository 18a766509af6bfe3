#pragma once
// The transmission/disequilibrium test: per phenotype and marker, over every affected, typed
// child whose two parents are typed, the transmissions (T) and non-transmissions (U) of each
// allele from heterozygous parents; per allele the McNemar statistic and the odds ratio T/U,
// per marker the global test over all alleles.

#include <map>
#include <string>
#include <vector>

class Pedigrees;
class Pedigree;
class GenotypeNames;

struct TdtAllele {
    std::string name;
    int transmitted = 0;
    int untransmitted = 0;

    // (T - U)^2 / (T + U); NaN when the allele was never carried by a heterozygous parent.
    double chiSquare() const;
    // Upper tail of the chi-square distribution on 1 df; NaN with the statistic.
    double pValue() const;
    // T / U (infinite when U = 0) with the 95% interval exp(ln(T/U) +- 1.96 sqrt(1/T + 1/U));
    // the interval is NaN unless both counts are above 0.
    double oddsRatio() const;
    double lower95() const;
    double upper95() const;
};

class TdtMarker {
public:
    TdtMarker(const std::string& key, const std::vector<std::string>& alleleNames);

    // Counts the transmissions of one trio; false (nothing counted) when the child's genotype
    // cannot come from the parents' genotypes.
    bool addTrio(const GenotypeNames& child, const GenotypeNames& mother, const GenotypeNames& father);

    const std::string& getKey() const { return key; }
    const std::vector<TdtAllele>& getAlleles() const { return alleles; }
    int getTrioCount() const { return trios; }
    int getInconsistentTrioCount() const { return inconsistentTrios; }
    int getHeterozygousParentCount() const { return heterozygousParents; }

    // Global test over the m alleles with T + U > 0 (Spielman and Ewens' T_mhet):
    // (m - 1) / m * sum of (T - U)^2 / (T + U), chi-square on m - 1 df. NaN (on 0 df) when m < 2.
    int getGlobalDegreesOfFreedom() const;
    double getGlobalStatistic() const;
    double getGlobalPValue() const;
    // Of the over-transmitted alleles (T > U), the one with the largest statistic (the first of
    // equal ones); null when no allele is over-transmitted.
    const TdtAllele* getBestAllele() const;

private:
    TdtAllele& allele(const std::string& name);
    void countParent(const GenotypeNames& parent, const std::string& transmittedAllele);

    std::string key;
    std::vector<TdtAllele> alleles;
    int trios = 0;
    int inconsistentTrios = 0;
    int heterozygousParents = 0;
};

// The per-marker table of the console and the summary: its heading (with what the best
// allele is) and one line per marker.
std::string tdtMarkerTableHeading();
std::string tdtMarkerTableLine(const std::string& markerName, const TdtMarker& marker);

class Tdt {
public:
    explicit Tdt(Pedigrees* pedigrees) : pedigrees(pedigrees) {}

    // 1 on success, 0 for an unknown marker or phenotype or X-linked data (message printed).
    int run(const std::string& markerName, const std::string& phenotypeName);
    // Writes stem + ".out" and stem + ".tsv"; 0 when a file cannot be written.
    int writeReport(const std::string& fileStem) const;

    const std::vector<std::string>& getPhenotypeNames() const { return phenotypeNames; }
    // The results of a phenotype, one per marker in analysis order.
    const std::vector<TdtMarker>& getMarkers(const std::string& phenotype) const;

private:
    void countPedigree(const Pedigree* pedigree, const std::string& phenotypeName, TdtMarker& marker) const;

    Pedigrees* pedigrees;
    std::vector<std::string> phenotypeNames;
    std::map<std::string, std::vector<TdtMarker>> results;
};
