#pragma once
// Small post-MAKEPED pedigree files for the association tests, and their reading into a
// pedigree collection.

#include <string>
#include <vector>

#include "model/pedigrees.h"
#include "support/test_support.h"

namespace trio_files {

// One post-MAKEPED line: pointer columns 0, proband 0, affection status, then the genotypes
// ("1 2" per marker; "0 0" for untyped).
inline std::string person(const std::string& pedigree, const std::string& id, const std::string& father,
                   const std::string& mother, const std::string& sex, const std::string& affection,
                   const std::vector<std::string>& genotypes) {
    std::string line = pedigree + " " + id + " " + father + " " + mother + " 0 0 0 " + sex + " 0 " + affection;
    for (const std::string& g : genotypes) line += " " + g;
    return line + "\n";
}

inline std::string mapFile(const std::vector<std::string>& names) {
    std::string text = "CHR HALDANE NAME\n";
    for (size_t i = 0; i < names.size(); ++i) text += "1 " + std::to_string(10.0 * i) + " " + names[i] + "\n";
    return text;
}

// Reads the map and the pedigree file into the collection; true when both were read.
inline bool load(Pedigrees& pedigrees, const testing_support::ScratchDir& dir, const std::string& map,
                 const std::string& pedigree) {
    dir.write("hrr.map", map);
    dir.write("hrr.ped", pedigree);
    testing_support::InDirectory here(dir.path());
    pedigrees.setPostMakeped(true);
    pedigrees.setAffectionColumn(true);
    pedigrees.setMapFileName("hrr.map");
    int read = 0;
    testing_support::captureOutput(
        [&] { read = pedigrees.readMapFile("hrr.map") && pedigrees.readPedigreeFile("hrr.ped"); });
    return read != 0;
}

}  // namespace trio_files
