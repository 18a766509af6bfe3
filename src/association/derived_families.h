#pragma once
// Copies of input persons into the small derived pedigrees of the association analyses.

#include <string>

#include "model/records.h"

// A new person of a derived pedigree with a deep copy of the source person's phenotypes,
// keeping its pedigree identifier and sex, that sees the source's genotype store row at the
// marker column the set is built for (a derived set serves one marker: its catalogue counts
// that marker only).
Person* copyDerivedMember(const Person* source, int marker, const std::string& personId,
                          const std::string& fatherId, const std::string& motherId,
                          const std::string& firstOffspring, const std::string& nextSibling,
                          const std::string& probandStatus);

// A trio as a three-person pedigree under the child's pedigree identifier: father "1",
// mother "2", child "3".
Pedigree* copyHrrFamily(const Person* child, const Person* mother, const Person* father, int marker);
