#include "model/genotype_store.h"

void GenotypeStore::reset(int markers) {
    columns.assign(static_cast<size_t>(markers), {});
    names.assign(static_cast<size_t>(markers), std::vector<std::string>{"0"});
    rows = 0;
}

void GenotypeStore::reserveRows(int count) {
    for (std::vector<GenotypeCodes>& column : columns) column.reserve(static_cast<size_t>(count));
}

int GenotypeStore::addRow() {
    for (std::vector<GenotypeCodes>& column : columns) column.emplace_back();
    return rows++;
}

AlleleCode GenotypeStore::codeOf(int marker, std::string_view name) {
    std::vector<std::string>& known = names[static_cast<size_t>(marker)];
    // A marker has a handful of alleles (two for a SNP): a scan beats any index.
    for (size_t code = 1; code < known.size(); ++code)
        if (known[code] == name) return static_cast<AlleleCode>(code);
    if (known.size() > static_cast<size_t>(kMaxAlleleNames)) return kUntypedAllele;
    known.emplace_back(name);
    return static_cast<AlleleCode>(known.size() - 1);
}

void GenotypeStore::replaceAllele(int marker, AlleleCode from, AlleleCode to) {
    for (GenotypeCodes& genotype : columns[static_cast<size_t>(marker)]) {
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
