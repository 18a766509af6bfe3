#pragma once
// Reports of a varkel run checked against closed-form LODs. Model: fully penetrant dominant
// disease ("0 0.0001 1" / "0.0 1.0 1.0"): an unaffected person is ++, an affected one with a ++
// mate and an unaffected child is D+, and a child is affected exactly when it received D. With
// the marker in linkage equilibrium both phases of a D+ founder have prior 1/2 whatever the
// allele frequencies, so a D+ parent of unknown phase with k children agreeing with one phase
// and r with the other gives ((1-t)^k t^r + t^k (1-t)^r) / 2 / 0.5^n (closedFormLod), and one
// whose phase is known from its own parents (1-t)^k t^r / 0.5^n (knownPhase). The reports are
// rounded, and MLINK's pedigree LODs are off the closed forms by up to about 7e-6: a pedigree's
// LOD is compared to 1e-4, sums over n pedigrees to 1e-4 + 2e-6 n.

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>
#include <numeric>
#include <sstream>

#include "linkage/mlink_test_access.h"
#include "support/test_support.h"

namespace closed_form {

using namespace testing_support;

using Lod = std::function<double(double)>;                    // closed-form LOD at theta
using Families = std::map<std::string, Lod>;                  // pedigree id and its LOD

inline Lod phaseUnknown(int k, int r) { return [k, r](double t) { return closedFormLod(t, k, r); }; }
inline double knownPhase(double t, int k, int r) {
    return std::log10(std::pow(1 - t, k) * std::pow(t, r) / std::pow(0.5, k + r));
}

inline double number(const std::string& text) { return std::strtod(text.c_str(), nullptr); }

inline std::vector<std::string> words(const std::string& line) {
    std::istringstream in(line);
    std::vector<std::string> result;
    for (std::string w; in >> w;) result.push_back(w);
    return result;
}

// A closed form of -inf (a recombinant at theta 0) is MLINK's floor near -1000.
inline void expectLod(double reported, double expected, const std::string& where, double tolerance = 1e-4) {
    EXPECT_TRUE(std::isinf(expected) ? reported <= -999.0 : std::fabs(reported - expected) < tolerance)
        << where << ": reported " << reported << ", closed form " << expected;
}

// The best total, the by-family table and the heterogeneity grid of `marker` in
// <base>.out, <base>_by_family.out and <base>_het.out, against the closed forms.
inline void expectClosedFormReports(const ScratchDir& dir, const std::string& base, const std::string& marker,
                             const Families& families) {
    const auto lodsAt = [&](double t) {
        std::vector<double> lods;
        for (const auto& family : families) lods.push_back(family.second(t));
        return lods;
    };
    double best = 0.0, bestTheta = 0.5;  // MLINK's order, 0.5 first; a later theta must be better
    for (double t : mlinkThetas()) {
        const std::vector<double> lods = lodsAt(t);
        const double total = std::accumulate(lods.begin(), lods.end(), 0.0);
        if (total > best) best = total, bestTheta = t;
    }
    std::vector<std::string> row;
    for (const std::string& line : lines(dir.read(base + ".out")))
        if (words(line).size() == 3 && words(line)[0] == marker) row = words(line);
    ASSERT_EQ(row.size(), 3u) << base;
    const double sumTolerance = 1e-4 + 2e-6 * static_cast<double>(families.size());
    EXPECT_NEAR(number(row[1]), best, sumTolerance) << base;
    EXPECT_NEAR(number(row[2]), bestTheta, 1e-9) << base;

    // By family: the thetas three lines below the marker (0.5 last), then a row per pedigree.
    const std::vector<std::string> table = lines(dir.read(base + "_by_family.out"));
    const size_t at = std::find(table.begin(), table.end(), "Marker: " + marker) - table.begin() + 3;
    const std::vector<std::string> thetas = words(table.at(at));
    ASSERT_EQ(thetas.size(), 26u);
    EXPECT_EQ(thetas.back(), "0.5");
    size_t rows = 0;
    for (size_t i = at + 1; i < table.size() && words(table[i]).size() == 27; ++i, ++rows) {
        const std::vector<std::string> w = words(table[i]);
        ASSERT_EQ(families.count(w[0]), 1u) << base << ": " << table[i];
        for (size_t t = 0; t < 26; ++t)
            expectLod(number(w[t + 1]), families.at(w[0])(number(thetas[t])), base + " " + w[0] + " " + thetas[t]);
    }
    EXPECT_EQ(rows, families.size()) << base;

    // Heterogeneity: alphas three lines below the marker, then thetas 0 .. 0.48 (0.5 skipped).
    // Fields are 10 wide; a LOD near -1000 fills its field, so a blank goes before each sign.
    const std::vector<std::string> grid = lines(dir.read(base + "_het.out"));
    size_t line = std::find(grid.begin(), grid.end(), "\tMarker: " + marker) - grid.begin() + 3;
    const std::vector<std::string> alphas = words(grid.at(line));
    ASSERT_EQ(alphas.size(), 101u);
    for (int t = 0; t < 25; ++t) {
        std::string text = grid.at(++line);
        for (size_t at = text.find('-'); at != std::string::npos; at = text.find('-', at + 2)) text.insert(at, " ");
        const std::vector<std::string> values = words(text);
        ASSERT_EQ(values.size(), 102u) << text;
        EXPECT_NEAR(number(values[0]), 0.02 * t, 1e-9) << text;
        for (size_t a = 0; a < 101; ++a)
            expectLod(number(values[a + 1]), admixtureLod(lodsAt(0.02 * t), number(alphas[a])),
                      base + " het theta " + std::to_string(t) + " alpha " + alphas[a], sumTolerance);
    }
    EXPECT_EQ(grid.at(line + 1), "");
    for (const std::string& plot : {base + ".ps", base + "_het.ps"})
        EXPECT_TRUE(rendersInGhostscript(dir.file(plot))) << plot;
}

}  // namespace closed_form
