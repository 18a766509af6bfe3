#pragma once
// Splitting the pedigrees of one FASTLINK computation into batches that the installed
// programs accept, and the exact allele downcoding of each batch.
//
// Pedigrees are independent given the model, so a run over a batch gives each pedigree the
// likelihood a single run would, and totals are sums over batches. Within a batch the alleles
// that nobody of the batch carries are lumped into one allele with the sum of their
// frequencies: an untyped person's allele is then "one of the others", which leaves every
// likelihood unchanged and keeps FASTLINK's allele count down.

#include <string>
#include <vector>

// What the planner needs of one pedigree.
struct PedigreeLoad {
    int persons = 0;  // persons in the file, with room for the loop breakers UNKNOWN adds
    int largestSibship = 0;
    // Per marker column, the locus allele numbers (1..n) that persons of the pedigree carry.
    std::vector<std::vector<int>> carriedAlleles;
};

// The alleles of one marker column in one batch: the batch's allele of every locus allele,
// and the batch's frequencies (the carried alleles in locus order, then the lumped one).
struct AlleleDowncoding {
    std::vector<int> batchAllele;  // indexed by locus allele number (index 0 unused)
    std::vector<double> frequencies;
};

struct PedigreeBatch {
    std::vector<size_t> pedigrees;  // positions in the planner's input, ascending
    std::vector<AlleleDowncoding> markers;
};

struct SkippedPedigree {
    size_t pedigree;     // position in the planner's input
    int markerColumn;    // the column whose alleles exceed the limit, or -1
    std::string reason;  // says which limit the pedigree alone exceeds
};

struct BatchPlan {
    std::vector<PedigreeBatch> batches;
    std::vector<SkippedPedigree> skipped;
};

// Downcoding of one marker column for a set of carried locus alleles (any order, repeats
// allowed), given the locus frequencies (locus allele k at index k-1).
AlleleDowncoding downcodeAlleles(std::vector<int> carried, const std::vector<double>& locusFrequencies);

// Batches in input order: each takes pedigrees while the next one fits the limits of one run
// (pedigrees, persons, downcoded alleles per marker column), so that concatenating the
// batches' results gives a single run's order. A pedigree that alone exceeds a limit is left
// out and reported.
BatchPlan planBatches(const std::vector<PedigreeLoad>& pedigrees,
                      const std::vector<std::vector<double>>& locusFrequencies);
