// LINKMAP's outfile.dat read back: whole blocks, a block without its THETAS line, files cut
// inside a block, and LINKMAP's value for an impossible pedigree.

#include <gtest/gtest.h>

#include <cmath>
#include <iomanip>
#include <sstream>

#include "linkage/linkmap_results.h"
#include "support/test_support.h"

using namespace testing_support;

namespace {

std::string block(const std::string& thetas, double ln1, double ln2) {
    const std::string rule(35, '-');
    std::ostringstream out;
    out << std::setprecision(10) << rule << "\n" << rule << "\n" << thetas << "\n" << rule << "\nPEDIGREE |  LN LIKE  | LOG 10 LIKE\n" << rule
        << "\n        1   " << ln1 << "   " << ln1 / std::log(10.0) << "\n        2   " << ln2 << "   "
        << ln2 / std::log(10.0) << "\n" << rule << "\nTOTALS      " << ln1 + ln2 << "   " << (ln1 + ln2) / std::log(10.0)
        << "\n-2 LN(LIKE) =  " << -2 * (ln1 + ln2) << "\n";
    return out.str();
}

}  // namespace

TEST(LinkmapOutput, BlocksCutFilesAndImpossiblePoints) {
    ScratchDir dir;
    const std::string whole = block("THETAS  0.500 0.100", -24.456974, -19.27644) +
                              block("THETAS  0.400 0.100", -24.240573, -1e20) + block("NOTHETAS", -20.5, -19.5);
    dir.write("outfile.dat", whole);
    LinkmapLikelihoods record({1, 2, 3}, 3, {"M1", "M2"}, 2, 0);
    ASSERT_TRUE(record.readOutFile(dir.file("outfile.dat")));
    const auto& points = record.getEvaluations();
    ASSERT_EQ(points.size(), 3u);
    EXPECT_EQ(points[0]->getRecombinationFractions(), (std::vector<double>{0.5, 0.1}));
    // -2 ln L from the TOTALS line, not from the six-digit line under it.
    EXPECT_DOUBLE_EQ(points[0]->getMinus2LnLike(), -2 * (-24.456974 - 19.27644));
    EXPECT_DOUBLE_EQ(record.getNullMinus2LNLikelihoodForPedigree("2", 0), -19.27644);
    EXPECT_DOUBLE_EQ(record.getNullMinus2LNLikelihoodForPedigree("2", 1), -19.5);
    EXPECT_EQ(record.getNullMinus2LNLikelihoodForPedigree("3", 0), -99.0);
    EXPECT_EQ(record.getNullMinus2LNLikelihoodForPedigree("2", 2), -99.0);
    // Pedigree 2 cannot occur at the second point: -infinity, and so is the total.
    EXPECT_TRUE(std::isinf(points[1]->getLikelihood("2")->getLnLike()));
    EXPECT_TRUE(std::isinf(points[1]->getMinus2LnLike()) && points[1]->getMinus2LnLike() > 0);
    record.setNullMinus2LnLikelihood(points[0]->getMinus2LnLike());
    EXPECT_NEAR(record.getLodScore(points[2]), (-40.0 - (-24.456974 - 19.27644)) / std::log(10.0), 1e-12);
    EXPECT_TRUE(points[2]->getRecombinationFractions().empty());

    // Cut inside the fractions, the pedigree lines or the totals: not read.
    for (const std::string& end : {std::string("THETAS  0.400"), std::string("        2   -1e+20"), std::string("TOTALS")}) {
        const size_t cut = whole.find(end, whole.find("0.400") - 10) + end.size();
        dir.write("cut.dat", whole.substr(0, cut));
        LinkmapLikelihoods cutRecord({1, 2, 3}, 3, {"M1", "M2"}, 2, 0);
        EXPECT_FALSE(cutRecord.readOutFile(dir.file("cut.dat"))) << end;
    }
    LinkmapLikelihoods missing({1, 2, 3}, 3, {"M1", "M2"}, 2, 0);
    EXPECT_EQ(captureOutput([&] { EXPECT_FALSE(missing.readOutFile(dir.file("none.dat"))); }),
              "Error: Unable to open OUTFILE " + dir.file("none.dat") + " for reading.\n");
}
