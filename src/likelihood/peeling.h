#pragma once
// The likelihood of a pedigree without loops at a few linked loci, by peeling its nuclear
// families one at a time (Elston and Stewart) over each person's phase-known multilocus
// genotypes: those that the person's own data and the relatives' allow, after genotype
// elimination (Lange and Goradia). The work grows with the products of the genotype counts
// within a family, not with the meioses, so a large pedigree typed at a few markers costs
// little where inheritance vectors would be too many.

#include <cstdint>
#include <string>
#include <vector>

#include "likelihood/pedigree_input.h"

namespace likelihood {

class Peeling {
public:
    // Empty when the pedigree can be peeled; otherwise why not (a loop, X-linked data).
    static std::string build(const PedigreeInput& pedigree, const LocusModel& model, bool xlinked, Peeling& peeling);

    // The products of genotype counts that one likelihood of the trait and these marker columns
    // goes through (for the cost); infinite where a person's genotypes or a couple's pairs of
    // them would be too many to hold.
    double work(const std::vector<int>& columns) const;
    // Lays out the genotypes for the trait at `traitPosition` among the marker columns
    // `columns` (0: before the first, columns.size(): after the last).
    void place(const std::vector<int>& columns, int traitPosition);
    // ln L of the placed loci with fractions[i] between loci i and i + 1; -infinity when the
    // data cannot occur.
    double lnLikelihood(const std::vector<double>& fractions);

    // The fractions between adjacent loci with the trait at `position` among markers with
    // fractions `between`: before the first marker at `left` to it, after the last at `left`,
    // or inside interval position - 1 at `left` to its left marker and `right` to its right one.
    static std::vector<double> lociFractions(const std::vector<double>& between, int position, double left, double right);

private:
    struct Family {
        int father, mother;
        std::vector<int> children;
    };
    struct PeelStep {
        int family;
        int connector;  // the member the family is peeled onto; -1 for the last of a part
    };
    // Unordered genotypes of one marker: allele codes from 0 (the pedigree's own alleles, then
    // the lumped rest).
    struct MarkerSets {
        std::vector<double> frequencies;
        std::vector<std::vector<std::pair<int, int>>> genotypes;  // [person]
        bool possible = true;
    };
    // A person's phase-known genotypes at the placed loci: haplotypes as allele codes per
    // locus, each genotype a pair of haplotypes (the father's, the mother's).
    struct Genotypes {
        int loci = 0;
        std::vector<uint16_t> haplotypes;       // [haplotype][locus]
        std::vector<int> paternal, maternal;    // [genotype] haplotype index
        std::vector<double> prior;              // founder frequencies and penetrance
        std::vector<double> weight;             // during a peel
        std::vector<int> distinctPaternal, distinctMaternal;  // [genotype] index among the distinct ones
        int paternalCount = 0, maternalCount = 0;
        const uint16_t* haplotype(int h) const { return &haplotypes[static_cast<size_t>(h * loci)]; }
    };

    void eliminate(MarkerSets& sets) const;
    // Per genotype of `parent` and distinct haplotype of `child` from that parent: the
    // probability of passing it on.
    void gametes(int parent, int child, bool fromFather, const std::vector<double>& fractions, std::vector<double>& out);
    double peel(const PeelStep& step, const std::vector<double>& fractions);

    std::vector<PersonInput> persons;
    std::vector<Family> families;
    std::vector<PeelStep> order;
    std::vector<int> alone;  // persons in no family
    TraitModel trait;
    std::vector<MarkerSets> markers;  // per marker column
    std::vector<Genotypes> placed;    // per person
    double logScale = 0.0;
    bool placedPossible = true;
    // Working space of a peel, kept from one to the next.
    std::vector<double> fatherGametes, motherGametes, pairProducts, scratch, connectorSums;
    std::vector<int> childHaplotypes;
};

}  // namespace likelihood
