#pragma once
// Pieces of the statistics files shared by the files of the input and of derived sets.

#include <string>

class MarkerInfo;

// One marker's section of an allele frequency file: "Marker <name>", the lines of setCounts
// (the size of the derived set the entry was computed from; empty for the input), the allele
// table or "No alleles found", and two empty lines.
std::string alleleFrequencySection(const std::string& markerName, const MarkerInfo* entry,
                                   const std::string& setCounts);
