#pragma once
// Comparisons for marker keys and allele names, a few characters each: plain loops beat the
// library's out-of-line compare and memcmp calls in the catalogue build and the Mendelian
// check, which compare several of them for every genotype of every person.

#include <string>

// Byte-wise order, a proper prefix first (the order of std::string's compare).
inline int compareShortText(const std::string& a, const std::string& b) {
    const size_t common = a.size() < b.size() ? a.size() : b.size();
    for (size_t i = 0; i < common; ++i)
        if (a[i] != b[i]) return static_cast<unsigned char>(a[i]) < static_cast<unsigned char>(b[i]) ? -1 : 1;
    return a.size() == b.size() ? 0 : (a.size() < b.size() ? -1 : 1);
}

inline bool sameShortText(const std::string& a, const std::string& b) {
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i)
        if (a[i] != b[i]) return false;
    return true;
}
