#include "model/genotype_store.h"

#include <cstring>

void GenotypeStore::reset(int markerCount) {
    markers = markerCount;
    genotypes.clear();
    names.assign(static_cast<size_t>(markers), std::vector<std::string>{"0"});
    rows = 0;
}

void GenotypeStore::reserveRows(int count) { genotypes.reserve(at(0, count)); }

int GenotypeStore::addRow() {
    genotypes.resize(at(0, rows + 1));
    return rows++;
}

AlleleCode GenotypeStore::codeOf(int marker, std::string_view name) {
    std::vector<std::string>& known = names[static_cast<size_t>(marker)];
    // A marker has a handful of alleles (two for a SNP), most of one or a few characters: a
    // scan that compares lengths and first characters before the rest beats any index.
    for (size_t code = 1; code < known.size(); ++code) {
        const std::string& candidate = known[code];
        if (candidate.size() == name.size() &&
            (name.empty() || (candidate[0] == name[0] &&
                              std::memcmp(candidate.data() + 1, name.data() + 1, name.size() - 1) == 0)))
            return static_cast<AlleleCode>(code);
    }
    if (known.size() > static_cast<size_t>(kMaxAlleleNames)) return kUntypedAllele;
    known.emplace_back(name);
    return static_cast<AlleleCode>(known.size() - 1);
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
