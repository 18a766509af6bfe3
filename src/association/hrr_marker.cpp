// Case and control counts of one marker, the likelihood-ratio tests of equal case and
// control distributions, and their randomisation under the pooled genotype distribution.

#include "association/hrr_marker.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <utility>

#include "driver/utilities.h"
#include "model/records.h"

namespace {

const int replicateCount = 100000;

// One term n * ln(n / total) of a log-likelihood; 0 for n = 0 or an empty sample. The
// direct sums and the lookup tables of the randomisation both take their terms from here,
// so a simulated statistic is bit for bit the one the direct sums give for the same counts.
double logLikelihoodTerm(int n, int total) {
    if (n == 0 || total == 0) return 0.0;
    return static_cast<double>(n) * std::log(static_cast<double>(n) / static_cast<double>(total));
}

int countOf(const CountMap& counts, const std::string& item) {
    auto it = counts.find(item);
    return it == counts.end() ? 0 : it->second;
}

void addOne(CountMap& counts, int& total, const std::string& item) {
    ++counts[item];
    ++total;
}

}  // namespace

bool reachesObservedStatistic(double statistic, double observed) {
    return statistic >= observed - 1e-9 * std::max(1.0, std::fabs(observed));
}

std::string randomizedPText(double p) {
    char text[32];
    if (p == 0.0) std::snprintf(text, sizeof text, "< %g", 1.0 / replicateCount);
    else std::snprintf(text, sizeof text, "%.6f", p);
    return text;
}

std::string theoreticalPText(double p) {
    if (std::isnan(p)) return "NA";
    char text[32];
    std::snprintf(text, sizeof text, p < 1e-6 ? "%.6e" : "%.6f", p);
    return text;
}

double randomizedPBound(double p) { return p == 0.0 ? 1.0 / replicateCount : p; }

int HrrMarker::getReplicateCount() { return replicateCount; }

int HrrMarker::getDegreesOfFreedom(const std::string& type) const {
    return static_cast<int>(type == "allele" ? alleleNames.size() : genotypeNames.size()) - 1;
}

std::string HrrMarker::genotypeName(const std::string& a, const std::string& b) const {
    const auto first = std::find(alleleNames.begin(), alleleNames.end(), a);
    const auto second = std::find(alleleNames.begin(), alleleNames.end(), b);
    if (first == alleleNames.end() || second == alleleNames.end())
        return stringToInt(a) >= stringToInt(b) ? b + "/" + a : a + "/" + b;
    return first <= second ? a + "/" + b : b + "/" + a;
}

HrrMarker::HrrMarker(const std::string& key, const std::vector<Allele*>& alleles) : name(key) {
    for (size_t i = 0; i < alleles.size(); ++i) {
        const std::string& first = alleles[i]->getAlleleName();
        alleleNames.push_back(first);
        caseAlleleCounts[first] = 0;
        controlAlleleCounts[first] = 0;
        for (size_t j = i; j < alleles.size(); ++j) {
            const std::string genotype = first + "/" + alleles[j]->getAlleleName();
            genotypeNames.push_back(genotype);
            caseGenotypeCounts[genotype] = 0;
            controlGenotypeCounts[genotype] = 0;
        }
    }
}

void HrrMarker::addCaseCountForGenotype(const std::string& g) { addOne(caseGenotypeCounts, caseGenotypeTotal, g); }
void HrrMarker::addControlCountForGenotype(const std::string& g) {
    addOne(controlGenotypeCounts, controlGenotypeTotal, g);
}
void HrrMarker::addCaseAlleleCount(const std::string& a) { addOne(caseAlleleCounts, caseAlleleTotal, a); }
void HrrMarker::addControlAlleleCount(const std::string& a) { addOne(controlAlleleCounts, controlAlleleTotal, a); }

int HrrMarker::getCaseCountForGenotype(const std::string& g) { return caseGenotypeCounts[g]; }
int HrrMarker::getControlCountForGenotype(const std::string& g) { return controlGenotypeCounts[g]; }
int HrrMarker::getCaseAlleleCount(const std::string& a) { return caseAlleleCounts[a]; }
int HrrMarker::getControlAlleleCount(const std::string& a) { return controlAlleleCounts[a]; }

double HrrMarker::getH0(const std::string& type, CountMap caseCounts, CountMap controlCounts) const {
    const bool alleles = type == "allele";
    if (!alleles && type != "genotype") return 0.0;
    const std::vector<std::string>& items = alleles ? alleleNames : genotypeNames;
    const int caseTotal = alleles ? caseAlleleTotal : caseGenotypeTotal;
    const int controlTotal = alleles ? controlAlleleTotal : controlGenotypeTotal;
    double caseSum = 0.0;
    double controlSum = 0.0;
    for (const std::string& item : items) caseSum += logLikelihoodTerm(countOf(caseCounts, item), caseTotal);
    for (const std::string& item : items) controlSum += logLikelihoodTerm(countOf(controlCounts, item), controlTotal);
    return caseSum + controlSum;
}

double HrrMarker::getH1(const std::string& type, CountMap caseCounts, CountMap controlCounts) const {
    const bool alleles = type == "allele";
    if (!alleles && type != "genotype") return 0.0;
    const std::vector<std::string>& items = alleles ? alleleNames : genotypeNames;
    const int pooledTotal = alleles ? caseAlleleTotal + controlAlleleTotal : caseGenotypeTotal + controlGenotypeTotal;
    double sum = 0.0;
    for (const std::string& item : items)
        sum += logLikelihoodTerm(countOf(caseCounts, item) + countOf(controlCounts, item), pooledTotal);
    return sum;
}

double HrrMarker::getLRT(const std::string& type, CountMap caseCounts, CountMap controlCounts) const {
    return 2.0 * (getH0(type, caseCounts, controlCounts) - getH1(type, caseCounts, controlCounts));
}

void HrrMarker::countLRT(const std::string& type, CountMap caseCounts, CountMap controlCounts) {
    if (type == "allele") alleleLRT = getLRT(type, caseCounts, controlCounts);
    else if (type == "genotype") genotypeLRT = getLRT(type, caseCounts, controlCounts);
}

double HrrMarker::getLRT(const std::string& type) const {
    if (type == "allele") return alleleLRT;
    if (type == "genotype") return genotypeLRT;
    return -1.0;
}

std::vector<double> HrrMarker::getProbabilityDistribution() const {
    const double pooledTotal = static_cast<double>(caseGenotypeTotal + controlGenotypeTotal);
    std::vector<double> cumulative;
    cumulative.reserve(genotypeNames.size());
    double sum = 0.0;
    for (const std::string& g : genotypeNames) {
        sum += static_cast<double>(countOf(caseGenotypeCounts, g) + countOf(controlGenotypeCounts, g)) / pooledTotal;
        cumulative.push_back(sum);
    }
    return cumulative;
}

namespace {

// Slot of every name in a list: the position of its first occurrence, so that a repeated
// name shares one counter, as it shares one map entry in the direct sums.
std::vector<int> slotsOf(const std::vector<std::string>& names, std::map<std::string, int>& firstPosition) {
    std::vector<int> slots;
    slots.reserve(names.size());
    for (size_t i = 0; i < names.size(); ++i) {
        auto inserted = firstPosition.emplace(names[i], static_cast<int>(i));
        slots.push_back(inserted.first->second);
    }
    return slots;
}

// One test on simulated counts held in flat arrays. The statistic adds the terms of the
// items in name order exactly as getH0 and getH1 do, taking them from tables indexed by
// count (the denominators are the observed totals, fixed for the whole randomisation).
class SimulatedTest {
public:
    SimulatedTest(std::vector<int> itemSlots, int slotCount, int caseTotal, int controlTotal, int maxCaseCount,
                  int maxControlCount, double observed)
        : items(std::move(itemSlots)),
          caseCounts(slotCount, 0),
          controlCounts(slotCount, 0),
          caseTerms(table(maxCaseCount, caseTotal)),
          controlTerms(table(maxControlCount, controlTotal)),
          pooledTerms(table(maxCaseCount + maxControlCount, caseTotal + controlTotal)),
          observed(observed) {}

    void reset() {
        std::fill(caseCounts.begin(), caseCounts.end(), 0);
        std::fill(controlCounts.begin(), controlCounts.end(), 0);
    }
    int* cases() { return caseCounts.data(); }
    int* controls() { return controlCounts.data(); }

    // Adds the replicate to the exceed count when its statistic reaches the observed one.
    void judge() {
        double caseSum = 0.0;
        double controlSum = 0.0;
        double pooledSum = 0.0;
        for (int slot : items) caseSum += caseTerms[caseCounts[slot]];
        for (int slot : items) controlSum += controlTerms[controlCounts[slot]];
        for (int slot : items) pooledSum += pooledTerms[caseCounts[slot] + controlCounts[slot]];
        const double statistic = 2.0 * ((caseSum + controlSum) - pooledSum);
        if (reachesObservedStatistic(statistic, observed)) ++exceeded;
    }
    int exceedCount() const { return exceeded; }

private:
    static std::vector<double> table(int maxCount, int total) {
        std::vector<double> terms(static_cast<size_t>(maxCount) + 1);
        for (int n = 0; n <= maxCount; ++n) terms[n] = logLikelihoodTerm(n, total);
        return terms;
    }

    std::vector<int> items;
    std::vector<int> caseCounts, controlCounts;
    std::vector<double> caseTerms, controlTerms, pooledTerms;
    double observed;
    int exceeded = 0;
};

// The first genotype whose cumulative value is >= r (none, -1, when r is above the last),
// found without scanning the whole list: r is mapped to one of 2^k equal buckets of [0, 1]
// and the scan starts at the first genotype that can answer for that bucket. With a power of
// two, r * buckets is exact, so bucket j holds exactly the r in [j / buckets, (j+1) / buckets)
// and every genotype before its start has cumulative[k] >= r false for each of them: the
// result is the one of a linear scan from the first genotype.
class GenotypeSearch {
public:
    explicit GenotypeSearch(std::vector<double> cumulativeValues)
        : cumulative(std::move(cumulativeValues)), firstCandidate(buckets + 1) {
        const int n = static_cast<int>(cumulative.size());
        int k = 0;
        for (int j = 0; j <= buckets; ++j) {
            const double low = static_cast<double>(j) / buckets;
            while (k < n && !(cumulative[static_cast<size_t>(k)] >= low)) ++k;
            firstCandidate[static_cast<size_t>(j)] = k;
        }
    }

    int find(double r) const {
        const int n = static_cast<int>(cumulative.size());
        const size_t bucket = r >= 1.0 ? buckets : static_cast<size_t>(r * buckets);
        int k = firstCandidate[bucket];
        while (k < n && !(cumulative[static_cast<size_t>(k)] >= r)) ++k;
        return k < n ? k : -1;
    }

private:
    static const int buckets = 4096;
    std::vector<double> cumulative;
    std::vector<int> firstCandidate;
};

// The counters that one drawn genotype raises: its own and those of its two alleles.
struct DrawTarget {
    int genotype, firstAllele, secondAllele;
};

void drawGenotypes(int draws, const GenotypeSearch& search, const std::vector<DrawTarget>& targets,
                   int* genotypeCounts, int* alleleCounts) {
    for (int d = 0; d < draws; ++d) {
        const int k = search.find(getRandom());
        if (k < 0) continue;
        const DrawTarget& t = targets[static_cast<size_t>(k)];
        ++genotypeCounts[t.genotype];
        ++alleleCounts[t.firstAllele];
        ++alleleCounts[t.secondAllele];
    }
}

}  // namespace

void HrrMarker::Randomize() {
    const std::vector<double> cumulative = getProbabilityDistribution();
    countLRT("allele", caseAlleleCounts, controlAlleleCounts);
    countLRT("genotype", caseGenotypeCounts, controlGenotypeCounts);

    std::map<std::string, int> genotypePosition, allelePosition;
    std::vector<int> genotypeSlots = slotsOf(genotypeNames, genotypePosition);
    std::vector<int> alleleSlots = slotsOf(alleleNames, allelePosition);

    // The two alleles of every genotype: the texts before and after its "/". A text that
    // names no allele is counted in one extra slot that no item reads.
    const int unlistedAllele = static_cast<int>(alleleNames.size());
    auto alleleSlot = [&](const std::string& text) {
        auto it = allelePosition.find(text);
        return it == allelePosition.end() ? unlistedAllele : it->second;
    };
    std::vector<DrawTarget> targets;
    for (size_t k = 0; k < genotypeNames.size(); ++k) {
        const std::string& g = genotypeNames[k];
        const size_t slash = g.find('/');
        targets.push_back({genotypeSlots[k], alleleSlot(g.substr(0, slash)), alleleSlot(g.substr(slash + 1))});
    }
    const GenotypeSearch search(cumulative);

    const int genotypeCount = static_cast<int>(genotypeNames.size());
    SimulatedTest genotypeTest(genotypeSlots, genotypeCount, caseGenotypeTotal, controlGenotypeTotal,
                               caseGenotypeTotal, controlGenotypeTotal, genotypeLRT);
    SimulatedTest alleleTest(alleleSlots, unlistedAllele + 1, caseAlleleTotal, controlAlleleTotal,
                             2 * caseGenotypeTotal, 2 * controlGenotypeTotal, alleleLRT);

    for (int n = 1; n <= replicateCount; ++n) {
        // The progress line changes only with the whole percentage, so it is reported once
        // per percentage (it shows the tenths) rather than on every replicate.
        if (!quiet && (n == 1 || (n * 100) / replicateCount != ((n - 1) * 100) / replicateCount))
            progressReportX("Completed", n, replicateCount);
        genotypeTest.reset();
        alleleTest.reset();
        drawGenotypes(caseGenotypeTotal, search, targets, genotypeTest.cases(), alleleTest.cases());
        drawGenotypes(controlGenotypeTotal, search, targets, genotypeTest.controls(), alleleTest.controls());
        alleleTest.judge();
        genotypeTest.judge();
    }
    if (!quiet) clearProgressReport();

    alleleRandomizedP = alleleTest.exceedCount() / static_cast<double>(replicateCount);
    genotypeRandomizedP = genotypeTest.exceedCount() / static_cast<double>(replicateCount);
    alleleTheoreticalP = chipr(alleleLRT, getDegreesOfFreedom("allele"));
    genotypeTheoreticalP = chipr(genotypeLRT, getDegreesOfFreedom("genotype"));
}
