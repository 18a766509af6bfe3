#pragma once
// Small post-MAKEPED data sets for the association tests, read through the ordinary readers
// inside a scratch directory (the checks may write their report files there).

#include <string>
#include <vector>

#include "model/pedigrees.h"
#include "support/test_support.h"

namespace hrr_test {

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
    double position = 0.0;
    for (const std::string& name : names) {
        text += "1 " + std::to_string(position) + " " + name + "\n";
        position += 10.0;
    }
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
    int mapRead = 0, pedigreeRead = 0;
    testing_support::captureOutput([&] {
        mapRead = pedigrees.readMapFile("hrr.map");
        if (mapRead) pedigreeRead = pedigrees.readPedigreeFile("hrr.ped");
    });
    return mapRead && pedigreeRead;
}

}  // namespace hrr_test
