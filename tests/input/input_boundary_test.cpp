// The readers at the input boundary: files from other platforms read as the plain file,
// identifiers that look like the tree's leaves, and the bad inputs users make, each refused
// with a message that names the file, the place and the value.

#include <sstream>

#include "input/linkage_locus_file.h"
#include "input/marker_map.h"
#include "input/model.h"
#include "input_helpers.h"

using namespace input_tests;

namespace {

const std::string kMap = "CHROMOSOME HALDANE NAME\n1 0.0 M1\n1 10.0 M2\n";
// Two pedigrees of 3 and 4 persons.
const std::string kPedigree = "1 1 0 0 1 2  1 2  3 4\n1 2 0 0 2 1  1 1  3 3\n1 3 1 2 1 2  1 1  3 4\n"
                              "2 1 0 0 1 1  1 1  3 3\n2 2 0 0 2 1  2 2  4 4\n2 3 1 2 2 2  1 2  3 4\n"
                              "2 4 1 2 1 1  1 2  3 4\n";

std::string withCrLf(const std::string& text) {
    std::string out;
    for (char c : text) out += c == '\n' ? std::string("\r\n") : std::string(1, c);
    return out + "\r\n\r\n";  // trailing empty lines, as some editors leave them
}

const std::string kByteOrderMark = "\xEF\xBB\xBF";

// Map and pedigree read in a scratch directory with the settings given.
struct Reading {
    Pedigrees pedigrees;
    ScratchDir dir;
    Outcome outcome;
    Reading(const std::string& map, const std::string& pedigree, bool liability = false, bool post = false) {
        InDirectory here(dir.path());
        pedigrees.setAffectionColumn(true);
        pedigrees.setLiabilityColumn(liability);
        pedigrees.setPostMakeped(post);
        dir.write("test.map", map);
        dir.write("test.ped", pedigree);
        outcome = attempt([&] { return pedigrees.readMapFile("test.map") && pedigrees.readPedigreeFile("test.ped"); });
    }
    // Reads a further file of the given kind from the scratch directory.
    Outcome read(const std::string& kind, const std::string& content) {
        InDirectory here(dir.path());
        dir.write(kind, content);
        return attempt([&] {
            if (kind == "phen") return pedigrees.readPhenotypeFile(kind);
            if (kind == "only") return pedigrees.readOnlyMarkersFile(kind);
            if (kind == "model") return pedigrees.readModelFile(kind);
            return pedigrees.readLocusFile(kind);
        });
    }
};

// Every person as "pedigree/person father mother sex genotypes", for comparing two readings.
std::string persons(const Pedigrees& p) {
    std::string text;
    p.getPedigrees()->forEach([&](const Pedigree* pedigree) {
        pedigree->getPersonTree()->forEach([&](const Person* person) {
            text += pedigree->getPedigreeId() + "/" + person->getPersonId() + " " + person->getFatherId() + " " +
                    person->getMotherId() + " " + person->getSex();
            for (int marker : {0, 1})
                if (person->isTyped(marker))
                    text += " " + person->getAlleleName(marker, 0) + "/" + person->getAlleleName(marker, 1);
            text += "\n";
        });
    });
    return text;
}

}  // namespace

TEST(PlatformFiles, CrLfLineEndsAndByteOrderMarksReadAsThePlainFile) {
    Reading plain(kMap, kPedigree);
    ASSERT_EQ(plain.outcome.result, 1) << plain.outcome.out;
    ASSERT_EQ(plain.read("phen", "1 AGE\n1 1 40\n2 4 12\n").result, 1);
    ASSERT_EQ(plain.read("only", "1 0.0 M1\n").result, 1);
    ASSERT_EQ(plain.read("model", "0 0.01 1\n0.01 0.9 0.9\n").result, 1);
    const std::string expected = persons(plain.pedigrees);
    EXPECT_EQ(plain.pedigrees.getPedigreePersonCount(), 7);

    for (const auto& convert : {+[](const std::string& t) { return withCrLf(t); },
                                +[](const std::string& t) { return kByteOrderMark + t; },
                                +[](const std::string& t) { return kByteOrderMark + withCrLf(t); }}) {
        Reading other(convert(kMap), convert(kPedigree));
        ASSERT_EQ(other.outcome.result, 1) << other.outcome.out;
        EXPECT_EQ(persons(other.pedigrees), expected);
        EXPECT_NE(other.pedigrees.getMarkerMap()->getMarkerWithName("M1"), nullptr);
        ASSERT_EQ(other.read("phen", convert("1 AGE\n1 1 40\n2 4 12\n")).result, 1);
        EXPECT_EQ(other.pedigrees.getPhenotypeNames(), plain.pedigrees.getPhenotypeNames());
        EXPECT_EQ(person(other.pedigrees, "2", "4")->getPhenotype("AGE")->getValue(), "12");
        const Outcome only = other.read("only", convert("1 0.0 M1\n"));
        ASSERT_EQ(only.result, 1) << only.out;
        EXPECT_EQ(other.pedigrees.getOnlyMarkers(), std::vector<std::string>{"M1"});
        ASSERT_EQ(other.read("model", convert("0 0.01 1\n0.01 0.9 0.9\n")).result, 1);
        const Outcome locus = other.read(
            "dat", convert("3 0 0 5\n0 0.0 0.0 0\n1 2 3\n1 2\n0.99 0.01\n1\n0.01 0.9 0.9\n3 4\n0.25 0.25 0.25 0.25\n"
                           "3 4\n0.25 0.25 0.25 0.25\n0 0\n0.1 0.1\n1 0.1 0.45\n"));
        EXPECT_EQ(locus.result, 1) << locus.out;
    }

    // SLINK tail columns in a file before the MAKEPED conversion, and before the MAKEPED
    // columns of the converted file, are left out like the plain file's nothing.
    std::string slink, converted;
    for (const std::string& line : lines(kPedigree)) {
        slink += line + "  0 0 0 0 1 orig\n";
        std::istringstream in(line);
        std::vector<std::string> f;
        for (std::string field; in >> field;) f.push_back(field);
        // pedigree person father mother, three pointers, sex, proband, status, genotypes
        converted += f[0] + " " + f[1] + " " + f[2] + " " + f[3] + " 0 0 0 " + f[4] + " 0 " + f[5] + " " + f[6] +
                     " " + f[7] + " " + f[8] + " " + f[9] + "  0 0 0 0 1 simu  Ped: x Per: y\n";
    }
    Reading withSlink(kMap, slink);
    ASSERT_EQ(withSlink.outcome.result, 1) << withSlink.outcome.out;
    EXPECT_EQ(persons(withSlink.pedigrees), expected);
    Reading post(kMap, converted, false, true);
    ASSERT_EQ(post.outcome.result, 1) << post.outcome.out;
    EXPECT_EQ(persons(post.pedigrees), expected);
}

TEST(Identifiers, NilIsAnIdentifierLikeAnyOther) {
    // Pedigree NIL with a person NIL, a marker NIL and a phenotype NIL.
    const std::string map = "CHROMOSOME HALDANE NAME\n1 0.0 NIL\n1 10.0 M2\n";
    const std::string pedigree = "1 1 0 0 1 2  1 2  3 4\n1 2 0 0 2 1  1 1  3 3\n1 3 1 2 1 2  1 1  3 4\n"
                                 "NIL NIL 0 0 1 1  1 1  3 3\nNIL 2 0 0 2 1  2 2  4 4\nNIL 3 NIL 2 2 2  1 2  3 4\n"
                                 "NIL 4 NIL 2 1 1  1 2  3 4\n";
    Reading r(map, pedigree);
    ASSERT_EQ(r.outcome.result, 1) << r.outcome.out;
    EXPECT_EQ(r.pedigrees.getPedigreeCount(), 2);
    EXPECT_EQ(r.pedigrees.getPedigreePersonCount(), 7);
    ASSERT_NE(person(r.pedigrees, "NIL", "NIL"), nullptr);
    EXPECT_EQ(person(r.pedigrees, "NIL", "4")->getAlleleName(0, 1), "2");
    const Marker* nil = r.pedigrees.getMarkerMap()->getMarkerWithName("NIL");
    ASSERT_NE(nil, nullptr);
    EXPECT_EQ(r.pedigrees.getMarkerMap()->getMarkerName("0"), "NIL");
    ASSERT_EQ(r.read("phen", "1 NIL\nNIL NIL 2\n1 3 1\n").result, 1);
    EXPECT_EQ(person(r.pedigrees, "NIL", "NIL")->getPhenotype("NIL")->getValue(), "2");
    EXPECT_EQ(r.read("only", "1 3.0 NIL\n").result, 1);
    EXPECT_EQ(r.pedigrees.getOnlyMarkers(), std::vector<std::string>{"NIL"});
}

TEST(PedigreeReader, TheOtherLiabilityLayoutIsRefusedNamingBothReadings) {
    // Pre-makeped: 5 person columns, status, [class], two markers of two columns.
    const std::string withClass = "1 1 0 0 1 2 1  1 2  3 4\n1 2 0 0 2 1 1  1 1  3 3\n1 3 1 2 1 2 1  1 1  3 4\n";
    const std::string postWithClass =
        "1 1 0 0 3 0 0 1 1 2 1  1 2  3 4\n1 2 0 0 3 0 0 2 0 1 1  1 1  3 3\n1 3 1 2 0 0 0 1 0 2 1  1 1  3 4\n";
    const std::string postWithout =
        "1 1 0 0 3 0 0 1 1 2  1 2  3 4\n1 2 0 0 3 0 0 2 0 1  1 1  3 3\n1 3 1 2 0 0 0 1 0 2  1 1  3 4\n";
    const struct {
        std::string pedigree;
        bool liability, post;
        std::string message;
    } cases[] = {
        {withClass, false, false,
         "Line 1 of pedigree file test.ped has 11 columns: read without a liability class column they leave one "
         "column over, read with one they hold 2 marker(s) (the map has 2). Give --liab if the file has a "
         "liability class column\n"},
        {postWithClass, false, true,
         "Line 1 of pedigree file test.ped has 15 columns: read without a liability class column they leave one "
         "column over, read with one they hold 2 marker(s) (the map has 2). Give --liab if the file has a "
         "liability class column\n"},
        {postWithout, true, true,
         "Line 1 of pedigree file test.ped has 14 columns: read with a liability class column (--liab) they leave "
         "one column over, read without one they hold 2 marker(s) (the map has 2). Leave out --liab if the file "
         "has no liability class column\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.message);
        Reading r(kMap, c.pedigree, c.liability, c.post);
        EXPECT_EQ(r.outcome.result, 0);
        EXPECT_TRUE(contains(r.outcome.out, "...failed\n" + c.message)) << r.outcome.out;
    }
    Reading announced(kMap, postWithClass, true, true);
    EXPECT_EQ(announced.outcome.result, 1) << announced.outcome.out;
    EXPECT_EQ(person(announced.pedigrees, "1", "1")->getAlleleName(0, 1), "2");
}

TEST(MapFile, HeaderMustHoldExactlyThreeFields) {
    ScratchDir dir;
    dir.write("m", "CHR HALDANE POS NAME\n1 0.0 M1\n1 10.0 M2\n");
    MarkerMap map;
    const Outcome r = attempt([&] { return map.readMapFile(dir.file("m")); });
    EXPECT_EQ(r.result, 0);
    EXPECT_TRUE(contains(r.out, "...failed\nMap file " + dir.file("m") +
                                    " line 1: the header must hold exactly three fields (such as \"CHROMOSOME "
                                    "HALDANE POSITION\"), found 4: CHR HALDANE POS NAME\n"))
        << r.out;
}

TEST(PhenotypeAndOnlyMarkersFiles, BadListsAreRefusedWithFileLineAndValue) {
    const struct {
        std::string kind, content, message;
    } cases[] = {
        {"phen", "2 T1\n1 1 5 6\n", "Phenotype file phen line 1: the header gives 2 phenotype(s) but names only 1\n"},
        {"only", "", "Error: onlymarkers file only names no marker\n"},
        {"only", "\n  \r\n", "Error: onlymarkers file only names no marker\n"},
        {"only", "1 0.0 M1\n1 10.0 M2\n1 10.0 M1\n",
         "Error: onlymarkers file only line 3: marker M1 is listed twice (first at line 1)\n"},
        {"only", "1 0.0 M1\n1 10.0\n1 20.0 M2\n",
         "Error: onlymarkers file only line 2: \"1 10.0\" has no marker name (chromosome, position and name are "
         "needed)\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.content);
        Reading r(kMap, kPedigree);
        const Outcome o = r.read(c.kind, c.content);
        EXPECT_EQ(o.result, 0);
        EXPECT_TRUE(contains(o.out, "...failed\n" + c.message)) << o.out;
        if (c.kind == "phen") {
            EXPECT_FALSE(r.pedigrees.isPhenotypeRead(""));
        } else {
            EXPECT_LE(r.pedigrees.getOnlyMarkers().size(), 2u);
        }
    }
}

TEST(ModelAndLocusFiles, ValuesOutsideProbabilitiesAndMismatchesWithTheDataAreRefused) {
    // Liability classes 1 and 2 in the pedigree file.
    const std::string classes = "1 1 0 0 1 2 1  1 2  3 4\n1 2 0 0 2 1 2  1 1  3 3\n1 3 1 2 1 2 2  1 1  3 4\n";
    const std::string head = "3 0 0 5\n0 0.0 0.0 0\n1 2 3\n1 2\n0.99 0.01\n";
    const std::string markers = "3 2\n0.5 0.5\n3 4\n0.25 0.25 0.25 0.25\n0 0\n0.1 0.1\n1 0.1 0.45\n";
    const struct {
        std::string kind, content, message;
    } cases[] = {
        {"model", "0 1.5 1\n0 1 1\n", "Model file model line 1: the disease allele frequency 1.5 is outside [0, 1]\n"},
        {"model", "0 0.01 2\n0 1 1\n0.1 -0.2 1\n",
         "Model file model line 3: a penetrance of liability class 2 -0.2 is outside [0, 1]\n"},
        {"model", "1 0.01 2\n0 1 1\n0 1\n0 1 1\n0 2\n",
         "Model file model line 5: a male penetrance of liability class 2 2 is outside [0, 1]\n"},
        {"model", "0 0.01 1\n0 1 1\n",
         "Error: Person 2 of pedigree 1 has liability class 2, but the trait model has 1 liability classes"},
        {"dat", head + "1\n0 1 1.5\n" + markers,
         "Locus file dat line 7: a penetrance of liability class 1 of locus 1 1.5 is outside [0, 1]\n"},
        {"dat", "3 0 0 5\n0 0.0 0.0 0\n1 2 3\n1 2\n-0.5 1.5\n2\n0 1 1\n0 1 1\n" + markers,
         "Locus file dat line 5: an allele frequency of locus 1 -0.5 is outside [0, 1]\n"},
        {"dat", "2 0 0 5\n0 0.0 0.0 0\n1 2\n1 2\n0.99 0.01\n2\n0 1 1\n0 1 1\n3 2\n0.5 0.5\n0 0\n0.1\n1 0.1 0.45\n",
         "Error: Locus file dat holds 2 loci, but the map has 2 marker(s): the trait locus and one locus per map "
         "marker, in map order, are needed\n"},
        {"dat", head + "2\n0 1 1\n0 1 1\n3 1\n1.0\n3 4\n0.25 0.25 0.25 0.25\n0 0\n0.1 0.1\n1 0.1 0.45\n",
         "Error: Locus file dat: locus 2, for marker M1, has 1 allele(s), fewer than the data hold\n"},
        {"dat", head + "1\n0 1 1\n" + markers, "Error: Person 2 of pedigree 1 has liability class 2, but the trait "
                                               "model has 1 liability classes"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.content);
        Reading r(kMap, classes, true);
        ASSERT_EQ(r.outcome.result, 1) << r.outcome.out;
        const Outcome o = r.read(c.kind, c.content);
        EXPECT_EQ(o.result, 0);
        EXPECT_TRUE(contains(o.out, c.message)) << o.out;
        EXPECT_FALSE(r.pedigrees.isLocusFileRead());
    }
    // The model with both classes, and the locus file giving two classes, are read.
    Reading r(kMap, classes, true);
    EXPECT_EQ(r.read("model", "0 0.01 2\n0 1 1\n0.1 0.5 1\n").result, 1);
    EXPECT_EQ(r.read("dat", head + "2\n0 1 1\n0 1 1\n" + markers).result, 1);
}
