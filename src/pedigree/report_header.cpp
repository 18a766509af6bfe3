#include <sstream>

#include "driver/utilities.h"
#include "input/linkage_locus_file.h"
#include "model/pedigrees.h"

// Labels are padded so that the colons of every report header line up.
std::string Pedigrees::getCommonHeader() const {
    std::ostringstream header;
    // The date text carries its own line end, so an empty line follows it.
    header << "Date : " << current_time_and_date() << "\n";
    header << "Input files\n";
    header << "========================\n";
    header << "Pedigree file          : " << pedigreeFileName << "\n";
    header << "  # pedigrees          : " << getPedigreeCount() << "\n";
    header << "  # persons            : " << getPedigreePersonCount() << "\n";
    if (!locusFileName.empty()) header << "Linkage locus file     : " << locusFileName << "\n";
    if (!mapFileName.empty()) header << "Map file               : " << mapFileName << "\n";
    if (!modelFileName.empty()) header << "Model file             : " << modelFileName << "\n";
    if (!phenotypeFileName.empty()) header << "Phenotype file         : " << phenotypeFileName << "\n";
    // What a rerun needs to give the same numbers: the allele frequencies and the random seed.
    const std::string asked = frequencyType == "f"   ? "founders"
                              : frequencyType == "m" ? "males"
                              : frequencyType == "u" ? "the LINKAGE locus file"
                                                     : "all persons";
    header << "Allele frequencies     : " << asked
           << (allPersonsFrequenciesInstead ? " asked; all persons used (an allele is missing from " + asked + ")" : "")
           << "\n";
    header << "Random seed            : " << randomSeed() << (isRandomSeedFromClock() ? " (from the clock)" : "")
           << "\n";

    const Locus* disease = linkageLocusFile ? linkageLocusFile->getLocus(0) : nullptr;
    if (disease) {
        header << "\n";
        header << "Parameters used in analysis:\n";
        header << disease->toStringDiseaseLocus(xlinked ? 1 : 0) << "\n\n";
    }
    header << "\n\n\n";
    return header.str();
}
