#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <utility>
#include <vector>

#include "driver/utilities.h"
#include "support/test_support.h"

using namespace testing_support;

TEST(Utilities, ElapsedTimeAndTwoDecimalRounding) {
    const std::pair<double, const char*> times[] = {
        {0, "0 seconds"}, {59, "59 seconds"}, {60, "1 minutes  0 seconds"},
        {3600, "1 hours  0 minutes  0 seconds"}, {3725, "1 hours  2 minutes  5 seconds"}};
    for (const auto& [seconds, text] : times) EXPECT_EQ(secondsToCorrectTimeFormat(seconds), text);
    // 0.125 and 0.375 are exact binary half-hundredths: the printed form rounds them half to
    // even, which a rounding of x * 100 would not. 2.675 is stored a hair below the half.
    EXPECT_DOUBLE_EQ(changeValueLengthToTwo(0.125), 0.12);
    EXPECT_DOUBLE_EQ(changeValueLengthToTwo(0.375), 0.38);
    EXPECT_DOUBLE_EQ(changeValueLengthToTwo(2.675), 2.67);
}

TEST(Utilities, NormalAndChiSquareTails) {
    EXPECT_NEAR(pnorm(1.959964), 0.025, 1e-5);
    EXPECT_EQ(pnorm(13.0), 0.0);  // beyond 12 standard deviations the tail is exactly zero
    EXPECT_EQ(pnorm(-13.0), 1.0);
    // Upper 5% points from standard tables, one for each branch of the series.
    const std::pair<double, int> fivePercent[] = {{3.841, 1}, {5.991, 2},   {7.815, 3},
                                                  {9.488, 4}, {11.070, 5}, {18.307, 10}};
    for (const auto& [x, df] : fivePercent) EXPECT_NEAR(chipr(x, df), 0.05, 2e-4) << df;
    // Far out the series underflows and the Wilson-Hilferty cube-root approximation is used;
    // evaluated here with the exact normal tail (the series would give about 1e-37).
    const double h = 2.0 / (9.0 * 10), z = (std::cbrt(200.0 / 10) - 1.0 + h) / std::sqrt(h);
    EXPECT_NEAR(chipr(200.0, 10) / (0.5 * std::erfc(z / std::sqrt(2.0))), 1.0, 0.15);
}

TEST(Utilities, ReadFileAndCopyFileSkipEmptyLines) {
    ScratchDir dir;
    dir.write("data.txt", "a  b\tc\n\n  \t \n\t d\t\t  e  \nlast");
    EXPECT_EQ(readFile(dir.file("data.txt")),
              (std::vector<std::vector<std::string>>{{"a", "b", "c"}, {"d", "e"}, {"last"}}));

    dir.write("source.txt", "one\n\ntwo  \n\nthree");
    dir.write("target.txt", "old content that must disappear\n");
    bool copied = false;
    captureOutput([&] { copied = copy_file(dir.file("source.txt").c_str(), dir.file("target.txt").c_str()); });
    EXPECT_TRUE(copied);
    EXPECT_EQ(dir.read("target.txt"), "one\ntwo  \nthree\n");
}

// The generator is seeded once per process, so each seeded sequence is drawn in a child.
static std::vector<double> drawnInChild(unsigned int seed) {
    std::vector<double> values(6);
    const auto bytes = static_cast<ssize_t>(values.size() * sizeof(double));  // one atomic pipe write
    int fds[2];
    if (pipe(fds) != 0) return {};
    if (fork() == 0) {
        setRandomSeed(seed);
        for (double& v : values) v = getRandom();
        _exit(write(fds[1], values.data(), static_cast<size_t>(bytes)) == bytes ? 0 : 1);
    }
    close(fds[1]);
    const bool complete = read(fds[0], values.data(), static_cast<size_t>(bytes)) == bytes;
    close(fds[0]);
    wait(nullptr);
    return complete ? values : std::vector<double>{};
}

TEST(Utilities, SeededRandomSequenceRepeats) {
    std::vector<double> expected;
    std::srand(7);
    for (int i = 0; i < 6; ++i) expected.push_back(std::rand() / 2147483647.0);
    EXPECT_EQ(drawnInChild(7), expected);
    EXPECT_EQ(drawnInChild(7), expected);
    const std::vector<double> other = drawnInChild(8);
    ASSERT_EQ(other.size(), 6u);
    EXPECT_NE(other, expected);
}
