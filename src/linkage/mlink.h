#pragma once
// Parametric singlepoint linkage analysis through FASTLINK's UNKNOWN and MLINK, one object
// per mode: "basic" (pedigrees as read) or "nuclear" (component nuclear pedigrees). Every
// phenotype, marker and pedigree batch is one FASTLINK job; the batches' records are merged
// into one record per marker, with the user's pedigree names.

#include <map>
#include <utility>
#include <string>
#include <vector>
#include "linkage/fastlink_results.h"

class Pedigrees;
struct FastlinkPedigreeSet;

class MLinkHLod {
public:
    MLinkHLod(double theta, double alpha, double hlod) : theta(theta), alpha(alpha), hlod(hlod) {}
    double getTheta() const { return theta; }
    double getAlpha() const { return alpha; }
    double getHLod() const { return hlod; }

private:
    double theta, alpha, hlod;
};

// The heterogeneity LOD at one alpha of pedigrees with these LODs and likelihood ratios
// (10^LOD). At an alpha of 1 (the end of the accumulated grid, just above it) every family is
// linked: the plain LOD sum, also for LODs whose 10^LOD underflows to 0.
double heterogeneityLod(const std::vector<double>& lods, const std::vector<double>& likelihoodRatios, double alpha);

class MLink {
public:
    explicit MLink(Pedigrees* pedigrees);
    ~MLink();
    MLink(const MLink&) = delete;
    MLink& operator=(const MLink&) = delete;

    void setSlow(bool v) { slow = v; }
    void setFrequenciesFromLocusFile(bool v) { frequenciesFromLocusFile = v; }

    bool run(const std::string& mode, const std::string& markerName, const std::string& phenotypeName);
    // MLINK's "outfile.dat" of a run over `pedigreeCount` pedigrees, or null when the file
    // cannot be opened. Pedigree records are named through `names` (FASTLINK's id to the
    // user's name) when given, else keep the ids MLINK printed.
    static MLinkMarker* readResultsFile(const std::string& fileName, int pedigreeCount,
                                        const std::map<std::string, std::string>* names = nullptr);
    void maximizeHLod();

    bool writeResultsFile(const std::string& base);
    bool writeResultsByFamilyFile(const std::string& base);
    bool writeAllLODScoresFile(const std::string& base);
    bool writeHLodFile(const std::string& base);
    bool writeHLodPostscript(const std::string& base);
    std::string welcome() const;

    // Results, read by the report writers and the summary file.
    const std::vector<std::string>& getPhenotypes() const { return phenotypes; }
    const std::vector<std::vector<MLinkMarker*>>& getResults() const { return results; }
    const std::vector<std::vector<MLinkHLod*>>& getHLodMaxima() const { return hlodMaxima; }
    // Pedigrees computed by the native engine and by FASTLINK in the last run.
    std::pair<int, int> getEngineCounts() const { return engineCounts; }

private:
    struct MarkerPlan;
    void clearResults();
    void clearHLods();
    bool planMarker(const std::string& name, MarkerPlan& plan);
    void planBatches(const FastlinkPedigreeSet& set, const std::vector<size_t>& positions, bool nativeToo,
                     MarkerPlan& plan);

    Pedigrees* pedigrees;
    std::vector<std::vector<MLinkMarker*>> results;
    std::string mode;
    std::string markerName;
    std::string phenotypeName;
    std::vector<std::string> markers;
    std::vector<std::string> phenotypes;
    // heterogeneity grid [phenotype][marker][theta][alpha], maxima [phenotype][marker]
    std::vector<std::vector<std::vector<std::vector<MLinkHLod*>>>> hlodGrid;
    std::vector<std::string> hlodPhenotypes;
    std::vector<std::string> alphaNames;
    std::vector<std::string> hlodThetaNames;
    std::vector<std::string> thetaNames;
    std::vector<std::vector<MLinkHLod*>> hlodMaxima;
    bool frequenciesFromLocusFile = false;
    bool slow = false;
    std::pair<int, int> engineCounts{0, 0};

    friend class MLinkTestAccess;
};
