#include "association/analysis_targets.h"

#include <iostream>

#include "driver/utilities.h"
#include "input/marker_map.h"
#include "model/pedigrees.h"

bool selectAnalysisTargets(Pedigrees* pedigrees, const std::string& markerName, const std::string& phenotypeName,
                           std::vector<Marker*>& markers, std::vector<std::string>& phenotypes) {
    MarkerMap* map = pedigrees->getMarkerMap();
    markers.clear();
    std::vector<std::string> names = pedigrees->getOnlyMarkers();
    if (names.empty() && !markerName.empty()) names.push_back(markerName);
    if (names.empty()) {
        for (int i = 0; i < map->getMarkerCount(); ++i)
            if (Marker* m = map->getMarker(IntToString(i))) markers.push_back(m);
    }
    for (const std::string& name : names) {
        Marker* m = map->getMarkerWithName(name);
        if (!m) {
            std::cout << "Cannot find given marker " << name << "\n";
            return false;
        }
        markers.push_back(m);
    }

    phenotypes = pedigrees->getTraitNames();
    if (!phenotypeName.empty()) {
        if (!pedigrees->isTrait(phenotypeName)) {
            std::cout << "Cannot find given phenotype " << phenotypeName << "\n";
            return false;
        }
        phenotypes.assign(1, phenotypeName);
    }
    return true;
}
