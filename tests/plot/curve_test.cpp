#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "plot/plot_test_helpers.h"
#include "plot/postscript.h"
#include "support/test_support.h"

using plot_test::countLines;
using plot_test::linesWith;
using plot_test::rendersInGhostscript;
using testing_support::lines;
using testing_support::ScratchDir;

namespace {

// A singlepoint LOD curve page: theta 0..0.5 along the position axis, LOD -3..3.
PostScriptPage* thetaPage(const std::vector<double>& thetas, const std::vector<double>& lods) {
    auto* page = new PostScriptPage();
    page->title = "Singlepoint Analysis";
    page->subtitle1 = "Phenotype: affection";
    page->subtitle2 = "   Marker: D1S1";
    page->valueAxisLabel = "Lod Score";
    page->positionMin = 0.0;
    page->positionMax = 0.5;
    page->valueMin = -3.0;
    page->valueMax = 3.0;
    page->tickStep = 1.0;
    page->positions = thetas;
    page->curveValues = lods;
    return page;
}

// A multipoint LOD curve page over 0..10 cM, LOD -2..3.
PostScriptPage* mapPage(const std::vector<double>& cM, const std::vector<double>& lods) {
    auto* page = new PostScriptPage();
    page->title = "Multipoint Analysis";
    page->positionAxisLabel = "cM";
    page->valueAxisLabel = "Lod Score";
    page->positionMax = 10.0;
    page->valueMin = -2.0;
    page->valueMax = 3.0;
    page->tickStep = 1.0;
    page->positionStep = 2.5;
    page->positions = cM;
    page->curveValues = lods;
    return page;
}

std::string writeCurves(PostScript& document, const ScratchDir& dir, const std::string& name, bool multipoint) {
    const bool written = multipoint ? document.writeCurvePagesIntoPostScriptFileCorrectly(dir.file(name))
                                    : document.writeCurvePagesIntoPostScriptFile(dir.file(name));
    EXPECT_TRUE(written) << name;
    EXPECT_TRUE(rendersInGhostscript(dir.file(name))) << name;
    return dir.read(name);
}

}  // namespace

TEST(CurvePages, SinglepointSegmentsTicksAndGuideLines) {
    ScratchDir dir;
    PostScript document;
    // Page x = (lod + 3) * 400 / 6 + 100, page y = 700 - theta * 1200.
    document.addPostScriptPage(thetaPage({0.0, 0.1, 0.2}, {0.0, 1.5, -1.5}));
    document.addPostScriptPage(thetaPage({0.0, 0.1}, {1.0, 2.0}));
    const std::string text = writeCurves(document, dir, "single.ps", false);
    const std::vector<std::string> all = lines(text);

    std::vector<std::string> head = plot_test::prologue(2);
    head.push_back("a4");
    head.push_back("%%Page: 1 1");
    ASSERT_GE(all.size(), head.size());
    EXPECT_EQ(std::vector<std::string>(all.begin(), all.begin() + head.size()), head);

    // Three points: one segment through points 0, 1 and 2; two points: none.
    EXPECT_EQ(linesWith(text, "curveto"), std::vector<std::string>{"300 700 400 580 200 460 curveto stroke"});
    EXPECT_EQ(countLines(text, "300 700 moveto"), 1);
    EXPECT_EQ(countLines(text, "200 460 moveto"), 1);

    // The dashed line to the highest point, and for the page without a segment from (100, 0).
    const std::vector<std::string> guides = {
        "300 700 moveto [3 3] 0 setdash 0.4 setlinewidth 300 100 lineto stroke ",
        "100 580 moveto [3 3] 0 setdash 0.4 setlinewidth 400 580 lineto stroke ",
        "300 700 moveto [3 3] 0 setdash 0.4 setlinewidth 300 100 lineto stroke ",
        "100 0 moveto [3 3] 0 setdash 0.4 setlinewidth 0 0 lineto stroke "};
    EXPECT_EQ(linesWith(text, "setdash 0.4 setlinewidth"), guides);

    // Value ticks: x = trunc(i * 400 / 6) + 100, labels unrounded from valueMin, end label repeated.
    std::vector<std::string> labels;
    const int xs[] = {100, 166, 233, 300, 366, 433, 500};
    for (int i = 0; i < 7; ++i)
        labels.push_back("10 scaleTimes " + std::to_string(xs[i]) + " 725 moveto -90 rotate (" +
                         std::to_string(i - 3) + ")show 90 rotate  ");
    labels.push_back("10 scaleTimes 500 725 moveto -90 rotate (3)show 90 rotate  ");
    std::vector<std::string> firstPageLabels = linesWith(text, " 725 moveto");
    firstPageLabels.resize(labels.size());
    EXPECT_EQ(firstPageLabels, labels);
    EXPECT_EQ(countLines(text, "166 705 moveto  166 695 lineto"), 2);

    // Position ticks at theta 0, 0.05, ..., 0.45 at y = trunc(700 - theta * 1200). In doubles
    // 0.3 and 0.35 land a hair below 340 and 280, so they truncate to 339 and 279.
    const std::vector<std::string> thetaLabels = {"0", "0.05", "0.1", "0.15", "0.2",
                                                  "0.25", "0.3", "0.35", "0.4", "0.45"};
    const int ys[] = {700, 640, 580, 520, 460, 400, 339, 279, 220, 160};
    std::vector<std::string> expectedTicks;
    for (int k = 0; k < 10; ++k)
        expectedTicks.push_back("10 scaleTimes 70 " + std::to_string(ys[k]) + " moveto (" + thetaLabels[k] + ")show ");
    std::vector<std::string> ticks = linesWith(text, "10 scaleTimes 70 ");
    ASSERT_EQ(ticks.size(), 20u);
    ticks.resize(10);
    EXPECT_EQ(ticks, expectedTicks);
    EXPECT_EQ(countLines(text, "90 339 moveto "), 2);

    // Page end and texts.
    EXPECT_EQ(countLines(text, "12 scaleTimes 520 700 moveto -90 rotate (   Marker: D1S1)show 90 rotate"), 2);
    EXPECT_EQ(countLines(text, "14 scaleTimes 550 50  moveto -90 rotate (2)show 90 rotate"), 1);
    EXPECT_EQ(all.back(), "%%EndDocument");
}

TEST(CurvePages, MultipointExtendsCurveAndMarksMarkers) {
    ScratchDir dir;
    PostScript document;
    // Page x = (lod + 2) * 80 + 100, page y = 700 - cM * 60.
    PostScriptPage* page = mapPage({0.0, 5.0, 10.0}, {0.0, 1.0, 2.0});
    page->markerNames = {"D1S1", "D1S2", "D1S9"};
    page->markerPositions["D1S1"] = 0.0;
    page->markerPositions["D1S2"] = 5.0;  // D1S9 has no position and sits at 0
    document.addPostScriptPage(page);
    const std::string text = writeCurves(document, dir, "multi.ps", true);

    // The two appended points (10.00001 and 10.00002 cM, LOD 2) give a second segment that ends
    // at the last real point's height.
    const std::vector<std::string> curve = {"260 700 moveto",
                                            "260 700 340 400 420 100 curveto stroke",
                                            "420 100 moveto",
                                            "420 100 420 99.9994 420 99.9988 curveto stroke",
                                            "420 99.9988 moveto"};
    const std::vector<std::string> all = lines(text);
    auto first = std::find(all.begin(), all.end(), curve[0]);
    ASSERT_NE(first, all.end());
    ASSERT_GE(all.end() - first, static_cast<long>(curve.size()));
    EXPECT_EQ(std::vector<std::string>(first, first + curve.size()), curve);
    // The first point with the largest x counts.
    EXPECT_EQ(countLines(text, "100 100 moveto [3 3] 0 setdash 0.4 setlinewidth 420 100 lineto stroke "), 1);
    EXPECT_EQ(countLines(text, "260 700 moveto [3 3] 0 setdash 0.4 setlinewidth 260 100 lineto stroke "), 1);

    const std::vector<std::string> marks = {"8 scaleTimes 70 697 moveto (D1S1)show ",
                                            "8 scaleTimes 70 397 moveto (D1S2)show ",
                                            "8 scaleTimes 70 697 moveto (D1S9)show "};
    EXPECT_EQ(linesWith(text, "8 scaleTimes 70 "), marks);
    EXPECT_EQ(countLines(text, "95 400 moveto 105 400 lineto "), 1);
    EXPECT_EQ(countLines(text, "stroke  0.9 setlinewidth "), 3);

    // Position ticks from positionMin in positionStep while below positionMax.
    const std::vector<std::string> ticks = {"10 scaleTimes 70 700 moveto (0)show ",
                                            "10 scaleTimes 70 550 moveto (2.5)show ",
                                            "10 scaleTimes 70 400 moveto (5)show ",
                                            "10 scaleTimes 70 250 moveto (7.5)show "};
    EXPECT_EQ(linesWith(text, "10 scaleTimes 70 "), ticks);

    // Value ticks x = trunc(i * 80) + 100 from -2; labels are rounded to two decimals.
    EXPECT_EQ(linesWith(text, " 725 moveto").size(), 7u);
    EXPECT_EQ(countLines(text, "10 scaleTimes 580 725 moveto -90 rotate (3)show 90 rotate  "), 0);
    EXPECT_EQ(countLines(text, "10 scaleTimes 500 725 moveto -90 rotate (3)show 90 rotate  "), 2);

    PostScript offset;
    PostScriptPage* shifted = mapPage({0.0, 5.0, 10.0}, {0.0, 1.0, 2.0});
    shifted->valueMin = -2.004;
    offset.addPostScriptPage(shifted);
    const std::string rounded = writeCurves(offset, dir, "rounded.ps", true);
    EXPECT_EQ(linesWith(rounded, " 725 moveto").front(), "10 scaleTimes 100 725 moveto -90 rotate (-2)show 90 rotate  ");
    EXPECT_EQ(linesWith(rounded, "(-1.004)").size(), 0u);
}

TEST(CurvePages, UnpairedPointsAndEmptyDocuments) {
    ScratchDir dir;
    // Singlepoint: the whole write fails and leaves no file.
    PostScript single;
    single.addPostScriptPage(thetaPage({0.0, 0.1, 0.2}, {0.0, 1.0, 2.0}));
    single.addPostScriptPage(thetaPage({0.0, 0.1}, {0.0, 1.0, 2.0}));
    EXPECT_FALSE(single.writeCurvePagesIntoPostScriptFile(dir.file("unpaired.ps")));
    EXPECT_FALSE(dir.exists("unpaired.ps"));

    // Multipoint: the unpaired page keeps only its first two lines.
    PostScript multi;
    multi.addPostScriptPage(mapPage({0.0, 5.0}, {0.0, 1.0, 2.0}));
    multi.addPostScriptPage(mapPage({0.0, 5.0, 10.0}, {0.0, 1.0, 2.0}));
    const std::vector<std::string> all = lines(writeCurves(multi, dir, "partial.ps", true));
    std::vector<std::string> head = plot_test::prologue(2);
    for (const char* line : {"a4", "%%Page: 1 1", "a4", "%%Page: 2 2"}) head.push_back(line);
    ASSERT_GE(all.size(), head.size());
    EXPECT_EQ(std::vector<std::string>(all.begin(), all.begin() + head.size()), head);
    EXPECT_EQ(countLines(testing_support::readWholeFile(dir.file("partial.ps")), "%%EndDocument"), 1);

    for (bool multipoint : {false, true}) {
        PostScript empty;
        const std::string name = multipoint ? "empty_multi.ps" : "empty_single.ps";
        EXPECT_EQ(lines(writeCurves(empty, dir, name, multipoint)), plot_test::prologue(0));
    }

    PostScript unwritable;
    unwritable.addPostScriptPage(thetaPage({0.0}, {0.0}));
    EXPECT_FALSE(unwritable.writeCurvePagesIntoPostScriptFile(dir.file("no/such/dir/c.ps")));
    EXPECT_FALSE(unwritable.writeCurvePagesIntoPostScriptFileCorrectly(dir.file("no/such/dir/c.ps")));
}

TEST(CurvePages, DegenerateValueAxisStillGivesReadableFile) {
    ScratchDir dir;
    // valueMax equal to valueMin (multipoint) or to -3 (singlepoint) leaves no value range.
    PostScript multi;
    PostScriptPage* flat = mapPage({0.0, 5.0, 10.0}, {0.0, 1.0, 2.0});
    flat->valueMin = 1.0;
    flat->valueMax = 1.0;
    multi.addPostScriptPage(flat);
    const std::string multiText = writeCurves(multi, dir, "flat_multi.ps", true);
    EXPECT_EQ(linesWith(multiText, "curveto").size(), 2u);

    PostScript single;
    PostScriptPage* low = thetaPage({0.0, 0.1, 0.2}, {-1.0, 0.0, 1.0});
    low->valueMax = -3.0;
    single.addPostScriptPage(low);
    const std::string singleText = writeCurves(single, dir, "flat_single.ps", false);
    for (const std::string& text : {multiText, singleText}) {
        EXPECT_TRUE(linesWith(text, "inf").empty());
        EXPECT_TRUE(linesWith(text, "nan").empty());
    }
}
