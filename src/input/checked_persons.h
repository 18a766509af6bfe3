#pragma once
// The persons of a checked pedigree file, waiting for the converter's lines that renumber
// them. The converter keeps the file's order, so a line mostly names the person after the
// last one taken; a line that does not is found through an index by the user's identifiers,
// made at the first such line. Persons no line takes are dropped with the collection.

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "model/records.h"

class CheckedPersons {
public:
    // The persons in the order of the checked file's lines.
    explicit CheckedPersons(std::vector<std::unique_ptr<Person>> inFileOrder) : persons(std::move(inFileOrder)) {}

    // The person of the user's pedigree and person identifiers, handed over once; null when
    // there is none or it was taken already.
    std::unique_ptr<Person> take(const std::string& pedigreeId, const std::string& personId);

private:
    std::vector<std::unique_ptr<Person>> persons;
    size_t next = 0;
    std::unordered_map<std::string, size_t> placeByUserIds;
};
