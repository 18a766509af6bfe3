#pragma once
// One run of the program: the settings parsed from the command line, the pedigree
// collection and the analysis objects, and the stages parse, read, run and write.

#include <string>

#include "engine/engine_choice.h"

class Pedigrees;
class MLink;
class Hrr;
class Tdt;
class Linkmap;

struct Settings {
    bool pedigreeFileGiven = false;
    bool mapFileGiven = false;
    std::string plinkPrefix;  // PLINK binary files PREFIX.bed, .bim, .fam, when given
    std::string mapFunction = "haldane";
    bool setMeMissing = false;  // Mendelian-inconsistent genotypes set to unknown
    bool phenotypeFileGiven = false;
    bool locusFileGiven = false;
    bool modelFileGiven = false;
    std::string pedigreeFileName;
    std::string mapFileName = "varkel.map";
    std::string phenotypeFileName = "varkel.phen";
    std::string locusFileName = "varkel.dat";
    std::string modelFileName = "varkel.model";
    bool postMakeped = false;
    bool xlinked = false;
    bool liabilityColumn = false;
    bool affectionColumn = true;
    bool hrrAnalysis = false;
    bool tdtAnalysis = false;
    bool sibPairAnalysis = false;
    bool singlepointAnalysis = false;
    bool multipointAnalysis = false;
    bool heterogeneityAnalysis = false;
    std::string markerName;
    std::string phenotypeName;
    bool verbose = false;
    bool statistics = false;
    bool prefixGiven = false;
    std::string outputPrefix = "varkel";
    bool pauseAtEnd = false;
    bool nuclearAnalysis = false;
    std::string frequencyType = "a";
    bool frequencyTypeGiven = false;
    bool singlepointCurves = false;
    bool byFamily = false;
    bool quiet = false;
    bool trim = false;
    int multipointWindowSize = 3;
    int multipointSteps = 5;
    bool onlyMarkersFileGiven = false;
    std::string onlyMarkersFileName;
    bool slowFastlink = false;
    // Every plot also as PDF (through ghostscript).
    bool pdfPlots = false;
    // FASTLINK programs run at once (0: one per available core).
    int parallelJobs = 0;
    // Which engine computes each pedigree's likelihoods, and the native engine's budget.
    EngineSettings engine;
    // Seed of the random generator; the clock seeds it when not given.
    bool seedGiven = false;
    int seed = 0;
    // The time each piece of likelihood work took, written to this table when given.
    std::string pieceTimesFileName;
};

class Varkel {
public:
    Varkel();
    ~Varkel();
    Varkel(const Varkel&) = delete;
    Varkel& operator=(const Varkel&) = delete;

    int parse(int argc, char** argv);
    std::string welcome() const;
    bool readInputFiles();
    bool run();
    bool writeResults();
    bool writeSummaryFile(const std::string& base);
    bool isPauseAtEnd() const { return settings.pauseAtEnd; }
    // A run over several ranks, after reading the input: every rank must have read it. A
    // worker returns only when rank 0 goes on, and then plans as rank 0 does.
    bool joinRanks(bool readOk, const std::string& consoleTail);
    const std::string& getPieceTimesFileName() const { return settings.pieceTimesFileName; }

private:
    // Reads a file named on the command line; an empty name or a failed read stops the run.
    // Every marker of the map at 0 cM (PLINK files without genetic positions).
    bool allPositionsZero() const;
    bool readGivenFile(const std::string& option, const std::string& fileName,
                       int (Pedigrees::*read)(const std::string&));
    // A worker reads the input in a directory of its own, where nothing it writes meets
    // another process's files.
    bool moveIntoRankDirectory();

    Settings settings;
    Pedigrees* pedigrees;
    MLink* singlepoint = nullptr;
    MLink* nuclear = nullptr;
    Hrr* hrr = nullptr;
    Tdt* tdt = nullptr;
    Linkmap* multipoint = nullptr;
};

// The program entry: runs every stage and returns the process exit status.
int runVarkel(int argc, char** argv);
