#include <cstdlib>
#include <string>
#include <vector>

#include "plot/postscript.h"
#include "support/ghostscript.h"
#include "support/test_support.h"

using testing_support::ScratchDir;
using Lines = std::vector<std::string>;

namespace {

// Lines of the text that contain the given part, in file order.
Lines linesWith(const std::string& text, const std::string& part) {
    Lines found;
    for (const std::string& line : testing_support::lines(text))
        if (line.find(part) != std::string::npos) found.push_back(line);
    return found;
}

PostScriptPage* barPage(const Lines& names, const std::vector<double>& values, int barGap = 5) {
    auto* page = new PostScriptPage();
    page->title = "Hrr Analysis";
    page->barCount = static_cast<int>(names.size());
    page->barGap = barGap;
    page->names = names;
    for (std::size_t i = 0; i < values.size(); ++i) page->values[names[i]] = values[i];
    return page;
}

// A LOD curve page: values along x from valueMin to 3, positions along y from 0 to positionMax.
PostScriptPage* curvePage(const std::vector<double>& positions, const std::vector<double>& lods, double positionMax,
                          double valueMin) {
    auto* page = new PostScriptPage();
    page->positionMax = positionMax;
    page->valueMin = valueMin;
    page->valueMax = 3.0;
    page->tickStep = 1.0;
    page->positionStep = 2.5;
    page->positions = positions;
    page->curveValues = lods;
    return page;
}

enum class Style { histogram, singlepoint, multipoint };

// Writes the document in the given style; ghostscript must interpret every page of the file.
std::string write(PostScript& document, Style style, const ScratchDir& dir, const std::string& name) {
    const std::string path = dir.file(name);
    EXPECT_TRUE(style == Style::histogram     ? document.writeHistogramPagesIntoPostScriptFile(path)
                : style == Style::singlepoint ? document.writeCurvePagesIntoPostScriptFile(path)
                                              : document.writeCurvePagesIntoPostScriptFileCorrectly(path));
    const std::string gs = "gs -q -dSAFER -dBATCH -dNOPAUSE -sDEVICE=nullpage '" + path + "' > /dev/null 2>&1";
    EXPECT_EQ(std::system(gs.c_str()), 0) << name << " does not render";
    return dir.read(name);
}

}  // namespace

TEST(HistogramPages, SkippedPagesTicksAndBarGeometry) {
    ScratchDir dir;
    PostScript document;
    document.addPostScriptPage(barPage({}, {}));  // no bars at all
    PostScriptPage* uneven = barPage({"X1", "X2"}, {1.0, 2.0});
    uneven->barCount = 3;  // more bars than names
    document.addPostScriptPage(uneven);
    PostScriptPage* page = barPage({"D1S1", "D1S2", "D1S3"}, {1.30103, 2.0, 0.0}, 7);
    page->valueMax = 3.0;
    page->tickStep = 0.5;
    document.addPostScriptPage(page);
    const std::string text = write(document, Style::histogram, dir, "bars.ps");

    // Only the third page is drawn; the skipped ones still count, and it keeps its number.
    EXPECT_EQ(linesWith(text, "%%Page"), (Lines{"%%Pages: 3", "%%Page: 3 3"}));
    EXPECT_EQ(linesWith(text, "550 50  moveto -90 rotate (3)show").size(), 1u);
    EXPECT_TRUE(linesWith(text, "(X1)").empty());

    // Ticks at x = trunc(i * 400 * 0.5 / 3) + 100; i = 7 is past the frame, so "3" is repeated at 500.
    const char* tickLabels[] = {"0", "0.5", "1", "1.5", "2", "2.5", "3", "3"};
    const int tickX[] = {100, 166, 233, 300, 366, 433, 500, 500};
    Lines ticks;
    for (int i = 0; i < 8; ++i)
        ticks.push_back("10 scaleTimes " + std::to_string(tickX[i]) + " 725 moveto -90 rotate (" + tickLabels[i] +
                        ")show 90 rotate  ");
    EXPECT_EQ(linesWith(text, " 725 moveto"), ticks);

    // Box width 600 / 3 - 7 = 193; y = 700 - 200 (i + 1); length trunc(v / 3 * 400); value 5 past the bar.
    const struct { int y, length; const char* labels; } bars[] = {
        {500, 173, "(D1S1)show 278 504 moveto (1.30103)show  "},
        {300, 266, "(D1S2)show 371 304 moveto (2)show  "},
        {100, 0, "(D1S3)show 105 104 moveto (0)show  "}};
    Lines corners, lengths, labels;
    for (const auto& bar : bars) {
        corners.push_back(" 100 " + std::to_string(bar.y) + " moveto   % rightlower coordinate   (x,y)  ");
        lengths.push_back(std::to_string(bar.length) + " 0 rlineto    % leftupper coordinate   (boxheight) ");
        labels.push_back(" 0 fillbox 8 scaleTimes 50 " + std::to_string(bar.y + 4) + " moveto " + bar.labels);
    }
    EXPECT_EQ(linesWith(text, "% rightlower"), corners);
    EXPECT_EQ(linesWith(text, "% leftupper"), lengths);
    EXPECT_EQ(linesWith(text, "8 scaleTimes 50 "), labels);
    EXPECT_EQ(linesWith(text, " 0 193 rlineto    % leftlower").size(), 3u);
}

TEST(HistogramPages, PlaceholdersKeepSlotsAndLargePagesHaveNoLabels) {
    ScratchDir dir;
    Lines names;
    for (int i = 0; i < 50; ++i) names.push_back((i < 20 ? "M" : "@") + std::to_string(i));
    PostScript document;
    document.addPostScriptPage(barPage(names, std::vector<double>(20, 1.0), 2));
    const std::string text = write(document, Style::histogram, dir, "slots.ps");
    // 50 slots of 600 / 50 = 12 points: the real bars fill the top 20, y = 700 - 12 (i + 1).
    Lines corners;
    for (int i = 0; i < 20; ++i)
        corners.push_back(" 100 " + std::to_string(688 - 12 * i) + " moveto   % rightlower coordinate   (x,y)  ");
    EXPECT_EQ(linesWith(text, "% rightlower"), corners);
    EXPECT_EQ(linesWith(text, " 0 10 rlineto    % leftlower").size(), 20u);
    EXPECT_EQ(linesWith(text, "8 scaleTimes 50 ").size(), 20u);
    EXPECT_TRUE(linesWith(text, "(@").empty());

    for (std::size_t count : {100u, 101u}) {  // 100 bars still carry labels, 101 do not
        Lines many;
        for (std::size_t i = 0; i < count; ++i) many.push_back("M" + std::to_string(i));
        PostScript large;
        large.addPostScriptPage(barPage(many, std::vector<double>(count, 0.5), 1));  // box width stays positive
        const std::string out = write(large, Style::histogram, dir, "large" + std::to_string(count) + ".ps");
        EXPECT_EQ(linesWith(out, "% rightlower").size(), count);
        EXPECT_EQ(linesWith(out, "8 scaleTimes 50 ").size(), count <= 100 ? count : 0u) << count;
    }
}

TEST(CurvePages, SegmentsNeedThreePointsAndMultipointAppendsTwo) {
    ScratchDir dir;
    // Singlepoint: x = (lod + 3) * 400 / 6 + 100, y = 700 - theta * 1200; two points draw no segment.
    PostScript single;
    single.addPostScriptPage(curvePage({0.0, 0.1, 0.2}, {0.0, 1.5, -1.5}, 0.5, -3.0));
    single.addPostScriptPage(curvePage({0.0, 0.1}, {1.0, 2.0}, 0.5, -3.0));
    EXPECT_EQ(linesWith(write(single, Style::singlepoint, dir, "single.ps"), "curveto"),
              Lines{"300 700 400 580 200 460 curveto stroke"});

    // Multipoint: x = (lod + 2) * 80 + 100, y = 700 - cM * 60. The points appended at 10.00001
    // and 10.00002 cM with the last LOD give a second segment.
    PostScript multi;
    multi.addPostScriptPage(curvePage({0.0, 5.0, 10.0}, {0.0, 1.0, 2.0}, 10.0, -2.0));
    EXPECT_EQ(linesWith(write(multi, Style::multipoint, dir, "multi.ps"), "curveto"),
              (Lines{"260 700 340 400 420 100 curveto stroke", "420 100 420 99.9994 420 99.9988 curveto stroke"}));

    // Point lists of different lengths: the singlepoint write fails and leaves no file.
    PostScript unpaired;
    unpaired.addPostScriptPage(curvePage({0.0, 0.1, 0.2}, {0.0, 1.0, 2.0}, 0.5, -3.0));
    unpaired.addPostScriptPage(curvePage({0.0, 0.1}, {0.0, 1.0, 2.0}, 0.5, -3.0));
    EXPECT_FALSE(unpaired.writeCurvePagesIntoPostScriptFile(dir.file("unpaired.ps")));
    EXPECT_FALSE(dir.exists("unpaired.ps"));
}

TEST(PostScriptText, SpecialCharactersAreEscaped) {
    EXPECT_EQ(postScriptText("M1(a\\b)"), "M1\\(a\\\\b\\)");
    EXPECT_EQ(postScriptText("D1S100"), "D1S100");
    EXPECT_EQ(postScriptText("a\tb"), "a b");  // no font draws a tab
    EXPECT_EQ(postScriptText("Wed Nov 25 10:52:30 2026\n"), "Wed Nov 25 10:52:30 2026");
    EXPECT_EQ(postScriptText("\xc3\xa9"), "\\303\\251");  // UTF-8 e with acute accent
}

// Names that would end or break a PostScript string draw as written in every page style.
TEST(PostScriptText, NamesWithParenthesesAndBackslashesDrawInEveryStyle) {
    ScratchDir dir;
    const Lines names{"M1(a\\b)", "x)y(", "\\"};
    PostScript bars;
    bars.addPostScriptPage(barPage(names, {1.0, 2.0, 0.5}));
    write(bars, Style::histogram, dir, "bars.ps");
    const std::string drawnBars = testing_support::textDrawnByGhostscript(dir.file("bars.ps"));
    for (const std::string& name : names) EXPECT_TRUE(testing_support::contains(drawnBars, name)) << drawnBars;

    for (Style style : {Style::singlepoint, Style::multipoint}) {
        PostScript curves;
        PostScriptPage* page = curvePage({0.0, 0.1, 0.2}, {0.0, 1.0, 2.0}, 0.5, -3.0);
        page->title = "Phenotype (A\\";
        for (std::size_t i = 0; i < names.size(); ++i) {
            page->markerNames.push_back(names[i]);
            page->markerPositions[names[i]] = 0.2 * static_cast<double>(i);
        }
        curves.addPostScriptPage(page);
        const std::string name = style == Style::singlepoint ? "single.ps" : "multi.ps";
        write(curves, style, dir, name);
        const std::string drawn = testing_support::textDrawnByGhostscript(dir.file(name));
        for (const std::string& marker : names) EXPECT_TRUE(testing_support::contains(drawn, marker)) << drawn;
    }
}
