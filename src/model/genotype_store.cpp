#include "model/genotype_store.h"

void GenotypeStore::reset(int markerCount) {
    markers = markerCount;
    genotypes.clear();
    names.assign(static_cast<size_t>(markers), std::vector<std::string>{"0"});
    nameKeys.assign(static_cast<size_t>(markers), {});
    firstKeys.assign(kFirstCodes * static_cast<size_t>(markers), kNoKey);
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

AlleleCode GenotypeStore::findBeyondFirstCodes(int marker, std::string_view name) const {
    if (name.size() <= kLongestKeyedName) {
        const std::vector<std::uint64_t>& keys = nameKeys[static_cast<size_t>(marker)];
        const std::uint64_t key = keyOf(name);
        for (size_t k = kFirstCodes; k < keys.size(); ++k)
            if (keys[k] == key) return static_cast<AlleleCode>(k + 1);
        return kUntypedAllele;
    }
    const std::vector<std::string>& known = names[static_cast<size_t>(marker)];
    for (size_t code = 1; code < known.size(); ++code)
        if (known[code] == name) return static_cast<AlleleCode>(code);
    return kUntypedAllele;
}

AlleleCode GenotypeStore::addName(int marker, std::string_view name) {
    std::vector<std::string>& markerNames = names[static_cast<size_t>(marker)];
    if (markerNames.size() > static_cast<size_t>(kMaxAlleleNames)) return kUntypedAllele;
    const std::uint64_t key = name.size() <= kLongestKeyedName ? keyOf(name) : kNoKey;
    std::vector<std::uint64_t>& keys = nameKeys[static_cast<size_t>(marker)];
    if (keys.size() < kFirstCodes) firstKeys[kFirstCodes * static_cast<size_t>(marker) + keys.size()] = key;
    keys.push_back(key);
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
