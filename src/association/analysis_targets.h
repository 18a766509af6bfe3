#pragma once
// The markers and phenotypes an association analysis runs over.

#include <string>
#include <vector>

class Pedigrees;
class Marker;

// Markers: the only-markers list, else the named marker, else every marker of the map, in
// that order. Phenotypes: the named one, else every trait. False, with "Cannot find given
// marker <name>" or "Cannot find given phenotype <name>" printed, when a name is unknown.
bool selectAnalysisTargets(Pedigrees* pedigrees, const std::string& markerName, const std::string& phenotypeName,
                           std::vector<Marker*>& markers, std::vector<std::string>& phenotypes);
