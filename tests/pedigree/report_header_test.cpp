// The header common to every report: date, input files and the disease model.

#include <regex>

#include "driver/utilities.h"
#include "input/linkage_locus_file.h"
#include "pedigree/family_builder.h"

TEST(CommonHeader, InputFilesAndTheDiseaseModel) {
    Pedigrees collection;
    family_builder::addPersons(collection, "1", {{"1", "0", "0", "1"}, {"2", "0", "0", "2"}, {"3", "1", "2", "1"}});
    family_builder::addPersons(collection, "2", {{"1", "0", "0", "1"}, {"2", "0", "0", "2"}});
    collection.setPedigreeFileName("family.ped");
    collection.setModelFileName("disease.model");
    setRandomSeed(7);
    // "Date : " and the 24 characters of a ctime date, then the files set, in fixed order.
    const std::regex date("Date : [A-Z][a-z]{2} [A-Z][a-z]{2} [ 0-9][0-9] [0-9]{2}:[0-9]{2}:[0-9]{2} [0-9]{4}\n[\\s\\S]*");
    const std::string files = "\n\nInput files\n========================\nPedigree file          : family.ped\n"
                              "  # pedigrees          : 2\n  # persons            : 5\n";
    std::string header = collection.getCommonHeader();
    EXPECT_TRUE(std::regex_match(header, date)) << header;
    const std::string reproduction = "Allele frequencies     : all persons\nRandom seed            : 7\n";
    EXPECT_EQ(header.substr(31), files + "Model file             : disease.model\n" + reproduction + "\n\n\n");

    // A disease locus first: class and penetrances in fields of 15, each followed by a blank.
    collection.setLocusFileName("model.dat");
    auto* disease = new Locus("DISEASE_LOCUS_1", 1, 2);
    disease->addAlleleFrequencies({0.999, 0.001});
    disease->setFemalePenetrances({0.01, 0.8, 0.95});
    collection.getLinkageLocusFile()->addLocus(disease);
    const std::string doubleRule(63, '='), singleRule(63, '-');
    header = collection.getCommonHeader();
    EXPECT_EQ(header.substr(31), files + "Linkage locus file     : model.dat\nModel file             : disease.model\n" +
                                     reproduction + "\nParameters used in analysis:\n" + doubleRule +
                                     "\nDisease allele frequency: P(D) = 0.001\n" +
                                     "Liability class  P(Affected|++)  P(Affected|D+)  P(Affected|DD)\n" + singleRule +
                                     "\n              1           0.01             0.8            0.95 \n" +
                                     doubleRule + "\n\n\n\n\n\n\n");
}
