// The built program on families whose LOD has a closed form.
//
// Model: fully penetrant dominant disease ("0 0.0001 1" / "0.0 1.0 1.0"). An affected father
// typed 1/2 with an unaffected mother 3/3: the mother is ++ (penetrance 0), and as long as one
// child is unaffected the father is D+ (a DD father has only affected children). With the
// marker in linkage equilibrium both phases (D with 1, D with 2) have prior 1/2, whatever the
// allele frequencies. A child is affected exactly when it received D, so with k children
// agreeing with one phase and r = n - k with the other
//   L(theta) / L(1/2) = ((1-t)^k t^r + t^k (1-t)^r) / 2 / 0.5^n,
// exactly, for any disease allele frequency. The only error left is the 6-decimal rounding
// of MLINK's output and 5 or 6 decimals of the reports: the values are compared to 1e-4.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <map>
#include <regex>
#include <sstream>

#include "linkage/mlink_test_access.h"
#include "support/test_support.h"

using namespace testing_support;

namespace {

struct Member {
    std::string id, father, mother;
    int sex;       // 1 male, 2 female
    bool affected;
    std::string allele1, allele2;
};

// Post-makeped lines with the LINKAGE pointers (first offspring, next paternal and maternal
// sibling) derived from the parents.
std::string pedigreeText(const std::string& pedigree, const std::vector<Member>& members,
                         const std::vector<std::vector<std::string>>& extraMarkers = {}) {
    std::ostringstream out;
    for (size_t i = 0; i < members.size(); ++i) {
        const Member& m = members[i];
        std::string firstChild = "0", nextPaternal = "0", nextMaternal = "0";
        for (size_t j = 0; j < members.size() && firstChild == "0"; ++j)
            if (members[j].father == m.id || members[j].mother == m.id) firstChild = members[j].id;
        for (size_t j = i + 1; j < members.size(); ++j) {
            if (m.father != "0" && nextPaternal == "0" && members[j].father == m.father) nextPaternal = members[j].id;
            if (m.mother != "0" && nextMaternal == "0" && members[j].mother == m.mother) nextMaternal = members[j].id;
        }
        out << pedigree << " " << m.id << " " << m.father << " " << m.mother << " " << firstChild << " "
            << nextPaternal << " " << nextMaternal << " " << m.sex << " " << (i == 0 ? 1 : 0) << " "
            << (m.affected ? 2 : 1);
        if (i < extraMarkers.size())
            for (const auto& allele : extraMarkers[i]) out << " " << allele;
        out << " " << m.allele1 << " " << m.allele2 << "\n";
    }
    return out.str();
}

struct Child {
    bool affected;
    std::string paternal;  // allele received from the doubly heterozygous parent
    int sex = 1;
};

// Affected father a/b, unaffected mother c/c and the children; k counts the children that
// agree with the phase "D on the father's first allele".
struct Family {
    std::vector<Member> members;
    int k = 0, r = 0;
};

Family backcross(const std::vector<Child>& children, const std::string& a = "1", const std::string& b = "2",
                 const std::string& c = "3") {
    Family family;
    family.members.push_back({"1", "0", "0", 1, true, a, b});
    family.members.push_back({"2", "0", "0", 2, false, c, c});
    int id = 3;
    for (const Child& child : children) {
        family.members.push_back({std::to_string(id++), "1", "2", child.sex, child.affected, child.paternal, c});
        const bool agrees = child.affected == (child.paternal == a);
        (agrees ? family.k : family.r) += 1;
    }
    return family;
}

double parseNumber(const std::string& text) { return std::strtod(text.c_str(), nullptr); }

std::vector<std::string> words(const std::string& line) {
    std::istringstream in(line);
    std::vector<std::string> result;
    std::string w;
    while (in >> w) result.push_back(w);
    return result;
}

// Index of the first line equal to `text`, or the line count.
size_t find(const std::vector<std::string>& all, const std::string& text, size_t from = 0) {
    for (size_t i = from; i < all.size(); ++i)
        if (all[i] == text) return i;
    return all.size();
}

// The row of `marker` in a LOD table (marker, LOD, theta).
std::vector<std::string> tableRow(const std::string& report, const std::string& marker) {
    for (const std::string& line : lines(report)) {
        std::vector<std::string> w = words(line);
        if (w.size() == 3 && w[0] == marker) return w;
    }
    return {};
}

// By-family table of one marker: theta texts, and per pedigree id its LODs in that order.
struct FamilyTable {
    std::vector<std::string> thetas;
    std::map<std::string, std::vector<double>> lods;
};

FamilyTable familyTable(const std::string& report, const std::string& marker) {
    FamilyTable table;
    const std::vector<std::string> all = lines(report);
    size_t at = find(all, "Marker: " + marker);
    if (at + 3 >= all.size()) return table;
    table.thetas = words(all[at + 3]);
    for (size_t i = at + 4; i < all.size(); ++i) {
        std::vector<std::string> w = words(all[i]);
        if (w.size() != table.thetas.size() + 1) break;
        for (size_t t = 1; t < w.size(); ++t) table.lods[w[0]].push_back(parseNumber(w[t]));
    }
    return table;
}

// Heterogeneity grid of one marker: alpha texts, and per theta text the HLODs.
struct HLodTable {
    std::vector<std::string> alphas;
    std::vector<std::pair<std::string, std::vector<double>>> rows;
};

HLodTable hlodTable(const std::string& report, const std::string& marker) {
    HLodTable table;
    const std::vector<std::string> all = lines(report);
    size_t at = find(all, "\tMarker: " + marker);
    if (at + 3 >= all.size()) return table;
    table.alphas = words(all[at + 3]);
    // Fields are 10 wide with 5 decimals; a LOD near -1000 fills its field, so the values
    // are told apart by their decimals rather than by blanks.
    const std::regex value("-?[0-9]+\\.[0-9]{5}");
    for (size_t i = at + 4; i < all.size() && !all[i].empty(); ++i) {
        const std::string& line = all[i];
        std::vector<double> values;
        const std::string rest = line.substr(std::min<size_t>(10, line.size()));
        for (auto it = std::sregex_iterator(rest.begin(), rest.end(), value); it != std::sregex_iterator(); ++it)
            values.push_back(parseNumber(it->str()));
        table.rows.push_back({words(line.substr(0, 10)).at(0), values});
    }
    return table;
}

bool rendersInGhostscript(const std::string& file) {
    const std::string command =
        "gs -q -dSAFER -dBATCH -dNOPAUSE -sDEVICE=nullpage '" + file + "' > /dev/null 2>&1 < /dev/null";
    return std::system(command.c_str()) == 0;
}

// Every plot the run wrote renders in ghostscript.
void expectPlotsRender(const ScratchDir& dir) {
    int plots = 0;
    for (const std::string& name : dir.listing()) {
        if (name.size() < 3 || name.compare(name.size() - 3, 3, ".ps") != 0) continue;
        ++plots;
        EXPECT_TRUE(rendersInGhostscript(dir.file(name))) << name;
    }
    EXPECT_GT(plots, 0);
}

const char* dominantModel = "0 0.0001 1\n0.0 1.0 1.0\n";
const double tolerance = 1e-4;

// Closed-form LOD of a family at a theta text; -inf where a recombinant meets theta 0.
double familyLod(const std::string& theta, int k, int r) { return closedFormLod(parseNumber(theta), k, r); }

// Every LOD of the by-family table against the closed form of its family.
void expectFamilyLods(const FamilyTable& table, const std::map<std::string, std::pair<int, int>>& families) {
    ASSERT_EQ(table.thetas.size(), 26u);
    EXPECT_EQ(table.thetas.front(), "0");
    EXPECT_EQ(table.thetas.back(), "0.5");
    ASSERT_EQ(table.lods.size(), families.size());
    for (const auto& family : families) {
        ASSERT_EQ(table.lods.count(family.first), 1u) << "pedigree " << family.first;
        const std::vector<double>& lods = table.lods.at(family.first);
        for (size_t t = 0; t < table.thetas.size(); ++t) {
            const double expected = familyLod(table.thetas[t], family.second.first, family.second.second);
            if (std::isinf(expected)) EXPECT_LE(lods[t], -999.0);
            else EXPECT_NEAR(lods[t], expected, tolerance) << "pedigree " << family.first << " theta " << table.thetas[t];
        }
    }
}

// The best total LOD over MLINK's thetas in its order (0.5 first), as the report gives it.
std::pair<double, double> bestTotal(const std::vector<std::pair<int, int>>& families) {
    double best = 0.0, bestTheta = 0.5;
    for (double theta : mlinkThetas()) {
        double total = 0.0;
        for (const auto& f : families) total += closedFormLod(theta, f.first, f.second);
        if (total > best) {
            best = total;
            bestTheta = theta;
        }
    }
    return {best, bestTheta};
}

void expectBestRow(const std::string& report, const std::string& marker,
                   const std::vector<std::pair<int, int>>& families) {
    const std::vector<std::string> row = tableRow(report, marker);
    ASSERT_EQ(row.size(), 3u) << report;
    const auto best = bestTotal(families);
    EXPECT_NEAR(parseNumber(row[1]), best.first, tolerance);
    EXPECT_NEAR(parseNumber(row[2]), best.second, 1e-9);
}

// HLOD at (theta, alpha): the sum over families of log10(alpha 10^LOD + 1 - alpha).
double closedFormHLod(double theta, double alpha, const std::vector<std::pair<int, int>>& families) {
    double sum = 0.0;
    for (const auto& f : families) {
        const double lod = closedFormLod(theta, f.first, f.second);
        sum += alpha >= 1.0 ? lod : std::log10(alpha * std::pow(10.0, lod) + 1.0 - alpha);
    }
    return sum;
}

void expectHLodGrid(const HLodTable& table, const std::vector<std::pair<int, int>>& families) {
    ASSERT_EQ(table.alphas.size(), 101u);
    ASSERT_EQ(table.rows.size(), 25u);
    EXPECT_EQ(table.rows.front().first, "0");
    EXPECT_EQ(table.rows.back().first, "0.48");
    for (const auto& row : table.rows) {
        ASSERT_EQ(row.second.size(), 101u);
        for (size_t a = 0; a < 101; ++a) {
            const double expected = closedFormHLod(parseNumber(row.first), parseNumber(table.alphas[a]), families);
            if (std::isinf(expected)) EXPECT_LE(row.second[a], -999.0);
            else EXPECT_NEAR(row.second[a], expected, tolerance) << "theta " << row.first << " alpha " << table.alphas[a];
        }
    }
}

std::string singleMarkerMap(const std::string& name) { return "CHROMOSOME HALDANE POSITION\n1 10.0 " + name + "\n"; }

}  // namespace

TEST(SinglepointEndToEnd, SeveralFamiliesMatchClosedFormLodAndHLod) {
    ScratchDir dir;
    const Family f1 = backcross({{true, "1"}, {true, "1"}, {false, "2"}, {true, "1", 2}});
    const Family f2 = backcross({{true, "1"}, {false, "1", 2}, {false, "2"}});
    const Family f3 = backcross({{true, "2"}, {false, "2", 2}, {true, "1"}, {false, "2"}, {true, "1", 2}});
    dir.write("p.ped", pedigreeText("1", f1.members) + pedigreeText("2", f2.members) + pedigreeText("3", f3.members));
    dir.write("m.map", singleMarkerMap("D1"));
    dir.write("d.model", dominantModel);
    const RunResult run = runProgram("varkel",
                                     {"--post", "--ped", "p.ped", "--map", "m.map", "--model", "d.model",
                                      "--singlepoint", "--byfamily", "--hlod", "--singlepointcurves"},
                                     dir.path());
    ASSERT_EQ(run.status, 0) << run.output;
    const std::vector<std::pair<int, int>> families{{f1.k, f1.r}, {f2.k, f2.r}, {f3.k, f3.r}};
    EXPECT_EQ(families, (std::vector<std::pair<int, int>>{{4, 0}, {2, 1}, {4, 1}}));

    expectBestRow(dir.read("varkel_singlepoint.out"), "D1", families);
    expectFamilyLods(familyTable(dir.read("varkel_singlepoint_by_family.out"), "D1"),
                     {{"1", families[0]}, {"2", families[1]}, {"3", families[2]}});
    expectHLodGrid(hlodTable(dir.read("varkel_singlepoint_het.out"), "D1"), families);

    // The console maximum of the heterogeneity grid: its value, and a grid point that reaches it.
    std::vector<std::string> hetRow;
    for (const std::string& line : lines(run.output)) {
        std::vector<std::string> w = words(line);
        if (w.size() == 4 && w[0] == "D1") hetRow = w;
    }
    ASSERT_EQ(hetRow.size(), 4u) << run.output;
    double best = 0.0;
    for (double theta : mlinkThetas())
        if (theta < 0.5)
            for (int a = 0; a <= 100; ++a) best = std::max(best, closedFormHLod(theta, a / 100.0, families));
    EXPECT_NEAR(parseNumber(hetRow[1]), best, tolerance);
    EXPECT_NEAR(closedFormHLod(parseNumber(hetRow[2]), parseNumber(hetRow[3]), families), best, tolerance);

    for (const char* plot : {"varkel_singlepoint.ps", "varkel_singlepoint_curves.ps", "varkel_singlepoint_het.ps"})
        EXPECT_TRUE(dir.exists(plot)) << plot;
    expectPlotsRender(dir);
    // The exchange files are gone after the run.
    EXPECT_FALSE(dir.exists("outfile.dat"));
    EXPECT_FALSE(dir.exists("pedfile.dat"));
}

// Grandparents 1 (affected 1/2) and 2 (3/3) with children 3, 4, 5; child 3 (affected 1/3)
// married to 6 (4/4) with children 7, 8, 9. Nuclear family 1 is the grandparents' (every child
// agrees with D on allele 1: k=3, r=0); nuclear family 2 is 3 x 6, where 3 is a founder copy of
// unknown phase (7 and 8 agree with D on allele 1, 9 does not: k=2, r=1).
TEST(SinglepointEndToEnd, NuclearFamiliesOfThreeGenerations) {
    ScratchDir dir;
    const std::vector<Member> members{
        {"1", "0", "0", 1, true, "1", "2"},  {"2", "0", "0", 2, false, "3", "3"}, {"3", "1", "2", 1, true, "1", "3"},
        {"4", "1", "2", 2, false, "2", "3"}, {"5", "1", "2", 2, true, "1", "3"},  {"6", "0", "0", 2, false, "4", "4"},
        {"7", "3", "6", 1, true, "1", "4"},  {"8", "3", "6", 2, false, "3", "4"}, {"9", "3", "6", 1, true, "3", "4"}};
    dir.write("p.ped", pedigreeText("5", members));
    dir.write("m.map", singleMarkerMap("D7"));
    dir.write("d.model", dominantModel);
    const RunResult run = runProgram("varkel",
                                     {"--post", "--ped", "p.ped", "--map", "m.map", "--model", "d.model",
                                      "--singlepoint", "--nuclear", "--byfamily", "--hlod"},
                                     dir.path());
    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_TRUE(contains(run.output, "Parametric Linkage analysis for nuclear pedigrees\n"));
    const std::vector<std::pair<int, int>> families{{3, 0}, {2, 1}};
    expectBestRow(dir.read("varkel_singlepoint_nuc.out"), "D7", families);
    const std::string byFamily = dir.read("varkel_singlepoint_nuc_by_family.out");
    EXPECT_TRUE(contains(byFamily, "Nuclear Pedigree statistics\n========================\n"
                                   "  # pedigrees          : 2\n  # persons            : 10\n"));
    expectFamilyLods(familyTable(byFamily, "D7"), {{"1", families[0]}, {"2", families[1]}});
    expectHLodGrid(hlodTable(dir.read("varkel_singlepoint_nuc_het.out"), "D7"), families);
    EXPECT_TRUE(dir.exists("varkel_singlepoint_nuc.ps"));
    EXPECT_TRUE(dir.exists("varkel_singlepoint_nuc_het.ps"));
    expectPlotsRender(dir);
}

// Double first cousins (two brothers married to two sisters) form a marriage loop, which
// UNKNOWN breaks; a closed-form family in the same run keeps its exact LOD.
TEST(SinglepointEndToEnd, MarriageLoopIsBrokenAndOtherFamiliesStayExact) {
    ScratchDir dir;
    const std::vector<Member> loop{
        {"1", "0", "0", 1, true, "1", "2"},  {"2", "0", "0", 2, false, "3", "4"}, {"3", "1", "2", 1, true, "1", "3"},
        {"4", "1", "2", 1, false, "2", "4"}, {"5", "0", "0", 1, false, "5", "6"}, {"6", "0", "0", 2, false, "7", "8"},
        {"7", "5", "6", 2, false, "5", "7"}, {"8", "5", "6", 2, false, "6", "8"}, {"9", "3", "7", 1, true, "1", "5"},
        {"10", "4", "8", 2, false, "2", "6"}};
    const Family simple = backcross({{true, "1"}, {false, "2"}, {true, "2", 2}, {true, "1"}});
    dir.write("p.ped", pedigreeText("1", loop) + pedigreeText("2", simple.members));
    dir.write("m.map", singleMarkerMap("D3"));
    dir.write("d.model", dominantModel);
    const RunResult run = runProgram("varkel",
                                     {"--post", "--ped", "p.ped", "--map", "m.map", "--model", "d.model",
                                      "--singlepoint", "--byfamily", "--verbose"},
                                     dir.path());
    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_TRUE(contains(run.output, "Breaking loops...")) << run.output;

    const FamilyTable table = familyTable(dir.read("varkel_singlepoint_by_family.out"), "D3");
    ASSERT_EQ(table.lods.size(), 2u);
    ASSERT_EQ(table.lods.count("1"), 1u);
    ASSERT_EQ(table.thetas.size(), 26u);
    const std::vector<double>& loopLods = table.lods.at("1");
    EXPECT_NEAR(loopLods.back(), 0.0, 1e-9);  // theta 0.5
    for (size_t t = 1; t < loopLods.size(); ++t) EXPECT_TRUE(std::isfinite(loopLods[t]) && loopLods[t] > -999.0);
    FamilyTable simpleOnly = table;
    simpleOnly.lods.erase("1");
    expectFamilyLods(simpleOnly, {{"2", {simple.k, simple.r}}});

    // The total at the reported theta is the sum of the two families' LODs there.
    const std::vector<std::string> row = tableRow(dir.read("varkel_singlepoint.out"), "D3");
    ASSERT_EQ(row.size(), 3u);
    bool found = false;
    for (size_t t = 0; t < table.thetas.size(); ++t) {
        if (std::fabs(parseNumber(table.thetas[t]) - parseNumber(row[2])) > 1e-9) continue;
        found = true;
        EXPECT_NEAR(parseNumber(row[1]), loopLods[t] + table.lods.at("2")[t], 2e-5);
    }
    EXPECT_TRUE(found);
    expectPlotsRender(dir);
}

// Alleles named 104, 108 and 112 are written for FASTLINK as 1, 2 and 3; the LOD is unchanged.
TEST(SinglepointEndToEnd, AlleleNamesAreRenumbered) {
    ScratchDir dir;
    const Family family =
        backcross({{true, "104"}, {false, "108"}, {true, "104", 2}, {false, "104"}}, "104", "108", "112");
    EXPECT_EQ(family.k, 3);
    EXPECT_EQ(family.r, 1);
    dir.write("p.ped", pedigreeText("11", family.members));
    dir.write("m.map", singleMarkerMap("D104"));
    dir.write("d.model", dominantModel);
    const RunResult run = runProgram("varkel",
                                     {"--post", "--ped", "p.ped", "--map", "m.map", "--model", "d.model",
                                      "--singlepoint", "--byfamily"},
                                     dir.path());
    ASSERT_EQ(run.status, 0) << run.output;
    expectBestRow(dir.read("varkel_singlepoint.out"), "D104", {{3, 1}});
    expectFamilyLods(familyTable(dir.read("varkel_singlepoint_by_family.out"), "D104"), {{"11", {3, 1}}});
    expectPlotsRender(dir);
}

// X-linked dominant, fully penetrant ("1 0.0001 1" / "0.0 1.0 1.0" / "0.0 1.0"): an unaffected
// father is + (male penetrance 0) and passes his X (marker 3) to daughters only; an affected
// mother 1/2 with an unaffected child is D+ (a DD mother has only affected children). Every
// child receives one maternal X and is affected exactly when it carries D, sons and daughters
// alike, so the mother plays the father's part above: k children agree with D on allele 1,
// r = n - k with D on allele 2, and the same closed form holds. Males are typed homozygous.
TEST(SinglepointEndToEnd, XLinkedDominantFamily) {
    ScratchDir dir;
    const std::vector<Member> members{
        {"1", "0", "0", 1, false, "3", "3"}, {"2", "0", "0", 2, true, "1", "2"},  {"3", "1", "2", 1, true, "1", "1"},
        {"4", "1", "2", 2, true, "1", "3"},  {"5", "1", "2", 1, false, "2", "2"}, {"6", "1", "2", 2, true, "2", "3"},
        {"7", "1", "2", 1, false, "1", "1"}};
    // Agreeing with D on 1: 3, 4, 5; against it: 6 and 7.
    dir.write("p.ped", pedigreeText("1", members));
    dir.write("m.map", singleMarkerMap("DXS1"));
    dir.write("x.model", "1 0.0001 1\n0.0 1.0 1.0\n0.0 1.0\n");
    const RunResult run = runProgram("varkel",
                                     {"--post", "--xlinked", "--ped", "p.ped", "--map", "m.map", "--model", "x.model",
                                      "--singlepoint", "--byfamily", "--hlod"},
                                     dir.path());
    ASSERT_EQ(run.status, 0) << run.output;
    expectBestRow(dir.read("varkel_singlepoint.out"), "DXS1", {{3, 2}});
    expectFamilyLods(familyTable(dir.read("varkel_singlepoint_by_family.out"), "DXS1"), {{"1", {3, 2}}});
    expectHLodGrid(hlodTable(dir.read("varkel_singlepoint_het.out"), "DXS1"), {{3, 2}});
    expectPlotsRender(dir);
}

// A marker with more alleles than FASTLINK accepts, or with a single allele, is skipped and
// the scan goes on; --marker and --phenotype select, and unknown names stop the run.
TEST(SinglepointEndToEnd, SkippedMarkersAndSelection) {
    ScratchDir dir;
    std::string pedigrees;
    std::vector<std::pair<int, int>> families;
    for (int f = 0; f < 7; ++f) {
        const Family family = backcross({{true, "1"}, {false, "2", 2}});
        // MONO: everyone 5/5. BIG: four alleles of its own per family, 28 in all.
        const std::string a = std::to_string(4 * f + 1), b = std::to_string(4 * f + 2),
                          c = std::to_string(4 * f + 3), d = std::to_string(4 * f + 4);
        pedigrees += pedigreeText(std::to_string(f + 1), family.members,
                                  {{"5", "5", a, b}, {"5", "5", c, d}, {"5", "5", a, c}, {"5", "5", b, d}});
        families.push_back({family.k, family.r});
    }
    dir.write("p.ped", pedigrees);
    dir.write("m.map", "CHROMOSOME HALDANE POSITION\n1 5.0 MONO\n1 10.0 BIG\n1 20.0 D2\n");
    dir.write("d.model", dominantModel);
    const std::vector<std::string> common{"--post", "--ped", "p.ped", "--map", "m.map", "--model", "d.model",
                                          "--singlepoint"};
    RunResult run = runProgram("varkel", common, dir.path());
    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_TRUE(contains(run.output, "Skipping marker MONO, since no informative families found\n")) << run.output;
    EXPECT_TRUE(contains(run.output, "Skipping marker BIG, since it has 28 alleles and FASTLINK accepts at most 25\n"))
        << run.output;
    std::string report = dir.read("varkel_singlepoint.out");
    EXPECT_TRUE(tableRow(report, "MONO").empty());
    EXPECT_TRUE(tableRow(report, "BIG").empty());
    expectBestRow(report, "D2", families);
    expectPlotsRender(dir);

    std::vector<std::string> selected = common;
    selected.insert(selected.end(), {"--marker", "D2", "--phenotype", "DISEASE_LOCUS", "--prefix", "sel"});
    run = runProgram("varkel", selected, dir.path());
    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_FALSE(contains(run.output, "Skipping marker"));
    expectBestRow(dir.read("sel_singlepoint.out"), "D2", families);

    std::vector<std::string> unknownMarker = common;
    unknownMarker.insert(unknownMarker.end(), {"--marker", "D9", "--prefix", "none"});
    run = runProgram("varkel", unknownMarker, dir.path());
    EXPECT_EQ(run.status, 255);
    EXPECT_TRUE(contains(run.output, "Cannot find given marker D9\n")) << run.output;
    EXPECT_FALSE(dir.exists("none_singlepoint.out"));

    std::vector<std::string> unknownPhenotype = common;
    unknownPhenotype.insert(unknownPhenotype.end(), {"--phenotype", "ASTHMA", "--prefix", "none"});
    run = runProgram("varkel", unknownPhenotype, dir.path());
    EXPECT_EQ(run.status, 255);
    EXPECT_TRUE(contains(run.output, "Cannot find given phenotype ASTHMA\n")) << run.output;
    EXPECT_FALSE(dir.exists("none_singlepoint.out"));
}

// With "--freq u" the marker frequencies come from the user's locus file (here four alleles
// for the three typed ones); the closed form does not depend on them.
TEST(SinglepointEndToEnd, FrequenciesFromTheLocusFile) {
    ScratchDir dir;
    const Family f1 = backcross({{true, "1"}, {false, "2"}, {true, "1", 2}});
    const Family f2 = backcross({{true, "2"}, {false, "2", 2}, {true, "1"}, {false, "2"}});
    dir.write("p.ped", pedigreeText("1", f1.members) + pedigreeText("2", f2.members));
    dir.write("m.map", singleMarkerMap("D8"));
    dir.write("d.dat", "2 0 0 5\n0 0.0 0.0 0\n1 2\n1 2\n0.9999 0.0001\n1\n0 1 1\n3 4\n0.1 0.2 0.3 0.4\n"
                       "0 0\n0.1\n1 0.1 0.45\n");
    const RunResult run = runProgram(
        "varkel", {"--post", "--ped", "p.ped", "--map", "m.map", "--dat", "d.dat", "--freq", "u", "--singlepoint",
                   "--byfamily"},
        dir.path());
    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_TRUE(contains(run.output, "Warning: Pedigree file contains less alleles than defined in linkage data "
                                     "file (analyzing anyway)\n"));
    const std::vector<std::pair<int, int>> families{{f1.k, f1.r}, {f2.k, f2.r}};
    expectBestRow(dir.read("varkel_singlepoint.out"), "D8", families);
    expectFamilyLods(familyTable(dir.read("varkel_singlepoint_by_family.out"), "D8"),
                     {{"1", families[0]}, {"2", families[1]}});
    expectPlotsRender(dir);
}

// FASTLINK is built for at most 25 alleles: a user locus file giving the marker 30 makes
// UNKNOWN fail, which ends the run with the framed error and no report.
TEST(SinglepointEndToEnd, FailingFastlinkProgramStopsTheRun) {
    ScratchDir dir;
    dir.write("p.ped", pedigreeText("1", backcross({{true, "1"}, {false, "2"}}).members));
    dir.write("m.map", singleMarkerMap("D8"));
    std::string frequencies;
    for (int i = 0; i < 30; ++i) frequencies += i < 29 ? "0.03 " : "0.13";
    dir.write("d.dat", "2 0 0 5\n0 0.0 0.0 0\n1 2\n1 2\n0.9999 0.0001\n1\n0 1 1\n3 30\n" + frequencies +
                           "\n0 0\n0.1\n1 0.1 0.45\n");
    const RunResult run = runProgram(
        "varkel", {"--post", "--ped", "p.ped", "--map", "m.map", "--dat", "d.dat", "--freq", "u", "--singlepoint"},
        dir.path());
    EXPECT_EQ(run.status, 255);
    const std::string stars(66, '*');
    EXPECT_TRUE(contains(run.output, "\n" + stars + "\nError in executing UNKNOWN: unknownvarkel\n\n"
                                         "Something is wrong....\n" + stars + "\n\nAborting program!\n"))
        << run.output;
    EXPECT_FALSE(dir.exists("varkel_singlepoint.out"));
}
