#pragma once
// The genome-scan figure: one landscape page per phenotype and chromosome with the LOD
// profile along the map. The multipoint LOD is a line, each marker's best singlepoint LOD a
// filled dot and its best heterogeneity LOD an open square, at the marker's map position;
// dashed guides mark LOD 3 (significant linkage) and LOD -2 (linkage excluded); the highest
// point is labelled; marker names stand above the frame, thinned so that they do not overlap.
//
// Drawing operators of the file (page coordinates in points), one call per line:
//   x y lodpoint / x y hlodpoint         singlepoint maximum / heterogeneity maximum
//   x y profilestart, x y profileto      the multipoint line
//   y (label) guide                      a horizontal guide across the frame
//   x (label) xtick, y (label) ytick     axis ticks
//   x markertick, x (name) markername    every marker's tick, the names that fit
//   x y (text) bestlabel                 the label of the highest point

#include <limits>
#include <string>
#include <vector>

struct ScanMarker {
    std::string name;
    double position = 0.0;  // cM
    // Missing (NaN) when the marker has no such result.
    double lod = std::numeric_limits<double>::quiet_NaN();
    double hlod = std::numeric_limits<double>::quiet_NaN();
};

struct ScanPoint {
    double position;  // cM
    double lod;       // -inf where a family cannot occur
};
// Between two points of the multipoint line: the line is interrupted there.
const ScanPoint kProfileBreak{0.0, std::numeric_limits<double>::quiet_NaN()};

struct ScanPanel {
    std::string phenotype;
    std::string chromosome;
    std::vector<ScanMarker> markers;    // in map order
    // In map order, pieces separated by kProfileBreak; empty without a multipoint analysis.
    std::vector<ScanPoint> multipoint;
};

// Writes every panel as one page. False, with the message printed, when the file cannot be
// written whole.
bool writeScanFigure(const std::string& fileName, const std::vector<ScanPanel>& panels, const std::string& subtitle);
