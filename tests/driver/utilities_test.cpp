#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <vector>

#include "driver/utilities.h"
#include "support/test_support.h"

using namespace testing_support;

TEST(Conversions, DefaultStreamFormatsAndLeadingNumberParsing) {
    EXPECT_EQ(IntToString(-42), "-42");
    EXPECT_EQ(doubleToString(0.5), "0.5");
    EXPECT_EQ(doubleToString(3.14159265358979), "3.14159");
    EXPECT_EQ(doubleToString(1e-7), "1e-07");
    EXPECT_EQ(doubleToString(0.02), "0.02");

    EXPECT_EQ(stringToInt("12abc"), 12);
    EXPECT_EQ(stringToInt("  -7"), -7);
    EXPECT_EQ(stringToInt("abc"), 0);
    EXPECT_EQ(stringToInt("3.9"), 3);
    EXPECT_DOUBLE_EQ(stringToDouble("1.5e2x"), 150.0);
    EXPECT_DOUBLE_EQ(stringToDouble("-0.25"), -0.25);
    EXPECT_DOUBLE_EQ(stringToDouble("x1"), 0.0);
    EXPECT_EQ(stringToLower("HalDANE 12"), "haldane 12");
}

TEST(Conversions, TwoDecimalRoundingFollowsThePrintedForm) {
    // 0.125 and 0.375 are exact binary fractions: the printed form rounds half to even,
    // which a rounding of x * 100 would not reproduce.
    EXPECT_DOUBLE_EQ(changeValueLengthToTwo(0.125), 0.12);
    EXPECT_DOUBLE_EQ(changeValueLengthToTwo(0.375), 0.38);
    EXPECT_DOUBLE_EQ(changeValueLengthToTwo(-0.125), -0.12);
    // 2.675 is stored slightly below the half-way point.
    EXPECT_DOUBLE_EQ(changeValueLengthToTwo(2.675), 2.67);
    EXPECT_DOUBLE_EQ(changeValueLengthToTwo(0.016), 0.02);
    EXPECT_DOUBLE_EQ(changeValueLengthToTwo(7.0), 7.0);
}

TEST(ElapsedTime, SecondsMinutesAndHoursForms) {
    EXPECT_EQ(secondsToCorrectTimeFormat(0), "0 seconds");
    EXPECT_EQ(secondsToCorrectTimeFormat(59), "59 seconds");
    EXPECT_EQ(secondsToCorrectTimeFormat(60), "1 minutes  0 seconds");
    EXPECT_EQ(secondsToCorrectTimeFormat(61), "1 minutes  1 seconds");
    EXPECT_EQ(secondsToCorrectTimeFormat(3600), "1 hours  0 minutes  0 seconds");
    EXPECT_EQ(secondsToCorrectTimeFormat(3725), "1 hours  2 minutes  5 seconds");
    EXPECT_EQ(secondsToCorrectTimeFormat(90061), "25 hours  1 minutes  1 seconds");

    const std::string now = current_time_and_date();
    ASSERT_EQ(now.size(), 25u);  // "Www Mmm dd hh:mm:ss yyyy\n"
    EXPECT_EQ(now.back(), '\n');
}

TEST(NormalTail, AbramowitzStegunApproximation) {
    EXPECT_NEAR(pnorm(0.0), 0.5, 1e-5);
    EXPECT_NEAR(pnorm(1.959964), 0.025, 1e-5);
    EXPECT_NEAR(pnorm(-1.959964), 0.975, 1e-5);
    EXPECT_NEAR(pnorm(1.0), 0.158655, 1e-5);
    // Beyond 12 standard deviations the tail is taken as exactly zero.
    EXPECT_EQ(pnorm(13.0), 0.0);
    EXPECT_EQ(pnorm(-13.0), 1.0);
    EXPECT_GT(pnorm(12.0), 0.0);
}

TEST(ChiSquareTail, TableCriticalValuesGiveFivePercent) {
    // Upper 5% points of the chi-square distribution (standard tables), one per branch.
    EXPECT_NEAR(chipr(3.841, 1), 0.05, 2e-4);
    EXPECT_NEAR(chipr(5.991, 2), 0.05, 1e-4);
    EXPECT_NEAR(chipr(7.815, 3), 0.05, 1e-4);
    EXPECT_NEAR(chipr(9.488, 4), 0.05, 1e-4);
    EXPECT_NEAR(chipr(11.070, 5), 0.05, 1e-4);
    EXPECT_NEAR(chipr(18.307, 10), 0.05, 1e-4);
    EXPECT_NEAR(chipr(6.635, 1), 0.01, 1e-4);
    EXPECT_NEAR(chipr(15.086, 5), 0.01, 1e-4);

    EXPECT_EQ(chipr(0.0, 3), 1.0);
    EXPECT_EQ(chipr(-2.0, 1), 1.0);
    EXPECT_EQ(chipr(5.0, 0), 1.0);
}

TEST(ChiSquareTail, LargeValuesUseWilsonHilferty) {
    const double x = 200.0;
    const int df = 10;
    // The normal approximation of the cube root, evaluated with the exact normal tail.
    const double h = 2.0 / (9.0 * df);
    const double z = (std::cbrt(x / df) - 1.0 + h) / std::sqrt(h);
    const double wilsonHilferty = 0.5 * std::erfc(z / std::sqrt(2.0));
    // The exact tail for even df: exp(-x/2) * sum_{i<df/2} (x/2)^i / i!.
    double exact = 0.0, term = 1.0;
    for (int i = 0; i < df / 2; ++i) {
        if (i > 0) term *= (x / 2.0) / i;
        exact += term;
    }
    exact *= std::exp(-x / 2.0);

    const double p = chipr(x, df);
    // The normal tail approximation is good to about 10% relative so far out.
    EXPECT_NEAR(p / wilsonHilferty, 1.0, 0.15);
    // Far above the exact value, so the series branch was not taken.
    EXPECT_GT(p, 1e3 * exact);
    // Just below the switch-over the series gives the exact value.
    double exact168 = 0.0;
    term = 1.0;
    for (int i = 0; i < 2; ++i) {
        if (i > 0) term *= 84.0 / i;
        exact168 += term;
    }
    EXPECT_NEAR(chipr(168.0, 4) / (exact168 * std::exp(-84.0)), 1.0, 1e-9);
}

TEST(ReadFile, TokenisesOnBlanksAndTabsSkippingEmptyLines) {
    ScratchDir dir;
    dir.write("blank.txt", "\n   \n\t\t\n\n");
    dir.write("data.txt", "a  b\tc\n\n  \t d\t\t  e  \nlast");
    EXPECT_TRUE(readFile(dir.file("blank.txt")).empty());

    const auto rows = readFile(dir.file("data.txt"));
    ASSERT_EQ(rows.size(), 3u);
    EXPECT_EQ(rows[0], (std::vector<std::string>{"a", "b", "c"}));
    EXPECT_EQ(rows[1], (std::vector<std::string>{"d", "e"}));
    EXPECT_EQ(rows[2], (std::vector<std::string>{"last"}));

    std::vector<std::vector<std::string>> missing;
    const std::string output = captureOutput([&] { missing = readFile(dir.file("none.txt")); });
    EXPECT_TRUE(missing.empty());
    EXPECT_EQ(output, "Unable to open file " + dir.file("none.txt") + " for reading.\n");
}

TEST(CopyFile, DropsEmptyLinesAndReportsUnopenableFiles) {
    ScratchDir dir;
    dir.write("source.txt", "one\n\ntwo  \n\nthree");
    dir.write("target.txt", "old content that must disappear\n");
    bool copied = false;
    std::string output = captureOutput(
        [&] { copied = copy_file(dir.file("source.txt").c_str(), dir.file("target.txt").c_str()); });
    EXPECT_TRUE(copied);
    EXPECT_EQ(dir.read("target.txt"), "one\ntwo  \nthree\n");
    EXPECT_EQ(output, "EMPTY\nEMPTY\n");

    output = captureOutput(
        [&] { copied = copy_file(dir.file("absent.txt").c_str(), dir.file("target.txt").c_str()); });
    EXPECT_FALSE(copied);
    EXPECT_EQ(output, "Error: Unable to open " + dir.file("absent.txt") + " for reading!\n");

    const std::string unwritable = dir.file("no/such/dir.txt");
    output = captureOutput([&] { copied = copy_file(dir.file("source.txt").c_str(), unwritable.c_str()); });
    EXPECT_FALSE(copied);
    EXPECT_EQ(output, "Error: Unable to open " + unwritable + " for writing!\n");
}

TEST(IntermediateFiles, EveryExchangeFileIsRemovedAndNothingElse) {
    ScratchDir dir;
    const std::vector<std::string> exchange = {"datafile.dat", "FASTLINK.err",     "final.dat",  "ipedfile.dat",
                                               "lpedfile.dat", "outfile.dat",      "pedfile.dat", "speedfile.dat",
                                               "newspeedfile.dat", "stream.dat", "loopfile.dat"};
    for (const auto& name : exchange) dir.write(name, "x");
    dir.write("varkel_summary.out", "keep");
    dir.write("mydata.dat", "keep");
    {
        InDirectory inside(dir.path());
        delete_intermediate_files();
        delete_intermediate_files();  // nothing left to remove: no complaint
    }
    EXPECT_EQ(dir.listing(), (std::vector<std::string>{"mydata.dat", "varkel_summary.out"}));
}

TEST(Progress, PrintsOnlyAtMultiplesOfTenPercent) {
    EXPECT_EQ(captureOutput([] { progressReportX("Markers", 1, 20); }), "");   // 5%
    EXPECT_EQ(captureOutput([] { progressReportX("Markers", 3, 20); }), "");   // 15%
    EXPECT_EQ(captureOutput([] { progressReportX("Markers", 2, 20); }), "Markers: 10%" + std::string(20, ' ') + "\r");
    EXPECT_EQ(captureOutput([] { progressReportX("Run", 0, 7); }), "Run: 0%" + std::string(20, ' ') + "\r");
    EXPECT_EQ(captureOutput([] { progressReportX("Run", 7, 7); }), "Run: 100%" + std::string(20, ' ') + "\r");
    // 1 of 3 is 33% in integer arithmetic.
    EXPECT_EQ(captureOutput([] { progressReportX("Run", 1, 3); }), "");
}

TEST(ExternalCommand, StatusEchoAndDiscardedStreams) {
    EXPECT_EQ(WEXITSTATUS(execute_external_command("exit 3", false)), 3);
    EXPECT_EQ(execute_external_command("true", false), 0);

    EXPECT_EQ(captureOutput([] { execute_external_command("echo hidden", false); }), "");
    EXPECT_EQ(captureOutput([] { execute_external_command("echo shown", true); }),
              "External command: echo shown\nshown\n");

    // The command reads no terminal input even when the caller's input has data.
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    ASSERT_EQ(write(fds[1], "data\n", 5), 5);
    close(fds[1]);
    const int savedInput = dup(0);
    dup2(fds[0], 0);
    close(fds[0]);
    const int status = execute_external_command("grep -q data", false);
    dup2(savedInput, 0);
    close(savedInput);
    EXPECT_EQ(WEXITSTATUS(status), 1);  // grep found nothing to read
}

// Runs fn in a child process (the generator is seeded once per process) and returns the
// doubles it reports through a pipe.
template <class F>
static std::vector<double> inChild(F fn, int count) {
    int fds[2];
    if (pipe(fds) != 0) return {};
    const pid_t pid = fork();
    if (pid == 0) {
        close(fds[0]);
        const std::vector<double> values = fn();
        const ssize_t bytes = static_cast<ssize_t>(values.size() * sizeof(double));
        _exit(write(fds[1], values.data(), static_cast<size_t>(bytes)) == bytes ? 0 : 1);
    }
    close(fds[1]);
    std::vector<double> values(static_cast<size_t>(count));
    const ssize_t wanted = static_cast<ssize_t>(values.size() * sizeof(double));
    ssize_t got = 0;
    while (got < wanted) {
        const ssize_t n = read(fds[0], reinterpret_cast<char*>(values.data()) + got, static_cast<size_t>(wanted - got));
        if (n <= 0) break;
        got += n;
    }
    close(fds[0]);
    int status = 0;
    waitpid(pid, &status, 0);
    if (got != wanted || !WIFEXITED(status) || WEXITSTATUS(status) != 0) return {};
    return values;
}

TEST(Random, SeededSequenceIsReproducibleAndSeededOnce) {
    std::vector<double> expected;
    std::srand(7);
    for (int i = 0; i < 6; ++i) expected.push_back(std::rand() / 2147483647.0);

    const auto seeded = inChild(
        [] {
            setRandomSeed(7);
            std::vector<double> v;
            for (int i = 0; i < 3; ++i) v.push_back(getRandom());
            // A later seed does not restart the sequence.
            setRandomSeed(99);
            for (int i = 0; i < 3; ++i) v.push_back(getRandom());
            return v;
        },
        6);
    EXPECT_EQ(seeded, expected);

    const auto again = inChild(
        [] {
            setRandomSeed(7);
            std::vector<double> v;
            for (int i = 0; i < 6; ++i) v.push_back(getRandom());
            return v;
        },
        6);
    EXPECT_EQ(again, expected);

    const auto other = inChild(
        [] {
            setRandomSeed(8);
            std::vector<double> v;
            for (int i = 0; i < 6; ++i) v.push_back(getRandom());
            return v;
        },
        6);
    ASSERT_EQ(other.size(), 6u);
    EXPECT_NE(other, expected);
    for (double x : other) {
        EXPECT_GE(x, 0.0);
        EXPECT_LE(x, 1.0);
    }
}
