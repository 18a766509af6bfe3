// Reader of LINKAGE pedigree files (before and after the MAKEPED conversion), the map
// generated from a pedigree file's column count, and the lookups between the identifiers
// as read and the user's identifiers kept in the "Ped:"/"Per:" columns of a converted file.
//
// Files are large (tens of thousands of persons, thousands of markers), so a file is read in
// pieces into one buffer, twice: the column check walks its lines, then the record parser its
// fields, neither building a string per field.

#include "model/pedigrees.h"

#include <algorithm>
#include <cstring>
#include <iostream>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "driver/utilities.h"
#include "input/field_reader.h"
#include "input/marker_map.h"
#include "input/text_pieces.h"

namespace {

bool isColumnSeparator(char c) { return c == ' ' || c == '\t' || c == '\r'; }

// The fields of a line: the places where a field follows a separator or the line's start.
// Counted without a branch per character, so that the compiler can take many at a time.
int fieldsOfLine(const char* line, const char* lineEnd) {
    if (line == lineEnd) return 0;
    unsigned fields = !isColumnSeparator(*line);
    for (const char* c = line + 1; c < lineEnd; ++c) {
        const unsigned separatorBefore = (c[-1] == ' ') | (c[-1] == '\t') | (c[-1] == '\r');
        const unsigned fieldHere = (c[0] != ' ') & (c[0] != '\t') & (c[0] != '\r');
        fields += separatorBefore & fieldHere;
    }
    return static_cast<int>(fields);
}

// Appends the first `columns` fields of a line with fields, separated by one blank, and a line end.
void appendLeadingColumns(const char* p, const char* lineEnd, int columns, std::string& leading) {
    int fields = 0;
    forEachField(p, lineEnd, isColumnSeparator, [&](std::string_view field) {
        leading.append(fields++ ? " " : "").append(field);
        return fields < columns;
    });
    leading += '\n';
}

// Field counts of the lines: lines split at '\n', fields separated by blanks, tabs and the
// carriage return of a CRLF line end, lines without fields skipped.
struct ColumnLayout {
    bool empty = true;    // no line with a field
    bool uniform = true;  // every line has as many fields as the first
    int columns = 0;      // fields of the first line
    std::vector<std::string> firstLine;
    size_t lineEnds = 0;  // line ends in the file (with a uniform layout)
    // The longest stretch of text from the end of a line with fields (or the file's start)
    // to the end of the second line with fields after it: the most text a record and the
    // line end after it can take, from wherever a record starts (a record never needs more
    // fields than a line has and one more).
    size_t recordReach = 0;
};

// The layout of a file's lines, from its start; with leadingColumnCount, the leading columns
// of every line with fields too. Stops at the first line that breaks a uniform layout.
ColumnLayout scanLayout(TextPieces& pieces, int leadingColumnCount, std::string& leading) {
    ColumnLayout layout;
    const char* p = pieces.begin();
    size_t offset = 0;  // of p in the text
    size_t endBeforeLast = 0, endOfLast = 0;  // of the last two lines with fields
    for (;;) {
        const void* const newline = p < pieces.end() ? std::memchr(p, '\n', static_cast<size_t>(pieces.end() - p)) : nullptr;
        if (!newline && !pieces.atEndOfFile()) {
            p = pieces.keep(p, static_cast<size_t>(pieces.end() - p) + 1);
            continue;
        }
        const char* const lineEnd = newline ? static_cast<const char*>(newline) : pieces.end();
        if (const int fields = fieldsOfLine(p, lineEnd)) {
            if (layout.empty) {
                layout.empty = false;
                layout.columns = fields;
                splitFields(p, lineEnd, isColumnSeparator, layout.firstLine);
            } else if (fields != layout.columns) {
                layout.uniform = false;
                return layout;
            }
            if (leadingColumnCount > 0) appendLeadingColumns(p, lineEnd, leadingColumnCount, leading);
            const size_t end = offset + static_cast<size_t>(lineEnd - p);
            layout.recordReach = std::max(layout.recordReach, end - endBeforeLast);
            endBeforeLast = endOfLast;
            endOfLast = end;
        }
        if (!newline) return layout;
        ++layout.lineEnds;
        offset += static_cast<size_t>(lineEnd + 1 - p);
        p = lineEnd + 1;
    }
}

// Fields read as a stream, as formatted extraction does: white space (including line ends)
// separates fields, and the rest of a line can be skipped.
class FieldStream {
public:
    FieldStream(const char* begin, const char* end) : p(begin), end(end) {}

    // The next field, or an empty view at the end of the data.
    std::string_view next() {
        while (p < end && isSpace(*p)) ++p;
        const char* start = p;
        while (p < end && !isSpace(*p)) ++p;
        return std::string_view(start, static_cast<size_t>(p - start));
    }

    // Discards up to limit characters, stopping after the first line end.
    void skipLine(size_t limit) {
        for (size_t n = 0; n < limit && p < end; ++n)
            if (*p++ == '\n') return;
    }

    const char* position() const { return p; }

private:
    static bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f'; }
    const char* p;
    const char* end;
};

bool isUnknownAffection(std::string_view v) {
    return v.empty() || v == "-9" || v == "x" || v == "-" || v == "." || v == "0";
}

bool isUnknownLiability(std::string_view v) { return v.empty() || v == "x" || v == "-" || v == "."; }

bool isMissingAllele(std::string_view a) {
    if (a.size() != 1) return a.empty();
    return a[0] == '0' || a[0] == '-' || a[0] == '.' || a[0] == 'x';
}

// The first element in key order for which the predicate holds, or null.
template <class T, class P>
T* firstInKeyOrder(T* node, const P& predicate) {
    if (!node || node->isNil()) return nullptr;
    if (T* found = firstInKeyOrder(node->left, predicate)) return found;
    if (predicate(node)) return node;
    return firstInKeyOrder(node->right, predicate);
}

// Tail columns after the genotypes: the MAKEPED identifiers ("Ped:" id "Per:" id) and the
// six SLINK columns ending in "orig" or "simu"; a converted file has the SLINK columns of
// the user's file before its MAKEPED columns.
struct TailColumns {
    int makeped = 0;
    int slink = 0;
};

TailColumns findTailColumns(const std::vector<std::string>& line) {
    TailColumns tail;
    size_t n = line.size();
    if (n >= 4 && line[n - 2] == "Per:") {
        tail.makeped = 4;
        n -= 4;
    }
    if (n >= 1 && (line[n - 1] == "orig" || line[n - 1] == "simu")) tail.slink = 6;
    return tail;
}

// Columns before the genotypes: the person columns, the affection status and the liability class.
int leadingColumns(bool postMakeped, bool affection, bool liability) {
    return (postMakeped ? 9 : 5) + (affection ? 1 : 0) + (affection && liability ? 1 : 0);
}

// Marker count implied by the field count of a line without its tail columns.
int markersFromColumns(int columns, bool postMakeped) { return (columns - (postMakeped ? 10 : 6)) / 2; }

std::ostream& failed() { return std::cout << "...failed" << std::endl; }

// An odd number of genotype columns is the other layout: a liability class column where
// none was announced, or the other way round. Read as announced, every genotype would be
// shifted by one column. Empty when the columns fit the announced layout.
std::string liabilityLayoutMismatch(const ColumnLayout& layout, const std::string& fileName, bool postMakeped,
                                    bool liability, int mapMarkers) {
    const TailColumns tail = findTailColumns(layout.firstLine);
    const int genotypeColumns =
        layout.columns - tail.makeped - tail.slink - leadingColumns(postMakeped, true, liability);
    if (genotypeColumns <= 0 || genotypeColumns % 2 == 0) return "";
    const int otherMarkers = (genotypeColumns + (liability ? 1 : -1)) / 2;
    std::string message = "Line 1 of pedigree file " + fileName + " has " + IntToString(layout.columns) +
                          " columns: read " +
                          (liability ? "with a liability class column (--liab)" : "without a liability class column") +
                          " they leave one column over, read " + (liability ? "without" : "with") + " one they hold " +
                          IntToString(otherMarkers) + " marker(s)";
    if (mapMarkers > 0) message += " (the map has " + IntToString(mapMarkers) + ")";
    return message + (liability ? ". Leave out --liab if the file has no liability class column"
                                : ". Give --liab if the file has a liability class column");
}

}  // namespace

int Pedigrees::readPedigreeFile(const std::string& fileName) {
    std::cout << "Reading pedigree file: " << fileName << std::endl;
    if (!converted) pedigreeFileName = fileName;

    TextPieces pieces;
    const bool opened = pieces.open(fileName);
    const ColumnLayout layout = opened ? scanLayout(pieces, personColumnCount, personColumns) : ColumnLayout();
    if (!opened || !pieces.good()) {
        failed() << "Unable to open pedigree file " << fileName << " for reading." << std::endl;
        return 0;
    }

    // The converted file of a checked pre-MAKEPED file holds the person columns only; its
    // lines renumber the persons of the check.
    const bool personsChecked = converted && personsToRenumber;
    const int genotypeColumns = personsChecked || personsOnly ? 0 : markerCount;
    if (affectionColumn && !layout.empty && layout.uniform && !personsChecked) {
        const std::string mismatch = liabilityLayoutMismatch(layout, fileName, postMakeped, liabilityColumn, markerCount);
        if (!mismatch.empty()) {
            failed() << mismatch << std::endl;
            return 0;
        }
    }
    if (markerCount == 0) {
        if (layout.empty || !layout.uniform) {
            failed() << "Unable to generate mapfile for pedigree file that hasn't a standard column count"
                     << std::endl;
            return 0;
        }
        makeMapFromColumns(layout.firstLine);
    } else {
        if (layout.empty || !layout.uniform) {
            failed() << "Unable to read pedigree file that hasn't a standard column count" << std::endl;
            return 0;
        }
        const TailColumns tail = findTailColumns(layout.firstLine);
        slinkColumns = tail.slink;
        int columns = layout.columns;
        if (tail.makeped) {
            std::cout << "(Pedigree file contains MAKEPED extra columns at the end...ignoring them)" << std::endl;
            columns -= tail.makeped;
        }
        if (tail.slink) {
            std::cout << "(Pedigree file contains SLINK extra columns at the end...ignoring them)" << std::endl;
            columns -= tail.slink;
        }
        int markers = markersFromColumns(columns, postMakeped);
        if (!affectionColumn) ++markers;
        if (markers != genotypeColumns) {
            failed() << "Pedigree file contains " << markers << " marker(s) and mapfile claims " << genotypeColumns
                     << std::endl;
            return 0;
        }
    }

    // The converter needs the person columns only: it works while the genotypes are read.
    if (validationOnly && personColumnCount > 0) startConversion(fileName);

    if (affectionColumn) {
        phenotypeNames.push_back("DISEASE_LOCUS");
        if (liabilityColumn) phenotypeNames.push_back(kLiabilityClassName);
    }

    // One store row per line: room for all of them at once, so the store never moves.
    if (!personsChecked) {
        if (genotypeStore.getRowCount() == 0) genotypeStore.reset(markerCount);
        genotypeStore.reserveRows(genotypeStore.getRowCount() + static_cast<int>(layout.lineEnds) + 1);
    }

    // Every record is parsed from text held whole: before it, the piece is made to reach as
    // far as any record and its line end can.
    if (!pieces.rewind()) {
        failed() << "Unable to open pedigree file " << fileName << " for reading." << std::endl;
        return 0;
    }
    const size_t recordReach = layout.recordReach + 1;
    const char* recordStart = pieces.begin();
    int line = 0;
    Pedigree* previousPedigree = nullptr;
    std::string previousPedigreeId;
    for (;;) {
        if (!pieces.atEndOfFile() && static_cast<size_t>(pieces.end() - recordStart) < recordReach)
            recordStart = pieces.keep(recordStart, recordReach);
        FieldStream fields(recordStart, pieces.end());
        std::string_view fixed[9];
        const int fixedCount = postMakeped ? 9 : 5;
        int read = 0;
        while (read < fixedCount && !(fixed[read] = fields.next()).empty()) ++read;
        if (read < fixedCount) break;
        ++line;
        const std::string pedigreeId(fixed[0]);
        const std::string personId(fixed[1]);
        const std::string sex(postMakeped ? fixed[7] : fixed[4]);
        if (sex != "1" && sex != "2") {
            failed() << "Unknown gender status: Pedigree: " << pedigreeId << " Person: " << personId
                     << " sex: " << sex << std::endl;
            return 0;
        }
        std::string_view affection, liability;
        if (affectionColumn) {
            affection = fields.next();
            if (liabilityColumn) liability = fields.next();
        }
        if (liabilityColumn && liability == "0") {
            failed() << "Liability class can't be 0 at line: " << line << std::endl;
            return 0;
        }

        std::unique_ptr<Person> person;
        if (!personsChecked) {
            person = std::make_unique<Person>(pedigreeId, personId, std::string(fixed[2]), std::string(fixed[3]), sex);
            addGenotypeRow(person.get());
            if (affectionColumn && !isUnknownAffection(affection))
                person->addPhenotype(new Phenotype("DISEASE_LOCUS", std::string(affection)));
            if (liabilityColumn && !isUnknownLiability(liability))
                person->addPhenotype(new Phenotype(kLiabilityClassName, std::string(liability)));
        }

        for (int i = 0; i < genotypeColumns; ++i) {
            const std::string_view a = fields.next();
            const std::string_view b = fields.next();
            if ((a == "0") != (b == "0")) {
                failed() << "Pedigree " << pedigreeId << " Person " << personId << " halftyped (" << a << "/" << b
                         << ") at marker_index: " << i << ", line " << line << std::endl
                         << " *** Problem with pedigree file format? ***" << std::endl;
                return 0;
            }
            if (isMissingAllele(a) || isMissingAllele(b)) continue;
            if (!setGenotype(person.get(), i, a, b)) {
                failed() << "Marker " << markerMap->getMarkerName(IntToString(i)) << " has more than "
                         << GenotypeStore::kMaxAlleleNames << " allele names at line " << line << " (allele " << a
                         << "/" << b << ")" << std::endl;
                return 0;
            }
        }

        std::string originalPedigreeId, originalPersonId;
        if (converted) {
            for (int k = 0; k < slinkColumns; ++k) fields.next();
            if (fields.next() == "Ped:") originalPedigreeId = std::string(fields.next());
            else fields.next();
            if (fields.next() == "Per:") originalPersonId = std::string(fields.next());
            else fields.next();
        }
        fields.skipLine(10000);
        recordStart = fields.position();
        if (personsChecked) {
            person = personsToRenumber->take(originalPedigreeId, originalPersonId);
            if (!person) {
                failed() << "Line " << line << " of the converted pedigree file " << fileName << " names pedigree \""
                         << originalPedigreeId << "\" person \"" << originalPersonId << "\", which is not in "
                         << pedigreeFileName << std::endl;
                return 0;
            }
            person->renumber(pedigreeId, personId, std::string(fixed[2]), std::string(fixed[3]));
            person->setGenotypes(&genotypeStore, person->getGenotypeRow());  // the check's store, moved here
        }
        if (postMakeped) {
            person->setFOID(std::string(fixed[4]));
            person->setNPSID(std::string(fixed[5]));
            person->setNMSID(std::string(fixed[6]));
            person->setProbandStatus(std::string(fixed[8]));
        }
        if (converted) {
            person->setOriginalPedigreeId(originalPedigreeId);
            person->setOriginalPersonId(originalPersonId);
        }

        if (!previousPedigree || pedigreeId != previousPedigreeId) {
            Pedigree* pedigree = pedigrees->find(pedigreeId);
            if (!pedigree) {
                pedigree = new Pedigree(pedigreeId);
                if (converted) pedigree->setOriginalPedigreeId(originalPedigreeId);
                if (!pedigrees->insert(pedigree)) {
                    failed() << "Duplicate pedigree " << pedigreeId << " in pedigree file" << std::endl;
                    delete pedigree;
                    return 0;
                }
                pedigreeInputOrder.push_back(pedigreeId);
            }
            previousPedigree = pedigree;
            previousPedigreeId = pedigreeId;
        }
        if (!previousPedigree->addPerson(person.get())) {
            failed() << "Duplicate person at line: " << line << " personid: " << personId << std::endl
                     << " *** Problem with pedigree file format? ***" << std::endl;
            return 0;
        }
        person.release();
    }
    if (!pieces.good()) {
        failed() << "Unable to open pedigree file " << fileName << " for reading." << std::endl;
        return 0;
    }

    pedigreeFileRead = 1;
    std::cout << "(Total number of pedigrees " << pedigrees->getCount() << ")" << std::endl;
    std::cout << "(Total number of persons " << getPedigreePersonCount() << ")" << std::endl;
    return personsOnly ? 1 : finishPedigreeRead(personsChecked);
}

int Pedigrees::finishPedigreeRead(bool personsChecked) {
    if (!validationOnly) createMarkerInfo();
    if (personsChecked && checkedPedigreesWithLoops) reportCheckedStructure();
    else if (writeFamilyErrors("family.err")) return 0;
    if (xlinked) {
        std::cout << "(Mendelian error check disabled for X-linked data)" << std::endl;
    } else if (personsChecked) {
        // The check of the user's file saw the same genotypes in the same families, and found
        // them consistent (the conversion stops otherwise).
    } else if (writeMendelianErrors("mendel.err")) {
        std::cout << "Mendelian errors found! " << std::endl;
        if (setMeMissing && !setMendelianErrorsMissing()) return 0;
    }
    std::cout << "...done." << std::endl;
    return 1;
}

void Pedigrees::makeMapFromColumns(const std::vector<std::string>& firstLine) {
    const TailColumns tail = findTailColumns(firstLine);
    slinkColumns = tail.slink;
    const int columns = static_cast<int>(firstLine.size()) - tail.makeped - tail.slink;
    markerMap->makeMarkerMap(markersFromColumns(columns, postMakeped));
    markerCount = markerMap->getMarkerCount();
}

std::string Pedigrees::getOrigPedigreeID(const std::string& pedigreeId) const {
    const Pedigree* pedigree = pedigrees->find(pedigreeId);
    return pedigree ? pedigree->getOriginalPedigreeId() : "";
}

std::string Pedigrees::getNewPedigreeID(const std::string& originalPedigreeId) const {
    const Pedigree* pedigree = firstInKeyOrder(pedigrees->getRoot(), [&](const Pedigree* p) {
        return p->getOriginalPedigreeId() == originalPedigreeId;
    });
    return pedigree ? pedigree->getPedigreeId() : "";
}

std::string Pedigrees::getNewPersonID(const std::string& originalPedigreeId,
                                      const std::string& originalPersonId) const {
    const Pedigree* pedigree = pedigrees->find(getNewPedigreeID(originalPedigreeId));
    if (!pedigree) return "";
    const Person* person = firstInKeyOrder(pedigree->getPersonTree()->getRoot(), [&](const Person* p) {
        return p->getOriginalPersonId() == originalPersonId;
    });
    return person ? person->getPersonId() : "";
}
