// The pedigree collection's entry points to the map, model and LINKAGE locus file readers.

#include "input/linkage_locus_file.h"
#include "input/marker_map.h"
#include "input/model.h"
#include "model/pedigrees.h"

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
    if (!model->readModelFile(fileName)) {
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
    return result;
}
