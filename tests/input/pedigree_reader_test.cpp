// Pedigree file reader: column arithmetic against the map, genotype and phenotype coding,
// the failure messages, the totals, the generated map and the identifier lookups.

#include <string>

#include "input/marker_map.h"
#include "model/pedigrees.h"
#include "support/test_support.h"

using namespace testing_support;

namespace {

const char* twoMarkerMap = "CHROMOSOME HALDANE NAME\n1 0.0 M1\n1 10.0 M2\n";

struct Read {
    int result = -1;
    std::string output;
};

// Reads the map and the pedigree file inside the scratch directory (the checks write their
// report files into the working directory).
Read readFiles(Pedigrees& pedigrees, const ScratchDir& dir, const std::string& map, const std::string& pedigree) {
    dir.write("test.map", map);
    dir.write("test.ped", pedigree);
    InDirectory here(dir.path());
    Read read;
    read.output = captureOutput([&] {
        pedigrees.readMapFile("test.map");
        read.result = pedigrees.readPedigreeFile("test.ped");
    });
    return read;
}

Pedigrees* preMakeped(Pedigrees& p) {
    p.setAffectionColumn(true);
    p.setPostMakeped(false);
    return &p;
}

const Marker* genotype(const Pedigrees& p, const std::string& pedigree, const std::string& person,
                       const std::string& index) {
    const Pedigree* ped = p.getPedigrees()->find(pedigree);
    if (!ped) return nullptr;
    const Person* per = ped->getPerson(person);
    return per ? per->getMarker(index) : nullptr;
}

const Phenotype* phenotype(const Pedigrees& p, const std::string& pedigree, const std::string& person,
                           const std::string& name) {
    const Pedigree* ped = p.getPedigrees()->find(pedigree);
    if (!ped) return nullptr;
    const Person* per = ped->getPerson(person);
    return per ? per->getPhenotype(name) : nullptr;
}

}  // namespace

TEST(PedigreeReader, ColumnCountsAgainstTheMap) {
    {   // 5 person columns + affection + 2 x 2 alleles = 10 fields: 2 markers
        ScratchDir dir;
        Pedigrees p;
        preMakeped(p);
        const Read r = readFiles(p, dir, twoMarkerMap,
                                 "1 1 0 0 1 1  1 2  3 4\n"
                                 "1 2 0 0 2 1  1 1  3 3\n"
                                 "1 3 1 2 1 2  1 1  3 4\n");
        EXPECT_EQ(1, r.result) << r.output;
        ASSERT_NE(nullptr, genotype(p, "1", "1", "1"));
        EXPECT_EQ("3", genotype(p, "1", "1", "1")->getAllele(0));
        EXPECT_EQ("4", genotype(p, "1", "1", "1")->getAllele(1));
        EXPECT_EQ("1", genotype(p, "1", "1", "1")->getIndex());
        EXPECT_EQ("test.ped", p.getPedigreeFileName());
        EXPECT_TRUE(contains(r.output, "Reading pedigree file: test.ped\n"));
        EXPECT_TRUE(contains(r.output, "(Total number of pedigrees 1)\n(Total number of persons 3)\n"));
        EXPECT_EQ("...done.", lines(r.output).back());
        EXPECT_EQ((std::vector<std::string>{"DISEASE_LOCUS"}), p.getPhenotypeNames());
    }
    {   // a liability column makes 11 fields, still 2 markers
        ScratchDir dir;
        Pedigrees p;
        preMakeped(p)->setLiabilityColumn(true);
        const Read r = readFiles(p, dir, twoMarkerMap,
                                 "1 1 0 0 1 1 2  1 2  3 4\n"
                                 "1 2 0 0 2 1 x  1 1  3 3\n"
                                 "1 3 1 2 1 2 1  1 1  3 4\n");
        EXPECT_EQ(1, r.result) << r.output;
        ASSERT_NE(nullptr, phenotype(p, "1", "1", "LIABILITY_CLASS"));
        EXPECT_EQ("2", phenotype(p, "1", "1", "LIABILITY_CLASS")->getValue());
        EXPECT_EQ(nullptr, phenotype(p, "1", "2", "LIABILITY_CLASS"));  // "x" is unknown
        EXPECT_EQ("1", genotype(p, "1", "3", "0")->getAllele(0));
        EXPECT_EQ((std::vector<std::string>{"DISEASE_LOCUS", "LIABILITY_CLASS"}), p.getPhenotypeNames());
    }
    {   // post-makeped with the four MAKEPED tail fields: 9 + 1 + 4 + 4 fields
        ScratchDir dir;
        Pedigrees p;
        p.setAffectionColumn(true);
        p.setPostMakeped(true);
        const Read r = readFiles(p, dir, twoMarkerMap,
                                 "1 1 0 0 3 0 0 1 1 1  1 2  3 4  Ped: f1 Per: a\n"
                                 "1 2 0 0 3 0 0 2 0 1  1 1  3 3  Ped: f1 Per: b\n"
                                 "1 3 1 2 0 0 0 1 0 2  1 1  3 4  Ped: f1 Per: c\n");
        EXPECT_EQ(1, r.result) << r.output;
        EXPECT_TRUE(contains(r.output, "(Pedigree file contains MAKEPED extra columns at the end...ignoring them)\n"));
        const Person* child = p.getPedigrees()->find("1")->getPerson("3");
        EXPECT_EQ("0", child->getFOID());
        EXPECT_EQ("1", child->getFatherId());
        EXPECT_EQ("1", p.getPedigrees()->find("1")->getPerson("1")->getProbandStatus());
        EXPECT_EQ("0", p.getPedigrees()->find("1")->getPerson("1")->getNMSID());
        EXPECT_EQ("3", p.getPedigrees()->find("1")->getPerson("2")->getFOID());
        // Without the converted flag the tail is ignored, not taken as the user's identifiers.
        EXPECT_EQ("", child->getOriginalPersonId());
        EXPECT_EQ("3", genotype(p, "1", "3", "1")->getAllele(0));
    }
    {   // six SLINK columns ending in "orig"
        ScratchDir dir;
        Pedigrees p;
        preMakeped(p);
        const Read r = readFiles(p, dir, twoMarkerMap,
                                 "1 1 0 0 1 1  1 2  3 4  0 0 0 0 1 orig\n"
                                 "1 2 0 0 2 1  1 1  3 3  0 0 0 0 1 orig\n"
                                 "1 3 1 2 1 2  1 1  3 4  0 0 0 0 1 orig\n");
        EXPECT_EQ(1, r.result) << r.output;
        EXPECT_TRUE(contains(r.output, "(Pedigree file contains SLINK extra columns at the end...ignoring them)\n"));
        EXPECT_EQ(nullptr, genotype(p, "1", "1", "2"));
    }
    {   // map of 3 markers, file of 2
        ScratchDir dir;
        Pedigrees p;
        preMakeped(p);
        const Read r = readFiles(p, dir, "CHR haldane NAME\n1 0 M1\n1 5 M2\n1 9 M3\n",
                                 "1 1 0 0 1 1  1 2  3 4\n1 2 0 0 2 1  1 1  3 3\n1 3 1 2 1 2  1 1  3 4\n");
        EXPECT_EQ(0, r.result);
        EXPECT_TRUE(contains(r.output, "...failed\nPedigree file contains 2 marker(s) and mapfile claims 3\n"));
        EXPECT_FALSE(p.isPedigreeFileRead());
    }
    {   // one line short of a field
        ScratchDir dir;
        Pedigrees p;
        preMakeped(p);
        const Read r = readFiles(p, dir, twoMarkerMap,
                                 "1 1 0 0 1 1  1 2  3 4\n1 2 0 0 2 1  1 1  3\n1 3 1 2 1 2  1 1  3 4\n");
        EXPECT_EQ(0, r.result);
        EXPECT_TRUE(contains(r.output, "...failed\nUnable to read pedigree file that hasn't a standard column count\n"));
    }
    {
        ScratchDir dir;
        Pedigrees p;
        preMakeped(p);
        InDirectory here(dir.path());
        int result = -1;
        const std::string out = captureOutput([&] { result = p.readPedigreeFile("absent.ped"); });
        EXPECT_EQ(0, result);
        EXPECT_EQ("Reading pedigree file: absent.ped\n...failed\nUnable to open pedigree file absent.ped for reading.\n",
                  out);
    }
}

TEST(PedigreeReader, MissingAndHalfTypedGenotypes) {
    {
        ScratchDir dir;
        Pedigrees p;
        preMakeped(p);
        const Read r = readFiles(p, dir, twoMarkerMap,
                                 "7 1 0 0 1 1  0 0  12 4\n"
                                 "7 2 0 0 2 1  - 3  3 3\n"
                                 "7 3 1 2 1 2  2 .  12 3\n");
        EXPECT_EQ(1, r.result) << r.output;
        EXPECT_EQ(nullptr, genotype(p, "7", "1", "0"));  // 0 0
        EXPECT_EQ(nullptr, genotype(p, "7", "2", "0"));  // - 3
        EXPECT_EQ(nullptr, genotype(p, "7", "3", "0"));  // 2 .
        ASSERT_NE(nullptr, genotype(p, "7", "1", "1"));
        EXPECT_EQ("12", genotype(p, "7", "1", "1")->getAllele(0));  // alleles kept as written
        EXPECT_EQ(1, p.getPedigrees()->find("7")->getPerson("1")->getMarkerTree()->getCount());
    }
    {
        ScratchDir dir;
        Pedigrees p;
        preMakeped(p);
        const Read r = readFiles(p, dir, twoMarkerMap,
                                 "7 1 0 0 1 1  1 1  3 4\n"
                                 "7 2 0 0 2 1  1 2  3 3\n"
                                 "7 3 1 2 1 2  2 1  1 0\n");
        EXPECT_EQ(0, r.result);
        EXPECT_TRUE(contains(r.output, "...failed\nPedigree 7 Person 3 halftyped (1/0) at marker_index: 1, line 3\n"
                                       " *** Problem with pedigree file format? ***\n"));
        // the failing person is not added; the ones before stay
        EXPECT_EQ(nullptr, p.getPedigrees()->find("7")->getPerson("3"));
        EXPECT_NE(nullptr, p.getPedigrees()->find("7")->getPerson("2"));
    }
}

TEST(PedigreeReader, SexAffectionAndLiabilityCoding) {
    {
        ScratchDir dir;
        Pedigrees p;
        preMakeped(p);
        const Read r = readFiles(p, dir, twoMarkerMap,
                                 "1 1 0 0 1 0   1 2  3 4\n"
                                 "1 2 0 0 2 -9  1 1  3 3\n"
                                 "1 3 1 2 1 2   1 1  3 4\n"
                                 "1 4 1 2 2 x   1 2  3 3\n");
        EXPECT_EQ(1, r.result) << r.output;
        EXPECT_EQ(nullptr, phenotype(p, "1", "1", "DISEASE_LOCUS"));
        EXPECT_EQ(nullptr, phenotype(p, "1", "2", "DISEASE_LOCUS"));
        EXPECT_EQ(nullptr, phenotype(p, "1", "4", "DISEASE_LOCUS"));
        ASSERT_NE(nullptr, phenotype(p, "1", "3", "DISEASE_LOCUS"));
        EXPECT_EQ("2", phenotype(p, "1", "3", "DISEASE_LOCUS")->getValue());
    }
    {
        ScratchDir dir;
        Pedigrees p;
        preMakeped(p);
        const Read r = readFiles(p, dir, twoMarkerMap,
                                 "1 1 0 0 1 1  1 2  3 4\n1 2 0 0 0 1  1 1  3 3\n1 3 1 2 1 2  1 1  3 4\n");
        EXPECT_EQ(0, r.result);
        EXPECT_TRUE(contains(r.output, "...failed\nUnknown gender status: Pedigree: 1 Person: 2 sex: 0\n"));
    }
    {
        ScratchDir dir;
        Pedigrees p;
        preMakeped(p)->setLiabilityColumn(true);
        const Read r = readFiles(p, dir, twoMarkerMap,
                                 "1 1 0 0 1 1 1  1 2  3 4\n1 2 0 0 2 1 0  1 1  3 3\n1 3 1 2 1 2 1  1 1  3 4\n");
        EXPECT_EQ(0, r.result);
        EXPECT_TRUE(contains(r.output, "...failed\nLiability class can't be 0 at line: 2\n"));
    }
}

TEST(PedigreeReader, PedigreesPersonsAndChecks) {
    {   // persons of a pedigree need not be consecutive; the sixth line repeats person 2
        ScratchDir dir;
        Pedigrees p;
        preMakeped(p);
        const Read r = readFiles(p, dir, twoMarkerMap,
                                 "1 1 0 0 1 1  1 2  3 4\n"
                                 "2 1 0 0 1 1  1 2  3 4\n"
                                 "1 2 0 0 2 1  1 1  3 3\n"
                                 "2 2 0 0 2 1  1 1  3 3\n"
                                 "1 3 1 2 1 2  1 1  3 4\n"
                                 "1 2 0 0 2 1  1 1  3 3\n");
        EXPECT_EQ(0, r.result);
        EXPECT_TRUE(contains(r.output, "...failed\nDuplicate person at line: 6 personid: 2\n"
                                       " *** Problem with pedigree file format? ***\n"));
        EXPECT_EQ(2, p.getPedigreeCount());
        EXPECT_EQ(3, p.getPedigrees()->find("1")->getPersonTree()->getCount());
    }
    {   // interleaved pedigrees, totals, X-linked data skip the Mendelian check
        ScratchDir dir;
        Pedigrees p;
        preMakeped(p)->setXlinked(true);
        const Read r = readFiles(p, dir, twoMarkerMap,
                                 "a 1 0 0 1 1  1 2  3 4\n"
                                 "b 1 0 0 1 1  1 2  3 4\n"
                                 "a 2 0 0 2 1  1 1  3 3\n"
                                 "b 2 0 0 2 1  1 1  3 3\n"
                                 "a 3 1 2 1 2  1 1  3 4\n"
                                 "b 3 1 2 2 2  1 1  3 3\n"
                                 "b 4 1 2 2 2  1 2  4 3\n");
        EXPECT_EQ(1, r.result) << r.output;
        EXPECT_TRUE(contains(r.output, "(Total number of pedigrees 2)\n(Total number of persons 7)\n"));
        EXPECT_TRUE(contains(r.output, "(Mendelian error check disabled for X-linked data)\n"));
        EXPECT_TRUE(p.isPedigreeFileRead());
        EXPECT_EQ(4, p.getPedigrees()->find("b")->getPersonTree()->getCount());
    }
    {   // a child with an allele neither parent has: reported, but the read succeeds
        ScratchDir dir;
        Pedigrees p;
        preMakeped(p);
        const Read r = readFiles(p, dir, twoMarkerMap,
                                 "1 1 0 0 1 1  1 1  3 4\n1 2 0 0 2 1  1 1  3 3\n1 3 1 2 1 2  1 1  5 5\n");
        EXPECT_EQ(1, r.result) << r.output;
        EXPECT_TRUE(contains(r.output, "Mendelian errors found! \n"));
        EXPECT_TRUE(p.isMendelianErrorFound());
        EXPECT_TRUE(dir.exists("mendel.err"));
    }
    {   // a pedigree of two persons fails the structure check
        ScratchDir dir;
        Pedigrees p;
        preMakeped(p);
        const Read r = readFiles(p, dir, twoMarkerMap,
                                 "1 1 0 0 1 1  1 2  3 4\n1 2 0 0 2 1  1 1  3 3\n1 3 1 2 1 2  1 1  3 4\n"
                                 "2 1 0 0 1 1  1 2  3 4\n2 2 1 0 2 1  1 1  3 3\n");
        EXPECT_EQ(0, r.result);
        EXPECT_TRUE(dir.exists("family.err"));
        EXPECT_FALSE(contains(r.output.substr(r.output.find("Reading pedigree file")), "...done."));
    }
}

TEST(PedigreeReader, GeneratedMapWhenTheMapHasNoMarkers) {
    {
        ScratchDir dir;
        Pedigrees p;
        preMakeped(p);
        const Read r = readFiles(p, dir, "CHROMOSOME HALDANE NAME\n",
                                 "1 1 0 0 1 1  1 2  3 4  5 6\n"
                                 "1 2 0 0 2 1  1 1  3 3  5 5\n"
                                 "1 3 1 2 1 2  1 1  3 4  5 6\n");
        EXPECT_EQ(1, r.result) << r.output;
        EXPECT_EQ(3, p.getMarkerCount());  // (12 - 6) / 2
        EXPECT_NE(nullptr, p.getMarkerMap()->getMarkerWithName("MARKER3"));
        EXPECT_EQ("5", genotype(p, "1", "1", "2")->getAllele(0));
    }
    {   // MAKEPED tail columns do not count as markers
        ScratchDir dir;
        Pedigrees p;
        p.setAffectionColumn(true);
        p.setPostMakeped(true);
        dir.write("test.ped", "1 1 0 0 3 0 0 1 1 1  1 2  Ped: f Per: a\n1 2 0 0 3 0 0 2 0 1  1 1  Ped: f Per: b\n");
        InDirectory here(dir.path());
        int result = 0;
        captureOutput([&] { result = p.makeMapFile("test.ped"); });
        EXPECT_EQ(1, result);
        EXPECT_EQ(1, p.getMarkerCount());
    }
    {
        ScratchDir dir;
        Pedigrees p;
        preMakeped(p);
        const Read r = readFiles(p, dir, "CHROMOSOME HALDANE NAME\n",
                                 "1 1 0 0 1 1  1 2  3 4\n1 2 0 0 2 1  1 1\n1 3 1 2 1 2  1 1  3 4\n");
        EXPECT_EQ(0, r.result);
        EXPECT_TRUE(contains(
            r.output, "...failed\nUnable to generate mapfile for pedigree file that hasn't a standard column count\n"));
    }
}

TEST(PedigreeReader, UserIdentifiersOfAConvertedFile) {
    ScratchDir dir;
    Pedigrees p;
    p.setAffectionColumn(true);
    p.setPostMakeped(true);
    p.setConverted(true);
    p.setPedigreeFileName("family.pre");
    const Read r = readFiles(p, dir, twoMarkerMap,
                             "1 1 0 0 3 0 0 1 1 1  1 2  3 4  Ped: smith  Per: john\n"
                             "1 2 0 0 3 0 0 2 0 1  1 1  3 3  Ped: smith  Per: mary\n"
                             "1 3 1 2 0 0 0 1 0 2  1 1  3 4  Ped: smith  Per: kid\n"
                             "2 1 0 0 3 0 0 1 1 1  1 2  3 4  Ped: jones  Per: kid\n"
                             "2 2 0 0 3 0 0 2 0 1  1 1  3 3  Ped: jones  Per: ann\n"
                             "2 3 1 2 0 0 0 1 0 2  1 1  3 4  Ped: jones  Per: bob\n");
    ASSERT_EQ(1, r.result) << r.output;
    EXPECT_EQ("family.pre", p.getPedigreeFileName());  // the user's file, not the converted one
    EXPECT_EQ("smith", p.getOrigPedigreeID("1"));
    EXPECT_EQ("jones", p.getOrigPedigreeID("2"));
    EXPECT_EQ("", p.getOrigPedigreeID("3"));
    EXPECT_EQ("2", p.getNewPedigreeID("jones"));
    EXPECT_EQ("", p.getNewPedigreeID("brown"));
    EXPECT_EQ("3", p.getNewPersonID("smith", "kid"));
    EXPECT_EQ("1", p.getNewPersonID("jones", "kid"));
    EXPECT_EQ("", p.getNewPersonID("smith", "ann"));
    EXPECT_EQ("", p.getNewPersonID("brown", "kid"));
    const Person* mary = p.getPedigrees()->find("1")->getPerson("2");
    EXPECT_EQ("mary", mary->getOriginalPersonId());
    EXPECT_EQ("smith", mary->getOriginalPedigreeId());
}
