#pragma once
// Copies of input persons into the small derived pedigrees of the association analyses.

#include <string>

#include "model/records.h"

// A new person of a derived pedigree with deep copies of the source person's phenotypes and
// of its genotype at the marker the set is built for, keeping its pedigree identifier and
// sex. A derived set serves one marker; copying every genotype would make the builds for all
// markers quadratic in the number of markers.
Person* copyDerivedMember(const Person* source, const std::string& markerKey, const std::string& personId,
                          const std::string& fatherId, const std::string& motherId,
                          const std::string& firstOffspring, const std::string& nextSibling,
                          const std::string& probandStatus);

// A trio as a three-person pedigree under the child's pedigree identifier: father "1",
// mother "2", child "3".
Pedigree* copyHrrFamily(const Person* child, const Person* mother, const Person* father,
                        const std::string& markerKey);
