// The MAKEPED converter on its own (numbering, pointer columns, failures), FASTLINK's
// UNKNOWN reading its output, and the pre-makeped conversion of the pedigree collection
// running it end to end.

#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "model/pedigrees.h"
#include "support/test_support.h"

using namespace testing_support;

namespace {

// Two pedigrees, interleaved; in x2 the child comes before its parents. In fam7, A has
// children with B (C, D) and with H (G); C and E have F. One marker, alleles consistent.
const char* handWorkedInput =
    "fam7 A 0 0 1 1 1 1\n"
    "fam7 B 0 0 2 1 2 2\n"
    "x2 r p q 1 2 1 2\n"
    "\n"
    "x2 p 0 0 1 1 1 1\n"
    "fam7 C A B 1 2 1 2\n"
    "x2 q 0 0 2 1 1 2\n"
    "fam7 D A B 2 1 2 1\n"
    "fam7 E 0 0 2 1 1 1\n"
    "fam7 F C E 2 2 2 1\n"
    "fam7 H 0 0 2 1 2 2\n"
    "fam7\tG  A H 1 2 1 2\n";

// Worked by hand: persons numbered in file order within their pedigree; first offspring
// is the first child in file order; the sibling pointers follow each parent's children.
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
    "2 2 0 0 1 0 0 1 0 1 1 1 Ped: x2 Per: p",
    "2 3 0 0 1 0 0 2 0 1 1 2 Ped: x2 Per: q",
};

// The fields of each line joined by single blanks.
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

// Affection status locus and one marker locus with two alleles.
const char* datafile =
    "2 0 0 5\n"
    "0 0.0 0.0 0\n"
    "1 2\n"
    "1 2\n"
    "0.99 0.01\n"
    "1\n"
    "0.01 0.9 0.9\n"
    "3 2\n"
    "0.5 0.5\n"
    "0 0\n"
    "0.1\n"
    "1 0.1 0.45\n";

const char* oneMarkerMap = "CHROMOSOME HALDANE NAME\n1 0.0 M1\n";

// Puts the built programs first on the search path while it lives.
class BinDirOnPath {
public:
    BinDirOnPath() : previous(std::getenv("PATH") ? std::getenv("PATH") : "") {
        setenv("PATH", (std::string(VARKEL_BIN_DIR) + ":" + previous).c_str(), 1);
    }
    ~BinDirOnPath() { setenv("PATH", previous.c_str(), 1); }
    BinDirOnPath(const BinDirOnPath&) = delete;
    BinDirOnPath& operator=(const BinDirOnPath&) = delete;

private:
    std::string previous;
};

}  // namespace

TEST(Makepedpseudo, NumbersPersonsAndSetsPointers) {
    ScratchDir dir;
    dir.write("in.pre", handWorkedInput);
    const RunResult run = runProgram("makepedpseudo", {"in.pre", "out.post", "n"}, dir.path());
    ASSERT_EQ(0, run.status) << run.errors;
    EXPECT_EQ(handWorkedOutput, normalised(dir.read("out.post")));
    EXPECT_EQ((std::vector<std::string>{"in.pre", "out.post"}), dir.listing());
}

TEST(Makepedpseudo, UnknownReadsTheConvertedFile) {
    ScratchDir dir;
    dir.write("in.pre", handWorkedInput);
    ASSERT_EQ(0, runProgram("makepedpseudo", {"in.pre", "pedfile.dat", "n"}, dir.path()).status);
    dir.write("datafile.dat", datafile);
    const std::string command = "cd '" + dir.path() + "' && /usr/bin/unknown < /dev/null > unknown.out 2>&1";
    ASSERT_EQ(0, std::system(command.c_str()));
    const std::string out = dir.read("unknown.out");
    EXPECT_TRUE(contains(out, "Opening PEDFILE.DAT")) << out;
    EXPECT_FALSE(contains(out, "ERROR")) << out;
    // UNKNOWN rewrites every person of the pedigree file into ipedfile.dat.
    const std::vector<std::string> rewritten = normalised(dir.read("ipedfile.dat"));
    ASSERT_EQ(handWorkedOutput.size(), rewritten.size()) << out;
    EXPECT_EQ(0u, rewritten[2].rfind("1 3 1 2 6 4 4 1 0", 0)) << rewritten[2];
    EXPECT_EQ(0u, rewritten[8].rfind("2 1 2 3 0 0 0 1 1", 0)) << rewritten[8];
}

TEST(Makepedpseudo, FailuresLeaveNoOutput) {
    struct Case {
        std::string input, letter, message;
    };
    const std::vector<Case> cases = {
        {"f 1 0 0 1 1\nf 2 0 0 2 1\nf 3 1 9 1 2\n", "n", "in.pre, line 3"},            // parent 9 absent
        {"f 1 0 0 1 1\nf 2 0 0 2 1\ng 1 0 0 1 1\nf 2 1 0 1 2\n", "n", "in.pre, line 4"},  // person listed twice
        {"f 1 0 0 1 1 1 2\nf 2 0 0 2 1 1\nf 3 1 2 1 2 1 1\n", "n", "in.pre, line 2"},  // a column short
        {"f 1 0 0 1 1\nf 2 0 0 2 1\nf 3 1 2 1 2\n", "y", "\"y\""},                     // loops answer
    };
    for (const Case& c : cases) {
        ScratchDir dir;
        dir.write("in.pre", c.input);
        const RunResult run = runProgram("makepedpseudo", {"in.pre", "out.post", c.letter}, dir.path());
        EXPECT_NE(0, run.status) << c.input;
        EXPECT_TRUE(contains(run.errors, c.message)) << run.errors;
        EXPECT_EQ(std::vector<std::string>{"in.pre"}, dir.listing()) << c.input;
    }
    ScratchDir dir;
    const RunResult run = runProgram("makepedpseudo", {"missing.pre", "out.post", "n"}, dir.path());
    EXPECT_NE(0, run.status);
    EXPECT_TRUE(contains(run.errors, "missing.pre")) << run.errors;
    EXPECT_TRUE(dir.listing().empty());
}

TEST(PremakepedConversion, ConvertedFileKeepsTheUsersIdentifiers) {
    BinDirOnPath path;
    ScratchDir dir;
    dir.write("test.map", oneMarkerMap);
    dir.write("fam.pre", handWorkedInput);
    InDirectory here(dir.path());
    Pedigrees p;
    p.setAffectionColumn(true);
    int result = 0;
    const std::string out = captureOutput([&] {
        p.readMapFile("test.map");
        result = p.readAndConvertPreToLinkage("fam.pre");
    });
    ASSERT_EQ(1, result) << out;
    EXPECT_TRUE(contains(out, "(Converting pedigree file fam.pre to linkage format)\n"));
    EXPECT_TRUE(contains(out, "Reading pedigree file: fam.pre.linkage\n"));
    EXPECT_TRUE(p.isPostMakeped());
    EXPECT_TRUE(p.isConverted());
    EXPECT_EQ("fam.pre", p.getPedigreeFileName());
    EXPECT_EQ(11, p.getPedigreePersonCount());

    EXPECT_EQ("1", p.getNewPedigreeID("fam7"));
    EXPECT_EQ("x2", p.getOrigPedigreeID("2"));
    const Person* c = p.getPedigrees()->find("1")->getPerson(p.getNewPersonID("fam7", "C"));
    ASSERT_NE(nullptr, c);
    EXPECT_EQ("3", c->getPersonId());
    EXPECT_EQ("C", c->getOriginalPersonId());
    EXPECT_EQ("fam7", c->getOriginalPedigreeId());
    EXPECT_EQ("6", c->getFOID());
    EXPECT_EQ("4", c->getNPSID());
    EXPECT_EQ("4", c->getNMSID());
    EXPECT_EQ("1", c->getFatherId());
    const Person* r = p.getPedigrees()->find("2")->getPerson(p.getNewPersonID("x2", "r"));
    ASSERT_NE(nullptr, r);
    EXPECT_EQ("1", r->getProbandStatus());
    EXPECT_EQ("2", r->getFatherId());
    EXPECT_EQ("3", r->getMotherId());
    ASSERT_NE(nullptr, r->getMarker("0"));
    EXPECT_EQ("2", r->getMarker("0")->getAllele(1));
}

TEST(PremakepedConversion, StopsBeforeConverting) {
    BinDirOnPath path;
    {   // G cannot have 1/1 from parents 1/1 and 2/2
        std::string input = handWorkedInput;
        input.replace(input.find("A H 1 2 1 2"), 11, "A H 1 2 1 1");
        ScratchDir dir;
        dir.write("test.map", oneMarkerMap);
        dir.write("fam.pre", input);
        InDirectory here(dir.path());
        Pedigrees p;
        p.setAffectionColumn(true);
        int result = 1;
        const std::string out = captureOutput([&] {
            p.readMapFile("test.map");
            result = p.readAndConvertPreToLinkage("fam.pre");
        });
        EXPECT_EQ(0, result);
        EXPECT_TRUE(p.isMendelianErrorFound());
        EXPECT_TRUE(contains(out, "Mendelian errors found! \n"));
        EXPECT_FALSE(contains(out, "(Converting pedigree file"));
        EXPECT_FALSE(dir.exists("fam.pre.linkage"));
        EXPECT_EQ(0, p.getPedigreeCount());
    }
    {   // with the trim setting the converter is handed fam.pre.trimmed, which nobody wrote
        ScratchDir dir;
        dir.write("test.map", oneMarkerMap);
        dir.write("fam.pre", handWorkedInput);
        InDirectory here(dir.path());
        Pedigrees p;
        p.setAffectionColumn(true);
        p.setTrim(true);
        int result = 1;
        const std::string out = captureOutput([&] {
            p.readMapFile("test.map");
            result = p.readAndConvertPreToLinkage("fam.pre");
        });
        EXPECT_EQ(0, result);
        EXPECT_TRUE(contains(out, "...failed\nUnable to open pedigree file fam.pre.linkage for reading.\n")) << out;
    }
}
