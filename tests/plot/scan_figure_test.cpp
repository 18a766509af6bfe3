// The scan figure read back from its PostScript: where the points, guides, ticks and names
// land, checked against the axes the file itself draws (tick labels and the LOD 3 and -2
// guides), and the pages as ghostscript renders them.

#include <cmath>
#include <cstdlib>
#include <limits>
#include <map>
#include <sstream>

#include "plot/scan_figure.h"
#include "support/ghostscript.h"
#include "support/scan_figure_reading.h"
#include "support/test_support.h"

using namespace testing_support;

namespace {

const double kNA = std::numeric_limits<double>::quiet_NaN();

ScanPanel examplePanel() {
    ScanPanel panel;
    panel.phenotype = "AFFECTION";
    panel.chromosome = "7";
    panel.markers = {{"D7S1", 10.0, 1.5, 1.75}, {"D7S2", 25.0, 4.25, 4.25}, {"D7S3", 40.0, 0.0, kNA},
                     {"D7S4", 70.0, kNA, kNA}};
    // Two pieces; the second reaches 5.5 at 31 cM, and one point is impossible (-inf).
    panel.multipoint = {{5.0, -1.0}, {10.0, 0.5}, {25.0, 3.0}, kProfileBreak, {25.0, 3.5}, {31.0, 5.5},
                        {40.0, -std::numeric_limits<double>::infinity()}, {55.0, -0.5}};
    return panel;
}

}  // namespace

TEST(ScanFigure, PointsGuidesAndTicksStandWhereTheAxesSay) {
    ScratchDir dir;
    ScanPanel second = examplePanel();
    second.chromosome = "8";
    second.multipoint.clear();
    ASSERT_TRUE(writeScanFigure(dir.file("scan.ps"), {examplePanel(), second}, "test run"));
    const std::string text = dir.read("scan.ps");
    const std::vector<ScanPage> pages = readScanPages(text);
    ASSERT_EQ(pages.size(), 2u);
    EXPECT_TRUE(contains(text, "%%Pages: 2\n"));
    EXPECT_TRUE(rendersInGhostscript(dir.file("scan.ps")));

    const ScanPage& page = pages[0];
    EXPECT_EQ(page.guides.size(), 2u);
    EXPECT_GT(page.guideY(3.0), page.guideY(-2.0));
    // Singlepoint maxima at the markers that have one, HLODs likewise: x from the cM ticks,
    // y from the guides.
    ASSERT_EQ(page.lodPoints.size(), 3u);
    ASSERT_EQ(page.hlodPoints.size(), 2u);
    const double lods[] = {1.5, 4.25, 0.0};
    const double positions[] = {10.0, 25.0, 40.0};
    for (int m = 0; m < 3; ++m) {
        EXPECT_NEAR(page.position(page.lodPoints[m].first), positions[m], 0.01) << m;
        EXPECT_NEAR(page.lod(page.lodPoints[m].second), lods[m], 0.01) << m;
    }
    EXPECT_NEAR(page.lod(page.hlodPoints[0].second), 1.75, 0.01);
    EXPECT_NEAR(page.position(page.hlodPoints[1].first), 25.0, 0.01);
    // The LOD ticks agree with the guides.
    for (const auto& tick : page.lodTicks) EXPECT_NEAR(page.lod(tick.first), tick.second, 0.01) << tick.second;
    EXPECT_GE(page.lodTicks.size(), 4u);

    // Every marker has its tick; the line has two pieces; the impossible point is far below the frame.
    ASSERT_EQ(page.markerTicks.size(), 4u);
    EXPECT_NEAR(page.position(page.markerTicks[3]), 70.0, 0.01);
    ASSERT_EQ(page.profile.size(), 2u);
    ASSERT_EQ(page.profile[1].size(), 4u);
    EXPECT_NEAR(page.position(page.profile[1][1].first), 31.0, 0.01);
    EXPECT_NEAR(page.lod(page.profile[1][1].second), 5.5, 0.01);
    EXPECT_LT(page.profile[1][2].second, page.lowestGuideY() - 100);
    // The label of the highest point of the line.
    ASSERT_EQ(page.bestLabels.size(), 1u);
    EXPECT_EQ(page.bestLabels[0], "max multipoint LOD 5.50 at 31.0 cM");

    // Without a multipoint line the best singlepoint marker is labelled.
    ASSERT_EQ(pages[1].bestLabels.size(), 1u);
    EXPECT_EQ(pages[1].bestLabels[0], "max LOD 4.25 at D7S2 (25.0 cM)");
    EXPECT_TRUE(pages[1].profile.empty());
}

TEST(ScanFigure, FourHundredMarkersKeepTheirTicksAndShowNamesThatDoNotOverlap) {
    ScratchDir dir;
    ScanPanel panel;
    panel.phenotype = "DISEASE";
    panel.chromosome = "1";
    for (int m = 0; m < 400; ++m) {
        const double lod = m == 247 ? 6.0 : 0.5 * std::sin(m / 7.0);
        panel.markers.push_back({"D1S" + std::to_string(1000 + m), 0.5 * m, lod, lod});
    }
    ASSERT_TRUE(writeScanFigure(dir.file("scan.ps"), {panel}, "test run"));
    const std::vector<ScanPage> pages = readScanPages(dir.read("scan.ps"));
    ASSERT_EQ(pages.size(), 1u);
    const ScanPage& page = pages[0];
    EXPECT_EQ(page.markerTicks.size(), 400u);
    EXPECT_EQ(page.lodPoints.size(), 400u);
    // 730 points of frame hold at most about 85 names of 7-point type.
    EXPECT_GT(page.markerNames.size(), 40u);
    EXPECT_LT(page.markerNames.size(), 100u);
    bool peakNamed = false;
    for (size_t i = 0; i < page.markerNames.size(); ++i) {
        if (i > 0) {
            EXPECT_GE(page.markerNames[i].first - page.markerNames[i - 1].first, 8.0) << i;
        }
        peakNamed = peakNamed || page.markerNames[i].second == "D1S1247";
    }
    EXPECT_TRUE(peakNamed);
    EXPECT_TRUE(rendersInGhostscript(dir.file("scan.ps")));
}

TEST(ScanFigure, NamesWithParenthesesAndBackslashesDrawAsWritten) {
    ScratchDir dir;
    ScanPanel panel;
    panel.phenotype = "P(1";
    panel.chromosome = "X)";
    panel.markers = {{"M1(a\\b)", 12.0, 2.0, kNA}, {"M2\\", 20.0, 1.0, kNA}};
    ASSERT_TRUE(writeScanFigure(dir.file("names.ps"), {panel}, "run \\(x"));
    const std::string drawn = textDrawnByGhostscript(dir.file("names.ps"));
    EXPECT_TRUE(contains(drawn, "Phenotype: P(1")) << drawn;
    EXPECT_TRUE(contains(drawn, "Chromosome: X)")) << drawn;
    EXPECT_TRUE(contains(drawn, "max LOD 2.00 at M1(a\\b) (12.0 cM)")) << drawn;
    EXPECT_TRUE(contains(drawn, "run \\(x")) << drawn;
    const std::vector<ScanPage> pages = readScanPages(dir.read("names.ps"));
    ASSERT_EQ(pages.size(), 1u);
    ASSERT_EQ(pages[0].markerNames.size(), 2u);
    EXPECT_EQ(pages[0].markerNames[0].second, "M1(a\\b)");
    EXPECT_EQ(pages[0].markerNames[1].second, "M2\\");
}
