#include "association/hrr_test_data.h"
#include "pedigree/marker_info.h"

using namespace testing_support;
using hrr_test::person;

namespace {

const char* const phenotype = "DISEASE_LOCUS";

// Two markers, M1 (key "0") and M2 (key "1").
std::string trioPedigrees() {
    std::string p;
    // Pedigree 1: two affected children with typed parents; "10" precedes "9" in key order.
    p += person("1", "1", "0", "0", "1", "1", {"1 2", "5 6"});
    p += person("1", "2", "0", "0", "2", "1", {"3 4", "7 8"});
    p += person("1", "9", "1", "2", "1", "2", {"1 3", "5 7"});
    p += person("1", "10", "1", "2", "2", "2", {"2 4", "6 8"});
    // Pedigree 2: only an unaffected child; its typed founders go to the singleton tallies.
    p += person("2", "1", "0", "0", "1", "2", {"1 1", "5 5"});
    p += person("2", "2", "0", "0", "2", "1", {"1 3", "5 6"});
    p += person("2", "3", "1", "2", "1", "1", {"1 3", "5 6"});
    // Pedigree 3: the only affected child has untyped parents (rule Three).
    p += person("3", "1", "0", "0", "1", "1", {"0 0", "0 0"});
    p += person("3", "2", "0", "0", "2", "1", {"0 0", "0 0"});
    p += person("3", "3", "1", "2", "1", "2", {"2 2", "5 5"});
    // Pedigree 4: an unaffected child with typed parents comes first; the affected one after
    // it must take the pedigree's trio.
    p += person("4", "1", "0", "0", "1", "0", {"1 4", "5 6"});
    p += person("4", "2", "0", "0", "2", "0", {"2 3", "7 8"});
    p += person("4", "3", "1", "2", "1", "1", {"1 2", "5 7"});
    p += person("4", "4", "1", "2", "2", "2", {"4 3", "6 8"});
    // Pedigree 5: the affected child is untyped at M1 (typed at M2); founders of unknown
    // affection (0) and of value 1.
    p += person("5", "1", "0", "0", "1", "0", {"2 2", "5 5"});
    p += person("5", "2", "0", "0", "2", "1", {"2 4", "5 5"});
    p += person("5", "3", "1", "2", "1", "2", {"0 0", "5 5"});
    return p;
}

const Marker* genotypeOf(const Pedigree* pedigree, const std::string& personId, const std::string& key) {
    const Person* p = pedigree->getPerson(personId);
    return p ? p->getMarker(key) : nullptr;
}

std::string allelesOf(const Marker* m) { return m ? m->getAllele(0) + " " + m->getAllele(1) : "untyped"; }

}  // namespace

TEST(HrrTrioExtraction, OneTrioPerPedigreeByRuleAndPersonOrder) {
    ScratchDir dir;
    Pedigrees pedigrees;
    ASSERT_TRUE(hrr_test::load(pedigrees, dir, hrr_test::mapFile({"M1", "M2"}), trioPedigrees()));

    RBTree<Pedigree>* trios = pedigrees.createHrrPedigreesForMarker(phenotype, "0");
    ASSERT_NE(trios, nullptr);
    EXPECT_EQ(trios->getName(), "Master-HRR-Tree");
    // Pedigrees 1, 3 and 4; not 2 (unaffected child) nor 5 (untyped child).
    std::vector<std::string> ids;
    trios->forEach([&](const Pedigree* p) { ids.push_back(p->getPedigreeId()); });
    EXPECT_EQ(ids, (std::vector<std::string>{"1", "3", "4"}));
    EXPECT_EQ(pedigrees.getHrrPedigreeCount(), 3);
    EXPECT_EQ(pedigrees.getHrrPersonCount(), 9);

    // Pedigree 1: child "10" (first in key order) with its parents; every marker copied.
    const Pedigree* first = trios->find("1");
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(allelesOf(genotypeOf(first, "3", "0")), "2 4");
    EXPECT_EQ(allelesOf(genotypeOf(first, "3", "1")), "6 8");
    EXPECT_EQ(allelesOf(genotypeOf(first, "2", "0")), "3 4");
    EXPECT_EQ(allelesOf(genotypeOf(first, "1", "1")), "5 6");

    // The three persons' identifiers, links, sex and pointer columns.
    const Person* child = first->getPerson("3");
    const Person* mother = first->getPerson("2");
    const Person* father = first->getPerson("1");
    ASSERT_TRUE(child && mother && father);
    EXPECT_EQ(child->getFatherId(), "1");
    EXPECT_EQ(child->getMotherId(), "2");
    EXPECT_EQ(child->getSex(), "2");
    EXPECT_EQ(child->getFOID(), "0");
    EXPECT_EQ(child->getProbandStatus(), "0");
    EXPECT_TRUE(mother->isFounder());
    EXPECT_EQ(mother->getSex(), "2");
    EXPECT_EQ(mother->getFOID(), "3");
    EXPECT_EQ(mother->getProbandStatus(), "0");
    EXPECT_TRUE(father->isFounder());
    EXPECT_EQ(father->getSex(), "1");
    EXPECT_EQ(father->getFOID(), "3");
    EXPECT_EQ(father->getNPSID(), "0");
    EXPECT_EQ(father->getNMSID(), "0");
    EXPECT_EQ(father->getProbandStatus(), "1");
    ASSERT_NE(child->getPhenotype(phenotype), nullptr);
    EXPECT_EQ(child->getPhenotype(phenotype)->getValue(), "2");

    // Pedigree 3: a rule-Three trio with untyped parents.
    const Pedigree* third = trios->find("3");
    ASSERT_NE(third, nullptr);
    EXPECT_EQ(allelesOf(genotypeOf(third, "3", "0")), "2 2");
    EXPECT_EQ(genotypeOf(third, "1", "0"), nullptr);
    EXPECT_EQ(genotypeOf(third, "2", "0"), nullptr);

    // Pedigree 4: the affected child "4", not the unaffected "3" before it.
    const Pedigree* fourth = trios->find("4");
    ASSERT_NE(fourth, nullptr);
    EXPECT_EQ(allelesOf(genotypeOf(fourth, "3", "0")), "4 3");
    EXPECT_EQ(fourth->getPerson("4"), nullptr);

    // The HRR catalogue counts the nine trio persons only: M1 alleles 1, 2, 3, 4 of
    // pedigree 1 (1 2, 3 4, 2 4), pedigree 3 (2 2) and pedigree 4 (1 4, 2 3, 4 3).
    RBTree<MarkerInfo>* catalogue = pedigrees.getHrrMarkerInfo();
    ASSERT_NE(catalogue, nullptr);
    EXPECT_EQ(catalogue->getName(), "hrrarkersinfo");
    const MarkerInfo* m1 = catalogue->find("0");
    ASSERT_NE(m1, nullptr);
    ASSERT_EQ(m1->getAlleleCount(), 4);
    EXPECT_EQ(m1->getAlleleWithName("1")->getAlleleCount("all"), 2);
    EXPECT_EQ(m1->getAlleleWithName("2")->getAlleleCount("all"), 5);
    EXPECT_EQ(m1->getAlleleWithName("3")->getAlleleCount("all"), 3);
    EXPECT_EQ(m1->getAlleleWithName("4")->getAlleleCount("all"), 4);

    // At M2 pedigree 5's affected child is typed, so pedigree 5 now gives a trio too, and
    // pedigree 1 still gives child "10".
    trios = pedigrees.createHrrPedigreesForMarker(phenotype, "1");
    EXPECT_EQ(pedigrees.getHrrPedigreeCount(), 4);
    EXPECT_NE(trios->find("5"), nullptr);
    EXPECT_EQ(allelesOf(genotypeOf(trios->find("1"), "3", "1")), "6 8");

    // A phenotype nobody has: no trio, an empty tree and an empty catalogue.
    trios = pedigrees.createHrrPedigreesForMarker("NO_SUCH_TRAIT", "0");
    EXPECT_EQ(trios->getCount(), 0);
    EXPECT_EQ(pedigrees.getHrrPedigreeCount(), 0);
    EXPECT_EQ(pedigrees.getHrrPersonCount(), 0);
    EXPECT_EQ(pedigrees.getHrrMarkerInfo()->getCount(), 0);
}

TEST(HrrTrioExtraction, FoundersOfPedigreesWithoutTrioAreTalliedAgainOnEveryCall) {
    ScratchDir dir;
    Pedigrees pedigrees;
    ASSERT_TRUE(hrr_test::load(pedigrees, dir, hrr_test::mapFile({"M1", "M2"}), trioPedigrees()));
    MarkerInfo* m1 = pedigrees.getMarkerInfo()->find("0");
    ASSERT_NE(m1, nullptr);
    EXPECT_EQ(m1->getAffectedSingletons(), 0);

    // At M1 pedigrees 2 and 5 give no trio. Typed founders with a phenotype of 1 or 2:
    // pedigree 2: father "1 1" affected, mother "1 3" unaffected; pedigree 5: mother "2 4"
    // unaffected (the father's affection is unknown).
    pedigrees.createHrrPedigreesForMarker(phenotype, "0");
    EXPECT_EQ(m1->getAffectedSingletons(), 1);
    EXPECT_EQ(m1->getUnaffectedSingletons(), 2);
    EXPECT_EQ(m1->getAlleleWithName("1")->getAffectedSingletons(), 2);
    EXPECT_EQ(m1->getAlleleWithName("1")->getUnaffectedSingletons(), 1);
    EXPECT_EQ(m1->getAlleleWithName("2")->getUnaffectedSingletons(), 1);
    EXPECT_EQ(m1->getAlleleWithName("3")->getUnaffectedSingletons(), 1);
    EXPECT_EQ(m1->getAlleleWithName("4")->getUnaffectedSingletons(), 1);
    EXPECT_EQ(m1->getAlleleWithName("2")->getAffectedSingletons(), 0);

    // A second call for the same marker adds the same tallies again.
    pedigrees.createHrrPedigreesForMarker(phenotype, "0");
    EXPECT_EQ(m1->getAffectedSingletons(), 2);
    EXPECT_EQ(m1->getUnaffectedSingletons(), 4);
    EXPECT_EQ(m1->getAlleleWithName("1")->getAffectedSingletons(), 4);
    EXPECT_EQ(m1->getAlleleWithName("3")->getUnaffectedSingletons(), 2);

    // The other marker's entry is untouched by calls for M1.
    EXPECT_EQ(pedigrees.getMarkerInfo()->find("1")->getAffectedSingletons(), 0);
    EXPECT_EQ(pedigrees.getMarkerInfo()->find("1")->getUnaffectedSingletons(), 0);
}
