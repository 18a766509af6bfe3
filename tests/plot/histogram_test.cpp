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

PostScriptPage* barPage(const std::vector<std::string>& names, const std::vector<double>& values) {
    auto* page = new PostScriptPage();
    page->title = "Hrr Analysis";
    page->subtitle1 = "Phenotype: affection";
    page->positionAxisLabel = "Markers";
    page->valueAxisLabel = "-log10(p-value)";
    page->barCount = static_cast<int>(names.size());
    page->names = names;
    for (std::size_t i = 0; i < values.size(); ++i) page->values[names[i]] = values[i];
    return page;
}

std::string writeHistograms(PostScript& document, const ScratchDir& dir, const std::string& name) {
    EXPECT_TRUE(document.writeHistogramPagesIntoPostScriptFile(dir.file(name)));
    EXPECT_TRUE(rendersInGhostscript(dir.file(name))) << name;
    return dir.read(name);
}

}  // namespace

TEST(HistogramPages, PagesWithoutMatchingBarsAreSkippedButCounted) {
    ScratchDir dir;
    PostScript document;
    document.addPostScriptPage(barPage({}, {}));  // no bars at all
    PostScriptPage* uneven = barPage({"D1S1", "D1S2"}, {1.0, 2.0});
    uneven->barCount = 3;  // more bars than names
    document.addPostScriptPage(uneven);
    document.addPostScriptPage(barPage({"D2S1"}, {0.5}));
    const std::string text = writeHistograms(document, dir, "skip.ps");

    const std::vector<std::string> all = lines(text);
    std::vector<std::string> expectedHead = plot_test::prologue(3);
    expectedHead.push_back("a4");
    expectedHead.push_back("%%Page: 3 3");
    ASSERT_GE(all.size(), expectedHead.size());
    EXPECT_EQ(std::vector<std::string>(all.begin(), all.begin() + expectedHead.size()), expectedHead);
    EXPECT_EQ(countLines(text, "a4"), 1);
    EXPECT_EQ(countLines(text, "showpage "), 1);
    EXPECT_EQ(countLines(text, "%%EndDocument"), 1);
    EXPECT_TRUE(linesWith(text, "D1S1").empty());
    // The third page keeps its own number in the texts.
    EXPECT_EQ(countLines(text, "14 scaleTimes 550 50  moveto -90 rotate (3)show 90 rotate"), 1);

    PostScript empty;
    const std::string none = writeHistograms(empty, dir, "empty.ps");
    EXPECT_EQ(lines(none), plot_test::prologue(0));

    PostScript unwritable;
    EXPECT_FALSE(unwritable.writeHistogramPagesIntoPostScriptFile(dir.file("missing/dir/h.ps")));
}

TEST(HistogramPages, ValueAxisTicksAndEndLabel) {
    ScratchDir dir;
    PostScript document;
    PostScriptPage* page = barPage({"D1S1"}, {1.0});
    page->valueMax = 3.0;
    page->tickStep = 0.5;
    document.addPostScriptPage(page);
    // Only three ticks allowed: the loop stops on the tick index, so no end label.
    PostScriptPage* few = barPage({"D1S1"}, {1.0});
    few->valueMax = 3.0;
    few->tickStep = 0.5;
    few->maxTicks = 2;
    document.addPostScriptPage(few);
    const std::string text = writeHistograms(document, dir, "ticks.ps");

    // x = trunc(i * 400 * 0.5 / 3) + 100; i = 7 gives 566, past the frame, so "3" is repeated at 500.
    const std::vector<std::string> labels = {
        "10 scaleTimes 100 725 moveto -90 rotate (0)show 90 rotate  ",
        "10 scaleTimes 166 725 moveto -90 rotate (0.5)show 90 rotate  ",
        "10 scaleTimes 233 725 moveto -90 rotate (1)show 90 rotate  ",
        "10 scaleTimes 300 725 moveto -90 rotate (1.5)show 90 rotate  ",
        "10 scaleTimes 366 725 moveto -90 rotate (2)show 90 rotate  ",
        "10 scaleTimes 433 725 moveto -90 rotate (2.5)show 90 rotate  ",
        "10 scaleTimes 500 725 moveto -90 rotate (3)show 90 rotate  ",
        "10 scaleTimes 500 725 moveto -90 rotate (3)show 90 rotate  ",
        // second page
        "10 scaleTimes 100 725 moveto -90 rotate (0)show 90 rotate  ",
        "10 scaleTimes 166 725 moveto -90 rotate (0.5)show 90 rotate  ",
        "10 scaleTimes 233 725 moveto -90 rotate (1)show 90 rotate  ",
    };
    EXPECT_EQ(linesWith(text, " 725 moveto"), labels);
    const std::vector<std::string> grid = linesWith(text, " [3 3] 0 setdash ");
    ASSERT_EQ(grid.size(), 10u);
    EXPECT_EQ(grid[0], " [3 3] 0 setdash 100 702 moveto  100 100 lineto");
    EXPECT_EQ(grid[6], " [3 3] 0 setdash 500 702 moveto  500 100 lineto");

    PostScript noTicks;
    PostScriptPage* bare = barPage({"D1S1"}, {1.0});
    bare->maxTicks = -1;
    noTicks.addPostScriptPage(bare);
    EXPECT_TRUE(linesWith(writeHistograms(noTicks, dir, "noticks.ps"), " 725 moveto").empty());
}

TEST(HistogramPages, BarGeometryLabelsAndZeroBar) {
    ScratchDir dir;
    PostScript document;
    PostScriptPage* page = barPage({"D1S1", "D1S2", "D1S3"}, {1.30103, 2.0, 0.0});
    page->valueMax = 3.0;
    page->barGap = 7;
    document.addPostScriptPage(page);
    const std::string text = writeHistograms(document, dir, "bars.ps");

    // barWidth = 600 / 3 - 7 = 193; y = trunc(700 - 200 (i + 1)); length = trunc(v / 3 * 400).
    const std::vector<std::string> expectedBars = {
        " newpath",
        " 0 fillbox 8 scaleTimes 50 504 moveto (D1S1)show 278 504 moveto (1.30103)show  ",
        " 100 500 moveto   % rightlower coordinate   (x,y)  ",
        " 0 193 rlineto    % leftlower coordinate    (boxwidth) ",
        "173 0 rlineto    % leftupper coordinate   (boxheight) ",
        " 0 -193 rlineto    % rightupper coordinate  (boxwidth) ",
        " closepath ",
        " .7 fillbox ",
        " newpath",
        " 0 fillbox 8 scaleTimes 50 304 moveto (D1S2)show 371 304 moveto (2)show  ",
        " 100 300 moveto   % rightlower coordinate   (x,y)  ",
        " 0 193 rlineto    % leftlower coordinate    (boxwidth) ",
        "266 0 rlineto    % leftupper coordinate   (boxheight) ",
        " 0 -193 rlineto    % rightupper coordinate  (boxwidth) ",
        " closepath ",
        " .7 fillbox ",
        " newpath",
        " 0 fillbox 8 scaleTimes 50 104 moveto (D1S3)show 105 104 moveto (0)show  ",
        " 100 100 moveto   % rightlower coordinate   (x,y)  ",
        " 0 193 rlineto    % leftlower coordinate    (boxwidth) ",
        "0 0 rlineto    % leftupper coordinate   (boxheight) ",
        " 0 -193 rlineto    % rightupper coordinate  (boxwidth) ",
        " closepath ",
        " .7 fillbox ",
    };
    const std::vector<std::string> all = lines(text);
    const std::vector<std::string> afterTicks = {"stroke [] 0 setdash 0.9 setlinewidth"};
    auto start = std::search(all.begin(), all.end(), afterTicks.begin(), afterTicks.end());
    ASSERT_NE(start, all.end());
    ++start;
    ASSERT_GE(all.end() - start, static_cast<long>(expectedBars.size()) + 12);
    EXPECT_EQ(std::vector<std::string>(start, start + expectedBars.size()), expectedBars);

    // Frame, texts and page end follow the bars.
    const std::vector<std::string> tail = {
        "newpath", "0 fillbox", "100 100 moveto", "500 100 lineto", "500 100 moveto", "500 700 lineto",
        "500 700 moveto", "100 700 lineto", "100 700 moveto", "100 100 lineto", "stroke   ", "newpath ",
        "14 scaleTimes 550 50  moveto -90 rotate (1)show 90 rotate",
        "14 scaleTimes 560 700 moveto -90 rotate (Hrr Analysis)show 90 rotate",
        "12 scaleTimes 540 700 moveto -90 rotate (Phenotype: affection)show 90 rotate",
        "12 scaleTimes 520 700 moveto -90 rotate ()show 90 rotate",
        "14 scaleTimes 30 390 moveto -90 rotate (Markers)show 90 rotate",
        "14 scaleTimes 270 750 moveto (-log10(p-value))show", "closepath", "showpage ", "%%EndDocument"};
    ASSERT_GE(all.size(), tail.size());
    EXPECT_EQ(std::vector<std::string>(all.end() - tail.size(), all.end()), tail);
}

TEST(HistogramPages, PlaceholdersKeepSlotsAndLargePagesHaveNoLabels) {
    ScratchDir dir;
    std::vector<std::string> names;
    std::vector<double> values;
    for (int i = 0; i < 20; ++i) {
        names.push_back("M" + std::to_string(i));
        values.push_back(0.1 * (i + 1));
    }
    for (int i = 20; i < 50; ++i) names.push_back("@" + std::to_string(i));
    PostScript document;
    PostScriptPage* slots = barPage(names, values);
    slots->barGap = 2;
    document.addPostScriptPage(slots);
    const std::string text = writeHistograms(document, dir, "slots.ps");

    // 50 slots of 600 / 50 = 12 points: the real bars fill the top 20 slots, y = 700 - 12 (i + 1).
    std::vector<std::string> expectedCorners;
    for (int i = 0; i < 20; ++i)
        expectedCorners.push_back(" 100 " + std::to_string(700 - 12 * (i + 1)) +
                                  " moveto   % rightlower coordinate   (x,y)  ");
    EXPECT_EQ(linesWith(text, "% rightlower coordinate"), expectedCorners);
    EXPECT_EQ(countLines(text, " .7 fillbox "), 20);
    EXPECT_EQ(linesWith(text, " 0 fillbox 8 scaleTimes").size(), 20u);
    EXPECT_TRUE(linesWith(text, "(@").empty());
    EXPECT_EQ(countLines(text, " 0 10 rlineto    % leftlower coordinate    (boxwidth) "), 20);

    // 100 bars still carry labels, 101 bars do not.
    for (int count : {100, 101}) {
        std::vector<std::string> many;
        for (int i = 0; i < count; ++i) many.push_back("M" + std::to_string(i));
        PostScript large;
        PostScriptPage* page = barPage(many, std::vector<double>(count, 0.5));
        page->barGap = 1;  // keeps the box width (600 / count - gap) positive
        large.addPostScriptPage(page);
        const std::string name = "large" + std::to_string(count) + ".ps";
        const std::string out = writeHistograms(large, dir, name);
        EXPECT_EQ(countLines(out, " .7 fillbox "), count);
        EXPECT_EQ(linesWith(out, " 0 fillbox 8 scaleTimes").size(), count <= 100 ? 100u : 0u) << count;
    }
}

TEST(HistogramPages, ZeroValueMaxStillGivesReadableFile) {
    ScratchDir dir;
    PostScript document;
    PostScriptPage* page = barPage({"D1S1", "D1S2"}, {1.0, 0.0});
    page->valueMax = 0.0;
    document.addPostScriptPage(page);
    const std::string text = writeHistograms(document, dir, "zero_max.ps");
    EXPECT_EQ(countLines(text, " .7 fillbox "), 2);
    EXPECT_TRUE(linesWith(text, "inf").empty());
}
