#include <cmath>

#include "input/marker_map.h"
#include "model/pedigrees.h"
#include "support/test_support.h"

using namespace testing_support;

namespace {

// Reads a map file of the given content; the reader's output goes to *output.
int readMap(MarkerMap& map, const ScratchDir& dir, const std::string& content, std::string* output) {
    dir.write("map.txt", content);
    int result = -1;
    *output = captureOutput([&] { result = map.readMapFile(dir.file("map.txt")); });
    return result;
}

}  // namespace

TEST(MapFunctions, AgreeWithHandValuesAndInvertEachOther) {
    // Haldane: 0.5 - 0.5 e^(-2d/100); Kosambi: 0.5 tanh(2d/100).
    EXPECT_DOUBLE_EQ(HaldaneCentiMorganToRecombinationFraction(0.0), 0.0);
    EXPECT_DOUBLE_EQ(KosambiCentiMorganToRecombinationFraction(0.0), 0.0);
    EXPECT_NEAR(HaldaneCentiMorganToRecombinationFraction(50.0), 0.316060279, 1e-9);
    EXPECT_NEAR(KosambiCentiMorganToRecombinationFraction(50.0), 0.380797078, 1e-9);
    EXPECT_NEAR(HaldaneCentiMorganToRecombinationFraction(10.0), 0.090634623, 1e-9);
    EXPECT_NEAR(KosambiCentiMorganToRecombinationFraction(10.0), 0.098687660, 1e-9);

    EXPECT_NEAR(RecombinationFractionToHaldaneCentiMorgan(0.316060279), 50.0, 1e-6);
    EXPECT_NEAR(RecombinationFractionToKosambiCentiMorgan(0.380797078), 50.0, 1e-6);
    EXPECT_DOUBLE_EQ(RecombinationFractionToHaldaneCentiMorgan(0.0), 0.0);
    EXPECT_DOUBLE_EQ(RecombinationFractionToKosambiCentiMorgan(0.0), 0.0);
    for (double d : {1.0, 7.5, 33.0, 120.0}) {
        EXPECT_NEAR(RecombinationFractionToHaldaneCentiMorgan(HaldaneCentiMorganToRecombinationFraction(d)), d, 1e-9);
        EXPECT_NEAR(RecombinationFractionToKosambiCentiMorgan(KosambiCentiMorganToRecombinationFraction(d)), d, 1e-9);
    }
}

TEST(MarkerMapFile, HeaderNamesTheMapFunctionCaseInsensitively) {
    ScratchDir dir;
    std::string out;
    {
        MarkerMap map;
        ASSERT_EQ(readMap(map, dir, "CHR Kosambi NAME\n1 0.0 A\n1 50.0 B\n", &out), 1);
        EXPECT_FALSE(map.isHaldane());
        EXPECT_EQ(map.getMapFunction(), "kosambi");
        EXPECT_NEAR(map.getRecombinationFractionBetweenWithIndex("0", "1"), 0.380797078, 1e-9);
    }
    {
        MarkerMap map;
        ASSERT_EQ(readMap(map, dir, "CHR HALDANE NAME\n1 0.0 A\n1 50.0 B\n", &out), 1);
        EXPECT_TRUE(map.isHaldane());
        EXPECT_NEAR(map.getRecombinationFractionBetweenWithIndex("0", "1"), 0.316060279, 1e-9);
    }
    {
        MarkerMap map;  // any other word selects Kosambi's function
        ASSERT_EQ(readMap(map, dir, "chr cM name\n1 0.0 A\n1 50.0 B\n", &out), 1);
        EXPECT_FALSE(map.isHaldane());
        EXPECT_NEAR(map.getRecombinationFractionBetweenWithIndex("0", "1"), 0.380797078, 1e-9);
    }
}

TEST(MarkerMapFile, ReadsMarkersInFileOrderWithProgressAndLookups) {
    ScratchDir dir;
    MarkerMap map;
    std::string out;
    ASSERT_EQ(readMap(map, dir,
                      "Chromosome Haldane Name\n"
                      "1 12.5 D1S1 extra words are ignored\n"
                      "1 3.0 D1S2\n1 30 D1S3\n2 0 D2S1\n2 5 D2S2\n2 9 D2S3\n",
                      &out),
              1);
    EXPECT_EQ(out, "Reading map file " + dir.file("map.txt") +
                       "\n D1S1 D1S2 D1S3 D2S1 D2S2 ...\n(Number of markers : 6)\n...done.\n");
    EXPECT_EQ(map.getMarkerCount(), 6);
    EXPECT_EQ(map.getMarkerName("0"), "D1S1");
    EXPECT_EQ(map.getMarkerName("5"), "D2S3");
    Marker* m = map.getMarker("3");
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(m->getName(), "D2S1");
    EXPECT_EQ(m->getChromosome(), "2");
    EXPECT_EQ(m->getPositionText(), "0");
    EXPECT_EQ(m->getIndex(), "3");
    EXPECT_EQ(m->getPhysicalPosition(), "0");
    // Positions are kept as read, not sorted.
    EXPECT_EQ(map.getMarkerWithName("D1S1")->getPositionText(), "12.5");
    EXPECT_EQ(map.getMarkerName("6"), "");
    EXPECT_EQ(map.getMarker("6"), nullptr);
    EXPECT_EQ(map.getMarkerWithName("D9S9"), nullptr);
}

TEST(MarkerMapFile, ReadsFieldsAsAStream) {
    ScratchDir dir;
    MarkerMap map;
    std::string out;
    // The short first marker line takes its name from the next line, whose remaining
    // fields are then dropped as the rest of that line.
    ASSERT_EQ(readMap(map, dir, "c haldane n\n1 10.0\nM1 2 20.0 M2\n3 30 M3\n", &out), 1);
    EXPECT_EQ(map.getMarkerCount(), 2);
    EXPECT_EQ(map.getMarkerName("0"), "M1");
    EXPECT_EQ(map.getMarkerName("1"), "M3");
    EXPECT_EQ(map.getMarkerWithName("M2"), nullptr);

    // A header without markers is a valid map of no markers.
    MarkerMap empty;
    ASSERT_EQ(readMap(empty, dir, "\nc haldane n\n", &out), 1);
    EXPECT_EQ(empty.getMarkerCount(), 0);
    EXPECT_TRUE(contains(out, "(Number of markers : 0)\n...done.\n"));
}

TEST(MarkerMapFile, ReportsEveryKindOfBadFile) {
    ScratchDir dir;
    struct Case {
        std::string content;
        std::string message;
    };
    const std::vector<Case> cases = {
        {"c haldane n\n1 1 A\n2\n", "Map function is missing"},
        {"c haldane n\n1 1 A\n2 4.0\n", "Marker name is missing"},
        {"c haldane n\n1 1 A\n1 2 B\n1 3 C\n1 4 B\n", "Duplicate marker at line: 4 markername: B"},
        {"", "Map file " + dir.file("map.txt") + " is empty"},
        {"c haldane\n1 1 A\n", "Map file " + dir.file("map.txt") + " has a header line with fewer than three fields"},
        {"\n  \n", "Map file " + dir.file("map.txt") + " is empty"},
    };
    for (const Case& c : cases) {
        MarkerMap map;
        std::string out;
        EXPECT_EQ(readMap(map, dir, c.content, &out), 0) << c.message;
        EXPECT_TRUE(contains(out, "...failed\n" + c.message + "\n")) << out;
    }

    MarkerMap map;
    const std::string missing = dir.file("absent.map");
    const std::string out = captureOutput([&] { EXPECT_EQ(map.readMapFile(missing), 0); });
    EXPECT_EQ(out, "Reading map file " + missing + "\n...failed\nUnable to open marker map file " + missing +
                       " for reading!\n");
}

TEST(MarkerMapDistances, AreSignedAndReportMissingMarkers) {
    ScratchDir dir;
    MarkerMap map;
    std::string out;
    ASSERT_EQ(readMap(map, dir, "c kosambi n\n1 10.0 A\n1 4.5 B\n", &out), 1);
    EXPECT_DOUBLE_EQ(map.getGeneticDistanceBetween("A", "B"), -5.5);
    EXPECT_DOUBLE_EQ(map.getGeneticDistanceBetween("B", "A"), 5.5);

    double d = 0.0;
    out = captureOutput([&] { d = map.getGeneticDistanceBetween("X", "A"); });
    EXPECT_EQ(out, "marker1 is null");
    EXPECT_DOUBLE_EQ(d, -1.0);
    out = captureOutput([&] { d = map.getGeneticDistanceBetween("A", "X"); });
    EXPECT_EQ(out, "marker2 is null");
    EXPECT_DOUBLE_EQ(d, -1.0);
}

TEST(GeneratedMarkerMap, HasHaldaneMarkersTenCentiMorgansApartReachableByIndex) {
    MarkerMap map;
    const std::string out = captureOutput([&] { map.makeMarkerMap(3); });
    EXPECT_EQ(out, "Generating map file \n(Number of markers : 3)\n...done.\n");
    EXPECT_TRUE(map.isHaldane());
    EXPECT_EQ(map.getMarkerCount(), 3);
    ASSERT_NE(map.getMarker("2"), nullptr);
    EXPECT_EQ(map.getMarker("2")->getName(), "MARKER3");
    EXPECT_EQ(map.getMarker("2")->getPositionText(), "21");
    EXPECT_EQ(map.getMarkerWithName("MARKER1")->getPositionText(), "01");
    EXPECT_EQ(map.getMarkerWithName("MARKER1")->getChromosome(), "1");
    // 10 cM under Haldane's function.
    EXPECT_NEAR(map.getRecombinationFractionBetweenWithIndex("0", "1"), 0.090634623, 1e-9);
}

TEST(PedigreesMapWrapper, StoresNameAndCount) {
    ScratchDir dir;
    dir.write("m.map", "c haldane n\n1 1 A\n1 2 B\n");
    Pedigrees pedigrees;
    captureOutput([&] { EXPECT_EQ(pedigrees.readMapFile(dir.file("m.map")), 1); });
    EXPECT_EQ(pedigrees.getMapFileName(), dir.file("m.map"));
    EXPECT_EQ(pedigrees.getMarkerCount(), 2);
    EXPECT_EQ(pedigrees.getMarkerMap()->getMarkerName("1"), "B");
}
