#include "input/linkage_locus_file.h"
#include "input/model.h"
#include "model/pedigrees.h"
#include "support/test_support.h"

using namespace testing_support;

namespace {

int readModel(Model& model, const ScratchDir& dir, const std::string& content, std::string* output) {
    dir.write("model.txt", content);
    int result = -1;
    *output = captureOutput([&] { result = model.readModelFile(dir.file("model.txt")); });
    return result;
}

}  // namespace

TEST(ModelFile, BuildsTheTwoAlleleDiseaseLocus) {
    ScratchDir dir;
    Model model;
    std::string out;
    ASSERT_EQ(readModel(model, dir, "0 0.001 1\n0.0 1.0 1.0\n", &out), 1);
    EXPECT_EQ(out, "Reading model file: " + dir.file("model.txt") + "...done\n");
    EXPECT_EQ(model.getName(), dir.file("model.txt"));
    EXPECT_EQ(model.getXlinkedIndicator(), 0);
    const Locus* locus = model.getLocus();
    ASSERT_NE(locus, nullptr);
    EXPECT_EQ(locus->getName(), "DISEASE_LOCUS_1");
    EXPECT_EQ(locus->getType(), 1);
    EXPECT_EQ(locus->getNumberOfAlleles(), 2);
    ASSERT_EQ(locus->getAlleleFrequencies().size(), 2u);
    EXPECT_DOUBLE_EQ(locus->getAlleleFrequencies()[0], 0.999);
    EXPECT_DOUBLE_EQ(locus->getAlleleFrequencies()[1], 0.001);
    EXPECT_EQ(locus->getNumberOfLiabClasses(), 1);
    EXPECT_DOUBLE_EQ(locus->getFemalePenetranceClass(0, 0), 0.0);
    EXPECT_DOUBLE_EQ(locus->getFemalePenetranceClass(0, 1), 1.0);
    EXPECT_DOUBLE_EQ(locus->getFemalePenetranceClass(0, 2), 1.0);
    EXPECT_DOUBLE_EQ(locus->getMalePenetranceClass(0, 0), -2.0);
}

TEST(ModelFile, XlinkedClassesAlternateFemaleAndMaleLines) {
    ScratchDir dir;
    Model model;
    std::string out;
    // Header spread over lines, comments after the penetrances.
    ASSERT_EQ(readModel(model, dir,
                        "1\n0.01\n2\n"
                        "0.0 0.9 0.95 class 1 females\n0.0 0.8 class 1 males\n"
                        "0.1 0.7 0.75 class 2 females\n0.2 0.6 class 2 males\n",
                        &out),
              1)
        << out;
    EXPECT_EQ(model.getXlinkedIndicator(), 1);
    const Locus* locus = model.getLocus();
    EXPECT_EQ(locus->getNumberOfLiabClasses(), 2);
    EXPECT_DOUBLE_EQ(locus->getFemalePenetranceClass(0, 2), 0.95);
    EXPECT_DOUBLE_EQ(locus->getMalePenetranceClass(0, 1), 0.8);
    EXPECT_DOUBLE_EQ(locus->getFemalePenetranceClass(1, 0), 0.1);
    EXPECT_DOUBLE_EQ(locus->getMalePenetranceClass(1, 0), 0.2);
    EXPECT_DOUBLE_EQ(locus->getMalePenetranceClass(1, 1), 0.6);
}

TEST(ModelFile, ShortOrMissingFilesFailWithoutALocus) {
    ScratchDir dir;
    const std::string name = dir.file("model.txt");
    struct Case {
        std::string content;
        std::string message;
    };
    const std::vector<Case> cases = {
        {"0 0.01 2\n0 1 1\n", "Model file " + name + " ends before all values were read"},
        {"1 0.01 1\n0 1 1\n", "Model file " + name + " ends before all values were read"},
        {"", "Model file " + name + " ends before all values were read"},
        {"0 x 1\n0 1 1\n", "Model file " + name + " holds \"x\" at line 1 where a number is expected"},
        {"0 0.01 0\n", "Model file " + name + " must give at least one liability class (found 0)"},
    };
    for (const Case& c : cases) {
        Model model;
        std::string out;
        EXPECT_EQ(readModel(model, dir, c.content, &out), 0) << c.message;
        EXPECT_EQ(out, "Reading model file: " + name + "...failed\n" + c.message + "\n");
        EXPECT_EQ(model.getLocus(), nullptr);
    }

    Model model;
    const std::string missing = dir.file("absent.txt");
    const std::string out = captureOutput([&] { EXPECT_EQ(model.readModelFile(missing), 0); });
    EXPECT_EQ(out, "Reading model file: " + missing + "..failed\nUnable to open model file " + missing +
                       " for reading.\n");
}

TEST(DefaultModel, IsDominantWithPhenocopies) {
    Model model;
    const std::string out = captureOutput([&] { model.makeModel(); });
    EXPECT_EQ(out, "Generating model...done\n");
    EXPECT_EQ(model.getXlinkedIndicator(), 0);
    const Locus* locus = model.getLocus();
    ASSERT_NE(locus, nullptr);
    EXPECT_EQ(locus->getName(), "DISEASE_LOCUS_1");
    EXPECT_EQ(locus->getAlleleFrequencies(), (std::vector<double>{0.99, 0.01}));
    EXPECT_EQ(locus->getNumberOfLiabClasses(), 1);
    EXPECT_DOUBLE_EQ(locus->getFemalePenetranceClass(0, 0), 0.01);
    EXPECT_DOUBLE_EQ(locus->getFemalePenetranceClass(0, 1), 0.9);
    EXPECT_DOUBLE_EQ(locus->getFemalePenetranceClass(0, 2), 0.9);
}

TEST(PedigreesModelWrapper, KeepsTheModelOnlyWhenReadCompletely) {
    ScratchDir dir;
    dir.write("good.txt", "0 0.001 1\n0.0 1.0 1.0\n");
    dir.write("short.txt", "0 0.001 1\n");
    Pedigrees pedigrees;
    captureOutput([&] { EXPECT_EQ(pedigrees.readModelFile(dir.file("good.txt")), 1); });
    EXPECT_EQ(pedigrees.getModelFileName(), dir.file("good.txt"));
    ASSERT_NE(pedigrees.getModel(), nullptr);
    EXPECT_NE(pedigrees.getModel()->getLocus(), nullptr);

    captureOutput([&] { EXPECT_EQ(pedigrees.readModelFile(dir.file("short.txt")), 0); });
    EXPECT_EQ(pedigrees.getModelFileName(), dir.file("short.txt"));
    EXPECT_EQ(pedigrees.getModel(), nullptr);
}
