// LINKAGE locus files: reading with its checks, and the written layout, which FASTLINK's UNKNOWN
// and MLINK read to give the closed-form LOD score.

#include <cmath>
#include <cstdlib>
#include <map>

#include "input/linkage_locus_file.h"
#include "input_helpers.h"

using namespace input_tests;

namespace {

// A two-locus MLINK file in the commented LINKAGE style; the marker lines and the tail can be
// replaced to build faulty variants.
std::string locusFileText(const std::string& marker = "3 3 << marker\n0.3 0.3 0.4 << freqs\n",
                          const std::string& tail = "0 0 << sex difference, interference\n0.1\n1 0.1 0.45\n") {
    return "2 0 0 5 << no. of loci, risk locus, sexlinked, program\n0 0.0 0.0 0\n1 2\n"
           "1 2 << affection status, 2 alleles\n0.99 0.01\n1 << liability classes\n0.0 1.0 1.0\n" +
           marker + tail;
}

Outcome readLocus(LinkageLocusFile& file, const ScratchDir& dir, const std::string& content) {
    dir.write("datafile.dat", content);
    return attempt([&] { return file.readLocusFile(dir.file("datafile.dat")); });
}

}  // namespace

TEST(LocusFileReading, ReadsLociAndNormalisesFrequencies) {
    ScratchDir dir;
    LinkageLocusFile file;
    const Outcome r = readLocus(file, dir, locusFileText());
    ASSERT_EQ(r.result, 1) << r.out;
    ASSERT_EQ(file.getLocusCount(), 2);
    EXPECT_DOUBLE_EQ(file.getLocus(0)->getAlleleFrequencies()[1], 0.01);
    EXPECT_DOUBLE_EQ(file.getLocus(0)->getFemalePenetranceClass(0, 1), 1.0);
    EXPECT_EQ(file.getLocus(1)->getType(), 3);
    EXPECT_EQ(file.getRecombinationFractions(), std::vector<double>{0.1});

    // Within tolerance of 1, frequencies are divided by their sum (1.00005).
    LinkageLocusFile near;
    ASSERT_EQ(readLocus(near, dir, locusFileText("3 3\n0.3 0.3 0.40005\n")).result, 1);
    const std::vector<double>& f = near.getLocus(1)->getAlleleFrequencies();
    ASSERT_EQ(f.size(), 3u);
    EXPECT_NEAR(f[0], 0.3 / 1.00005, 1e-15);
    EXPECT_NEAR(f[2], 0.40005 / 1.00005, 1e-15);
}

TEST(LocusFileReading, FailsWithAMessageForEachFault) {
    ScratchDir dir;
    const std::string name = dir.file("datafile.dat");
    const std::string early = "Locus file " + name + " ends before all values were read\n";
    expectFailures(
        {{locusFileText("1 3\n0.3 0.3 0.4\n1\n0 1 1\n"), "Disease locus cannot have more than 2 alleles\n"},
         {locusFileText("2 2\n0.5 0.5\n"), "Binary factors not supported.\n"},
         {locusFileText("3 3\n0.3 -0.1 0.8\n"), "Allele frequencies cannot be negative!\n"},  // sums to 1
         {locusFileText("3 3\n0.3 0.3 0.3\n"), "Allele frequencies do not sum to 1\n"},
         {locusFileText("7 3\n0.3 0.3 0.4\n"), "Error in locus type: 7\n"},
         {locusFileText("3 3\n0.3 0.3 0.4\n", "0 1\n0.1\n1 0.1 0.45\n"),
          "Error in reading linkage locus file: sex difference and interference not allowed!\n"},
         {locusFileText("3 3\n0.3 0.3 0.4\n", "0 0\n0.1\n"), early},  // truncated
         {locusFileText("3 3\n0.3 0.3\n", ""), early},
         {"", early},
         {locusFileText("3 3\n0.3 abc 0.4\n"),
          "Locus file " + name + " holds \"abc\" at line 9 where a number is expected\n"},
         {"0 0 0 5\n0 0 0 0\n", "Locus file " + name + " must hold at least one locus (number of loci: 0)\n"}},
        [&](const std::string& content) {
            LinkageLocusFile file;
            return readLocus(file, dir, content);
        });
}

TEST(LocusFileWriting, ExactLayoutThatMlinkReadsWithTheClosedFormLod) {
    ScratchDir dir;
    LinkageLocusFile file;
    file.setNumberOfLoci(2);
    file.setProgramNumber(5);
    file.setLocusOrder({1, 2});
    file.setRecombinationVaried(1);
    file.setIncrement(0.1);
    file.setFinishingValue(0.45);
    Locus* disease = new Locus("DISEASE_LOCUS_1", 1, 2);  // dyadic values print exactly
    disease->addAlleleFrequencies({0.75, 0.25});
    disease->setFemalePenetrances({0.0, 1.0, 1.0});
    file.addLocus(disease);
    Locus* marker = new Locus("0", 3, 3);
    marker->addAlleleFrequencies({0.5, 0.25, 0.25});
    file.addLocus(marker);
    file.addRecombinationFraction(0.1);
    file.writeLocusFile(dir.file("datafile.dat"), {});
    EXPECT_EQ(dir.read("datafile.dat"),
              "2 0 0 5\n0 0 0 0\n1 2 \n"
              "1 2\n0.75 0.25 \n1\n0 1 1 \n"
              "3 3\n0.5 0.25 0.25 \n"
              "0 0\n0.10000000000000001  \n1 0.10000000000000001 0.45000000000000001\n");

    // Affected father 1/2, unaffected mother 3/3, six children. Full penetrance without phenocopies
    // and two unaffected children make the father D+ and the mother ++, whatever the frequencies;
    // five children fit phase D-1, one child phase D-2.
    dir.write("pedfile.dat",
              "1 1 0 0 3 0 0 1 1 2 1 2\n1 2 0 0 3 0 0 2 0 1 3 3\n"
              "1 3 1 2 0 4 4 1 0 2 1 3\n1 4 1 2 0 5 5 2 0 2 1 3\n1 5 1 2 0 6 6 1 0 1 2 3\n"
              "1 6 1 2 0 7 7 2 0 2 1 3\n1 7 1 2 0 8 8 1 0 1 2 3\n1 8 1 2 0 0 0 2 0 2 2 3\n");
    const std::string cd = "cd '" + dir.path() + "' && ";
    ASSERT_EQ(std::system((cd + "timeout 300 /usr/bin/unknown < /dev/null > unknown.log 2>&1").c_str()), 0);
    ASSERT_EQ(std::system((cd + "timeout 300 /usr/bin/mlink < /dev/null > mlink.log 2>&1").c_str()), 0);
    // Each "THETAS" line is followed by its LOD score.
    std::map<double, double> lod;
    double theta = -1.0;
    for (const std::string& line : lines(dir.read("outfile.dat"))) {
        if (line.rfind("THETAS", 0) == 0) theta = std::atof(line.c_str() + 6);
        const size_t at = line.find("LOD SCORE =");
        if (at != std::string::npos && theta >= 0.0) lod[theta] = std::atof(line.c_str() + at + 11);
    }
    ASSERT_EQ(lod.size(), 5u);
    EXPECT_EQ(lod.begin()->first, 0.1);
    EXPECT_EQ(lod.rbegin()->first, 0.5);
    for (const auto& [t, score] : lod) {  // phase unknown: k = 5 children of one phase, r = 1 of the other
        const double linked = 0.5 * (std::pow(1 - t, 5) * t + std::pow(t, 5) * (1 - t));
        EXPECT_NEAR(score, std::log10(linked / std::pow(0.5, 6)), 1e-5) << t;
    }
}
