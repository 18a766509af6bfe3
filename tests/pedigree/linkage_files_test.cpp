// Files for FASTLINK: the pedigree file of a batch, the planner's view of a pedigree, the locus
// allele numbering and the locus model.

#include <cmath>
#include <map>

#include "input/linkage_locus_file.h"
#include "pedigree/family_builder.h"

using namespace testing_support;
using Lines = std::vector<std::string>;

// Reads a post-MAKEPED pedigree with an affection column and markers D1S1-3 at 0, 10, 25 cM (Kosambi).
static void readInput(Pedigrees& collection, const ScratchDir& dir, const std::string& pedigree) {
    dir.write("test.map", "CHROMOSOME KOSAMBI POSITION\n1 0.0 D1S1\n1 10.0 D1S2\n1 25.0 D1S3\n");
    dir.write("test.ped", pedigree);
    collection.setPostMakeped(true);
    collection.setAffectionColumn(true);
    captureOutput([&] { ASSERT_TRUE(collection.readMapFile("test.map") && collection.readPedigreeFile("test.ped")); });
}

TEST(PedigreeFileWriter, BatchNumbersLiabilityAndBatchAlleles) {
    ScratchDir dir;
    Pedigrees collection;
    family_builder::readMap(collection, dir, 4);
    Pedigree* f1 = family_builder::addPersons(
        collection, "F1", {{"10", "1", "2", "1", {{"0", "0"}, {"0", "0"}, {"0", "0"}, {"9", "9"}}},
                           {"2", "0", "0", "2"}, {"1", "0", "0", "1", {{"104", "108"}, {"0", "0"}, {"0", "0"}, {"7", "9"}}}});
    f1->getPerson("1")->addPhenotype(new Phenotype("DISEASE_LOCUS", "2"));
    f1->getPerson("1")->addPhenotype(new Phenotype(kLiabilityClassName, "2"));
    f1->getPerson("10")->addPhenotype(new Phenotype("DISEASE_LOCUS", "1"));
    f1->getPerson("10")->addPhenotype(new Phenotype(kLiabilityClassName, "1"));
    Pedigree* p2 = family_builder::addPersons(collection, "2", {{"10", "0", "0", "1"}, {"2", "0", "0", "2"}, {"A1", "10", "2", "2"}});
    p2->getPerson("A1")->addPhenotype(new Phenotype("DISEASE_LOCUS", "2"));

    // Marker 3 (alleles 7, 9 as locus alleles 1, 3; the batch has 7 -> 1, 9 -> 2), then marker 0.
    const FastlinkMarkerColumn d1s4{"3", {{"7", 1}, {"9", 3}}}, d1s1{"0", {{"104", 1}, {"108", 2}}};
    const std::vector<int> d1s4Batch{0, 1, 3, 2}, d1s1Batch{0, 2, 1};
    FastlinkPedigreeFile content{{f1, p2}, {4, 7}, "DISEASE_LOCUS", 2, {&d1s4, &d1s1}, {&d1s4Batch, &d1s1Batch}};
    ASSERT_TRUE(collection.writePedigreeFile(dir.file("ped.dat"), content));
    // FASTLINK's numbers replace the ids; numeric person ids by value, others in tree order; a
    // status without a class is unknown ("0 1"); a status with its class.
    EXPECT_EQ(lines(dir.read("ped.dat")),
              (Lines{"4\t1\t0\t0\t1\t2 2 1 2 2 1 ", "4\t2\t0\t0\t2\t0 1 0 0 0 0 ", "4\t10\t1\t2\t1\t1 1 2 2 0 0 ",
                     "7\t10\t0\t0\t1\t0 1 0 0 0 0 ", "7\t2\t0\t0\t2\t0 1 0 0 0 0 ", "7\tA1\t10\t2\t2\t0 1 0 0 0 0 "}));
    // One class: no class column; a class number outside the model's classes is an error.
    content.liabilityClasses = 1;
    content.markers.pop_back();
    content.batchAlleles.pop_back();
    ASSERT_TRUE(collection.writePedigreeFile(dir.file("ped.dat"), content));
    EXPECT_EQ(lines(dir.read("ped.dat"))[0] + "|" + lines(dir.read("ped.dat"))[5], "4\t1\t0\t0\t1\t2 1 2 |7\tA1\t10\t2\t2\t2 0 0 ");
    // Classes to write: none for one class; with several, each person's (four have none).
    Locus oneClass("DISEASE_LOCUS_1", 1, 2), twoClasses("DISEASE_LOCUS_1", 1, 2);
    oneClass.setFemalePenetrances({0.0, 1.0, 1.0});
    for (int c = 0; c < 2; ++c) twoClasses.setFemalePenetrances({0.0, 1.0, 1.0});
    EXPECT_EQ(collection.getFastlinkLiabilityClasses(&oneClass), 1);
    EXPECT_EQ(captureOutput([&] { EXPECT_EQ(collection.getFastlinkLiabilityClasses(&twoClasses), 0); }),
              "Error: The trait model has 2 liability classes, but the pedigree file has no liability class column "
              "(--liab)\n");
    collection.setLiabilityColumn(true);
    EXPECT_EQ(captureOutput([&] { EXPECT_EQ(collection.getFastlinkLiabilityClasses(&twoClasses), 2); }),
              "Warning: 4 persons have no liability class; their trait status is analysed as unknown\n");
    p2->getPerson("A1")->addPhenotype(new Phenotype(kLiabilityClassName, "3"));
    EXPECT_EQ(captureOutput([&] { EXPECT_EQ(collection.getFastlinkLiabilityClasses(&twoClasses), 0); }),
              "Error: Person A1 of pedigree 2 has liability class 3, but the trait model has 2 liability classes\n");
    EXPECT_FALSE(collection.writePedigreeFile(dir.file("no/such/dir/ped.dat"), content));
}

// The batch planner's view of a pedigree, and the locus allele of every data allele.
TEST(PedigreeFileWriter, LoadsAndLocusAlleleNumbers) {
    ScratchDir dir;
    InDirectory inside(dir.path());
    Pedigrees collection;
    // Alleles 104, 108, 112 at D1S1; 1 x 2 with four children, one untyped.
    readInput(collection, dir,
              "1 1 0 0 3 0 0 1 1 1 104 108 0 0 0 0\n1 2 0 0 3 0 0 2 0 1 112 112 0 0 0 0\n"
              "1 3 1 2 0 4 4 1 0 2 104 112 0 0 0 0\n1 4 1 2 0 5 5 2 0 1 108 112 0 0 0 0\n"
              "1 5 1 2 0 6 6 1 0 1 108 112 0 0 0 0\n1 6 1 2 0 0 0 2 0 1 0 0 0 0 0 0\n");
    std::map<std::string, int> numbers;
    ASSERT_TRUE(collection.getLocusAlleleNumbers("0", 3, numbers));
    EXPECT_EQ(numbers, (std::map<std::string, int>{{"104", 1}, {"108", 2}, {"112", 3}}));
    const PedigreeLoad load =
        collection.getFastlinkLoad(collection.getPedigrees()->find("1"), {FastlinkMarkerColumn{"0", numbers}});
    EXPECT_EQ(load.persons, 6);
    EXPECT_EQ(load.largestSibship, 4);
    EXPECT_EQ(load.carriedAlleles, (std::vector<std::vector<int>>{{1, 2, 3}}));
    // With the user's locus file the names are the locus alleles: 104 is none of its three.
    dir.write("user.dat", "4 0 0 5\n0 0.0 0.0 0\n1 2 3 4\n1 2\n0.99 0.01\n1\n0.01 0.9 0.9\n3 3\n0.3 0.3 0.4\n"
                          "3 2\n0.5 0.5\n3 2\n0.5 0.5\n0 0\n0.5 0.1 0.1\n1 0.1 0.45\n");
    // The locus file is refused while it is read, naming the marker, the allele and the locus.
    EXPECT_TRUE(contains(captureOutput([&] { EXPECT_FALSE(collection.readLocusFile("user.dat")); }),
                         "Error: Marker D1S1 has allele 104 in the pedigree file, which its locus in the LINKAGE "
                         "locus file does not define (alleles 1 to 3)\nError: Locus file user.dat: locus 2, for "
                         "marker D1S1, has 3 allele(s), fewer than the data hold\n"));
}

TEST(LocusModel, LociFractionsAndFrequencyTypes) {
    // Founders 1 (male), 2 (female), sons 3, 4. D1S1: 1 1, 2 3, 1 2, 1 3; D1S2 untyped in the
    // founders; D1S3 4 4 but for the mother's 4 8. In `complete` founders and males carry every
    // allele: D1S1 founders 1 1, 2 3; males 1 1, 2 3, 1 2; all persons 2 3 more.
    const char* sparse = "1 1 0 0 3 0 0 1 1 1 1 1 0 0 4 4\n1 2 0 0 3 0 0 2 0 1 2 3 0 0 4 8\n"
                         "1 3 1 2 0 4 4 1 0 2 1 2 5 7 4 4\n1 4 1 2 0 0 0 1 0 1 1 3 7 7 4 4\n";
    const char* complete = "1 1 0 0 3 0 0 1 1 1 1 1 5 7 4 8\n1 2 0 0 3 0 0 2 0 1 2 3 7 7 4 4\n"
                           "1 3 1 2 0 4 4 1 0 2 2 3 5 7 4 4\n1 4 1 2 0 0 0 1 0 1 1 2 7 7 4 4\n";
    const std::string warning = "\nWarning: All alleles are not found from ", toAll = "\n...using allele frequencies from all\n";
    const struct { std::string type; const char* pedigree; std::string warning; int locus; std::vector<double> freqs; }
        cases[] = {{"a", sparse, "", 1, {0.5, 0.25, 0.25}},   {"a", complete, "", 1, {3.0 / 8, 3.0 / 8, 2.0 / 8}},
                   {"f", complete, "", 1, {0.5, 0.25, 0.25}}, {"m", complete, "", 1, {0.5, 2.0 / 6, 1.0 / 6}},
                   {"f", sparse, warning + "founders" + toAll, 3, {0.875, 0.125}},  // not founders' 3/4, 1/4
                   {"m", sparse, warning + "males" + toAll, 3, {0.875, 0.125}},     // not males' 1, 0
                   {"u", sparse, "", 3, {}}};  // from the user's locus file
    for (const auto& c : cases) {
        SCOPED_TRACE(c.type + " at locus " + std::to_string(c.locus));
        ScratchDir dir;
        InDirectory inside(dir.path());
        Pedigrees collection;
        readInput(collection, dir, c.pedigree);
        collection.setFrequencyType(c.type);
        // Type "u" fails until a locus file is given.
        if (c.type == "u") captureOutput([&] { EXPECT_FALSE(collection.makeLinkageLocusFile()); });
        dir.write("user.dat", "placeholder\n");
        collection.setLocusFileName("user.dat");
        EXPECT_EQ(captureOutput([&] { ASSERT_TRUE(collection.makeLinkageLocusFile()); }),
                  (c.type == "u" ? "" : "Generating model...done\n") + std::string("Generating LINKAGE locus file ") +
                      c.warning + "...done\n");
        // The default disease locus, then D1S1-3; Kosambi r = tanh(2d) / 2 for 10 cM and 15 cM.
        const LinkageLocusFile* file = collection.getLinkageLocusFile();
        ASSERT_EQ(file->getLocusCount(), 4);
        EXPECT_EQ(file->getNumberOfLoci(), 4);
        EXPECT_EQ(file->getLocus(0)->getAlleleFrequencies(), (std::vector<double>{0.99, 0.01}));
        EXPECT_EQ(file->getLocus(3)->getName() + " " + std::to_string(file->getLocus(3)->getNumberOfAlleles()), "D1S3 2");
        EXPECT_EQ(file->getLocus(c.locus)->getAlleleFrequencies(), c.freqs);
        const std::vector<double>& fractions = file->getRecombinationFractions();
        const std::vector<double> kosambi{0.5, 0.5 * std::tanh(0.2), 0.5 * std::tanh(0.3)};
        ASSERT_EQ(fractions.size(), 3u);
        for (int i = 0; i < 3; ++i) EXPECT_NEAR(fractions[i], kosambi[i], 1e-12) << i;
    }
}
