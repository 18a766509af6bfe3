#include "model/tidy_table.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cmath>
#include <limits>
#include <stdexcept>

#include "support/test_support.h"

TEST(TidyTable, NumbersKeepTenSignificantDigitsAndSpellMissingAndInfiniteValuesForRAndPandas) {
    EXPECT_EQ(TidyTable::number(0.1234567890123), "0.123456789");
    EXPECT_EQ(TidyTable::number(-2.5e-12), "-2.5e-12");
    EXPECT_EQ(TidyTable::number(3.0), "3");
    EXPECT_EQ(TidyTable::number(std::nan("")), "NA");
    EXPECT_EQ(TidyTable::number(-std::numeric_limits<double>::infinity()), "-Inf");
    EXPECT_EQ(TidyTable::number(12L), "12");
}

TEST(TidyTable, WritesHeaderAndRowsTabSeparatedAndRefusesRowsOfTheWrongWidth) {
    TidyTable table({"marker", "lod"});
    table.addRow({"M1", TidyTable::number(0.5)});
    EXPECT_THROW(table.addRow({"M2"}), std::logic_error);

    testing_support::ScratchDir dir;
    const std::string name = dir.path() + "/t.tsv";
    ASSERT_TRUE(table.write(name));
    EXPECT_EQ(testing_support::readWholeFile(name), "marker\tlod\nM1\t0.5\n");

    const std::string message =
        testing_support::captureOutput([&] { EXPECT_FALSE(table.write(dir.path() + "/missing/t.tsv")); });
    EXPECT_NE(message.find("Error: Unable to open " + dir.path() + "/missing/t.tsv for writing!"), std::string::npos) << message;
}

TEST(TidyTable, AFullDiskIsReportedAndTheDeviceStandingInForTheFileIsLeftAlone) {
    struct stat before;
    if (stat("/dev/full", &before) != 0) GTEST_SKIP() << "no /dev/full";
    TidyTable table({"a"});
    table.addRow({std::string(1 << 16, 'x')});
    const std::string message = testing_support::captureOutput([&] { EXPECT_FALSE(table.write("/dev/full")); });
    EXPECT_NE(message.find("Error: Unable to write /dev/full"), std::string::npos) << message;
    struct stat after;
    EXPECT_EQ(stat("/dev/full", &after), 0);
}
