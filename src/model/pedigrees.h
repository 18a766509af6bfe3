#pragma once
// The collection that owns all input data of a run: the pedigrees read, the marker map,
// the disease model, the LINKAGE locus file model, the allele catalogues and the derived
// pedigree sets. Readers fill it; analyses only read it (derived sets are rebuilt on demand).
//
// Its methods are implemented in the source file of the subsystem they belong to:
//   model/pedigrees.cpp            construction, ownership, counts, settings
//   input/pedigree_reader.cpp      pedigree file, generated map, identifier lookups
//   input/premakeped_conversion.cpp, input/phenotype_file.cpp, input/input_wrappers.cpp
//   pedigree/allele_catalogue.cpp, allele_collapsing.cpp, structure_check.cpp,
//   pedigree/mendelian_check.cpp, nuclear_pedigrees.cpp, linkage_files.cpp, report_header.cpp
//   association/hrr_pedigrees.cpp  trio extraction and singleton tallies
//   association/tdt_sibpair_pedigrees.cpp  TDT trios, affected sib pairs, their statistics files
//   pedigree/statistics_reports.cpp   statistics files about the input

#include <map>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>
#include "input/checked_persons.h"
#include "input/converter_run.h"
#include "model/rbtree.h"
#include "engine/batch_planner.h"
#include "engine/engine_choice.h"
#include "model/genotype_store.h"
#include "model/records.h"
#include "pedigree/fastlink_files.h"
#include "likelihood/pedigree_input.h"

class MarkerMap;
class LinkageLocusFile;

// The phenotype under which the pedigree reader keeps the liability class column.
inline const std::string kLiabilityClassName = "LIABILITY_CLASS";

class Model;
class MarkerInfo;
class Locus;

// The trait locus of the locus model as the native likelihood engine takes it. False, with
// the reason, for a locus that is not a complete affection status locus.
bool likelihoodTraitModel(const Locus* trait, bool xlinked, likelihood::TraitModel& model, std::string& whyNot);

class Pedigrees {
public:
    Pedigrees();
    ~Pedigrees();
    Pedigrees(const Pedigrees&) = delete;
    Pedigrees& operator=(const Pedigrees&) = delete;

    // ---- settings copied from the command line ----
    void setPostMakeped(bool v) { postMakeped = v; }
    bool isPostMakeped() const { return postMakeped; }
    void setAffectionColumn(bool v) { affectionColumn = v; }
    bool hasAffectionColumn() const { return affectionColumn; }
    void setLiabilityColumn(bool v) { liabilityColumn = v; }
    bool hasLiabilityColumn() const { return liabilityColumn; }
    void setXlinked(bool v) { xlinked = v; }
    bool isXlinked() const { return xlinked; }
    void setFrequencyType(const std::string& t) { frequencyType = t; }
    const std::string& getFrequencyType() const { return frequencyType; }
    void setVerbose(bool v) { verbose = v; }
    bool isVerbose() const { return verbose; }
    void setTrim(bool v) { trim = v; }
    void setOutputPrefix(const std::string& p) { outputPrefix = p; }
    const std::string& getOutputPrefix() const { return outputPrefix; }
    void setSinglepointCurves(bool v) { singlepointCurves = v; }
    bool isSinglepointCurves() const { return singlepointCurves; }
    void setRenumberAlleles(bool v) { renumberAlleles = v; }
    bool isRenumberAlleles() const { return renumberAlleles; }
    // FASTLINK programs run at once.
    void setParallelJobs(int n) { parallelJobs = n; }
    int getParallelJobs() const { return parallelJobs; }
    // Which engine computes the likelihoods of a pedigree, and the native engine's budget.
    void setEngineSettings(const EngineSettings& settings) { engineSettings = settings; }
    const EngineSettings& getEngineSettings() const { return engineSettings; }

    // ---- file names ----
    void setPedigreeFileName(const std::string& n) { pedigreeFileName = n; }
    const std::string& getPedigreeFileName() const { return pedigreeFileName; }
    void setMapFileName(const std::string& n) { mapFileName = n; }
    const std::string& getMapFileName() const { return mapFileName; }
    void setPhenotypeFileName(const std::string& n) { phenotypeFileName = n; }
    const std::string& getPhenotypeFileName() const { return phenotypeFileName; }
    void setLocusFileName(const std::string& n) { locusFileName = n; }
    const std::string& getLocusFileName() const { return locusFileName; }
    void setModelFileName(const std::string& n) { modelFileName = n; }
    const std::string& getModelFileName() const { return modelFileName; }

    // ---- owned objects and simple queries ----
    RBTree<Pedigree>* getPedigrees() const { return pedigrees; }
    MarkerMap* getMarkerMap() const { return markerMap; }
    void setMarkerMap(MarkerMap* map);
    LinkageLocusFile* getLinkageLocusFile() const { return linkageLocusFile; }
    RBTree<MarkerInfo>* getMarkerInfo() const { return markerInfo; }
    RBTree<MarkerInfo>* getHrrMarkerInfo() const { return hrrMarkerInfo; }
    RBTree<MarkerInfo>* getTdtMarkerInfo() const { return tdtMarkerInfo; }
    RBTree<MarkerInfo>* getSibPairMarkerInfo() const { return sibPairMarkerInfo; }
    int getMarkerCount() const { return markerCount; }
    int getPedigreeCount() const;
    int getPedigreePersonCount() const;
    double getAveragePedigreeSize() const;
    int getNuclearPedigreeCount() const;
    int getNuclearPersonCount() const;
    int getHrrPedigreeCount() const;
    int getHrrPersonCount() const;
    int getTdtPedigreeCount() const;
    int getTdtPersonCount() const;
    int getSibPairPedigreeCount() const;
    int getSibPairPersonCount() const;
    std::vector<std::string> getPhenotypeNames() const { return phenotypeNames; }
    bool isPhenotypeRead(const std::string& name) const;
    // The phenotypes that are traits to analyse: all but the liability class, a covariate.
    std::vector<std::string> getTraitNames() const;
    bool isTrait(const std::string& name) const;
    const std::vector<std::string>& getOnlyMarkers() const { return onlyMarkers; }
    bool isPedigreeFileRead() const { return pedigreeFileRead != 0; }
    bool isMendelianErrorFound() const { return mendelianErrorFound; }
    bool isLoopsFound() const { return loopsFound; }
    // A pedigree as read with a marriage or consanguinity loop (derived pedigrees have none).
    bool hasLoop(const Pedigree* pedigree) const;
    // The locus model was read from the user's LINKAGE locus file (not built from the data).
    bool isLocusFileRead() const { return locusFileRead; }
    // Number of persons in every pedigree of a tree (null tree: 0).
    static int countPersons(const RBTree<Pedigree>* tree);

    // ---- genotypes of the persons read (model/pedigrees.cpp) ----
    const GenotypeStore& getGenotypeStore() const { return genotypeStore; }
    // Gives a person a new row of the genotype store, untyped at every marker (the store
    // takes the marker count of the map with its first row).
    void addGenotypeRow(Person* person);
    // Sets a person's genotype at a marker from the two allele names; false for a marker
    // outside the store or one that already holds the most allele names it can tell apart.
    bool setGenotype(const Person* person, int marker, std::string_view first, std::string_view second) {
        return marker >= 0 && marker < genotypeStore.getMarkerCount() &&
               genotypeStore.setFromNames(marker, person->getGenotypeRow(), first, second);
    }

    // ---- input readers (input/) ----
    int readMapFile(const std::string& fileName);
    int readPedigreeFile(const std::string& fileName);
    // The map of a pedigree file read without one, numbered from its column count (the
    // fields of its first line).
    void makeMapFromColumns(const std::vector<std::string>& firstLine);
    int readAndConvertPreToLinkage(const std::string& fileName);
    // Gives a collection that checks the persons as the user wrote them this collection's
    // reading settings and its marker map (shared, not owned).
    void prepareValidation(Pedigrees& check) const;
    // PLINK binary files PREFIX.bed, .bim, .fam: the map from the .bim file (map function
    // "haldane" or "kosambi"), the persons from the .fam file, the genotypes from the .bed
    // file; checked and converted like a pre-MAKEPED file. 1 on success.
    int readPlinkBinaryFiles(const std::string& prefix, const std::string& mapFunction);
    int readPhenotypeFile(const std::string& fileName);
    int readOnlyMarkersFile(const std::string& fileName);
    int readModelFile(const std::string& fileName);
    int readLocusFile(const std::string& fileName);
    bool locusFileMatchesData(const std::string& fileName) const;
    std::string getOrigPedigreeID(const std::string& pedigreeId) const;
    std::string getNewPedigreeID(const std::string& originalPedigreeId) const;
    std::string getNewPersonID(const std::string& originalPedigreeId,
                               const std::string& originalPersonId) const;

    // ---- allele catalogue and collapsing (pedigree/) ----
    void createMarkerInfo();
    // Builds a catalogue tree of the given name from the persons of a pedigree tree.
    RBTree<MarkerInfo>* buildMarkerInfo(const RBTree<Pedigree>* tree, const std::string& name) const;
    void countMarkersGenotypes(const std::string& markerIndex);
    double getHeterozygosity(const std::string& markerIndex) const;
    double getPolymorphismInformationContent(const std::string& markerIndex) const;
    // The catalogue's new name of an allele of a marker: "nulli" without the marker's entry,
    // "-1" for a name the entry lacks.
    std::string getNewAlleleName(const std::string& markerIndex, const std::string& alleleName) const;
    void collapseAlleles();

    // ---- checks (pedigree/) ----
    bool writeFamilyErrors(const std::string& fileName);
    bool checkFamilies();
    bool writeMendelianErrors(const std::string& fileName);
    bool checkMendelianErrors();
    // A genotype named by the Mendelian check: the child at odds with its parents, or every
    // member of a nuclear family whose offender cannot be told.
    struct MendelianWipe {
        const Person* person;
        int marker;
        std::string reason;  // the check's error line
    };
    // With the clean-up option: sets the genotypes named by the last check to unknown, lists
    // them in <prefix>_mendel_wiped.tsv, checks again and rebuilds the catalogue. False when
    // the list cannot be written or errors remain.
    bool setMendelianErrorsMissing();
    void setSetMeMissing(bool v) { setMeMissing = v; }

    // ---- nuclear pedigrees and files for FASTLINK (pedigree/) ----
    RBTree<Pedigree>* createNuclearPedigrees();
    // The pedigrees as read, or the nuclear pedigrees (decomposed on first use).
    const RBTree<Pedigree>* getPedigreeSet(bool nuclear);
    // The pedigrees in the order of the pedigree file (those not read from it after them, in
    // tree order); nuclear families after their pedigree's, in the order they were found.
    std::vector<const Pedigree*> getPedigreesInInputOrder(bool nuclear);
    // The pedigree's name in reports: the user's pedigree id; for a nuclear pedigree the user's
    // id of the pedigree it comes from and its number within that pedigree ("12-2").
    std::string getPedigreeLabel(const Pedigree* pedigree) const;
    // The allele of the marker's locus (1..n) for every allele name of the data: by the
    // catalogue's numbering, or with the user's locus file by the name itself. False, with the
    // message printed, when a name is no allele of that locus.
    bool getLocusAlleleNumbers(const std::string& markerIndex, int locusAlleles,
                               std::map<std::string, int>& numbers) const;
    // Persons, largest sibship and carried locus alleles of a pedigree, for the batch planner.
    PedigreeLoad getFastlinkLoad(const Pedigree* pedigree, const std::vector<FastlinkMarkerColumn>& markers) const;
    // The liability classes that go to FASTLINK with the status (1: no class column). 0, with
    // the message printed, when the model has several and the pedigree file no class column, or
    // a person's class is none of the model's.
    int getFastlinkLiabilityClasses(const Locus* trait) const;
    // Writes the pedigree file of one FASTLINK batch. False when the file cannot be written.
    bool writePedigreeFile(const std::string& fileName, const FastlinkPedigreeFile& content) const;
    bool makeLinkageLocusFile();
    // The pedigree as the native likelihood engine takes it, for one trait and the given marker
    // columns (alleles by their locus numbers). False, with the reason, when a trait value is
    // no affection status.
    bool getLikelihoodInput(const Pedigree* pedigree, const std::string& trait, int liabilityClasses,
                            const std::vector<const FastlinkMarkerColumn*>& columns,
                            likelihood::PedigreeInput& input, std::string& whyNot) const;
    std::string getCommonHeader() const;
    // Writes the statistics files (output prefix + "_" + fixed names): allele frequencies of
    // the input and of its HRR, TDT and sib-pair sets, pedigree and marker statistics,
    // genotype tables, and the sizes of the derived sets per marker.
    bool writeStatistics();  // false when a file could not be written whole
    // The fraction of persons typed at a marker.
    double getPercentGenotyped(const std::string& markerIndex) const;

    // ---- association trios (association/) ----
    RBTree<Pedigree>* createHrrPedigreesForMarker(const std::string& phenotypeName,
                                                  const std::string& markerKey);
    // Per input pedigree at most one trio whose affected, typed child has two typed,
    // heterozygous parents; the set has its own allele catalogue.
    RBTree<Pedigree>* createTdtPedigreesForMarker(const std::string& phenotypeName, const std::string& markerKey);
    // Per input pedigree at most one pair of affected, typed full sibs with their parents.
    RBTree<Pedigree>* createSibPairPedigreesForMarker(const std::string& phenotypeName,
                                                      const std::string& markerKey);

private:
    // owned objects
    GenotypeStore genotypeStore;
    MarkerMap* markerMap = nullptr;
    RBTree<Pedigree>* pedigrees = nullptr;
    LinkageLocusFile* linkageLocusFile = nullptr;
    Model* model = nullptr;
    RBTree<MarkerInfo>* markerInfo = nullptr;
    RBTree<MarkerInfo>* hrrMarkerInfo = nullptr;
    RBTree<Person>* checkedPersons = nullptr;
    RBTree<Pedigree>* nuclearPedigrees = nullptr;
    RBTree<Pedigree>* hrrPedigrees = nullptr;
    RBTree<Pedigree>* tdtPedigrees = nullptr;
    RBTree<MarkerInfo>* tdtMarkerInfo = nullptr;
    RBTree<Pedigree>* sibPairPedigrees = nullptr;
    RBTree<MarkerInfo>* sibPairMarkerInfo = nullptr;

    // settings
    bool postMakeped = false;
    bool affectionColumn = false;
    bool liabilityColumn = false;
    bool xlinked = false;
    std::string frequencyType = "a";
    // Founders' or males' frequencies were asked but some allele is missing from that group.
    bool allPersonsFrequenciesInstead = false;
    std::vector<std::string> pedigreeInputOrder;  // pedigree ids as the pedigree file gives them
    bool verbose = false;
    bool trim = false;
    std::string outputPrefix;
    bool singlepointCurves = false;

    // state and names
    int markerCount = 0;
    int pedigreeFileRead = 0;
    bool converted = false;
    int slinkColumns = 0;  // SLINK tail columns of the pedigree file's lines (0 or 6)
    std::vector<std::string> phenotypeNames;
    std::vector<std::string> onlyMarkers;
    bool mendelianErrorFound = false;
    std::string pedigreeFileName, mapFileName, phenotypeFileName, locusFileName, modelFileName;
    bool renumberAlleles = false;
    bool locusFileRead = false;
    int parallelJobs = 1;
    EngineSettings engineSettings;

    // ---- pedigree file reading (input/pedigree_reader.cpp, input/premakeped_conversion.cpp) ----
    // While the converted file of a checked pre-MAKEPED file is read: the persons of the check,
    // each renumbered by the converted line that names it by the user's identifiers.
    CheckedPersons* personsToRenumber = nullptr;
    // Then too, when the converter read the check's own person columns: the user's identifiers
    // of the checked pedigrees with loops. The converted pedigrees are the checked ones
    // renumbered, so their structure check is the check's, told under the new identifiers.
    const std::set<std::string>* checkedPedigreesWithLoops = nullptr;
    void reportCheckedStructure();
    // A file of person columns only (a PLINK .fam file): its persons get untyped store rows,
    // filled by the caller, and the read stops before the catalogue and the checks.
    bool personsOnly = false;
    // The end of a pedigree read: the catalogue, the structure and the Mendelian check.
    int finishPedigreeRead(bool personsChecked);
    // A check whose persons go to the converter keeps the first personColumnCount columns of
    // every line of its pedigree file in personColumns, taken while the file's text is at hand.
    int personColumnCount = 0;
    std::string personColumns;
    // A check is dropped once its persons are converted; the catalogue is made for the
    // converted ones only.
    bool validationOnly = false;
    // A check's conversion, started once its person columns are known (input/premakeped_conversion.cpp).
    ConverterRun converterRun;
    void startConversion(const std::string& fileName);
    // The validated persons of a check converted by MAKEPED (from the check's person columns)
    // and read with their genotypes (pre-MAKEPED files and PLINK binary files).
    int convertCheckedPedigrees(Pedigrees& check, const std::string& fileName);
    // Drops every pedigree read (model/pedigrees.cpp).
    void clearPedigrees();

    // ---- structure check state (pedigree/structure_check.cpp) ----
    std::ostringstream familyErrorReport;
    bool personErrors = false;
    bool topologyErrors = false;
    bool loopInPedigree = false;
    bool loopsFound = false;
    std::set<std::string> pedigreesWithLoops;
    void clearStructureCheck();
    // Tells of a pedigree's marriage or consanguinity loop and keeps it among those with loops.
    void reportLoop(const std::string& pedigreeId);

    // ---- Mendelian check state (pedigree/mendelian_check.cpp) ----
    std::ostringstream mendelianErrorReport;
    std::vector<MendelianWipe> mendelianOffenders;
    bool setMeMissing = false;

    // ---- nuclear decomposition state (pedigree/nuclear_pedigrees.cpp) ----
    int nuclearPedigreeNumber = 1;
    int nuclearPersonNumber = 1;

    // ---- trio extraction state (association/hrr_pedigrees.cpp) ----
    bool trioFound = false;

    // ---- statistics files (pedigree/statistics_reports.cpp, association/tdt_sibpair_pedigrees.cpp) ----
    // Frequency sections of the HRR, TDT and sib-pair sets of every marker, and their sizes.
    struct DerivedSetStatistics {
        std::string hrrSections, tdtSections, sibPairSections;
        std::vector<std::vector<int>> pedigreeCounts;  // per marker: HRR, TDT, sib pairs
    };
    DerivedSetStatistics collectDerivedSetStatistics();
    bool writeFrequenciesFile(const std::string& fileName) const;
    bool writeDerivedFrequenciesFile(const std::string& fileName, const std::string& sections) const;
    bool writePedigreeStatistics(const std::string& fileName) const;
    bool writeGenotypeStatistics(const std::string& fileName);
    // The tables of allele frequencies and of the Hardy-Weinberg tests, for R or pandas; the
    // second reads the genotype counts that writeGenotypeStatistics makes.
    bool writeFrequencyTable(const std::string& fileName) const;
    bool writeHardyWeinbergTable(const std::string& fileName) const;
    bool writeNumberOfHrrTdtSibpairPeds(const std::string& fileName, const DerivedSetStatistics& statistics) const;

    friend class PedigreesTestAccess;
};
