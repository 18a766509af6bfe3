// The native likelihood engine against FASTLINK run on the same data: the per-pedigree and
// total LODs of every table row agree (per pedigree within 1e-5, totals within 1e-4), the rows
// are the same and so are the impossible points. Simulated families with loops and untyped
// persons (several seeds), FASTLINK's own example pedigrees with three liability classes,
// X-linked families with affected males and females, pedigrees the native engine peels, two
// liability classes, a 40-allele marker, locus-file frequencies with alleles missing from the data and untyped founders
// above typed children. The LOD of a looped pedigree is compared, not its likelihood.

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <set>
#include <sstream>

#include "linkage/closed_form_reports.h"
#include "support/test_support.h"

using namespace testing_support;

namespace {

// A table as row key (every column before the LOD) -> LOD text.
std::map<std::string, std::string> lodColumn(const std::string& text, const std::string& column) {
    std::map<std::string, std::string> rows;
    std::vector<std::string> header;
    size_t lod = 0;
    for (const std::string& line : lines(text)) {
        std::vector<std::string> fields;
        std::istringstream in(line);
        for (std::string field; std::getline(in, field, '\t');) fields.push_back(field);
        if (header.empty()) {
            header = fields;
            while (lod < header.size() && header[lod] != column) ++lod;
            continue;
        }
        std::string key;
        for (size_t i = 0; i < lod && i < fields.size(); ++i) key += fields[i] + "|";
        rows[key] = lod < fields.size() ? fields[lod] : "";
    }
    return rows;
}

bool isTotal(const std::string& key) { return key.find("|ALL|") != std::string::npos; }

// Every row of the table of both runs, compared.
void expectSameTable(const std::string& fastlink, const std::string& native, const std::string& what) {
    const auto a = lodColumn(fastlink, "lod");
    const auto b = lodColumn(native, "lod");
    ASSERT_FALSE(a.empty()) << what;
    ASSERT_EQ(a.size(), b.size()) << what;
    int compared = 0;
    for (const auto& [key, value] : a) {
        const auto other = b.find(key);
        ASSERT_NE(other, b.end()) << what << ": " << key;
        char* end = nullptr;
        const double x = std::strtod(value.c_str(), &end);
        const double y = std::strtod(other->second.c_str(), nullptr);
        if (value == "NA" || value == "Inf" || value == "-Inf" || std::fabs(x) > 1e15) {
            // An impossible point is impossible in both (FASTLINK's huge negative numbers).
            EXPECT_EQ(value == "NA", other->second == "NA") << what << ": " << key;
            EXPECT_EQ(x < -1e15 || value == "-Inf", y < -1e15 || other->second == "-Inf") << what << ": " << key;
            continue;
        }
        // Values are printed to six decimals by FASTLINK: a unit of the last place on top.
        const double tolerance = (isTotal(key) ? 1e-4 : 1e-5) + 1e-9;
        EXPECT_NEAR(x, y, tolerance) << what << ": " << key;
        ++compared;
    }
    EXPECT_GT(compared, 0) << what;
}

struct Runs {
    RunResult fastlink, native;
};

// The same analysis by each engine, in directories of their own.
Runs runBoth(const ScratchDir& data, const std::vector<std::string>& args) {
    Runs runs;
    for (const std::string engine : {"fastlink", "native"}) {
        std::vector<std::string> all = args;
        for (const std::string& extra : {std::string("--engine"), engine, std::string("--prefix"), engine})
            all.push_back(extra);
        (engine == "fastlink" ? runs.fastlink : runs.native) = runProgram("varkel", all, data.path());
    }
    return runs;
}

void expectAgreement(const ScratchDir& dir, const Runs& runs, bool multipoint, const std::string& what) {
    ASSERT_EQ(runs.fastlink.status, 0) << what << runs.fastlink.output;
    ASSERT_EQ(runs.native.status, 0) << what << runs.native.output;
    EXPECT_TRUE(contains(runs.native.output, "by the native engine, 0 by FASTLINK")) << runs.native.output;
    expectSameTable(dir.read("fastlink_lod.tsv"), dir.read("native_lod.tsv"), what + " singlepoint");
    if (multipoint)
        expectSameTable(dir.read("fastlink_multipoint.tsv"), dir.read("native_multipoint.tsv"), what + " multipoint");
}

// The simulator's families of at most 12 persons (larger ones take long under the sanitizers):
// pedigree file, Kosambi map, dominant model.
void simulate(const ScratchDir& dir, const std::vector<std::string>& options) {
    std::vector<std::string> args{"--out-dir", dir.path(), "--prefix", "sim"};
    args.insert(args.end(), options.begin(), options.end());
    ASSERT_EQ(runProgram(std::string(VARKEL_BIN_DIR) + "/simulate_families", args, dir.path()).status, 0);
    std::map<std::string, int> size;
    const std::vector<std::string> all = lines(dir.read("sim.pre"));
    for (const std::string& line : all) ++size[line.substr(0, line.find(' '))];
    std::string kept;
    for (const std::string& line : all)
        if (size[line.substr(0, line.find(' '))] <= 12) kept += line + "\n";
    dir.write("sim.pre", kept);
    // The phenotype file's header, then the persons of the pedigrees kept.
    const std::vector<std::string> phenotypes = lines(dir.read("sim.phen"));
    kept = phenotypes.empty() ? "" : phenotypes.front() + "\n";
    for (size_t i = 1; i < phenotypes.size(); ++i)
        if (size[phenotypes[i].substr(0, phenotypes[i].find(' '))] <= 12) kept += phenotypes[i] + "\n";
    dir.write("sim.phen", kept);
}

// Fields of each line of a pre-makeped file, changed by `edit` and written back.
template <class Edit>
void rewritePedigree(const ScratchDir& dir, const std::string& name, Edit edit) {
    std::string text;
    for (const std::string& line : lines(dir.read(name))) {
        std::istringstream in(line);
        std::vector<std::string> fields;
        for (std::string field; in >> field;) fields.push_back(field);
        if (fields.empty()) continue;
        edit(fields);
        if (fields.empty()) continue;
        for (const std::string& field : fields) text += field + " ";
        text += "\n";
    }
    dir.write(name, text);
}

}  // namespace

TEST(EngineAgreement, SimulatedFamiliesSeveralSeeds) {
    for (const std::string seed : {"11", "12", "13"}) {
        ScratchDir dir;
        simulate(dir, {"--seed", seed, "--families", "16", "--markers", "4", "--disease-after", "2", "--max-alleles", "6", "--missing", "0.2"});
        const Runs runs = runBoth(dir, {"--ped", "sim.pre", "--map", "sim.map", "--model", "sim.model", "--phen",
                                        "sim.phen", "--singlepoint", "--nuclear", "--multipoint", "--wsize", "3",
                                        "--steps", "3", "--jobs", "2"});
        expectAgreement(dir, runs, true, "seed " + seed);
    }
}

// With a budget of 4 bits the native engine peels every pedigree without loops that has more;
// the simulated families with loops (which would be skipped) are left out of the data first.
TEST(EngineAgreement, PeeledPedigrees) {
    ScratchDir dir;
    simulate(dir, {"--seed", "14", "--families", "16", "--markers", "4", "--disease-after", "2", "--max-alleles", "6", "--missing", "0.1"});
    const std::vector<std::string> data{"--ped", "sim.pre", "--map", "sim.map", "--model", "sim.model", "--jobs", "2"};
    std::vector<std::string> probe = data;
    for (const char* option : {"--singlepoint", "--engine", "native", "--max-bits", "4", "--prefix", "probe"}) probe.push_back(option);
    const RunResult first = runProgram("varkel", probe, dir.path());
    ASSERT_EQ(first.status, 0) << first.output;
    std::set<std::string> looped;
    for (const std::string& line : lines(first.output))
        if (line.rfind("Skipping pedigree ", 0) == 0) looped.insert(closed_form::words(line)[2]);
    rewritePedigree(dir, "sim.pre", [&](std::vector<std::string>& f) {
        if (looped.count(f[0])) f.clear();
    });
    std::vector<std::string> args = data;
    for (const char* option : {"--singlepoint", "--nuclear", "--multipoint", "--wsize", "2", "--steps", "3", "--max-bits", "4", "--verbose"})
        args.push_back(option);
    const Runs runs = runBoth(dir, args);
    EXPECT_TRUE(contains(runs.native.output, "(peeled)")) << runs.native.output;
    EXPECT_FALSE(contains(runs.native.output, "Skipping pedigree")) << runs.native.output;
    expectAgreement(dir, runs, true, "peeled");
}

TEST(EngineAgreement, LiabilityClassesManyAllelesAndUntypedFounders) {
    ScratchDir dir;
    simulate(dir, {"--seed", "21", "--families", "16", "--markers", "3", "--disease-after", "1", "--min-alleles", "40", "--max-alleles", "40",
                   "--missing", "0"});
    // Two liability classes by person number; the founders of the first family untyped.
    rewritePedigree(dir, "sim.pre", [](std::vector<std::string>& f) {
        const bool founder = f[2] == "0" && f[3] == "0";
        if (founder && f[0] == "1")
            for (size_t i = 6; i < f.size(); ++i) f[i] = "0";
        f.insert(f.begin() + 6, std::to_string(std::stoi(f[1]) % 2 + 1));
    });
    dir.write("two.model", "0 0.02 2\n0.02 0.85 0.95\n0.1 0.6 0.7\n");
    const Runs runs = runBoth(dir, {"--ped", "sim.pre", "--liab", "--map", "sim.map", "--model", "two.model",
                                    "--singlepoint", "--multipoint", "--wsize", "2", "--steps", "2", "--jobs", "2"});
    expectAgreement(dir, runs, true, "two classes, 40 alleles");
}

// Double first cousins (brothers 3 and 4 married to sisters 7 and 8) and their children: a
// marriage loop, which FASTLINK breaks by doubling persons and the native engine needs not.
TEST(EngineAgreement, MarriageLoop) {
    ScratchDir dir;
    dir.write("p.ped",
              "1 1 0 0 3 0 0 1 1 2 1 2 1 2\n1 2 0 0 3 0 0 2 0 1 3 4 3 4\n1 3 1 2 9 4 4 1 0 2 1 3 1 3\n"
              "1 4 1 2 10 0 0 1 0 1 2 4 2 4\n1 5 0 0 7 0 0 1 0 1 5 6 5 6\n1 6 0 0 7 0 0 2 0 1 7 8 7 8\n"
              "1 7 5 6 9 8 8 2 0 1 5 7 5 7\n1 8 5 6 10 0 0 2 0 1 6 8 6 8\n1 9 3 7 0 10 0 1 0 2 1 5 1 5\n"
              "1 10 4 8 0 0 0 2 0 1 2 6 2 6\n");
    dir.write("m.map", "CHROMOSOME HALDANE POSITION\n1 10.0 M1\n1 20.0 M2\n");
    dir.write("d.model", "0 0.01 1\n0.01 0.9 0.9\n");
    const Runs runs = runBoth(dir, {"--post", "--ped", "p.ped", "--map", "m.map", "--model", "d.model", "--singlepoint",
                                    "--multipoint", "--wsize", "2", "--steps", "3", "--jobs", "2"});
    expectAgreement(dir, runs, true, "marriage loop");
}

TEST(EngineAgreement, XLinkedAffectedMalesAndFemales) {
    ScratchDir dir;
    // Hemizygous males are typed as their allele twice; daughters carry their father's allele.
    dir.write("x.pre",
              "1 1 0 0 1 2 1 1 3 3\n1 2 0 0 2 1 2 3 1 2\n1 3 1 2 1 2 2 2 1 1\n1 4 1 2 2 2 1 3 3 1\n"
              "1 5 1 2 1 1 3 3 2 2\n1 6 1 2 2 1 1 2 3 2\n1 7 0 0 1 1 2 2 1 1\n1 8 7 4 1 2 1 1 3 3\n"
              "1 9 7 4 2 2 2 1 1 3\n2 1 0 0 1 1 3 3 2 2\n2 2 0 0 2 2 1 2 1 3\n2 3 1 2 1 2 1 1 1 1\n"
              "2 4 1 2 2 2 2 3 2 3\n2 5 1 2 1 1 2 2 3 3\n");
    dir.write("x.map", "CHROMOSOME HALDANE POSITION\nX 10 M1\nX 25 M2\n");
    dir.write("x.model", "1 0.05 1\n0.02 0.6 0.9\n0.05 0.8\n");
    const Runs runs = runBoth(dir, {"--ped", "x.pre", "--map", "x.map", "--model", "x.model", "--xlinked",
                                    "--singlepoint", "--multipoint", "--wsize", "2", "--steps", "4", "--jobs", "2"});
    expectAgreement(dir, runs, true, "X-linked");
}

TEST(EngineAgreement, LocusFileFrequenciesWithAllelesMissingFromTheData) {
    ScratchDir dir;
    // Marker alleles 1, 3 and 5 of five; allele 2 of the second marker is nobody's.
    dir.write("d.pre",
              "1 1 0 0 1 2 1 3 1 3\n1 2 0 0 2 1 5 5 3 3\n1 3 1 2 1 2 1 5 1 3\n1 4 1 2 2 1 3 5 3 3\n"
              "1 5 1 2 2 2 1 5 1 3\n2 1 0 0 1 0 0 0 0 0\n2 2 0 0 2 0 0 0 0 0\n2 3 1 2 1 2 1 3 1 1\n"
              "2 4 1 2 2 2 1 5 1 3\n2 5 1 2 1 1 3 5 3 3\n");
    dir.write("d.map", "CHROMOSOME KOSAMBI POSITION\n1 10 M1\n1 22 M2\n");
    dir.write("d.dat",
              "3 0 0 5\n0 0.0 0.0 0\n1 2 3\n1 2\n0.98 0.02\n1\n0.03 0.9 0.9\n3 5\n0.1 0.2 0.3 0.15 0.25\n"
              "3 3\n0.5 0.2 0.3\n0 0\n0.5 0.1\n1 0.1 0.45\n");
    const Runs runs = runBoth(dir, {"--ped", "d.pre", "--map", "d.map", "--dat", "d.dat", "--freq", "u",
                                    "--singlepoint", "--multipoint", "--wsize", "2", "--steps", "3", "--jobs", "2"});
    expectAgreement(dir, runs, true, "locus file frequencies");
}

// FASTLINK's own example: its second pedigree (the first, of 25 meiosis bits, is beyond the
// native engine's memory here), with three liability classes, the trait between two markers.
// Its columns are put in this system's order (status and class, then the markers) and its
// loci in a locus file with the trait first.
TEST(EngineAgreement, FastlinkExamplePedigree) {
    const std::string example = "/usr/share/doc/fastlink/examples/pedfile.dat";
    if (readWholeFile(example).empty()) GTEST_SKIP() << "FASTLINK's example is not installed";
    ScratchDir dir;
    std::string pedigree;
    for (const std::string& line : lines(readWholeFile(example))) {
        std::istringstream in(line);
        std::vector<std::string> f;
        for (std::string field; in >> field && f.size() < 15;) f.push_back(field);
        if (f.size() < 15 || f[0] != "2") continue;
        // Columns: 9 person columns, marker 1 (2), trait status and class, marker 3 (2).
        for (size_t i = 0; i < 9; ++i) pedigree += f[i] + " ";
        pedigree += f[11] + " " + f[12] + " " + f[9] + " " + f[10] + " " + f[13] + " " + f[14] + "\n";
    }
    dir.write("fl.ped", pedigree);
    dir.write("fl.map", "CHROMOSOME HALDANE POSITION\n1 0 p105-599Ha\n1 30 p105-153Ra\n");
    dir.write("fl.dat",
              "3 0 0 5\n0 0.0 0.0 0\n1 2 3\n1 2\n0.9915 0.0085\n3\n1.0 0.14 0.0\n0.0 0.86 0.0\n1.0 0.0 0.0\n"
              "3 3\n0.32 0.16 0.52\n3 2\n0.33 0.67\n0 0\n0.5 0.2\n1 0.1 0.45\n");
    const Runs runs = runBoth(dir, {"--ped", "fl.ped", "--post", "--liab", "--map", "fl.map", "--dat", "fl.dat",
                                    "--singlepoint", "--byfamily", "--jobs", "2"});
    expectAgreement(dir, runs, false, "FASTLINK example");
}
