#pragma once
// The markers of the map file in file order, with their positions in centiMorgans and the
// map function (Haldane or Kosambi) that turns distances into recombination fractions.

#include <map>
#include <string>
#include "model/rbtree.h"
#include "model/records.h"

double HaldaneCentiMorganToRecombinationFraction(double cM);
double KosambiCentiMorganToRecombinationFraction(double cM);
double RecombinationFractionToHaldaneCentiMorgan(double r);
double RecombinationFractionToKosambiCentiMorgan(double r);

class MarkerMap {
public:
    MarkerMap();
    ~MarkerMap();
    MarkerMap(const MarkerMap&) = delete;
    MarkerMap& operator=(const MarkerMap&) = delete;

    int readMapFile(const std::string& fileName);
    void makeMarkerMap(int n);
    // A marker of a map built by a reader of another format, after those before it; false
    // when the name is taken.
    bool addMarker(const std::string& name, const std::string& chromosome, const std::string& position);
    void setMapFunction(const std::string& function) { mapFunction = function; }
    int getMarkerCount() const { return markerCount; }
    std::string getMarkerName(const std::string& index);
    Marker* getMarker(const std::string& index);
    Marker* getMarkerWithName(const std::string& name) const;
    double getGeneticDistanceBetween(const std::string& name1, const std::string& name2) const;
    double getRecombinationFractionBetweenWithIndex(const std::string& index1, const std::string& index2);
    bool isHaldane() const { return mapFunction == "haldane"; }
    RBTree<Marker>* getMarkerTree() const { return markerTree; }

private:
    std::string mapFunction;
    RBTree<Marker>* markerTree;
    int markerCount = 0;
    std::map<std::string, std::string> indexToName;
};
