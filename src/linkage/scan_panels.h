#pragma once
// The pages of the genome-scan figure, taken from the linkage results: per phenotype and
// chromosome (in map order), every analysed marker with its best singlepoint LOD and HLOD of
// the whole-pedigree analysis, and the multipoint LOD profile along the chromosome.
//
// The multipoint windows overlap, so each stretch of the map is taken from one window: an
// interval between two markers from the window in which it lies most central (the first of
// equally central ones), the map before the chromosome's first marker from the window that
// starts there, and after its last marker from the window that ends there.

#include <vector>

#include "plot/scan_figure.h"

class Linkmap;
class MarkerMap;
class MLink;

// Either analysis may be null.
std::vector<ScanPanel> scanPanels(const MLink* singlepoint, const Linkmap* multipoint, MarkerMap& map);
