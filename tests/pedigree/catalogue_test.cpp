// Allele catalogue (order, new names, counts per group, X-linked males, frequencies,
// informativeness, genotype tables) and the merging of very rare alleles.

#include <string>
#include <vector>

#include "model/pedigrees.h"
#include "pedigree/marker_info.h"
#include "pedigree/family_builder.h"
#include "support/test_support.h"

using namespace testing_support;
using family_builder::addPerson;

namespace {

std::vector<std::string> alleleNames(const MarkerInfo* entry) {
    std::vector<std::string> names;
    for (const Allele* allele : entry->getAlleles()) names.push_back(allele->getAlleleName());
    return names;
}

std::vector<std::string> newNames(const MarkerInfo* entry) {
    std::vector<std::string> names;
    for (const Allele* allele : entry->getAlleles()) names.push_back(allele->getAlleleNewName());
    return names;
}

// Founders 1 (male) and 2 (female); children 3 (sex "0") and 4 (male). Markers:
//   0: 10/2, 1/10, 10/1, 2/10   (numeric names)
//   1: 10/A, 2/2, 10/2, A/3     (one non-numeric name; 3 only in a non-founder)
//   2: nobody typed
//   3: only child 3, 5/6        (no founder and no male typed)
void addFamily(Pedigrees& collection) {
    addPerson(collection, "1", "1", "0", "0", "1", {{"10", "2"}, {"10", "A"}, {"0", "0"}, {"0", "0"}});
    addPerson(collection, "1", "2", "0", "0", "2", {{"1", "10"}, {"2", "2"}, {"0", "0"}, {"0", "0"}});
    addPerson(collection, "1", "3", "1", "2", "0", {{"10", "1"}, {"10", "2"}, {"0", "0"}, {"5", "6"}});
    addPerson(collection, "1", "4", "1", "2", "1", {{"2", "10"}, {"A", "3"}, {"0", "0"}, {"0", "0"}});
}

}  // namespace

TEST(AlleleCatalogue, OrderNewNamesCountsAndFrequencies) {
    ScratchDir dir;
    Pedigrees collection;
    family_builder::readMap(collection, dir, 4);
    addFamily(collection);
    collection.createMarkerInfo();
    RBTree<MarkerInfo>* catalogue = collection.getMarkerInfo();
    EXPECT_EQ(catalogue->getName(), "markersinfo");
    ASSERT_EQ(catalogue->getCount(), 4);

    // Numeric names sort by value and are renumbered 1..n.
    const MarkerInfo* numeric = catalogue->find("0");
    ASSERT_NE(numeric, nullptr);
    EXPECT_EQ(alleleNames(numeric), (std::vector<std::string>{"1", "2", "10"}));
    EXPECT_EQ(newNames(numeric), (std::vector<std::string>{"1", "2", "3"}));
    // Eight copies: four founder copies, four in males (1 and 4), four in females (2, and 3 of sex "0").
    EXPECT_EQ(numeric->getTotal("all"), 8);
    EXPECT_EQ(numeric->getTotal("founders"), 4);
    EXPECT_EQ(numeric->getTotal("males"), 4);
    EXPECT_EQ(numeric->getTotal("females"), 4);
    const Allele* ten = numeric->getAlleleWithName("10");
    ASSERT_NE(ten, nullptr);
    EXPECT_EQ(ten->getAlleleCount("all"), 4);
    EXPECT_EQ(ten->getAlleleCount("founders"), 2);
    EXPECT_EQ(ten->getAlleleCount("males"), 2);
    EXPECT_EQ(ten->getAlleleCount("females"), 2);
    EXPECT_DOUBLE_EQ(numeric->getAlleleFreq(0, "all"), 0.25);      // allele 1
    EXPECT_DOUBLE_EQ(numeric->getAlleleFreq(1, "males"), 0.5);     // allele 2
    EXPECT_DOUBLE_EQ(numeric->getAlleleFreq(1, "females"), 0.0);
    EXPECT_DOUBLE_EQ(numeric->getAlleleFreqWithName("10", "founders"), 0.5);
    EXPECT_DOUBLE_EQ(numeric->getAlleleFreq(3, "all"), -1.0);
    EXPECT_DOUBLE_EQ(numeric->getAlleleFreq(0, "parents"), -1.0);
    EXPECT_DOUBLE_EQ(numeric->getAlleleFreqWithName("7", "all"), -1.0);
    EXPECT_TRUE(numeric->hasFoundersAllAlleles());

    // One non-numeric name anywhere: byte order, "10" before "2".
    const MarkerInfo* mixed = catalogue->find("1");
    ASSERT_NE(mixed, nullptr);
    EXPECT_EQ(alleleNames(mixed), (std::vector<std::string>{"10", "2", "3", "A"}));
    EXPECT_EQ(newNames(mixed), (std::vector<std::string>{"1", "2", "3", "4"}));
    EXPECT_FALSE(mixed->hasFoundersAllAlleles());  // 3 only in child 4
    EXPECT_FALSE(mixed->hasAllAlleles("males"));   // 2 only in the mother and child 3
    EXPECT_TRUE(mixed->hasAllAlleles("all"));

    // Untyped marker: an entry without alleles, uninformative.
    const MarkerInfo* untyped = catalogue->find("2");
    ASSERT_NE(untyped, nullptr);
    EXPECT_EQ(untyped->getAlleleCount(), 0);
    EXPECT_DOUBLE_EQ(untyped->getAlleleFreq(0, "all"), -1.0);
    EXPECT_DOUBLE_EQ(collection.getHeterozygosity("2"), -1.1);
    EXPECT_DOUBLE_EQ(collection.getPolymorphismInformationContent("2"), -1.1);
    EXPECT_DOUBLE_EQ(collection.getHeterozygosity("9"), -1.1);

    // A group never counted gives frequency 0, not a division by zero.
    const MarkerInfo* childOnly = catalogue->find("3");
    ASSERT_NE(childOnly, nullptr);
    EXPECT_EQ(childOnly->getTotal("founders"), 0);
    EXPECT_DOUBLE_EQ(childOnly->getAlleleFreq(0, "founders"), 0.0);
    EXPECT_DOUBLE_EQ(childOnly->getAlleleFreq(0, "males"), 0.0);
    EXPECT_DOUBLE_EQ(childOnly->getAlleleFreq(0, "all"), 0.5);

    // p = (1/4, 1/4, 1/2): H = 1 - 3/8 = 0.625;
    // PIC = H - 2 (1/16*1/16 + 1/16*1/4 + 1/16*1/4) = 0.625 - 0.0703125.
    EXPECT_DOUBLE_EQ(collection.getHeterozygosity("0"), 0.625);
    EXPECT_DOUBLE_EQ(collection.getPolymorphismInformationContent("0"), 0.5546875);
    // Two equally frequent alleles (5 and 6 at marker 3): H = 0.5, PIC = 0.5 - 2/16 = 0.375.
    EXPECT_DOUBLE_EQ(collection.getPolymorphismInformationContent("3"), 0.375);

    // New names for the pedigree file: child 4 is 2/10 at marker 0.
    const Marker* genotype = collection.getPedigrees()->find("1")->getPerson("4")->getMarker("0");
    EXPECT_EQ(collection.getNewAlleleName(0, genotype), "2");
    EXPECT_EQ(collection.getNewAlleleName(1, genotype), "3");
    const Marker unknownAllele("0", "99", "1", true);
    EXPECT_EQ(collection.getNewAlleleName(0, &unknownAllele), "-1");
    const Marker unknownMarker("7", "1", "1", true);
    EXPECT_EQ(collection.getNewAlleleName(0, &unknownMarker), "nulli");

    // A rebuild starts from scratch rather than adding to the old counts.
    collection.createMarkerInfo();
    EXPECT_EQ(collection.getMarkerInfo()->find("0")->getTotal("all"), 8);
}

TEST(AlleleCatalogue, XLinkedMalesCountOneCopyExceptAmongFounders) {
    ScratchDir dir;
    Pedigrees collection;
    family_builder::readMap(collection, dir, 1);
    collection.setXlinked(true);
    addPerson(collection, "1", "1", "0", "0", "1", {{"3", "3"}});
    addPerson(collection, "1", "2", "0", "0", "2", {{"3", "4"}});
    addPerson(collection, "1", "3", "1", "2", "1", {{"4", "4"}});
    collection.createMarkerInfo();
    const MarkerInfo* entry = collection.getMarkerInfo()->find("0");
    ASSERT_NE(entry, nullptr);
    // Father 1 copy, mother 2, son 1.
    EXPECT_EQ(entry->getTotal("all"), 4);
    EXPECT_EQ(entry->getTotal("males"), 2);
    EXPECT_EQ(entry->getTotal("females"), 2);
    EXPECT_EQ(entry->getTotal("founders"), 4);
    const Allele* three = entry->getAlleleWithName("3");
    ASSERT_NE(three, nullptr);
    EXPECT_EQ(three->getAlleleCount("all"), 2);
    EXPECT_EQ(three->getAlleleCount("males"), 1);
    EXPECT_EQ(three->getAlleleCount("founders"), 3);
    EXPECT_DOUBLE_EQ(entry->getAlleleFreq(0, "founders"), 0.75);
    EXPECT_DOUBLE_EQ(entry->getAlleleFreq(1, "all"), 0.5);

    // The same family autosomal: every person two copies.
    Pedigrees autosomal;
    family_builder::readMap(autosomal, dir, 1);
    addPerson(autosomal, "1", "1", "0", "0", "1", {{"3", "3"}});
    autosomal.createMarkerInfo();
    EXPECT_EQ(autosomal.getMarkerInfo()->find("0")->getAlleleWithName("3")->getAlleleCount("males"), 2);
}

TEST(AlleleCatalogue, GenotypeCountsAndExpectations) {
    ScratchDir dir;
    Pedigrees collection;
    family_builder::readMap(collection, dir, 4);
    addFamily(collection);
    collection.createMarkerInfo();
    collection.countMarkersGenotypes("0");
    collection.countMarkersGenotypes("3");
    collection.countMarkersGenotypes("42");  // no such entry: nothing happens

    // Marker 0: alleles 1, 2, 10 with "all" frequencies 1/4, 1/4, 1/2 from 4 persons;
    // mother and child 3 are 1/10, father and child 4 are 2/10.
    const MarkerInfo* entry = collection.getMarkerInfo()->find("0");
    const std::vector<Genotype*> genotypes = entry->getGenotypes();
    ASSERT_EQ(genotypes.size(), 6u);
    const std::vector<std::string> names{"1/1", "1/2", "1/10", "2/2", "2/10", "10/10"};
    const std::vector<int> all{0, 0, 2, 0, 2, 0};
    const std::vector<int> founders{0, 0, 1, 0, 1, 0};
    const std::vector<double> frequency{1.0 / 16, 1.0 / 8, 1.0 / 4, 1.0 / 16, 1.0 / 4, 1.0 / 4};
    for (size_t i = 0; i < genotypes.size(); ++i) {
        SCOPED_TRACE(names[i]);
        EXPECT_EQ(genotypes[i]->getGenotypeName(), names[i]);
        EXPECT_EQ(genotypes[i]->getGenotypeCount("all"), all[i]);
        EXPECT_EQ(genotypes[i]->getGenotypeCount("founders"), founders[i]);
        EXPECT_DOUBLE_EQ(genotypes[i]->getGenotypeFreq("all"), frequency[i]);
        EXPECT_DOUBLE_EQ(genotypes[i]->getExpectedGenotypeCount("all"), 4 * frequency[i]);
        EXPECT_DOUBLE_EQ(genotypes[i]->getExpectedGenotypeCount("founders"), 2 * frequency[i]);
    }
    EXPECT_EQ(genotypes[2]->getAllele(0), "1");
    EXPECT_EQ(genotypes[2]->getAllele(1), "10");
    EXPECT_EQ(genotypes[2]->getAllele(2), "error");
    // (2 - 1)^2 / 1 for 1/10; the sum over all six is 0.25 + 0.5 + 1 + 0.25 + 1 + 1.
    EXPECT_DOUBLE_EQ(genotypes[2]->getChi2("all"), 1.0);
    EXPECT_DOUBLE_EQ(genotypes[2]->getChi2("founders"), 0.5);
    EXPECT_DOUBLE_EQ(entry->getGenotypeCount("all"), 4.0);
    EXPECT_DOUBLE_EQ(entry->getExpectedGenotypeCount("all"), 4.0);
    EXPECT_DOUBLE_EQ(entry->getChi2Count("all"), 4.0);
    EXPECT_DOUBLE_EQ(entry->getChi2Count("founders"), 2.0);
    EXPECT_EQ(genotypes[0]->getGenotypeCount("males"), -1);
    EXPECT_DOUBLE_EQ(genotypes[0]->getExpectedGenotypeCount("males"), -11.111);
    EXPECT_DOUBLE_EQ(genotypes[0]->getChi2("males"), -11.11);

    // Marker 3 has no typed founder: founder expectations are 0, so founder chi-squares are undefined.
    const MarkerInfo* childOnly = collection.getMarkerInfo()->find("3");
    const std::vector<Genotype*> childGenotypes = childOnly->getGenotypes();
    ASSERT_EQ(childGenotypes.size(), 3u);
    EXPECT_DOUBLE_EQ(childGenotypes[1]->getChi2("founders"), -777.0);
    EXPECT_LT(childOnly->getChi2Count("founders"), 0.0);
    // 5/5: expected 1 * 1/4, observed 0: chi-square 0.25; 5/6: expected 0.5, observed 1: 0.5.
    EXPECT_DOUBLE_EQ(childGenotypes[0]->getChi2("all"), 0.25);
    EXPECT_DOUBLE_EQ(childOnly->getChi2Count("all"), 0.25 + 0.5 + 0.25);

    // A genotype never given an expectation has an undefined chi-square.
    const Genotype fresh("1", "2");
    EXPECT_DOUBLE_EQ(fresh.getChi2("all"), -666.0);
    EXPECT_EQ(fresh.getGenotypeName(), "1/2");
}

namespace {

// 100,000 founders typed at three markers (200,000 copies each):
//   0: alleles 1, 2, 3 once each, 4 99,998 times, 5 99,999 times;
//   1: allele 7 once, 8 otherwise (two alleles);
//   2: allele x twice (exactly 1e-05), y and z otherwise.
void addLargeSample(Pedigrees& collection) {
    std::vector<std::string> first;
    first.insert(first.end(), {"1", "2", "3"});
    first.insert(first.end(), 99998, "4");
    first.insert(first.end(), 99999, "5");
    const int persons = 100000;
    for (int k = 0; k < persons; ++k) {
        const std::string pedigree = std::to_string(k / 1000);
        const std::string second0 = k == 0 ? "7" : "8";
        const std::string third0 = k == 0 ? "x" : (k == 1 ? "x" : "y");
        addPerson(collection, pedigree, std::to_string(k), "0", "0", k % 2 ? "1" : "2",
                  {{first[2 * k], first[2 * k + 1]}, {second0, "8"}, {third0, k % 2 ? "z" : "y"}});
    }
}

}  // namespace

TEST(AlleleCollapsing, RareAllelesMergeIntoTheRarestOtherUntilFrequentEnough) {
    ScratchDir dir;
    Pedigrees collection;
    family_builder::readMap(collection, dir, 3);
    addLargeSample(collection);
    const std::string output = captureOutput([&] { collection.collapseAlleles(); });
    EXPECT_EQ(output, "(Collapsing alleles...)\n");

    // 1 (5e-06) merges into 2, the first of the equally rare others; then 3 (5e-06) is the
    // rarest and merges into 2 (1e-05); 2 at 1.5e-05 is frequent enough.
    const MarkerInfo* merged = collection.getMarkerInfo()->find("0");
    ASSERT_NE(merged, nullptr);
    EXPECT_EQ(alleleNames(merged), (std::vector<std::string>{"2", "4", "5"}));
    EXPECT_EQ(newNames(merged), (std::vector<std::string>{"1", "2", "3"}));
    EXPECT_EQ(merged->getAlleleWithName("2")->getAlleleCount("all"), 3);
    EXPECT_EQ(merged->getAlleleWithName("4")->getAlleleCount("all"), 99998);
    const Pedigree* firstPedigree = collection.getPedigrees()->find("0");
    const Marker* person0 = firstPedigree->getPerson("0")->getMarker("0");  // was 1/2
    EXPECT_EQ(person0->getAllele(0), "2");
    EXPECT_EQ(person0->getAllele(1), "2");
    const Marker* person1 = firstPedigree->getPerson("1")->getMarker("0");  // was 3/4
    EXPECT_EQ(person1->getAllele(0), "2");
    EXPECT_EQ(person1->getAllele(1), "4");

    // Two alleles are never merged, however rare one is.
    const MarkerInfo* twoAlleles = collection.getMarkerInfo()->find("1");
    EXPECT_EQ(alleleNames(twoAlleles), (std::vector<std::string>{"7", "8"}));
    EXPECT_EQ(firstPedigree->getPerson("0")->getMarker("1")->getAllele(0), "7");

    // A frequency of exactly 1e-05 is not below the minimum.
    EXPECT_EQ(alleleNames(collection.getMarkerInfo()->find("2")), (std::vector<std::string>{"x", "y", "z"}));
}
