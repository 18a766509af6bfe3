#pragma once
// Parametric multipoint linkage analysis through FASTLINK's LINKMAP over sliding windows of
// adjacent markers: for every phenotype and window the trait is moved through every position
// of the window (before the first marker, into each interval, after the last marker). Every
// trait position and pedigree batch is one FASTLINK job; the batches' records are merged into
// one record per trait position, with the user's pedigree names.

#include <map>
#include <utility>
#include <string>
#include <vector>

#include "linkage/linkmap_results.h"

class Pedigrees;
struct FastlinkPedigreeSet;

class LinkmapHLod {
public:
    LinkmapHLod(int index, double alpha, double hlod) : index(index), alpha(alpha), hlod(hlod) {}
    int getIndex() const { return index; }
    double getAlpha() const { return alpha; }
    double getHLod() const { return hlod; }

private:
    int index;
    double alpha, hlod;
};

class Linkmap {
public:
    explicit Linkmap(Pedigrees* pedigrees);
    ~Linkmap();
    Linkmap(const Linkmap&) = delete;
    Linkmap& operator=(const Linkmap&) = delete;

    void setWindowSize(int size) { windowSize = size; }
    void setSteps(int count) { steps = count; }
    void setPhenotype(const std::string& name) {
        phenotypeGiven = true;
        phenotypeName = name;
    }
    void setSlow(bool v) { slow = v; }
    void setFrequenciesFromLocusFile(bool v) { frequenciesFromLocusFile = v; }

    bool run();
    // False when too few markers could be analysed (the run still succeeded).
    bool hasResults() const { return resultsFlag; }
    void countHLods();

    bool writeResults(const std::string& fileName);
    bool writeResultsPostScript(const std::string& base);
    bool writeHLodResults(const std::string& base);
    bool writeHLodResultsByFamily(const std::string& base);
    std::string welcome() const;
    // Pedigrees computed by the native engine and by FASTLINK in the last run.
    std::pair<int, int> getEngineCounts() const { return engineCounts; }

    // The records of a phenotype's window, one per trait position.
    const std::vector<std::string>& getPhenotypes() const { return phenotypes; }
    const std::vector<std::string>& getWindowKeys(const std::string& phenotype) const;
    const std::vector<LinkmapLikelihoods*>& getWindow(const std::string& phenotype, const std::string& key) const;
    // The heterogeneity grid of a window: per trait position, per evaluation point, per alpha.
    const std::vector<std::vector<std::vector<LinkmapHLod*>>>& getHLods(const std::string& phenotype,
                                                                        const std::string& key) const;
    // The map position (cM) of an evaluation point of a window's record.
    double getPosition(const LinkmapLikelihoods* record, const FastlinkLikelihoods* evaluation) const;
    // A pedigree's LOD at an evaluation point, against its value in the window's unlinked
    // reference (the trait before the first marker at recombination fraction 0.5).
    static double pedigreeLod(const std::vector<LinkmapLikelihoods*>& window, const FastlinkLikelihoods* evaluation,
                              const std::string& pedigree);
    // A window's marker names as a label (its key without the trailing blank).
    static std::string windowName(const std::string& key);

private:
    struct WindowPlan;
    bool planWindow(const std::vector<int>& loci, WindowPlan& plan);
    void planBatches(const FastlinkPedigreeSet& set, const std::vector<size_t>& positions, bool nativeToo,
                     WindowPlan& plan);
    bool execute_analysis(const std::vector<std::string>& analysed, const std::vector<int>& loci);
    void clear();
    void clearHLods();

    Pedigrees* pedigrees;
    int windowSize = 3;
    bool phenotypeGiven = false;
    std::string phenotypeName;
    int steps = 5;
    bool resultsFlag = true;
    bool frequenciesFromLocusFile = false;
    bool slow = false;
    std::map<std::string, std::map<std::string, std::vector<LinkmapLikelihoods*>>> windowsByPhenotype;
    std::map<std::string, std::vector<std::string>> windowKeysByPhenotype;
    std::vector<std::string> phenotypes;
    // [phenotype][window key][trait position][evaluation point][alpha]
    std::map<std::string, std::map<std::string, std::vector<std::vector<std::vector<LinkmapHLod*>>>>> hlods;
    std::vector<std::string> alphaNames;
    std::pair<int, int> engineCounts{0, 0};
};
