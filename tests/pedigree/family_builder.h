#pragma once
// In-memory pedigrees for the catalogue and check tests: persons with their genotypes,
// and a marker map read from a small map file so that marker counts and names are set.

#include <string>
#include <utility>
#include <vector>

#include "model/pedigrees.h"
#include "support/test_support.h"

namespace family_builder {

using Genotypes = std::vector<std::pair<std::string, std::string>>;

// Adds a person (and its pedigree when new); genotypes[i] is marker i, "0"/"0" untyped.
inline Person* addPerson(Pedigrees& collection, const std::string& pedigreeId, const std::string& id,
                         const std::string& father, const std::string& mother, const std::string& sex,
                         const Genotypes& genotypes = {}) {
    Pedigree* pedigree = collection.getPedigrees()->find(pedigreeId);
    if (!pedigree) {
        pedigree = new Pedigree(pedigreeId);
        collection.getPedigrees()->insert(pedigree);
    }
    auto* person = new Person(pedigreeId, id, father, mother, sex);
    for (size_t i = 0; i < genotypes.size(); ++i) {
        if (genotypes[i].first == "0" && genotypes[i].second == "0") continue;
        person->addMarker(new Marker(std::to_string(i), genotypes[i].first, genotypes[i].second, true));
    }
    pedigree->addPerson(person);
    return person;
}

// Reads a Haldane map of markers D1S1, D1S2, ... (count of them) in the scratch directory.
inline void readMap(Pedigrees& collection, const testing_support::ScratchDir& dir, int count) {
    std::string map = "CHROMOSOME HALDANE POSITION\n";
    for (int i = 0; i < count; ++i) map += "1 " + std::to_string(5 * i) + ".0 D1S" + std::to_string(i + 1) + "\n";
    dir.write("test.map", map);
    testing_support::captureOutput([&] { collection.readMapFile(dir.file("test.map")); });
}

}  // namespace family_builder
