// Reader of PLINK binary files: the markers of the .bim file become the map, the persons of
// the .fam file (family, person, father, mother, sex, phenotype: the columns of a pre-MAKEPED
// file with its affection status) are read like a pedigree file without genotype columns, and
// the genotypes go from the bit-packed .bed file straight into the genotype store. The
// persons are then checked and converted like a pre-MAKEPED file.

#include "model/pedigrees.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string>
#include <vector>

#include "driver/utilities.h"
#include "input/field_reader.h"
#include "input/marker_map.h"
#include "input/text_pieces.h"

namespace {

const char kBedMagic[3] = {0x6c, 0x1b, 0x01};  // PLINK 1 .bed, one SNP after the other

bool fail(const std::string& reason) {
    std::cout << "...failed" << std::endl << reason << std::endl;
    return false;
}

bool isFieldSeparator(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r'; }

// The lines of a text file with fields, each split at white space; every line must have
// exactly `fields` of them (lines without any are skipped). With lines null, only counted.
bool readFieldLines(const std::string& fileName, size_t fields, const std::string& layout,
                    std::vector<std::vector<std::string>>* lines, size_t& count) {
    // A line-by-line read stopped at a failed read, and so does this one.
    FileBytes bytes;
    if (readWholeFile(fileName, bytes) == FileRead::NotOpened) return fail("Unable to open " + fileName + " for reading");
    count = 0;
    std::vector<std::string> row;
    const char* p = bytes.data();
    const char* const end = p + bytes.size();
    for (int number = 1; p < end; ++number) {
        const void* const newline = std::memchr(p, '\n', static_cast<size_t>(end - p));
        const char* const lineEnd = newline ? static_cast<const char*>(newline) : end;
        splitFields(p, lineEnd, isFieldSeparator, row);
        if (!row.empty() && row.size() != fields)
            return fail("Line " + IntToString(number) + " of " + fileName + " has " +
                        IntToString(static_cast<int>(row.size())) + " fields, not the " + IntToString(static_cast<int>(fields)) +
                        " of a PLINK line (" + layout + "): " + trimmedLine(std::string(p, lineEnd)));
        if (!row.empty()) {
            ++count;
            if (lines) lines->push_back(row);
        }
        p = lineEnd < end ? lineEnd + 1 : end;
    }
    if (count == 0) return fail(fileName + " holds no line");
    return true;
}

bool isCentiMorgan(const std::string& text) {
    const char* start = text.c_str();
    char* end = nullptr;
    errno = 0;
    const double value = std::strtod(start, &end);
    return end != start && *end == '\0' && errno != ERANGE && std::isfinite(value);
}

// A .bed allele "0" is PLINK's missing allele: a genotype with it is untyped.
AlleleCode codeOfBimAllele(GenotypeStore& store, int marker, const std::string& name) {
    return name == "0" ? kUntypedAllele : store.codeOf(marker, name);
}

}  // namespace

int Pedigrees::readPlinkBinaryFiles(const std::string& prefix, const std::string& mapFunction) {
    const std::string bimName = prefix + ".bim", famName = prefix + ".fam", bedName = prefix + ".bed";
    if (liabilityColumn) return fail("A PLINK .fam file has no liability class column: leave out --liab");

    std::cout << "Reading PLINK marker file: " << bimName << std::endl;
    mapFileName = bimName;
    std::vector<std::vector<std::string>> bim;
    size_t markers = 0;
    if (!readFieldLines(bimName, 6, "chromosome, name, centiMorgan, base pair, allele 1, allele 2", &bim, markers))
        return 0;
    if (!markerMap) markerMap = new MarkerMap();
    markerMap->setMapFunction(mapFunction);
    for (size_t m = 0; m < bim.size(); ++m) {
        const std::vector<std::string>& marker = bim[m];
        if (!isCentiMorgan(marker[2]))
            return fail("Line " + IntToString(static_cast<int>(m + 1)) + " of " + bimName + ": \"" + marker[2] +
                        "\" is no position in centiMorgan");
        if (!markerMap->addMarker(marker[1], marker[0], marker[2]))
            return fail("Line " + IntToString(static_cast<int>(m + 1)) + " of " + bimName + ": marker " + marker[1] +
                        " is named twice");
    }
    markerCount = markerMap->getMarkerCount();
    std::cout << "(Number of markers : " << markerCount << ")" << std::endl << "...done." << std::endl;

    size_t persons = 0;
    if (!readFieldLines(famName, 6, "family, person, father, mother, sex, phenotype", nullptr, persons)) return 0;

    // The .bed file is checked before any person is read, so that nothing is left half-read.
    FileBytes bed;
    const FileRead bedRead = readWholeFile(bedName, bed);
    if (bedRead == FileRead::NotOpened) return fail("Unable to open " + bedName + " for reading");
    if (bedRead == FileRead::Broken) return fail("Unable to read " + bedName);
    if (bed.size() < 3 || std::memcmp(bed.data(), kBedMagic, 3) != 0)
        return fail(bedName + " does not start with the magic bytes of a PLINK 1 .bed file in SNP-major order "
                              "(6c 1b 01)");
    const size_t bytesPerMarker = (persons + 3) / 4;
    const size_t expected = 3 + bytesPerMarker * static_cast<size_t>(markerCount);
    if (bed.size() != expected)
        return fail(bedName + " has " + std::to_string(bed.size()) + " bytes; " + IntToString(markerCount) +
                    " markers of " + bimName + " x " + std::to_string(persons) + " persons of " + famName + " take " +
                    std::to_string(expected));

    Pedigrees check;
    prepareValidation(check);
    check.personsOnly = true;
    check.personColumnCount = 6;
    if (!check.readPedigreeFile(famName)) {
        check.setMarkerMap(nullptr);
        return 0;
    }
    pedigreeFileName = famName;
    GenotypeStore& store = check.genotypeStore;
    if (store.getRowCount() != static_cast<int>(persons)) {
        check.setMarkerMap(nullptr);
        return fail("The persons of " + famName + " do not match its lines");
    }
    // Two bits per person, four persons to a byte, the first in the low bits: 00 allele 1
    // twice, 01 untyped, 10 one of each, 11 allele 2 twice. The store is filled row by row,
    // where its memory lies in order.
    std::vector<GenotypeCodes> decoded(4 * static_cast<size_t>(markerCount));
    for (int m = 0; m < markerCount; ++m) {
        const AlleleCode first = codeOfBimAllele(store, m, bim[static_cast<size_t>(m)][4]);
        const AlleleCode second = codeOfBimAllele(store, m, bim[static_cast<size_t>(m)][5]);
        const bool typed = first != kUntypedAllele && second != kUntypedAllele;
        GenotypeCodes* genotypes = &decoded[4 * static_cast<size_t>(m)];
        genotypes[0] = first != kUntypedAllele ? GenotypeCodes{first, first} : GenotypeCodes{};
        genotypes[2] = typed ? GenotypeCodes{first, second} : GenotypeCodes{};
        genotypes[3] = second != kUntypedAllele ? GenotypeCodes{second, second} : GenotypeCodes{};
    }
    const unsigned char* bits = reinterpret_cast<const unsigned char*>(bed.data()) + 3;
    for (size_t row = 0; row < persons; ++row) {
        const unsigned char* byte = bits + row / 4;
        const int shift = 2 * static_cast<int>(row % 4);
        for (int m = 0; m < markerCount; ++m, byte += bytesPerMarker)
            store.set(m, static_cast<int>(row), decoded[4 * static_cast<size_t>(m) + ((*byte >> shift) & 3)]);
    }
    check.personsOnly = false;
    if (!check.finishPedigreeRead(false)) {
        check.setMarkerMap(nullptr);
        return 0;
    }
    std::cout << "(Genotypes of " << markerCount << " markers read from " << bedName << ")" << std::endl;
    return convertCheckedPedigrees(check, famName);
}
