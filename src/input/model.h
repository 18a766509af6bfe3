#pragma once
// The disease model of a model file (or the default model) as the two-allele affection
// status locus "DISEASE_LOCUS_1".

#include <string>

class Locus;

class Model {
public:
    Model() = default;
    ~Model();
    Model(const Model&) = delete;
    Model& operator=(const Model&) = delete;

    int readModelFile(const std::string& fileName);
    void makeModel();
    Locus* getLocus() const { return locus; }
    int getXlinkedIndicator() const { return xlinkedIndicator; }
    const std::string& getName() const { return name; }

private:
    std::string name;
    int xlinkedIndicator = 0;
    Locus* locus = nullptr;
};
