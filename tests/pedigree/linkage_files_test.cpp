// Files for FASTLINK: pedigree file layouts, the locus model and loop breaking by UNKNOWN.

#include <cmath>
#include <regex>

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

TEST(PedigreeFileWriter, PersonOrderColumnsAndRenumberedAlleles) {
    ScratchDir dir;
    Pedigrees collection;
    family_builder::readMap(collection, dir, 4);
    Pedigree* numeric = family_builder::addPersons(
        collection, "1", {{"10", "1", "2", "1", {{"0", "0"}, {"0", "0"}, {"0", "0"}, {"9", "9"}}},
                          {"2", "0", "0", "2"}, {"1", "0", "0", "1", {{"104", "108"}, {"0", "0"}, {"0", "0"}, {"7", "9"}}}});
    numeric->getPerson("1")->addPhenotype(new Phenotype("DISEASE_LOCUS", "2"));
    family_builder::addPersons(collection, "2", {{"10", "0", "0", "1"}, {"2", "0", "0", "2"}, {"A1", "10", "2", "2"}});
    // Numeric ids by value, others in tree order; the markers selected in the order asked.
    ASSERT_EQ(collection.writePedigreeFile(dir.file("ped.dat"), {"DISEASE_LOCUS"}, {"3", "0"}), 1);
    EXPECT_EQ(lines(dir.read("ped.dat")), (Lines{"1\t1\t0\t0\t1\t2 7 9 104 108 ", "1\t2\t0\t0\t2\t0 0 0 0 0 ",
                                                 "1\t10\t1\t2\t1\t0 9 9 0 0 ", "2\t10\t0\t0\t1\t0 0 0 0 0 ",
                                                 "2\t2\t0\t0\t2\t0 0 0 0 0 ", "2\tA1\t10\t2\t2\t0 0 0 0 0 "}));
    // Renumbered: 104/108 become 1/2 at D1S1; 7 and 9 become 1 and 2 at D1S4.
    collection.createMarkerInfo();
    collection.setRenumberAlleles(true);
    ASSERT_EQ(collection.writePedigreeFile(dir.file("ped.dat"), {"DO_NOT_PRINT_PHENOTYPES"}, {"0", "3"}), 1);
    EXPECT_EQ(lines(dir.read("ped.dat"))[0] + "|" + lines(dir.read("ped.dat"))[2],
              "1\t1\t0\t0\t1\t1 2 1 2 |1\t10\t1\t2\t1\t0 0 2 2 ");
    // Mixed layout: a phenotype column and a marker column (alleles as read), each closed by a tab.
    ASSERT_EQ(collection.writePedigreeFile(dir.file("ped.dat"), {"DISEASE_LOCUS", "3"}, {"P", "M"}), 1);
    EXPECT_EQ(lines(dir.read("ped.dat"))[0] + "|" + lines(dir.read("ped.dat"))[1],
              "1\t1\t0\t0\t1\t2\t7 9\t|1\t2\t0\t0\t2\t0\t0 0\t");
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

TEST(LoopBreaking, UnknownDoublesTheLoopBreaker) {
    ScratchDir dir;
    InDirectory inside(dir.path());
    setenv("PATH", (std::string(VARKEL_BIN_DIR) + ":" + std::getenv("PATH")).c_str(), 1);
    // First cousins 7 and 8 marry: one marriage loop through the grandparents 1 and 2.
    Pedigrees collection;
    readInput(collection, dir,
              "1 1 0 0 3 0 0 1 1 1 1 2 0 0 0 0\n1 2 0 0 3 0 0 2 0 1 1 3 0 0 0 0\n1 3 1 2 7 4 4 1 0 1 1 3 0 0 0 0\n"
              "1 4 1 2 8 0 0 2 0 2 1 2 0 0 0 0\n1 5 0 0 7 0 0 2 0 1 0 0 0 0 0 0\n1 6 0 0 8 0 0 1 0 1 2 3 0 0 0 0\n"
              "1 7 3 5 9 0 0 1 0 2 1 2 0 0 0 0\n1 8 6 4 9 0 0 2 0 2 2 3 0 0 0 0\n1 9 7 8 0 10 10 1 0 2 1 3 0 0 0 0\n"
              "1 10 7 8 0 0 0 2 0 1 2 2 0 0 0 0\n");
    ASSERT_EQ(collection.writePedigreeFile("pedfile.dat", {"DISEASE_LOCUS"}, {"0"}), 1);
    // Without a locus file UNKNOWN fails.
    captureOutput([&] { EXPECT_FALSE(collection.break_loops(false, false)); });
    dir.write("datafile.dat",
              "2 0 0 5\n0 0.0 0.0 0\n1 2\n1 2\n0.99 0.01\n1\n0.01 0.9 0.9\n3 3\n0.3 0.3 0.4\n0 0\n0.0\n1 0.02 0.49\n");
    EXPECT_TRUE(contains(captureOutput([&] { EXPECT_TRUE(collection.break_loops(false, true)); }),
                         "Breaking loops...\nExternal command: unknownvarkel -l \n"));
    // UNKNOWN run directly breaks at 8: her copy 11 mothers 9 and 10; both copies proband 2.
    Lines rows;
    for (const std::string& line : lines(dir.read("pedfile.dat")))
        rows.push_back(std::regex_replace(" " + line + " ", std::regex("\\s+"), " "));
    ASSERT_EQ(rows.size(), 11u);
    EXPECT_EQ(rows[7], " 1 8 6 4 0 0 0 2 2 2 2 3 ");
    EXPECT_EQ(rows[8].substr(0, 10), " 1 9 7 11 ");
    EXPECT_EQ(rows[10], " 1 11 0 0 9 0 0 2 2 2 2 3 ");
}
