#include "input/model.h"

#include <fstream>
#include <iostream>
#include <vector>

#include "driver/utilities.h"
#include "input/field_reader.h"
#include "input/linkage_locus_file.h"

Model::~Model() { delete locus; }

int Model::readModelFile(const std::string& fileName) {
    std::cout << "Reading model file: " << fileName;
    delete locus;
    locus = nullptr;
    name = fileName;
    std::ifstream in(fileName.c_str());
    if (!in) {
        std::cout << "..failed" << std::endl << "Unable to open model file " << fileName << " for reading." << std::endl;
        return 0;
    }

    NumberFieldReader p(in, "Model file", fileName);
    std::vector<double> frequency;
    int classes = 0;
    if (!p.readInt(xlinkedIndicator) || !p.readDoubles(1, frequency) || !p.readInt(classes)) return 0;
    if (classes < 1) {
        NumberFieldReader::fail("Model file " + fileName + " must give at least one liability class (found " +
                              IntToString(classes) + ")");
        return 0;
    }
    // Built aside and kept only when every value was read, so a failed read leaves no locus.
    Locus* disease = new Locus("DISEASE_LOCUS_1", 1, 2);
    disease->addAlleleFrequencies({1.0 - frequency[0], frequency[0]});
    for (int c = 0; c < classes; ++c) {
        std::vector<double> row;
        bool ok = p.readDoubles(3, row);
        if (ok) {
            p.endLine();
            disease->setFemalePenetrances(row);
            if (xlinkedIndicator == 1) {
                ok = p.readDoubles(2, row);
                if (ok) {
                    p.endLine();
                    disease->setMalePenetrances(row);
                }
            }
        }
        if (!ok) {
            delete disease;
            return 0;
        }
    }
    locus = disease;
    std::cout << "...done" << std::endl;
    return 1;
}

void Model::makeModel() {
    std::cout << "Generating model";
    delete locus;
    xlinkedIndicator = 0;
    locus = new Locus("DISEASE_LOCUS_1", 1, 2);
    locus->addAlleleFrequencies({0.99, 0.01});
    locus->setFemalePenetrances({0.01, 0.9, 0.9});
    std::cout << "...done" << std::endl;
}
