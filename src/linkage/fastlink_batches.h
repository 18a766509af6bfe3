#pragma once
// What the singlepoint and multipoint analyses share in handing pedigree batches to FASTLINK:
// the pedigree set under FASTLINK's numbers, and the pedigree file of one batch with what the
// job says of it.

#include <map>
#include <string>
#include <vector>

#include "engine/batch_planner.h"
#include "pedigree/fastlink_files.h"

class Pedigrees;
class Pedigree;
class Locus;

// The pedigrees of a set in FASTLINK's order: a pedigree's FASTLINK id is its place here from 1
// (so a single run and the batches agree), and each id's name in the reports.
struct FastlinkPedigreeSet {
    std::vector<const Pedigree*> pedigrees;
    std::map<std::string, std::string> nameOfNumber;
};
FastlinkPedigreeSet fastlinkPedigreeSet(Pedigrees& pedigrees, bool nuclear);

// The locus of the marker with this map index in the locus model, with the column that writes
// its alleles for FASTLINK. Null, with the message printed, when the model has no usable locus
// for it or a data allele is none of its alleles.
const Locus* fastlinkMarkerLocus(const Pedigrees& pedigrees, const std::string& index, const std::string& name,
                                 FastlinkMarkerColumn& column);

struct BatchInput {
    FastlinkPedigreeFile file;
    bool loops = false;          // a pedigree of the batch has a loop to break
    double persons = 0.0;        // persons in the batch
    std::string pedigreesText;   // "pedigree 7" or "pedigrees 1 to 150 (150 pedigrees)"
};
// The pedigree file of a batch for one trait and the given marker columns (the batch's allele
// codings in the same order).
BatchInput batchInput(const Pedigrees& pedigrees, const FastlinkPedigreeSet& set, const PedigreeBatch& batch,
                      const std::string& trait, int liabilityClasses,
                      const std::vector<const FastlinkMarkerColumn*>& columns);
