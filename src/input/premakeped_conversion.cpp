// A pedigree file without the MAKEPED pointer columns is checked as it stands, converted by
// the MAKEPED converter into "<file>.linkage" and read from there; the converted file keeps
// the user's identifiers in its "Ped:"/"Per:" columns.

#include "model/pedigrees.h"

#include <cstdio>
#include <iostream>
#include <string>

#include "driver/utilities.h"
#include "input/marker_map.h"

int Pedigrees::readAndConvertPreToLinkage(const std::string& fileName) {
    pedigreeFileName = fileName;

    // Validation pass on the file as the user wrote it, sharing this collection's map.
    int validated = 0;
    {
        Pedigrees check;
        check.setAffectionColumn(affectionColumn);
        check.setLiabilityColumn(liabilityColumn);
        check.setXlinked(xlinked);
        check.setVerbose(verbose);
        check.setPostMakeped(false);
        check.setMarkerMap(markerMap);
        validated = check.readPedigreeFile(fileName);
        mendelianErrorFound = check.isMendelianErrorFound();
        check.setMarkerMap(nullptr);
    }
    // A map generated from the file's columns during validation now belongs to this collection.
    markerCount = markerMap->getMarkerCount();
    if (!validated) return 0;
    // MAKEPED and FASTLINK need consistent genotypes: the errors must be mended first.
    if (mendelianErrorFound) {
        std::cout << "Mendelian errors found in pedigree file " << fileName << ": the run stops; see mendel.err"
                  << std::endl;
        return 0;
    }

    std::cout << "(Converting pedigree file " << fileName << " to linkage format)" << std::endl;
    const std::string converterInput = trim ? fileName + ".trimmed" : fileName;
    const std::string convertedName = fileName + ".linkage";
    // A converted file left from an earlier run must not be read if this conversion fails.
    std::remove(convertedName.c_str());
    execute_external_command({"makepedpseudo", converterInput, convertedName, "n"}, verbose);

    postMakeped = true;
    converted = true;
    return readPedigreeFile(convertedName);
}
