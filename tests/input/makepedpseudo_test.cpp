// The MAKEPED converter against a hand-worked example, its failures, FASTLINK's UNKNOWN reading
// its output, and the pre-makeped conversion of the pedigree collection running it end to end.

#include <cstdlib>
#include <sstream>

#include "input_helpers.h"

using namespace input_tests;

namespace {

// Two pedigrees, interleaved; in x2 the child comes before its parents. In fam7, A has children
// with B (C, D) and with H (G); C and E have F. One marker, alleles consistent.
const char* handWorkedInput =
    "fam7 A 0 0 1 1 1 1\nfam7 B 0 0 2 1 2 2\nx2 r C q 1 2 1 2\n\nx2 C 0 0 1 1 1 1\nfam7 C A B 1 2 1 2\n"
    "x2 q 0 0 2 1 1 2\nfam7 D A B 2 1 2 1\nfam7 E 0 0 2 1 1 1\nfam7 F C E 2 2 2 1\nfam7 H 0 0 2 1 2 2\n"
    "fam7\tG  A H 1 2 1 2\n";

// Worked by hand: persons numbered in file order within their pedigree; the first offspring is
// the first child in file order; the sibling pointers follow each parent's children.
const std::vector<std::string> handWorkedOutput = {
    "1 1 0 0 3 0 0 1 1 1 1 1 Ped: fam7 Per: A",
    "1 2 0 0 3 0 0 2 0 1 2 2 Ped: fam7 Per: B",
    "1 3 1 2 6 4 4 1 0 2 1 2 Ped: fam7 Per: C",
    "1 4 1 2 0 8 0 2 0 1 2 1 Ped: fam7 Per: D",
    "1 5 0 0 6 0 0 2 0 1 1 1 Ped: fam7 Per: E",
    "1 6 3 5 0 0 0 2 0 2 2 1 Ped: fam7 Per: F",
    "1 7 0 0 8 0 0 2 0 1 2 2 Ped: fam7 Per: H",
    "1 8 1 7 0 0 0 1 0 2 1 2 Ped: fam7 Per: G",
    "2 1 2 3 0 0 0 1 1 2 1 2 Ped: x2 Per: r",
    "2 2 0 0 1 0 0 1 0 1 1 1 Ped: x2 Per: C",
    "2 3 0 0 1 0 0 2 0 1 1 2 Ped: x2 Per: q",
};

// The non-empty lines of text with their fields joined by single blanks.
std::vector<std::string> normalised(const std::string& text) {
    std::vector<std::string> result;
    for (const std::string& line : lines(text)) {
        std::istringstream fields(line);
        std::string field, joined;
        while (fields >> field) joined += (joined.empty() ? "" : " ") + field;
        if (!joined.empty()) result.push_back(joined);
    }
    return result;
}

// Reads the map and converts fam.pre, holding input, with the built converter on the search path.
Outcome convert(Pedigrees& p, const ScratchDir& dir, const std::string& input) {
    dir.write("test.map", "CHROMOSOME HALDANE NAME\n1 0.0 M1\n");
    dir.write("fam.pre", input);
    p.setAffectionColumn(true);
    const std::string path = std::getenv("PATH");
    setenv("PATH", (std::string(VARKEL_BIN_DIR) + ":" + path).c_str(), 1);
    const Outcome r = attempt([&] { return p.readMapFile("test.map") && p.readAndConvertPreToLinkage("fam.pre"); });
    setenv("PATH", path.c_str(), 1);
    return r;
}

}  // namespace

TEST(Makepedpseudo, NumbersAndPointersMatchTheHandWorkedExampleAndUnknownReadsThem) {
    ScratchDir dir;
    dir.write("in.pre", handWorkedInput);
    const RunResult run = runProgram("makepedpseudo", {"in.pre", "pedfile.dat", "n"}, dir.path());
    ASSERT_EQ(run.status, 0) << run.errors;
    ASSERT_EQ(normalised(dir.read("pedfile.dat")), handWorkedOutput);

    // Affection status and one marker of two alleles.
    dir.write("datafile.dat", "2 0 0 5\n0 0.0 0.0 0\n1 2\n1 2\n0.99 0.01\n1\n0.01 0.9 0.9\n3 2\n0.5 0.5\n0 0\n"
                              "0.1\n1 0.1 0.45\n");
    const std::string cmd = "cd '" + dir.path() + "' && timeout 300 /usr/bin/unknown < /dev/null > unknown.out 2>&1";
    ASSERT_EQ(std::system(cmd.c_str()), 0);
    const std::string out = dir.read("unknown.out");
    EXPECT_FALSE(contains(out, "ERROR")) << out;
    // UNKNOWN rewrites every person into ipedfile.dat, keeping the pointers.
    const std::vector<std::string> rewritten = normalised(dir.read("ipedfile.dat"));
    ASSERT_EQ(rewritten.size(), handWorkedOutput.size()) << out;
    EXPECT_EQ(rewritten[2].rfind("1 3 1 2 6 4 4 1 0", 0), 0u) << rewritten[2];
    EXPECT_EQ(rewritten[8].rfind("2 1 2 3 0 0 0 1 1", 0), 0u) << rewritten[8];
}

TEST(Makepedpseudo, FailuresLeaveNoOutput) {
    const struct {
        std::string input, letter, message;
    } cases[] = {
        {"f 1 0 0 1 1\nf 2 0 0 2 1\nf 3 1 9 1 2\n", "n", "in.pre, line 3"},              // parent 9 absent
        {"f 1 0 0 1 1\nf 2 0 0 2 1\ng 1 0 0 1 1\nf 2 1 0 1 2\n", "n", "in.pre, line 4"},  // person twice
        {"f 1 0 0 1 1 1 2\nf 2 0 0 2 1 1\nf 3 1 2 1 2 1 1\n", "n", "in.pre, line 2"},    // a column short
        {"f 1 0 0 1 1\nf 2 0 0 2 1\nf 3 1 2 1 2\n", "y", "\"y\""},                       // loops answer
        {"", "n", "absent.pre"},                                                          // no input file
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.message);
        ScratchDir dir;
        if (!c.input.empty()) dir.write("in.pre", c.input);
        const std::string input = c.input.empty() ? "absent.pre" : "in.pre";
        const RunResult run = runProgram("makepedpseudo", {input, "out.post", c.letter}, dir.path());
        EXPECT_NE(run.status, 0);
        EXPECT_TRUE(contains(run.errors, c.message)) << run.errors;
        EXPECT_EQ(dir.listing().size(), c.input.empty() ? 0u : 1u);
    }
}

TEST(PremakepedConversion, ChecksConvertsAndReadsUnderTheUsersIdentifiers) {
    ScratchDir dir;
    InDirectory here(dir.path());
    std::string wrong = handWorkedInput;  // G cannot be 1/1 with parents 1/1 and 2/2
    wrong.replace(wrong.find("A H 1 2 1 2"), 11, "A H 1 2 1 1");
    Pedigrees stopped;
    const Outcome error = convert(stopped, dir, wrong);
    EXPECT_EQ(error.result, 0);
    EXPECT_TRUE(contains(error.out, "Mendelian errors found! \n"));
    EXPECT_FALSE(contains(error.out, "(Converting pedigree file"));
    EXPECT_FALSE(dir.exists("fam.pre.linkage"));

    Pedigrees p;
    const Outcome r = convert(p, dir, handWorkedInput);
    ASSERT_EQ(r.result, 1) << r.out;
    EXPECT_TRUE(contains(r.out, "(Converting pedigree file fam.pre to linkage format)\n"));
    EXPECT_EQ(p.getPedigreePersonCount(), 11);
    EXPECT_EQ(p.getOrigPedigreeID("2"), "x2");
    EXPECT_EQ(p.getNewPersonID("fam7", "C"), "3");  // C in each pedigree
    EXPECT_EQ(p.getNewPersonID("x2", "C"), "2");
    const Person* c = person(p, "1", "3");
    ASSERT_NE(c, nullptr);
    EXPECT_EQ(c->getOriginalPersonId(), "C");
    using Ids = std::vector<std::string>;  // the converter's pointers and the parents
    EXPECT_EQ((Ids{c->getFOID(), c->getNPSID(), c->getNMSID(), c->getProbandStatus()}), (Ids{"6", "4", "4", "0"}));
    const Person* r1 = person(p, "2", "1");
    EXPECT_EQ((Ids{r1->getProbandStatus(), r1->getFatherId(), r1->getMotherId()}), (Ids{"1", "2", "3"}));
    EXPECT_EQ(r1->getAlleleName(0, 1), "2");

    // Phenotype records name persons as the user wrote them.
    dir.write("test.phen", "1 age\nx2 C 41\nfam7 C 12\n");
    ASSERT_EQ(attempt([&] { return p.readPhenotypeFile("test.phen"); }).result, 1);
    EXPECT_EQ(person(p, "1", "3")->getPhenotype("age")->getValue(), "12");
    EXPECT_EQ(person(p, "2", "2")->getPhenotype("age")->getValue(), "41");
    EXPECT_EQ(person(p, "1", "1")->getPhenotype("age"), nullptr);
}

TEST(PremakepedConversion, LoopsFoundByTheCheckAreToldAgainUnderTheConvertersNumbers) {
    ScratchDir dir;
    InDirectory here(dir.path());
    // "trio" (converted 1) has none; in "cousins" (converted 2) two brothers married two
    // sisters and each couple has a child, who marry: a consanguinity loop.
    const std::string input =
        "trio f 0 0 1 1 1 1\ntrio m 0 0 2 1 1 2\ntrio c f m 1 2 1 2\n"
        "cousins 1 0 0 1 1 1 1\ncousins 2 0 0 2 1 1 1\ncousins 3 0 0 1 1 1 1\ncousins 4 0 0 2 1 1 1\n"
        "cousins 5 1 2 1 1 1 1\ncousins 6 1 2 1 1 1 1\ncousins 7 3 4 2 1 1 1\ncousins 8 3 4 2 1 1 1\n"
        "cousins 9 5 7 1 1 1 1\ncousins 10 6 8 2 1 1 1\ncousins 11 9 10 1 2 1 1\n";
    Pedigrees p;
    const Outcome r = convert(p, dir, input);
    ASSERT_EQ(r.result, 1) << r.out;
    const std::string loop = "(Atleast one marrige or consanguinty loop found from the pedigree ";
    const size_t converting = r.out.find("(Converting pedigree file fam.pre");
    ASSERT_NE(converting, std::string::npos);
    EXPECT_LT(r.out.find(loop + "cousins)\n"), converting);
    EXPECT_GT(r.out.find(loop + "2)\n"), converting);
    EXPECT_FALSE(contains(r.out, loop + "1)") || contains(r.out, loop + "trio)"));
    EXPECT_TRUE(p.isLoopsFound());
    EXPECT_EQ(p.getOrigPedigreeID("2"), "cousins");
    EXPECT_TRUE(p.hasLoop(p.getPedigrees()->find("2")));
    EXPECT_FALSE(p.hasLoop(p.getPedigrees()->find("1")));
    EXPECT_FALSE(dir.exists("family.err"));
}
