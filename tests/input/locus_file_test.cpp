#include <cmath>
#include <cstdlib>
#include <sstream>

#include "input/linkage_locus_file.h"
#include "input/marker_map.h"
#include "input/model.h"
#include "model/pedigrees.h"
#include "support/test_support.h"

using namespace testing_support;

namespace {

// A two-locus MLINK data file in the usual commented LINKAGE style; the marker locus lines
// can be replaced to build faulty variants.
std::string locusFileText(const std::string& markerLines = "3 3 << marker\n0.3 0.3 0.4 << freqs\n",
                          const std::string& tail = "0 0 << sex difference, interference\n"
                                                    "0.1 << recombination\n1 0.1 0.45\n") {
    return "2 0 0 5 << no. of loci, risk locus, sexlinked, program\n"
           "0 0.0 0.0 0 << mut locus, mut rates, haplotype frequencies\n"
           "1 2\n"
           "1 2 << affection status, 2 alleles\n"
           "0.99 0.01\n"
           "1 << liability classes\n"
           "0.0 1.0 1.0\n" +
           markerLines + tail;
}

int readLocus(LinkageLocusFile& file, const ScratchDir& dir, const std::string& content, std::string* output) {
    dir.write("datafile.dat", content);
    int result = -1;
    *output = captureOutput([&] { result = file.readLocusFile(dir.file("datafile.dat")); });
    return result;
}

// A disease locus with dyadic values, whose 17-digit text is exact.
Locus* diseaseLocus() {
    Locus* locus = new Locus("DISEASE_LOCUS_1", 1, 2);
    locus->addAlleleFrequencies({0.75, 0.25});
    locus->setFemalePenetrances({0.0, 0.5, 1.0});
    return locus;
}

Locus* markerLocus(const std::string& name) {
    Locus* locus = new Locus(name, 3, 3);
    locus->addAlleleFrequencies({0.5, 0.25, 0.25});
    return locus;
}

void setMlinkSettings(LinkageLocusFile& file, int loci) {
    file.setNumberOfLoci(loci);
    file.setProgramNumber(5);
    std::vector<int> order;
    for (int i = 1; i <= loci; ++i) order.push_back(i);
    file.setLocusOrder(order);
    file.setRecombinationVaried(1);
    file.setIncrement(0.1);
    file.setFinishingValue(0.45);
}

}  // namespace

TEST(LocusFileReading, ReadsSettingsLociAndSkipsComments) {
    ScratchDir dir;
    LinkageLocusFile file;
    std::string out;
    ASSERT_EQ(readLocus(file, dir, locusFileText(), &out), 1) << out;
    EXPECT_EQ(out, "Reading LINKAGE locus file " + dir.file("datafile.dat") + "\n (Number of loci: 2)...done.\n");
    EXPECT_EQ(file.getNumberOfLoci(), 2);
    EXPECT_EQ(file.getXlinked(), 0);
    ASSERT_EQ(file.getLocusCount(), 2);
    const Locus* disease = file.getLocus(0);
    EXPECT_EQ(disease->getName(), "DISEASE_LOCUS_0");
    EXPECT_EQ(disease->getType(), 1);
    EXPECT_EQ(disease->getNumberOfLiabClasses(), 1);
    EXPECT_DOUBLE_EQ(disease->getAlleleFrequencies()[1], 0.01);
    EXPECT_DOUBLE_EQ(disease->getFemalePenetranceClass(0, 0), 0.0);
    EXPECT_DOUBLE_EQ(disease->getFemalePenetranceClass(0, 2), 1.0);
    const Locus* marker = file.getLocus(1);
    EXPECT_EQ(marker->getName(), "1");
    EXPECT_EQ(marker->getType(), 3);
    EXPECT_EQ(marker->getNumberOfAlleles(), 3);
    ASSERT_EQ(file.getRecombinationFractions().size(), 1u);
    EXPECT_DOUBLE_EQ(file.getRecombinationFractions()[0], 0.1);
    EXPECT_EQ(file.getLocus(2), nullptr);
    EXPECT_EQ(file.getLocus(-1), nullptr);
}

TEST(LocusFileReading, ChecksAndNormalisesAlleleFrequencies) {
    ScratchDir dir;
    std::string out;
    LinkageLocusFile file;
    ASSERT_EQ(readLocus(file, dir, locusFileText("3 3\n0.3 0.3 0.40005\n"), &out), 1) << out;
    const std::vector<double>& f = file.getLocus(1)->getAlleleFrequencies();
    ASSERT_EQ(f.size(), 3u);
    EXPECT_NEAR(f[0], 0.3 / 1.00005, 1e-15);
    EXPECT_NEAR(f[2], 0.40005 / 1.00005, 1e-15);
    EXPECT_NEAR(f[0] + f[1] + f[2], 1.0, 1e-15);
}

TEST(LocusFileReading, FailsWithAMessageForEachFault) {
    ScratchDir dir;
    const std::string name = dir.file("datafile.dat");
    struct Case {
        std::string content;
        std::string message;
    };
    const std::vector<Case> cases = {
        {locusFileText("1 3\n0.3 0.3 0.4\n1\n0 1 1\n"), "Disease locus cannot have more than 2 alleles"},
        {locusFileText("2 2\n0.5 0.5\n"), "Binary factors not supported."},
        // Sums to 1: the negative value alone must be the reason.
        {locusFileText("3 3\n0.3 -0.1 0.8\n"), "Allele frequencies cannot be negative!"},
        {locusFileText("3 3\n0.3 0.3 0.3\n"), "Allele frequencies do not sum to 1"},
        {locusFileText("7 3\n0.3 0.3 0.4\n"), "Error in locus type: 7"},
        {locusFileText("3 3\n0.3 0.3 0.4\n", "0 1\n0.1\n1 0.1 0.45\n"),
         "Error in reading linkage locus file: sex difference and interference not allowed!"},
        {locusFileText("3 3\n0.3 0.3 0.4\n", "0 0\n0.1\n"), "Locus file " + name + " ends before all values were read"},
        {locusFileText("3 3\n0.3 0.3\n", ""), "Locus file " + name + " ends before all values were read"},
        {"", "Locus file " + name + " ends before all values were read"},
        {locusFileText("3 3\n0.3 abc 0.4\n"), "Locus file " + name + " holds \"abc\" at line 9 where a number is expected"},
        {"0 0 0 5\n0 0 0 0\n", "Locus file " + name + " must hold at least one locus (number of loci: 0)"},
    };
    for (const Case& c : cases) {
        LinkageLocusFile file;
        std::string out;
        EXPECT_EQ(readLocus(file, dir, c.content, &out), 0) << c.message;
        EXPECT_TRUE(contains(out, "...failed\n" + c.message + "\n")) << out;
    }

    LinkageLocusFile file;
    const std::string missing = dir.file("none.dat");
    const std::string out = captureOutput([&] { EXPECT_EQ(file.readLocusFile(missing), 0); });
    EXPECT_EQ(out, "Reading LINKAGE locus file " + missing + "\n...failed\nUnable to open locus file " + missing +
                       " for reading.\n");
}

TEST(LocusFileReading, ReadsXlinkedAndQuantitativeLoci) {
    ScratchDir dir;
    LinkageLocusFile file;
    std::string out;
    const std::string text =
        "2 0 1 5\n0 0 0 0\n1 2\n"
        "1 2\n0.5 0.5\n2\n0.1 0.2 0.3\n0.4 0.5\n0.6 0.7 0.8\n0.9 1.0\n"
        "0 2\n0.5 0.5\n1\n1.0 2.0 3.0\n0.25\n1.5\n"
        "0 0\n0.5\n1 0.1 0.45\n";
    ASSERT_EQ(readLocus(file, dir, text, &out), 1) << out;
    EXPECT_EQ(file.getXlinked(), 1);
    const Locus* disease = file.getLocus(0);
    EXPECT_EQ(disease->getNumberOfLiabClasses(), 2);
    EXPECT_DOUBLE_EQ(disease->getFemalePenetranceClass(1, 0), 0.6);
    EXPECT_DOUBLE_EQ(disease->getMalePenetranceClass(0, 1), 0.5);
    EXPECT_DOUBLE_EQ(disease->getMalePenetranceClass(1, 1), 1.0);
    const Locus* trait = file.getLocus(1);
    EXPECT_EQ(trait->getName(), "DISEASE_LOCUS_1");
    EXPECT_EQ(trait->getType(), 0);
    EXPECT_EQ(trait->toString(0), "0 2\n0.5 0.5 \n1\n1 2 3 \n0.25 \n1.5\n");
}

TEST(LocusFileWriting, WritesTheMlinkLayout) {
    ScratchDir dir;
    LinkageLocusFile file;
    setMlinkSettings(file, 2);
    file.addLocus(diseaseLocus());
    file.addLocus(markerLocus("0"));
    file.addRecombinationFraction(0.1);
    file.writeLocusFile(dir.file("datafile.dat"), {});
    EXPECT_EQ(dir.read("datafile.dat"),
              "2 0 0 5\n"
              "0 0 0 0\n"
              "1 2 \n"
              "1 2\n"
              "0.75 0.25 \n"
              "1\n"
              "0 0.5 1 \n"
              "3 3\n"
              "0.5 0.25 0.25 \n"
              "0 0\n"
              "0.10000000000000001  \n"
              "1 0.10000000000000001 0.45000000000000001\n");

    // What is written reads back to the same values.
    LinkageLocusFile back;
    std::string out;
    out = captureOutput([&] { EXPECT_EQ(back.readLocusFile(dir.file("datafile.dat")), 1); });
    EXPECT_EQ(back.getLocus(1)->getAlleleFrequencies(), file.getLocus(1)->getAlleleFrequencies());
    EXPECT_EQ(back.getRecombinationFractions(), file.getRecombinationFractions());

    // LINKMAP files end in the varied locus, the stop value and the number of evaluations.
    file.setProgramNumber(4);
    file.setLinkmapLastLine(1, 0.0001, 5);
    file.writeLocusFile(dir.file("linkmap.dat"), {});
    EXPECT_EQ(lines(dir.read("linkmap.dat")).back(), "1 0.0001 5");
}

TEST(LocusFileWriting, XlinkedPenetrancesAlternateFemaleAndMale) {
    Locus locus("DISEASE_LOCUS_1", 1, 2);
    locus.addAlleleFrequencies({0.75, 0.25});
    locus.setFemalePenetrances({0.0, 1.0, 1.0});
    locus.setMalePenetrances({0.0, 1.0});
    locus.setFemalePenetrances({0.5, 1.0, 1.0});
    locus.setMalePenetrances({0.5, 1.0});
    EXPECT_EQ(locus.toString(1), "1 2\n0.75 0.25 \n2\n0 1 1 \n0 1 \n0.5 1 1 \n0.5 1 \n");
    EXPECT_EQ(locus.toString(0), "1 2\n0.75 0.25 \n2\n0 1 1 \n0.5 1 1 \n");
    EXPECT_EQ(locus.toStringHeaderOnly(1), "1 2\n2\n0 1 1 \n0 1 \n0.5 1 1 \n0.5 1 \n");

    // Missing penetrances show as their sentinels.
    Locus female("DISEASE_LOCUS_1", 1, 2);
    female.addAlleleFrequencies({0.75, 0.25});
    female.setFemalePenetrances({0.0, 1.0, 1.0});
    EXPECT_EQ(female.toString(1), "1 2\n0.75 0.25 \n1\n0 1 1 \n-2 -2 \n");
    EXPECT_DOUBLE_EQ(female.getFemalePenetranceClass(1, 0), -4.0);
    EXPECT_DOUBLE_EQ(female.getFemalePenetranceClass(0, 3), -4.0);
    EXPECT_DOUBLE_EQ(female.getFemalePenetranceClass(-1, 0), -4.0);
    EXPECT_DOUBLE_EQ(locus.getMalePenetranceClass(0, 2), -2.0);
    EXPECT_DOUBLE_EQ(locus.getMalePenetranceClass(2, 0), -2.0);
}

TEST(LocusFileWriting, SelectedLociTakeFractionsFromTheMap) {
    ScratchDir dir;
    LinkageLocusFile file;
    setMlinkSettings(file, 3);
    file.addLocus(diseaseLocus());
    file.addLocus(markerLocus("0"));
    file.addLocus(markerLocus("1"));

    std::string out = captureOutput([&] { file.writeLocusFile(dir.file("a.dat"), {"0", "1"}); });
    EXPECT_EQ(out,
              "Error: you can't write recombination fraction to locus file from given loci before you've read the "
              "markermap file & setMarkerMap.");
    EXPECT_FALSE(dir.exists("a.dat"));

    MarkerMap map;
    dir.write("m.map", "c haldane n\n1 0 A\n1 10 B\n1 30 C\n");
    captureOutput([&] { map.readMapFile(dir.file("m.map")); });
    file.setMarkerMap(&map);

    out = captureOutput([&] { file.writeLocusFile(dir.file("a.dat"), {"0", "1", "2", "0"}); });
    EXPECT_EQ(out, "Error: you are requesting too many loci.");
    EXPECT_FALSE(dir.exists("a.dat"));

    // Two loci, listed in reverse: the pair is written unlinked.
    file.writeLocusFile(dir.file("two.dat"), {"1", "0"});
    std::vector<std::string> two = lines(dir.read("two.dat"));
    ASSERT_EQ(two.size(), 12u);
    EXPECT_EQ(two[0], "2 0 0 5");
    EXPECT_EQ(two[2], "1 2 3 ");
    EXPECT_EQ(two[3], "3 3");
    EXPECT_EQ(two[5], "1 2");
    EXPECT_EQ(two[9], "0 0");
    EXPECT_EQ(two[10], "0.5 ");

    // Three loci: the two fractions come from the map (Haldane, 10 and 20 cM).
    file.writeLocusFile(dir.file("three.dat"), {"0", "1", "2"});
    std::vector<std::string> three = lines(dir.read("three.dat"));
    ASSERT_EQ(three.size(), 14u);
    std::istringstream fractions(three[12]);
    double r1 = 0.0;
    double r2 = 0.0;
    fractions >> r1 >> r2;
    EXPECT_NEAR(r1, 0.090634623, 1e-9);
    EXPECT_NEAR(r2, 0.164839977, 1e-9);
}

TEST(LocusDescription, CopiesAreDeepAndDiseaseTextIsLaidOut) {
    Locus* original = diseaseLocus();
    Locus copy(original);
    original->setFemalePenetrances({1.0, 1.0, 1.0});
    original->addAlleleFrequencies({0.5, 0.5});
    EXPECT_EQ(copy.getNumberOfLiabClasses(), 1);
    EXPECT_EQ(copy.toString(0), "1 2\n0.75 0.25 \n1\n0 0.5 1 \n");
    delete original;

    Locus model("DISEASE_LOCUS_1", 1, 2);
    model.addAlleleFrequencies({0.99, 0.01});
    model.setFemalePenetrances({0.01, 0.9, 0.9});
    model.setMalePenetrances({0.01, 0.9});
    const std::string equals(63, '=');
    const std::string dashes(63, '-');
    EXPECT_EQ(model.toStringDiseaseLocus(0),
              equals + "\nDisease allele frequency: P(D) = 0.01\n"
                       "Liability class  P(Affected|++)  P(Affected|D+)  P(Affected|DD)\n" +
                  dashes + "\n" + std::string(14, ' ') + "1" + std::string(11, ' ') + "0.01 " + std::string(12, ' ') +
                  "0.9 " + std::string(12, ' ') + "0.9 \n" + equals + "\n\n");
    EXPECT_TRUE(contains(model.toStringDiseaseLocus(1), "0.9 \n" + std::string(26, ' ') + "0.01 " +
                                                            std::string(12, ' ') + "0.9  (males)\n"));
    EXPECT_EQ(Locus("0", 3, 2).toStringDiseaseLocus(0), "This is not disease locus");
}

TEST(PedigreesLocusWrapper, ReadsIntoTheCollectionAndSetsTheMap) {
    ScratchDir dir;
    dir.write("datafile.dat", locusFileText());
    Pedigrees pedigrees;
    captureOutput([&] { EXPECT_EQ(pedigrees.readLocusFile(dir.file("datafile.dat")), 1); });
    EXPECT_EQ(pedigrees.getLocusFileName(), dir.file("datafile.dat"));
    EXPECT_EQ(pedigrees.getLinkageLocusFile()->getNumberOfLoci(), 2);

    // The map is attached: writing selected loci needs it and succeeds.
    pedigrees.getLinkageLocusFile()->writeLocusFile(dir.file("out.dat"), {"0", "1"});
    EXPECT_TRUE(dir.exists("out.dat"));
}

// ---- FASTLINK accepts what is written and gives the closed-form LOD score ----

namespace {

// LOD of a phase-unknown, fully informative meiosis set: k children fit one phase of the
// father, r the other (n = k + r).
double closedFormLod(double theta, int k, int r) {
    const double linked = 0.5 * (std::pow(1.0 - theta, k) * std::pow(theta, r) +
                                 std::pow(theta, k) * std::pow(1.0 - theta, r));
    return std::log10(linked / std::pow(0.5, k + r));
}

// The LOD printed in the "THETAS" block of the given recombination fraction.
bool lodAtTheta(const std::string& outfile, const std::string& theta, double* lod) {
    const std::vector<std::string> text = lines(outfile);
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i].rfind("THETAS", 0) != 0 || !contains(text[i], theta)) continue;
        for (size_t j = i + 1; j < text.size(); ++j) {
            const size_t at = text[j].find("LOD SCORE =");
            if (at != std::string::npos) {
                *lod = std::atof(text[j].c_str() + at + 11);
                return true;
            }
        }
    }
    return false;
}

}  // namespace

TEST(FastlinkAcceptance, MlinkReadsTheWrittenFileAndAgreesWithTheClosedForm) {
    ScratchDir dir;
    // Affected father 1/2, unaffected mother 3/3, six children: with full penetrance and no
    // phenocopies the father is D+, and five children fit phase D-1, one child phase D-2.
    dir.write("pedfile.dat",
              "1 1 0 0 3 0 0 1 1 2 1 2\n"
              "1 2 0 0 3 0 0 2 0 1 3 3\n"
              "1 3 1 2 0 4 4 1 0 2 1 3\n"
              "1 4 1 2 0 5 5 2 0 2 1 3\n"
              "1 5 1 2 0 6 6 1 0 1 2 3\n"
              "1 6 1 2 0 7 7 2 0 2 1 3\n"
              "1 7 1 2 0 8 8 1 0 1 2 3\n"
              "1 8 1 2 0 0 0 2 0 2 2 3\n");
    dir.write("model.txt", "0 0.001 1\n0.0 1.0 1.0\n");
    Model model;
    captureOutput([&] { ASSERT_EQ(model.readModelFile(dir.file("model.txt")), 1); });

    LinkageLocusFile file;
    file.setNumberOfLoci(2);
    file.setProgramNumber(5);
    file.setLocusOrder({1, 2});
    file.addLocus(new Locus(model.getLocus()));
    Locus* marker = new Locus("0", 3, 3);
    marker->addAlleleFrequencies({0.3, 0.3, 0.4});
    file.addLocus(marker);
    file.addRecombinationFraction(0.0);
    file.setRecombinationVaried(1);
    file.setIncrement(0.1);
    file.setFinishingValue(0.45);
    file.writeLocusFile(dir.file("datafile.dat"), {});

    const std::string cd = "cd '" + dir.path() + "' && ";
    ASSERT_EQ(std::system((cd + "/usr/bin/unknown < /dev/null > unknown.log 2>&1").c_str()), 0);
    ASSERT_EQ(std::system((cd + "/usr/bin/mlink < /dev/null > mlink.log 2>&1").c_str()), 0);
    const std::string outfile = dir.read("outfile.dat");
    ASSERT_TRUE(contains(outfile, "THETAS")) << outfile;

    double lod = 0.0;
    ASSERT_TRUE(lodAtTheta(outfile, "0.500", &lod));
    EXPECT_NEAR(lod, 0.0, 1e-6);
    for (const auto& point : std::vector<std::pair<std::string, double>>{
             {"0.100", 0.1}, {"0.200", 0.2}, {"0.300", 0.3}, {"0.400", 0.4}}) {
        ASSERT_TRUE(lodAtTheta(outfile, point.first, &lod)) << point.first;
        EXPECT_NEAR(lod, closedFormLod(point.second, 5, 1), 1e-5) << point.first;
    }
}
