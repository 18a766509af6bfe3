#pragma once
// In-memory pedigrees for the pedigree tests, and a marker map that sets marker count and names.

#include <string>
#include <utility>
#include <vector>

#include "model/pedigrees.h"
#include "support/test_support.h"

namespace family_builder {

// A person; genotypes[i] is marker i, "0"/"0" untyped. The collection's map must have the
// markers: the genotype store takes its columns from it.
struct Row {
    std::string id, father, mother, sex;
    std::vector<std::pair<std::string, std::string>> genotypes = {};
};

// Adds the persons to the pedigree (created when new) and returns the pedigree.
inline Pedigree* addPersons(Pedigrees& collection, const std::string& pedigreeId, const std::vector<Row>& rows) {
    Pedigree* pedigree = collection.getPedigrees()->find(pedigreeId);
    if (!pedigree) collection.getPedigrees()->insert(pedigree = new Pedigree(pedigreeId));
    for (const Row& r : rows) {
        auto* person = new Person(pedigreeId, r.id, r.father, r.mother, r.sex);
        collection.addGenotypeRow(person);
        for (size_t i = 0; i < r.genotypes.size(); ++i) {
            if (r.genotypes[i] == std::make_pair(std::string("0"), std::string("0"))) continue;
            EXPECT_TRUE(collection.setGenotype(person, static_cast<int>(i), r.genotypes[i].first, r.genotypes[i].second))
                << "person " << r.id << ": no marker " << i << " (read a map with enough markers first)";
        }
        pedigree->addPerson(person);
    }
    return pedigree;
}

// Reads a Haldane map of markers D1S1, D1S2, ... (count of them) in the scratch directory.
inline void readMap(Pedigrees& collection, const testing_support::ScratchDir& dir, int count) {
    std::string map = "CHROMOSOME HALDANE POSITION\n";
    for (int i = 0; i < count; ++i) map += "1 " + std::to_string(5 * i) + ".0 D1S" + std::to_string(i + 1) + "\n";
    dir.write("test.map", map);
    testing_support::captureOutput([&] { collection.readMapFile(dir.file("test.map")); });
}

}  // namespace family_builder
