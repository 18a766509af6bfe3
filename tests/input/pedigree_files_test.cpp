// Pedigree file reader (column arithmetic against the map, genotype coding, failures), the
// phenotype file and the only-markers file.

#include <sys/stat.h>

#include <fstream>
#include <thread>
#include <utility>

#include "input/marker_map.h"
#include "input_helpers.h"

using namespace input_tests;

namespace {

const char* twoMarkers = "CHROMOSOME HALDANE NAME\n1 0.0 M1\n1 10.0 M2\n";
// Father 1/2 3/4, mother 1/1 3/3, affected son 1/1 3/4.
const std::string trio = "1 1 0 0 1 1  1 2  3 4\n1 2 0 0 2 1  1 1  3 3\n1 3 1 2 1 2  1 1  3 4\n";

// Reads the map and the pedigree file, with the columns given, in a scratch working directory.
Outcome readPedigree(Pedigrees& p, const std::string& map, const std::string& pedigree, bool liability = false,
                     bool postMakeped = false) {
    ScratchDir dir;
    InDirectory here(dir.path());
    p.setAffectionColumn(true);
    p.setLiabilityColumn(liability);
    p.setPostMakeped(postMakeped);
    dir.write("test.map", map);
    dir.write("test.ped", pedigree);
    return attempt([&] { return p.readMapFile("test.map") && p.readPedigreeFile("test.ped"); });
}

Outcome readFresh(const std::string& pedigree, bool liability) {
    Pedigrees p;
    return readPedigree(p, twoMarkers, pedigree, liability);
}

// Reads two trios (pedigrees 1 and 2, three markers), then the phenotype ("phen") or
// only-markers file of the given content.
Outcome afterTwoTrios(Pedigrees& p, const std::string& kind, const std::string& content) {
    const std::string trios = "1 1 0 0 1 1  1 2  3 4  1 1\n1 2 0 0 2 1  1 1  3 3  1 2\n1 3 1 2 1 2  1 1  3 4  1 1\n"
                              "2 1 0 0 1 1  1 2  3 4  1 1\n2 2 0 0 2 1  1 1  3 3  1 2\n2 3 1 2 1 2  1 1  3 4  1 2\n";
    if (readPedigree(p, "CHROMOSOME HALDANE NAME\n1 0.0 M1\n1 10.0 M2\n1 20.0 M3\n", trios).result != 1) return {};
    ScratchDir dir;
    dir.write("x", content);
    const std::string file = dir.file("x");
    return attempt([&] { return kind == "phen" ? p.readPhenotypeFile(file) : p.readOnlyMarkersFile(file); });
}

}  // namespace

TEST(PedigreeReader, ColumnCountsAllowForLiabilityAndTailColumns) {
    const struct {
        bool liability, postMakeped;
        std::string pedigree, note;
    } cases[] = {
        {false, false, trio, ""},
        {true, false, "1 1 0 0 1 1 2  1 2  3 4\n1 2 0 0 2 1 x  1 1  3 3\n1 3 1 2 1 2 1  1 1  3 4\n", ""},
        {false, true,
         "1 1 0 0 3 0 0 1 1 1  1 2  3 4  Ped: f1 Per: a\n1 2 0 0 3 0 0 2 0 1  1 1  3 3  Ped: f1 Per: b\n"
         "1 3 1 2 0 0 0 1 0 2  1 1  3 4  Ped: f1 Per: c\n",
         "MAKEPED"},
        {false, false,
         "1 1 0 0 1 1  1 2  3 4  0 0 0 0 1 orig\n1 2 0 0 2 1  1 1  3 3  0 0 0 0 1 orig\n"
         "1 3 1 2 1 2  1 1  3 4  0 0 0 0 1 orig\n",
         "SLINK"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.pedigree);
        Pedigrees p;
        const Outcome r = readPedigree(p, twoMarkers, c.pedigree, c.liability, c.postMakeped);
        ASSERT_EQ(r.result, 1) << r.out;
        EXPECT_EQ(contains(r.out, "contains " + c.note + " extra columns at the end...ignoring them)\n"),
                  !c.note.empty());
        const Person* son = person(p, "1", "3");
        ASSERT_NE(son, nullptr);
        EXPECT_EQ(son->getFatherId(), "1");
        EXPECT_EQ(son->getPhenotype("DISEASE_LOCUS")->getValue(), "2");
        EXPECT_EQ(son->getAlleleName(1, 1), "4");
        EXPECT_FALSE(son->isTyped(2));
        const Phenotype* liability = person(p, "1", "1")->getPhenotype("LIABILITY_CLASS");
        EXPECT_EQ(liability ? liability->getValue() : "none", c.liability ? "2" : "none");
        EXPECT_EQ(person(p, "1", "2")->getPhenotype("LIABILITY_CLASS"), nullptr);  // "x" or no column
    }
}

TEST(PedigreeReader, MissingGenotypesAndAffectionAreUnknown) {
    Pedigrees p;
    const Outcome r =
        readPedigree(p, twoMarkers, "7 1 0 0 1 0  0 0  12 4\n7 2 0 0 2 -9  - 3  3 3\n7 3 1 2 1 2  2 .  12 3\n");
    ASSERT_EQ(r.result, 1) << r.out;
    for (const char* id : {"1", "2", "3"}) EXPECT_FALSE(person(p, "7", id)->isTyped(0)) << id;
    EXPECT_EQ(person(p, "7", "1")->getAlleleName(1, 0), "12");
    EXPECT_EQ(person(p, "7", "1")->getPhenotype("DISEASE_LOCUS"), nullptr);
    EXPECT_EQ(person(p, "7", "2")->getPhenotype("DISEASE_LOCUS"), nullptr);
}

TEST(PedigreeReader, FailuresNameTheFault) {
    const std::string badFormat = " *** Problem with pedigree file format? ***\n";
    expectFailures(
        {{"1 1 0 0 1 1  1 2  3 4  1 1\n1 2 0 0 2 1  1 1  3 3  1 2\n1 3 1 2 1 2  1 1  3 4  1 1\n",
          "Pedigree file contains 3 marker(s) and mapfile claims 2\n"},
         {"1 1 0 0 1 1  1 2  3 4\n1 2 0 0 2 1  1 1  3\n1 3 1 2 1 2  1 1  3 4\n",
          "Unable to read pedigree file that hasn't a standard column count\n"},
         {"7 1 0 0 1 1  1 1  3 4\n7 2 0 0 2 1  1 2  3 3\n7 3 1 2 1 2  2 1  1 0\n",
          "Pedigree 7 Person 3 halftyped (1/0) at marker_index: 1, line 3\n" + badFormat},
         {"1 1 0 0 1 1  1 2  3 4\n1 2 0 0 0 1  1 1  3 3\n1 3 1 2 1 2  1 1  3 4\n",
          "Unknown gender status: Pedigree: 1 Person: 2 sex: 0\n"},
         {trio + "2 1 0 0 1 1  1 2  3 4\n1 2 0 0 2 1  1 1  3 3\n",
          "Duplicate person at line: 5 personid: 2\n" + badFormat}},
        [](const std::string& content) { return readFresh(content, false); });
    expectFailures({{"1 1 0 0 1 1 1  1 2  3 4\n1 2 0 0 2 1 0  1 1  3 3\n1 3 1 2 1 2 1  1 1  3 4\n",
                     "Liability class can't be 0 at line: 2\n"}},
                   [](const std::string& content) { return readFresh(content, true); });
}

namespace {

// A map of n markers M1..Mn, 1 cM apart.
std::string mapOf(int markers) {
    std::string map = "CHROMOSOME HALDANE NAME\n";
    for (int m = 1; m <= markers; ++m) map += "1 " + std::to_string(m) + ".0 M" + std::to_string(m) + "\n";
    return map;
}

// The alleles of a founder of the generated files below at marker m.
std::pair<int, int> generatedAlleles(int founder, int m) { return {1 + (founder + m) % 3, 2 + (founder * m) % 5}; }

// Trios: in pedigree k, the founders 2k - 1 (father) and 2k with generated genotypes, their
// child with the first allele of each; lines ended as given, a blank line after each trio.
std::string generatedTrios(int trios, int markers, const std::string& lineEnd) {
    std::string text;
    for (int k = 1; k <= trios; ++k) {
        const std::string pedigree = std::to_string(k) + " ";
        for (int who = 1; who <= 3; ++who) {
            text += pedigree + (who == 1 ? "1 0 0 1 1" : who == 2 ? "2 0 0 2 1" : "3 1 2 1 2");
            for (int m = 0; m < markers; ++m) {
                const auto father = generatedAlleles(2 * k - 1, m), mother = generatedAlleles(2 * k, m);
                const auto [a, b] = who == 1 ? father : who == 2 ? mother : std::make_pair(father.first, mother.first);
                text += "  " + std::to_string(a) + " " + std::to_string(b);
            }
            text += lineEnd;
        }
        text += " \t" + lineEnd;
    }
    return text;
}

}  // namespace

TEST(PedigreeReader, FilesLargerThanOneReadTakeEveryRecordWhole) {
    // Files of MB (read in pieces far smaller), one with lines of 350 KB, CR LF line ends too.
    const struct {
        int trios, markers;
        std::string lineEnd;
    } cases[] = {{150, 600, "\n"}, {100, 500, "\r\n"}, {2, 70000, "\n"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.trios) + " trios, " + std::to_string(c.markers) + " markers");
        Pedigrees p;
        const Outcome r = readPedigree(p, mapOf(c.markers), generatedTrios(c.trios, c.markers, c.lineEnd));
        ASSERT_EQ(r.result, 1) << r.out;
        EXPECT_TRUE(contains(r.out, "(Total number of persons " + std::to_string(3 * c.trios) + ")\n")) << r.out;
        EXPECT_FALSE(contains(r.out, "Mendelian errors found")) << r.out;
        for (int k : {1, c.trios / 2, c.trios})
            for (int m : {0, 1, c.markers / 3, c.markers - 1}) {
                SCOPED_TRACE("pedigree " + std::to_string(k) + ", marker " + std::to_string(m));
                const Person* mother = person(p, std::to_string(k), "2");
                const Person* child = person(p, std::to_string(k), "3");
                ASSERT_TRUE(mother && child);
                const auto [a, b] = generatedAlleles(2 * k, m);
                EXPECT_EQ(mother->getAlleleName(m, 0), std::to_string(a));
                EXPECT_EQ(mother->getAlleleName(m, 1), std::to_string(b));
                EXPECT_EQ(child->getAlleleName(m, 0), std::to_string(generatedAlleles(2 * k - 1, m).first));
                EXPECT_EQ(child->getAlleleName(m, 1), std::to_string(a));
            }
    }
}

TEST(PedigreeReader, APipeIsReadLikeAFile) {
    // A pipe cannot be read twice: it is held whole.
    ScratchDir dir;
    const std::string pipe = dir.file("pedigree.fifo");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    std::thread writer([&] {
        std::ofstream out(pipe);
        out << trio;
    });
    Pedigrees p;
    p.setAffectionColumn(true);
    dir.write("test.map", twoMarkers);
    const Outcome r = attempt([&] { return p.readMapFile(dir.file("test.map")) && p.readPedigreeFile(pipe); });
    writer.join();
    ASSERT_EQ(r.result, 1) << r.out;
    EXPECT_EQ(person(p, "1", "3")->getAlleleName(1, 1), "4");
    EXPECT_EQ(person(p, "1", "1")->getAlleleName(0, 1), "2");
}

TEST(PhenotypeFile, ValuesAreAddedUnderTheHeaderNames) {
    Pedigrees p;
    const Outcome r = afterTwoTrios(p, "phen", "2 age bmi rest ignored\n1 1 54 27.5\n1 2 0 x  1 3 12 .\n2 3 - 19.25\n");
    ASSERT_EQ(r.result, 1) << r.out;  // records are a stream of fields: two share the third line
    EXPECT_EQ(p.getPhenotypeNames(), (std::vector<std::string>{"DISEASE_LOCUS", "age", "bmi"}));
    EXPECT_EQ(person(p, "1", "1")->getPhenotype("bmi")->getValue(), "27.5");
    EXPECT_EQ(person(p, "1", "2")->getPhenotype("age"), nullptr);  // 0 is unknown
    EXPECT_EQ(person(p, "1", "2")->getPhenotype("bmi"), nullptr);  // so is x
    EXPECT_EQ(person(p, "1", "3")->getPhenotype("age")->getValue(), "12");
    EXPECT_EQ(person(p, "2", "3")->getPhenotype("bmi")->getValue(), "19.25");

    expectFailures(
        {{"2 age DISEASE_LOCUS\n1 1 3 4\n", "duplicate phenotypename: DISEASE_LOCUS at phenotypecolumn: 2\n"},
         {"3 age bmi age\n1 1 3 4 5\n", "duplicate phenotypename: age at phenotypecolumn: 3\n"},
         {"0 age\n", "Number of phenotypes:0 ...check your files!\n"},
         {"2 age bmi\n1 1 3 4\n1 2 5 6\n2 1 7\n", "Value for Phenotype: bmi not found at line: 3\n"},  // short last
         {"1 age\n1 1 3\n9 1 4\n",
          "Pedigree not found for phenotype at line: 2 Pedigree 9 Person 1 does not match with pedigree file!\n"},
         {"1 age\n2 4 3\n",
          "Pedigree found, but not person at line: 1 Pedigree 2 Person 4 does not match with pedigree file!\n"},
         {"1 age\n1 2 3\n1 2 4\n", "Duplicate phenotype at line: 2 name: age Pedigree 1 Person 2\n"}},
        [](const std::string& content) {
            Pedigrees fresh;
            return afterTwoTrios(fresh, "phen", content);
        });
}

TEST(OnlyMarkersFile, ListedMarkersTakeTheFilesPositionsInOrder) {
    Pedigrees p;
    const Outcome r = afterTwoTrios(p, "only", "2 3.5 M3 rest ignored\n2 3.5 M1\n");  // equal is in order
    ASSERT_EQ(r.result, 1) << r.out;
    EXPECT_EQ(p.getOnlyMarkers(), (std::vector<std::string>{"M3", "M1"}));
    const MarkerMap* map = p.getMarkerMap();
    EXPECT_EQ(map->getMarkerWithName("M3")->getPositionText(), "3.5");
    EXPECT_EQ(map->getMarkerWithName("M3")->getChromosome(), "2");
    EXPECT_DOUBLE_EQ(map->getMarkerWithName("M1")->getPosition(), 3.5);
    EXPECT_DOUBLE_EQ(map->getMarkerWithName("M2")->getPosition(), 10.0);  // not listed

    expectFailures({{"1 10.0 M2\n1 5.0 M1\n", "Error: Marker position must be linear within a chromosome: "},
                    {"1 0.0 M1\n1 2.0 M9\n", "Error: Marker M9 not found \n"},
                    {"M1\nM9\n", "Error: Marker M9 not found \n"},
                    {"1 M1 0.0\n", "Error: onlymarkers file not correct \n"}},  // name and position swapped
                   [](const std::string& content) {
                       Pedigrees fresh;
                       return afterTwoTrios(fresh, "only", content);
                   });
}

TEST(OnlyMarkersFile, ChromosomesAreOrderedApartAndPlainNameListsKeepTheMap) {
    // Positions restart on a second chromosome; within one they must not decrease.
    Pedigrees two;
    Outcome r = afterTwoTrios(two, "only", "1 20.0 M3\n2 5.0 M1\n2 7.5 M2\n");
    ASSERT_EQ(r.result, 1) << r.out;
    EXPECT_EQ(two.getOnlyMarkers(), (std::vector<std::string>{"M3", "M1", "M2"}));
    EXPECT_EQ(two.getMarkerMap()->getMarkerWithName("M1")->getChromosome(), "2");
    Pedigrees back;
    r = afterTwoTrios(back, "only", "1 20.0 M3\n2 5.0 M1\n1 7.5 M2\n");
    EXPECT_EQ(r.result, 0);
    EXPECT_TRUE(contains(r.out, "...failed\nError: Marker position must be linear within a chromosome: "));
    EXPECT_TRUE(contains(r.out, " line 3: M2 at 7.5 after M3 at 20.0 on chromosome 1\n")) << r.out;

    // A list of names, as PLINK's --extract reads one: the map's places, in the map's order.
    Pedigrees names;
    r = afterTwoTrios(names, "only", "\xEF\xBB\xBFM3\r\n\nM1\n");
    ASSERT_EQ(r.result, 1) << r.out;
    EXPECT_EQ(names.getOnlyMarkers(), (std::vector<std::string>{"M1", "M3"}));
    EXPECT_DOUBLE_EQ(names.getMarkerMap()->getMarkerWithName("M3")->getPosition(), 20.0);
    EXPECT_EQ(names.getMarkerMap()->getMarkerWithName("M3")->getChromosome(), "1");

    // The first line decides the form; a line of the other form is refused with its number.
    Pedigrees mixed;
    r = afterTwoTrios(mixed, "only", "M1\n1 10.0 M2\n");
    EXPECT_EQ(r.result, 0);
    EXPECT_TRUE(contains(r.out, " line 2: \"1 10.0 M2\" is not one marker name (the first line made this a list of "
                                "names)\n"))
        << r.out;
    Pedigrees doubled;
    r = afterTwoTrios(doubled, "only", "M2\nM1\nM2\n");
    EXPECT_EQ(r.result, 0);
    EXPECT_TRUE(contains(r.out, " line 3: marker M2 is listed twice (first at line 1)\n")) << r.out;
}
