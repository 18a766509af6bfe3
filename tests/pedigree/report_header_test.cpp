#include <gtest/gtest.h>

#include <regex>
#include <string>

#include "input/linkage_locus_file.h"
#include "model/pedigrees.h"
#include "pedigree/family_builder.h"

namespace {

// "Date : " and the 24 characters of a ctime date, e.g. "Date : Mon Nov 16 20:30:00 2026".
const std::size_t dateLineLength = 7 + 24;

void expectDateLine(const std::string& header) {
    ASSERT_GE(header.size(), dateLineLength + 2);
    static const std::regex date("Date : [A-Z][a-z]{2} [A-Z][a-z]{2} [ 0-9][0-9] [0-9]{2}:[0-9]{2}:[0-9]{2} [0-9]{4}");
    EXPECT_TRUE(std::regex_match(header.substr(0, dateLineLength), date)) << header.substr(0, dateLineLength);
}

// Two pedigrees with 3 and 2 persons.
void addFamilies(Pedigrees& collection) {
    family_builder::addPerson(collection, "1", "1", "0", "0", "1");
    family_builder::addPerson(collection, "1", "2", "0", "0", "2");
    family_builder::addPerson(collection, "1", "3", "1", "2", "1");
    family_builder::addPerson(collection, "2", "1", "0", "0", "1");
    family_builder::addPerson(collection, "2", "2", "0", "0", "2");
}

Locus* diseaseLocus(bool withMales) {
    auto* locus = new Locus("DISEASE_LOCUS_1", 1, 2);
    locus->addAlleleFrequencies({0.999, 0.001});
    locus->setFemalePenetrances({0.01, 0.8, 0.95});
    if (withMales) locus->setMalePenetrances({0.02, 0.9});
    return locus;
}

const std::string doubleRule(63, '=');
const std::string singleRule(63, '-');

// The description of diseaseLocus() as laid out for the report: class and penetrances in
// fields of 15, each penetrance followed by a blank.
std::string expectedDescription(bool xlinked) {
    std::string text = doubleRule + "\n" + "Disease allele frequency: P(D) = 0.001\n" +
                       "Liability class  P(Affected|++)  P(Affected|D+)  P(Affected|DD)\n" + singleRule + "\n" +
                       std::string(14, ' ') + "1" + std::string(11, ' ') + "0.01 " + std::string(12, ' ') + "0.8 " +
                       std::string(11, ' ') + "0.95 \n";
    if (xlinked)
        text += std::string(15, ' ') + std::string(11, ' ') + "0.02 " + std::string(12, ' ') + "0.9 " + " (males)\n";
    return text + doubleRule + "\n\n";
}

}  // namespace

TEST(CommonHeader, PedigreeMapAndModelRunListsOnlyTheirFiles) {
    Pedigrees collection;
    addFamilies(collection);
    collection.setPedigreeFileName("family.ped");
    collection.setMapFileName("chr1.map");
    collection.setModelFileName("disease.model");

    const std::string header = collection.getCommonHeader();
    expectDateLine(header);
    EXPECT_EQ(header.substr(dateLineLength),
              "\n\n"
              "Input files\n"
              "========================\n"
              "Pedigree file          : family.ped\n"
              "  # pedigrees          : 2\n"
              "  # persons            : 5\n"
              "Map file               : chr1.map\n"
              "Model file             : disease.model\n"
              "\n\n\n");

    // Asking twice changes nothing but the clock.
    EXPECT_EQ(collection.getCommonHeader().substr(dateLineLength), header.substr(dateLineLength));

    Pedigrees empty;
    EXPECT_EQ(empty.getCommonHeader().substr(dateLineLength),
              "\n\nInput files\n========================\n"
              "Pedigree file          : \n"
              "  # pedigrees          : 0\n"
              "  # persons            : 0\n"
              "\n\n\n");
}

TEST(CommonHeader, FirstLocusDescribesTheDiseaseModel) {
    Pedigrees autosomal;
    addFamilies(autosomal);
    autosomal.setPedigreeFileName("family.ped");
    autosomal.setLocusFileName("model.dat");
    autosomal.getLinkageLocusFile()->addLocus(diseaseLocus(false));
    autosomal.getLinkageLocusFile()->addLocus(new Locus("1", 3, 2));

    std::string header = autosomal.getCommonHeader();
    expectDateLine(header);
    EXPECT_EQ(header.substr(dateLineLength),
              "\n\n"
              "Input files\n"
              "========================\n"
              "Pedigree file          : family.ped\n"
              "  # pedigrees          : 2\n"
              "  # persons            : 5\n"
              "Linkage locus file     : model.dat\n"
              "\n"
              "Parameters used in analysis:\n" +
                  expectedDescription(false) + "\n\n" + "\n\n\n");

    // X-linked data add the male penetrances; every file name set appears in fixed order.
    Pedigrees xlinked;
    addFamilies(xlinked);
    xlinked.setXlinked(true);
    xlinked.setPedigreeFileName("family.ped");
    xlinked.setPhenotypeFileName("traits.phe");
    xlinked.setModelFileName("disease.model");
    xlinked.setMapFileName("chrX.map");
    xlinked.setLocusFileName("model.dat");
    xlinked.getLinkageLocusFile()->addLocus(diseaseLocus(true));
    header = xlinked.getCommonHeader();
    EXPECT_EQ(header.substr(dateLineLength),
              "\n\n"
              "Input files\n"
              "========================\n"
              "Pedigree file          : family.ped\n"
              "  # pedigrees          : 2\n"
              "  # persons            : 5\n"
              "Linkage locus file     : model.dat\n"
              "Map file               : chrX.map\n"
              "Model file             : disease.model\n"
              "Phenotype file         : traits.phe\n"
              "\n"
              "Parameters used in analysis:\n" +
                  expectedDescription(true) + "\n\n" + "\n\n\n");

    // A locus file starting with a marker locus still gets the parameter section.
    Pedigrees markerFirst;
    markerFirst.setPedigreeFileName("family.ped");
    markerFirst.getLinkageLocusFile()->addLocus(new Locus("0", 3, 2));
    const std::string tail = "\nParameters used in analysis:\nThis is not disease locus\n\n\n\n\n";
    header = markerFirst.getCommonHeader();
    ASSERT_GE(header.size(), tail.size());
    EXPECT_EQ(header.substr(header.size() - tail.size()), tail);
}
