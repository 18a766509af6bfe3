#include "input/linkage_locus_file.h"

#include <cstdlib>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <sstream>

#include "driver/utilities.h"
#include "input/field_reader.h"
#include "input/marker_map.h"

// FASTLINK reads the values back with full double precision.
static const int kLocusFilePrecision = 17;

// ---------------------------------------------------------------- Locus

Locus::Locus(const std::string& name, int type, int numberOfAlleles)
    : name(name), type(type), numberOfAlleles(numberOfAlleles) {}

Locus::Locus(const Locus* other)
    : name(other->name),
      type(other->type),
      numberOfAlleles(other->numberOfAlleles),
      alleleFrequencies(other->alleleFrequencies),
      numberOfLiabClasses(other->numberOfLiabClasses),
      femalePenetrances(other->femalePenetrances),
      malePenetrances(other->malePenetrances),
      genotypeMeans(other->genotypeMeans),
      variances(other->variances),
      heterozygoteMultiplier(other->heterozygoteMultiplier) {}

void Locus::setFemalePenetrances(const std::vector<double>& row) {
    femalePenetrances.push_back(row);
    numberOfLiabClasses = static_cast<int>(femalePenetrances.size());
}

void Locus::setMalePenetrances(const std::vector<double>& row) { malePenetrances.push_back(row); }

double Locus::getFemalePenetranceClass(int liabilityClass, int genotype) const {
    if (liabilityClass < 0 || liabilityClass >= numberOfLiabClasses || genotype < 0 || genotype > 2) return -4.0;
    if (liabilityClass >= static_cast<int>(femalePenetrances.size())) return -4.0;
    const std::vector<double>& row = femalePenetrances[liabilityClass];
    if (genotype >= static_cast<int>(row.size())) return -4.0;
    return row[genotype];
}

double Locus::getMalePenetranceClass(int liabilityClass, int genotype) const {
    if (liabilityClass < 0 || liabilityClass >= numberOfLiabClasses || genotype < 0 || genotype > 1) return -2.0;
    if (liabilityClass >= static_cast<int>(malePenetrances.size())) return -2.0;
    const std::vector<double>& row = malePenetrances[liabilityClass];
    if (genotype >= static_cast<int>(row.size())) return -2.0;
    return row[genotype];
}

static void writeList(std::ostream& out, const std::vector<double>& values) {
    for (double v : values) out << v << " ";
}

// Penetrance lines of an affection status locus: per class the three female (or autosomal)
// values and, for X-linked data, the two male values on the next line.
static void writePenetrances(std::ostream& out, const Locus& locus, int sexLink) {
    out << locus.getNumberOfLiabClasses() << "\n";
    for (int c = 0; c < locus.getNumberOfLiabClasses(); ++c) {
        for (int g = 0; g < 3; ++g) out << locus.getFemalePenetranceClass(c, g) << " ";
        out << "\n";
        if (sexLink == 1) {
            for (int g = 0; g < 2; ++g) out << locus.getMalePenetranceClass(c, g) << " ";
            out << "\n";
        }
    }
}

std::string Locus::toString(int sexLink) const {
    std::ostringstream out;
    out << std::setprecision(kLocusFilePrecision);
    out << type << " " << numberOfAlleles << "\n";
    writeList(out, alleleFrequencies);
    out << "\n";
    if (type == 1) {
        writePenetrances(out, *this, sexLink);
    } else if (type == 0) {
        out << numberOfLiabClasses << "\n";
        for (size_t i = 0; i < genotypeMeans.size(); ++i) {
            out << genotypeMeans[i] << " ";
            if (i % 3 == 2 || i + 1 == genotypeMeans.size()) out << "\n";
        }
        writeList(out, variances);
        out << "\n";
        out << heterozygoteMultiplier << "\n";
    }
    return out.str();
}

std::string Locus::toStringHeaderOnly(int sexLink) const {
    std::ostringstream out;
    out << type << " " << numberOfAlleles << "\n";
    if (type == 1) writePenetrances(out, *this, sexLink);
    return out.str();
}

std::string Locus::toStringDiseaseLocus(int sexLink) const {
    if (type != 1) return "This is not disease locus";
    std::ostringstream out;
    const std::string rule(63, '=');
    out << rule << "\n";
    out << "Disease allele frequency: P(D) = ";
    if (alleleFrequencies.size() > 1)
        out << alleleFrequencies[1];
    else
        out << "unknown";
    out << "\n";
    out << "Liability class  P(Affected|++)  P(Affected|D+)  P(Affected|DD)\n";
    out << std::string(63, '-') << "\n";
    for (int c = 0; c < numberOfLiabClasses; ++c) {
        out << std::setw(15) << (c + 1);
        for (int g = 0; g < 3; ++g) out << std::setw(15) << getFemalePenetranceClass(c, g) << " ";
        out << "\n";
        if (sexLink == 1) {
            out << std::string(15, ' ');
            for (int g = 0; g < 2; ++g) out << std::setw(15) << getMalePenetranceClass(c, g) << " ";
            out << " (males)\n";
        }
    }
    out << rule << "\n\n";
    return out.str();
}

// ---------------------------------------------------------------- LinkageLocusFile

LinkageLocusFile::~LinkageLocusFile() {
    for (Locus* locus : loci) delete locus;
}

Locus* LinkageLocusFile::getLocus(int position) const {
    if (position < 0 || position >= static_cast<int>(loci.size())) return nullptr;
    return loci[position];
}

void LinkageLocusFile::setLinkmapLastLine(int variedLocus, double stopValue, int evaluations) {
    linkmapVariedLocus = variedLocus;
    linkmapStopValue = stopValue;
    linkmapEvaluations = evaluations;
}

namespace {

// Checks that the frequencies sum to 1 within 0.0001 and scales them to sum to 1 exactly.
bool normaliseFrequencies(std::vector<double>& frequencies) {
    double sum = 0.0;
    for (double f : frequencies) sum += f;
    if (1.0 - sum > 0.0001 || sum - 1.0 > 0.0001) return NumberFieldReader::fail("Allele frequencies do not sum to 1");
    for (double& f : frequencies) f /= sum;
    return true;
}

// Values FASTLINK takes as probabilities; it fails without saying which one is wrong.
bool readProbabilities(NumberFieldReader& p, int n, std::vector<double>& values, const std::string& fileName,
                       const std::string& what) {
    values.clear();
    for (int i = 0; i < n; ++i) {
        double v = 0.0;
        if (!p.readDouble(v)) return false;
        if (v < 0.0 || v > 1.0)
            return NumberFieldReader::fail("Locus file " + fileName + " line " + IntToString(p.lastLine()) + ": " +
                                           what + " " + p.lastField() + " is outside [0, 1]");
        values.push_back(v);
    }
    return true;
}

}  // namespace

int LinkageLocusFile::readLocusFile(const std::string& fileName) {
    std::cout << "Reading LINKAGE locus file " << fileName << std::endl;
    std::ifstream in(fileName.c_str());
    if (!in) {
        NumberFieldReader::fail("Unable to open locus file " + fileName + " for reading.");
        return 0;
    }
    for (Locus* locus : loci) delete locus;
    loci.clear();
    locusOrder.clear();
    recombinationFractions.clear();

    skipByteOrderMark(in);
    NumberFieldReader p(in, "Locus file", fileName);
    if (!p.readInt(numberOfLoci) || !p.readInt(riskLocus) || !p.readInt(sexLink) || !p.readInt(programNumber))
        return 0;
    p.endLine();
    if (numberOfLoci < 1) {
        NumberFieldReader::fail("Locus file " + fileName + " must hold at least one locus (number of loci: " +
                              IntToString(numberOfLoci) + ")");
        return 0;
    }
    if (!p.readInt(mutLocus) || !p.readDouble(mutRateMale) || !p.readDouble(mutRateFemale) || !p.readInt(hapFreq))
        return 0;
    p.endLine();
    for (int k = 0; k < numberOfLoci; ++k) {
        int position = 0;
        if (!p.readInt(position)) return 0;
        locusOrder.push_back(position);
    }
    p.endLine();

    for (int k = 0; k < numberOfLoci; ++k) {
        int type = 0;
        int alleles = 0;
        if (!p.readInt(type) || !p.readInt(alleles)) return 0;
        p.endLine();
        if (alleles < 0) {
            NumberFieldReader::fail("Locus file " + fileName + ": locus " + IntToString(k + 1) +
                                  " has a negative number of alleles");
            return 0;
        }
        std::vector<double> frequencies;
        if (type == 0) {
            Locus* locus = new Locus("DISEASE_LOCUS_" + IntToString(k), 0, alleles);
            addLocus(locus);
            if (!p.readDoubles(alleles, frequencies)) return 0;
            p.endLine();
            locus->addAlleleFrequencies(frequencies);
            int traits = 0;
            if (!p.readInt(traits)) return 0;
            p.endLine();
            locus->setNumberOfLiabClasses(traits);
            std::vector<double> means;
            for (int t = 0; t < traits; ++t) {
                std::vector<double> row;
                if (!p.readDoubles(3, row)) return 0;
                p.endLine();
                means.insert(means.end(), row.begin(), row.end());
            }
            locus->setGenotypeMeans(means);
            double variance = 0.0;
            double multiplier = 0.0;
            if (!p.readDouble(variance)) return 0;
            p.endLine();
            if (!p.readDouble(multiplier)) return 0;
            p.endLine();
            locus->setVariances(std::vector<double>(1, variance));
            locus->setHeterozygoteMultiplier(multiplier);
        } else if (type == 1) {
            if (alleles > 2) {
                NumberFieldReader::fail("Disease locus cannot have more than 2 alleles");
                return 0;
            }
            Locus* locus = new Locus("DISEASE_LOCUS_" + IntToString(k), 1, alleles);
            addLocus(locus);
            if (!readProbabilities(p, alleles, frequencies, fileName, "an allele frequency of locus " + IntToString(k + 1)))
                return 0;
            p.endLine();
            if (!normaliseFrequencies(frequencies)) return 0;
            locus->addAlleleFrequencies(frequencies);
            int classes = 0;
            if (!p.readInt(classes)) return 0;
            p.endLine();
            for (int c = 0; c < classes; ++c) {
                const std::string where =
                    "penetrance of liability class " + IntToString(c + 1) + " of locus " + IntToString(k + 1);
                std::vector<double> row;
                if (!readProbabilities(p, 3, row, fileName, "a " + where)) return 0;
                p.endLine();
                locus->setFemalePenetrances(row);
                if (sexLink == 1) {
                    if (!readProbabilities(p, 2, row, fileName, "a male " + where)) return 0;
                    p.endLine();
                    locus->setMalePenetrances(row);
                }
            }
        } else if (type == 2) {
            NumberFieldReader::fail("Binary factors not supported.");
            return 0;
        } else if (type == 3) {
            Locus* locus = new Locus(IntToString(k), 3, alleles);
            addLocus(locus);
            for (int a = 0; a < alleles; ++a) {
                double f = 0.0;
                if (!p.readDouble(f)) return 0;
                if (f < 0.0) {
                    NumberFieldReader::fail("Allele frequencies cannot be negative!");
                    return 0;
                }
                frequencies.push_back(f);
            }
            p.endLine();
            if (!normaliseFrequencies(frequencies)) return 0;
            locus->addAlleleFrequencies(frequencies);
        } else {
            NumberFieldReader::fail("Error in locus type: " + IntToString(type));
            return 0;
        }
    }

    if (!p.readInt(sexDifference) || !p.readInt(interference)) return 0;
    p.endLine();
    if (sexDifference != 0 || interference != 0) {
        NumberFieldReader::fail("Error in reading linkage locus file: sex difference and interference not allowed!");
        return 0;
    }
    for (int k = 0; k < numberOfLoci - 1; ++k) {
        double r = 0.0;
        if (!p.readDouble(r)) return 0;
        addRecombinationFraction(r);
    }
    p.endLine();
    if (!p.readInt(recombinationVaried) || !p.readDouble(increment) || !p.readDouble(finishingValue)) return 0;
    in.close();
    std::cout << " (Number of loci: " << numberOfLoci << ")...done." << std::endl;
    return 1;
}

void LinkageLocusFile::writeLastLine(std::ostream& out) const {
    if (programNumber == 4)
        out << linkmapVariedLocus << " " << linkmapStopValue << " " << linkmapEvaluations << "\n";
    else
        out << recombinationVaried << " " << increment << " " << finishingValue << "\n";
}

void LinkageLocusFile::writeLocusFile(const std::string& fileName, const std::vector<std::string>& selected) const {
    const int m = static_cast<int>(selected.size());
    std::vector<const Locus*> chosen;
    if (m > 0) {
        if (!markerMap) {
            std::cout << "Error: you can't write recombination fraction to locus file from given loci before "
                         "you've read the markermap file & setMarkerMap.";
            return;
        }
        if (m > numberOfLoci) {
            std::cout << "Error: you are requesting too many loci.";
            return;
        }
        for (const std::string& position : selected) {
            char* end = nullptr;
            const long p = std::strtol(position.c_str(), &end, 10);
            const Locus* locus = (end != position.c_str() && *end == '\0') ? getLocus(static_cast<int>(p)) : nullptr;
            if (!locus) {
                std::cout << "Error: there is no locus at position " << position << " to write to " << fileName
                          << std::endl;
                return;
            }
            chosen.push_back(locus);
        }
    }

    std::ostringstream out;
    out << std::setprecision(kLocusFilePrecision);
    out << (m > 0 ? m : numberOfLoci) << " " << riskLocus << " " << sexLink << " " << programNumber << "\n";
    out << mutLocus << " " << mutRateMale << " " << mutRateFemale << " " << hapFreq << "\n";
    for (int position : locusOrder) out << position << " ";
    out << "\n";

    if (m > 0) {
        for (const Locus* locus : chosen) out << locus->toString(sexLink);
        out << sexDifference << " " << interference << "\n";
        for (int k = 0; k + 1 < m; ++k) {
            if (!getLocus(k) || m == 2)
                out << "0.5 ";
            else
                out << markerMap->getRecombinationFractionBetweenWithIndex(selected[k], selected[k + 1]) << " ";
        }
        out << "\n";
    } else {
        for (const Locus* locus : loci)
            out << (hapFreq == 1 ? locus->toStringHeaderOnly(sexLink) : locus->toString(sexLink));
        if (hapFreq == 1) {
            writeList(out, haplotypeFrequencies);
            out << "\n";
        }
        out << sexDifference << " " << interference << "\n";
        for (double r : recombinationFractions) out << r << "  ";
        out << "\n";
    }
    writeLastLine(out);

    std::ofstream file(fileName.c_str());
    if (!file) {
        std::cout << "Error: Unable to open " << fileName << " for writing!" << std::endl;
        return;
    }
    file << out.str();
}
