#include "plot/postscript.h"

#include <cmath>
#include <cstdio>
#include <iostream>
#include <ostream>

#include "driver/utilities.h"
#include "model/file.h"

namespace {

// A degenerate axis (zero range) yields infinite or undefined page coordinates; they are
// clamped far outside the page so that every coordinate written is a number PostScript reads.
double clampToPage(double value) {
    const double limit = 1.0e9;
    if (std::isnan(value)) return 0.0;
    if (value > limit) return limit;
    if (value < -limit) return -limit;
    return value;
}

// Whole page points, truncated toward zero.
int truncate(double value) { return static_cast<int>(clampToPage(value)); }

void writePrologue(std::ostream& out, std::size_t pageCount) {
    out << "%!PS-Adobe-1.0\n"
        << "%%Pages: " << pageCount << "\n"
        // The plots are drawn across portrait pages: a viewer turns them to read them.
        << "%%Orientation: Landscape\n"
        << "%%BeginDocument\n"
        << "/scaleTimes{\n"
        << "   /Times-Roman findfont\n"
        << "   exch scalefont\n"
        << "  setfont\n"
        << " } def\n"
        << "/fillbox {setgray fill} def\n";
}

void writePageStart(std::ostream& out, int pageNumber) {
    out << "a4\n"
        << "%%Page: " << pageNumber << " " << pageNumber << "\n";
}

void writeFrame(std::ostream& out) {
    out << "newpath\n"
        << "0 fillbox\n"
        << "100 100 moveto\n"
        << "500 100 lineto\n"
        << "500 100 moveto\n"
        << "500 700 lineto\n"
        << "500 700 moveto\n"
        << "100 700 lineto\n"
        << "100 700 moveto\n"
        << "100 100 lineto\n"
        << "stroke   \n";
}

void writeTexts(std::ostream& out, const PostScriptPage& page, int pageNumber) {
    out << "14 scaleTimes 550 50  moveto -90 rotate (" << pageNumber << ")show 90 rotate\n"
        << "14 scaleTimes 560 700 moveto -90 rotate (" << postScriptText(page.title) << ")show 90 rotate\n"
        << "12 scaleTimes 540 700 moveto -90 rotate (" << postScriptText(page.subtitle1) << ")show 90 rotate\n"
        << "12 scaleTimes 520 700 moveto -90 rotate (" << postScriptText(page.subtitle2) << ")show 90 rotate\n"
        << "14 scaleTimes 30 390 moveto -90 rotate (" << postScriptText(page.positionAxisLabel)
        << ")show 90 rotate\n"
        << "14 scaleTimes 270 750 moveto (" << postScriptText(page.valueAxisLabel) << ")show\n";
}

void writePageEnd(std::ostream& out) {
    out << "closepath\n"
        << "showpage \n"
        << "%%EndDocument\n";
}

int tickX(int i, double tickStep, double range) {
    return truncate(i * 400 * tickStep / range) + 100;
}

void writeEndTickLabel(std::ostream& out, int tickFontSize, double valueMax) {
    out << tickFontSize << " scaleTimes " << 500 << " 725 moveto -90 rotate (" << valueMax
        << ")show 90 rotate  \n";
}

// Page geometry of one curve page; the two curve styles place values differently.
struct CurveAxes {
    bool multipoint;
    double valueMin;
    double valueRange;
    double positionMin;
    double positionRange;

    CurveAxes(const PostScriptPage& page, bool multipointStyle)
        : multipoint(multipointStyle), valueMin(page.valueMin), positionMin(page.positionMin),
          positionRange(page.positionMax - page.positionMin) {
        if (multipoint)
            valueRange = page.valueMax - page.valueMin;
        else if (page.valueMin >= 0)
            valueRange = std::fabs(page.valueMax - page.valueMin);
        else
            valueRange = std::fabs(page.valueMax + 3.0);  // LOD curves are cut at -3
    }

    double x(double value) const {
        if (multipoint) {
            if (valueMin < 0) return clampToPage((value - valueMin) * 400 / valueRange + 100);
            return clampToPage(value * 400 / valueRange + 100);
        }
        if (valueMin < 0) return clampToPage((value + 3.0) * 400 / valueRange + 100);
        return clampToPage(value * 400 / valueRange + std::fabs(valueMin) * 400 / valueRange + 100);
    }

    // The position axis starts at its first position (a multipoint window lies anywhere on the map).
    double y(double position) const { return clampToPage(700.0 - (position - positionMin) * 600.0 / positionRange); }
};

// The lists as drawn: the multipoint style repeats the last point twice just beyond it, so
// that the chain of three-point segments reaches the last real point.
void extendPoints(std::vector<double>& positions, std::vector<double>& values) {
    if (!positions.empty()) {
        const double last = positions.back() + 1e-5;
        positions.push_back(last);
        positions.push_back(last + 1e-5);
    }
    if (!values.empty()) {
        const double last = values.back();
        values.push_back(last);
        values.push_back(last);
    }
}

void writeCurvePage(std::ostream& out, PostScriptPage& page, int pageNumber, bool multipoint,
                    int tickFontSize) {
    std::vector<double> positions = page.positions;
    std::vector<double> values = page.curveValues;
    if (multipoint) extendPoints(positions, values);

    writePageStart(out, pageNumber);
    if (positions.size() != values.size()) return;

    const CurveAxes axes(page, multipoint);

    if (page.maxTicks >= 0) {
        int i = 0;
        int x = tickX(i, page.tickStep, axes.valueRange);
        while (x <= 500 && i <= page.maxTicks) {
            double label = i * page.tickStep + page.valueMin;
            if (multipoint) label = changeValueLengthToTwo(label);
            out << tickFontSize << " scaleTimes " << x << " 725 moveto -90 rotate (" << label
                << ")show 90 rotate  \n";
            out << x << " 705 moveto  " << x << " 695 lineto\n";
            ++i;
            x = tickX(i, page.tickStep, axes.valueRange);
        }
        if (x > 500) writeEndTickLabel(out, tickFontSize, page.valueMax);
    }

    out << "stroke [] 0 setdash 0.9 setlinewidth\n";
    writeFrame(out);

    for (const std::string& name : page.markerNames) {
        const double y = axes.y(page.markerPositions[name]);
        out << "8 scaleTimes 70 " << (y - 3) << " moveto (" << postScriptText(name) << ")show \n";
        out << "95 " << y << " moveto 105 " << y << " lineto \n";
        out << "stroke  0.9 setlinewidth \n";
    }

    double maxX = 0;
    double maxY = 0;
    const int n = static_cast<int>(positions.size());
    for (int i = 0; i < n - 2; i += 2) {
        double px[3];
        double py[3];
        for (int k = 0; k < 3; ++k) {
            px[k] = axes.x(values[i + k]);
            py[k] = axes.y(positions[i + k]);
            if (px[k] > maxX) {
                maxX = px[k];
                maxY = py[k];
            }
        }
        if (i == 0) out << px[0] << " " << py[0] << " moveto\n";
        out << px[0] << " " << py[0] << " " << px[1] << " " << py[1] << " " << px[2] << " " << py[2]
            << " curveto stroke\n";
        out << px[2] << " " << py[2] << " moveto\n";
    }

    // Position ticks are computed as multiples of the step, so rounding never adds a tick
    // at the end of the axis.
    const double tickSpacing = multipoint ? page.positionStep : 0.05;
    // Multipoint ticks at round map positions, from the first multiple of the step on.
    const double tickStart =
        multipoint && tickSpacing > 0 ? std::ceil(page.positionMin / tickSpacing - 1e-9) * tickSpacing : 0.0;
    const double tickEnd = multipoint ? page.positionMax : 0.5;
    if (tickSpacing > 0) {
        for (int k = 0;; ++k) {
            const double position = tickStart + k * tickSpacing;
            if (!(position < tickEnd)) break;
            const int y = truncate(axes.y(position));
            out << "newpath\n"
                << "10 scaleTimes 70 " << y << " moveto (" << position << ")show \n"
                << "closepath\n"
                << "newpath\n"
                << "90 " << y << " moveto \n"
                << "105 " << y << " lineto \n"
                << "stroke \n";
        }
    }

    out << "newpath \n";
    writeTexts(out, page, pageNumber);

    const int zeroX = truncate(std::fabs(page.valueMin) * 400 / axes.valueRange) + 100;
    out << zeroX << " 700 moveto [3 3] 0 setdash 0.4 setlinewidth " << zeroX << " 100 lineto stroke \n";
    out << "100 " << truncate(maxY) << " moveto [3 3] 0 setdash 0.4 setlinewidth " << truncate(maxX) << " "
        << truncate(maxY) << " lineto stroke \n";
    writePageEnd(out);
}

void writeHistogramPage(std::ostream& out, PostScriptPage& page, int pageNumber, int labelFontSize,
                        int tickFontSize) {
    writePageStart(out, pageNumber);

    if (page.maxTicks >= 0) {
        int i = 0;
        int x = tickX(i, page.tickStep, page.valueMax);
        while (x <= 500 && i <= page.maxTicks) {
            out << tickFontSize << " scaleTimes " << x << " 725 moveto -90 rotate (" << i * page.tickStep
                << ")show 90 rotate  \n";
            out << " [3 3] 0 setdash " << x << " 702 moveto  " << x << " 100 lineto\n";
            ++i;
            x = tickX(i, page.tickStep, page.valueMax);
        }
        if (x > 500) writeEndTickLabel(out, tickFontSize, page.valueMax);
    }
    out << "stroke [] 0 setdash 0.9 setlinewidth\n";

    const double barWidth = 600.0 / page.barCount - page.barGap;
    for (int i = 0; i < page.barCount; ++i) {
        const std::string& name = page.names[i];
        if (!name.empty() && name[0] == '@') continue;  // placeholder: an empty slot
        const double value = page.values[name];
        const int length = truncate(value / page.valueMax * 400.0);
        const int y = truncate(700.0 - (page.barGap + barWidth) * (i + 1));
        out << " newpath\n";
        if (page.barCount <= 100)
            out << " 0 fillbox " << labelFontSize << " scaleTimes 50 " << (y + 4) << " moveto ("
                << postScriptText(name) << ")show " << (length + 105) << " " << (y + 4) << " moveto (" << value
                << ")show  \n";
        out << " 100 " << y << " moveto   % rightlower coordinate   (x,y)  \n"
            << " 0 " << barWidth << " rlineto    % leftlower coordinate    (boxwidth) \n"
            << length << " 0 rlineto    % leftupper coordinate   (boxheight) \n"
            << " 0 -" << barWidth << " rlineto    % rightupper coordinate  (boxwidth) \n"
            << " closepath \n"
            << " .7 fillbox \n";
    }

    writeFrame(out);
    out << "newpath \n";
    writeTexts(out, page, pageNumber);
    writePageEnd(out);
}

}  // namespace

std::string postScriptText(const std::string& text) {
    std::string escaped;
    escaped.reserve(text.size());
    for (const char c : text) {
        const unsigned char byte = static_cast<unsigned char>(c);
        if (c == '(' || c == ')' || c == '\\') {
            escaped += '\\';
            escaped += c;
        } else if (c == '\t') {
            escaped += ' ';  // the fonts draw no tab: the words around it would run together
        } else if (c == '\n' || c == '\r') {
            continue;  // a text is one line on the page (a date carries its line end)
        } else if (byte < 32 || byte > 126) {
            // Octal escapes keep the file plain ASCII text, whatever bytes a name holds.
            char octal[5];
            std::snprintf(octal, sizeof octal, "\\%03o", byte);
            escaped += octal;
        } else {
            escaped += c;
        }
    }
    return escaped;
}

PostScript::~PostScript() {
    delete file;
    for (PostScriptPage* page : pages) delete page;
}

void PostScript::addPostScriptPage(PostScriptPage* page) { pages.push_back(page); }

bool PostScript::openFile(const std::string& fileName) {
    delete file;
    file = new File();
    return file->openForWriting(fileName);
}

bool PostScript::writeCurvePagesIntoPostScriptFileCorrectly(const std::string& fileName) {
    return writeCurvePages(fileName, true);
}

bool PostScript::writeCurvePagesIntoPostScriptFile(const std::string& fileName) {
    // A page with unpaired points makes the whole singlepoint document fail; checking first
    // leaves no truncated file behind.
    for (const PostScriptPage* page : pages)
        if (page->positions.size() != page->curveValues.size()) return false;
    return writeCurvePages(fileName, false);
}

bool PostScript::writeCurvePages(const std::string& fileName, bool multipoint) {
    if (!openFile(fileName)) return false;
    std::ostream& out = file->text;
    writePrologue(out, pages.size());
    for (std::size_t p = 0; p < pages.size(); ++p)
        writeCurvePage(out, *pages[p], static_cast<int>(p) + 1, multipoint, tickFontSize);
    return file->writeTextAndClose();
}

bool PostScript::writeHistogramPagesIntoPostScriptFile(const std::string& fileName) {
    if (!openFile(fileName)) return false;
    writePrologue(file->text, pages.size());
    for (std::size_t p = 0; p < pages.size(); ++p) {
        const PostScriptPage& page = *pages[p];
        if (page.barCount > 0 && page.barCount == static_cast<int>(page.names.size()))
            writeHistogramPage(file->text, *pages[p], static_cast<int>(p) + 1, labelFontSize, tickFontSize);
    }
    return file->writeTextAndClose();
}

