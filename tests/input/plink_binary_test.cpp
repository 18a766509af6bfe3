// PLINK binary input end to end: the same families as LINKAGE files and as .bed/.bim/.fam
// files give the same reports; damaged PLINK files are refused with the file and the line,
// and leave no report behind.

#include <random>
#include <string>
#include <vector>

#include "support/test_support.h"

using namespace testing_support;

namespace {

struct SnpData {
    std::vector<std::string> famLines;                        // family person father mother sex phenotype
    std::vector<std::vector<int>> genotypes;                  // per person per SNP: 0, 1, 2 copies of allele 2; -1 untyped
    std::vector<std::pair<std::string, std::string>> alleles;  // per SNP: allele 1, allele 2
    std::vector<double> centiMorgans;
};

// Nuclear families (two founders, three children by Mendel's laws) typed at five SNPs, a few
// genotypes untyped, and a SNP whose allele 1 is not seen in the founders.
SnpData makeFamilies() {
    SnpData data;
    data.alleles = {{"A", "G"}, {"C", "T"}, {"G", "T"}, {"A", "C"}, {"T", "G"}};
    data.centiMorgans = {0.0, 2.5, 5.0, 12.0, 20.0};
    std::mt19937 random(17);
    std::uniform_int_distribution<int> coin(0, 1), percent(0, 99);
    for (int f = 1; f <= 8; ++f) {
        std::vector<std::vector<int>> haplotypes;  // per person: two alleles (0, 1) per SNP
        for (int i = 0; i < 5; ++i) {
            const std::string family = "fam" + std::to_string(f);
            const bool founder = i < 2;
            std::vector<int> alleles(10);
            for (int m = 0; m < 5; ++m)
                for (int k = 0; k < 2; ++k)
                    alleles[2 * m + k] = founder ? (m == 4 ? 1 : coin(random))
                                                 : haplotypes[static_cast<size_t>(k)][2 * m + coin(random)];
            haplotypes.push_back(alleles);
            data.famLines.push_back(family + " p" + std::to_string(i + 1) + (founder ? " 0 0 " : " p1 p2 ") +
                                    (i == 0 ? "1" : i == 1 ? "2" : std::to_string(1 + coin(random))) + " " +
                                    (percent(random) < 10 ? "-9" : std::to_string(1 + coin(random))));
            std::vector<int> copies;
            for (int m = 0; m < 5; ++m)
                copies.push_back(percent(random) < 8 ? -1 : alleles[2 * m] + alleles[2 * m + 1]);
            data.genotypes.push_back(copies);
        }
    }
    return data;
}

// The LINKAGE files: pre-makeped pedigree file (a heterozygote as allele 1, allele 2) and map.
void writeLinkage(const ScratchDir& dir, const SnpData& data) {
    std::string pedigree;
    for (size_t p = 0; p < data.famLines.size(); ++p) {
        pedigree += data.famLines[p];
        for (size_t m = 0; m < data.alleles.size(); ++m) {
            const int copies = data.genotypes[p][m];
            const std::string& a1 = data.alleles[m].first;
            const std::string& a2 = data.alleles[m].second;
            pedigree += copies < 0 ? "  0 0" : copies == 0 ? "  " + a1 + " " + a1
                                         : copies == 1 ? "  " + a1 + " " + a2 : "  " + a2 + " " + a2;
        }
        pedigree += "\n";
    }
    dir.write("snp.pre", pedigree);
    std::string map = "CHROMOSOME HALDANE NAME\n";
    for (size_t m = 0; m < data.alleles.size(); ++m)
        map += "1 " + std::to_string(data.centiMorgans[m]) + " rs" + std::to_string(m + 1) + "\n";
    dir.write("snp.map", map);
}

// The PLINK files, the .bed packed as PLINK's format describes it: magic 6c 1b 01, then per
// SNP one byte per four persons, the first person in the low two bits; 00 allele 1 twice,
// 01 untyped, 10 heterozygous, 11 allele 2 twice.
void writePlink(const ScratchDir& dir, const SnpData& data, const std::string& prefix) {
    std::string fam, bim, bed = "\x6c\x1b\x01";
    for (const std::string& line : data.famLines) fam += line + "\n";
    const size_t persons = data.famLines.size();
    for (size_t m = 0; m < data.alleles.size(); ++m) {
        bim += "1\trs" + std::to_string(m + 1) + "\t" + std::to_string(data.centiMorgans[m]) + "\t" +
               std::to_string(1000 * (m + 1)) + "\t" + data.alleles[m].first + "\t" + data.alleles[m].second + "\n";
        std::string bytes((persons + 3) / 4, '\0');
        for (size_t p = 0; p < persons; ++p) {
            const int copies = data.genotypes[p][m];
            const int bits = copies < 0 ? 1 : copies == 0 ? 0 : copies == 1 ? 2 : 3;
            bytes[p / 4] = static_cast<char>(bytes[p / 4] | (bits << (2 * (p % 4))));
        }
        bed += bytes;
    }
    dir.write(prefix + ".fam", fam);
    dir.write(prefix + ".bim", bim);
    dir.write(prefix + ".bed", bed);
}

// A report without the lines that name the run's date and its input files.
std::string withoutDateAndInputNames(const std::string& text) {
    std::string kept;
    for (const std::string& line : lines(text)) {
        if (line.rfind("Date", 0) == 0 || line.rfind("Pedigree file", 0) == 0 || line.rfind("Map file", 0) == 0)
            continue;
        kept += line + "\n";
    }
    return kept;
}

}  // namespace

TEST(PlinkBinaryInput, TheSameFamiliesAsLinkageFilesGiveTheSameReports) {
    ScratchDir linkage, plink;
    const SnpData data = makeFamilies();
    writeLinkage(linkage, data);
    writePlink(plink, data, "snp");
    for (const ScratchDir* dir : {&linkage, &plink}) dir->write("snp.model", "0 0.01 1\n0.0 0.9 0.9\n");
    const std::vector<std::string> analyses = {"-k", "snp.model", "--singlepoint", "--hlod", "--multipoint",
                                               "--stats", "--tdt", "--hrrrand", "--seed", "5"};
    std::vector<std::string> linkageArgs = {"--ped", "snp.pre", "--map", "snp.map"};
    std::vector<std::string> plinkArgs = {"--bfile", "snp"};
    linkageArgs.insert(linkageArgs.end(), analyses.begin(), analyses.end());
    plinkArgs.insert(plinkArgs.end(), analyses.begin(), analyses.end());
    const RunResult fromLinkage = runProgram("varkel", linkageArgs, linkage.path());
    const RunResult fromPlink = runProgram("varkel", plinkArgs, plink.path());
    ASSERT_EQ(fromLinkage.status, 0) << fromLinkage.output;
    ASSERT_EQ(fromPlink.status, 0) << fromPlink.output;

    int compared = 0;
    for (const std::string& name : linkage.listing()) {
        if (name.rfind("varkel_", 0) != 0 || name.size() < 4 || name.substr(name.size() - 3) == ".ps") continue;
        ASSERT_TRUE(plink.exists(name)) << name;
        EXPECT_EQ(withoutDateAndInputNames(plink.read(name)), withoutDateAndInputNames(linkage.read(name))) << name;
        ++compared;
    }
    EXPECT_GE(compared, 12);  // singlepoint, multipoint, TDT, HRR, summary, statistics and tables
    EXPECT_FALSE(plink.exists("snp.fam.linkage"));
}

TEST(PlinkBinaryInput, DamagedFilesAreRefusedWithFileAndLineAndNoReport) {
    const SnpData data = makeFamilies();
    const struct {
        std::string what;
        std::string file, content;  // replaces that file of the good set
        std::vector<std::string> extra;
        std::string message;
    } cases[] = {
        {"wrong magic", "snp.bed", std::string("\x6c\x1b\x00", 3) + std::string(5 * 10, '\0'), {},
         "snp.bed does not start with the magic bytes of a PLINK 1 .bed file"},
        {"bed too short", "snp.bed", std::string("\x6c\x1b\x01", 3) + std::string(5 * 10 - 1, '\0'), {},
         "snp.bed has 52 bytes; 5 markers of snp.bim x 40 persons of snp.fam take 53"},
        {"fam line short", "snp.fam", "fam1 p1 0 0 1 2\nfam1 p2 0 0 2\n", {},
         "Line 2 of snp.fam has 5 fields, not the 6 of a PLINK line"},
        {"bim line long", "snp.bim", "1 rs1 0 1000 A G\n1 rs2 2.5 2000 C T x\n", {},
         "Line 2 of snp.bim has 7 fields, not the 6 of a PLINK line"},
        {"no cM", "snp.bim", "1 rs1 0 1000 A G\n1 rs2 0 2000 C T\n1 rs3 0 3000 G T\n1 rs4 0 4000 A C\n1 rs5 0 5000 T G\n",
         {"--multipoint"}, "Every marker of snp.bim is at 0 cM: multipoint linkage needs genetic positions"},
        {"with --ped", "snp.bim", "1 rs1 0 1000 A G\n", {"--ped", "x.pre"}, "--bfile takes the place of --ped"},
    };
    for (const auto& c : cases) {
        ScratchDir dir;
        writePlink(dir, data, "snp");
        dir.write("snp.model", "0 0.01 1\n0.0 0.9 0.9\n");
        dir.write(c.file, c.content);
        std::vector<std::string> args = {"--bfile", "snp", "-k", "snp.model", "--singlepoint"};
        args.insert(args.end(), c.extra.begin(), c.extra.end());
        const RunResult run = runProgram("varkel", args, dir.path());
        EXPECT_EQ(run.status, 255) << c.what;
        EXPECT_NE(run.output.find(c.message), std::string::npos) << c.what << "\n" << run.output;
        for (const std::string& name : dir.listing())
            EXPECT_TRUE(name.rfind("varkel_", 0) != 0 && name != "snp.fam.linkage") << c.what << ": " << name;
    }
}
