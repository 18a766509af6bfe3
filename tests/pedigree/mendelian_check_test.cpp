// Mendelian consistency check: children against typed parents, sibships with one or no typed
// parent, the block layout and the "mendel.err" report.

#include <string>

#include "model/pedigrees.h"
#include "pedigree/family_builder.h"
#include "support/test_support.h"

using namespace testing_support;
using family_builder::addPerson;

namespace {

// Counts the blocks of a report (each starts with an empty line and a "####" line).
int blockCount(const std::string& report) {
    int blocks = 0;
    for (size_t at = report.find("\n#### "); at != std::string::npos; at = report.find("\n#### ", at + 1)) ++blocks;
    return blocks;
}

// Parents 1/2 x 3/4 at D1S1; children 3: 1/3 and 5: 3/1 fit, 4: 1/1 and 6: 2/1 do not.
void addTypedParents(Pedigrees& collection) {
    addPerson(collection, "1", "1", "0", "0", "1", {{"1", "2"}});
    addPerson(collection, "1", "2", "0", "0", "2", {{"3", "4"}});
    addPerson(collection, "1", "3", "1", "2", "1", {{"1", "3"}});
    addPerson(collection, "1", "4", "1", "2", "2", {{"1", "1"}});
    addPerson(collection, "1", "5", "1", "2", "2", {{"3", "1"}});
    addPerson(collection, "1", "6", "1", "2", "2", {{"2", "1"}});
}

// Only the mother typed (1/2 at D1S2); the only child is 3/4.
void addOneTypedParent(Pedigrees& collection) {
    addPerson(collection, "2", "1", "0", "0", "1");
    addPerson(collection, "2", "2", "0", "0", "2", {{"0", "0"}, {"1", "2"}});
    addPerson(collection, "2", "3", "1", "2", "1", {{"0", "0"}, {"3", "4"}});
}

const char* kTypedParentsBlocks =
    "\n#### Pedigree 1 Name D1S1 ####\nError: alleles not found from parents\n"
    "Father 1: 1/2 Mother 2: 3/4\nChild 4: 1/1\n"
    "\n#### Pedigree 1 Name D1S1 ####\nError: alleles not found from parents\n"
    "Father 1: 1/2 Mother 2: 3/4\nChild 6: 2/1\n";

const char* kOneTypedParentBlocks =
    "\n#### Pedigree 2 Name D1S2 ####\nError: alleles not found from parent\n"
    "Father 1: 0/0 Mother 2: 1/2\nChild 3: 3/4\n"
    "\n#### Pedigree 2 Name D1S2 ####\nError: too many alleles found in childs LEVEL2 \n"
    "Father 1: 0/0 Mother 2: 1/2\nChild 3: 3/4\n";

}  // namespace

TEST(MendelianCheck, ChildrenAgainstTypedParentsAndTheReportFile) {
    ScratchDir dir;
    InDirectory inside(dir.path());
    Pedigrees collection;
    family_builder::readMap(collection, dir, 2);
    addTypedParents(collection);
    addOneTypedParent(collection);

    bool errors = false;
    const std::string output = captureOutput([&] { errors = collection.writeMendelianErrors("mendel.err"); });
    const std::string expected = std::string(kTypedParentsBlocks) + kOneTypedParentBlocks;
    EXPECT_TRUE(errors);
    EXPECT_TRUE(collection.isMendelianErrorFound());
    EXPECT_EQ(output, "(Checking Mendelian consistency..." + expected + "done)\n");
    EXPECT_EQ(dir.read("mendel.err"), expected);

    // The report was emptied once written: a clean data set leaves the old file alone.
    Pedigrees clean;
    family_builder::readMap(clean, dir, 1);
    addPerson(clean, "1", "1", "0", "0", "1", {{"1", "2"}});
    addPerson(clean, "1", "2", "0", "0", "2", {{"3", "4"}});
    addPerson(clean, "1", "3", "1", "2", "1", {{"2", "4"}});
    const std::string cleanOutput = captureOutput([&] { errors = clean.writeMendelianErrors("mendel.err"); });
    EXPECT_FALSE(errors);
    EXPECT_EQ(cleanOutput, "(Checking Mendelian consistency...done)\n");
    EXPECT_EQ(dir.read("mendel.err"), expected);

    // An unwritable report is announced; the errors are still reported.
    const std::string unwritable = captureOutput([&] { errors = collection.writeMendelianErrors("missing/mendel.err"); });
    EXPECT_TRUE(errors);
    EXPECT_TRUE(contains(unwritable, "done)\nError: Unable to open missing/mendel.err for writing!\n"));
}

TEST(MendelianCheck, SibshipsWithUntypedParents) {
    Pedigrees collection;
    ScratchDir dir;
    family_builder::readMap(collection, dir, 1);
    // Six distinct alleles in three children: no split into two parents, and more than four.
    addPerson(collection, "3", "1", "0", "0", "1");
    addPerson(collection, "3", "2", "0", "0", "2");
    addPerson(collection, "3", "3", "1", "2", "2", {{"1", "2"}});
    addPerson(collection, "3", "4", "1", "2", "1", {{"3", "4"}});
    addPerson(collection, "3", "5", "1", "2", "2", {{"5", "6"}});
    // Homozygous children 1/1 and 2/2: both parents 1/2 explain them.
    addPerson(collection, "4", "1", "0", "0", "1");
    addPerson(collection, "4", "2", "0", "0", "2");
    addPerson(collection, "4", "3", "1", "2", "1", {{"1", "1"}});
    addPerson(collection, "4", "4", "1", "2", "2", {{"2", "2"}});
    // Half-siblings through the father (mother unknown) are not part of the sibship.
    addPerson(collection, "4", "5", "1", "0", "2", {{"7", "8"}});
    addPerson(collection, "4", "6", "1", "0", "2", {{"9", "10"}});
    addPerson(collection, "4", "7", "1", "0", "2", {{"11", "12"}});

    bool errors = false;
    const std::string output = captureOutput([&] { errors = collection.checkMendelianErrors(); });
    EXPECT_TRUE(errors);
    const std::string head = "\n#### Pedigree 3 Name D1S1 ####\n";
    const std::string parents = "Father 1: 0/0 Mother 2: 0/0\n";
    const std::string level2 = "Error: too many alleles found in childs LEVEL2\n";
    const std::string tooMany = "Error: too many alleles found in childs\n";
    const std::string sibship3 = "Child 3: 1/2\nChild 4: 3/4\nChild 5: 5/6\n";
    const std::string sibship4 = "Child 4: 3/4\nChild 3: 1/2\nChild 5: 5/6\n";
    const std::string sibship5 = "Child 5: 5/6\nChild 3: 1/2\nChild 4: 3/4\n";
    const std::string expected = head + level2 + parents + sibship3 + head + tooMany + parents + sibship3 +  //
                                 head + level2 + parents + sibship4 + head + tooMany + parents + sibship4 +  //
                                 head + level2 + parents + sibship5 + head + tooMany + parents + sibship5;
    EXPECT_EQ(output, "(Checking Mendelian consistency..." + expected + "done)\n");
}

TEST(MendelianCheck, SibshipsWithOneTypedParent) {
    Pedigrees collection;
    ScratchDir dir;
    family_builder::readMap(collection, dir, 1);
    // Mother 1/2, children 1/3, 2/3, 1/4: a father 3/4 explains them.
    addPerson(collection, "5", "1", "0", "0", "1");
    addPerson(collection, "5", "2", "0", "0", "2", {{"1", "2"}});
    addPerson(collection, "5", "3", "1", "2", "1", {{"1", "3"}});
    addPerson(collection, "5", "4", "1", "2", "1", {{"2", "3"}});
    addPerson(collection, "5", "5", "1", "2", "1", {{"1", "4"}});
    bool errors = true;
    std::string output = captureOutput([&] { errors = collection.checkMendelianErrors(); });
    EXPECT_FALSE(errors);
    EXPECT_EQ(output, "(Checking Mendelian consistency...done)\n");

    // Father 1/1 typed, children 1/3, 2/4, 1/5: child 4 lacks the father's allele, no mother
    // of two alleles completes the sibship, and five alleles exceed the bound 4 - 1 = 3.
    Pedigrees fatherTyped;
    family_builder::readMap(fatherTyped, dir, 1);
    addPerson(fatherTyped, "6", "1", "0", "0", "1", {{"1", "1"}});
    addPerson(fatherTyped, "6", "2", "0", "0", "2");
    addPerson(fatherTyped, "6", "3", "1", "2", "2", {{"1", "3"}});
    addPerson(fatherTyped, "6", "4", "1", "2", "2", {{"2", "4"}});
    addPerson(fatherTyped, "6", "5", "1", "2", "2", {{"1", "5"}});
    output = captureOutput([&] { errors = fatherTyped.checkMendelianErrors(); });
    EXPECT_TRUE(errors);
    const std::string head = "\n#### Pedigree 6 Name D1S1 ####\n";
    const std::string parents = "Father 1: 1/1 Mother 2: 0/0\n";
    const std::string level2 = "Error: too many alleles found in childs LEVEL2 \n";
    const std::string tooMany = "Error: too many alleles found in childs\n";
    // Child 3 (first in key order): the split fails and {1, 3, 2, 4, 5} exceeds the bound 3.
    const std::string child3 = head + level2 + parents + "Child 3: 1/3\nChild 4: 2/4\nChild 5: 1/5\n" +  //
                               head + tooMany + parents + "Child 3: 1/3\nChild 4: 2/4\nChild 5: 1/5\n";
    // Child 4 does not carry the father's 1: its own block comes before its sibship blocks.
    const std::string child4 = head + "Error: alleles not found from parent\n" + parents + "Child 4: 2/4\n";
    const std::string start = "(Checking Mendelian consistency..." + child3 + child4;
    EXPECT_EQ(output.substr(0, start.size()), start);
    EXPECT_EQ(blockCount(output), 7);
}
