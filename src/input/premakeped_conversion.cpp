// A pedigree file without the MAKEPED pointer columns is checked as it stands, its person
// columns are converted by the MAKEPED converter into "<file>.linkage", and that file is read
// with the genotypes of the check: MAKEPED's pointers depend on the persons alone, and the
// converted file keeps the user's identifiers in its "Ped:"/"Per:" columns, by which each
// converted line finds its checked person. The genotype columns are read once and every
// person is made once.

#include "model/pedigrees.h"

#include <cstdio>
#include <iostream>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "driver/utilities.h"
#include "input/marker_map.h"
#include "model/file.h"

int Pedigrees::readAndConvertPreToLinkage(const std::string& fileName) {
    pedigreeFileName = fileName;

    // Validation pass on the file as the user wrote it, sharing this collection's map.
    Pedigrees check;
    prepareValidation(check);
    check.personColumnCount = 5 + (affectionColumn ? 1 : 0) + (affectionColumn && liabilityColumn ? 1 : 0);
    const int validated = check.readPedigreeFile(fileName);
    // A map generated from the file's columns during validation belongs to this collection.
    markerCount = markerMap->getMarkerCount();
    if (!validated) {
        check.setMarkerMap(nullptr);
        mendelianErrorFound = check.isMendelianErrorFound();
        return 0;
    }
    return convertCheckedPedigrees(check, fileName);
}

int Pedigrees::convertCheckedPedigrees(Pedigrees& check, const std::string& fileName) {
    mendelianErrorFound = check.isMendelianErrorFound();
    check.setMarkerMap(nullptr);
    // The checked persons become the converted ones: they keep their phenotypes and store rows
    // and take the converter's identifiers.
    std::vector<std::unique_ptr<Person>> inFileOrder(static_cast<size_t>(check.genotypeStore.getRowCount()));
    check.pedigrees->forEach([&](Pedigree* pedigree) {
        pedigree->getPersonTree()->takeAll(
            [&](Person* person) { inFileOrder[static_cast<size_t>(person->getGenotypeRow())].reset(person); });
    });
    CheckedPersons checkedPersons(std::move(inFileOrder));
    const std::set<std::string> checkedLoops = std::move(check.pedigreesWithLoops);
    genotypeStore = std::move(check.genotypeStore);
    check.clearPedigrees();
    // MAKEPED and FASTLINK need consistent genotypes: the errors must be mended first.
    if (mendelianErrorFound) {
        std::cout << "Mendelian errors found in pedigree file " << fileName << ": the run stops; see mendel.err"
                  << std::endl;
        return 0;
    }

    std::cout << "(Converting pedigree file " << fileName << " to linkage format)" << std::endl;
    if (!check.converterRun.finish()) {
        std::cout << "...failed" << std::endl
                  << "Unable to write the person columns of " << fileName << " for the conversion" << std::endl;
        return 0;
    }

    postMakeped = true;
    converted = true;
    personsToRenumber = &checkedPersons;
    // A trimmed file given to the converter may leave persons out: its pedigrees are checked anew.
    checkedPedigreesWithLoops = trim ? nullptr : &checkedLoops;
    const int read = readPedigreeFile(fileName + ".linkage");
    personsToRenumber = nullptr;
    checkedPedigreesWithLoops = nullptr;
    return read;
}

void Pedigrees::startConversion(const std::string& fileName) {
    const std::string converted = fileName + ".linkage";
    if (trim) converterRun.startOnFile(fileName + ".trimmed", converted, verbose);
    else converterRun.start(personColumns, converted, verbose);
    personColumns = std::string();
}

void Pedigrees::prepareValidation(Pedigrees& check) const {
    check.setAffectionColumn(affectionColumn);
    check.setLiabilityColumn(liabilityColumn);
    check.setXlinked(xlinked);
    check.setVerbose(verbose);
    check.setOutputPrefix(outputPrefix);
    check.setSetMeMissing(setMeMissing);
    check.setPostMakeped(false);
    check.setTrim(trim);
    check.validationOnly = true;
    check.setMarkerMap(markerMap);
}
