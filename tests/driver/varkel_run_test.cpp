// Runs of the built program on small data sets, each in its own scratch directory.

#include <cmath>
#include <sstream>
#include <string>
#include <vector>

#include "support/test_support.h"

using namespace testing_support;

namespace {

const std::vector<std::string> exchangeFiles = {"datafile.dat", "FASTLINK.err",     "final.dat",  "ipedfile.dat",
                                                "lpedfile.dat", "outfile.dat",      "pedfile.dat", "speedfile.dat",
                                                "newspeedfile.dat", "stream.dat", "loopfile.dat"};

// One nuclear family: an affected father (1/2 at M1) and an unaffected mother (3/4); the two
// affected children received allele 1 from him and the two unaffected ones allele 2, so all
// four paternal meioses are non-recombinant. M2 is monomorphic.
void writeFamily(const ScratchDir& dir) {
    dir.write("map.txt", "CHROMOSOME HALDANE MAP\n1 0.0 M1\n1 10.0 M2\n");
    dir.write("post.ped",
              "1 1 0 0 3 0 0 1 1 2 1 2 5 5\n"
              "1 2 0 0 3 0 0 2 0 1 3 4 5 5\n"
              "1 3 1 2 0 4 4 1 0 2 1 3 5 5\n"
              "1 4 1 2 0 5 5 2 0 2 1 4 5 5\n"
              "1 5 1 2 0 6 6 1 0 1 2 3 5 5\n"
              "1 6 1 2 0 0 0 2 0 1 2 4 5 5\n");
    dir.write("pre.ped",
              "1 1 0 0 1 2 1 2 5 5\n"
              "1 2 0 0 2 1 3 4 5 5\n"
              "1 3 1 2 1 2 1 3 5 5\n"
              "1 4 1 2 2 2 1 4 5 5\n"
              "1 5 1 2 1 1 2 3 5 5\n"
              "1 6 1 2 2 1 2 4 5 5\n");
    // Fully penetrant dominant model with a very rare disease allele.
    dir.write("model.txt", "0 0.0001 1\n0.0 1.0 1.0\n");
}

std::vector<std::string> postArgs(std::vector<std::string> extra) {
    std::vector<std::string> args = {"-p", "post.ped", "-m", "map.txt", "-k", "model.txt", "--post"};
    args.insert(args.end(), extra.begin(), extra.end());
    return args;
}

std::vector<std::string> fields(const std::string& line) {
    std::istringstream in(line);
    std::vector<std::string> result;
    std::string field;
    while (in >> field) result.push_back(field);
    return result;
}

// The fields of every line of text whose first field is name.
std::vector<std::vector<std::string>> rowsOf(const std::string& text, const std::string& name) {
    std::vector<std::vector<std::string>> rows;
    for (const auto& line : lines(text)) {
        const auto f = fields(line);
        if (!f.empty() && f[0] == name) rows.push_back(f);
    }
    return rows;
}

bool hasResultFile(const ScratchDir& dir, const std::string& prefix) {
    for (const auto& name : dir.listing())
        if (name.rfind(prefix, 0) == 0) return true;
    return false;
}

}  // namespace

TEST(VarkelRun, RequiredFilesAreCheckedInOrder) {
    ScratchDir dir;
    RunResult run = runProgram("varkel", {}, dir.path());
    EXPECT_EQ(run.status, 255);
    EXPECT_TRUE(contains(run.output, "Program Varkel 1.9.6 -- 2011\n"));
    EXPECT_TRUE(contains(run.output, "Error: Pedigree file is not set\n"));
    EXPECT_FALSE(contains(run.output, "Elapsed time"));

    run = runProgram("varkel", {"-p", "x.ped"}, dir.path());
    EXPECT_EQ(run.status, 255);
    EXPECT_TRUE(contains(run.output, "Error: Map file is not set\n"));
    EXPECT_FALSE(contains(run.output, "Pedigree file is not set"));

    run = runProgram("varkel", {"--ped", "x.ped", "--map", "x.map", "--singlepoint"}, dir.path());
    EXPECT_EQ(run.status, 255);
    EXPECT_TRUE(contains(run.output, "Error: Model file or Linkage locus file must be given\n"));
    EXPECT_FALSE(contains(run.output, "prefix:"));

    // A locus file alone satisfies the third check; the missing map file then stops the run.
    run = runProgram("varkel", {"-p", "x.ped", "-m", "x.map", "-d", "x.dat"}, dir.path());
    EXPECT_EQ(run.status, 255);
    EXPECT_FALSE(contains(run.output, "must be given"));
    EXPECT_TRUE(contains(run.output, "prefix: varkel\n"));
}

TEST(VarkelRun, HelpVersionAndParseErrorsComeFromTheOptionParser) {
    ScratchDir dir;
    RunResult run = runProgram("varkel", {"--help"}, dir.path());
    EXPECT_EQ(run.status, 0);
    for (const char* text : {"See VARKEL documentation for full information!", "--singlepointcurves",
                             "Microsoft command prompt 'PAUSE' after analysis", "Frequency type <a,f,m,u>",
                             "--seed", "Seed of the random generator (default: the clock)", "-p <file>",
                             "--prefix <prefix_name>", "--wsize <int>", "Displays usage information and exits."})
        EXPECT_TRUE(contains(run.output, text)) << text;

    run = runProgram("varkel", {"--version"}, dir.path());
    EXPECT_EQ(run.status, 0);
    EXPECT_TRUE(contains(run.output, "1.9.6 -- 2011"));

    run = runProgram("varkel", {"--no-such-option"}, dir.path());
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(contains(run.errors, "PARSE ERROR"));

    run = runProgram("varkel", {"-p", "x.ped", "--wsize", "three"}, dir.path());
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(contains(run.errors, "PARSE ERROR"));

    run = runProgram("varkel", {"-p"}, dir.path());
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(contains(run.errors, "PARSE ERROR"));
}

TEST(VarkelRun, UnknownFrequencyTypeStopsBeforeAnyFileIsRead) {
    ScratchDir dir;
    writeFamily(dir);
    RunResult run = runProgram("varkel", postArgs({"--freq", "q", "--sibpair"}), dir.path());
    EXPECT_EQ(run.status, 255);
    EXPECT_TRUE(contains(run.output, "Error: Unknown frequency type q (use a, f, m or u)\n"));
    EXPECT_FALSE(contains(run.output, "Reading map file"));

    // Words and letters name the same types.
    for (const char* type : {"all", "a", "founders", "f", "males", "m"}) {
        run = runProgram("varkel", postArgs({"--freq", type, "--sibpair"}), dir.path());
        EXPECT_EQ(run.status, 0) << type << "\n" << run.output;
    }
}

TEST(VarkelRun, ExchangeFilesAreRemovedOnEveryPath) {
    ScratchDir dir;
    writeFamily(dir);
    const std::vector<std::vector<std::string>> runs = {
        {}, {"--help"}, {"--bogus"}, postArgs({}), postArgs({"--singlepoint"})};
    for (const auto& args : runs) {
        for (const auto& name : exchangeFiles) dir.write(name, "stale\n");
        runProgram("varkel", args, dir.path());
        for (const auto& name : exchangeFiles) EXPECT_FALSE(dir.exists(name)) << name;
    }
    EXPECT_TRUE(dir.exists("post.ped"));
    EXPECT_TRUE(dir.exists("map.txt"));
}

TEST(VarkelRun, AnalysisSelectionDecidesStatusAndResultFiles) {
    ScratchDir dir;
    writeFamily(dir);

    RunResult run = runProgram("varkel", postArgs({}), dir.path());
    EXPECT_EQ(run.status, 255);
    EXPECT_TRUE(contains(run.output, "Done reading input files.\n"));
    EXPECT_FALSE(contains(run.output, "Elapsed time"));
    EXPECT_FALSE(hasResultFile(dir, "varkel"));

    run = runProgram("varkel", postArgs({"--sibpair"}), dir.path());
    EXPECT_EQ(run.status, 0);
    EXPECT_TRUE(contains(run.output, "\nElapsed time: "));
    EXPECT_FALSE(hasResultFile(dir, "varkel"));

    run = runProgram("varkel", postArgs({"--multipoint", "--stats"}), dir.path());
    EXPECT_EQ(run.status, 0);
    EXPECT_TRUE(contains(run.output,
                         "Warning: Parametric multipoint linkage analysis is not available in this version; "
                         "skipping it\n"));
    EXPECT_TRUE(contains(run.output,
                         "Warning: Statistics reports are not available in this version; skipping them\n"));
    EXPECT_FALSE(hasResultFile(dir, "varkel"));

    // --nuclear needs --singlepoint.
    run = runProgram("varkel", postArgs({"--nuclear", "--sibpair"}), dir.path());
    EXPECT_EQ(run.status, 0);
    EXPECT_FALSE(contains(run.output, "nuclear pedigrees"));
    EXPECT_FALSE(hasResultFile(dir, "varkel"));

    run = runProgram("varkel", postArgs({"--mspause"}), dir.path());
    EXPECT_EQ(run.status, 255);
    EXPECT_TRUE(contains(run.output, "External command: PAUSE\n"));
}

TEST(VarkelRun, SummaryOfSinglepointAnalysesWithHeterogeneity) {
    ScratchDir dir;
    writeFamily(dir);
    const RunResult run =
        runProgram("varkel", postArgs({"--singlepoint", "--nuclear", "--hlod", "--prefix", "fam"}), dir.path());
    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_TRUE(contains(run.output, "\nSummary file: fam_summary.out\n"));
    ASSERT_TRUE(dir.exists("fam_summary.out"));
    EXPECT_FALSE(hasResultFile(dir, "varkel"));
    const std::string summary = dir.read("fam_summary.out");

    EXPECT_EQ(summary.rfind(std::string(79, '-') + "\nProgram Varkel 1.9.6 -- 2011\n", 0), 0u);
    EXPECT_TRUE(contains(summary, "Pedigree file          : post.ped\n"));
    EXPECT_TRUE(contains(summary, "Parametric Linkage analysis summary - All on Lod Score Scale\n\n"
                                  "Phenotype: DISEASE_LOCUS\n"
                                  "              Marker       LodHom     Theta    NucLodHom     Theta\n"));
    EXPECT_TRUE(contains(summary, "              Marker       LodHet     Theta     Alpha"
                                  "    NucLodHet     Theta     Alpha\n"));
    EXPECT_FALSE(contains(summary, "Association analysis summary"));

    // Phase unknown, four non-recombinant meioses: LOD(0) = log10(2^3) = 3 log10 2.
    const double expectedLod = 3.0 * std::log10(2.0);
    const auto rows = rowsOf(summary, "M1");
    ASSERT_EQ(rows.size(), 2u);
    ASSERT_EQ(rows[0].size(), 5u);
    EXPECT_NEAR(std::stod(rows[0][1]), expectedLod, 1e-3);
    EXPECT_EQ(rows[0][2], "0.00");
    EXPECT_EQ(rows[0][3], rows[0][1]);  // the family is its own nuclear family
    EXPECT_EQ(rows[0][4], "0.00");
    // One family, all linked: the heterogeneity maximum is the homogeneity one at alpha 1.
    ASSERT_EQ(rows[1].size(), 7u);
    EXPECT_NEAR(std::stod(rows[1][1]), expectedLod, 1e-3);
    EXPECT_EQ(rows[1][2], "0.00");
    EXPECT_EQ(rows[1][3], "1.00");
    EXPECT_NEAR(std::stod(rows[1][4]), expectedLod, 1e-3);
    // The monomorphic marker is not analysed and has no row.
    EXPECT_TRUE(rowsOf(summary, "M2").empty());
}

TEST(VarkelRun, AssociationSummaryAfterConversionIsReproducibleWithASeed) {
    ScratchDir dir;
    writeFamily(dir);
    const std::vector<std::string> args = {"-p", "pre.ped", "-m", "map.txt", "-k", "model.txt",
                                           "--hrrrand", "--quiet", "--seed", "11"};
    RunResult run = runProgram("varkel", args, dir.path());
    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_FALSE(dir.exists("pre.ped.linkage"));
    const std::string summary = dir.read("varkel_summary.out");
    EXPECT_FALSE(contains(summary, "Parametric Linkage analysis summary"));
    EXPECT_TRUE(contains(summary, "\n\n\nAssociation analysis summary - results are p-values\n"
                                  "Phenotype: DISEASE_LOCUS\nHalplotype Relative Risk\n"));

    // One trio: child 3 received 1 and 3 (father 1/2, mother 3/4). Allele test: 2 ln(1/2) per
    // group against 4 ln(1/4) pooled, LRT 8 ln 2 at 3 df; genotype test: 1/3 against 2/4, LRT
    // 4 ln 2 at 9 df (ten genotypes of four alleles). Odd-df chi-square tails in closed form:
    auto oddTail = [](double x, int df) {
        double sum = 0.0, term = std::sqrt(x);
        for (int d = 1; d < df; d += 2) {
            sum += term;
            term *= x / (d + 2);
        }
        return std::erfc(std::sqrt(x / 2.0)) + 2.0 * std::exp(-x / 2.0) * sum / std::sqrt(2.0 * std::acos(-1.0));
    };
    const auto m1 = rowsOf(summary, "M1");
    ASSERT_EQ(m1.size(), 1u);
    ASSERT_EQ(m1[0].size(), 5u);
    EXPECT_NEAR(std::stod(m1[0][2]), oddTail(8.0 * std::log(2.0), 3), 1e-4);
    EXPECT_NEAR(std::stod(m1[0][4]), oddTail(4.0 * std::log(2.0), 9), 1e-4);
    // A monomorphic marker shows no difference at all.
    const auto m2 = rowsOf(summary, "M2");
    ASSERT_EQ(m2.size(), 1u);
    EXPECT_EQ(m2[0], (std::vector<std::string>{"M2", "1.000000", "1.000000", "1.000000", "1.000000"}));

    run = runProgram("varkel", args, dir.path());
    ASSERT_EQ(run.status, 0);
    EXPECT_EQ(dir.read("varkel_summary.out").substr(summary.find("Association")),
              summary.substr(summary.find("Association")));
}
