// The files handed to FASTLINK: the pedigree file (whole or nuclear pedigrees, a chosen
// selection of phenotypes and markers, alleles renumbered 1..n), loop breaking through
// UNKNOWN, and the LINKAGE locus model built from the disease model and the catalogue.

#include <algorithm>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include "driver/utilities.h"
#include "input/linkage_locus_file.h"
#include "input/marker_map.h"
#include "input/model.h"
#include "model/pedigrees.h"
#include "pedigree/marker_info.h"

namespace {

const char* const kNoPhenotypes = "DO_NOT_PRINT_PHENOTYPES";

bool isAllDigits(const std::string& s) {
    return std::all_of(s.begin(), s.end(), [](char c) { return c >= '0' && c <= '9'; });
}

// Integer order of digit strings of any length: leading zeros are ignored, then the
// shorter number is the smaller one, equal lengths compare digit by digit.
bool StringToIntCompare(const std::string& a, const std::string& b) {
    const std::size_t za = std::min(a.find_first_not_of('0'), a.size());
    const std::size_t zb = std::min(b.find_first_not_of('0'), b.size());
    const std::size_t la = a.size() - za;
    const std::size_t lb = b.size() - zb;
    if (la != lb) return la < lb;
    return a.compare(za, la, b, zb, lb) < 0;
}

// Persons of one pedigree in writing order: tree order, or by value when every
// identifier is a number.
std::vector<Person*> createPedigreeVector(const Pedigree* pedigree) {
    std::vector<Person*> persons;
    persons.reserve(static_cast<std::size_t>(pedigree->getPersonTree()->getCount()));
    bool numeric = true;
    pedigree->getPersonTree()->forEach([&](Person* p) {
        persons.push_back(p);
        numeric = numeric && isAllDigits(p->getPersonId());
    });
    if (numeric)
        std::stable_sort(persons.begin(), persons.end(), [](const Person* a, const Person* b) {
            return StringToIntCompare(a->getPersonId(), b->getPersonId());
        });
    return persons;
}

void printFramedLoopError() {
    const std::string stars(66, '*');
    std::cout << "\n" << stars << "\nError in breaking loops with UNKNOWN...\n" << stars << "\n" << std::endl;
}

}  // namespace

int Pedigrees::writePedigreeFile(const std::string& fileName, const std::vector<std::string>& phenotypes,
                                 const std::vector<std::string>& markers) {
    pedigreeType = "BASIC_PEDIGREE";
    selectedPhenotypes = phenotypes;
    selectedMarkers = markers;
    return writePedigreeFile(fileName);
}

int Pedigrees::writeNuclearPedigreeFile(const std::string& fileName, const std::vector<std::string>& phenotypes,
                                        const std::vector<std::string>& markers) {
    pedigreeType = "NUCLEAR_PEDIGREE";
    selectedPhenotypes = phenotypes;
    selectedMarkers = markers;
    return writePedigreeFile(fileName);
}

int Pedigrees::writePedigreeFile(const std::string& fileName) {
    std::ofstream out(fileName);
    if (!out) {
        std::cout << "Error: Unable to open " << fileName << " for wreiting!" << std::endl;
        return 0;
    }
    const RBTree<Pedigree>* set = pedigrees;
    if (pedigreeType == "NUCLEAR_PEDIGREE") {
        // The decomposition marks the source persons as used, so it is done only once.
        if (!nuclearPedigrees) createNuclearPedigrees();
        set = nuclearPedigrees;
    }

    const bool mixed = !selectedMarkers.empty() && (selectedMarkers[0] == "P" || selectedMarkers[0] == "M");

    // Column keys are settled once per file; a genome scan writes this file for every marker.
    std::vector<std::string> phenotypeColumns;
    std::vector<std::string> markerColumns;
    if (!mixed) {
        for (const std::string& name : selectedPhenotypes.empty() ? phenotypeNames : selectedPhenotypes)
            if (name != kNoPhenotypes) phenotypeColumns.push_back(name);
        if (selectedMarkers.empty())
            for (int i = 0; i < markerCount; ++i) markerColumns.push_back(IntToString(i));
        else
            markerColumns = selectedMarkers;
    }
    const std::size_t mixedColumns = std::min(selectedMarkers.size(), selectedPhenotypes.size());

    pedigreeText.str("");
    pedigreeText.clear();
    std::string line;
    set->forEach([&](const Pedigree* pedigree) {
        for (Person* person : createPedigreeVector(pedigree)) {
            line = person->getPersonInfo();
            if (mixed) {
                for (std::size_t i = 0; i < mixedColumns; ++i) {
                    const std::string& key = selectedPhenotypes[i];
                    if (selectedMarkers[i] == "M") {
                        const Marker* m = person->getMarker(key);
                        if (m) line.append(m->getAllele(0)).append(" ").append(m->getAllele(1)).append("\t");
                        else line.append("0 0\t");
                    } else if (selectedMarkers[i] == "P") {
                        const Phenotype* p = person->getPhenotype(key);
                        line.append(p ? p->getValue() : std::string("0")).append("\t");
                    }
                }
            } else {
                for (const std::string& name : phenotypeColumns) {
                    const Phenotype* p = person->getPhenotype(name);
                    line.append(p ? p->getValue() : std::string("0")).append(" ");
                }
                for (const std::string& key : markerColumns) {
                    const Marker* m = person->getMarker(key);
                    if (!m) {
                        line.append("0 0 ");
                    } else if (renumberAlleles) {
                        line.append(getNewAlleleName(0, m)).append(" ").append(getNewAlleleName(1, m)).append(" ");
                    } else {
                        line.append(m->getAllele(0)).append(" ").append(m->getAllele(1)).append(" ");
                    }
                }
            }
            line.append("\n");
            pedigreeText << line;
        }
    });

    out << pedigreeText.str();
    out.close();
    pedigreeText.str("");
    pedigreeText.clear();
    return 1;
}

// The first argument selects a pseudo-marker variant of loop breaking that this system never
// asks for (every caller passes false); UNKNOWN's own loop-breaker selection is always used.
bool Pedigrees::break_loops(bool /*pseudo*/, bool verbose) {
    if (verbose) std::cout << "Breaking loops..." << std::endl;
    if (execute_external_command(std::string("unknownvarkel") + " -l ", verbose) != 0) {
        printFramedLoopError();
        return false;
    }
    // UNKNOWN writes the pedigrees with their loop breakers doubled into lpedfile.dat.
    return copy_file("lpedfile.dat", "pedfile.dat");
}

bool Pedigrees::makeLinkageLocusFile() {
    if (!model) {
        model = new Model();
        model->makeModel();
    }
    std::cout << "Generating LINKAGE locus file ";
    if (markerCount == 0 || !pedigreeFileRead) {
        std::cout << "...failed" << std::endl;
        return false;
    }

    // Frequency set of the marker loci. "f" and "m" fall back to the frequencies among all
    // persons when any allele of any marker is missing from founders (males), because a zero
    // frequency for an observed allele makes the likelihood of its carriers zero.
    std::string type;
    bool withFrequencies = true;
    if (frequencyType == "a") {
        type = "all";
    } else if (frequencyType == "f" || frequencyType == "m") {
        type = frequencyType == "f" ? "founders" : "males";
        for (int i = 0; i < markerCount; ++i) {
            const MarkerInfo* info = markerInfo->find(IntToString(i));
            if (info && !info->hasAllAlleles(type)) {
                std::cout << "\nWarning: All alleles are not found from " << type << "\n"
                          << "...using allele frequencies from all" << std::endl;
                type = "all";
                break;
            }
        }
    } else if (frequencyType == "u") {
        // The marker frequencies are to come from the user's LINKAGE locus file; without one
        // there is nothing to analyse with.
        if (locusFileName.empty() || !std::ifstream(locusFileName)) {
            std::cout << "...failed\n"
                      << "Error: Frequency type u takes the marker allele frequencies from a LINKAGE locus file "
                         "(--dat), and none was read"
                      << std::endl;
            return false;
        }
        withFrequencies = false;
    } else {
        std::cout << "...failed\nError: Unknown allele frequency type " << frequencyType << " (use a, f, m or u)"
                  << std::endl;
        return false;
    }

    // A fresh model: a locus file that failed to read may have left loci behind.
    delete linkageLocusFile;
    linkageLocusFile = new LinkageLocusFile();

    if (model->getLocus()) linkageLocusFile->addLocus(new Locus(model->getLocus()));

    std::vector<int> order;
    for (int i = 1; i <= markerCount + 1; ++i) order.push_back(i);
    linkageLocusFile->setLocusOrder(order);
    linkageLocusFile->addRecombinationFraction(0.5);

    for (int i = 0; i < markerCount; ++i) {
        const std::string index = IntToString(i);
        if (i > 0)
            linkageLocusFile->addRecombinationFraction(
                markerMap->getRecombinationFractionBetweenWithIndex(IntToString(i - 1), index));
        const MarkerInfo* info = markerInfo->find(index);
        if (!info) continue;
        const int alleles = info->getAlleleCount();
        auto* locus = new Locus(markerMap->getMarkerName(index), 3, alleles);
        if (withFrequencies) {
            std::vector<double> frequencies;
            frequencies.reserve(static_cast<std::size_t>(alleles));
            for (int a = 0; a < alleles; ++a) frequencies.push_back(info->getAlleleFreq(a, type));
            locus->addAlleleFrequencies(frequencies);
        }
        linkageLocusFile->addLocus(locus);
    }

    linkageLocusFile->setNumberOfLoci(markerCount + 1);
    linkageLocusFile->setRiskLocus(0);
    // The model file carries its own X-linked indicator; the --xlinked setting of the run
    // says the data themselves are X-linked, and then the loci must be treated as such
    // whatever the model file says.
    linkageLocusFile->setSexLink(xlinked ? 1 : model->getXlinkedIndicator());
    linkageLocusFile->setProgramNumber(5);
    linkageLocusFile->setMutLocus(0);
    linkageLocusFile->setMutRateMale(0.0);
    linkageLocusFile->setMutRateFemale(0.0);
    linkageLocusFile->setHapFreq(0);
    linkageLocusFile->setSexDifference(0);
    linkageLocusFile->setInterference(0);
    linkageLocusFile->setRecombinationVaried(0);
    linkageLocusFile->setIncrement(0.1);
    linkageLocusFile->setFinishingValue(0.45);
    linkageLocusFile->setMarkerMap(markerMap);

    std::cout << "...done" << std::endl;
    return true;
}
