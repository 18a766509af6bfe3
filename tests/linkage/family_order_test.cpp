// The per-family tables list the pedigrees in the order of the pedigree file, and the nuclear
// families after their pedigree's, in the order they were found.

#include <sstream>
#include <string>
#include <vector>

#include "support/test_support.h"

using namespace testing_support;

namespace {

// Three generations: grandparents 1 and 2 with children 3 and 7; 3 and the married-in 4 with
// children 5 and 6. Nuclear families: 1 x 2 (found first, at person 3), then 3 x 4.
// Pre-MAKEPED lines: pedigree, person, father, mother, sex, affection, two alleles.
std::string threeGenerations(const std::string& id) {
    std::string text;
    for (const char* line : {"1 0 0 1 2 1 2", "2 0 0 2 1 3 4", "3 1 2 1 2 1 3", "4 0 0 2 1 2 4", "5 3 4 1 2 1 2",
                             "6 3 4 2 1 3 4", "7 1 2 2 1 2 4"})
        text += id + " " + line + "\n";
    return text;
}

// The first words of the rows of the first marker's table that follow its "Pedigreeid" heading.
std::vector<std::string> pedigreeColumn(const std::string& report) {
    std::vector<std::string> ids;
    const std::vector<std::string> text = lines(report);
    size_t row = 0;
    while (row < text.size() && text[row].find("Pedigreeid") == std::string::npos) ++row;
    for (row += 2; row < text.size(); ++row) {
        std::istringstream in(text[row]);
        std::string id;
        if (!(in >> id) || text[row].rfind("Marker", 0) == 0) break;
        ids.push_back(id);
    }
    return ids;
}

}  // namespace

TEST(FamilyOrder, PedigreesAsInTheFileAndNuclearFamiliesAfterTheirPedigree) {
    // Twelve pedigrees, so that text order (1, 10, 11, 12, 2, ...) differs from the file's.
    const std::vector<std::string> order = {"3", "1", "2", "4", "5", "6", "7", "8", "9", "10", "11", "12"};
    std::string pedigreeFile;
    std::vector<std::string> nuclear;
    for (const std::string& id : order) {
        pedigreeFile += threeGenerations(id);
        nuclear.push_back(id + "-1");
        nuclear.push_back(id + "-2");
    }
    ScratchDir dir;
    dir.write("f.ped", pedigreeFile);
    dir.write("f.map", "CHR HALDANE NAME\n1 0.0 M1\n");
    dir.write("f.model", "0 0.01 1\n0.0 0.9 0.9\n");
    const RunResult run = runProgram("varkel",
                                     {"--ped", "f.ped", "--map", "f.map", "--model", "f.model",
                                      "--singlepoint", "--nuclear", "--byfamily", "--quiet"},
                                     dir.path());
    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(pedigreeColumn(dir.read("varkel_singlepoint_by_family.out")), order);
    EXPECT_EQ(pedigreeColumn(dir.read("varkel_singlepoint_nuc_by_family.out")), nuclear);

    // The table for R lists them alike, at every theta.
    std::vector<std::string> tidy;
    for (const std::string& line : lines(dir.read("varkel_lod.tsv"))) {
        std::vector<std::string> f;
        std::istringstream in(line);
        for (std::string field; std::getline(in, field, '\t');) f.push_back(field);
        if (f.size() == 8 && f[1] == "nuclear" && f[6] == "0" && f[5] != "ALL") tidy.push_back(f[5]);
    }
    EXPECT_EQ(tidy, nuclear);
}
