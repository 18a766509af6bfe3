// Decomposition of pedigrees into nuclear pedigrees: numbering, pointers, copies.

#include "pedigree/family_builder.h"

using family_builder::addPersons;
using Lines = std::vector<std::string>;

// Per person in tree order: pedigree, person, father, mother, FOID, NPSID, NMSID, sex, proband.
static Lines rows(const Pedigree* pedigree) {
    Lines result;
    if (pedigree)
        pedigree->getPersonTree()->forEach([&](const Person* p) {
            result.push_back(p->getPedigreeId() + " " + p->getPersonId() + " " + p->getFatherId() + " " +
                             p->getMotherId() + " " + p->getFOID() + " " + p->getNPSID() + " " + p->getNMSID() + " " +
                             p->getSex() + " " + p->getProbandStatus());
        });
    return result;
}

TEST(NuclearPedigrees, NumberingPointersHalfSiblingsAndCopies) {
    testing_support::ScratchDir dir;
    Pedigrees collection;
    family_builder::readMap(collection, dir, 1);
    // Grandparents 1 x 2, children 3, 4; 3 and founder 5 have 6, 7; 8 is a childless founder.
    addPersons(
        collection, "7", {{"1", "0", "0", "1"}, {"2", "0", "0", "2"}, {"3", "1", "2", "1", {{"104", "112"}}},
                          {"4", "1", "2", "2"}, {"5", "0", "0", "2"}, {"6", "3", "5", "2"}, {"7", "3", "5", "1"},
                          {"8", "0", "0", "1"}});
    // Pedigree A, numbered after 7: mother 2 with husbands 1 and 3; children 10 and 9 of 1,
    // 5 of 3. Tree order of the persons is 1, 10, 2, 3, 5, 9: child 10 starts the first family.
    addPersons(collection, "A", {{"1", "0", "0", "1"}, {"2", "0", "0", "2"}, {"3", "0", "0", "1"},
                                 {"10", "1", "2", "2"}, {"5", "3", "2", "1"}, {"9", "1", "2", "1"}});
    RBTree<Pedigree>* nuclear = collection.createNuclearPedigrees();
    EXPECT_EQ(collection.getNuclearPedigreeCount(), 4);
    EXPECT_EQ(collection.getNuclearPersonCount(), 4 + 4 + 4 + 3);  // the childless founder 8 is in none
    EXPECT_EQ(rows(nuclear->find("1")),
              (Lines{"1 1 0 0 3 0 0 1 1", "1 2 0 0 3 0 0 2 0", "1 3 1 2 0 4 4 1 0", "1 4 1 2 0 0 0 2 0"}));
    // The married child is the father of the second family; his wife (founder 5) the mother.
    EXPECT_EQ(rows(nuclear->find("2")),
              (Lines{"2 1 0 0 3 0 0 1 1", "2 2 0 0 3 0 0 2 0", "2 3 1 2 0 4 4 2 0", "2 4 1 2 0 0 0 1 0"}));
    EXPECT_EQ(rows(nuclear->find("3")),
              (Lines{"3 1 0 0 3 0 0 1 1", "3 2 0 0 3 0 0 2 0", "3 3 1 2 0 4 4 2 0", "3 4 1 2 0 0 0 1 0"}));
    EXPECT_EQ(rows(nuclear->find("4")), (Lines{"4 1 0 0 3 0 0 1 1", "4 2 0 0 3 0 0 2 0", "4 3 1 2 0 0 0 1 0"}));
    // The married son's copy as a father carries his genotype.
    const Person* copy = nuclear->find("2") ? nuclear->find("2")->getPerson("1") : nullptr;
    ASSERT_TRUE(copy && copy->isTyped(0));
    EXPECT_EQ(copy->getAlleleName(0, 1), "112");
}
