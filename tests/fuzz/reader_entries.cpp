#include "reader_entries.h"

#include <fstream>
#include <iostream>

#include "input/linkage_locus_file.h"
#include "input/marker_map.h"
#include "input/model.h"
#include "model/pedigrees.h"

namespace reader_fuzzing {
namespace {

const char* const kInput = "fuzz-input";
const char* const kMap = "fuzz-context.map";
const char* const kPedigree = "fuzz-context.pre";

// Two markers; the context pedigree has a liability class column (classes 1 and 2).
const char* const kMapText = "CHR HALDANE NAME\n1 0.0 M1\n1 10.0 M2\n";
const char* const kPedigreeText =
    "1 1 0 0 1 2 1 1 2 1 1\n"
    "1 2 0 0 2 1 2 1 1 2 2\n"
    "1 3 1 2 1 2 1 1 1 1 2\n"
    "1 4 1 2 2 1 2 1 2 1 2\n";

void writeFile(const char* name, const std::uint8_t* data, std::size_t size) {
    std::ofstream out(name, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
}

void writeFile(const char* name, const std::string& text) {
    writeFile(name, reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
}

// The readers report on the standard output; while fuzzing that is noise and costs time.
class QuietOutput {
public:
    QuietOutput() : saved(std::cout.rdbuf(nullptr)) {}
    ~QuietOutput() {
        std::cout.rdbuf(saved);
        std::cout.clear();
    }
    QuietOutput(const QuietOutput&) = delete;
    QuietOutput& operator=(const QuietOutput&) = delete;

private:
    std::streambuf* saved;
};

// A collection with the context map and pedigree read, as the later readers expect it.
bool readContext(Pedigrees& pedigrees) {
    writeFile(kMap, kMapText);
    writeFile(kPedigree, kPedigreeText);
    pedigrees.setAffectionColumn(true);
    pedigrees.setLiabilityColumn(true);
    return pedigrees.readMapFile(kMap) && pedigrees.readPedigreeFile(kPedigree);
}

int readPedigree(const std::uint8_t* data, std::size_t size, bool post) {
    if (size == 0) return 0;
    const std::uint8_t flags = data[0];
    writeFile(kInput, data + 1, size - 1);
    writeFile(kMap, kMapText);
    QuietOutput quiet;
    Pedigrees pedigrees;
    pedigrees.setAffectionColumn(true);
    pedigrees.setLiabilityColumn(flags & 1);
    pedigrees.setXlinked(flags & 2);
    pedigrees.setPostMakeped(post);
    if (!(flags & 4) && !pedigrees.readMapFile(kMap)) return 0;
    pedigrees.readPedigreeFile(kInput);
    return 0;
}

}  // namespace

int readPedigreePre(const std::uint8_t* data, std::size_t size) { return readPedigree(data, size, false); }

int readPedigreePost(const std::uint8_t* data, std::size_t size) { return readPedigree(data, size, true); }

int readMap(const std::uint8_t* data, std::size_t size) {
    writeFile(kInput, data, size);
    QuietOutput quiet;
    MarkerMap map;
    if (map.readMapFile(kInput) && map.getMarkerCount() > 1)
        map.getRecombinationFractionBetweenWithIndex("0", "1");
    return 0;
}

int readModel(const std::uint8_t* data, std::size_t size) {
    writeFile(kInput, data, size);
    QuietOutput quiet;
    Pedigrees pedigrees;
    if (!readContext(pedigrees)) return 0;
    if (pedigrees.readModelFile(kInput)) pedigrees.makeLinkageLocusFile();
    return 0;
}

int readLocusFile(const std::uint8_t* data, std::size_t size) {
    writeFile(kInput, data, size);
    QuietOutput quiet;
    Pedigrees pedigrees;
    if (!readContext(pedigrees)) return 0;
    if (pedigrees.readLocusFile(kInput)) {
        const LinkageLocusFile* locusFile = pedigrees.getLinkageLocusFile();
        for (int k = 0; k < locusFile->getLocusCount(); ++k) locusFile->getLocus(k)->toStringDiseaseLocus(0);
        locusFile->writeLocusFile("fuzz-output.dat", {});
    }
    return 0;
}

int readPhenotype(const std::uint8_t* data, std::size_t size) {
    writeFile(kInput, data, size);
    QuietOutput quiet;
    Pedigrees pedigrees;
    if (readContext(pedigrees)) pedigrees.readPhenotypeFile(kInput);
    return 0;
}

int readOnlyMarkers(const std::uint8_t* data, std::size_t size) {
    writeFile(kInput, data, size);
    QuietOutput quiet;
    Pedigrees pedigrees;
    if (readContext(pedigrees)) pedigrees.readOnlyMarkersFile(kInput);
    return 0;
}

int readPlinkBinary(const std::uint8_t* data, std::size_t size) {
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    const size_t bimEnd = bytes.find('\0');
    const size_t famEnd = bimEnd == std::string::npos ? std::string::npos : bytes.find('\0', bimEnd + 1);
    if (famEnd == std::string::npos) return 0;
    writeFile("fuzz-input.bim", bytes.substr(0, bimEnd));
    writeFile("fuzz-input.fam", bytes.substr(bimEnd + 1, famEnd - bimEnd - 1));
    writeFile("fuzz-input.bed", bytes.substr(famEnd + 1));
    QuietOutput quiet;
    Pedigrees pedigrees;
    pedigrees.setAffectionColumn(true);
    pedigrees.readPlinkBinaryFiles("fuzz-input", "haldane");
    return 0;
}

const std::vector<Target>& targets() {
    static const std::vector<Target> all = {
        {"pedigree_pre", readPedigreePre}, {"pedigree_post", readPedigreePost},
        {"map", readMap},                  {"model", readModel},
        {"locus_file", readLocusFile},     {"phenotype", readPhenotype},
        {"only_markers", readOnlyMarkers}, {"plink_binary", readPlinkBinary},
    };
    return all;
}

}  // namespace reader_fuzzing
