// The phenotype file (further traits of persons already read from the pedigree file) and the
// only-markers file (the subset of map markers to analyse, with their positions).

#include "model/pedigrees.h"

#include <fstream>
#include <iostream>
#include <limits>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "driver/utilities.h"
#include "input/field_reader.h"
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

    skipByteOrderMark(in);
    // The header is one line: the number of phenotypes and their names.
    std::string headerLine;
    std::getline(in, headerLine);
    std::istringstream header(headerLine);
    int count = 0;
    header >> count;
    if (count <= 0) {
        failed() << "Number of phenotypes:" << count << " ...check your files!" << std::endl;
        return 0;
    }
    std::vector<std::string> names;
    // Words after the names are a comment.
    for (std::string name; static_cast<int>(names.size()) < count && header >> name;) names.push_back(name);
    if (static_cast<int>(names.size()) < count) {
        failed() << "Phenotype file " << fileName << " line 1: the header gives " << count
                 << " phenotype(s) but names only " << names.size() << std::endl;
        return 0;
    }
    for (int column = 1; column <= count; ++column) {
        const std::string& name = names[static_cast<size_t>(column - 1)];
        if (isPhenotypeRead(name)) {
            failed() << "duplicate phenotypename: " << name << " at phenotypecolumn: " << column << std::endl;
            return 0;
        }
        phenotypeNames.push_back(name);
    }

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

    // One marker per line: chromosome, position, name; anything after the name is ignored.
    std::string text = file.text.str();
    stripByteOrderMark(text);
    std::istringstream lines(text);
    std::map<std::string, int> lineOfMarker;
    double previousPosition = 0.0;
    int lineNumber = 0;
    const std::string where = "Error: onlymarkers file " + fileName + " line ";
    for (std::string line; std::getline(lines, line);) {
        ++lineNumber;
        std::istringstream words(line);
        std::string chromosome, position, name;
        if (!(words >> chromosome)) continue;
        if (!(words >> position >> name)) {
            failed() << where << lineNumber << ": \"" << trimmedLine(line)
                     << "\" has no marker name (chromosome, position and name are needed)" << std::endl;
            return 0;
        }
        if (!lineOfMarker.empty() && previousPosition > stringToDouble(position)) {
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
        const auto listed = lineOfMarker.emplace(name, lineNumber);
        if (!listed.second) {
            failed() << where << lineNumber << ": marker " << name << " is listed twice (first at line "
                     << listed.first->second << ")" << std::endl;
            return 0;
        }
        onlyMarkers.push_back(name);
        marker->setPosition(position);
        marker->setChromosome(chromosome);
        previousPosition = stringToDouble(position);
    }
    // An empty list would silently mean every marker.
    if (onlyMarkers.empty()) {
        failed() << "Error: onlymarkers file " << fileName << " names no marker" << std::endl;
        return 0;
    }
    std::cout << "...done " << std::endl;
    return 1;
}
