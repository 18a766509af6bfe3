// Singlepoint report files and plots written from hand-made likelihood records: column
// rules, number formats, histogram paging and the geometry of the pages.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "driver/varkel.h"
#include "linkage/mlink.h"
#include "linkage/mlink_test_access.h"
#include "model/pedigrees.h"
#include "support/test_support.h"

using namespace testing_support;

namespace {

bool rendersInGhostscript(const std::string& file) {
    const std::string command =
        "gs -q -dSAFER -dBATCH -dNOPAUSE -sDEVICE=nullpage '" + file + "' > /dev/null 2>&1 < /dev/null";
    return std::system(command.c_str()) == 0;
}

size_t count(const std::string& text, const std::string& part) {
    size_t n = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size())) ++n;
    return n;
}

// The lines that follow the first line equal to `start`.
std::vector<std::string> linesAfter(const std::string& text, const std::string& start) {
    std::vector<std::string> all = lines(text);
    auto found = std::find(all.begin(), all.end(), start);
    if (found == all.end()) return {};
    return std::vector<std::string>(found + 1, all.end());
}

// Text of page `page` (1-based) of a PostScript document.
std::string pageText(const std::string& document, int page) {
    const std::string mark = "%%Page: " + std::to_string(page) + " " + std::to_string(page) + "\n";
    const size_t start = document.find(mark);
    if (start == std::string::npos) return "";
    const size_t end = document.find("%%EndDocument", start);
    return document.substr(start, end - start);
}

void addFamily(Pedigrees& pedigrees, const std::string& id, const std::string& originalId) {
    auto* pedigree = new Pedigree(id);
    pedigree->setOriginalPedigreeId(originalId);
    pedigree->addPerson(new Person(id, "1", "0", "0", "1"));
    pedigree->addPerson(new Person(id, "2", "0", "0", "2"));
    pedigree->addPerson(new Person(id, "3", "1", "2", "1"));
    pedigree->addPerson(new Person(id, "4", "1", "2", "2"));
    pedigrees.getPedigrees()->insert(pedigree);
}

// Thetas in MLINK's order with LODs given as a function of the position in the grid.
template <class F>
MLinkMarker* gridMarker(const std::string& name, F lodAt) {
    std::vector<std::pair<double, PedigreeLods>> blocks;
    const std::vector<double> thetas = mlinkThetas();
    for (size_t i = 0; i < thetas.size(); ++i) blocks.push_back({thetas[i], {{"1", lodAt(i)}}});
    return makeMarker(name, blocks);
}

}  // namespace

TEST(SinglepointReports, ColumnOrderAndNumberFormats) {
    ScratchDir dir;
    Pedigrees pedigrees;
    addFamily(pedigrees, "9", "FAM9");
    addFamily(pedigrees, "10", "");
    pedigrees.setSinglepointCurves(true);
    MLink mlink(&pedigrees);
    MLinkTestAccess::setMode(mlink, "basic");
    MLinkTestAccess::addPhenotype(
        mlink, "DISEASE_LOCUS",
        {makeMarker("D1", {{0.5, {{"9", 0.0}, {"10", 0.0}}},
                           {0.0, {{"9", 0.60206}, {"10", -999.999999}}},
                           {0.02, {{"9", 0.575741}, {"10", -1.105682}}},
                           {0.04, {{"9", 0.55}, {"10", -0.81}}}}),
         makeMarker("D2", {{0.5, {{"9", 0.0}, {"10", 0.0}}},
                           {0.0, {{"9", 1.2345678}, {"10", 0.2}}},
                           {0.02, {{"9", 0.3}, {"10", 0.2}}},
                           {0.04, {{"9", 0.1}, {"10", 0.0}}}}),
         makeMarker("EMPTY", {})});

    std::string console = captureOutput([&] { EXPECT_TRUE(mlink.writeResultsFile(dir.file("sp"))); });
    EXPECT_EQ(console, "The LOD Scores: " + dir.file("sp") + ".out\nThe LOD Score histograms: " + dir.file("sp") + ".ps\n");
    const std::string table = dir.read("sp.out");
    const std::vector<std::string> tableLines = lines(table);
    ASSERT_GT(tableLines.size(), 8u);
    EXPECT_EQ(tableLines[0], std::string(79, '-'));
    EXPECT_EQ(tableLines[3], "Program for Linkage and Linkage Disequilibrium analysis");
    // The banner differs from the program's own in its fourth line only.
    const std::vector<std::string> programBanner = lines(Varkel().welcome());
    ASSERT_EQ(programBanner.size(), 6u);
    for (size_t i : {0u, 1u, 2u, 4u, 5u}) EXPECT_EQ(tableLines[i], programBanner[i]);
    EXPECT_EQ(tableLines[6], "");
    EXPECT_EQ(tableLines[7].rfind("Date : ", 0), 0u);
    EXPECT_TRUE(contains(table, "  # pedigrees          : 2\n"));
    // The maximum of D1 is the unlinked block (every other total is negative); EMPTY has none.
    EXPECT_EQ(linesAfter(table, "Phenotype: DISEASE_LOCUS"),
              (std::vector<std::string>{"              Marker    LOD Score        Theta",
                                        "                  D1     0.000000     0.500000",
                                        "                  D2     1.434568     0.000000"}));
    const std::string histogram = dir.read("sp.ps");
    EXPECT_TRUE(contains(histogram, "%%Pages: 1\n"));
    EXPECT_EQ(count(histogram, "% rightlower"), 2u);
    EXPECT_TRUE(contains(histogram, "(D2)show"));
    EXPECT_FALSE(contains(histogram, "(EMPTY)show"));
    EXPECT_TRUE(contains(histogram, "(Phenotype: DISEASE_LOCUS\t\t\t\tLinkage Analysis)show"));
    EXPECT_TRUE(rendersInGhostscript(dir.file("sp.ps")));

    console = captureOutput([&] { EXPECT_TRUE(mlink.writeResultsByFamilyFile(dir.file("fam"))); });
    EXPECT_EQ(console, "The LOD Scores: " + dir.file("fam") + ".out\n");
    const std::string byFamily = dir.read("fam.out");
    EXPECT_FALSE(contains(byFamily, "Nuclear Pedigree statistics"));
    // First theta as the last column; rows in string order of the ids ("10" before "9"),
    // under the user's identifier when the pedigree has one.
    EXPECT_EQ(linesAfter(byFamily, "Marker: D1"),
              (std::vector<std::string>{
                  "               Theta", "Pedigreeid",
                  "                        0           0.02           0.04            0.5",
                  "        10    -1000.00000       -1.10568       -0.81000        0.00000",
                  "      FAM9        0.60206        0.57574        0.55000        0.00000",
                  "Marker: D2",
                  "               Theta", "Pedigreeid",
                  "                        0           0.02           0.04            0.5",
                  "        10        0.20000        0.20000        0.00000        0.00000",
                  "      FAM9        1.23457        0.30000        0.10000        0.00000",
                  "Marker: EMPTY", "               Theta", "Pedigreeid", "          "}));

    console = captureOutput([&] { EXPECT_TRUE(mlink.writeAllLODScoresFile(dir.file("cur"))); });
    EXPECT_EQ(console, "The LOD Scores for singlepoint curves: " + dir.file("cur") +
                           ".out\nThe LOD Score curves: " + dir.file("cur") + ".ps\n");
    // Negative (and zero) LODs in scientific notation; the first theta is the last row.
    EXPECT_EQ(linesAfter(dir.read("cur.out"), "Phenotype: DISEASE_LOCUS"),
              (std::vector<std::string>{
                  "               Theta                  D1                  D2               EMPTY",
                  "                0.00       -9.993979e+02            1.434568                 NaN",
                  "                0.02       -5.299410e-01            0.500000                 NaN",
                  "                0.04       -2.600000e-01            0.100000                 NaN",
                  "                0.50        0.000000e+00        0.000000e+00                 NaN"}));
    const std::string curves = dir.read("cur.ps");
    EXPECT_TRUE(contains(curves, "%%Pages: 3\n"));
    EXPECT_TRUE(contains(curves, "(   Marker: D2)show"));
    EXPECT_TRUE(rendersInGhostscript(dir.file("cur.ps")));

    // Without the curves flag only the table is written.
    pedigrees.setSinglepointCurves(false);
    captureOutput([&] { EXPECT_TRUE(mlink.writeAllLODScoresFile(dir.file("table"))); });
    EXPECT_TRUE(dir.exists("table.out"));
    EXPECT_FALSE(dir.exists("table.ps"));

    // An output file that cannot be created fails.
    captureOutput([&] { EXPECT_FALSE(mlink.writeResultsFile(dir.file("missing/sp"))); });
    captureOutput([&] { EXPECT_FALSE(mlink.writeHLodFile(dir.file("missing/het"))); });
    captureOutput([&] { EXPECT_FALSE(mlink.writeHLodPostscript(dir.file("missing/het"))); });
}

TEST(SinglepointReports, NuclearByFamilyAndHeterogeneityFiles) {
    ScratchDir dir;
    Pedigrees pedigrees;
    addFamily(pedigrees, "1", "");
    addFamily(pedigrees, "2", "");
    ASSERT_EQ(pedigrees.createNuclearPedigrees()->getCount(), 2);
    MLink mlink(&pedigrees);
    MLinkTestAccess::setMode(mlink, "nuclear");
    MLinkTestAccess::addPhenotype(mlink, "DISEASE_LOCUS",
                                  {makeMarker("D1", {{0.5, {{"1", 0.0}, {"2", 0.0}}},
                                                     {0.0, {{"1", 0.9}, {"2", -0.5}}},
                                                     {0.02, {{"1", 0.8}, {"2", -0.2}}}})});
    captureOutput([&] { EXPECT_TRUE(mlink.writeResultsByFamilyFile(dir.file("nuc"))); });
    const std::string byFamily = dir.read("nuc.out");
    EXPECT_TRUE(contains(byFamily, "\n\n\nNuclear Pedigree statistics\n========================\n"
                                   "  # pedigrees          : 2\n  # persons            : 8\n\n"
                                   "Phenotype: DISEASE_LOCUS\nMarker: D1\n"));

    captureOutput([&] { mlink.maximizeHLod(); });
    std::string console = captureOutput([&] { EXPECT_TRUE(mlink.writeHLodFile(dir.file("het"))); });
    EXPECT_EQ(console, "Component nuclear pedigree LOD Scores under heterogeneity: " + dir.file("het") + ".out\n");
    const std::vector<std::string> grid = linesAfter(dir.read("het.out"), "\tMarker: D1");
    ASSERT_EQ(grid.size(), 7u);
    EXPECT_EQ(grid[0], "               Theta");
    EXPECT_EQ(grid[1], "     Alpha");
    EXPECT_EQ(grid[2].size(), 10u * 102);
    EXPECT_EQ(grid[2].substr(0, 40), "                   0      0.01      0.02");
    EXPECT_EQ(grid[2].substr(grid[2].size() - 10), "         1");
    // Alpha 0.5 at theta 0.02: log10(0.5*10^0.8 + 0.5) + log10(0.5*10^-0.2 + 0.5).
    EXPECT_EQ(grid[4].substr(0, 10), "      0.02");
    EXPECT_EQ(grid[4].substr(10 * 51, 10), "   0.47427");
    EXPECT_EQ(grid[4].substr(10, 10), "   0.00000");
    EXPECT_EQ(grid[4].substr(10 * 101, 10), "   0.60000");
    EXPECT_EQ(grid[5], "");
    EXPECT_EQ(grid[6], "");

    console = captureOutput([&] { EXPECT_TRUE(mlink.writeHLodPostscript(dir.file("het"))); });
    EXPECT_EQ(console, "Component nuclear pedigree LOD Scores under heterogeneity histograms: " + dir.file("het") +
                           ".ps\nWriting Linkage Analysis histograms into " + dir.file("het") + ".ps\n");
    const std::string plot = dir.read("het.ps");
    EXPECT_TRUE(contains(plot, "\t\t\t\tLinkage Analysis for nuclear pedigrees under heterogeneity)show"));
    EXPECT_EQ(count(plot, "% rightlower"), 1u);
    EXPECT_TRUE(rendersInGhostscript(dir.file("het.ps")));
}

TEST(SinglepointReports, HistogramPagingAndPlotGeometry) {
    ScratchDir dir;
    Pedigrees pedigrees;
    addFamily(pedigrees, "1", "");
    pedigrees.setSinglepointCurves(true);

    // 101 markers: two pages of 100 slots, the second with one bar and 99 empty slots.
    MLink many(&pedigrees);
    MLinkTestAccess::setMode(many, "basic");
    std::vector<MLinkMarker*> markers;
    for (int m = 1; m <= 101; ++m)
        markers.push_back(gridMarker("M" + std::to_string(m), [m](size_t i) { return i == 3 ? 0.01 * m : 0.0; }));
    MLinkTestAccess::addPhenotype(many, "DISEASE_LOCUS", markers);
    captureOutput([&] { EXPECT_TRUE(many.writeResultsFile(dir.file("many"))); });
    const std::string paged = dir.read("many.ps");
    EXPECT_TRUE(contains(paged, "%%Pages: 2\n"));
    const std::string first = pageText(paged, 1), second = pageText(paged, 2);
    EXPECT_EQ(count(first, "% rightlower"), 100u);
    EXPECT_TRUE(contains(first, "(M1)show") && contains(first, "(M100)show"));
    EXPECT_EQ(count(second, "% rightlower"), 1u);
    EXPECT_TRUE(contains(second, "(M101)show"));
    EXPECT_FALSE(contains(second, "(@"));
    // 100 slots of 600/100 - 5 points: the one real bar takes the top slot.
    EXPECT_TRUE(contains(second, " 100 694 moveto   % rightlower"));
    EXPECT_TRUE(rendersInGhostscript(dir.file("many.ps")));

    captureOutput([&] { many.maximizeHLod(); });
    captureOutput([&] { EXPECT_TRUE(many.writeHLodPostscript(dir.file("manyhet"))); });
    const std::string hetPaged = dir.read("manyhet.ps");
    EXPECT_TRUE(contains(hetPaged, "%%Pages: 2\n"));
    EXPECT_EQ(count(pageText(hetPaged, 2), "% rightlower"), 1u);
    EXPECT_TRUE(rendersInGhostscript(dir.file("manyhet.ps")));

    // Two bars of 2 and 1: slots of 300 points, lengths in proportion inside the 400-point frame.
    MLink two(&pedigrees);
    MLinkTestAccess::setMode(two, "basic");
    MLinkTestAccess::addPhenotype(two, "DISEASE_LOCUS",
                                  {gridMarker("A", [](size_t i) { return i == 1 ? 2.0 : -4.0 + 0.1 * i; }),
                                   gridMarker("B", [](size_t i) { return i == 2 ? 1.0 : 0.0; })});
    captureOutput([&] { EXPECT_TRUE(two.writeResultsFile(dir.file("two"))); });
    const std::string bars = dir.read("two.ps");
    EXPECT_TRUE(contains(bars, " 100 400 moveto   % rightlower"));
    EXPECT_TRUE(contains(bars, "400 0 rlineto"));
    EXPECT_TRUE(contains(bars, " 100 100 moveto   % rightlower"));
    EXPECT_TRUE(contains(bars, "200 0 rlineto"));
    EXPECT_TRUE(rendersInGhostscript(dir.file("two.ps")));

    // Curves: one page per marker; points below LOD -3 are dropped. A keeps theta 0 and the
    // thetas from 0.18 to 0.48 (17 points: 8 segments); B keeps all 26 points (12 segments,
    // the last point of an even count is not drawn).
    captureOutput([&] { EXPECT_TRUE(two.writeAllLODScoresFile(dir.file("curves"))); });
    const std::string curves = dir.read("curves.ps");
    EXPECT_TRUE(contains(curves, "%%Pages: 2\n"));
    const std::string pageA = pageText(curves, 1), pageB = pageText(curves, 2);
    EXPECT_EQ(count(pageA, "curveto"), 8u);
    EXPECT_EQ(count(pageB, "curveto"), 12u);
    // Value axis from -3 to the best LOD 2 over x 100..500; theta 0 at the top (y 700).
    EXPECT_TRUE(contains(pageA, "500 700 moveto\n"));
    EXPECT_TRUE(contains(pageA, "100 700 moveto [3 3] 0 setdash 0.4 setlinewidth 500 700 lineto stroke"));
    EXPECT_TRUE(contains(pageB, "340 700 moveto\n"));
    EXPECT_TRUE(rendersInGhostscript(dir.file("curves.ps")));
}
