// The multipoint scan through real LINKMAP against likelihoods computed here by enumeration:
// families whose father is doubly heterozygous at every marker and affected with a fully
// penetrant dominant disease, the mother homozygous and unaffected. A child's paternal
// haplotype origin is then seen at every typed marker and, through its status, at the trait;
// with no interference (a Haldane map, as LINKMAP assumes between markers) a child's
// likelihood is 1/2 times theta or 1 - theta for each adjacent pair of loci along the map,
// as its origin changes or not. Unknown phases of the father and untyped markers of a child
// are summed over. The evaluation points are those LINKMAP steps through: before the window,
// `steps` points from 0.5 toward the first marker in steps of 0.5 / steps (the marker itself
// is the next position's first point); elsewhere from 0 in equal steps added up in floating
// point while the stop value is not passed, so that some step counts (9, 11, 18, 20, ...)
// never reach it (LINKMAP run by hand on steps 1 to 20).

#include <cmath>
#include <functional>
#include <regex>

#include "linkage/closed_form_reports.h"
#include "linkage/linkmap_results.h"

using namespace testing_support;
using namespace closed_form;

namespace {

double haldane(double cM) { return 0.5 * (1.0 - std::exp(-2.0 * cM / 100.0)); }

// One family: children's allele from the father at each marker (1 or 2, 0 untyped) and status.
struct Child {
    bool affected;
    std::vector<int> paternal;
};
struct Family {
    std::string id;
    bool phaseKnown;  // the father's parents show that D and allele 1 of every marker are together
    std::vector<Child> children;
};

// The trait's place in the window and its recombination fractions to its neighbours.
struct Point {
    int position;   // 0: before the first marker, k: after the last
    double left;    // to the marker before it (position > 0), or to the first marker (position 0)
    double right;   // to the marker after it, inside the window
};

// LINKMAP's points for a window with these adjacent-marker fractions.
std::vector<Point> linkmapPoints(const std::vector<double>& fractions, int steps) {
    std::vector<Point> points;
    const int k = static_cast<int>(fractions.size()) + 1;
    for (int t = 0; t <= k; ++t) {
        const double start = t == 0 ? 0.5 : 0.0;
        const double stop = t == 0 ? 0.0 : t == k ? 0.5 : fractions[t - 1];
        const double step = (stop - start) / steps;
        int j = 0;
        for (double x = start; t == 0 ? j < steps : x <= stop; x += step, ++j) {
            const double right = t > 0 && t < k ? (fractions[t - 1] - x) / (1.0 - 2.0 * x) : 0.0;
            points.push_back({t, x, std::max(right, 0.0)});
        }
    }
    return points;
}

double factor(int a, int b, double theta) { return a == b ? 1.0 - theta : theta; }

// Likelihood of a family (up to factors that do not depend on the trait's place) with the
// trait at `point` of a window of markers `markers` (indices into the children's lists).
double familyLikelihood(const Family& family, const std::vector<int>& markers, const std::vector<double>& fractions,
                        const Point& point) {
    const int k = static_cast<int>(markers.size());
    double total = 0.0;
    // Phases: which paternal allele of each marker (and whether D) lies on haplotype 0.
    const int phases = family.phaseKnown ? 1 : 1 << k;
    for (int phase = 0; phase < phases; ++phase) {
        double product = 1.0;
        for (const Child& child : family.children) {
            // Origins at the trait (from its status) and at each marker (unknown: both).
            const int trait = child.affected ? 0 : 1;
            double sum = 0.0;
            for (int unknown = 0; unknown < 1 << k; ++unknown) {
                std::vector<int> origin(static_cast<size_t>(k));
                bool consistent = true;
                for (int m = 0; m < k; ++m) {
                    const int allele = child.paternal[static_cast<size_t>(markers[static_cast<size_t>(m)])];
                    const int flip = (phase >> m) & 1;
                    if (allele == 0) origin[static_cast<size_t>(m)] = (unknown >> m) & 1;
                    else origin[static_cast<size_t>(m)] = (allele - 1) ^ flip;
                    consistent = consistent && (allele == 0 || ((unknown >> m) & 1) == 0);
                }
                if (!consistent) continue;
                double p = 0.5;
                for (int m = 0; m + 1 < k; ++m)
                    if (m + 1 != point.position)
                        p *= factor(origin[static_cast<size_t>(m)], origin[static_cast<size_t>(m) + 1], fractions[static_cast<size_t>(m)]);
                if (point.position == 0) p *= factor(trait, origin[0], point.left);
                else if (point.position == k) p *= factor(origin[static_cast<size_t>(k) - 1], trait, point.left);
                else
                    p *= factor(origin[static_cast<size_t>(point.position) - 1], trait, point.left) *
                         factor(trait, origin[static_cast<size_t>(point.position)], point.right);
                sum += p;
            }
            product *= sum;
        }
        total += product;
    }
    return total;
}

std::vector<std::string> fieldsOf(const std::string& line) { return words(line); }

// Equal within the tolerance, or the same infinity (a point where a family is impossible).
::testing::AssertionResult near(double reported, double expected, double tolerance) {
    if (std::isinf(expected) ? reported == expected : std::fabs(reported - expected) <= tolerance)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "reported " << reported << ", expected " << expected;
}

// Pre-makeped lines of a family; with a known phase, grandparents 1 (affected, 1/1) and 2
// (2/2) are the father's parents.
std::string familyLines(const Family& family, int markers) {
    std::ostringstream out;
    const auto all = [markers](const std::string& genotype) {
        std::string text;
        for (int m = 0; m < markers; ++m) text += " " + genotype;
        return text;
    };
    const std::string& f = family.id;
    if (family.phaseKnown) {
        out << f << " 1 0 0 1 2" << all("1 1") << "\n" << f << " 2 0 0 2 1" << all("2 2") << "\n";
        out << f << " 3 1 2 1 2" << all("1 2") << "\n";
    } else {
        out << f << " 3 0 0 1 2" << all("1 2") << "\n";
    }
    out << f << " 4 0 0 2 1" << all("3 3") << "\n";
    int id = 5;
    for (const Child& child : family.children) {
        out << f << " " << id << " 3 4 " << 1 + id % 2 << " " << (child.affected ? 2 : 1);
        ++id;
        for (int allele : child.paternal) out << (allele == 0 ? " 0 0" : " " + std::to_string(allele) + " 3");
        out << "\n";
    }
    return out.str();
}

const std::vector<Family> kFamilies = {
    {"F1", true, {{true, {1, 1, 1}}, {true, {1, 1, 2}}, {false, {2, 2, 2}}, {false, {1, 2, 2}}, {true, {2, 1, 1}}}},
    {"F2", false, {{true, {1, 1, 1}}, {true, {1, 1, 1}}, {false, {2, 2, 1}}, {false, {2, 2, 2}}}},
    {"F3", true, {{true, {1, 0, 1}}, {false, {2, 0, 2}}, {true, {1, 1, 0}}, {false, {1, 2, 2}}}},
};

const char* const kMap = "CHROMOSOME HALDANE POSITION\n1 10.0 M1\n1 20.0 M2\n1 35.0 M3\n";
const double kPositions[] = {10.0, 20.0, 35.0};

}  // namespace

// Windows of two markers: totals, pedigree LODs, the heterogeneity grid, the positions of the
// summary and the plot, all against the enumeration; the grid of points against LINKMAP's rule.
TEST(MultipointEndToEnd, WindowsMatchEnumeratedLikelihoodsAtEveryPoint) {
    ScratchDir dir;
    std::string pedigree;
    for (const Family& family : kFamilies) pedigree += familyLines(family, 3);
    dir.write("p.pre", pedigree);
    dir.write("m.map", kMap);
    dir.write("d.model", "0 0.0001 1\n0.0 1.0 1.0\n");
    const RunResult run = runProgram("varkel",
                                     {"--ped", "p.pre", "--map", "m.map", "--model", "d.model", "--multipoint",
                                      "--wsize", "2", "--steps", "4", "--byfamily", "--jobs", "2"},
                                     dir.path());
    ASSERT_EQ(run.status, 0) << run.output;

    const std::vector<std::string> report = lines(dir.read("varkel_multipoint.out"));
    const std::vector<std::string> byFamily = lines(dir.read("varkel_multipoint_by_family.out"));
    const std::vector<std::string> grid = lines(dir.read("varkel_multipoint_het.out"));
    const std::vector<std::string> summary = lines(dir.read("varkel_summary.out"));
    for (int first = 0; first < 2; ++first) {
        const std::vector<int> markers{first, first + 1};
        const std::string key = "M" + std::to_string(first + 1) + " M" + std::to_string(first + 2) + " ";
        SCOPED_TRACE(key);
        const std::vector<double> fractions{haldane(kPositions[first + 1] - kPositions[first])};
        const std::vector<Point> points = linkmapPoints(fractions, 4);
        ASSERT_EQ(points.size(), 4u + 5u + 5u);  // four from 0.5 on, 0 to the next marker, 0 to 0.5
        const Point null{0, 0.5, 0.0};

        // Expected pedigree LODs at every point.
        std::vector<std::vector<double>> lods(points.size());
        for (size_t e = 0; e < points.size(); ++e)
            for (const Family& family : kFamilies)
                lods[e].push_back(std::log10(familyLikelihood(family, markers, fractions, points[e]) /
                                             familyLikelihood(family, markers, fractions, null)));

        // Per family: a row per pedigree in the file's order, a column per point.
        size_t at = std::find(byFamily.begin(), byFamily.end(), "\tMarkers: " + key) - byFamily.begin() + 3;
        for (size_t p = 0; p < kFamilies.size(); ++p) {
            const std::vector<std::string> f = fieldsOf(byFamily.at(at + 1 + p));
            ASSERT_EQ(f.size(), points.size() + 1) << byFamily.at(at + 1 + p);
            EXPECT_EQ(f[0], kFamilies[p].id);
            for (size_t e = 0; e < points.size(); ++e) EXPECT_TRUE(near(number(f[e + 1]), lods[e][p], 2e-5)) << f[0] << " " << e;
        }

        // The LOD table: thetas as LINKMAP printed them (three decimals), the total LOD.
        size_t row = std::find(report.begin(), report.end(), "Markers: " + key) - report.begin() + 2;
        double best = -1e9, bestPosition = 0.0;
        for (size_t e = 0; e < points.size(); ++e, ++row) {
            const std::vector<std::string> f = fieldsOf(report.at(row));
            ASSERT_EQ(f.size(), 4u) << report.at(row);
            const double inner = points[e].position == 1 ? points[e].right : 0.0;
            const double printedLeft = points[e].position == 2 ? fractions[0] : points[e].left;
            const double printedRight = points[e].position == 0 ? fractions[0] : points[e].position == 2 ? points[e].left : inner;
            EXPECT_NEAR(number(f[0]), printedLeft, 5.1e-4) << report.at(row);
            EXPECT_NEAR(number(f[1]), printedRight, 5.1e-4) << report.at(row);
            double total = 0.0;
            for (double lod : lods[e]) total += lod;
            EXPECT_TRUE(near(number(f[3]), total, 3e-4)) << report.at(row);
            if (total > best) {
                best = total;
                const double cM = -50.0 * std::log(1.0 - 2.0 * points[e].left);
                bestPosition = points[e].position == 0 ? kPositions[first] - cM : kPositions[first + points[e].position - 1] + cM;
            }
        }

        // Heterogeneity: a row per alpha, a column per point.
        at = std::find(grid.begin(), grid.end(), "\tMarkers: " + key) - grid.begin() + 3;
        for (int a = 0; a <= 100; ++a) {
            const std::vector<std::string> f = fieldsOf(grid.at(at + 1 + static_cast<size_t>(a)));
            ASSERT_EQ(f.size(), points.size() + 1);
            const double alpha = number(f[0]);
            EXPECT_NEAR(alpha, a * 0.01, 1e-9);
            for (size_t e = 0; e < points.size(); ++e)
                EXPECT_TRUE(near(number(f[e + 1]), admixtureLod(lods[e], alpha), 2e-5)) << "alpha " << f[0] << " point " << e;
        }

        // The summary's best LOD and where it is on the map.
        const std::string name = key.substr(0, key.size() - 1);
        const auto line = std::find_if(summary.begin(), summary.end(), [&](const std::string& l) { return l.rfind(name + " ", 0) == 0; });
        ASSERT_NE(line, summary.end());
        const std::vector<std::string> f = fieldsOf(*line);
        ASSERT_EQ(f.size(), 7u) << *line;
        EXPECT_NEAR(number(f[2]), best, 3e-4) << *line;
        EXPECT_NEAR(number(f[3]), bestPosition, 0.3) << *line;
    }
    EXPECT_TRUE(rendersInGhostscript(dir.file("varkel_multipoint.ps")));
}

// Window sizes out of range, markers and phenotypes that cannot be analysed, a window of two
// markers at one position, and the number of points LINKMAP evaluates at 9 steps.
TEST(MultipointEndToEnd, WarningsSkippedWindowsAndTheGridAtNineSteps) {
    ScratchDir dir;
    const Family fourMarkers{"F1", true, {{true, {1, 1, 1, 1}}, {false, {2, 2, 2, 1}}, {true, {1, 2, 2, 2}}}};
    dir.write("p.pre", familyLines(fourMarkers, 4));
    dir.write("m.map", "CHROMOSOME HALDANE POSITION\n1 10.0 M1\n1 20.0 M2\n1 20.0 M3\n1 35.0 M4\n");
    dir.write("d.model", "0 0.0001 1\n0.0 1.0 1.0\n");
    const auto varkel = [&](std::vector<std::string> options) {
        std::vector<std::string> arguments{"--ped", "p.pre", "--map", "m.map", "--model", "d.model", "--multipoint"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        return runProgram("varkel", arguments, dir.path());
    };
    // M2 and M3 share a position: the windows holding both are skipped, the others analysed.
    RunResult run = varkel({"--wsize", "1", "--steps", "9"});
    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_TRUE(contains(run.output, "Warning: Multipoint window size must be > 1! Setting window size to 3.\n"));
    EXPECT_TRUE(contains(run.output, "Skipping window M1 M2 M3 since markers M2 and M3 are at the same map position\n"))
        << run.output;
    EXPECT_TRUE(contains(run.output, "Skipping window M2 M3 M4 since markers M2 and M3 are at the same map position\n"));
    EXPECT_FALSE(contains(dir.read("varkel_multipoint.out"), "Markers: M1"));

    run = varkel({"--wsize", "10", "--steps", "9"});
    EXPECT_TRUE(contains(run.output, "Warning: Multipoint window size cannot be more than number of markers! Setting "
                                     "window size to 4\n"));
    // Two markers listed: one window; at 9 steps LINKMAP never reaches 0.5 after the last marker.
    dir.write("only.txt", "1 10.0 M1\n1 35.0 M4\n");
    run = varkel({"--onlymarkers", "only.txt", "--steps", "9", "--marker", "M2"});
    ASSERT_EQ(run.status, 0) << run.output;
    const std::vector<std::string> report = lines(dir.read("varkel_multipoint.out"));
    const size_t first = std::find(report.begin(), report.end(), "Markers: M1 M4 ") - report.begin() + 2;
    ASSERT_LT(first, report.size());
    const std::vector<Point> points = linkmapPoints({haldane(25.0)}, 9);
    std::vector<int> perPosition(3, 0);
    for (const Point& point : points) ++perPosition[static_cast<size_t>(point.position)];
    EXPECT_EQ(perPosition[0], 9);
    EXPECT_EQ(perPosition[2], 9);  // 0.5 is never reached
    ASSERT_GE(report.size(), first + points.size());
    for (size_t e = 0; e < points.size(); ++e) {
        const std::vector<std::string> f = fieldsOf(report[first + e]);
        ASSERT_EQ(f.size(), 4u) << report[first + e];
        const double trait = points[e].position == 1 ? number(f[0]) : points[e].position == 0 ? number(f[0]) : number(f[1]);
        EXPECT_NEAR(trait, points[e].left, 5.1e-4) << report[first + e];
    }
    EXPECT_TRUE(first + points.size() == report.size() || report[first + points.size()].rfind("Markers:", 0) == 0);

    // One usable marker: no multipoint results, but no failure; an unknown phenotype fails.
    dir.write("one.txt", "1 10.0 M1\n");
    run = varkel({"--onlymarkers", "one.txt"});
    EXPECT_EQ(run.status, 0) << run.output;
    EXPECT_TRUE(contains(run.output, "Too few markers to analyze...!\n"));
    run = varkel({"--phenotype", "AGE"});
    EXPECT_EQ(run.status, 255);
    EXPECT_TRUE(contains(run.output, "Error: Phenotype AGE not found!\nNo phenotypes to analyze...!\n")) << run.output;
}

// A pedigree with a marriage loop: its loop is broken for every LINKMAP run, and the totals
// are LINKMAP's own on the same pedigree run by hand.
TEST(MultipointEndToEnd, ALoopedPedigreeAgreesWithLinkmapByHand) {
    ScratchDir dir;
    // Double first cousins marry: brothers 3 and 4 married to sisters 7 and 8.
    const std::string pedigree =
        "1 1 0 0 3 0 0 1 1 2 1 2 1 2\n1 2 0 0 3 0 0 2 0 1 3 4 3 4\n1 3 1 2 9 4 4 1 0 2 1 3 1 3\n"
        "1 4 1 2 10 0 0 1 0 1 2 4 2 4\n1 5 0 0 7 0 0 1 0 1 5 6 5 6\n1 6 0 0 7 0 0 2 0 1 7 8 7 8\n"
        "1 7 5 6 9 8 8 2 0 1 5 7 5 7\n1 8 5 6 10 0 0 2 0 1 6 8 6 8\n1 9 3 7 0 10 0 1 0 2 1 5 1 5\n"
        "1 10 4 8 0 0 0 2 0 1 2 6 2 6\n";
    dir.write("p.ped", pedigree);
    dir.write("m.map", "CHROMOSOME HALDANE POSITION\n1 10.0 M1\n1 20.0 M2\n");
    dir.write("d.model", "0 0.0001 1\n0.0 1.0 1.0\n");
    const RunResult run = runProgram("varkel",
                                     {"--post", "--ped", "p.ped", "--map", "m.map", "--model", "d.model",
                                      "--multipoint", "--wsize", "2", "--steps", "3", "--engine", "fastlink"},
                                     dir.path());
    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_TRUE(contains(run.output, "loop found from the pedigree 1")) << run.output;

    // By hand: the same pedigree and the locus file varkel writes for each trait position
    // (alleles 1-8 in the catalogue's order: already 1..n here).
    const std::vector<std::string> report = lines(dir.read("varkel_multipoint.out"));
    size_t row = std::find(report.begin(), report.end(), "Markers: M1 M2 ") - report.begin() + 2;
    const std::string marker = "3 8\n0.15 0.15 0.1 0.1 0.15 0.15 0.1 0.1\n";
    const double theta = haldane(10.0);
    const std::string orders[] = {"1 2 3", "2 1 3", "2 3 1"};
    const std::string fractions[] = {"0.5 " + std::to_string(theta), "0 " + std::to_string(theta),
                                     std::to_string(theta) + " 0"};
    const std::string stops[] = {"0.0001", std::to_string(theta), "0.5"};
    size_t compared = 0;
    for (int t = 0; t < 3; ++t) {
        ScratchDir byHand;
        byHand.write("pedfile.dat", pedigree);
        byHand.write("datafile.dat", "3 0 0 4\n0 0 0 0\n" + orders[t] + "\n1 2\n0.9999 0.0001\n1\n0 1 1\n" + marker +
                                         marker + "0 0\n" + fractions[t] + "\n1 " + stops[t] + " 3\n");
        ASSERT_EQ(std::system(("cd '" + byHand.path() + "' && unknown -l < /dev/null > /dev/null 2>&1 && "
                               "mv lpedfile.dat pedfile.dat && unknown < /dev/null > /dev/null 2>&1 && "
                               "linkmap < /dev/null > /dev/null 2>&1").c_str()),
                  0);
        LinkmapLikelihoods expected({}, 3, {"M1", "M2"}, 1, t);
        ASSERT_TRUE(expected.readOutFile(byHand.file("outfile.dat")));
        for (const FastlinkLikelihoods* point : expected.getEvaluations()) {
            const std::vector<std::string> f = fieldsOf(report.at(row++));
            ASSERT_EQ(f.size(), 4u);
            EXPECT_TRUE(near(number(f[2]), point->getMinus2LnLike(), 3e-5)) << report.at(row - 1);
            ++compared;
        }
    }
    EXPECT_EQ(compared, 3u + 4u + 4u);
}
