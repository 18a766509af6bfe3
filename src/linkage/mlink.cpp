#include "linkage/mlink.h"

#include <algorithm>
#include <iomanip>
#include <iostream>

#include "driver/utilities.h"
#include "input/linkage_locus_file.h"
#include "input/marker_map.h"
#include "model/pedigrees.h"
#include "pedigree/marker_info.h"

// FASTLINK is built for at most this many alleles at one locus.
static const int maxFastlinkAlleles = 25;

MLink::MLink(Pedigrees* pedigrees) : pedigrees(pedigrees) {}

MLink::~MLink() {
    clearResults();
    clearHLods();
}

void MLink::clearResults() {
    for (auto& phenotypeResults : results)
        for (MLinkMarker* marker : phenotypeResults) delete marker;
    results.clear();
    // Records still here belong to a phenotype whose run did not complete.
    for (MLinkMarker* marker : currentResults) delete marker;
    currentResults.clear();
}

void MLink::clearHLods() {
    for (auto& phenotypeGrid : hlodGrid)
        for (auto& markerGrid : phenotypeGrid)
            for (auto& thetaRow : markerGrid)
                for (MLinkHLod* point : thetaRow) delete point;
    hlodGrid.clear();
    for (auto& phenotypeMaxima : hlodMaxima)
        for (MLinkHLod* maximum : phenotypeMaxima) delete maximum;
    hlodMaxima.clear();
    hlodPhenotypes.clear();
    alphaNames.clear();
    hlodThetaNames.clear();
    thetaNames.clear();
}

std::string MLink::welcome() const {
    return programBanner("Program for Linkage and Linkage Disequilibrium analysis");
}

static void printExternalError(const std::string& errorLine) {
    const std::string stars(66, '*');
    std::cout << "\n" << stars << "\n" << errorLine << "\n\n" << "Something is wrong....\n" << stars << "\n\n"
              << "Aborting program!\n";
    std::cout.flush();
}

// Marker names of the map ordered by their index (the map tree is keyed by name).
static std::vector<std::string> mapMarkersInOrder(MarkerMap* map) {
    std::vector<std::pair<int, std::string>> indexed;
    map->getMarkerTree()->forEach([&](const Marker* marker) {
        if (!marker->getName().empty()) indexed.emplace_back(stringToInt(marker->getIndex()), marker->getName());
    });
    std::sort(indexed.begin(), indexed.end());
    std::vector<std::string> names;
    names.reserve(indexed.size());
    for (const auto& entry : indexed) names.push_back(entry.second);
    return names;
}

bool MLink::run(const std::string& mode, const std::string& markerName, const std::string& phenotypeName) {
    this->markerName = markerName;
    this->phenotypeName = phenotypeName;
    this->mode = mode;
    clearResults();
    const std::string mlinkProgram = slow ? "mlinkvarkelslow" : "mlinkvarkel";

    if (mode != "basic" && mode != "nuclear") return false;
    MarkerMap* map = pedigrees->getMarkerMap();
    if (!map || map->getMarkerCount() == 0 || !pedigrees->isPedigreeFileRead()) return false;
    const bool verbose = pedigrees->isVerbose();

    markers.clear();
    if (!pedigrees->getOnlyMarkers().empty()) {
        markers = pedigrees->getOnlyMarkers();
    } else if (markerName.empty()) {
        markers = mapMarkersInOrder(map);
    } else if (map->getMarkerWithName(markerName)) {
        markers.push_back(markerName);
    } else {
        std::cout << "Cannot find given marker " << markerName << "\n";
        return false;
    }

    phenotypes.clear();
    if (!phenotypeName.empty()) {
        if (!pedigrees->isPhenotypeRead(phenotypeName)) {
            std::cout << "Cannot find given phenotype " << phenotypeName << "\n";
            return false;
        }
        phenotypes.push_back(phenotypeName);
    } else {
        phenotypes = pedigrees->getPhenotypeNames();
    }

    std::cout << "\n"
              << (mode == "basic" ? "Parametric Linkage analysis" : "Parametric Linkage analysis for nuclear pedigrees")
              << "\n";
    if (frequenciesFromLocusFile)
        std::cout << "Warning: Pedigree file contains less alleles than defined in linkage data file "
                     "(analyzing anyway)\n";

    LinkageLocusFile* model = pedigrees->getLinkageLocusFile();
    RBTree<MarkerInfo>* catalogue = pedigrees->getMarkerInfo();
    const std::vector<std::string> noExtraNames;

    for (const std::string& phenotype : phenotypes) {
        std::cout << "Phenotype: " << phenotype << "\n";
        std::cout << std::setw(20) << "Marker" << std::setw(13) << (mode == "basic" ? "LodHom" : "NucLodHom")
                  << std::setw(10) << "Theta" << "\n";
        const std::vector<std::string> phenotypeColumn{phenotype};

        for (size_t position = 0; position < markers.size(); ++position) {
            const std::string& name = markers[position];
            Marker* mapMarker = map->getMarkerWithName(name);
            if (!mapMarker) {
                std::cout << "Cannot find given marker " << name << "\n";
                return false;
            }
            const std::string& index = mapMarker->getIndex();
            MarkerInfo* info = catalogue ? catalogue->find(index) : nullptr;
            if (!info || (info->getAlleleCount() < 2 && !frequenciesFromLocusFile)) {
                std::cout << "Skipping marker " << name << ", since no informative families found\n";
                continue;
            }
            if (info->getAlleleCount() > maxFastlinkAlleles) {
                std::cout << "Skipping marker " << name << ", since it has " << info->getAlleleCount()
                          << " alleles and FASTLINK accepts at most " << maxFastlinkAlleles << "\n";
                continue;
            }
            currentMarker = static_cast<int>(position);

            const std::vector<std::string> markerColumn{index};
            if (verbose) std::cout << "Writing needed pedfile.dat for marker " << name << "\n";
            int written;
            int pedigreeCount;
            if (mode == "basic") {
                written = pedigrees->writePedigreeFile("pedfile.dat", phenotypeColumn, markerColumn);
                pedigreeCount = pedigrees->getPedigreeCount();
            } else {
                written = pedigrees->writeNuclearPedigreeFile("pedfile.dat", phenotypeColumn, markerColumn);
                pedigreeCount = pedigrees->getNuclearPedigreeCount();
            }
            if (!written || pedigreeCount == 0) {
                if (verbose) std::cout << "...failed\n";
                if (pedigreeCount == 0)
                    std::cout << "Error: no " << (mode == "basic" ? "pedigrees" : "nuclear pedigrees")
                              << " to analyse for marker " << name << "\n";
                return false;
            }
            if (verbose) std::cout << "...done\n";

            Locus* trait = model ? model->getLocus(0) : nullptr;
            Locus* markerLocus = model ? model->getLocus(stringToInt(index) + 1) : nullptr;
            if (!trait || !markerLocus) {
                std::cout << "Error: LINKAGE locus file model has no " << (trait ? "locus for marker " + name : "trait locus")
                          << "\n";
                return false;
            }
            LinkageLocusFile* pair = new LinkageLocusFile();
            pair->setMarkerMap(map);
            pair->setNumberOfLoci(2);
            pair->setRiskLocus(0);
            pair->setSexLink(model->getXlinked());
            pair->setProgramNumber(5);
            pair->setMutLocus(0);
            pair->setMutRateMale(0.0);
            pair->setMutRateFemale(0.0);
            pair->setHapFreq(0);
            pair->setLocusOrder({1, 2});
            pair->addLocus(new Locus(trait));
            pair->addLocus(new Locus(markerLocus));
            pair->setSexDifference(0);
            pair->setInterference(0);
            pair->setRecombinationVaried(1);
            pair->setIncrement(0.02);
            pair->setFinishingValue(0.49);
            pair->addRecombinationFraction(0.0);

            if (verbose) std::cout << "Writing needed datafile.dat for marker " << name << "\n";
            pair->writeLocusFile("datafile.dat", noExtraNames);
            delete pair;
            if (verbose) std::cout << "...done\n";

            std::cout.flush();
            if (pedigrees->isLoopsFound() && !pedigrees->break_loops(false, verbose)) return false;

            if (verbose) std::cout << "Running external program unknown to create outfile.dat\n";
            std::cout.flush();
            if (execute_external_command("unknownvarkel", verbose) != 0) {
                printExternalError("Error in executing UNKNOWN: unknownvarkel");
                return false;
            }
            if (verbose) std::cout << "...done\n";

            if (verbose) std::cout << "Running external program mlink to create outfile.dat\n";
            std::cout.flush();
            if (execute_external_command(mlinkProgram, verbose) != 0) {
                printExternalError("Error in executing MLINK: " + mlinkProgram);
                return false;
            }
            if (verbose) std::cout << "...done\n";

            if (!readResultsFile("outfile.dat", mode)) return false;
        }
        // The records move to the results; the current vector starts empty for the next phenotype.
        results.push_back(currentResults);
        currentResults.clear();
    }
    return true;
}
