#include <algorithm>
#include <cmath>
#include <sstream>
#include <string>
#include <vector>

#include "driver/nuclear_family.h"
#include "support/test_support.h"

using namespace testing_support;

namespace {

std::vector<std::string> postArgs(std::vector<std::string> extra) {
    std::vector<std::string> args = {"-p", "post.ped", "-m", "map.txt", "-k", "model.txt", "--post"};
    args.insert(args.end(), extra.begin(), extra.end());
    return args;
}

// Runs varkel in dir beside files of the user's that carry FASTLINK's exchange file names:
// FASTLINK works elsewhere, so the run neither writes nor removes any of them, and leaves no
// other file of FASTLINK's behind.
RunResult runVarkel(const ScratchDir& dir, const std::vector<std::string>& args) {
    const char* exchange[] = {"datafile.dat", "FASTLINK.err", "final.dat",        "ipedfile.dat",
                              "lpedfile.dat", "outfile.dat",  "pedfile.dat",      "speedfile.dat",
                              "stream.dat",   "loopfile.dat", "newspeedfile.dat"};
    for (const char* name : exchange) dir.write(name, "the user's own\n");
    const std::vector<std::string> before = dir.listing();
    RunResult run = runProgram("varkel", args, dir.path());
    for (const char* name : exchange) EXPECT_EQ(dir.read(name), "the user's own\n") << name;
    for (const std::string& name : dir.listing()) {
        if (std::find(before.begin(), before.end(), name) != before.end()) continue;
        EXPECT_TRUE(name.rfind("varkel_", 0) == 0 || name.rfind("fam_", 0) == 0) << "left behind: " << name;
    }
    return run;
}

// The fields of every line of text whose first field is name.
std::vector<std::vector<std::string>> rowsOf(const std::string& text, const std::string& name) {
    std::vector<std::vector<std::string>> rows;
    for (const auto& line : lines(text)) {
        std::istringstream in(line);
        std::vector<std::string> f;
        for (std::string field; in >> field;) f.push_back(field);
        if (!f.empty() && f[0] == name) rows.push_back(f);
    }
    return rows;
}

}  // namespace

TEST(VarkelRun, OptionAndInputErrorsStopWithTheirStatus) {
    ScratchDir dir;
    writeFamily(dir);
    const struct {
        std::vector<std::string> args;
        int status;
        std::string message;
    } cases[] = {
        {{}, 255, "Error: Pedigree file is not set\n"},
        {{"-p", "x.ped"}, 255, "Error: Map file is not set\n"},
        {{"-p", "x.ped", "-m", "x.map", "--singlepoint"},
         255,
         "Error: Model file or Linkage locus file must be given (--model or --dat) for linkage analysis\n"},
        {{"--help"}, 0, "Displays usage information and exits."},
        {{"--version"}, 0, "1.9.6 -- 2011"},
        {{"--no-such-option"}, 1, "PARSE ERROR"},
        {{"-p", "x.ped", "--wsize", "three"}, 1, "PARSE ERROR"},
        {postArgs({"--freq", "q", "--sibpair"}), 255, "Error: Unknown frequency type q (use a, f, m or u)\n"},
        {postArgs({}), 255, "Error: No analysis asked for"},
        {postArgs({"--singlepoint", "--marker", "M9"}), 255, "Cannot find given marker M9\n"},
        {postArgs({"--hrrrand", "--phenotype", "AGE"}), 255, "Cannot find given phenotype AGE\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.message);
        const RunResult run = runVarkel(dir, c.args);
        EXPECT_EQ(run.status, c.status);
        EXPECT_TRUE(contains(run.output + run.errors, c.message)) << run.output << run.errors;
        EXPECT_FALSE(contains(run.output, "Elapsed time"));
        for (const auto& name : dir.listing()) EXPECT_NE(name.rfind("varkel", 0), 0u) << name;
    }
}

TEST(VarkelRun, SummaryOfSinglepointAnalysesWithHeterogeneity) {
    ScratchDir dir;
    writeFamily(dir);
    const RunResult run = runVarkel(dir, postArgs({"--singlepoint", "--nuclear", "--hlod", "--prefix", "fam"}));
    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_TRUE(contains(run.output, "\nSummary file: fam_summary.out\n"));
    const std::string summary = dir.read("fam_summary.out");
    EXPECT_EQ(summary.rfind(std::string(79, '-') + "\nProgram Varkel 1.9.6 -- 2011\n", 0), 0u);
    EXPECT_TRUE(contains(summary, "Phenotype: DISEASE_LOCUS\n"
                                  "              Marker       LodHom     Theta    NucLodHom     Theta\n"));

    // Phase unknown, four non-recombinant meioses: LOD(0) = log10(2^3) = 3 log10 2.
    const double expectedLod = 3.0 * std::log10(2.0);
    const auto rows = rowsOf(summary, "M1");
    ASSERT_EQ(rows.size(), 2u);
    ASSERT_EQ(rows[0].size(), 5u);
    EXPECT_NEAR(std::stod(rows[0][1]), expectedLod, 1e-3);
    EXPECT_EQ(rows[0][2], "0.00");
    EXPECT_EQ(rows[0][3], rows[0][1]);  // the family is its own nuclear family
    // One family, all linked: the heterogeneity maximum is the homogeneity one at alpha 1.
    ASSERT_EQ(rows[1].size(), 7u);
    EXPECT_NEAR(std::stod(rows[1][1]), expectedLod, 1e-3);
    EXPECT_EQ(rows[1][3], "1.00");
    EXPECT_TRUE(rowsOf(summary, "M2").empty());  // the monomorphic marker is not analysed
}

TEST(VarkelRun, AssociationSummaryAfterConversionIsReproducibleWithASeed) {
    ScratchDir dir;
    writeFamily(dir);
    const std::vector<std::string> args = {"-p", "pre.ped", "-m", "map.txt", "-k", "model.txt",
                                           "--hrrrand", "--quiet", "--seed", "11"};
    ASSERT_EQ(runVarkel(dir, args).status, 0);
    const std::string summary = dir.read("varkel_summary.out");
    EXPECT_TRUE(contains(summary, "\n\n\nAssociation analysis summary - results are p-values\n"
                                  "Phenotype: DISEASE_LOCUS\nHalplotype Relative Risk\n"));

    // One trio: child 3 received 1 and 3 (father 1/2, mother 3/4). Allele test: 2 ln(1/2) per
    // group against 4 ln(1/4) pooled, LRT 8 ln 2 at 3 df; genotype test: 1/3 against 2/4, LRT
    // 4 ln 2 at 9 df (ten genotypes of four alleles). Odd-df chi-square tails in closed form:
    auto oddTail = [](double x, int df) {
        double sum = 0.0, term = std::sqrt(x);
        for (int d = 1; d < df; term *= x / (d + 2), d += 2) sum += term;
        return std::erfc(std::sqrt(x / 2.0)) + 2.0 * std::exp(-x / 2.0) * sum / std::sqrt(2.0 * std::acos(-1.0));
    };
    const auto m1 = rowsOf(summary, "M1");
    ASSERT_EQ(m1.size(), 1u);
    ASSERT_EQ(m1[0].size(), 5u);
    EXPECT_NEAR(std::stod(m1[0][2]), oddTail(8.0 * std::log(2.0), 3), 1e-4);
    EXPECT_NEAR(std::stod(m1[0][4]), oddTail(4.0 * std::log(2.0), 9), 1e-4);
    const auto m2 = rowsOf(summary, "M2");  // a monomorphic marker shows no difference at all
    EXPECT_EQ(m2, (std::vector<std::vector<std::string>>{{"M2", "1.000000", "1.000000", "1.000000", "1.000000"}}));

    ASSERT_EQ(runVarkel(dir, args).status, 0);
    EXPECT_EQ(dir.read("varkel_summary.out").substr(summary.find("Association")),
              summary.substr(summary.find("Association")));
}
