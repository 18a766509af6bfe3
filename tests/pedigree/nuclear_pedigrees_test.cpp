// Decomposition of pedigrees into nuclear pedigrees: numbering, pointers, copies.

#include <string>
#include <vector>

#include "model/pedigrees.h"
#include "support/test_support.h"

namespace {

struct Row {
    const char* id;
    const char* father;
    const char* mother;
    const char* sex;
};

Pedigree* addPedigree(Pedigrees& collection, const std::string& id, const std::vector<Row>& rows) {
    auto* pedigree = new Pedigree(id);
    for (const Row& r : rows) pedigree->addPerson(new Person(id, r.id, r.father, r.mother, r.sex));
    collection.getPedigrees()->insert(pedigree);
    return pedigree;
}

// pedigree id, person id, father, mother, FOID, NPSID, NMSID, sex, proband
std::vector<std::string> columns(const Person* p) {
    return {p->getPedigreeId(), p->getPersonId(), p->getFatherId(), p->getMotherId(), p->getFOID(),
            p->getNPSID(),      p->getNMSID(),    p->getSex(),      p->getProbandStatus()};
}

using Cols = std::vector<std::string>;

}  // namespace

TEST(NuclearPedigrees, ThreeGenerationPedigreeGivesTwoLinkedFamilies) {
    Pedigrees collection;
    // Grandparents 1 x 2 with children 3 and 4; 3 marries the founder 5 and has 6 and 7.
    // 8 is a founder without children.
    Pedigree* source = addPedigree(collection, "7", {{"1", "0", "0", "1"},
                                                     {"2", "0", "0", "2"},
                                                     {"3", "1", "2", "1"},
                                                     {"4", "1", "2", "2"},
                                                     {"5", "0", "0", "2"},
                                                     {"6", "3", "5", "2"},
                                                     {"7", "3", "5", "1"},
                                                     {"8", "0", "0", "1"}});
    Person* married = source->getPerson("3");
    married->addPhenotype(new Phenotype("DISEASE_LOCUS", "2"));
    married->addMarker(new Marker("0", "104", "112", true));

    RBTree<Pedigree>* nuclear = collection.createNuclearPedigrees();
    ASSERT_NE(nuclear, nullptr);
    EXPECT_EQ(nuclear->getName(), "Master-Nuclear-TRee");
    EXPECT_EQ(collection.getNuclearPedigreeCount(), 2);
    EXPECT_EQ(collection.getNuclearPersonCount(), 8);  // the childless founder 8 is in none

    Pedigree* first = nuclear->find("1");
    Pedigree* second = nuclear->find("2");
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    ASSERT_EQ(first->getPersonTree()->getCount(), 4);
    ASSERT_EQ(second->getPersonTree()->getCount(), 4);

    EXPECT_EQ(columns(first->getPerson("1")), (Cols{"1", "1", "0", "0", "3", "0", "0", "1", "1"}));
    EXPECT_EQ(columns(first->getPerson("2")), (Cols{"1", "2", "0", "0", "3", "0", "0", "2", "0"}));
    EXPECT_EQ(columns(first->getPerson("3")), (Cols{"1", "3", "1", "2", "0", "4", "4", "1", "0"}));
    EXPECT_EQ(columns(first->getPerson("4")), (Cols{"1", "4", "1", "2", "0", "0", "0", "2", "0"}));

    // The married child is the father of the second family; his wife (founder 5) the mother.
    EXPECT_EQ(columns(second->getPerson("1")), (Cols{"2", "1", "0", "0", "3", "0", "0", "1", "1"}));
    EXPECT_EQ(columns(second->getPerson("2")), (Cols{"2", "2", "0", "0", "3", "0", "0", "2", "0"}));
    EXPECT_EQ(columns(second->getPerson("3")), (Cols{"2", "3", "1", "2", "0", "4", "4", "2", "0"}));
    EXPECT_EQ(columns(second->getPerson("4")), (Cols{"2", "4", "1", "2", "0", "0", "0", "1", "0"}));

    // Both copies of person 3 carry his data, and neither shares records with the source.
    for (Person* copy : {first->getPerson("3"), second->getPerson("1")}) {
        ASSERT_NE(copy->getPhenotype("DISEASE_LOCUS"), nullptr);
        EXPECT_EQ(copy->getPhenotype("DISEASE_LOCUS")->getValue(), "2");
        Marker* genotype = copy->getMarker("0");
        ASSERT_NE(genotype, nullptr);
        EXPECT_NE(genotype, married->getMarker("0"));
        EXPECT_EQ(genotype->getAllele(0), "104");
        EXPECT_EQ(genotype->getAllele(1), "112");
        EXPECT_EQ(copy->getMarkerWithIndex("0"), genotype);
    }
    EXPECT_EQ(first->getPerson("4")->getMarker("0"), nullptr);

    EXPECT_TRUE(married->isUsedAsChild());
    EXPECT_TRUE(married->isUsedAsParent());
    EXPECT_TRUE(source->getPerson("5")->isUsedAsParent());
    EXPECT_FALSE(source->getPerson("5")->isUsedAsChild());
    EXPECT_FALSE(source->getPerson("8")->isUsedAsParent());

    // The source pedigree itself is untouched.
    EXPECT_EQ(columns(married), (Cols{"7", "3", "1", "2", "-999", "", "", "1", ""}));
}

TEST(NuclearPedigrees, HalfSiblingsAndNumberingAcrossPedigrees) {
    Pedigrees collection;
    // Pedigree A: mother 2 with husbands 1 and 3; children 10 and 9 of 1, 5 of 3.
    // Tree order of the persons is 1, 10, 2, 3, 5, 9: child 10 starts the first family.
    addPedigree(collection, "A", {{"1", "0", "0", "1"},
                                  {"2", "0", "0", "2"},
                                  {"3", "0", "0", "1"},
                                  {"10", "1", "2", "2"},
                                  {"5", "3", "2", "1"},
                                  {"9", "1", "2", "1"}});
    // Pedigree B: a single trio, numbered after A's families.
    addPedigree(collection, "B", {{"f", "0", "0", "1"}, {"m", "0", "0", "2"}, {"c", "f", "m", "2"}});

    RBTree<Pedigree>* nuclear = collection.createNuclearPedigrees();
    ASSERT_EQ(collection.getNuclearPedigreeCount(), 3);
    EXPECT_EQ(collection.getNuclearPersonCount(), 4 + 3 + 3);

    Pedigree* byFirstHusband = nuclear->find("1");
    ASSERT_NE(byFirstHusband, nullptr);
    ASSERT_EQ(byFirstHusband->getPersonTree()->getCount(), 4);
    EXPECT_EQ(byFirstHusband->getPerson("3")->getSex(), "2");  // source 10, the starter
    EXPECT_EQ(byFirstHusband->getPerson("4")->getSex(), "1");  // source 9, its full sibling
    EXPECT_EQ(byFirstHusband->getPerson("3")->getNPSID(), "4");
    EXPECT_EQ(byFirstHusband->getPerson("3")->getNMSID(), "4");

    Pedigree* bySecondHusband = nuclear->find("2");
    ASSERT_NE(bySecondHusband, nullptr);
    ASSERT_EQ(bySecondHusband->getPersonTree()->getCount(), 3);
    EXPECT_EQ(columns(bySecondHusband->getPerson("3")), (Cols{"2", "3", "1", "2", "0", "0", "0", "1", "0"}));

    Pedigree* trio = nuclear->find("3");
    ASSERT_NE(trio, nullptr);
    EXPECT_EQ(columns(trio->getPerson("1")), (Cols{"3", "1", "0", "0", "3", "0", "0", "1", "1"}));
    EXPECT_EQ(columns(trio->getPerson("3")), (Cols{"3", "3", "1", "2", "0", "0", "0", "2", "0"}));
}

TEST(NuclearPedigrees, FourChildrenFormOneSiblingChain) {
    Pedigrees collection;
    addPedigree(collection, "1", {{"1", "0", "0", "1"},
                                  {"2", "0", "0", "2"},
                                  {"3", "1", "2", "1"},
                                  {"4", "1", "2", "2"},
                                  {"5", "1", "2", "2"},
                                  {"6", "1", "2", "1"}});
    Pedigree* family = collection.createNuclearPedigrees()->find("1");
    ASSERT_NE(family, nullptr);
    ASSERT_EQ(family->getPersonTree()->getCount(), 6);
    const char* next[] = {"4", "5", "6", "0"};
    for (int k = 3; k <= 6; ++k) {
        const Person* child = family->getPerson(std::to_string(k));
        EXPECT_EQ(child->getNPSID(), next[k - 3]) << "child " << k;
        EXPECT_EQ(child->getNMSID(), next[k - 3]) << "child " << k;
        EXPECT_EQ(child->getFOID(), "0");
    }
}
