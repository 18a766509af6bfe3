// Pedigree and locus files for FASTLINK: person order, column layouts, renumbered alleles,
// the locus model with its frequency types, and loop breaking by UNKNOWN.

#include <cmath>
#include <cstdlib>
#include <string>
#include <vector>

#include "input/linkage_locus_file.h"
#include "input/marker_map.h"
#include "model/pedigrees.h"
#include "support/test_support.h"

using namespace testing_support;

namespace {

Person* addPerson(Pedigree* pedigree, const std::string& id, const std::string& father, const std::string& mother,
                  const std::string& sex) {
    auto* person = new Person(pedigree->getPedigreeId(), id, father, mother, sex);
    pedigree->addPerson(person);
    return person;
}

Pedigree* addPedigree(Pedigrees& collection, const std::string& id) {
    auto* pedigree = new Pedigree(id);
    collection.getPedigrees()->insert(pedigree);
    return pedigree;
}

// Kosambi's map function in its hyperbolic-tangent form.
double kosambi(double cM) { return 0.5 * std::tanh(2.0 * cM / 100.0); }

const char* kMap =
    "CHROMOSOME KOSAMBI POSITION\n"
    "1 0.0 D1S1\n"
    "1 10.0 D1S2\n"
    "1 25.0 D1S3\n";

// Post-MAKEPED pedigree with three markers. Founders 1 (male) and 2 (female), sons 3 and 4.
// Marker D1S1: founders 1 1 and 2 3, sons 1 2 and 1 3 (males lack nothing: 1, 2, 3 seen).
// Marker D1S2: founders untyped, sons 5 7 and 7 7 (no founder carries any allele).
// Marker D1S3: everyone 4 4 except the mother 4 8 (allele 8 never seen in a male).
const char* kPedigree =
    "1 1 0 0 3 0 0 1 1 1 1 1 0 0 4 4\n"
    "1 2 0 0 3 0 0 2 0 1 2 3 0 0 4 8\n"
    "1 3 1 2 0 4 4 1 0 2 1 2 5 7 4 4\n"
    "1 4 1 2 0 0 0 1 0 1 1 3 7 7 4 4\n";

// Reads map and pedigree into the collection inside the scratch directory.
void readInput(Pedigrees& collection, const ScratchDir& dir, const std::string& pedigree = kPedigree) {
    dir.write("test.map", kMap);
    dir.write("test.ped", pedigree);
    collection.setPostMakeped(true);
    collection.setAffectionColumn(true);
    captureOutput([&] {
        ASSERT_EQ(collection.readMapFile("test.map"), 1);
        ASSERT_EQ(collection.readPedigreeFile("test.ped"), 1);
    });
}

std::vector<double> markerFrequencies(const Pedigrees& collection, int markerIndex) {
    const Locus* locus = collection.getLinkageLocusFile()->getLocus(markerIndex + 1);
    return locus ? locus->getAlleleFrequencies() : std::vector<double>{-99.0};
}

}  // namespace

TEST(PedigreeFileWriter, PersonOrderSelectionsAndUntypedPersons) {
    ScratchDir dir;
    Pedigrees collection;
    Pedigree* numeric = addPedigree(collection, "1");
    Person* ten = addPerson(numeric, "10", "1", "2", "1");
    addPerson(numeric, "2", "0", "0", "2");
    Person* one = addPerson(numeric, "1", "0", "0", "1");
    one->addPhenotype(new Phenotype("DISEASE_LOCUS", "2"));
    one->addMarker(new Marker("0", "104", "108", true));
    one->addMarker(new Marker("3", "7", "9", true));
    ten->addMarker(new Marker("3", "9", "9", true));
    Pedigree* mixedIds = addPedigree(collection, "2");
    addPerson(mixedIds, "10", "0", "0", "1");
    addPerson(mixedIds, "2", "0", "0", "2");
    addPerson(mixedIds, "A1", "10", "2", "2");

    ASSERT_EQ(collection.writePedigreeFile(dir.file("ped.dat"), {"DISEASE_LOCUS"}, {"3", "0"}), 1);
    EXPECT_EQ(lines(dir.read("ped.dat")), (std::vector<std::string>{
                                              "1\t1\t0\t0\t1\t2 7 9 104 108 ",
                                              "1\t2\t0\t0\t2\t0 0 0 0 0 ",
                                              "1\t10\t1\t2\t1\t0 9 9 0 0 ",
                                              "2\t10\t0\t0\t1\t0 0 0 0 0 ",
                                              "2\t2\t0\t0\t2\t0 0 0 0 0 ",
                                              "2\tA1\t10\t2\t2\t0 0 0 0 0 ",
                                          }));

    // The phenotype sentinel writes no phenotype column.
    ASSERT_EQ(collection.writePedigreeFile(dir.file("ped.dat"), {"DO_NOT_PRINT_PHENOTYPES"}, {"0"}), 1);
    EXPECT_EQ(lines(dir.read("ped.dat")).front(), "1\t1\t0\t0\t1\t104 108 ");

    // Mixed layout: a phenotype column and a marker column, each closed by a tab.
    ASSERT_EQ(collection.writePedigreeFile(dir.file("mixed.dat"), {"DISEASE_LOCUS", "3"}, {"P", "M"}), 1);
    std::vector<std::string> mixed = lines(dir.read("mixed.dat"));
    ASSERT_EQ(mixed.size(), 6u);
    EXPECT_EQ(mixed[0], "1\t1\t0\t0\t1\t2\t7 9\t");
    EXPECT_EQ(mixed[1], "1\t2\t0\t0\t2\t0\t0 0\t");
    EXPECT_EQ(mixed[2], "1\t10\t1\t2\t1\t0\t9 9\t");

    // An unopenable file leaves a message and the result 0.
    std::string output;
    int result = 1;
    output = captureOutput([&] { result = collection.writePedigreeFile(dir.file("no/such/dir"), {}, {"0"}); });
    EXPECT_EQ(result, 0);
    EXPECT_EQ(output, "Error: Unable to open " + dir.file("no/such/dir") + " for wreiting!\n");
}

TEST(PedigreeFileWriter, WholeAndNuclearFilesWithRenumberedAlleles) {
    ScratchDir dir;
    InDirectory inside(dir.path());
    Pedigrees collection;
    readInput(collection, dir);

    // Everything, alleles as read.
    ASSERT_EQ(collection.writePedigreeFile("all.dat", {}, {}), 1);
    EXPECT_EQ(lines(dir.read("all.dat")), (std::vector<std::string>{
                                              "1\t1\t0\t0\t3\t0\t0\t1\t1\t1 1 1 0 0 4 4 ",
                                              "1\t2\t0\t0\t3\t0\t0\t2\t0\t1 2 3 0 0 4 8 ",
                                              "1\t3\t1\t2\t0\t4\t4\t1\t0\t2 1 2 5 7 4 4 ",
                                              "1\t4\t1\t2\t0\t0\t0\t1\t0\t1 1 3 7 7 4 4 ",
                                          }));

    // Renumbered: D1S2 alleles 5, 7 become 1, 2; D1S3 alleles 4, 8 become 1, 2.
    collection.setRenumberAlleles(true);
    ASSERT_EQ(collection.writePedigreeFile("renumbered.dat", {"DISEASE_LOCUS"}, {"1", "2"}), 1);
    EXPECT_EQ(lines(dir.read("renumbered.dat")), (std::vector<std::string>{
                                                     "1\t1\t0\t0\t3\t0\t0\t1\t1\t1 0 0 1 1 ",
                                                     "1\t2\t0\t0\t3\t0\t0\t2\t0\t1 0 0 1 2 ",
                                                     "1\t3\t1\t2\t0\t4\t4\t1\t0\t2 1 2 1 1 ",
                                                     "1\t4\t1\t2\t0\t0\t0\t1\t0\t1 2 2 1 1 ",
                                                 }));

    // The nuclear file of a single family: same people, renumbered 1..4, pointers rebuilt.
    ASSERT_EQ(collection.writeNuclearPedigreeFile("nuclear.dat", {"DISEASE_LOCUS"}, {"2"}), 1);
    EXPECT_EQ(collection.getNuclearPedigreeCount(), 1);
    EXPECT_EQ(lines(dir.read("nuclear.dat")), (std::vector<std::string>{
                                                  "1\t1\t0\t0\t3\t0\t0\t1\t1\t1 1 1 ",
                                                  "1\t2\t0\t0\t3\t0\t0\t2\t0\t1 1 2 ",
                                                  "1\t3\t1\t2\t0\t4\t4\t1\t0\t2 1 1 ",
                                                  "1\t4\t1\t2\t0\t0\t0\t1\t0\t1 1 1 ",
                                              }));
    // A second nuclear file reuses the set built by the first.
    RBTree<Pedigree>* built = collection.getNuclearPedigrees();
    ASSERT_EQ(collection.writeNuclearPedigreeFile("nuclear2.dat", {"DISEASE_LOCUS"}, {"0"}), 1);
    EXPECT_EQ(collection.getNuclearPedigrees(), built);
    EXPECT_EQ(lines(dir.read("nuclear2.dat")).size(), 4u);
}

TEST(LocusModel, LociFractionsAndSettingsOfAThreeMarkerMap) {
    ScratchDir dir;
    InDirectory inside(dir.path());
    Pedigrees collection;
    readInput(collection, dir);

    std::string output;
    bool built = false;
    output = captureOutput([&] { built = collection.makeLinkageLocusFile(); });
    ASSERT_TRUE(built);
    EXPECT_TRUE(contains(output, "Generating LINKAGE locus file ...done\n"));

    const LinkageLocusFile* file = collection.getLinkageLocusFile();
    EXPECT_EQ(file->getNumberOfLoci(), 4);
    ASSERT_EQ(file->getLocusCount(), 4);
    EXPECT_EQ(file->getXlinked(), 0);

    // The default model: a dominant disease locus with allele frequencies 0.99 and 0.01.
    const Locus* disease = file->getLocus(0);
    EXPECT_EQ(disease->getType(), 1);
    ASSERT_EQ(disease->getAlleleFrequencies().size(), 2u);
    EXPECT_DOUBLE_EQ(disease->getAlleleFrequencies()[1], 0.01);
    EXPECT_DOUBLE_EQ(disease->getFemalePenetranceClass(0, 1), 0.9);

    EXPECT_EQ(file->getLocus(1)->getName(), "D1S1");
    EXPECT_EQ(file->getLocus(3)->getName(), "D1S3");
    EXPECT_EQ(file->getLocus(1)->getType(), 3);
    EXPECT_EQ(file->getLocus(1)->getNumberOfAlleles(), 3);

    const std::vector<double>& fractions = file->getRecombinationFractions();
    ASSERT_EQ(fractions.size(), 3u);
    EXPECT_DOUBLE_EQ(fractions[0], 0.5);
    EXPECT_NEAR(fractions[1], kosambi(10.0), 1e-12);
    EXPECT_NEAR(fractions[2], kosambi(15.0), 1e-12);

    // Type "a": D1S1 alleles 1, 2, 3 counted 4, 2, 2 times among 8 copies.
    std::vector<double> d1s1 = markerFrequencies(collection, 0);
    ASSERT_EQ(d1s1.size(), 3u);
    EXPECT_DOUBLE_EQ(d1s1[0], 0.5);
    EXPECT_DOUBLE_EQ(d1s1[1], 0.25);
    EXPECT_DOUBLE_EQ(d1s1[2], 0.25);

    // The written file starts with the settings of an MLINK run on all loci.
    collection.getLinkageLocusFile()->writeLocusFile("datafile.dat", {});
    std::vector<std::string> written = lines(dir.read("datafile.dat"));
    ASSERT_GE(written.size(), 3u);
    EXPECT_EQ(written[0], "4 0 0 5");
    EXPECT_EQ(written[2], "1 2 3 4 ");
    EXPECT_EQ(written.back(), "0 0.10000000000000001 0.45000000000000001");
}

TEST(LocusModel, FrequencyTypes) {
    ScratchDir dir;
    InDirectory inside(dir.path());

    {   // "f": D1S2 has no typed founder, so every marker falls back to "all", warned once.
        Pedigrees collection;
        readInput(collection, dir);
        collection.setFrequencyType("f");
        std::string output = captureOutput([&] { ASSERT_TRUE(collection.makeLinkageLocusFile()); });
        EXPECT_EQ(output,
                  "Generating model...done\n"
                  "Generating LINKAGE locus file \n"
                  "Warning: All alleles are not found from founders\n"
                  "...using allele frequencies from all\n"
                  "...done\n");
        std::vector<double> d1s1 = markerFrequencies(collection, 0);
        ASSERT_EQ(d1s1.size(), 3u);
        EXPECT_DOUBLE_EQ(d1s1[0], 0.5);  // all: 4 of 8, founders would give 2 of 4
        EXPECT_DOUBLE_EQ(d1s1[2], 0.25);
    }
    {   // "f" with every allele in founders: at D1S1 the founders give 1: 2/4, 2: 1/4, 3: 1/4,
        // where all persons would give 4/8, 1/8, 3/8.
        Pedigrees collection;
        readInput(collection, dir,
                  "1 1 0 0 3 0 0 1 1 1 1 1 5 7 4 4\n"
                  "1 2 0 0 3 0 0 2 0 1 2 3 7 7 4 8\n"
                  "1 3 1 2 0 4 4 1 0 2 1 3 5 7 4 4\n"
                  "1 4 1 2 0 0 0 1 0 1 1 3 7 7 4 4\n");
        collection.setFrequencyType("f");
        std::string output = captureOutput([&] { ASSERT_TRUE(collection.makeLinkageLocusFile()); });
        EXPECT_FALSE(contains(output, "Warning"));
        std::vector<double> d1s1 = markerFrequencies(collection, 0);
        ASSERT_EQ(d1s1.size(), 3u);
        EXPECT_DOUBLE_EQ(d1s1[0], 0.5);
        EXPECT_DOUBLE_EQ(d1s1[1], 0.25);
        EXPECT_DOUBLE_EQ(d1s1[2], 0.25);
    }
    {   // "m": allele 8 of D1S3 is carried only by the mother, so males lack it.
        Pedigrees collection;
        readInput(collection, dir);
        collection.setFrequencyType("m");
        std::string output = captureOutput([&] { ASSERT_TRUE(collection.makeLinkageLocusFile()); });
        EXPECT_TRUE(contains(output,
                             "Generating LINKAGE locus file \n"
                             "Warning: All alleles are not found from males\n"
                             "...using allele frequencies from all\n"
                             "...done\n"));
        std::vector<double> d1s3 = markerFrequencies(collection, 2);
        ASSERT_EQ(d1s3.size(), 2u);
        EXPECT_DOUBLE_EQ(d1s3[1], 0.125);
    }
    {   // "m" when males carry every allele: D1S1 among the three males 1 1, 2 1, 1 3.
        Pedigrees collection;
        readInput(collection, dir,
                  "1 1 0 0 3 0 0 1 1 1 1 1 5 7 4 4\n"
                  "1 2 0 0 3 0 0 2 0 1 2 3 5 7 4 4\n"
                  "1 3 1 2 0 4 4 1 0 2 2 1 5 7 4 4\n"
                  "1 4 1 2 0 0 0 1 0 1 1 3 7 7 4 4\n");
        collection.setFrequencyType("m");
        std::string output = captureOutput([&] { ASSERT_TRUE(collection.makeLinkageLocusFile()); });
        EXPECT_FALSE(contains(output, "Warning"));
        std::vector<double> d1s1 = markerFrequencies(collection, 0);
        ASSERT_EQ(d1s1.size(), 3u);
        EXPECT_DOUBLE_EQ(d1s1[0], 4.0 / 6.0);
        EXPECT_DOUBLE_EQ(d1s1[1], 1.0 / 6.0);
        EXPECT_DOUBLE_EQ(d1s1[2], 1.0 / 6.0);
    }
    {   // "u" with the user's locus file present: marker loci without frequencies.
        Pedigrees collection;
        readInput(collection, dir);
        dir.write("user.dat", "placeholder\n");
        collection.setLocusFileName("user.dat");
        collection.setFrequencyType("u");
        captureOutput([&] { ASSERT_TRUE(collection.makeLinkageLocusFile()); });
        ASSERT_EQ(collection.getLinkageLocusFile()->getLocusCount(), 4);
        for (int i = 0; i < 3; ++i) EXPECT_TRUE(markerFrequencies(collection, i).empty()) << "marker " << i;
        EXPECT_EQ(collection.getLinkageLocusFile()->getLocus(2)->getNumberOfAlleles(), 2);
    }
    {   // "u" without a locus file has nowhere to take frequencies from.
        Pedigrees collection;
        readInput(collection, dir);
        collection.setFrequencyType("u");
        bool built = true;
        std::string output = captureOutput([&] { built = collection.makeLinkageLocusFile(); });
        EXPECT_FALSE(built);
        EXPECT_TRUE(contains(output,
                             "Generating LINKAGE locus file ...failed\n"
                             "Error: Frequency type u takes the marker allele frequencies from a LINKAGE "
                             "locus file (--dat), and none was read\n"));
    }
    {   // Without a pedigree file read there is nothing to build from.
        Pedigrees collection;
        bool built = true;
        std::string output = captureOutput([&] { built = collection.makeLinkageLocusFile(); });
        EXPECT_FALSE(built);
        EXPECT_TRUE(contains(output, "Generating LINKAGE locus file ...failed\n"));
    }
}

TEST(LoopBreaking, UnknownDoublesTheLoopBreaker) {
    ScratchDir dir;
    InDirectory inside(dir.path());
    const std::string path = std::string(VARKEL_BIN_DIR) + ":" + (std::getenv("PATH") ? std::getenv("PATH") : "");
    setenv("PATH", path.c_str(), 1);

    // First cousins 7 and 8 marry: one marriage loop through the grandparents 1 and 2.
    Pedigrees collection;
    Pedigree* looped = addPedigree(collection, "1");
    const char* rows[][6] = {
        {"1", "0", "0", "1", "1", "1 2"}, {"2", "0", "0", "2", "1", "1 3"}, {"3", "1", "2", "1", "1", "1 3"},
        {"4", "1", "2", "2", "2", "1 2"}, {"5", "0", "0", "2", "1", ""},    {"6", "0", "0", "1", "1", "2 3"},
        {"7", "3", "5", "1", "2", "1 2"}, {"8", "6", "4", "2", "2", "2 3"}, {"9", "7", "8", "1", "2", "1 3"},
        {"10", "7", "8", "2", "1", "2 2"}};
    for (const auto& r : rows) {
        Person* p = addPerson(looped, r[0], r[1], r[2], r[3]);
        p->addPhenotype(new Phenotype("DISEASE_LOCUS", r[4]));
        const std::string genotype = r[5];
        if (!genotype.empty()) p->addMarker(new Marker("0", genotype.substr(0, 1), genotype.substr(2, 1), true));
    }
    // MAKEPED pointers, so that the file is in the layout UNKNOWN reads.
    const char* pointers[][5] = {{"1", "3", "0", "0", "1"}, {"2", "3", "0", "0", "0"}, {"3", "7", "4", "4", "0"},
                                 {"4", "8", "0", "0", "0"}, {"5", "7", "0", "0", "0"}, {"6", "8", "0", "0", "0"},
                                 {"7", "9", "0", "0", "0"}, {"8", "9", "0", "0", "0"}, {"9", "0", "10", "10", "0"},
                                 {"10", "0", "0", "0", "0"}};
    for (const auto& q : pointers) {
        Person* p = looped->getPerson(q[0]);
        p->setFOID(q[1]);
        p->setNPSID(q[2]);
        p->setNMSID(q[3]);
        p->setProbandStatus(q[4]);
    }
    ASSERT_EQ(collection.writePedigreeFile("pedfile.dat", {"DISEASE_LOCUS"}, {"0"}), 1);

    // Without a locus file UNKNOWN fails, and the failure is framed.
    bool broken = true;
    std::string output = captureOutput([&] { broken = collection.break_loops(false, false); });
    EXPECT_FALSE(broken);
    const std::string stars(66, '*');
    EXPECT_TRUE(contains(output, "\n" + stars + "\nError in breaking loops with UNKNOWN...\n" + stars + "\n\n"));

    dir.write("datafile.dat",
              "2 0 0 5\n0 0.0 0.0 0\n1 2\n1 2\n0.99 0.01\n1\n0.01 0.9 0.9\n3 3\n0.3 0.3 0.4\n0 0\n0.0\n1 0.02 0.49\n");
    output = captureOutput([&] { broken = collection.break_loops(false, true); });
    EXPECT_TRUE(broken);
    EXPECT_TRUE(contains(output, "Breaking loops...\nExternal command: unknownvarkel -l \n"));

    // Run directly, UNKNOWN picks person 8 as loop breaker: her copy 11 becomes the mother of
    // 9 and 10, and both copies carry the proband code 2.
    std::vector<std::vector<std::string>> rowsAfter;
    for (const std::string& line : lines(dir.read("pedfile.dat"))) {
        std::vector<std::string> fields;
        std::size_t start = line.find_first_not_of(" \t");
        while (start != std::string::npos) {
            std::size_t end = line.find_first_of(" \t", start);
            fields.push_back(line.substr(start, end - start));
            start = end == std::string::npos ? end : line.find_first_not_of(" \t", end);
        }
        rowsAfter.push_back(fields);
    }
    ASSERT_EQ(rowsAfter.size(), 11u);
    EXPECT_EQ(rowsAfter[7], (std::vector<std::string>{"1", "8", "6", "4", "0", "0", "0", "2", "2", "2", "2", "3"}));
    EXPECT_EQ(rowsAfter[8][3], "11");
    EXPECT_EQ(rowsAfter[10], (std::vector<std::string>{"1", "11", "0", "0", "9", "0", "0", "2", "2", "2", "2", "3"}));
}
