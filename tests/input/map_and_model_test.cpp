// Map functions, the marker map file and the disease model file.

#include <cmath>

#include "input/linkage_locus_file.h"
#include "input/marker_map.h"
#include "input/model.h"
#include "input_helpers.h"

using namespace input_tests;

TEST(MapFunctions, AgreeWithHandValuesAndInvertEachOther) {
    // Haldane: 0.5 (1 - e^(-2d/100)); Kosambi: 0.5 tanh(2d/100).
    EXPECT_NEAR(HaldaneCentiMorganToRecombinationFraction(50.0), 0.316060279, 1e-9);
    EXPECT_NEAR(KosambiCentiMorganToRecombinationFraction(50.0), 0.380797078, 1e-9);
    EXPECT_NEAR(RecombinationFractionToHaldaneCentiMorgan(0.316060279), 50.0, 1e-6);
    EXPECT_NEAR(RecombinationFractionToKosambiCentiMorgan(0.380797078), 50.0, 1e-6);
    for (double d : {0.0, 7.5, 120.0}) {
        EXPECT_NEAR(RecombinationFractionToHaldaneCentiMorgan(HaldaneCentiMorganToRecombinationFraction(d)), d, 1e-9);
        EXPECT_NEAR(RecombinationFractionToKosambiCentiMorgan(KosambiCentiMorganToRecombinationFraction(d)), d, 1e-9);
    }
}

TEST(MarkerMapFile, HeaderChoosesTheFunctionDistancesAreSignedFaultsAreNamed) {
    ScratchDir dir;
    const std::string name = dir.file("map.txt");
    const auto read = [&](MarkerMap& map, const std::string& content) {
        dir.write("map.txt", content);
        return attempt([&] { return map.readMapFile(name); });
    };
    const struct {
        const char* header;
        bool haldane;
        double fraction;  // 50 cM apart
    } cases[] = {{"CHR Kosambi NAME", false, 0.380797078},
                 {"CHR HALDANE NAME", true, 0.316060279},
                 {"chr cM name", false, 0.380797078}};  // any other word selects Kosambi's
    for (const auto& c : cases) {
        SCOPED_TRACE(c.header);
        MarkerMap map;
        ASSERT_EQ(read(map, std::string(c.header) + "\n1 0.0 A\n1 50.0 B\n").result, 1);
        EXPECT_EQ(map.isHaldane(), c.haldane);
        EXPECT_NEAR(map.getRecombinationFractionBetweenWithIndex("0", "1"), c.fraction, 1e-9);
    }
    MarkerMap map;
    ASSERT_EQ(read(map, "c kosambi n\n1 10.0 A\n1 4.5 B extra words are ignored\n").result, 1);
    EXPECT_EQ(map.getMarkerCount(), 2);
    EXPECT_EQ(map.getMarkerName("1"), "B");
    EXPECT_DOUBLE_EQ(map.getGeneticDistanceBetween("A", "B"), -5.5);
    EXPECT_DOUBLE_EQ(map.getGeneticDistanceBetween("B", "A"), 5.5);

    // Markers on different chromosomes are unlinked, whichever of their positions is larger.
    MarkerMap genome;
    ASSERT_EQ(read(genome, "CHR HALDANE POS\n1 40.0 A\n2 10.0 B\n2 60.0 C\nX 70.0 D\n").result, 1);
    EXPECT_EQ(genome.getRecombinationFractionBetweenWithIndex("0", "1"), 0.5);
    EXPECT_EQ(genome.getRecombinationFractionBetweenWithIndex("0", "2"), 0.5);
    EXPECT_EQ(genome.getRecombinationFractionBetweenWithIndex("2", "3"), 0.5);
    EXPECT_NEAR(genome.getRecombinationFractionBetweenWithIndex("1", "2"), 0.5 * (1 - std::exp(-1.0)), 1e-12);

    expectFailures({{"c haldane n\n1 1 A\n2\n", "Map function is missing\n"},
                    {"c haldane n\n1 1 A\n2 4.0\n", "Marker name is missing\n"},
                    {"c haldane n\n1 1 A\n1 2 B\n1 3 C\n1 4 B\n", "Duplicate marker at line: 4 markername: B\n"},
                    {"\n  \n", "Map file " + name + " is empty\n"},
                    {"c haldane\n1 1 A\n", "Map file " + name + " line 1: the header must hold exactly three fields "
                                             "(such as \"CHROMOSOME HALDANE POSITION\"), found 2: c haldane\n"}},
                   [&](const std::string& content) {
                       MarkerMap failing;
                       return read(failing, content);
                   });
}

TEST(MarkerMapFile, PositionsThatDecreaseWithinAChromosomeAreNamedInAWarning) {
    ScratchDir dir;
    const std::string name = dir.file("map.txt");
    // A map sorted by name: rs10 comes before rs2 in the file but lies after it.
    dir.write("map.txt", "CHR HALDANE POS\n\n1 10.0 rs1\n1 90.0 rs10\n1 20.0 rs2\n1 30.0 rs3\n2 5.0 rs4\n"
                         "2 5.0 rs5\n2 1.5 rs6\n");
    MarkerMap map;
    const Outcome sorted = attempt([&] { return map.readMapFile(name); });
    ASSERT_EQ(sorted.result, 1) << sorted.out;
    EXPECT_TRUE(contains(sorted.out, "Warning: map file " + name +
                                         ": positions decrease within a chromosome at line 5 (rs2 at 20.0 after "
                                         "rs10 at 90.0 on line 4), line 9 (rs6 at 1.5 after rs5 at 5.0 on line 8). "
                                         "Markers are matched to the pedigree file's genotype columns by the map's "
                                         "line order, not by position: the map must list them in the order of the "
                                         "columns.\n"))
        << sorted.out;
    EXPECT_EQ(map.getMarkerName("2"), "rs2");  // the line order stands

    // Equal positions, and a new chromosome starting lower, are in order.
    dir.write("map.txt", "CHR HALDANE POS\n1 10.0 A\n1 10.0 B\n2 0.0 C\nX 0.0 D\n");
    MarkerMap ordered;
    const Outcome inOrder = attempt([&] { return ordered.readMapFile(name); });
    ASSERT_EQ(inOrder.result, 1);
    EXPECT_FALSE(contains(inOrder.out, "Warning")) << inOrder.out;
}

TEST(ModelFile, ReadsAutosomalAndXlinkedLociAndFailsWithoutALocus) {
    ScratchDir dir;
    const std::string name = dir.file("model.txt");
    const auto read = [&](Model& model, const std::string& content) {
        dir.write("model.txt", content);
        return attempt([&] { return model.readModelFile(name); });
    };
    Model model;
    ASSERT_EQ(read(model, "0 0.001 1\n0.0 1.0 1.0\n").result, 1);
    EXPECT_EQ(model.getXlinkedIndicator(), 0);
    const Locus* locus = model.getLocus();
    ASSERT_NE(locus, nullptr);
    ASSERT_EQ(locus->getAlleleFrequencies().size(), 2u);
    EXPECT_DOUBLE_EQ(locus->getAlleleFrequencies()[0], 0.999);
    EXPECT_DOUBLE_EQ(locus->getAlleleFrequencies()[1], 0.001);
    EXPECT_EQ(locus->getNumberOfLiabClasses(), 1);
    for (int g = 0; g < 3; ++g) EXPECT_DOUBLE_EQ(locus->getFemalePenetranceClass(0, g), g == 0 ? 0.0 : 1.0);

    Model xlinked;  // header over three lines, comments after values; per class a female, then a male line
    const char* xlinkedText = "1\n0.01\n2\n0.0 0.9 0.95 class 1 females\n0.0 0.8 class 1 males\n"
                              "0.1 0.7 0.75 class 2 females\n0.2 0.6 class 2 males\n";
    ASSERT_EQ(read(xlinked, xlinkedText).result, 1);
    EXPECT_EQ(xlinked.getXlinkedIndicator(), 1);
    locus = xlinked.getLocus();
    EXPECT_EQ(locus->getNumberOfLiabClasses(), 2);
    EXPECT_DOUBLE_EQ(locus->getFemalePenetranceClass(0, 2), 0.95);
    EXPECT_DOUBLE_EQ(locus->getMalePenetranceClass(0, 1), 0.8);
    EXPECT_DOUBLE_EQ(locus->getFemalePenetranceClass(1, 0), 0.1);
    EXPECT_DOUBLE_EQ(locus->getMalePenetranceClass(1, 0), 0.2);

    const std::string early = "Model file " + name + " ends before all values were read\n";
    expectFailures({{"0 0.01 2\n0 1 1\n", early},  // second class missing
                    {"1 0.01 1\n0 1 1\n", early},  // male line missing
                    {"", early},
                    {"0 x 1\n0 1 1\n", "Model file " + name + " holds \"x\" at line 1 where a number is expected\n"},
                    {"0 0.01 0\n", "Model file " + name + " must give at least one liability class (found 0)\n"}},
                   [&](const std::string& content) {
                       Model failing;
                       const Outcome r = read(failing, content);
                       EXPECT_EQ(failing.getLocus(), nullptr);
                       return r;
                   });
}

TEST(DefaultModel, IsDominantWithPhenocopies) {
    Model model;
    EXPECT_EQ(captureOutput([&] { model.makeModel(); }), "Generating model...done\n");
    const Locus* locus = model.getLocus();
    ASSERT_NE(locus, nullptr);
    EXPECT_EQ(locus->getAlleleFrequencies(), (std::vector<double>{0.99, 0.01}));
    EXPECT_EQ(locus->getNumberOfLiabClasses(), 1);
    for (int g = 0; g < 3; ++g) EXPECT_DOUBLE_EQ(locus->getFemalePenetranceClass(0, g), g == 0 ? 0.01 : 0.9);
}
