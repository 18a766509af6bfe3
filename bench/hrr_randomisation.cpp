// Randomisation benchmark: one marker with 10 alleles and 200 counted trios (200 case and 200
// control genotypes) is randomised (100000 replicates of 400 drawn genotypes), and the time per
// drawn genotype is compared with a bare loop of the same number of rand() calls.
// Each of the two is timed three times; the fastest run counts.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "association/hrr_marker.h"
#include "driver/utilities.h"
#include "model/records.h"

namespace {

const int alleleCount = 10;
const int trioCount = 200;
const long long replicates = 100000;

double seconds(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// A genotype of two alleles drawn from a skewed allele distribution, smaller allele first.
void addGenotype(HrrMarker& marker, std::mt19937& generator, bool isCase) {
    std::discrete_distribution<int> allele({20, 15, 12, 10, 10, 9, 8, 7, 5, 4});
    int a = allele(generator) + 1, b = allele(generator) + 1;
    if (a > b) std::swap(a, b);
    const std::string first = std::to_string(a), second = std::to_string(b);
    if (isCase) {
        marker.addCaseCountForGenotype(first + "/" + second);
        marker.addCaseAlleleCount(first);
        marker.addCaseAlleleCount(second);
    } else {
        marker.addControlCountForGenotype(first + "/" + second);
        marker.addControlAlleleCount(first);
        marker.addControlAlleleCount(second);
    }
}

}  // namespace

int main() {
    setRandomSeed(12345);
    std::vector<std::unique_ptr<Allele>> owned;
    std::vector<Allele*> alleles;
    for (int i = 1; i <= alleleCount; ++i) {
        owned.push_back(std::make_unique<Allele>(std::to_string(i)));
        alleles.push_back(owned.back().get());
    }
    std::mt19937 generator(2011);
    const long long draws = replicates * 2 * trioCount;

    double randomizeBest = 1e300, bareBest = 1e300;
    double alleleP = 0.0, genotypeP = 0.0;
    long long checksum = 0;
    for (int round = 0; round < 3; ++round) {
        HrrMarker marker("0", alleles);
        marker.setQuiet(true);
        for (int t = 0; t < trioCount; ++t) {
            addGenotype(marker, generator, true);
            addGenotype(marker, generator, false);
        }
        auto start = std::chrono::steady_clock::now();
        marker.Randomize();
        randomizeBest = std::min(randomizeBest, seconds(start));
        alleleP = marker.getAlleleRandomizedP();
        genotypeP = marker.getGenotypeRandomizedP();

        start = std::chrono::steady_clock::now();
        long long sum = 0;
        for (long long i = 0; i < draws; ++i) sum += std::rand();
        bareBest = std::min(bareBest, seconds(start));
        checksum += sum & 1;
    }

    const double randomizeNs = randomizeBest * 1e9 / static_cast<double>(draws);
    const double bareNs = bareBest * 1e9 / static_cast<double>(draws);
    std::printf("marker: %d alleles, %d trios; %lld replicates, %lld drawn genotypes\n", alleleCount, trioCount,
                replicates, draws);
    std::printf("last randomised p-values: allele %.5f, genotype %.5f (checksum %lld)\n", alleleP, genotypeP,
                checksum);
    std::printf("Randomize:        %.2f ns per drawn genotype (%.3f s)\n", randomizeNs, randomizeBest);
    std::printf("bare rand() loop: %.2f ns per call (%.3f s)\n", bareNs, bareBest);
    std::printf("ratio:            %.2f (target <= 2)\n", randomizeNs / bareNs);
    return 0;
}
