// The phenotype file (further traits of persons already read from the pedigree file) and the
// only-markers file (the subset of map markers to analyse, with their positions).

#include "model/pedigrees.h"

#include <fstream>
#include <iostream>
#include <limits>
#include <vector>
#include <string>

#include "driver/utilities.h"
#include "input/marker_map.h"
#include "model/file.h"

namespace {

bool isUnknownValue(const std::string& v) { return v == "x" || v == "-" || v == "." || v == "0"; }

std::ostream& failed() { return std::cout << "...failed" << std::endl; }

}  // namespace

int Pedigrees::readPhenotypeFile(const std::string& fileName) {
    phenotypeFileName = fileName;
    std::cout << "Reading phenotype file: " << fileName << std::endl;
    if (!pedigreeFileRead) {
        failed() << "Unable to open phenotype file before Pedigreefile " << std::endl;
        return 0;
    }
    std::ifstream in(fileName);
    if (!in.is_open()) {
        failed() << "Unable to open phenotype file " << fileName << " for reading." << std::endl;
        return 0;
    }

    int count = 0;
    in >> count;
    if (count <= 0) {
        failed() << "Number of phenotypes:" << count << " ...check your files!" << std::endl;
        return 0;
    }
    std::vector<std::string> names;
    for (int column = 1; column <= count; ++column) {
        std::string name;
        in >> name;
        if (isPhenotypeRead(name)) {
            failed() << "duplicate phenotypename: " << name << " at phenotypecolumn: " << column << std::endl;
            return 0;
        }
        phenotypeNames.push_back(name);
        names.push_back(name);
    }
    in.ignore(std::numeric_limits<std::streamsize>::max(), '\n');

    // Records are a plain stream of fields; line breaks carry no meaning here.
    std::string pedigreeId, personId, value;
    for (int line = 1; in >> pedigreeId; ++line) {
        personId.clear();
        in >> personId;
        std::string newPedigreeId = pedigreeId, newPersonId = personId;
        if (converted) {
            newPedigreeId = getNewPedigreeID(pedigreeId);
            newPersonId = getNewPersonID(pedigreeId, personId);
        }
        const Pedigree* pedigree = pedigrees->find(newPedigreeId);
        if (!pedigree) {
            failed() << "Pedigree not found for phenotype at line: " << line << " Pedigree " << pedigreeId
                     << " Person " << personId << " does not match with pedigree file!" << std::endl;
            return 0;
        }
        Person* person = pedigree->getPerson(newPersonId);
        if (!person) {
            failed() << "Pedigree found, but not person at line: " << line << " Pedigree " << pedigreeId
                     << " Person " << personId << " does not match with pedigree file!" << std::endl;
            return 0;
        }
        for (const std::string& name : names) {
            if (!(in >> value)) {
                failed() << "Value for Phenotype: " << name << " not found at line: " << line << std::endl;
                return 0;
            }
            if (isUnknownValue(value)) continue;
            Phenotype* phenotype = new Phenotype(name, value);
            if (!person->addPhenotype(phenotype)) {
                delete phenotype;
                failed() << "Duplicate phenotype at line: " << line << " name: " << name << " Pedigree "
                         << pedigreeId << " Person " << personId << std::endl;
                return 0;
            }
        }
    }
    std::cout << "...done" << std::endl;
    return 1;
}

int Pedigrees::readOnlyMarkersFile(const std::string& fileName) {
    std::cout << "Reading onlymarkers file " << fileName << std::endl;
    File file;
    if (!file.openFile(fileName, "read")) {
        failed() << "Unable to open onlymarkers file " << fileName << " for reading!" << std::endl;
        return 0;
    }
    file.getAllLinesInOStringStream();
    file.closeFile("read");

    bool first = true;
    double previousPosition = 0.0;
    for (;;) {
        std::string chromosome = "NULL", position, name;
        file.text >> chromosome >> position >> name;
        file.text.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
        if (name.empty() || position.empty() || chromosome == "NULL") break;
        if (!first && previousPosition > stringToDouble(position)) {
            failed() << "Error: Marker position must be linear" << std::endl;
            return 0;
        }
        if (markerMap->getMarkerWithName(position)) {
            failed() << "Error: onlymarkers file not correct " << std::endl;
            return 0;
        }
        Marker* marker = markerMap->getMarkerWithName(name);
        if (!marker) {
            failed() << "Error: Marker " << name << " not found " << std::endl;
            return 0;
        }
        onlyMarkers.push_back(name);
        marker->setPosition(position);
        marker->setChromosome(chromosome);
        previousPosition = stringToDouble(position);
        first = false;
    }
    std::cout << "...done " << std::endl;
    return 1;
}
