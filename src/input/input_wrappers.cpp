// The pedigree collection's entry points to the map, model and LINKAGE locus file readers.

#include "driver/utilities.h"
#include "input/linkage_locus_file.h"
#include "input/marker_map.h"
#include "input/model.h"
#include "model/pedigrees.h"

#include <iostream>
#include <map>

int Pedigrees::readMapFile(const std::string& fileName) {
    mapFileName = fileName;
    if (!markerMap) markerMap = new MarkerMap();
    const int result = markerMap->readMapFile(fileName);
    markerCount = markerMap->getMarkerCount();
    return result;
}

int Pedigrees::readModelFile(const std::string& fileName) {
    modelFileName = fileName;
    delete model;
    model = new Model();
    // Every person's liability class must be one of the model's classes.
    if (!model->readModelFile(fileName) || (pedigreeFileRead && !getFastlinkLiabilityClasses(model->getLocus()))) {
        delete model;
        model = nullptr;
        return 0;
    }
    return 1;
}

int Pedigrees::readLocusFile(const std::string& fileName) {
    locusFileName = fileName;
    if (!linkageLocusFile) linkageLocusFile = new LinkageLocusFile();
    const int result = linkageLocusFile->readLocusFile(fileName);
    linkageLocusFile->setMarkerMap(markerMap);
    locusFileRead = result != 0;
    if (locusFileRead && pedigreeFileRead && !locusFileMatchesData(fileName)) {
        locusFileRead = false;
        return 0;
    }
    return result;
}

// The locus file gives the trait locus first and then one numbered-allele locus per map
// marker, in map order, with at least the alleles the data hold.
bool Pedigrees::locusFileMatchesData(const std::string& fileName) const {
    const std::string file = "Error: Locus file " + fileName;
    const int loci = linkageLocusFile->getLocusCount();
    if (loci != markerCount + 1) {
        std::cout << file << " holds " << loci << " loci, but the map has " << markerCount
                  << " marker(s): the trait locus and one locus per map marker, in map order, are needed" << std::endl;
        return false;
    }
    const Locus* trait = linkageLocusFile->getLocus(0);
    if (trait->getType() != 1) {
        std::cout << file << ": locus 1, the trait locus, has type " << trait->getType()
                  << "; it must be an affection status locus (type 1)" << std::endl;
        return false;
    }
    if (!getFastlinkLiabilityClasses(trait)) return false;
    for (int i = 0; i < markerCount; ++i) {
        const Locus* locus = linkageLocusFile->getLocus(i + 1);
        const std::string index = IntToString(i);
        const std::string marker = markerMap->getMarkerName(index);
        if (locus->getType() != 3) {
            std::cout << file << ": locus " << i + 2 << ", for marker " << marker << ", has type " << locus->getType()
                      << "; marker loci must have numbered alleles (type 3)" << std::endl;
            return false;
        }
        std::map<std::string, int> numbers;
        if (!getLocusAlleleNumbers(index, locus->getNumberOfAlleles(), numbers)) {
            std::cout << file << ": locus " << i + 2 << ", for marker " << marker << ", has "
                      << locus->getNumberOfAlleles() << " allele(s), fewer than the data hold" << std::endl;
            return false;
        }
    }
    return true;
}
