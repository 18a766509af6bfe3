// The phenotype file (further traits of persons already read from the pedigree file) and the
// only-markers file (the subset of map markers to analyse, with their positions).

#include "model/pedigrees.h"

#include <algorithm>
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

    // Either one marker per line as chromosome, position and name (anything after the name is
    // ignored), which sets the marker's place, or a plain list of names, one per line, which
    // keeps the map's places and order. The first line tells which.
    std::string text = file.text.str();
    stripByteOrderMark(text);
    std::istringstream lines(text);
    std::map<std::string, int> lineOfMarker;
    struct Listed {
        double position;
        std::string positionText, name;
    };
    std::map<std::string, Listed> lastOnChromosome;
    int lineNumber = 0;
    int namesOnly = -1;  // unknown until the first line
    const std::string where = "Error: onlymarkers file " + fileName + " line ";
    for (std::string line; std::getline(lines, line);) {
        ++lineNumber;
        std::istringstream words(line);
        std::vector<std::string> fields;
        for (std::string word; words >> word;) fields.push_back(word);
        if (fields.empty()) continue;
        if (namesOnly < 0) namesOnly = fields.size() == 1;
        if (namesOnly && fields.size() != 1) {
            failed() << where << lineNumber << ": \"" << trimmedLine(line)
                     << "\" is not one marker name (the first line made this a list of names)" << std::endl;
            return 0;
        }
        if (!namesOnly && fields.size() < 3) {
            failed() << where << lineNumber << ": \"" << trimmedLine(line)
                     << "\" has no marker name (chromosome, position and name are needed)" << std::endl;
            return 0;
        }
        const std::string& name = namesOnly ? fields[0] : fields[2];
        if (!namesOnly && markerMap->getMarkerWithName(fields[1])) {
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
        if (namesOnly) continue;
        // Markers on different chromosomes are unlinked: only within one do positions order them.
        const std::string& chromosome = fields[0];
        const double position = stringToDouble(fields[1]);
        const auto previous = lastOnChromosome.find(chromosome);
        if (previous != lastOnChromosome.end() && previous->second.position > position) {
            failed() << "Error: Marker position must be linear within a chromosome: " << fileName << " line "
                     << lineNumber << ": " << name << " at " << fields[1] << " after " << previous->second.name
                     << " at " << previous->second.positionText << " on chromosome " << chromosome << std::endl;
            return 0;
        }
        lastOnChromosome[chromosome] = {position, fields[1], name};
        marker->setPosition(fields[1]);
        marker->setChromosome(chromosome);
    }
    if (namesOnly == 1) {
        std::sort(onlyMarkers.begin(), onlyMarkers.end(), [this](const std::string& a, const std::string& b) {
            return stringToInt(markerMap->getMarkerWithName(a)->getIndex()) <
                   stringToInt(markerMap->getMarkerWithName(b)->getIndex());
        });
    }
    // An empty list would silently mean every marker.
    if (onlyMarkers.empty()) {
        failed() << "Error: onlymarkers file " << fileName << " names no marker" << std::endl;
        return 0;
    }
    std::cout << "...done " << std::endl;
    return 1;
}
