// TDT trios and affected sib pairs: which persons of a pedigree form them, and the records
// of the copies.

#include "association/trio_files.h"
#include "model/pedigrees.h"
#include "pedigree/marker_info.h"
#include "support/test_support.h"

using namespace testing_support;
using namespace trio_files;

namespace {

// "pedigree: member genotype, ..." per derived pedigree, members in identifier order.
std::string describe(const RBTree<Pedigree>* set) {
    std::string text;
    set->forEach([&](const Pedigree* pedigree) {
        text += pedigree->getPedigreeId() + ":";
        pedigree->getPersonTree()->forEach([&](const Person* person) {
            text += " " + person->getPersonId() + "=" +
                    (person->isTyped(0) ? person->getAlleleName(0, 0) + person->getAlleleName(0, 1) : "untyped");
        });
        text += "; ";
    });
    return text;
}

}  // namespace

TEST(DerivedSets, TdtTriosNeedHeterozygousParentsSibPairsNeedFullSibs) {
    std::string p;
    // 1: homozygous father: no TDT trio. Affected, typed sons 3 and 4: a sib pair.
    p += person("1", "1", "0", "0", "1", "1", {"1 1"}) + person("1", "2", "0", "0", "2", "1", {"1 2"}) +
         person("1", "3", "1", "2", "1", "2", {"1 2"}) + person("1", "4", "1", "2", "1", "2", {"1 1"});
    // 2: heterozygous parents; child 3 unaffected, 4 and 5 affected: the trio of 4, the pair 4 and 5.
    p += person("2", "1", "0", "0", "1", "1", {"1 2"}) + person("2", "2", "0", "0", "2", "1", {"2 3"}) +
         person("2", "3", "1", "2", "1", "1", {"1 2"}) + person("2", "4", "1", "2", "2", "2", {"2 3"}) +
         person("2", "5", "1", "2", "1", "2", {"1 3"});
    // 3: half-sibs 3 (of 1 and 2) and 4 (of 1 and 5), both affected and typed: no sib pair;
    //    3 has heterozygous parents: a TDT trio.
    p += person("3", "1", "0", "0", "1", "1", {"1 2"}) + person("3", "2", "0", "0", "2", "1", {"1 3"}) +
         person("3", "5", "0", "0", "2", "1", {"2 2"}) + person("3", "3", "1", "2", "1", "2", {"1 1"}) +
         person("3", "4", "1", "5", "2", "2", {"2 2"});
    // 4: untyped parents: no TDT trio; the affected, typed sibs still form a pair.
    p += person("4", "1", "0", "0", "1", "1", {"0 0"}) + person("4", "2", "0", "0", "2", "1", {"0 0"}) +
         person("4", "3", "1", "2", "1", "2", {"1 2"}) + person("4", "4", "1", "2", "2", "2", {"1 1"});
    // 5: the first affected child is untyped; its typed sib forms no pair alone, but the TDT
    //    trio is the sib's.
    p += person("5", "1", "0", "0", "1", "1", {"1 2"}) + person("5", "2", "0", "0", "2", "1", {"1 3"}) +
         person("5", "3", "1", "2", "1", "2", {"0 0"}) + person("5", "4", "1", "2", "2", "2", {"2 3"});
    ScratchDir dir;
    Pedigrees pedigrees;
    ASSERT_TRUE(load(pedigrees, dir, mapFile({"M1"}), p));

    const RBTree<Pedigree>* tdt = pedigrees.createTdtPedigreesForMarker("DISEASE_LOCUS", "0");
    EXPECT_EQ(describe(tdt), "2: 1=12 2=23 3=23; 3: 1=12 2=13 3=11; 5: 1=12 2=13 3=23; ");
    EXPECT_EQ(pedigrees.getTdtPedigreeCount(), 3);
    EXPECT_EQ(pedigrees.getTdtPersonCount(), 9);
    // The set's own catalogue: allele 1 in 1+0+0, 1+1+2, 1+1+0 copies; 3 in 0+1+1, 0+1+0, 0+1+1.
    const MarkerInfo* entry = pedigrees.getTdtMarkerInfo()->find("0");
    ASSERT_NE(entry, nullptr);
    ASSERT_EQ(entry->getAlleleCount(), 3);
    EXPECT_EQ(entry->getAlleleWithName("1")->getAlleleCount("all"), 7);
    EXPECT_EQ(entry->getAlleleWithName("3")->getAlleleCount("all"), 5);

    const RBTree<Pedigree>* pairs = pedigrees.createSibPairPedigreesForMarker("DISEASE_LOCUS", "0");
    EXPECT_EQ(describe(pairs), "1: 1=11 2=12 3=12 4=11; 2: 1=12 2=23 3=23 4=13; 4: 1=untyped 2=untyped 3=12 4=11; ");
    EXPECT_EQ(pedigrees.getSibPairPedigreeCount(), 3);
    EXPECT_EQ(pedigrees.getSibPairPersonCount(), 12);
    // The copies: the sibs are children of "1" and "2", "3" points to "4" as its next sib,
    // the parents to "3" as their first child; the father is the proband.
    const Pedigree* pair = pairs->find("2");
    ASSERT_NE(pair, nullptr);
    const Person* first = pair->getPerson("3");
    EXPECT_EQ(first->getFatherId() + first->getMotherId() + first->getNPSID() + first->getNMSID() + first->getSex(),
              "12442");
    EXPECT_EQ(pair->getPerson("4")->getSex(), "1");
    EXPECT_EQ(pair->getPerson("1")->getFOID() + pair->getPerson("1")->getProbandStatus(), "31");
    EXPECT_EQ(pair->getPerson("2")->getFOID() + pair->getPerson("2")->getProbandStatus(), "30");
    ASSERT_NE(first->getPhenotype("DISEASE_LOCUS"), nullptr);
    EXPECT_EQ(first->getPhenotype("DISEASE_LOCUS")->getValue(), "2");

    // Another marker key replaces the sets: nobody is typed at a marker key "1".
    EXPECT_EQ(pedigrees.createTdtPedigreesForMarker("DISEASE_LOCUS", "1")->getCount(), 0);
    EXPECT_EQ(pedigrees.createSibPairPedigreesForMarker("DISEASE_LOCUS", "1")->getCount(), 0);
    EXPECT_EQ(pedigrees.getSibPairPersonCount(), 0);
}
