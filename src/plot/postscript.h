#pragma once
// Plot documents written as plain PostScript text. A report writer fills PostScriptPage
// records, hands them to a PostScript document and writes the document in one page style:
// LOD score curves along map positions (multipoint), LOD score curves over recombination
// fractions (singlepoint), or bar charts (histograms).
//
// Page geometry (points): the plot frame is x 100-500, y 100-700; values run along x from
// 100 to 500, positions (or bars) run along y from 700 downwards; titles are rotated so the
// plot is read in landscape.

#include <map>
#include <string>
#include <vector>

class File;

// A text as the content of a PostScript string literal: parentheses and backslashes escaped,
// bytes outside printable ASCII as octal escapes, so any marker, phenotype or pedigree name
// draws as it is written.
std::string postScriptText(const std::string& text);

class PostScriptPage {
public:
    std::string title;
    std::string subtitle1;
    std::string subtitle2;
    std::string positionAxisLabel;  // histograms: the bar axis
    std::string valueAxisLabel;
    double positionMax = 1.0;
    double valueMax = 1.0;  // value at the right end of the value axis
    double positionMin = 0.0;
    double valueMin = 0.0;  // value at the left end of the value axis
    int barCount = 0;
    int barGap = 5;
    int maxTicks = 100;  // largest value-axis tick index
    double tickStep = 0.5;
    double positionStep = 0.05;  // position-axis tick spacing of the multipoint curves
    std::map<std::string, double> values;  // bar values by bar name
    std::vector<std::string> names;        // bar names in bar order; "@..." keeps an empty slot
    std::vector<double> positions;         // curve points
    std::vector<double> curveValues;       // same length as positions
    std::vector<std::string> markerNames;  // markers marked on the position axis
    std::map<std::string, double> markerPositions;
};

class PostScript {
public:
    PostScript() = default;
    ~PostScript();
    PostScript(const PostScript&) = delete;
    PostScript& operator=(const PostScript&) = delete;

    // The document takes ownership of the page.
    void addPostScriptPage(PostScriptPage* page);

    // Each returns false when the file cannot be opened; otherwise writes every page.
    // Multipoint curves: a page whose point lists differ in length is left empty.
    bool writeCurvePagesIntoPostScriptFileCorrectly(const std::string& fileName);
    // Singlepoint curves: point lists of different length make the write fail with no file.
    bool writeCurvePagesIntoPostScriptFile(const std::string& fileName);
    // Bar charts: a page is drawn only when barCount > 0 and equals the number of names.
    bool writeHistogramPagesIntoPostScriptFile(const std::string& fileName);

private:
    bool writeCurvePages(const std::string& fileName, bool multipoint);
    bool openFile(const std::string& fileName);

    File* file = nullptr;  // the output file of the current write
    std::vector<PostScriptPage*> pages;
    int labelFontSize = 8;
    int tickFontSize = 10;
};
