#pragma once
// Parametric singlepoint linkage analysis through FASTLINK's UNKNOWN and MLINK, one object
// per mode: "basic" (pedigrees as read) or "nuclear" (component nuclear pedigrees).

#include <string>
#include <vector>
#include "linkage/fastlink_results.h"

class Pedigrees;

class MLinkHLod {
public:
    MLinkHLod(double theta, double alpha, double hlod) : theta(theta), alpha(alpha), hlod(hlod) {}
    double getTheta() const { return theta; }
    double getAlpha() const { return alpha; }
    double getHLod() const { return hlod; }

private:
    double theta, alpha, hlod;
};

class MLink {
public:
    explicit MLink(Pedigrees* pedigrees);
    ~MLink();
    MLink(const MLink&) = delete;
    MLink& operator=(const MLink&) = delete;

    void setSlow(bool v) { slow = v; }
    void setFrequenciesFromLocusFile(bool v) { frequenciesFromLocusFile = v; }

    bool run(const std::string& mode, const std::string& markerName, const std::string& phenotypeName);
    bool readResultsFile(const std::string& fileName, const std::string& mode);
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

private:
    void clearResults();
    void clearHLods();

    Pedigrees* pedigrees;
    std::vector<MLinkMarker*> currentResults;
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
    int currentMarker = 0;
    bool slow = false;

    friend class MLinkTestAccess;
};
