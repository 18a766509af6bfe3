// Phenotype file (traits added to persons already read) and only-markers file (subset of the
// map with new positions).

#include <string>
#include <vector>

#include "input/marker_map.h"
#include "model/pedigrees.h"
#include "support/test_support.h"

using namespace testing_support;

namespace {

const char* threeMarkerMap = "CHROMOSOME HALDANE NAME\n1 0.0 M1\n1 10.0 M2\n1 20.0 M3\n";

// Two trios, pedigrees 1 and 2, persons 1 (father), 2 (mother), 3 (child).
const char* twoTrios =
    "1 1 0 0 1 1  1 2  3 4  1 1\n"
    "1 2 0 0 2 1  1 1  3 3  1 2\n"
    "1 3 1 2 1 2  1 1  3 4  1 1\n"
    "2 1 0 0 1 1  1 2  3 4  1 1\n"
    "2 2 0 0 2 1  1 1  3 3  1 2\n"
    "2 3 1 2 1 2  1 1  3 4  1 2\n";

struct Outcome {
    int result = -1;
    std::string output;
};

// Reads the map and the trios, then runs the given reader on a file with the given content.
class ReaderFixture {
public:
    ReaderFixture() {
        pedigrees.setAffectionColumn(true);
        dir.write("test.map", threeMarkerMap);
        dir.write("test.ped", twoTrios);
        InDirectory here(dir.path());
        captureOutput([&] {
            pedigrees.readMapFile("test.map");
            readOk = pedigrees.readPedigreeFile("test.ped");
        });
    }

    Outcome phenotypes(const std::string& content) {
        dir.write("test.phen", content);
        InDirectory here(dir.path());
        Outcome run;
        run.output = captureOutput([&] { run.result = pedigrees.readPhenotypeFile("test.phen"); });
        return run;
    }

    Outcome onlyMarkers(const std::string& content) {
        dir.write("test.only", content);
        InDirectory here(dir.path());
        Outcome run;
        run.output = captureOutput([&] { run.result = pedigrees.readOnlyMarkersFile("test.only"); });
        return run;
    }

    const Phenotype* phenotype(const std::string& pedigree, const std::string& person, const std::string& name) {
        return pedigrees.getPedigrees()->find(pedigree)->getPerson(person)->getPhenotype(name);
    }

    ScratchDir dir;
    Pedigrees pedigrees;
    int readOk = 0;
};

}  // namespace

TEST(PhenotypeFile, ValuesAreAddedUnderTheHeaderNames) {
    ReaderFixture f;
    ASSERT_EQ(1, f.readOk);
    // Two records share the second line: records are a stream of fields.
    const Outcome r = f.phenotypes("2 age bmi this rest is ignored\n"
                               "1 1 54 27.5\n"
                               "1 2 0 x  1 3 12 .\n"
                               "2 3 - 19.25\n");
    EXPECT_EQ(1, r.result) << r.output;
    EXPECT_EQ("Reading phenotype file: test.phen\n...done\n", r.output);
    EXPECT_EQ("test.phen", f.pedigrees.getPhenotypeFileName());
    EXPECT_EQ((std::vector<std::string>{"DISEASE_LOCUS", "age", "bmi"}), f.pedigrees.getPhenotypeNames());
    EXPECT_EQ("54", f.phenotype("1", "1", "age")->getValue());
    EXPECT_EQ("27.5", f.phenotype("1", "1", "bmi")->getValue());
    EXPECT_EQ(nullptr, f.phenotype("1", "2", "age"));  // 0 is unknown
    EXPECT_EQ(nullptr, f.phenotype("1", "2", "bmi"));  // x is unknown
    EXPECT_EQ("12", f.phenotype("1", "3", "age")->getValue());
    EXPECT_EQ(nullptr, f.phenotype("1", "3", "bmi"));
    EXPECT_EQ(nullptr, f.phenotype("2", "3", "age"));
    EXPECT_EQ("19.25", f.phenotype("2", "3", "bmi")->getValue());
    EXPECT_EQ(nullptr, f.phenotype("2", "1", "age"));  // not listed
}

TEST(PhenotypeFile, FailuresNameTheLineAndValue) {
    {
        Pedigrees before;
        ScratchDir dir;
        dir.write("p.phen", "1 age\n1 1 3\n");
        InDirectory here(dir.path());
        int result = -1;
        const std::string out = captureOutput([&] { result = before.readPhenotypeFile("p.phen"); });
        EXPECT_EQ(0, result);
        EXPECT_TRUE(contains(out, "...failed\nUnable to open phenotype file before Pedigreefile \n"));
    }
    {
        ReaderFixture f;
        const Outcome r = f.phenotypes("2 age DISEASE_LOCUS\n1 1 3 4\n");
        EXPECT_EQ(0, r.result);
        EXPECT_TRUE(contains(r.output, "...failed\nduplicate phenotypename: DISEASE_LOCUS at phenotypecolumn: 2\n"));
    }
    {
        ReaderFixture f;
        const Outcome r = f.phenotypes("3 age bmi age\n1 1 3 4 5\n");
        EXPECT_EQ(0, r.result);
        EXPECT_TRUE(contains(r.output, "duplicate phenotypename: age at phenotypecolumn: 3\n"));
    }
    {
        ReaderFixture f;
        const Outcome r = f.phenotypes("0 age\n");
        EXPECT_EQ(0, r.result);
        EXPECT_TRUE(contains(r.output, "...failed\nNumber of phenotypes:0 ...check your files!"));
    }
    {   // the last record lacks its second value
        ReaderFixture f;
        const Outcome r = f.phenotypes("2 age bmi\n1 1 3 4\n1 2 5 6\n2 1 7\n");
        EXPECT_EQ(0, r.result);
        EXPECT_TRUE(contains(r.output, "...failed\nValue for Phenotype: bmi not found at line: 3"));
        EXPECT_EQ("7", f.phenotype("2", "1", "age")->getValue());  // values read before stay
    }
    {
        ReaderFixture f;
        const Outcome r = f.phenotypes("1 age\n1 1 3\n9 1 4\n");
        EXPECT_EQ(0, r.result);
        EXPECT_TRUE(contains(r.output, "...failed\nPedigree not found for phenotype at line: 2 Pedigree 9 Person 1 "
                                       "does not match with pedigree file!\n"));
    }
    {
        ReaderFixture f;
        const Outcome r = f.phenotypes("1 age\n2 4 3\n");
        EXPECT_EQ(0, r.result);
        EXPECT_TRUE(contains(r.output, "...failed\nPedigree found, but not person at line: 1 Pedigree 2 Person 4 "
                                       "does not match with pedigree file!\n"));
    }
    {
        ReaderFixture f;
        const Outcome r = f.phenotypes("1 age\n1 2 3\n1 2 4\n");
        EXPECT_EQ(0, r.result);
        EXPECT_TRUE(contains(r.output, "...failed\nDuplicate phenotype at line: 2 name: age Pedigree 1 Person 2\n"));
        EXPECT_EQ("3", f.phenotype("1", "2", "age")->getValue());
    }
    {
        ReaderFixture f;
        InDirectory here(f.dir.path());
        int result = -1;
        const std::string out = captureOutput([&] { result = f.pedigrees.readPhenotypeFile("absent.phen"); });
        EXPECT_EQ(0, result);
        EXPECT_TRUE(contains(out, "...failed\nUnable to open phenotype file absent.phen for reading.\n"));
    }
}

TEST(PhenotypeFile, UserIdentifiersOfAConvertedPedigreeFile) {
    ScratchDir dir;
    Pedigrees p;
    p.setAffectionColumn(true);
    p.setPostMakeped(true);
    p.setConverted(true);
    dir.write("test.map", "CHROMOSOME HALDANE NAME\n1 0.0 M1\n");
    dir.write("test.ped",
              "1 1 0 0 3 0 0 1 1 1  1 2  Ped: smith  Per: john\n"
              "1 2 0 0 3 0 0 2 0 1  1 1  Ped: smith  Per: mary\n"
              "1 3 1 2 0 0 0 1 0 2  1 1  Ped: smith  Per: kid\n"
              "2 1 0 0 3 0 0 1 1 1  1 2  Ped: jones  Per: kid\n"
              "2 2 0 0 3 0 0 2 0 1  1 1  Ped: jones  Per: ann\n"
              "2 3 1 2 0 0 0 1 0 2  1 1  Ped: jones  Per: bob\n");
    dir.write("test.phen", "1 age\nsmith kid 12\njones kid 44\njones ann 41\n");
    dir.write("bad.phen", "1 height\njones mary 170\n");
    InDirectory here(dir.path());
    int read = 0, phen = 0, bad = -1;
    std::string out = captureOutput([&] {
        read = p.readMapFile("test.map") && p.readPedigreeFile("test.ped");
        phen = p.readPhenotypeFile("test.phen");
    });
    ASSERT_EQ(1, read) << out;
    EXPECT_EQ(1, phen) << out;
    EXPECT_EQ("12", p.getPedigrees()->find("1")->getPerson("3")->getPhenotype("age")->getValue());
    EXPECT_EQ("44", p.getPedigrees()->find("2")->getPerson("1")->getPhenotype("age")->getValue());
    EXPECT_EQ("41", p.getPedigrees()->find("2")->getPerson("2")->getPhenotype("age")->getValue());
    EXPECT_EQ(nullptr, p.getPedigrees()->find("1")->getPerson("1")->getPhenotype("age"));
    // mary belongs to smith, not jones; the message shows the identifiers as the user wrote them
    out = captureOutput([&] { bad = p.readPhenotypeFile("bad.phen"); });
    EXPECT_EQ(0, bad);
    EXPECT_TRUE(contains(out, "Pedigree found, but not person at line: 1 Pedigree jones Person mary"));
}

TEST(OnlyMarkersFile, SubsetWithPositionsFromTheFile) {
    ReaderFixture f;
    ASSERT_EQ(1, f.readOk);
    const Outcome r = f.onlyMarkers("2 3.5 M3 rest ignored\n2 3.5 M1\n");
    EXPECT_EQ(1, r.result) << r.output;
    EXPECT_EQ("Reading onlymarkers file test.only\n...done \n", r.output);
    EXPECT_EQ((std::vector<std::string>{"M3", "M1"}), f.pedigrees.getOnlyMarkers());
    const Marker* m3 = f.pedigrees.getMarkerMap()->getMarkerWithName("M3");
    EXPECT_EQ("3.5", m3->getPositionText());
    EXPECT_EQ("2", m3->getChromosome());
    EXPECT_DOUBLE_EQ(3.5, f.pedigrees.getMarkerMap()->getMarkerWithName("M1")->getPosition());
    EXPECT_DOUBLE_EQ(10.0, f.pedigrees.getMarkerMap()->getMarkerWithName("M2")->getPosition());  // not listed
}

TEST(OnlyMarkersFile, Failures) {
    {
        ReaderFixture f;
        const Outcome r = f.onlyMarkers("1 10.0 M2\n1 5.0 M1\n");
        EXPECT_EQ(0, r.result);
        EXPECT_TRUE(contains(r.output, "...failed\nError: Marker position must be linear\n"));
        EXPECT_EQ((std::vector<std::string>{"M2"}), f.pedigrees.getOnlyMarkers());
    }
    {
        ReaderFixture f;
        const Outcome r = f.onlyMarkers("1 0.0 M1\n1 2.0 M9\n");
        EXPECT_EQ(0, r.result);
        EXPECT_TRUE(contains(r.output, "...failed\nError: Marker M9 not found \n"));
    }
    {   // name and position swapped
        ReaderFixture f;
        const Outcome r = f.onlyMarkers("1 M1 0.0\n");
        EXPECT_EQ(0, r.result);
        EXPECT_TRUE(contains(r.output, "...failed\nError: onlymarkers file not correct \n"));
    }
    {
        ReaderFixture f;
        InDirectory here(f.dir.path());
        int result = -1;
        const std::string out = captureOutput([&] { result = f.pedigrees.readOnlyMarkersFile("absent.only"); });
        EXPECT_EQ(0, result);
        EXPECT_TRUE(contains(out, "...failed\nUnable to open onlymarkers file absent.only for reading!\n"));
    }
}
