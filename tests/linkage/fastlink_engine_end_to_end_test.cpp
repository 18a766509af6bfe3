// Studies beyond what one FASTLINK run accepts, the user's locus file against FASTLINK run by
// hand, liability classes and pedigree ids, all through the built program.

#include <regex>

#include "linkage/closed_form_reports.h"

using namespace testing_support;
using namespace closed_form;

namespace {

const char* const kDominantModel = "0 0.0001 1\n0.0 1.0 1.0\n";

// Pre-makeped lines of `families` families: an affected father (D1 1/2, M40 a/b), an
// unaffected mother (3/3, c/c) and 3 to 5 children, every fourth family with one recombinant.
// A child agrees with the phase "D on 1 and a" when it is affected and got 1 and a, or is
// unaffected and got 2 and b. M40 has 40 alleles in the study, three in each family.
std::string dominantFamilies(int families, Families& lods) {
    std::ostringstream out;
    for (int f = 1; f <= families; ++f) {
        const std::string a = std::to_string(3 * f % 40 + 1), b = std::to_string((3 * f + 1) % 40 + 1),
                          c = std::to_string((3 * f + 2) % 40 + 1);
        out << f << " 1 0 0 1 2 1 2 " << a << " " << b << "\n" << f << " 2 0 0 2 1 3 3 " << c << " " << c << "\n";
        const int children = 3 + f % 3, recombinants = f % 4 == 0 ? 1 : 0;
        for (int j = 0; j < children; ++j) {
            const bool affected = j % 2 == 0, agrees = j >= recombinants;
            const bool gotFirst = affected == agrees;  // got 1 and a from the father
            out << f << " " << j + 3 << " 1 2 " << 1 + j % 2 << " " << (affected ? 2 : 1) << " "
                << (gotFirst ? "1 3 " + a : "2 3 " + b) << " " << c << "\n";
        }
        lods[std::to_string(f)] = phaseUnknown(children - recombinants, recombinants);
    }
    return out.str();
}

Families renamed(const Families& families, const std::string& suffix) {
    Families result;
    for (const auto& family : families) result[family.first + suffix] = family.second;
    return result;
}

// FASTLINK's lines (its banners, pedigree counters, allele diagnostics) never reach the console.
void expectNoFastlinkOutput(const RunResult& run) {
    for (const char* line : {"Program UNKNOWN", "YOU ARE USING", "Ped.  1", "ALLELE", "Opening", "MLINK version"})
        EXPECT_FALSE(contains(run.output + run.errors, line)) << line;
}

// The text of a run without its date lines and with its output prefix replaced by "P".
std::string undated(const std::string& text, const std::string& prefix) {
    // Dates, and the run's elapsed time, which a loaded machine changes from run to run.
    const std::string withoutDates = std::regex_replace(
        text, std::regex("[^\n]*[0-9][0-9]:[0-9][0-9]:[0-9][0-9][^\n]*\n|Elapsed time: [^\n]*\n"), "");
    return std::regex_replace(withoutDates, std::regex("prefix: " + prefix + "|" + prefix + "_"), "P");
}

}  // namespace

// 400 families (2,000 persons, 400 nuclear families): more pedigrees and persons than one run
// takes, and a marker with more alleles than FASTLINK accepts at one locus.
TEST(LargeStudy, FourHundredFamiliesAndAFortyAlleleMarkerMatchClosedFormsWholeAndNuclear) {
    ScratchDir dir;
    Families lods;
    dir.write("p.pre", dominantFamilies(400, lods));
    dir.write("m.map", "CHROMOSOME HALDANE POSITION\n1 10.0 D1\n1 20.0 M40\n");
    dir.write("d.model", kDominantModel);
    const RunResult run = runProgram("varkel",
                                     {"--ped", "p.pre", "--map", "m.map", "--model", "d.model", "--singlepoint",
                                      "--nuclear", "--byfamily", "--hlod", "--jobs", "2"},
                                     dir.path());
    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_TRUE(contains(run.output, "(Total number of pedigrees 400)")) << run.output;
    EXPECT_FALSE(contains(run.output, "Skipping")) << run.output;
    expectNoFastlinkOutput(run);
    for (const char* marker : {"D1", "M40"}) {
        SCOPED_TRACE(marker);
        expectClosedFormReports(dir, "varkel_singlepoint", marker, lods);
        // Every family is one nuclear family, named by its pedigree and its number in it.
        expectClosedFormReports(dir, "varkel_singlepoint_nuc", marker, renamed(lods, "-1"));
    }
}

// Alleles 2 and 3 of a three-allele locus in the data: each keeps the frequency the locus file
// gives it, as FASTLINK run by hand on the file's own allele numbers computes.
TEST(UserLocusFile, FrequenciesFollowTheAlleleNamesAsFastlinkByHand) {
    ScratchDir dir;
    // Untyped parents make the LOD depend on the frequencies of the typed alleles.
    const std::string pedigree =
        "1 1 0 0 3 0 0 1 1 2 2 3\n1 2 0 0 3 0 0 2 0 1 0 0\n1 3 1 2 0 4 4 1 0 2 2 2\n1 4 1 2 0 5 5 2 0 1 3 3\n"
        "1 5 1 2 0 0 0 2 0 2 2 3\n2 1 0 0 3 0 0 1 1 2 0 0\n2 2 0 0 3 0 0 2 0 1 3 3\n2 3 1 2 0 4 4 1 0 2 2 3\n"
        "2 4 1 2 0 5 5 2 0 1 3 3\n2 5 1 2 0 0 0 1 0 2 2 3\n";
    const std::string loci = "1 2\n0.99 0.01\n1\n0.01 0.9 0.9\n3 3\n0.32 0.16 0.52\n0 0\n";
    dir.write("p.ped", pedigree);
    dir.write("m.map", "CHROMOSOME HALDANE POSITION\n1 10.0 M3\n");
    dir.write("user.dat", "2 0 0 5\n0 0.0 0.0 0\n1 2\n" + loci + "0.5\n1 0.1 0.45\n");
    const RunResult run = runProgram(
        "varkel", {"--post", "--ped", "p.ped", "--map", "m.map", "--dat", "user.dat", "--singlepoint", "--byfamily",
                    "--engine", "fastlink"},
        dir.path());
    ASSERT_EQ(run.status, 0) << run.output;

    ScratchDir byHand;
    byHand.write("pedfile.dat", pedigree);
    byHand.write("datafile.dat", "2 0 0 5\n0 0.0 0.0 0\n1 2\n" + loci + "0.0\n1 0.02 0.49\n");
    ASSERT_EQ(std::system(("cd '" + byHand.path() + "' && unknown < /dev/null > /dev/null 2>&1 && "
                           "mlink < /dev/null > /dev/null 2>&1").c_str()),
              0);
    const std::unique_ptr<MLinkMarker> expected(MLink::readResultsFile(byHand.file("outfile.dat"), 2));
    ASSERT_TRUE(expected && expected->getLikelihoodsNames().size() == 26u);

    const std::vector<std::string> table = lines(dir.read("varkel_singlepoint_by_family.out"));
    const size_t at = std::find(table.begin(), table.end(), "Marker: M3") - table.begin() + 3;
    ASSERT_LT(at + 2, table.size());
    const std::vector<std::string> thetas = words(table[at]);
    double differsFromEqualFrequencies = 0.0;
    for (size_t row = 1; row <= 2; ++row) {
        const std::vector<std::string> values = words(table[at + row]);
        ASSERT_EQ(values.size(), 27u);
        for (size_t t = 0; t < 26; ++t) {
            const double lod = expected->getLikelihoods(number(thetas[t]))->getLikelihood(values[0])->getLodScore();
            EXPECT_NEAR(number(values[t + 1]), lod, 6e-6) << values[0] << " theta " << thetas[t];
            differsFromEqualFrequencies += std::fabs(lod);
        }
    }
    EXPECT_GT(differsFromEqualFrequencies, 0.1);

    // An allele the locus file does not define stops the run.
    dir.write("p.ped", pedigree + "2 6 1 2 0 0 0 1 0 1 4 3\n");
    const RunResult undefined = runProgram(
        "varkel", {"--post", "--ped", "p.ped", "--map", "m.map", "--dat", "user.dat", "--singlepoint"}, dir.path());
    EXPECT_EQ(undefined.status, 255);
    EXPECT_TRUE(contains(undefined.output, "Error: Marker M3 has allele 4 in the pedigree file, which its locus in the "
                                           "LINKAGE locus file does not define (alleles 1 to 3)\n"))
        << undefined.output;
}

// The liability class goes to FASTLINK with the status: two identical classes give the LOD of
// one; a class whose penetrances do not depend on the genotype takes its persons' status out
// (their children then count as neither agreeing nor recombinant); the class column is no trait.
TEST(LiabilityClasses, ReachFastlinkAndAreNoTrait) {
    ScratchDir dir;
    // Pre-makeped with a class column: the father and two affected, agreeing children in class
    // 1; one agreeing and one recombinant child in class 2.
    dir.write("p.pre", "1 1 0 0 1 2 1 1 2\n1 2 0 0 2 1 1 3 3\n1 3 1 2 1 2 1 1 3\n1 4 1 2 2 2 1 1 3\n"
                       "1 5 1 2 1 1 2 2 3\n1 6 1 2 2 2 2 2 3\n");
    dir.write("m.map", "CHROMOSOME HALDANE POSITION\n1 10.0 D1\n");
    const struct {
        std::string model;
        Lod lod;
    } cases[] = {{"0 0.0001 2\n0.0 1.0 1.0\n0.0 1.0 1.0\n", phaseUnknown(3, 1)},
                 {"0 0.0001 2\n0.0 1.0 1.0\n0.5 0.5 0.5\n", phaseUnknown(2, 0)}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.model);
        dir.write("d.model", c.model);
        const RunResult run = runProgram("varkel",
                                         {"--liab", "--ped", "p.pre", "--map", "m.map", "--model", "d.model",
                                          "--singlepoint", "--byfamily", "--hlod"},
                                         dir.path());
        ASSERT_EQ(run.status, 0) << run.output;
        EXPECT_FALSE(contains(run.output, "LIABILITY_CLASS")) << run.output;
        expectClosedFormReports(dir, "varkel_singlepoint", "D1", {{"1", c.lod}});
    }
    // A model of one class for data of two would analyse class 2 as class 1.
    dir.write("d1.model", "0 0.0001 1\n0.0 1.0 1.0\n");
    const RunResult oneClass = runProgram(
        "varkel", {"--liab", "--ped", "p.pre", "--map", "m.map", "--model", "d1.model", "--singlepoint"}, dir.path());
    EXPECT_EQ(oneClass.status, 255);
    EXPECT_TRUE(contains(oneClass.output,
                         "Error: Person 5 of pedigree 1 has liability class 2, but the trait model has 1 liability "
                         "classes\n"))
        << oneClass.output;
    dir.write("p3.pre", "1 1 0 0 1 2 3 1 2\n1 2 0 0 2 1 1 3 3\n1 3 1 2 1 2 1 1 3\n");
    dir.write("d2.model", "0 0.0001 2\n0.0 1.0 1.0\n0.0 1.0 1.0\n");
    const RunResult outside = runProgram(
        "varkel", {"--liab", "--ped", "p3.pre", "--map", "m.map", "--model", "d2.model", "--singlepoint"}, dir.path());
    EXPECT_EQ(outside.status, 255);
    EXPECT_TRUE(contains(outside.output,
                         "Error: Person 1 of pedigree 1 has liability class 3, but the trait model has 2 liability "
                         "classes\n"))
        << outside.output;
    dir.write("plain.pre", "1 1 0 0 1 2 1 2\n1 2 0 0 2 1 3 3\n1 3 1 2 1 2 1 3\n");
    const RunResult noColumn = runProgram(
        "varkel", {"--ped", "plain.pre", "--map", "m.map", "--model", "d2.model", "--singlepoint"}, dir.path());
    EXPECT_EQ(noColumn.status, 255);
    EXPECT_TRUE(contains(noColumn.output, "pedigree file has no liability class column (--liab)")) << noColumn.output;
}

// Pedigree ids that are no numbers reach FASTLINK as numbers and the reports as they were
// given; the results do not depend on the number of parallel jobs.
TEST(PedigreeIds, AlphanumericIdsAndParallelJobsGiveTheSameReports) {
    ScratchDir dir;
    Families lods;
    const std::string families = dominantFamilies(12, lods);
    std::string named;
    for (const std::string& line : lines(families)) named += "F" + line + "\n";
    dir.write("numbers.pre", families);
    dir.write("names.pre", named);
    dir.write("m.map", "CHROMOSOME HALDANE POSITION\n1 10.0 D1\n1 20.0 M40\n");
    dir.write("d.model", kDominantModel);
    const auto run = [&](const std::string& pedigree, const std::string& jobs, const std::string& prefix) {
        const RunResult result = runProgram("varkel",
                                            {"--ped", pedigree, "--map", "m.map", "--model", "d.model", "--singlepoint",
                                             "--nuclear", "--byfamily", "--hlod", "--singlepointcurves", "--jobs",
                                             jobs, "--prefix", prefix, "--seed", "1"},  // reports state the seed
                                            dir.path());
        EXPECT_EQ(result.status, 0) << result.output;
        return result;
    };
    run("numbers.pre", "2", "numbers");
    const RunResult one = run("names.pre", "1", "one");
    const RunResult two = run("names.pre", "2", "two");
    expectClosedFormReports(dir, "numbers_singlepoint", "M40", lods);
    Families prefixed;
    for (const auto& family : lods) prefixed["F" + family.first] = family.second;
    expectClosedFormReports(dir, "one_singlepoint", "M40", prefixed);
    expectClosedFormReports(dir, "two_singlepoint_nuc", "D1", renamed(prefixed, "-1"));

    EXPECT_EQ(undated(one.output, "one"), undated(two.output, "two"));
    size_t compared = 0;
    for (const std::string& file : dir.listing()) {
        if (file.rfind("one_", 0) != 0) continue;
        const std::string twin = "two_" + file.substr(4);
        EXPECT_EQ(undated(dir.read(file), "one"), undated(dir.read(twin), "two")) << file;
        ++compared;
    }
    // Seven reports and plots per analysis; the LOD and heterogeneity tables, the scan figure
    // and the summary.
    EXPECT_EQ(compared, 18u);
}
