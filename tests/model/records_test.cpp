#include "model/records.h"
#include "support/test_support.h"

TEST(Person, FixedColumnsDependOnThePointerColumns) {
    Person pre("F1", "3", "1", "2", "2");
    EXPECT_EQ(pre.getFOID(), "-999");
    EXPECT_EQ(pre.getPersonInfo(), "F1\t3\t1\t2\t2\t");
    EXPECT_FALSE(pre.isUsedAsChild());
    EXPECT_FALSE(pre.isUsedAsParent());
    EXPECT_FALSE(pre.isFounder());

    Person post("F1", "1", "0", "0", "1");
    post.setFOID("3");
    post.setNPSID("0");
    post.setNMSID("0");
    post.setProbandStatus("1");
    EXPECT_EQ(post.getPersonInfo(), "F1\t1\t0\t0\t3\t0\t0\t1\t1\t");
    EXPECT_TRUE(post.isFounder());
}

TEST(Person, GenotypesAndPhenotypesByKeyAndIndex) {
    Person person("7", "12", "0", "0", "1");
    ASSERT_TRUE(person.addMarker(new Marker("3", "1", "2", true)));
    ASSERT_TRUE(person.addMarker(new Marker("10", "4", "4", true)));
    Marker* duplicate = new Marker("3", "9", "9", true);
    EXPECT_FALSE(person.addMarker(duplicate));
    delete duplicate;
    EXPECT_EQ(person.getMarkerTree()->getCount(), 2);

    Marker* byKey = person.getMarker("3");
    ASSERT_NE(byKey, nullptr);
    EXPECT_EQ(byKey->getAllele(0), "1");
    EXPECT_EQ(byKey->getAllele(1), "2");
    EXPECT_EQ(person.getMarkerWithIndex("3"), byKey);
    EXPECT_EQ(person.getMarkerWithIndex("10"), person.getMarker("10"));
    EXPECT_EQ(person.getMarkerWithIndex("1"), nullptr);
    EXPECT_EQ(person.getMarker("1"), nullptr);

    // The index lookup compares the index field, not the tree key.
    person.getMarker("10")->setIndex("5");
    EXPECT_EQ(person.getMarkerWithIndex("5"), person.getMarker("10"));
    EXPECT_EQ(person.getMarkerWithIndex("10"), nullptr);

    ASSERT_TRUE(person.addPhenotype(new Phenotype("DISEASE_LOCUS", "2")));
    ASSERT_NE(person.getPhenotype("DISEASE_LOCUS"), nullptr);
    EXPECT_EQ(person.getPhenotype("DISEASE_LOCUS")->getValue(), "2");
    EXPECT_EQ(person.getPhenotype("LIABILITY_CLASS"), nullptr);
}

TEST(Pedigree, PersonsAreUniqueWithinAPedigree) {
    Pedigree pedigree("5");
    ASSERT_TRUE(pedigree.addPerson(new Person("5", "1", "0", "0", "1")));
    Person* again = new Person("5", "1", "0", "0", "2");
    EXPECT_FALSE(pedigree.addPerson(again));
    delete again;
    EXPECT_FALSE(pedigree.addPerson(nullptr));
    EXPECT_EQ(pedigree.getPersonTree()->getCount(), 1);
    ASSERT_NE(pedigree.getPerson("1"), nullptr);
    EXPECT_EQ(pedigree.getPerson("1")->getSex(), "1");
    EXPECT_EQ(pedigree.getPerson("2"), nullptr);
}

TEST(MapMarker, NameChromosomeAndPosition) {
    Marker marker("D1S243", "1", "12.5cM", false);
    EXPECT_EQ(marker.key, "D1S243");
    EXPECT_EQ(marker.getName(), "D1S243");
    EXPECT_EQ(marker.getChromosome(), "1");
    EXPECT_DOUBLE_EQ(marker.getPosition(), 12.5);
    marker.setPosition("none");
    EXPECT_DOUBLE_EQ(marker.getPosition(), 0.0);
}

TEST(Allele, CountsPerGroupIgnoreUnknownGroups) {
    Allele allele("4");
    allele.addCount("all");
    allele.addCount("all");
    allele.addCount("founders");
    allele.addCount("males");
    allele.addCount("unknown");
    allele.addCount("All");
    EXPECT_EQ(allele.getAlleleCount("all"), 2);
    EXPECT_EQ(allele.getAlleleCount("founders"), 1);
    EXPECT_EQ(allele.getAlleleCount("males"), 1);
    EXPECT_EQ(allele.getAlleleCount("females"), 0);
    EXPECT_EQ(allele.getAlleleCount("unknown"), 0);
    EXPECT_EQ(allele.getAlleleNewName(), "");
}
