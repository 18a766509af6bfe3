#include "model/file.h"
#include "support/test_support.h"

using namespace testing_support;

TEST(LineFile, ModesOtherThanReadAndWriteSelectNothing) {
    ScratchDir dir;
    File file;
    EXPECT_FALSE(file.openFile(dir.file("report.out"), "append"));
    EXPECT_FALSE(dir.exists("report.out"));
    EXPECT_FALSE(file.isOpen("append"));
    EXPECT_FALSE(file.isOpen("read"));
    EXPECT_FALSE(file.isOpen("write"));
    EXPECT_EQ(file.getLine(), "");  // never opened
}

TEST(LineFile, LoadingKeepsLineEndsExceptAFinalUnterminatedLine) {
    ScratchDir dir;
    dir.write("three.txt", "a\nb b\n\nc\n");
    dir.write("open_end.txt", "x\ny");
    {
        File file;
        ASSERT_TRUE(file.openFile(dir.file("three.txt"), "read"));
        file.getAllLinesInOStringStream();
        EXPECT_EQ(file.text.str(), "a\nb b\n\nc\n");
    }
    {
        File file;
        ASSERT_TRUE(file.openFile(dir.file("open_end.txt"), "read"));
        EXPECT_EQ(file.getLine(), "x");
        EXPECT_EQ(file.getLine(), "y");
        EXPECT_EQ(file.getLine(), "");
    }
    {
        File file;
        ASSERT_TRUE(file.openFile(dir.file("open_end.txt"), "read"));
        file.getAllLinesInOStringStream();
        EXPECT_EQ(file.text.str(), "x\ny");
    }
    File missing;
    EXPECT_FALSE(missing.openFile(dir.file("absent.txt"), "read"));
}

TEST(LineFile, ReportIsWrittenInOneStepAndReplacesOldContent) {
    ScratchDir dir;
    dir.write("report.out", "old report that is much longer than the new one\n");
    File file;
    ASSERT_TRUE(file.openFile(dir.file("report.out"), "write"));
    EXPECT_TRUE(file.isOpen("write"));
    file.text << "Phenotype: DISEASE_LOCUS\n" << 1.5 << "\n";
    file.addAllLinesFromOStringStream();
    file.closeFile("write");
    EXPECT_FALSE(file.isOpen("write"));
    EXPECT_EQ(dir.read("report.out"), "Phenotype: DISEASE_LOCUS\n1.5\n");

    File unwritable;
    EXPECT_FALSE(unwritable.openFile(dir.file("no/such/dir/report.out"), "write"));
}
