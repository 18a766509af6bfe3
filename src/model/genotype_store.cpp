#include "model/genotype_store.h"

#include <cstring>

void GenotypeStore::reset(int markerCount) {
    markers = markerCount;
    genotypes.clear();
    names.assign(static_cast<size_t>(markers), std::vector<std::string>{"0"});
    rows = 0;
}

// The untyped rows made ahead are zeroed once, in one piece.
void GenotypeStore::reserveRows(int count) {
    if (at(0, count) > genotypes.size()) genotypes.resize(at(0, count));
}

int GenotypeStore::addRow() {
    if (at(0, rows + 1) > genotypes.size()) genotypes.resize(at(0, rows + 1));
    return rows++;
}

AlleleCode GenotypeStore::findCode(int marker, std::string_view name) const {
    const std::vector<std::string>& known = names[static_cast<size_t>(marker)];
    // A marker has a handful of alleles (two for a SNP), most of one or a few characters: a
    // scan that compares lengths and first characters before the rest beats any index.
    for (size_t code = 1; code < known.size(); ++code) {
        const std::string& candidate = known[code];
        if (candidate.size() == name.size() &&
            (name.empty() || (candidate[0] == name[0] &&
                              std::memcmp(candidate.data() + 1, name.data() + 1, name.size() - 1) == 0)))
            return static_cast<AlleleCode>(code);
    }
    return kUntypedAllele;
}

AlleleCode GenotypeStore::codeOf(int marker, std::string_view name) {
    const AlleleCode known = findCode(marker, name);
    if (known != kUntypedAllele) return known;
    std::vector<std::string>& markerNames = names[static_cast<size_t>(marker)];
    if (markerNames.size() > static_cast<size_t>(kMaxAlleleNames)) return kUntypedAllele;
    markerNames.emplace_back(name);
    return static_cast<AlleleCode>(markerNames.size() - 1);
}

void GenotypeStore::replaceAllele(int marker, AlleleCode from, AlleleCode to) {
    for (int row = 0; row < rows; ++row) {
        GenotypeCodes& genotype = genotypes[at(marker, row)];
        if (genotype.first == from) genotype.first = to;
        if (genotype.second == from) genotype.second = to;
    }
}

int markerColumnOfKey(const std::string& key, int markerCount) {
    if (key.empty() || (key.size() > 1 && key[0] == '0')) return -1;
    long value = 0;
    for (char c : key) {
        if (c < '0' || c > '9') return -1;
        value = value * 10 + (c - '0');
        if (value >= markerCount) return -1;
    }
    return static_cast<int>(value);
}
