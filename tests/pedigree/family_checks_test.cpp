// Data checks: family structure ("family.err") and Mendelian consistency ("mendel.err").

#include "pedigree/family_builder.h"

using namespace testing_support;
using family_builder::addPersons;

TEST(StructureCheck, BrokenSmallAndLoopedPedigrees) {
    ScratchDir dir;
    InDirectory inside(dir.path());
    // Two brothers (5, 6 of founders 1, 2) married to two sisters (7, 8 of founders 3, 4).
    const std::vector<family_builder::Row> doubleCousins{
        {"1", "0", "0", "1"}, {"2", "0", "0", "2"}, {"3", "0", "0", "1"}, {"4", "0", "0", "2"}, {"5", "1", "2", "1"},
        {"6", "1", "2", "1"}, {"7", "3", "4", "2"}, {"8", "3", "4", "2"}, {"9", "5", "7", "1"}, {"10", "6", "8", "2"}};
    // A plain three-generation pedigree: no loop, no error, no report.
    Pedigrees collection;
    addPersons(collection, "1", {{"1", "0", "0", "1"}, {"2", "0", "0", "2"}, {"3", "1", "2", "1"},
                                 {"4", "0", "0", "2"}, {"5", "3", "4", "1"}, {"6", "3", "4", "2"}});
    bool errors = true;
    EXPECT_EQ(captureOutput([&] { errors = collection.writeFamilyErrors("family.err"); }), "");
    EXPECT_FALSE(errors || collection.isLoopsFound() || dir.exists("family.err"));
    addPersons(collection, "2", doubleCousins);
    EXPECT_EQ(captureOutput([&] { errors = collection.writeFamilyErrors("family.err"); }),
              "(Atleast one marrige or consanguinty loop found from the pedigree 2)\n");
    EXPECT_TRUE(collection.isLoopsFound());
    EXPECT_FALSE(errors || dir.exists("family.err"));

    // Two unrelated trios under one id stop the other checks: pedigree 4 and the loop in 5.
    Pedigrees broken;
    addPersons(broken, "3", {{"1", "0", "0", "1"}, {"2", "0", "0", "2"}, {"3", "1", "2", "1"},
                             {"4", "0", "0", "1"}, {"5", "0", "0", "2"}, {"6", "4", "5", "2"}});
    addPersons(broken, "4", {{"1", "0", "0", "1"}, {"2", "1", "9", "1"}});
    addPersons(broken, "5", doubleCousins);
    const std::string output = captureOutput([&] { EXPECT_TRUE(broken.writeFamilyErrors("family.err")); });
    EXPECT_EQ(output, "\n#### Pedigree 3 ####\nError: this pedigree is not whole\n");
    EXPECT_EQ(dir.read("family.err"), output);
    EXPECT_FALSE(broken.isLoopsFound());

    // A whole pedigree of two: too small, and the size check does not stop the parent checks.
    Pedigrees small;
    addPersons(small, "7", {{"1", "0", "0", "1"}, {"2", "1", "0", "2"}});
    captureOutput([&] { EXPECT_TRUE(small.writeFamilyErrors("family.err")); });
    EXPECT_EQ(dir.read("family.err"),
              "\n#### Pedigree 7 ####\nError: pedigree contains less than 3 members\n"
              "\n#### Pedigree 7 ####\nError: mother id is 0 but father id is not\nFather 1 Mother 0\nChild 2\n");
}

TEST(StructureCheck, EveryParentReferenceErrorGetsItsBlock) {
    const struct { family_builder::Row child; const char* report; } cases[] = {
        {{"10", "1", "99", "2"}, "Error: mother is not found\nFather 1 Mother 99\nChild 10\n"},
        {{"3", "0", "2", "1"}, "Error:   father id is 0 but mother id is not\nFather 0 Mother 2\nChild 3\n"},
        {{"4", "9", "2", "1"}, "Error:  father is not found\nFather 9 Mother 2\nChild 4\n"},
        {{"5", "2", "1", "1"}, "Error: father found but gender wrong\nFather 2 Mother 1\nChild 5\n\n#### Pedigree 5 ####\n"
                               "Error:  mother found but gender wrong\nFather 2 Mother 1\nChild 5\n"},
        {{"6", "6", "2", "1"}, "Error:  child id is same as father id\nFather 6 Mother 2\nChild 6\n"},
        {{"7", "1", "7", "2"}, "Error:  child id is same as mother id \nFather 1 Mother 7\nChild 7\n"},
        {{"8", "1", "0", "2"}, "Error: mother id is 0 but father id is not\nFather 1 Mother 0\nChild 8\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.child.id);
        ScratchDir dir;
        InDirectory inside(dir.path());
        Pedigrees collection;
        // Founders 1 (male) and 2 (female), their son 20 and the child in error.
        addPersons(collection, "5", {{"1", "0", "0", "1"}, {"2", "0", "0", "2"}, {"20", "1", "2", "1"}, c.child});
        captureOutput([&] { EXPECT_TRUE(collection.writeFamilyErrors("family.err")); });
        EXPECT_EQ(dir.read("family.err"), std::string("\n#### Pedigree 5 ####\n") + c.report);
    }
}

TEST(MendelianCheck, ChildrenAgainstTypedParentsAndTheReportFile) {
    ScratchDir dir;
    InDirectory inside(dir.path());
    Pedigrees collection;
    family_builder::readMap(collection, dir, 2);
    // Parents 1/2 x 3/4 at D1S1; children 3: 1/3 and 5: 3/1 fit, 4: 1/1 and 6: 2/1 do not.
    addPersons(collection, "1", {{"1", "0", "0", "1", {{"1", "2"}}}, {"2", "0", "0", "2", {{"3", "4"}}},
                                 {"3", "1", "2", "1", {{"1", "3"}}}, {"4", "1", "2", "2", {{"1", "1"}}},
                                 {"5", "1", "2", "2", {{"3", "1"}}}, {"6", "1", "2", "2", {{"2", "1"}}}});
    // Only the mother typed (1/2 at D1S2); the only child is 3/4.
    addPersons(collection, "2", {{"1", "0", "0", "1"}, {"2", "0", "0", "2", {{"0", "0"}, {"1", "2"}}},
                                 {"3", "1", "2", "1", {{"0", "0"}, {"3", "4"}}}});
    const std::string typed = "\n#### Pedigree 1 Name D1S1 ####\nError: alleles not found from parents\n"
                              "Father 1: 1/2 Mother 2: 3/4\n";
    const std::string head2 = "\n#### Pedigree 2 Name D1S2 ####\n", parent2 = "Father 1: 0/0 Mother 2: 1/2\nChild 3: 3/4\n";
    const std::string expected = typed + "Child 4: 1/1\n" + typed + "Child 6: 2/1\n" + head2 +
                                 "Error: alleles not found from parent\n" + parent2 + head2 +
                                 "Error: too many alleles found in childs LEVEL2 \n" + parent2;
    const std::string output = captureOutput([&] { EXPECT_TRUE(collection.writeMendelianErrors("mendel.err")); });
    EXPECT_EQ(output, "(Checking Mendelian consistency..." + expected + "done)\n");
    EXPECT_EQ(dir.read("mendel.err"), expected);
}

TEST(MendelianCheck, SibshipsWithOneOrNoTypedParent) {
    ScratchDir dir;
    Pedigrees collection;
    family_builder::readMap(collection, dir, 1);
    // Six distinct alleles in three children: no split into two parents, and more than four.
    addPersons(collection, "3", {{"1", "0", "0", "1"}, {"2", "0", "0", "2"}, {"3", "1", "2", "2", {{"1", "2"}}},
                                 {"4", "1", "2", "1", {{"3", "4"}}}, {"5", "1", "2", "2", {{"5", "6"}}}});
    // Children 1/1, 2/2: parents 1/2 explain them; half-siblings 5, 6 are not of the sibship.
    addPersons(collection, "4", {{"1", "0", "0", "1"}, {"2", "0", "0", "2"}, {"3", "1", "2", "1", {{"1", "1"}}},
                                 {"4", "1", "2", "2", {{"2", "2"}}}, {"5", "1", "0", "2", {{"7", "8"}}},
                                 {"6", "1", "0", "2", {{"9", "10"}}}});
    // Only the mother typed, 1/2; children 1/3, 2/3, 1/4: a father 3/4 explains them.
    addPersons(collection, "5", {{"1", "0", "0", "1"}, {"2", "0", "0", "2", {{"1", "2"}}},
                                 {"3", "1", "2", "1", {{"1", "3"}}}, {"4", "1", "2", "1", {{"2", "3"}}},
                                 {"5", "1", "2", "1", {{"1", "4"}}}});
    const std::string output = captureOutput([&] { EXPECT_TRUE(collection.checkMendelianErrors()); });
    // Pedigree 3 only: both blocks for each child of the sibship, that child listed first.
    const std::string head = "\n#### Pedigree 3 Name D1S1 ####\n", parents = "Father 1: 0/0 Mother 2: 0/0\n";
    std::string expected;
    for (const char* sibship : {"Child 3: 1/2\nChild 4: 3/4\nChild 5: 5/6\n", "Child 4: 3/4\nChild 3: 1/2\nChild 5: 5/6\n",
                                "Child 5: 5/6\nChild 3: 1/2\nChild 4: 3/4\n"})
        expected += head + "Error: too many alleles found in childs LEVEL2\n" + parents + sibship + head +
                    "Error: too many alleles found in childs\n" + parents + sibship;
    EXPECT_EQ(output, "(Checking Mendelian consistency..." + expected + "done)\n");
}
