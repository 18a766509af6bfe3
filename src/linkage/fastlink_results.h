#pragma once
// Likelihood records parsed from FASTLINK output: one pedigree at one theta, all pedigrees
// at one theta, and one marker's records over all thetas.

#include <map>
#include <string>
#include <vector>

class FastlinkLikelihood {
public:
    FastlinkLikelihood(const std::string& pedigreeId, double lnLike, double log10Like, double lodScore)
        : pedigreeId(pedigreeId), lnLike(lnLike), log10Like(log10Like), lodScore(lodScore) {}
    const std::string& getPedigreeId() const { return pedigreeId; }
    double getLnLike() const { return lnLike; }
    double getLog10Like() const { return log10Like; }
    double getLodScore() const { return lodScore; }

private:
    std::string pedigreeId;
    double lnLike, log10Like, lodScore;
};

class FastlinkLikelihoods {
public:
    explicit FastlinkLikelihoods(double recombinationFraction) : recombinationFraction(recombinationFraction) {}
    ~FastlinkLikelihoods();
    FastlinkLikelihoods(const FastlinkLikelihoods&) = delete;
    FastlinkLikelihoods& operator=(const FastlinkLikelihoods&) = delete;

    void addLikelihood(const std::string& pedigreeId, double lnLike, double log10Like, double lodScore);
    FastlinkLikelihood* getLikelihood(const std::string& pedigreeId) const;
    std::vector<std::string> getPedigreeNames() const { return pedigreeNames; }
    double getRecombinationFraction() const { return recombinationFraction; }
    void setLnLikeTotal(double v) { lnLikeTotal = v; }
    double getLnLikeTotal() const { return lnLikeTotal; }
    void setLog10Total(double v) { log10Total = v; }
    double getLog10Total() const { return log10Total; }
    void setMinus2LnLike(double v) { minus2LnLike = v; }
    double getMinus2LnLike() const { return minus2LnLike; }
    void setLodScore(double v) { lodScore = v; }
    double getLodScore() const { return lodScore; }
    // LINKMAP: the recombination fractions of the evaluation point, one per adjacent locus pair.
    void setRecombinationFractions(const std::vector<double>& thetas) { recombinationFractions = thetas; }
    const std::vector<double>& getRecombinationFractions() const { return recombinationFractions; }

private:
    double recombinationFraction;
    std::vector<double> recombinationFractions;
    double lnLikeTotal = 0.0, log10Total = 0.0, minus2LnLike = 0.0, lodScore = 0.0;
    std::map<std::string, FastlinkLikelihood*> likelihoods;
    std::vector<std::string> pedigreeNames;
};

class MLinkMarker {
public:
    MLinkMarker() = default;
    ~MLinkMarker();
    MLinkMarker(const MLinkMarker&) = delete;
    MLinkMarker& operator=(const MLinkMarker&) = delete;

    void addLikelihoods(double theta, FastlinkLikelihoods* record);
    FastlinkLikelihoods* getLikelihoods(double theta) const;
    FastlinkLikelihoods* getLikelihoods(const std::string& thetaText) const;
    const std::vector<std::string>& getLikelihoodsNames() const { return thetaNames; }
    FastlinkLikelihoods* getLikelihoodWithMaxLodScore() const;
    void setIndex(const std::string& i) { index = i; }
    const std::string& getIndex() const { return index; }

private:
    std::string index;
    std::map<std::string, FastlinkLikelihoods*> likelihoods;
    std::vector<std::string> thetaNames;
};
