#pragma once
// The test of Hardy-Weinberg equilibrium of one marker in one group of persons ("all" or
// "founders"): the genotype chi-square over the alleles seen in the group, on k(k - 1)/2
// degrees of freedom for k such alleles, and for two alleles the exact test.

#include <string>
#include <vector>

class MarkerInfo;

struct HardyWeinbergTest {
    int allelesSeen = 0;      // k: alleles carried by someone of the group
    int genotyped = 0;        // persons of the group typed at the marker
    int heterozygotes = 0;
    double observedHeterozygosity = 0.0;  // heterozygotes / genotyped
    double expectedHeterozygosity = 0.0;  // 1 - sum of squared allele frequencies
    double chiSquare = 0.0;   // over the genotypes of the seen alleles
    int degreesOfFreedom = 0;  // k(k - 1)/2; 0 when there is nothing to test
    double pValue = 0.0;      // upper chi-square tail; NaN without degrees of freedom
    double exactPValue = 0.0;  // two alleles seen only, NaN otherwise
    // Two alleles seen only: the homozygote counts of the first and the second of them.
    int firstHomozygotes = 0;
    int secondHomozygotes = 0;
    std::vector<std::string> seenAlleles;  // in catalogue order
};

// The test from the entry's genotype counts of that group (countMarkersGenotypes first).
HardyWeinbergTest hardyWeinbergTest(const MarkerInfo& entry, const std::string& group);

// The exact test of Wigginton, Cutler and Abecasis (2005): the probability, given the allele
// counts, of a heterozygote count no more likely than the one observed. NaN for nobody typed.
double exactHardyWeinbergPValue(int heterozygotes, int firstHomozygotes, int secondHomozygotes);
