#pragma once
// In-memory form of a LINKAGE locus (data) file: read from the user's file, built from the
// model and the catalogue, and written for the FASTLINK programs.

#include <string>
#include <vector>

class MarkerMap;

class Locus {
public:
    Locus(const std::string& name, int type, int numberOfAlleles);
    explicit Locus(const Locus* other);  // deep copy

    const std::string& getName() const { return name; }
    void setName(const std::string& n) { name = n; }
    int getType() const { return type; }
    int getNumberOfAlleles() const { return numberOfAlleles; }
    int getNumberOfLiabClasses() const { return numberOfLiabClasses; }
    void setNumberOfLiabClasses(int n) { numberOfLiabClasses = n; }
    const std::vector<double>& getAlleleFrequencies() const { return alleleFrequencies; }
    void addAlleleFrequencies(const std::vector<double>& f) { alleleFrequencies = f; }
    void setFemalePenetrances(const std::vector<double>& row);  // appends one class row
    void setMalePenetrances(const std::vector<double>& row);    // appends one class row
    double getFemalePenetranceClass(int liabilityClass, int genotype) const;
    double getMalePenetranceClass(int liabilityClass, int genotype) const;
    void setGenotypeMeans(const std::vector<double>& m) { genotypeMeans = m; }
    void setVariances(const std::vector<double>& v) { variances = v; }
    void setHeterozygoteMultiplier(double m) { heterozygoteMultiplier = m; }

    std::string toString(int sexLink) const;
    std::string toStringHeaderOnly(int sexLink) const;
    std::string toStringDiseaseLocus(int sexLink) const;

private:
    std::string name;
    int type;
    int numberOfAlleles;
    std::vector<double> alleleFrequencies;
    int numberOfLiabClasses = 0;
    std::vector<std::vector<double>> femalePenetrances;
    std::vector<std::vector<double>> malePenetrances;
    std::vector<double> genotypeMeans;
    std::vector<double> variances;
    double heterozygoteMultiplier = 0.0;
};

class LinkageLocusFile {
public:
    LinkageLocusFile() = default;
    ~LinkageLocusFile();
    LinkageLocusFile(const LinkageLocusFile&) = delete;
    LinkageLocusFile& operator=(const LinkageLocusFile&) = delete;

    int readLocusFile(const std::string& fileName);
    // Writes all loci for an empty list, otherwise the loci at the listed positions.
    void writeLocusFile(const std::string& fileName, const std::vector<std::string>& loci) const;

    void setNumberOfLoci(int n) { numberOfLoci = n; }
    void setRiskLocus(int n) { riskLocus = n; }
    void setSexLink(int n) { sexLink = n; }
    void setProgramNumber(int n) { programNumber = n; }
    void setMutLocus(int n) { mutLocus = n; }
    void setMutRateMale(double r) { mutRateMale = r; }
    void setMutRateFemale(double r) { mutRateFemale = r; }
    void setHapFreq(int n) { hapFreq = n; }
    void setSexDifference(int n) { sexDifference = n; }
    void setInterference(int n) { interference = n; }
    void setRecombinationVaried(int n) { recombinationVaried = n; }
    void setIncrement(double d) { increment = d; }
    void setFinishingValue(double d) { finishingValue = d; }
    void setLocusOrder(const std::vector<int>& order) { locusOrder = order; }
    void addLocus(Locus* locus) { loci.push_back(locus); }
    void addRecombinationFraction(double r) { recombinationFractions.push_back(r); }
    void setMarkerMap(MarkerMap* map) { markerMap = map; }
    void setLinkmapLastLine(int variedLocus, double stopValue, int evaluations);

    int getNumberOfLoci() const { return numberOfLoci; }
    int getXlinked() const { return sexLink; }
    int getLocusCount() const { return static_cast<int>(loci.size()); }
    Locus* getLocus(int position) const;
    const std::vector<double>& getRecombinationFractions() const { return recombinationFractions; }

private:
    void writeLastLine(std::ostream& out) const;

    int numberOfLoci = 0;
    int riskLocus = 0;
    int sexLink = 0;
    int programNumber = 0;
    int mutLocus = 0;
    double mutRateMale = 0.0;
    double mutRateFemale = 0.0;
    int hapFreq = 0;
    std::vector<int> locusOrder;
    std::vector<Locus*> loci;
    int sexDifference = 0;
    int interference = 0;
    std::vector<double> recombinationFractions;
    int recombinationVaried = 0;
    double increment = 0.0;
    double finishingValue = 0.0;
    MarkerMap* markerMap = nullptr;
    std::vector<double> haplotypeFrequencies;
    int linkmapVariedLocus = 0;
    double linkmapStopValue = 0.0;
    int linkmapEvaluations = 0;
};
