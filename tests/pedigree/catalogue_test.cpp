// Allele catalogue (order, new names, counts, frequencies, informativeness); rare-allele merging.

#include "pedigree/family_builder.h"
#include "pedigree/marker_info.h"

using namespace testing_support;
using family_builder::addPersons;
using Names = std::vector<std::string>;

// Allele names in catalogue order, then their new names: "1 2 10 > 1 2 3".
static std::string alleles(const MarkerInfo* entry) {
    std::string names, renamed;
    for (const Allele* a : entry->getAlleles()) names += a->getAlleleName() + " ", renamed += " " + a->getAlleleNewName();
    return names + ">" + renamed;
}

// Copies counted in the groups all, founders, males and females.
static std::vector<int> totals(const MarkerInfo* entry) {
    return {entry->getTotal("all"), entry->getTotal("founders"), entry->getTotal("males"), entry->getTotal("females")};
}

TEST(AlleleCatalogue, OrderNewNamesCountsFrequenciesInformativenessAndXLinkedMales) {
    ScratchDir dir;
    Pedigrees collection;
    family_builder::readMap(collection, dir, 4);
    // Founders 1 (male), 2 (female); children 3 (sex "0") and 4 (male). Marker 0 numeric,
    // marker 1 with one non-numeric name, marker 2 untyped, marker 3 typed only in child 3.
    addPersons(collection, "1", {{"1", "0", "0", "1", {{"10", "2"}, {"10", "A"}}},
                                 {"2", "0", "0", "2", {{"1", "10"}, {"2", "2"}}},
                                 {"3", "1", "2", "0", {{"10", "1"}, {"10", "2"}, {"0", "0"}, {"5", "6"}}},
                                 {"4", "1", "2", "1", {{"2", "10"}, {"A", "3"}}}});
    collection.createMarkerInfo();
    RBTree<MarkerInfo>* catalogue = collection.getMarkerInfo();
    ASSERT_EQ(catalogue->getCount(), 4);
    const MarkerInfo* numeric = catalogue->find("0");
    const MarkerInfo* mixed = catalogue->find("1");
    ASSERT_TRUE(numeric && mixed);
    // Numeric names sort by value; one non-numeric name anywhere gives byte order. New names 1..n.
    EXPECT_EQ(alleles(numeric), "1 2 10 > 1 2 3");
    EXPECT_EQ(alleles(mixed), "10 2 3 A > 1 2 3 4");

    // Four copies in founders, in males (1, 4) and in females (2, and 3 of sex "0").
    EXPECT_EQ(totals(numeric), (std::vector<int>{8, 4, 4, 4}));
    // Allele 1 in all: 2 of 8; allele 2 in males 2 of 4, in females none; 10 in founders 2 of 4.
    EXPECT_EQ((std::vector<double>{numeric->getAlleleFreq(0, "all"), numeric->getAlleleFreq(1, "males"),
                                   numeric->getAlleleFreq(1, "females"), numeric->getAlleleFreqWithName("10", "founders")}),
              (std::vector<double>{0.25, 0.5, 0.0, 0.5}));
    // p = (1/4, 1/4, 1/2): H = 1 - 3/8 = 0.625; PIC = H - 2 (1/256 + 1/64 + 1/64) = 0.5546875.
    EXPECT_DOUBLE_EQ(collection.getHeterozygosity("0"), 0.625);
    EXPECT_DOUBLE_EQ(collection.getPolymorphismInformationContent("0"), 0.5546875);
    // Two equal alleles (5, 6 at marker 3): PIC = 0.5 - 2/16; no founder typed there: frequency 0.
    EXPECT_DOUBLE_EQ(collection.getPolymorphismInformationContent("3"), 0.375);
    EXPECT_DOUBLE_EQ(catalogue->find("3")->getAlleleFreq(0, "founders"), 0.0);
    // An untyped marker is uninformative.
    EXPECT_DOUBLE_EQ(collection.getHeterozygosity("2"), -1.1);
    EXPECT_DOUBLE_EQ(collection.getPolymorphismInformationContent("2"), -1.1);

    // New names for the pedigree file: child 4 is 2/10 at marker 0.
    const Person* child = collection.getPedigrees()->find("1")->getPerson("4");
    EXPECT_EQ(collection.getNewAlleleName("0", child->getAlleleName(0, 0)) +
                  collection.getNewAlleleName("0", child->getAlleleName(0, 1)),
              "23");
    EXPECT_EQ(collection.getNewAlleleName("0", "99"), "-1");
    EXPECT_EQ(collection.getNewAlleleName("7", "1"), "nulli");

    // X-linked: father 1 copy (3), mother 2 (3, 4), son 1 (4); founders count 2 each.
    Pedigrees xlinked;
    family_builder::readMap(xlinked, dir, 1);
    xlinked.setXlinked(true);
    addPersons(xlinked, "1", {{"1", "0", "0", "1", {{"3", "3"}}}, {"2", "0", "0", "2", {{"3", "4"}}},
                              {"3", "1", "2", "1", {{"4", "4"}}}});
    xlinked.createMarkerInfo();
    const MarkerInfo* entry = xlinked.getMarkerInfo()->find("0");
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(totals(entry), (std::vector<int>{4, 4, 2, 2}));
    EXPECT_EQ(entry->getAlleleWithName("3")->getAlleleCount("males"), 1);
    EXPECT_DOUBLE_EQ(entry->getAlleleFreq(0, "founders"), 0.75);
}

TEST(AlleleCollapsing, RareAllelesMergeIntoTheRarestOtherUntilFrequentEnough) {
    ScratchDir dir;
    Pedigrees collection;
    family_builder::readMap(collection, dir, 3);
    // 100,000 founders (200,000 copies per marker). Marker 0: alleles 1, 2, 3 once each,
    // 4 99,998 times, 5 99,999 times; marker 1: 7 once, 8 otherwise; marker 2: x exactly twice.
    Names first{"1", "2", "3"};
    first.insert(first.end(), 99998, "4");
    first.insert(first.end(), 99999, "5");
    for (int k = 0; k < 100000; ++k)
        addPersons(collection, std::to_string(k / 1000),
                   {{std::to_string(k), "0", "0", k % 2 ? "1" : "2",
                     {{first[2 * k], first[2 * k + 1]}, {k ? "8" : "7", "8"}, {k < 2 ? "x" : "y", k % 2 ? "z" : "y"}}}});
    EXPECT_EQ(captureOutput([&] { collection.collapseAlleles(); }), "(Collapsing alleles...)\n");
    // 1 (5e-06) merges into 2, the first of the equally rare others; then 3 (5e-06) is the
    // rarest and merges into 2 (1e-05); 2 at 1.5e-05 is frequent enough.
    const MarkerInfo* merged = collection.getMarkerInfo()->find("0");
    ASSERT_NE(merged, nullptr);
    EXPECT_EQ(alleles(merged), "2 4 5 > 1 2 3");
    EXPECT_EQ(merged->getAlleleWithName("2")->getAlleleCount("all"), 3);
    const Pedigree* pedigree0 = collection.getPedigrees()->find("0");
    const Person* was12 = pedigree0->getPerson("0");
    const Person* was34 = pedigree0->getPerson("1");
    EXPECT_EQ(was12->getAlleleName(0, 0) + was12->getAlleleName(0, 1) + " " + was34->getAlleleName(0, 0) +
                  was34->getAlleleName(0, 1),
              "22 24");
    // Two alleles are never merged, however rare one is; exactly 1e-05 is not below the minimum.
    EXPECT_EQ(alleles(collection.getMarkerInfo()->find("1")), "7 8 > 1 2");
    EXPECT_EQ(pedigree0->getPerson("0")->getAlleleName(1, 0), "7");
    EXPECT_EQ(alleles(collection.getMarkerInfo()->find("2")), "x y z > 1 2 3");
}
