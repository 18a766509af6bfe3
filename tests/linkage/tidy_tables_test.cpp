// The tab-separated tables, the scan figure and the PDF plots of real runs, against the text
// reports of the same run (every number, in both directions), closed-form LODs and ghostscript.

#include <cmath>
#include <map>
#include <set>

#include "linkage/closed_form_reports.h"
#include "support/scan_figure_reading.h"

using namespace testing_support;
using namespace closed_form;

namespace {

struct Table {
    std::vector<std::string> header;
    std::vector<std::map<std::string, std::string>> rows;
};

Table readTable(const std::string& text) {
    Table table;
    for (const std::string& line : lines(text)) {
        std::vector<std::string> fields;
        size_t start = 0;
        for (size_t tab; (tab = line.find('\t', start)) != std::string::npos; start = tab + 1)
            fields.push_back(line.substr(start, tab - start));
        fields.push_back(line.substr(start));
        if (table.header.empty()) {
            table.header = fields;
            continue;
        }
        EXPECT_EQ(fields.size(), table.header.size()) << line;
        std::map<std::string, std::string> row;
        for (size_t i = 0; i < fields.size() && i < table.header.size(); ++i) row[table.header[i]] = fields[i];
        table.rows.push_back(row);
    }
    return table;
}

// A theta as a key: the reports write 0.02 as "0.02" or "0.020000".
long thetaKey(const std::string& text) { return std::lround(number(text) * 1000.0); }

// Equal to a report's number rounded to `decimals` (of the mantissa, in scientific notation).
::testing::AssertionResult roundsTo(const std::string& full, const std::string& rounded, int decimals) {
    if (std::isinf(number(full)) && number(full) == number(rounded)) return ::testing::AssertionSuccess();
    const double difference = std::fabs(number(full) - number(rounded));
    const size_t e = rounded.find('e');
    const int exponent = e == std::string::npos ? 0 : std::stoi(rounded.substr(e + 1));
    if (difference <= 0.5 * std::pow(10.0, exponent - decimals) * (1 + 1e-9) + 1e-12)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << full << " is not " << rounded;
}

// Pre-makeped families whose LOD at the first marker has a closed form (families 1, 2 and 3 of
// the singlepoint closed-form test: k=4 r=0, k=2 r=1, k=3 r=1); the founders are typed at the
// second marker, the children are not, so it carries no linkage information.
const char* const kFamilies =
    "1 1 0 0 1 2 1 2 5 6\n1 2 0 0 2 1 3 3 7 7\n1 3 1 2 1 2 1 3 0 0\n1 4 1 2 1 2 1 3 0 0\n1 5 1 2 1 1 2 3 0 0\n"
    "1 6 1 2 2 2 1 3 0 0\n"
    "2 1 0 0 1 2 104 108 1 2\n2 2 0 0 2 1 112 112 3 4\n2 3 1 2 1 2 104 112 0 0\n2 4 1 2 2 1 104 112 0 0\n"
    "2 5 1 2 1 1 108 112 0 0\n"
    "3 1 0 0 1 2 1 2 1 1\n3 2 0 0 2 1 3 3 2 3\n3 3 1 2 1 2 2 3 0 0\n3 4 1 2 2 1 2 3 0 0\n3 5 1 2 1 2 1 3 0 0\n"
    "3 6 1 2 2 1 2 3 0 0\n";
const char* const kModel = "0 0.0001 1\n0.0 1.0 1.0\n";
const std::string kNamed = "M1(a\\b)";

double firstMarkerLod(double theta) {
    return closedFormLod(theta, 4, 0) + closedFormLod(theta, 2, 1) + closedFormLod(theta, 3, 1);
}

// Per-pedigree LODs of a by-family report: (marker, pedigree, theta) -> text.
std::map<std::tuple<std::string, std::string, long>, std::string> byFamilyValues(const std::string& report) {
    std::map<std::tuple<std::string, std::string, long>, std::string> values;
    const std::vector<std::string> text = lines(report);
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i].rfind("Marker: ", 0) != 0) continue;
        const std::string marker = text[i].substr(8);
        const std::vector<std::string> thetas = words(text.at(i + 3));
        for (size_t row = i + 4; row < text.size() && words(text[row]).size() == thetas.size() + 1; ++row) {
            const std::vector<std::string> w = words(text[row]);
            for (size_t t = 0; t < thetas.size(); ++t) values[{marker, w[0], thetaKey(thetas[t])}] = w[t + 1];
        }
    }
    return values;
}

// Total LODs of a curve report: (marker, theta) -> text.
std::map<std::pair<std::string, long>, std::string> curveValues(const std::string& report) {
    std::map<std::pair<std::string, long>, std::string> values;
    std::vector<std::string> markers;
    for (const std::string& line : lines(report)) {
        const std::vector<std::string> w = words(line);
        if (!w.empty() && w[0] == "Theta") markers.assign(w.begin() + 1, w.end());
        else if (!markers.empty() && w.size() == markers.size() + 1)
            for (size_t m = 0; m < markers.size(); ++m) values[{markers[m], thetaKey(w[0])}] = w[m + 1];
    }
    return values;
}

}  // namespace

// Whole and nuclear pedigrees, with a marker whose name PostScript would misread and a second
// chromosome: the tables against the reports, the closed forms and the map; the figure's pages
// and points; every plot as PDF under a prefix that ghostscript would read as a page template.
TEST(TidyTables, SinglepointTablesFigureAndPdfEqualTheReports) {
    ScratchDir dir;
    dir.write("p.pre", kFamilies);
    dir.write("m.map", "CHROMOSOME HALDANE POSITION\n1 10.0 " + kNamed + "\n2 20.0 U\n");
    dir.write("d.model", kModel);
    const RunResult run = runProgram("varkel",
                                     {"--ped", "p.pre", "--map", "m.map", "--model", "d.model", "--singlepoint",
                                      "--nuclear", "--byfamily", "--hlod", "--singlepointcurves", "--pdf", "--prefix",
                                      "r%d"},
                                     dir.path());
    ASSERT_EQ(run.status, 0) << run.output;

    const Table lod = readTable(dir.read("r%d_lod.tsv"));
    EXPECT_EQ(lod.header, (std::vector<std::string>{"phenotype", "analysis", "marker", "chromosome", "cM", "pedigree",
                                                     "theta", "lod"}));
    std::string phenotype;
    for (const char* analysis : {"singlepoint", "nuclear"}) {
        SCOPED_TRACE(analysis);
        const std::string base = std::string("r%d_singlepoint") + (analysis == std::string("nuclear") ? "_nuc" : "");
        auto pedigreeLods = byFamilyValues(dir.read(base + "_by_family.out"));
        auto totals = curveValues(dir.read(base + "_curves.out"));
        ASSERT_FALSE(pedigreeLods.empty());
        ASSERT_EQ(totals.size(), 2u * 26u);
        for (const auto& row : lod.rows) {
            if (row.at("analysis") != analysis) continue;
            phenotype = row.at("phenotype");
            const std::string& marker = row.at("marker");
            EXPECT_EQ(row.at("chromosome"), marker == kNamed ? "1" : "2");
            EXPECT_EQ(row.at("cM"), marker == kNamed ? "10" : "20");
            const long theta = thetaKey(row.at("theta"));
            if (row.at("pedigree") == "ALL") {
                const auto found = totals.find({marker, theta});
                ASSERT_NE(found, totals.end()) << marker << " " << theta;
                EXPECT_TRUE(roundsTo(row.at("lod"), found->second, 6));
                if (marker == kNamed) expectLod(number(row.at("lod")), firstMarkerLod(theta / 1000.0), marker);
                else EXPECT_NEAR(number(row.at("lod")), 0.0, 1e-5);
                totals.erase(found);
            } else {
                const auto found = pedigreeLods.find({marker, row.at("pedigree"), theta});
                ASSERT_NE(found, pedigreeLods.end()) << marker << " " << row.at("pedigree") << " " << theta;
                EXPECT_TRUE(roundsTo(row.at("lod"), found->second, 5));
                pedigreeLods.erase(found);
            }
        }
        // Every number of the reports was met once.
        EXPECT_TRUE(pedigreeLods.empty());
        EXPECT_TRUE(totals.empty());
    }

    // The heterogeneity maxima: the summary's rows and the grid's value at (theta, alpha).
    const Table hlod = readTable(dir.read("r%d_hlod.tsv"));
    EXPECT_EQ(hlod.header, (std::vector<std::string>{"phenotype", "analysis", "marker", "theta", "alpha", "hlod"}));
    ASSERT_EQ(hlod.rows.size(), 4u);
    std::map<std::string, std::vector<std::string>> summary;
    for (const std::string& line : lines(dir.read("r%d_summary.out"))) {
        const std::vector<std::string> w = words(line);
        if (w.size() == 7 && (w[0] == kNamed || w[0] == "U")) summary[w[0]] = w;  // the LodHet rows
    }
    ASSERT_EQ(summary.size(), 2u);
    for (const auto& row : hlod.rows) {
        const bool nuclear = row.at("analysis") == "nuclear";
        const std::vector<std::string>& w = summary.at(row.at("marker"));
        EXPECT_TRUE(roundsTo(row.at("hlod"), w[nuclear ? 4 : 1], 6));
        EXPECT_TRUE(roundsTo(row.at("alpha"), w[nuclear ? 6 : 3], 2));
        if (row.at("marker") == "U") {
            // Nothing linked: HLOD 0 at alpha 0, where theta has no meaning.
            EXPECT_EQ(row.at("theta"), "NA");
            EXPECT_EQ(row.at("alpha"), "0");
            EXPECT_EQ(row.at("hlod"), "0");
            continue;
        }
        EXPECT_TRUE(roundsTo(row.at("theta"), w[nuclear ? 5 : 2], 2));
        const std::vector<std::string> grid =
            lines(dir.read(std::string("r%d_singlepoint") + (nuclear ? "_nuc" : "") + "_het.out"));
        const size_t at = std::find(grid.begin(), grid.end(), "\tMarker: " + kNamed) - grid.begin() + 3;
        // The columns are alpha, the rows theta.
        EXPECT_EQ(words(grid.at(at - 2)), std::vector<std::string>{"Alpha"});
        EXPECT_EQ(words(grid.at(at - 1)), std::vector<std::string>{"Theta"});
        const std::vector<std::string> alphas = words(grid.at(at));
        const size_t column = std::find_if(alphas.begin(), alphas.end(), [&](const std::string& a) {
                                  return std::fabs(number(a) - number(row.at("alpha"))) < 1e-9;
                              }) - alphas.begin();
        ASSERT_LT(column, alphas.size());
        bool found = false;
        for (size_t line = at + 1; line < at + 26; ++line) {
            const std::vector<std::string> values = words(grid.at(line));
            if (thetaKey(values.at(0)) != thetaKey(row.at("theta"))) continue;
            EXPECT_TRUE(roundsTo(row.at("hlod"), values.at(column + 1), 5));
            found = true;
        }
        EXPECT_TRUE(found) << row.at("theta");
    }

    // The figure: one page per chromosome; the markers' dots at their cM and best LODs.
    const std::vector<ScanPage> pages = readScanPages(dir.read("r%d_scan.ps"));
    ASSERT_EQ(pages.size(), 2u);
    double best = 0.0;
    for (double t : mlinkThetas()) best = std::max(best, firstMarkerLod(t));
    ASSERT_EQ(pages[0].lodPoints.size(), 1u);
    EXPECT_NEAR(pages[0].position(pages[0].lodPoints[0].first), 10.0, 0.01);
    EXPECT_NEAR(pages[0].lod(pages[0].lodPoints[0].second), best, 0.01);
    ASSERT_EQ(pages[0].markerNames.size(), 1u);
    EXPECT_EQ(pages[0].markerNames[0].second, kNamed);
    ASSERT_EQ(pages[1].lodPoints.size(), 1u);
    EXPECT_NEAR(pages[1].position(pages[1].lodPoints[0].first), 20.0, 0.01);
    EXPECT_NEAR(pages[1].lod(pages[1].lodPoints[0].second), 0.0, 0.01);
    EXPECT_TRUE(contains(textDrawnByGhostscript(dir.file("r%d_scan.ps")), "Phenotype: " + phenotype));

    // Every plot as PDF, with the pages of its PostScript file.
    const std::vector<std::string> plots = {"r%d_singlepoint",          "r%d_singlepoint_curves",
                                            "r%d_singlepoint_het",      "r%d_singlepoint_nuc",
                                            "r%d_singlepoint_nuc_curves", "r%d_singlepoint_nuc_het", "r%d_scan"};
    for (const std::string& plot : plots) {
        const int pagesDrawn = pagesRenderedByGhostscript(dir.file(plot + ".ps"));
        EXPECT_GT(pagesDrawn, 0) << plot;
        EXPECT_EQ(pagesRenderedByGhostscript(dir.file(plot + ".pdf")), pagesDrawn) << plot;
        EXPECT_TRUE(contains(run.output, "The plots as PDF: " + plot + ".pdf\n")) << plot;
        // Every page opens upright: wider than high as a viewer shows it.
        const std::vector<std::pair<int, int>> sizes = drawnPageSizesByGhostscript(dir.file(plot + ".pdf"));
        EXPECT_EQ(static_cast<int>(sizes.size()), pagesDrawn) << plot;
        for (const auto& size : sizes) EXPECT_GT(size.first, size.second) << plot;
    }
    // The title lines stand apart: phenotype and analysis each on a line of their own (ghostscript
    // ends its text lines with CR LF).
    const std::string histogram = textDrawnByGhostscript(dir.file("r%d_singlepoint_het.pdf"));
    EXPECT_TRUE(contains(histogram, " Phenotype: " + phenotype + "\r\n")) << histogram;
    EXPECT_TRUE(contains(histogram, " Linkage Analysis under heterogeneity\r\n")) << histogram;
    EXPECT_FALSE(contains(histogram, "\t")) << histogram;
    EXPECT_EQ(pagesRenderedByGhostscript(dir.file("r%d_scan.pdf")), 2);
    // Landscape as drawn, not turned by ghostscript for its upright marker names.
    EXPECT_TRUE(contains(dir.read("r%d_scan.pdf"), "/MediaBox [0 0 842 595]"));
    EXPECT_FALSE(contains(dir.read("r%d_scan.pdf"), "/Rotate 90"));
}

// Without ghostscript on the PATH: one warning, the PostScript plots stay, the run succeeds.
TEST(TidyTables, PdfWithoutGhostscriptWarnsOnceAndKeepsThePostScript) {
    ScratchDir dir;
    dir.write("p.pre", kFamilies);
    dir.write("m.map", "CHROMOSOME HALDANE POSITION\n1 10.0 M1\n2 20.0 U\n");
    dir.write("d.model", kModel);
    const RunResult run = runProgram("/usr/bin/env",
                                     {"PATH=" + dir.path(), std::string(VARKEL_BIN_DIR) + "/varkel", "--ped", "p.pre",
                                      "--map", "m.map", "--model", "d.model", "--singlepoint", "--hlod", "--pdf"},
                                     dir.path());
    EXPECT_EQ(run.status, 0) << run.output;
    const std::string warning = "Warning: ghostscript (gs) could not be started";
    EXPECT_TRUE(contains(run.output, warning)) << run.output;
    EXPECT_EQ(run.output.find(warning), run.output.rfind(warning));
    for (const char* plot : {"varkel_singlepoint", "varkel_singlepoint_het", "varkel_scan"}) {
        EXPECT_TRUE(dir.exists(std::string(plot) + ".ps")) << plot;
        EXPECT_FALSE(dir.exists(std::string(plot) + ".pdf")) << plot;
    }
    EXPECT_TRUE(dir.exists("varkel_hlod.tsv"));
    EXPECT_TRUE(dir.exists("varkel_lod.tsv"));
}

namespace {

// The families with their first marker's genotypes at each of `markers` markers.
std::string firstMarkerRepeated(int markers) {
    std::string text;
    for (const std::string& line : lines(kFamilies)) {
        const std::vector<std::string> w = words(line);
        std::string out = w[0];
        for (size_t i = 1; i < 6; ++i) out += " " + w[i];
        for (int m = 0; m < markers; ++m) out += " " + w[6] + " " + w[7];
        text += out + "\n";
    }
    return text;
}

double haldaneCentiMorgans(double theta) { return -50.0 * std::log(1.0 - 2.0 * theta); }

std::string fixedText(double value, int decimals = 5) {
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", decimals, value);
    return text;
}

}  // namespace

// Windows of two of three markers: each evaluation point of the table against the LOD table,
// the per-family table, the heterogeneity grid and the map position worked out by hand from the
// report's recombination fractions; the figure's line against the table.
TEST(TidyTables, MultipointTableAndLineEqualTheReports) {
    ScratchDir dir;
    dir.write("p.pre", firstMarkerRepeated(3));
    dir.write("m.map", "CHROMOSOME HALDANE POSITION\n1 10.0 M1\n1 20.0 M2\n1 35.0 M3\n");
    dir.write("d.model", kModel);
    const RunResult run = runProgram("varkel",
                                     {"--ped", "p.pre", "--map", "m.map", "--model", "d.model", "--multipoint",
                                      "--wsize", "2", "--steps", "2", "--byfamily"},
                                     dir.path());
    ASSERT_EQ(run.status, 0) << run.output;
    const Table table = readTable(dir.read("varkel_multipoint.tsv"));
    EXPECT_EQ(table.header, (std::vector<std::string>{"phenotype", "window", "trait_position", "cM", "pedigree", "lod",
                                                       "hlod", "alpha"}));
    const std::vector<std::string> report = lines(dir.read("varkel_multipoint.out"));
    const std::vector<std::string> byFamily = lines(dir.read("varkel_multipoint_by_family.out"));
    const std::vector<std::string> grid = lines(dir.read("varkel_multipoint_het.out"));
    const double markerPositions[] = {10.0, 20.0, 35.0};

    size_t row = 0;
    for (int first = 0; first < 2; ++first) {
        const std::string window = "M" + std::to_string(first + 1) + " M" + std::to_string(first + 2);
        SCOPED_TRACE(window);
        size_t point = std::find(report.begin(), report.end(), "Markers: " + window + " ") - report.begin() + 2;
        const size_t families = std::find(byFamily.begin(), byFamily.end(), "\tMarkers: " + window + " ") -
                                byFamily.begin() + 4;
        const size_t alphas = std::find(grid.begin(), grid.end(), "\tMarkers: " + window + " ") - grid.begin() + 4;
        ASSERT_LT(alphas + 100, grid.size());
        int column = 0;
        // The report's rows of this window, one per evaluation point, in the table's order.
        for (; point < report.size() && words(report[point]).size() == 4; ++point, ++column) {
            const std::vector<std::string> reported = words(report[point]);
            ASSERT_LT(row, table.rows.size());
            const auto& total = table.rows[row++];
            EXPECT_EQ(total.at("window"), window);
            EXPECT_EQ(total.at("pedigree"), "ALL");
            EXPECT_TRUE(roundsTo(total.at("lod"), reported[3], 6));
            // The trait's recombination fraction: to the marker before it, or after it when first.
            const int trait = std::stoi(total.at("trait_position"));
            const double theta = number(reported[trait == 0 ? 0 : trait - 1]);
            if (theta >= 0.4995) {  // the trait unlinked, outside the window
                EXPECT_EQ(total.at("cM"), "NA");
            } else {
                const double cM = trait == 0 ? markerPositions[first] - haldaneCentiMorgans(theta)
                                             : markerPositions[first + trait - 1] + haldaneCentiMorgans(theta);
                EXPECT_NEAR(number(total.at("cM")), cM, 5.1e-4 * 100.0 / (1.0 - 2.0 * theta)) << report[point];
            }
            // The best HLOD of the point's grid column, and its alpha.
            double highest = -1e300;
            for (size_t a = 0; a <= 100; ++a) highest = std::max(highest, number(words(grid.at(alphas + a))[column + 1]));
            EXPECT_TRUE(roundsTo(total.at("hlod"), fixedText(highest), 5));
            const size_t alphaRow = alphas + std::lround(number(total.at("alpha")) * 100.0);
            EXPECT_TRUE(roundsTo(total.at("hlod"), words(grid.at(alphaRow))[column + 1], 5));
            // Then a row per pedigree, as in the per-family table.
            for (size_t p = 0; p < 3; ++p) {
                ASSERT_LT(row, table.rows.size());
                const auto& pedigree = table.rows[row++];
                const std::vector<std::string> values = words(byFamily.at(families + p));
                EXPECT_EQ(pedigree.at("pedigree"), values.at(0));
                EXPECT_EQ(pedigree.at("cM"), total.at("cM"));
                EXPECT_TRUE(roundsTo(pedigree.at("lod"), values.at(column + 1), 5));
                EXPECT_EQ(pedigree.at("hlod"), "NA");
                EXPECT_EQ(pedigree.at("alpha"), "NA");
            }
        }
        EXPECT_EQ(column, 2 + 3 + 3);  // two points from 0.5 on, three to the next marker, three to 0.5
    }
    EXPECT_EQ(row, table.rows.size());

    // The figure's line: before M1 and after M3 from the outer windows, each interval from the
    // window that holds it; every point of it a point of the table. The label names the highest
    // point between the outermost markers.
    const std::vector<ScanPage> pages = readScanPages(dir.read("varkel_scan.ps"));
    ASSERT_EQ(pages.size(), 1u);
    ASSERT_EQ(pages[0].profile.size(), 4u);
    const std::string pieces[] = {"M1 M2 0", "M1 M2 1", "M2 M3 1", "M2 M3 2"};
    double highest = -1e300;
    for (size_t piece = 0; piece < 4; ++piece) {
        std::vector<std::pair<double, double>> expected;
        for (const auto& r : table.rows)
            if (r.at("pedigree") == "ALL" && r.at("cM") != "NA" && r.at("window") + " " + r.at("trait_position") == pieces[piece])
                expected.emplace_back(number(r.at("cM")), number(r.at("lod")));
        ASSERT_EQ(pages[0].profile[piece].size(), expected.size()) << pieces[piece];
        for (size_t i = 0; i < expected.size(); ++i) {
            EXPECT_NEAR(pages[0].position(pages[0].profile[piece][i].first), expected[i].first, 0.01) << pieces[piece];
            if (expected[i].second >= -2.0) {  // far below, a LOD is drawn at the edge of what is shown
                EXPECT_NEAR(pages[0].lod(pages[0].profile[piece][i].second), expected[i].second, 0.01);
            }
            if (expected[i].first >= 10.0 && expected[i].first <= 35.0) highest = std::max(highest, expected[i].second);
        }
    }
    ASSERT_EQ(pages[0].bestLabels.size(), 1u);
    EXPECT_TRUE(contains(pages[0].bestLabels[0], "max multipoint LOD " + fixedText(highest, 2))) << pages[0].bestLabels[0];
}
