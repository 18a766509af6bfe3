// Reading MLINK's outfile.dat: a real FASTLINK run on hand-made LINKAGE files, checked
// against the closed-form LOD of its families, and hand-written files for the corner cases.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <sstream>

#include "linkage/mlink.h"
#include "linkage/mlink_test_access.h"
#include "model/pedigrees.h"
#include "support/test_support.h"

using namespace testing_support;

namespace {

void addPedigrees(Pedigrees& pedigrees, const std::vector<std::string>& ids) {
    for (const auto& id : ids) pedigrees.getPedigrees()->insert(new Pedigree(id));
}

std::string consoleRow(const std::string& name, double lod, double theta) {
    char row[128];
    std::snprintf(row, sizeof row, "%20s%13.6f%10.2f\n", name.c_str(), lod, theta);
    return row;
}

// Text of one theta block in MLINK's layout.
std::string block(const std::string& theta, const PedigreeLods& pedigrees, double total, bool closingRules = true) {
    std::ostringstream out;
    out << "THETAS  " << theta << "\n-----------------------------------\n"
        << "PEDIGREE |  LN LIKE  | LOG 10 LIKE\n-----------------------------------\n";
    for (const auto& p : pedigrees)
        out << "        " << p.first << "    -9.939627    -4.316716 LOD=     " << p.second << "\n";
    out << "-----------------------------------\nTOTALS      -18.492959    -8.031373\n"
        << "-2 LN(LIKE) =  3.69859e+01 LOD SCORE =     " << total << "\n";
    if (closingRules) out << "-----------------------------------\n-----------------------------------\n";
    return out.str();
}

const char* header =
    "LINKAGE (V5.1) WITH  2-POINT AUTOSOMAL DATA\n ORDER OF LOCI:   1  2\n"
    "-----------------------------------\n-----------------------------------\n";

}  // namespace

// Two families with an affected father 1/2, an unaffected mother 3/3 and three children:
// pedigree 7 has every child agreeing with one phase (k=3, r=0), pedigree 12 has one child
// against it (k=2, r=1).
TEST(MLinkOutput, ReadsRealMlinkOutputIntoClosedFormLods) {
    ScratchDir dir;
    dir.write("pedfile.dat",
              "7 1 0 0 3 0 0 1 1 2 1 2\n"
              "7 2 0 0 3 0 0 2 0 1 3 3\n"
              "7 3 1 2 0 4 4 1 0 2 1 3\n"
              "7 4 1 2 0 5 5 2 0 2 1 3\n"
              "7 5 1 2 0 0 0 1 0 1 2 3\n"
              "12 1 0 0 3 0 0 1 1 2 1 2\n"
              "12 2 0 0 3 0 0 2 0 1 3 3\n"
              "12 3 1 2 0 4 4 1 0 2 1 3\n"
              "12 4 1 2 0 5 5 2 0 2 2 3\n"
              "12 5 1 2 0 0 0 1 0 1 2 3\n");
    dir.write("datafile.dat",
              "2 0 0 5\n0 0 0 0\n1 2\n1 2\n0.9999 0.0001\n1\n0 1 1\n3 3\n0.3 0.3 0.4\n0 0\n0\n1 0.02 0.49\n");
    const std::string command = "cd '" + dir.path() +
                                "' && /usr/bin/unknown < /dev/null > /dev/null 2>&1"
                                " && /usr/bin/mlink < /dev/null > /dev/null 2>&1";
    ASSERT_EQ(std::system(command.c_str()), 0);

    Pedigrees pedigrees;
    addPedigrees(pedigrees, {"7", "12"});
    MLink mlink(&pedigrees);
    MLinkTestAccess::setMarkers(mlink, {"D5S1"}, 0);
    bool ok = false;
    const std::string console = captureOutput([&] { ok = mlink.readResultsFile(dir.file("outfile.dat"), "basic"); });
    ASSERT_TRUE(ok);
    ASSERT_EQ(MLinkTestAccess::currentResults(mlink).size(), 1u);
    const MLinkMarker* marker = MLinkTestAccess::currentResults(mlink)[0];
    EXPECT_EQ(marker->getIndex(), "D5S1");

    const std::vector<double> thetas = mlinkThetas();
    std::vector<std::string> expectedNames;
    for (double t : thetas) {
        std::ostringstream text;
        text << t;
        expectedNames.push_back(text.str());
    }
    ASSERT_EQ(marker->getLikelihoodsNames(), expectedNames);
    EXPECT_EQ(expectedNames[0], "0.5");
    EXPECT_EQ(expectedNames[1], "0");

    double bestLod = 0.0, bestTheta = 0.0;
    for (size_t i = 0; i < thetas.size(); ++i) {
        const double t = thetas[i];
        SCOPED_TRACE("theta " + expectedNames[i]);
        const FastlinkLikelihoods* record = marker->getLikelihoods(t);
        ASSERT_NE(record, nullptr);
        EXPECT_DOUBLE_EQ(record->getRecombinationFraction(), t);
        EXPECT_EQ(record->getPedigreeNames(), (std::vector<std::string>{"7", "12"}));
        const FastlinkLikelihood* p7 = record->getLikelihood("7");
        const FastlinkLikelihood* p12 = record->getLikelihood("12");
        ASSERT_TRUE(p7 && p12);
        EXPECT_NEAR(p7->getLodScore(), closedFormLod(t, 3, 0), 2e-6);
        // MLINK's two log columns agree to about six digits only.
        EXPECT_NEAR(p7->getLnLike(), p7->getLog10Like() * std::log(10.0), 1e-5 * std::fabs(p7->getLnLike()));
        double total;
        if (t == 0.0) {
            // A recombinant at theta 0 has likelihood 0: MLINK's floor.
            EXPECT_LE(p12->getLodScore(), -999.0);
            total = p7->getLodScore() + p12->getLodScore();
            EXPECT_LT(record->getLodScore(), -1e10);
        } else {
            EXPECT_NEAR(p12->getLodScore(), closedFormLod(t, 2, 1), 2e-6);
            EXPECT_NEAR(p12->getLnLike(), p12->getLog10Like() * std::log(10.0), 1e-5 * std::fabs(p12->getLnLike()));
            total = closedFormLod(t, 3, 0) + closedFormLod(t, 2, 1);
            EXPECT_NEAR(record->getLodScore(), total, 5e-6);
            EXPECT_NEAR(record->getLnLikeTotal(), p7->getLnLike() + p12->getLnLike(), 2e-6);
            EXPECT_NEAR(record->getLog10Total(), p7->getLog10Like() + p12->getLog10Like(), 2e-6);
            EXPECT_NEAR(record->getMinus2LnLike(), -2.0 * record->getLnLikeTotal(), 1e-3);
        }
        if (i == 0 || total > bestLod) {
            bestLod = total;
            bestTheta = t;
        }
    }
    const FastlinkLikelihoods* best = marker->getLikelihoodWithMaxLodScore();
    ASSERT_NE(best, nullptr);
    EXPECT_DOUBLE_EQ(best->getRecombinationFraction(), bestTheta);
    EXPECT_NEAR(best->getLodScore(), bestLod, 5e-6);
    EXPECT_EQ(console, consoleRow("D5S1", best->getLodScore(), bestTheta));
}

TEST(MLinkOutput, TiesZeroThetaKeyAndRepeatedPedigreeIds) {
    ScratchDir dir;
    dir.write("outfile.dat", std::string(header) + block("0.500", {{"1", 0.0}, {"2", 0.0}}, 0.0) +
                                 block("0.000", {{"1", 0.8}, {"2", 0.7}}, 1.5) +
                                 block("0.020", {{"1", 1.0}, {"2", 0.5}}, 1.5) +
                                 block("0.040", {{"1", 0.6}, {"2", 0.6}}, 1.2, false));
    Pedigrees pedigrees;
    addPedigrees(pedigrees, {"1", "2"});
    MLink mlink(&pedigrees);
    MLinkTestAccess::setMarkers(mlink, {"A", "B"}, 1);
    const std::string console =
        captureOutput([&] { EXPECT_TRUE(mlink.readResultsFile(dir.file("outfile.dat"), "basic")); });
    const MLinkMarker* marker = MLinkTestAccess::currentResults(mlink).at(0);
    EXPECT_EQ(marker->getIndex(), "B");
    EXPECT_EQ(marker->getLikelihoodsNames(), (std::vector<std::string>{"0.5", "0", "0.02", "0.04"}));
    EXPECT_EQ(marker->getLikelihoods(std::string("0.000")), nullptr);
    ASSERT_NE(marker->getLikelihoods(0.0), nullptr);
    // Equal totals at 0 and 0.02: the earlier block is the maximum.
    EXPECT_EQ(marker->getLikelihoodWithMaxLodScore(), marker->getLikelihoods(0.0));
    EXPECT_EQ(console, consoleRow("B", 1.5, 0.0));
    EXPECT_DOUBLE_EQ(marker->getLikelihoods(0.02)->getLikelihood("1")->getLodScore(), 1.0);
    // The last block has no closing rules and is still read whole.
    EXPECT_DOUBLE_EQ(marker->getLikelihoods(0.04)->getLodScore(), 1.2);
    EXPECT_DOUBLE_EQ(marker->getLikelihoods(0.04)->getMinus2LnLike(), 36.9859);

    // A pedigree id written twice in a block keeps both names and the later values.
    dir.write("outfile.dat", std::string(header) + block("0.500", {{"3", 0.0}, {"3", 0.0}}, 0.0) +
                                 block("0.100", {{"3", 0.25}, {"3", -0.75}}, -0.5));
    MLink second(&pedigrees);
    captureOutput([&] { EXPECT_TRUE(second.readResultsFile(dir.file("outfile.dat"), "basic")); });
    const FastlinkLikelihoods* record = MLinkTestAccess::currentResults(second).at(0)->getLikelihoods(0.1);
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(record->getPedigreeNames(), (std::vector<std::string>{"3", "3"}));
    EXPECT_DOUBLE_EQ(record->getLikelihood("3")->getLodScore(), -0.75);
    // Every total is at most the 0.5 block's 0: that first block stays the maximum.
    EXPECT_DOUBLE_EQ(MLinkTestAccess::currentResults(second).at(0)->getLikelihoodWithMaxLodScore()->getRecombinationFraction(), 0.5);
}

TEST(MLinkOutput, TruncatedOrMissingFilesStopCleanly) {
    ScratchDir dir;
    Pedigrees pedigrees;
    addPedigrees(pedigrees, {"1", "2"});
    const std::string complete = std::string(header) + block("0.500", {{"1", 0.0}, {"2", 0.0}}, 0.0) +
                                 block("0.000", {{"1", 0.3}, {"2", 0.2}}, 0.5);
    const std::string third = block("0.020", {{"1", 0.9}, {"2", 0.9}}, 1.8);

    // Cut inside the pedigree lines, right after the theta line, and inside the totals.
    const std::vector<std::string> cuts{third.substr(0, third.find("LOD=     0.9")),
                                        third.substr(0, third.find('\n') + 1),
                                        third.substr(0, third.find("LOD SCORE"))};
    for (const std::string& cut : cuts) {
        dir.write("outfile.dat", complete + cut);
        MLink mlink(&pedigrees);
        MLinkTestAccess::setMarkers(mlink, {"M"}, 0);
        std::string console;
        console = captureOutput([&] { EXPECT_TRUE(mlink.readResultsFile(dir.file("outfile.dat"), "basic")); });
        const MLinkMarker* marker = MLinkTestAccess::currentResults(mlink).at(0);
        EXPECT_EQ(marker->getLikelihoodsNames(), (std::vector<std::string>{"0.5", "0"}));
        EXPECT_EQ(console, consoleRow("M", 0.5, 0.0));
    }

    // Only the program header: the marker is kept without records and prints no row.
    dir.write("outfile.dat", header);
    MLink headerOnly(&pedigrees);
    const std::string quiet =
        captureOutput([&] { EXPECT_TRUE(headerOnly.readResultsFile(dir.file("outfile.dat"), "basic")); });
    EXPECT_EQ(quiet, "");
    ASSERT_EQ(MLinkTestAccess::currentResults(headerOnly).size(), 1u);
    EXPECT_EQ(MLinkTestAccess::currentResults(headerOnly)[0]->getLikelihoodWithMaxLodScore(), nullptr);

    // A missing file fails, with a message only when verbose.
    MLink missing(&pedigrees);
    EXPECT_EQ(captureOutput([&] { EXPECT_FALSE(missing.readResultsFile(dir.file("none.dat"), "basic")); }), "");
    EXPECT_TRUE(MLinkTestAccess::currentResults(missing).empty());
    pedigrees.setVerbose(true);
    EXPECT_EQ(captureOutput([&] { EXPECT_FALSE(missing.readResultsFile(dir.file("none.dat"), "basic")); }),
              "Error: Unable to open stream file " + dir.file("none.dat") + " for reading.\n");
}
