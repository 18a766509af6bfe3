// The files handed to FASTLINK: the pedigree file of one batch (whole or nuclear pedigrees
// under numeric ids, one trait, marker alleles by their batch numbers), what the batch
// planner needs to know of each pedigree, and the LINKAGE locus model built from the disease
// model and the catalogue.

#include <algorithm>
#include <fstream>
#include <iostream>
#include <map>
#include <string>
#include <vector>

#include "driver/utilities.h"
#include "engine/fastlink_limits.h"
#include "input/linkage_locus_file.h"
#include "input/marker_map.h"
#include "input/model.h"
#include "model/pedigrees.h"
#include "pedigree/marker_info.h"

namespace {

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

// A whole decimal number, or -1.
int wholeNumber(const std::string& text) {
    if (text.empty() || text.size() > 9 || !isAllDigits(text)) return -1;
    return std::stoi(text);
}

}  // namespace

const RBTree<Pedigree>* Pedigrees::getPedigreeSet(bool nuclear) {
    // The decomposition marks the source persons as used, so it is done only once.
    if (nuclear && !nuclearPedigrees) createNuclearPedigrees();
    return nuclear ? nuclearPedigrees : pedigrees;
}

std::vector<const Pedigree*> Pedigrees::getPedigreesInInputOrder(bool nuclear) {
    std::vector<const Pedigree*> ordered;
    const RBTree<Pedigree>* set = getPedigreeSet(nuclear);
    if (!set) return ordered;
    set->forEach([&](const Pedigree* pedigree) { ordered.push_back(pedigree); });
    // Tree order is text order ("10" before "2"). Nuclear families are numbered as they are
    // found, walking the pedigrees in input order.
    std::map<std::string, size_t> rank;
    for (size_t i = 0; i < pedigreeInputOrder.size(); ++i) rank.emplace(pedigreeInputOrder[i], i);
    auto rankOf = [&](const Pedigree* pedigree) -> size_t {
        if (nuclear) return static_cast<size_t>(stringToInt(pedigree->getPedigreeId()));
        const auto found = rank.find(pedigree->getPedigreeId());
        return found == rank.end() ? rank.size() : found->second;
    };
    std::stable_sort(ordered.begin(), ordered.end(),
                     [&](const Pedigree* a, const Pedigree* b) { return rankOf(a) < rankOf(b); });
    return ordered;
}

std::string Pedigrees::getPedigreeLabel(const Pedigree* pedigree) const {
    return pedigree->getOriginalPedigreeId().empty() ? pedigree->getPedigreeId() : pedigree->getOriginalPedigreeId();
}

bool Pedigrees::getLocusAlleleNumbers(const std::string& markerIndex, int locusAlleles,
                                      std::map<std::string, int>& numbers) const {
    numbers.clear();
    const MarkerInfo* entry = markerInfo->find(markerIndex);
    if (!entry) return true;
    for (const Allele* allele : entry->getAlleles()) {
        // The user's locus file numbers its alleles 1..n, and the data name them by those
        // numbers; a locus built from the data numbers them as the catalogue does.
        const int number =
            wholeNumber(locusFileRead ? allele->getAlleleName() : allele->getAlleleNewName());
        if (number < 1 || number > locusAlleles) {
            std::cout << "Error: Marker " << markerMap->getMarkerName(markerIndex) << " has allele "
                      << allele->getAlleleName() << " in the pedigree file, which its locus in the LINKAGE locus "
                      << "file does not define (alleles 1 to " << locusAlleles << ")" << std::endl;
            return false;
        }
        numbers[allele->getAlleleName()] = number;
    }
    return true;
}

PedigreeLoad Pedigrees::getFastlinkLoad(const Pedigree* pedigree,
                                        const std::vector<FastlinkMarkerColumn>& markers) const {
    PedigreeLoad load;
    load.persons = pedigree->getPersonTree()->getCount();
    // UNKNOWN doubles each loop breaker; a pedigree has at most this many loops.
    if (hasLoop(pedigree)) load.persons += fastlink_limits::kLoopsPerPedigree;
    load.carriedAlleles.resize(markers.size());
    std::vector<int> markerColumns;
    for (const FastlinkMarkerColumn& marker : markers)
        markerColumns.push_back(markerColumnOfKey(marker.markerIndex, genotypeStore.getMarkerCount()));
    std::map<std::string, int> children;
    pedigree->getPersonTree()->forEach([&](const Person* person) {
        if (person->getFatherId() != "0") load.largestSibship = std::max(load.largestSibship, ++children["f" + person->getFatherId()]);
        if (person->getMotherId() != "0") load.largestSibship = std::max(load.largestSibship, ++children["m" + person->getMotherId()]);
        for (size_t m = 0; m < markers.size(); ++m) {
            const int column = markerColumns[m];
            if (!person->isTyped(column)) continue;
            for (int k = 0; k < 2; ++k) {
                const auto found = markers[m].locusAllele.find(person->getAlleleName(column, k));
                if (found != markers[m].locusAllele.end()) load.carriedAlleles[m].push_back(found->second);
            }
        }
    });
    for (std::vector<int>& carried : load.carriedAlleles) {
        std::sort(carried.begin(), carried.end());
        carried.erase(std::unique(carried.begin(), carried.end()), carried.end());
    }
    return load;
}

int Pedigrees::getFastlinkLiabilityClasses(const Locus* trait) const {
    const int classes = std::max(1, trait->getNumberOfLiabClasses());
    if (!liabilityColumn) {
        if (classes == 1) return 1;
        std::cout << "Error: The trait model has " << classes
                  << " liability classes, but the pedigree file has no liability class column (--liab)" << std::endl;
        return 0;
    }
    int withoutClass = 0;
    bool valid = true;
    pedigrees->forEach([&](const Pedigree* pedigree) {
        pedigree->getPersonTree()->forEach([&](const Person* person) {
            if (!valid) return;
            const Phenotype* liability = person->getPhenotype(kLiabilityClassName);
            if (!liability) {
                ++withoutClass;
                return;
            }
            const int number = wholeNumber(liability->getValue());
            if (number < 1 || number > classes) {
                std::cout << "Error: Person " << person->getPersonId() << " of pedigree " << getPedigreeLabel(pedigree)
                          << " has liability class " << liability->getValue() << ", but the trait model has "
                          << classes << " liability classes" << std::endl;
                valid = false;
            }
        });
    });
    if (!valid) return 0;
    if (classes == 1) return 1;  // every person's class is the one: the status goes alone
    if (withoutClass > 0)
        std::cout << "Warning: " << withoutClass
                  << " persons have no liability class; their trait status is analysed as unknown" << std::endl;
    return classes;
}

bool Pedigrees::writePedigreeFile(const std::string& fileName, const FastlinkPedigreeFile& content) const {
    std::string text;
    std::string line;
    std::vector<int> markerColumns;
    for (const FastlinkMarkerColumn* marker : content.markers)
        markerColumns.push_back(markerColumnOfKey(marker->markerIndex, genotypeStore.getMarkerCount()));
    for (size_t p = 0; p < content.pedigrees.size(); ++p) {
        const std::string number = IntToString(content.numbers[p]);
        for (Person* person : createPedigreeVector(content.pedigrees[p])) {
            // FASTLINK reads numeric pedigree ids: the batch number replaces the user's id.
            const std::string& columns = person->getPersonInfo();
            line = number;
            line.append(columns, columns.find('\t'), std::string::npos);
            const Phenotype* trait = person->getPhenotype(content.trait);
            std::string status = trait ? trait->getValue() : "0";
            if (content.liabilityClasses > 1) {
                // Without a class the penetrance is unknown, and so is what the status says.
                const Phenotype* liability = person->getPhenotype(kLiabilityClassName);
                if (!liability) status = "0 1";
                else status += " " + liability->getValue();
            }
            line.append(status).append(" ");
            for (size_t m = 0; m < content.markers.size(); ++m) {
                const int column = markerColumns[m];
                if (!person->isTyped(column)) {
                    line.append("0 0 ");
                    continue;
                }
                for (int k = 0; k < 2; ++k) {
                    const auto found = content.markers[m]->locusAllele.find(person->getAlleleName(column, k));
                    const int locusAllele = found == content.markers[m]->locusAllele.end() ? 0 : found->second;
                    const std::vector<int>& batchAllele = *content.batchAlleles[m];
                    const int written = locusAllele > 0 && static_cast<size_t>(locusAllele) < batchAllele.size()
                                            ? batchAllele[static_cast<size_t>(locusAllele)]
                                            : 0;
                    line.append(IntToString(written)).append(" ");
                }
            }
            line.append("\n");
            text += line;
        }
    }
    std::ofstream out(fileName);
    out << text;
    out.close();
    return static_cast<bool>(out);
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
                allPersonsFrequenciesInstead = true;
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
    locusFileRead = false;
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
