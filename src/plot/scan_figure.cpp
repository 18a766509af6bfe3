#include "plot/scan_figure.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iostream>
#include <iterator>
#include <limits>
#include <set>

#include "model/file.h"
#include "plot/postscript.h"

namespace {

// Landscape A4 in points, and the plot frame on it.
const double kPageWidth = 842, kPageHeight = 595;
const double kLeft = 70, kRight = 800, kBottom = 110, kTop = 450;
// LODs below this are drawn at the bottom edge: the axis would otherwise be all exclusion.
const double kLowestAxisLod = -10;
const double kNameFontSize = 7;
const double kInfinity = std::numeric_limits<double>::infinity();
const double kNameSpacing = kNameFontSize + 1.5;  // least distance between two drawn names

std::string coordinate(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.2f", value);
    return text;
}

std::string fixed(double value, int decimals) {
    char text[32];
    std::snprintf(text, sizeof text, "%.*f", decimals, value);
    return text;
}

// A tick step of 1, 2 or 5 times a power of ten that divides the range into at most maxTicks.
double tickStep(double range, int maxTicks) {
    const double raw = range / maxTicks;
    const double power = std::pow(10.0, std::floor(std::log10(raw)));
    for (double factor : {1.0, 2.0, 5.0, 10.0})
        if (factor * power >= raw) return factor * power;
    return 10.0 * power;
}

// The multiples of the step from low to high, each computed afresh (no accumulated rounding).
std::vector<double> ticksBetween(double low, double high, double step) {
    std::vector<double> ticks;
    const double first = std::ceil(low / step - 1e-9);
    for (int k = 0;; ++k) {
        const double tick = (first + k) * step;
        if (tick > high + 1e-9 * step) break;
        ticks.push_back(tick);
    }
    return ticks;
}

// A tick value as text: whole numbers without decimals, others with as few as the step needs.
std::string tickLabel(double value, double step) {
    if (std::fabs(value) < step * 1e-6) value = 0.0;
    const int decimals = step >= 1.0 ? 0 : static_cast<int>(std::ceil(-std::log10(step) - 1e-9));
    return fixed(value, decimals);
}

void writeProlog(std::ostream& out, std::size_t pages) {
    out << "%!PS-Adobe-3.0\n"
        << "%%Title: LOD score scan\n"
        << "%%Pages: " << pages << "\n"
        << "%%BoundingBox: 0 0 " << kPageWidth << " " << kPageHeight << "\n"
        << "%%DocumentMedia: a4landscape " << kPageWidth << " " << kPageHeight << " 0 () ()\n"
        << "%%EndComments\n"
        << "%%BeginProlog\n"
        << "/font { /Helvetica findfont exch scalefont setfont } def\n"
        << "/centershow { dup stringwidth pop 2 div neg 0 rmoveto show } def\n"
        << "/rightshow { dup stringwidth pop neg 0 rmoveto show } def\n"
        << "/radius 2.2 def\n"
        << "/lodpoint { newpath radius 0 360 arc 0 setgray fill } def\n"
        << "/hlodpoint { gsave 0.8 0 0 setrgbcolor radius 0.4 mul setlinewidth newpath radius 1.2 mul sub exch "
           "radius 1.2 mul sub exch radius 2.4 mul dup rectstroke grestore } def\n"
        << "/profilestart { moveto } def\n"
        << "/profileto { lineto } def\n"
        << "/guide { /label exch def /y exch def gsave [4 3] 0 setdash 0.8 setlinewidth 0.45 setgray newpath "
        << kLeft << " y moveto " << kRight << " y lineto stroke grestore 8 font " << kRight + 4
        << " y 3 sub moveto label show } def\n"
        << "/xtick { /label exch def /x exch def newpath x " << kBottom << " moveto 0 -4 rlineto stroke 9 font x "
        << kBottom - 14 << " moveto label centershow } def\n"
        << "/ytick { /label exch def /y exch def newpath " << kLeft << " y moveto -4 0 rlineto stroke 9 font "
        << kLeft - 7 << " y 3 sub moveto label rightshow } def\n"
        << "/markertick { newpath " << kTop << " moveto 0 -5 rlineto stroke } def\n"
        << "/markername { /name exch def /x exch def gsave " << kNameFontSize << " font x 2.5 add " << kTop + 4
        << " translate 90 rotate 0 0 moveto name show grestore } def\n"
        << "/bestlabel { /text exch def /y exch def /x exch def gsave 0 0 0.6 setrgbcolor 0.6 setlinewidth newpath "
           "x y 3 add moveto 0 9 rlineto stroke 9 font x "
        << (kLeft + kRight) / 2 << " gt { x 3 sub y 14 add moveto text rightshow } { x 3 add y 14 add moveto text "
                                   "show } ifelse grestore } def\n"
        << "%%EndProlog\n";
}

class PanelAxes {
public:
    PanelAxes(double positionMin, double positionMax, double lodMin, double lodMax)
        : positionMin(positionMin), positionMax(positionMax), lodMin(lodMin), lodMax(lodMax) {}
    double x(double position) const {
        return kLeft + (position - positionMin) * (kRight - kLeft) / (positionMax - positionMin);
    }
    // Infinite LODs (a family that cannot occur) are drawn far below the frame, cut off by it.
    double y(double lod) const {
        const double span = lodMax - lodMin;
        lod = std::max(lodMin - span, std::min(lodMax + span, lod));
        return kBottom + (lod - lodMin) * (kTop - kBottom) / span;
    }

    double positionMin, positionMax, lodMin, lodMax;
};

// The highest point of the page: the multipoint line's between the outermost markers (beyond
// them the line only extrapolates), or without a line the best singlepoint marker's.
struct Best {
    bool found = false;
    double position = 0.0;
    double lod = 0.0;
    std::string text;
};

Best bestOf(const ScanPanel& panel) {
    Best best;
    if (!panel.multipoint.empty()) {
        double low = kInfinity, high = -kInfinity;
        for (const ScanMarker& marker : panel.markers) {
            low = std::min(low, marker.position);
            high = std::max(high, marker.position);
        }
        for (const ScanPoint& point : panel.multipoint)
            if (std::isfinite(point.lod) && point.position >= low && point.position <= high &&
                (!best.found || point.lod > best.lod)) {
                best.found = true;
                best.position = point.position;
                best.lod = point.lod;
            }
        if (best.found)
            best.text = "max multipoint LOD " + fixed(best.lod, 2) + " at " + fixed(best.position, 1) + " cM";
        return best;
    }
    const ScanMarker* top = nullptr;
    for (const ScanMarker& marker : panel.markers)
        if (std::isfinite(marker.lod) && (!top || marker.lod > top->lod)) top = &marker;
    if (top) {
        best.found = true;
        best.position = top->position;
        best.lod = top->lod;
        best.text = "max LOD " + fixed(top->lod, 2) + " at " + top->name + " (" + fixed(top->position, 1) + " cM)";
    }
    return best;
}

// The map from just before the first marker to just after the last; the LODs from below -2
// (at most down to kLowestAxisLod) to above the highest point and LOD 3.
PanelAxes axesOf(const ScanPanel& panel) {
    double low = kInfinity, high = -kInfinity;
    for (const ScanMarker& marker : panel.markers) {
        low = std::min(low, marker.position);
        high = std::max(high, marker.position);
    }
    if (panel.markers.empty()) low = high = 0.0;
    const double margin = high > low ? std::max(1.0, 0.03 * (high - low)) : 5.0;

    double lodLow = -2.0, lodHigh = 3.0;  // the guides are always in view
    const auto include = [&](double lod) {
        if (!std::isfinite(lod)) return;
        lodLow = std::min(lodLow, lod);
        lodHigh = std::max(lodHigh, lod);
    };
    for (const ScanMarker& marker : panel.markers) {
        include(marker.lod);
        include(marker.hlod);
    }
    for (const ScanPoint& point : panel.multipoint)
        if (point.position >= low - margin && point.position <= high + margin) include(point.lod);
    const double lodMin = std::max(kLowestAxisLod, std::min(-3.0, std::floor(lodLow)));
    // Room above the highest point for its label.
    const double lodMax = std::max(4.0, std::ceil(lodHigh + 0.1 * (lodHigh - lodMin) + 0.2));
    return PanelAxes(low - margin, high + margin, lodMin, lodMax);
}

// The names that fit above the frame: the best singlepoint marker's first, then the others
// from left to right, each only when it keeps its distance to those already placed.
std::vector<std::size_t> namesThatFit(const ScanPanel& panel, const PanelAxes& axes) {
    std::vector<std::size_t> order;
    const std::size_t none = panel.markers.size();
    std::size_t top = none;
    for (std::size_t m = 0; m < panel.markers.size(); ++m)
        if (std::isfinite(panel.markers[m].lod) && (top == none || panel.markers[m].lod > panel.markers[top].lod))
            top = m;
    if (top != none) order.push_back(top);
    for (std::size_t m = 0; m < panel.markers.size(); ++m)
        if (m != top) order.push_back(m);

    std::set<double> placed;
    std::vector<std::size_t> shown;
    for (std::size_t m : order) {
        const double x = axes.x(panel.markers[m].position);
        const auto next = placed.lower_bound(x);
        if (next != placed.end() && *next - x < kNameSpacing) continue;
        if (next != placed.begin() && x - *std::prev(next) < kNameSpacing) continue;
        placed.insert(x);
        shown.push_back(m);
    }
    std::sort(shown.begin(), shown.end());
    return shown;
}

void writeLegend(std::ostream& out, const ScanPanel& panel) {
    bool hasLod = false, hasHLod = false;
    for (const ScanMarker& marker : panel.markers) {
        hasLod = hasLod || std::isfinite(marker.lod);
        hasHLod = hasHLod || std::isfinite(marker.hlod);
    }
    double x = kLeft;
    const double y = 42;
    out << "9 font /radius 2.2 def\n";
    if (!panel.multipoint.empty()) {
        out << "gsave 0 0.3 0.8 setrgbcolor 1.4 setlinewidth newpath " << x << " " << y + 3 << " moveto 18 0 rlineto "
            << "stroke grestore " << x + 24 << " " << y << " moveto (multipoint LOD) show\n";
        x += 130;
    }
    if (hasLod) {
        out << x + 9 << " " << y + 3 << " lodpoint " << x + 24 << " " << y
            << " moveto (singlepoint maximum LOD) show\n";
        x += 160;
    }
    if (hasHLod) {
        out << x + 9 << " " << y + 3 << " hlodpoint 0 setgray " << x + 24 << " " << y
            << " moveto (heterogeneity LOD maximum) show\n";
        x += 175;
    }
    out << "gsave [4 3] 0 setdash 0.8 setlinewidth 0.45 setgray newpath " << x << " " << y + 3
        << " moveto 18 0 rlineto stroke grestore " << x + 24 << " " << y
        << " moveto (LOD 3: linkage, LOD -2: exclusion) show\n";
}

void writePage(std::ostream& out, const ScanPanel& panel, int number, const std::string& subtitle) {
    const Best best = bestOf(panel);
    const PanelAxes axes = axesOf(panel);
    // Dense markers get smaller points, so that neighbours stay apart.
    const double markerSpacing = (kRight - kLeft) / std::max<double>(1.0, static_cast<double>(panel.markers.size()));
    const double pointRadius = std::max(0.9, std::min(2.2, 0.4 * markerSpacing));

    out << "%%Page: " << number << " " << number << "\n"
        << "<< /PageSize [" << kPageWidth << " " << kPageHeight << "] >> setpagedevice\n"
        << "0 setgray 0.8 setlinewidth\n"
        << "/radius " << pointRadius << " def\n"
        << "14 font " << kLeft << " 568 moveto (Phenotype: " << postScriptText(panel.phenotype)
        << "    Chromosome: " << postScriptText(panel.chromosome) << ") show\n"
        << "9 font " << kLeft << " 553 moveto (" << postScriptText(subtitle) << ") show\n";

    // Axes: cM along x, LOD along y.
    const double positionStep = tickStep(axes.positionMax - axes.positionMin, 12);
    for (const double tick : ticksBetween(axes.positionMin, axes.positionMax, positionStep))
        out << coordinate(axes.x(tick)) << " (" << tickLabel(tick, positionStep) << ") xtick\n";
    const double lodStep = tickStep(axes.lodMax - axes.lodMin, 10);
    for (const double tick : ticksBetween(axes.lodMin, axes.lodMax, lodStep))
        out << coordinate(axes.y(tick)) << " (" << tickLabel(tick, lodStep) << ") ytick\n";
    out << "11 font " << (kLeft + kRight) / 2 << " " << kBottom - 32 << " moveto (Map position \\(cM\\)) centershow\n"
        << "gsave 26 " << (kBottom + kTop) / 2 << " translate 90 rotate 0 0 moveto (LOD score) centershow grestore\n";

    out << coordinate(axes.y(3.0)) << " (3) guide\n" << coordinate(axes.y(-2.0)) << " (-2) guide\n";
    if (axes.lodMin < 0 && axes.lodMax > 0)
        out << "gsave 0.3 setlinewidth 0.7 setgray newpath " << kLeft << " " << coordinate(axes.y(0)) << " moveto "
            << kRight << " " << coordinate(axes.y(0)) << " lineto stroke grestore\n";

    for (const ScanMarker& marker : panel.markers) out << coordinate(axes.x(marker.position)) << " markertick\n";
    for (std::size_t m : namesThatFit(panel, axes))
        out << coordinate(axes.x(panel.markers[m].position)) << " (" << postScriptText(panel.markers[m].name)
            << ") markername\n";

    // Everything drawn from the data stays inside the frame.
    out << "gsave newpath " << kLeft << " " << kBottom << " " << kRight - kLeft << " " << kTop - kBottom
        << " rectclip\n";
    if (!panel.multipoint.empty()) {
        out << "gsave 0 0.3 0.8 setrgbcolor 1.4 setlinewidth 1 setlinejoin newpath\n";
        bool inPiece = false;
        for (const ScanPoint& point : panel.multipoint) {
            if (std::isnan(point.lod)) {
                inPiece = false;
                continue;
            }
            out << coordinate(axes.x(point.position)) << " " << coordinate(axes.y(point.lod))
                << (inPiece ? " profileto\n" : " profilestart\n");
            inPiece = true;
        }
        out << "stroke grestore\n";
    }
    for (const ScanMarker& marker : panel.markers)
        if (std::isfinite(marker.hlod))
            out << coordinate(axes.x(marker.position)) << " " << coordinate(axes.y(marker.hlod)) << " hlodpoint\n";
    for (const ScanMarker& marker : panel.markers)
        if (std::isfinite(marker.lod))
            out << coordinate(axes.x(marker.position)) << " " << coordinate(axes.y(marker.lod)) << " lodpoint\n";
    out << "grestore\n";
    if (best.found)
        out << coordinate(axes.x(best.position)) << " " << coordinate(axes.y(best.lod)) << " ("
            << postScriptText(best.text) << ") bestlabel\n";

    out << "0 setgray 0.8 setlinewidth newpath " << kLeft << " " << kBottom << " " << kRight - kLeft << " "
        << kTop - kBottom << " rectstroke\n";
    writeLegend(out, panel);
    out << "showpage\n";
}

}  // namespace

bool writeScanFigure(const std::string& fileName, const std::vector<ScanPanel>& panels, const std::string& subtitle) {
    File file;
    if (!file.openForWriting(fileName)) return false;
    std::ostream& out = file.text;
    writeProlog(out, panels.size());
    for (std::size_t p = 0; p < panels.size(); ++p) writePage(out, panels[p], static_cast<int>(p) + 1, subtitle);
    out << "%%EOF\n";
    return file.writeTextAndClose();
}
