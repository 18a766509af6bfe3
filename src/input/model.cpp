#include "input/model.h"

#include <fstream>
#include <iostream>
#include <vector>

#include "driver/utilities.h"
#include "input/field_reader.h"
#include "input/linkage_locus_file.h"

Model::~Model() { delete locus; }

namespace {

bool isProbability(double v) { return v >= 0.0 && v <= 1.0; }

// FASTLINK takes the values as probabilities and fails without saying which one is wrong.
int outOfRange(const std::string& fileName, const NumberFieldReader& p, const std::string& what) {
    NumberFieldReader::fail("Model file " + fileName + " line " + IntToString(p.lastLine()) + ": " + what + " " +
                            p.lastField() + " is outside [0, 1]");
    return 0;
}

bool readPenetrances(NumberFieldReader& p, int n, std::vector<double>& row, const std::string& fileName,
                     const std::string& what) {
    row.clear();
    for (int g = 0; g < n; ++g) {
        double v = 0.0;
        if (!p.readDouble(v)) return false;
        if (!isProbability(v)) return outOfRange(fileName, p, what);
        row.push_back(v);
    }
    return true;
}

}  // namespace

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

    skipByteOrderMark(in);
    NumberFieldReader p(in, "Model file", fileName);
    std::vector<double> frequency;
    int classes = 0;
    if (!p.readInt(xlinkedIndicator) || !p.readDoubles(1, frequency)) return 0;
    if (!isProbability(frequency[0]))
        return outOfRange(fileName, p, "the disease allele frequency");
    if (!p.readInt(classes)) return 0;
    if (classes < 1) {
        NumberFieldReader::fail("Model file " + fileName + " must give at least one liability class (found " +
                              IntToString(classes) + ")");
        return 0;
    }
    // Built aside and kept only when every value was read, so a failed read leaves no locus.
    Locus* disease = new Locus("DISEASE_LOCUS_1", 1, 2);
    disease->addAlleleFrequencies({1.0 - frequency[0], frequency[0]});
    for (int c = 0; c < classes; ++c) {
        const std::string where = "a penetrance of liability class " + IntToString(c + 1);
        std::vector<double> row;
        bool ok = readPenetrances(p, 3, row, fileName, where);
        if (ok) {
            p.endLine();
            disease->setFemalePenetrances(row);
            if (xlinkedIndicator == 1) {
                ok = readPenetrances(p, 2, row, fileName, "a male " + where.substr(2));
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
