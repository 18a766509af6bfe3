#pragma once
// Every person's genotypes in one compact store: per person row and marker column two small
// allele codes, with code 0 for an untyped genotype, and the allele names once per marker.
// Persons keep only their row; derived pedigrees refer to the rows of the persons they copy.
// A row's markers lie side by side: reading fills the store row by row, and the checks and
// the catalogue walk a person's markers in turn.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "model/large_blocks.h"

using AlleleCode = std::uint16_t;
inline constexpr AlleleCode kUntypedAllele = 0;

// One person's genotype at one marker: the codes of its two alleles as read.
struct GenotypeCodes {
    AlleleCode first = kUntypedAllele;
    AlleleCode second = kUntypedAllele;
    bool isTyped() const { return first != kUntypedAllele; }
    AlleleCode operator[](int k) const { return k == 0 ? first : second; }
};

class GenotypeStore {
public:
    // The most allele names one marker can hold (codes 1..kMaxAlleleNames).
    static constexpr int kMaxAlleleNames = 65535;

    // Drops every row and allele name and sets the number of marker columns.
    void reset(int markers);
    int getMarkerCount() const { return markers; }
    int getRowCount() const { return rows; }
    // Room for this many rows, so that reading neither moves the store nor grows it row by row.
    void reserveRows(int count);
    // A new row, untyped at every marker; returns its number.
    int addRow();

    GenotypeCodes get(int marker, int row) const { return genotypes[at(marker, row)]; }
    void set(int marker, int row, GenotypeCodes genotype) { genotypes[at(marker, row)] = genotype; }
    // The code of an allele name at a marker, the name added when new; kUntypedAllele when the
    // marker already holds kMaxAlleleNames names.
    AlleleCode codeOf(int marker, std::string_view name) {
        const AlleleCode known = findCode(marker, name);
        return known != kUntypedAllele ? known : addName(marker, name);
    }
    const std::string& getAlleleName(int marker, AlleleCode code) const {
        return names[static_cast<size_t>(marker)][code];
    }
    // Codes 1..count are in use at the marker.
    int getAlleleNameCount(int marker) const { return static_cast<int>(names[static_cast<size_t>(marker)].size()) - 1; }
    // The code of an allele name at a marker, or kUntypedAllele when the marker has no such name.
    AlleleCode findCode(int marker, std::string_view name) const {
        if (name.size() <= kLongestKeyedName) {
            const std::uint64_t key = keyOf(name);
            const std::uint64_t* first = &firstKeys[kFirstCodes * static_cast<size_t>(marker)];
            // Compared without a branch per code: a SNP's genotypes name either allele at random.
            const unsigned hits = unsigned{first[0] == key} | unsigned{first[1] == key} << 1 |
                                  unsigned{first[2] == key} << 2 | unsigned{first[3] == key} << 3;
            if (hits) return static_cast<AlleleCode>(__builtin_ctz(hits) + 1);
        }
        return findBeyondFirstCodes(marker, name);
    }
    // Sets a row's genotype at a marker from two allele names; false when a marker already
    // holds the most names it can tell apart.
    bool setFromNames(int marker, int row, std::string_view first, std::string_view second) {
        const AlleleCode a = codeOf(marker, first);
        const AlleleCode b = codeOf(marker, second);
        if (a == kUntypedAllele || b == kUntypedAllele) return false;
        set(marker, row, {a, b});
        return true;
    }
    // A row's genotypes side by side, the one at marker m at [m], for walks over the markers.
    const GenotypeCodes* rowCodes(int row) const { return &genotypes[at(0, row)]; }
    // Rewrites allele from into allele to in every row of the marker.
    void replaceAllele(int marker, AlleleCode from, AlleleCode to);

private:
    // Names of up to seven bytes (every SNP allele, most others) are told apart by one word:
    // the reader looks up two names per genotype, and comparing words beats comparing text.
    static constexpr size_t kLongestKeyedName = 7;
    static constexpr std::uint64_t kNoKey = ~std::uint64_t{0};  // no short name has it
    // The keys of every marker's first codes lie side by side, where most lookups end.
    static constexpr size_t kFirstCodes = 4;
    static std::uint64_t keyOf(std::string_view name) {
        std::uint64_t key = name.size();
        for (size_t i = 0; i < name.size(); ++i) key |= std::uint64_t{static_cast<unsigned char>(name[i])} << (8 * (i + 1));
        return key;
    }
    AlleleCode findBeyondFirstCodes(int marker, std::string_view name) const;
    AlleleCode addName(int marker, std::string_view name);

    size_t at(int marker, int row) const {
        return static_cast<size_t>(row) * static_cast<size_t>(markers) + static_cast<size_t>(marker);
    }

    int markers = 0;
    std::vector<GenotypeCodes, LargeBlockAllocator<GenotypeCodes>> genotypes;
    // Per marker, the name of every code; entry 0 is the untyped allele "0".
    std::vector<std::vector<std::string>> names;
    // Per marker, the key of the name of code k + 1 at k (kNoKey for a longer name).
    std::vector<std::vector<std::uint64_t>> nameKeys;
    // The keys of codes 1..kFirstCodes of marker m at [kFirstCodes * m], kNoKey where unused.
    std::vector<std::uint64_t> firstKeys;
    int rows = 0;
};

// The marker column of a genotype key ("0", "1", ...): -1 unless the key is the plain decimal
// text of an index below markerCount.
int markerColumnOfKey(const std::string& key, int markerCount);
