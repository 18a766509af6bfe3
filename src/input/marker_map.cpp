#include "input/marker_map.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <iostream>
#include <sstream>
#include <vector>

#include "driver/utilities.h"
#include "input/field_reader.h"

double HaldaneCentiMorganToRecombinationFraction(double cM) { return 0.5 - 0.5 * std::exp(-2.0 * cM / 100.0); }

double KosambiCentiMorganToRecombinationFraction(double cM) {
    const double e = std::exp(4.0 * cM / 100.0);
    return 0.5 * (e - 1.0) / (e + 1.0);
}

double RecombinationFractionToHaldaneCentiMorgan(double r) { return -0.5 * std::log(1.0 - 2.0 * r) * 100.0; }

double RecombinationFractionToKosambiCentiMorgan(double r) {
    return 0.25 * std::log((1.0 + 2.0 * r) / (1.0 - 2.0 * r)) * 100.0;
}

MarkerMap::MarkerMap() : markerTree(new RBTree<Marker>(new Marker(), "Marker Map Tree")) {}

MarkerMap::~MarkerMap() { delete markerTree; }

static int failMapRead(const std::string& reason) {
    std::cout << "...failed" << std::endl << reason << std::endl;
    return 0;
}

int MarkerMap::readMapFile(const std::string& fileName) {
    std::cout << "Reading map file " << fileName << std::endl;
    std::ifstream in(fileName.c_str());
    if (!in) return failMapRead("Unable to open marker map file " + fileName + " for reading!");

    skipByteOrderMark(in);
    // The header is one line of exactly three fields: a line of four ("CHR HALDANE POS NAME")
    // or two would shift every marker's fields.
    std::string headerLine;
    int headerLineNumber = 0;
    std::vector<std::string> header;
    while (header.empty() && std::getline(in, headerLine)) {
        ++headerLineNumber;
        std::istringstream words(headerLine);
        for (std::string word; words >> word;) header.push_back(word);
    }
    if (header.empty()) return failMapRead("Map file " + fileName + " is empty");
    if (header.size() != 3)
        return failMapRead("Map file " + fileName + " line " + IntToString(headerLineNumber) +
                           ": the header must hold exactly three fields (such as \"CHROMOSOME HALDANE POSITION\"), "
                           "found " + IntToString(static_cast<int>(header.size())) + ": " + trimmedLine(headerLine));
    FieldReader fields(in, headerLineNumber + 1);
    mapFunction = stringToLower(header[1]);

    // The last marker of each chromosome, to find positions that decrease within one.
    struct Placed {
        double position;
        std::string positionText, name;
        int line;
    };
    std::map<std::string, Placed> lastOnChromosome;
    std::vector<std::string> decreasing;
    int count = 0;
    while (true) {
        std::string chromosome = "NULL";
        std::string position;
        std::string name;
        if (!fields.next(chromosome)) break;
        const int line = fields.lastFieldLine();
        if (!fields.next(position)) return failMapRead("Map function is missing");
        if (!fields.next(name)) return failMapRead("Marker name is missing");
        fields.skipRestOfLine();

        if (count < 5) std::cout << " " << name;
        Marker* marker = new Marker(name, chromosome, position);
        const std::string index = IntToString(count);
        marker->setIndex(index);
        marker->setPhysicalPosition("0");
        indexToName[index] = name;
        ++count;
        if (!markerTree->insert(marker)) {
            delete marker;
            return failMapRead("Duplicate marker at line: " + IntToString(count) + " markername: " + name);
        }
        const auto previous = lastOnChromosome.find(chromosome);
        if (previous != lastOnChromosome.end() && stringToDouble(position) < previous->second.position)
            decreasing.push_back("line " + IntToString(line) + " (" + name + " at " + position + " after " +
                                 previous->second.name + " at " + previous->second.positionText + " on line " +
                                 IntToString(previous->second.line) + ")");
        lastOnChromosome[chromosome] = {stringToDouble(position), position, name, line};
    }
    std::cout << " ..." << std::endl;
    markerCount = count;
    in.close();
    std::cout << "(Number of markers : " << count << ")" << std::endl;
    if (!decreasing.empty()) {
        const size_t shown = std::min<size_t>(decreasing.size(), 5);
        std::cout << "Warning: map file " << fileName << ": positions decrease within a chromosome at ";
        for (size_t i = 0; i < shown; ++i) std::cout << (i ? ", " : "") << decreasing[i];
        if (decreasing.size() > shown) std::cout << " and " << decreasing.size() - shown << " more lines";
        std::cout << ". Markers are matched to the pedigree file's genotype columns by the map's line order, "
                     "not by position: the map must list them in the order of the columns."
                  << std::endl;
    }
    std::cout << "...done." << std::endl;
    return 1;
}

void MarkerMap::makeMarkerMap(int n) {
    std::cout << "Generating map file " << std::endl;
    mapFunction = "haldane";
    int count = 0;
    for (int k = 0; k < n; ++k) {
        const std::string name = "MARKER" + IntToString(k + 1);
        Marker* marker = new Marker(name, "1", IntToString(k) + "1");
        const std::string index = IntToString(k);
        marker->setIndex(index);
        if (!markerTree->insert(marker)) {
            delete marker;
            continue;
        }
        // Analyses look markers up by index, so generated markers must be reachable that way too.
        indexToName[index] = name;
        ++count;
    }
    markerCount = count;
    std::cout << "(Number of markers : " << count << ")" << std::endl;
    std::cout << "...done." << std::endl;
}

bool MarkerMap::addMarker(const std::string& name, const std::string& chromosome, const std::string& position) {
    Marker* marker = new Marker(name, chromosome, position);
    const std::string index = IntToString(markerCount);
    marker->setIndex(index);
    marker->setPhysicalPosition("0");
    if (!markerTree->insert(marker)) {
        delete marker;
        return false;
    }
    indexToName[index] = name;
    ++markerCount;
    return true;
}

std::string MarkerMap::getMarkerName(const std::string& index) { return indexToName[index]; }

Marker* MarkerMap::getMarker(const std::string& index) { return getMarkerWithName(getMarkerName(index)); }

Marker* MarkerMap::getMarkerWithName(const std::string& name) const { return markerTree->find(name); }

double MarkerMap::getGeneticDistanceBetween(const std::string& name1, const std::string& name2) const {
    const Marker* marker1 = getMarkerWithName(name1);
    const Marker* marker2 = getMarkerWithName(name2);
    if (!marker1) {
        std::cout << "marker1 is null";
        return -1.0;
    }
    if (!marker2) {
        std::cout << "marker2 is null";
        return -1.0;
    }
    return marker2->getPosition() - marker1->getPosition();
}

double MarkerMap::getRecombinationFractionBetweenWithIndex(const std::string& index1, const std::string& index2) {
    const Marker* marker1 = getMarker(index1);
    const Marker* marker2 = getMarker(index2);
    // Positions are measured along each chromosome; markers on two chromosomes are unlinked.
    if (marker1 && marker2 && marker1->getChromosome() != marker2->getChromosome()) return 0.5;
    const double d = getGeneticDistanceBetween(getMarkerName(index1), getMarkerName(index2));
    if (isHaldane()) return HaldaneCentiMorganToRecombinationFraction(d);
    return KosambiCentiMorganToRecombinationFraction(d);
}
