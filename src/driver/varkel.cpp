#include "driver/varkel.h"

#include <tclap/CmdLine.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <iostream>
#include <string>
#include <vector>

#include "association/hrr.h"
#include "association/tdt.h"
#include "driver/utilities.h"
#include "engine/cluster.h"
#include "engine/distributed_work.h"
#include "engine/fastlink_runner.h"
#include "engine/likelihood_work.h"
#include "engine/run_directory.h"
#include "input/marker_map.h"
#include "linkage/linkmap.h"
#include "linkage/mlink.h"
#include "linkage/scan_panels.h"
#include "linkage/tidy_reports.h"
#include "model/pedigrees.h"
#include "plot/pdf_conversion.h"
#include "plot/scan_figure.h"

namespace {


// The frequency type may be given as a word or as its letter; the rest of the system
// works with the letter only. Empty for an unknown type.
std::string frequencyTypeLetter(const std::string& given) {
    if (given == "a" || given == "all") return "a";
    if (given == "f" || given == "founders") return "f";
    if (given == "m" || given == "males") return "m";
    if (given == "u" || given == "user") return "u";
    return "";
}

// The launchers of the external programs and the MAKEPED converter are installed beside the
// executable; the shell commands must find them there before anything else on the PATH.
void prependExecutableDirectoryToPath() {
    char buffer[4096];
    const ssize_t length = readlink("/proc/self/exe", buffer, sizeof buffer - 1);
    if (length <= 0) return;
    const std::string executable(buffer, static_cast<std::string::size_type>(length));
    const std::string::size_type slash = executable.rfind('/');
    if (slash == std::string::npos) return;
    std::string path = executable.substr(0, slash);
    if (const char* current = std::getenv("PATH")) path += std::string(":") + current;
    setenv("PATH", path.c_str(), 1);
}

// The pause asked for at the end: the PAUSE command where there is one (a Windows console),
// otherwise a prompt that waits for Enter.
void pauseForKey() {
    if (execute_external_command({"PAUSE"}, true, true) != 127) return;
    std::cout << "Press Enter to continue . . ." << std::flush;
    std::string line;
    std::getline(std::cin, line);
}

// The options that start an analysis (the statistics files count as one).
bool analysisAsked(const Settings& s) {
    return s.singlepointAnalysis || s.multipointAnalysis || s.hrrAnalysis || s.tdtAnalysis || s.statistics;
}

// The directory of the output prefix must take the results before hours are spent on them.
bool outputDirectoryWritable(const std::string& prefix) {
    const std::string::size_type slash = prefix.rfind('/');
    const std::string directory = slash == std::string::npos ? "." : slash == 0 ? "/" : prefix.substr(0, slash);
    struct stat status {};
    std::string reason;
    if (stat(directory.c_str(), &status) != 0) reason = std::strerror(errno);
    else if (!S_ISDIR(status.st_mode)) reason = "not a directory";
    else if (access(directory.c_str(), W_OK | X_OK) != 0) reason = std::strerror(errno);
    if (reason.empty()) return true;
    std::cout << "Error: Cannot write results under --prefix " << prefix << ": directory " << directory << ": "
              << reason << std::endl;
    return false;
}

// The console of a worker rank: nothing reaches the user (only rank 0 speaks), but the last
// lines are kept for the report when its reading fails. Programs it starts inherit a
// standard output that goes nowhere; its standard error stays the launcher's.
class ConsoleTail : public std::streambuf {
public:
    void capture() {
        std::cout.rdbuf(this);
        std::cerr.rdbuf(this);
        const int nowhere = open("/dev/null", O_WRONLY);
        if (nowhere >= 0) {
            dup2(nowhere, STDOUT_FILENO);
            close(nowhere);
        }
    }
    // The last lines written.
    std::string text() const {
        size_t start = kept.size();
        for (int lines = 0; lines <= 12 && start > 0; ++lines) {
            const size_t newline = kept.rfind('\n', start - 1);
            if (newline == std::string::npos) return kept;
            start = newline;
        }
        return kept.substr(start + 1);
    }

private:
    static constexpr size_t kKept = 16384;
    int overflow(int character) override {
        if (character != EOF) kept.push_back(static_cast<char>(character));
        trim();
        return character;
    }
    std::streamsize xsputn(const char* text, std::streamsize count) override {
        kept.append(text, static_cast<size_t>(count));
        trim();
        return count;
    }
    void trim() {
        if (kept.size() > 2 * kKept) kept.erase(0, kept.size() - kKept);
    }
    std::string kept;
};

}  // namespace

Varkel::Varkel() : pedigrees(new Pedigrees()) {}

Varkel::~Varkel() {
    delete pedigrees;
    delete singlepoint;
    delete nuclear;
    delete hrr;
    delete tdt;
    delete multipoint;
}

std::string Varkel::welcome() const {
    return programBanner("Linkage and/or Linkage Disequilibrium Analysis Package");
}

int Varkel::parse(int argc, char** argv) {
    try {
        TCLAP::CmdLine cmd("See VARKEL documentation for full information!", ' ', varkelVersion);
        // Parse errors, --help and --version end the process; the exchange files must still
        // be removed first, so the library's exits are taken over below.
        cmd.setExceptionHandling(false);

        TCLAP::SwitchArg mspause("", "mspause", "Microsoft command prompt 'PAUSE' after analysis", false);
        cmd.add(mspause);
        TCLAP::SwitchArg verbose("", "verbose", "Verbose output", false);
        cmd.add(verbose);
        TCLAP::SwitchArg quiet("", "quiet", "No progress lines and no per-window multipoint tables on the console",
                               false);
        cmd.add(quiet);
        TCLAP::SwitchArg slow("", "slow", "Use slow FASTLINK (reduces memory usage)", false);
        cmd.add(slow);
        TCLAP::SwitchArg stats("", "stats", "Various statistics", false);
        cmd.add(stats);
        TCLAP::SwitchArg trim("", "trim", "remove non-informative persons/pedigrees", false);
        cmd.add(trim);
        TCLAP::ValueArg<std::string> prefix("", "prefix", "prefix name", false, "", "prefix_name");
        cmd.add(prefix);
        TCLAP::ValueArg<int> steps("", "steps", "Number of evaluation steps between markers in multipoint", false,
                                   5, "int");
        cmd.add(steps);
        TCLAP::ValueArg<int> wsize("", "wsize", "Multipoint window size", false, 3, "int");
        cmd.add(wsize);
        TCLAP::SwitchArg singlepointcurves(
            "", "singlepointcurves",
            "Singlepoint lod score curves in PostScript (x-axis: theta, y-axis: lod score) ", false);
        cmd.add(singlepointcurves);
        TCLAP::SwitchArg byfamily("", "byfamily", "Lod Score by family", false);
        cmd.add(byfamily);
        TCLAP::ValueArg<std::string> freq("", "freq", "Frequency type <a,f,m,u>", false, "all", "a,f,m,u");
        cmd.add(freq);
        TCLAP::ValueArg<std::string> phenotype("", "phenotype", "phenotype name", false, "", "phenotype_name");
        cmd.add(phenotype);
        TCLAP::ValueArg<std::string> marker("", "marker", "marker name", false, "", "marker_name");
        cmd.add(marker);
        TCLAP::ValueArg<std::string> onlymarkers("", "onlymarkers", "Only markers file", false, "file.txt", "file");
        cmd.add(onlymarkers);
        TCLAP::SwitchArg hlod("", "hlod", "Heterogeneity analysis", false);
        cmd.add(hlod);
        TCLAP::SwitchArg hrrrand("", "hrrrand", "HRR analysis", false);
        cmd.add(hrrrand);
        TCLAP::SwitchArg tdtSwitch("", "tdt", "Transmission/disequilibrium test", false);
        cmd.add(tdtSwitch);
        TCLAP::SwitchArg sibpair("", "sibpair", "No sib-pair analysis yet: says which --stats files hold the sib pairs",
                                 false);
        cmd.add(sibpair);
        TCLAP::SwitchArg nuclearSwitch("", "nuclear", "Component nuclear pedigree parametric linkage analysis",
                                       false);
        cmd.add(nuclearSwitch);
        TCLAP::SwitchArg multipoint("", "multipoint", "Parametric multipoint linkage analysis", false);
        cmd.add(multipoint);
        TCLAP::SwitchArg singlepointSwitch("", "singlepoint", "Parametric singlepoint linkage analysis", false);
        cmd.add(singlepointSwitch);
        TCLAP::SwitchArg xlinked("", "xlinked", "X-linked data", false);
        cmd.add(xlinked);
        TCLAP::SwitchArg liab("", "liab", "Pedigree file has liability class", false);
        cmd.add(liab);
        TCLAP::SwitchArg post("", "post", "Pedigree file is in post-makeped format", false);
        cmd.add(post);
        TCLAP::ValueArg<std::string> phen("f", "phen", "Phenotype file", false, "varkel.phen", "file");
        cmd.add(phen);
        TCLAP::ValueArg<std::string> model("k", "model", "Model file", false, "varkel.model", "file");
        cmd.add(model);
        TCLAP::ValueArg<std::string> map("m", "map", "Marker map file", false, "varkel.map", "file");
        cmd.add(map);
        TCLAP::ValueArg<std::string> dat("d", "dat", "Linkage Locus file", false, "varkel.dat", "file");
        cmd.add(dat);
        TCLAP::ValueArg<std::string> ped("p", "ped", "Pedigree file", false, "varkel.ped", "file");
        cmd.add(ped);
        TCLAP::ValueArg<std::string> bfile("", "bfile", "PLINK binary files PREFIX.bed, .bim, .fam (instead of --ped and --map)",
                                           false, "", "PREFIX");
        cmd.add(bfile);
        TCLAP::ValueArg<std::string> mapFunction("", "map-function", "Map function of --bfile's cM: haldane or kosambi",
                                                 false, "haldane", "haldane|kosambi");
        cmd.add(mapFunction);
        TCLAP::SwitchArg setMeMissing("", "set-me-missing",
                                      "Set Mendelian-inconsistent genotypes to unknown (listed in PREFIX_mendel_wiped.tsv)",
                                      false);
        cmd.add(setMeMissing);
        TCLAP::ValueArg<int> seed("", "seed", "Seed of the random generator (default: the clock)", false, 0, "int");
        cmd.add(seed);
        TCLAP::SwitchArg pdf("", "pdf", "Every plot also as PDF (through ghostscript)", false);
        cmd.add(pdf);
        TCLAP::ValueArg<int> jobs("", "jobs", "FASTLINK programs run at once (default: one per core)", false, 0,
                                  "int");
        cmd.add(jobs);
        TCLAP::ValueArg<std::string> engine("", "engine",
                                            "Likelihood engine per pedigree: auto (the cheaper exact one), native or "
                                            "fastlink (default: auto)",
                                            false, "auto", "auto|native|fastlink");
        cmd.add(engine);
        TCLAP::ValueArg<int> maxBits("", "max-bits",
                                     "Largest pedigree (meiosis bits) the native engine computes (default: what "
                                     "the memory holds at --jobs threads)",
                                     false, 0, "int");
        cmd.add(maxBits);
        TCLAP::ValueArg<std::string> pieceTimes("", "piece-times",
                                                "Table of the time each piece of likelihood work took, with the rank "
                                                "and host that computed it",
                                                false, "", "file");
        cmd.add(pieceTimes);

        try {
            cmd.parse(argc, argv);
        } catch (TCLAP::ArgException& e) {
            int status = 1;
            try {
                cmd.getOutput()->failure(cmd, e);
            } catch (TCLAP::ExitException& exit) {
                status = exit.getExitStatus();
            }
            delete_intermediate_files();
            cluster::finish();
            std::exit(status);
        } catch (TCLAP::ExitException& exit) {
            delete_intermediate_files();
            cluster::finish();
            std::exit(exit.getExitStatus());
        }

        Settings& s = settings;
        s.pedigreeFileGiven = ped.isSet();
        s.mapFileGiven = map.isSet();
        s.phenotypeFileGiven = phen.isSet();
        s.locusFileGiven = dat.isSet();
        s.modelFileGiven = model.isSet();
        if (s.pedigreeFileGiven) s.pedigreeFileName = ped.getValue();
        if (s.mapFileGiven) s.mapFileName = map.getValue();
        if (bfile.isSet()) s.plinkPrefix = bfile.getValue();
        s.mapFunction = stringToLower(mapFunction.getValue());
        s.setMeMissing = setMeMissing.getValue();
        if (s.phenotypeFileGiven) s.phenotypeFileName = phen.getValue();
        if (s.locusFileGiven) s.locusFileName = dat.getValue();
        if (s.modelFileGiven) s.modelFileName = model.getValue();
        s.postMakeped = post.getValue();
        s.xlinked = xlinked.getValue();
        s.liabilityColumn = liab.getValue();
        s.affectionColumn = true;
        s.hrrAnalysis = hrrrand.getValue();
        s.tdtAnalysis = tdtSwitch.getValue();
        s.sibPairAnalysis = sibpair.getValue();
        s.singlepointAnalysis = singlepointSwitch.getValue();
        s.multipointAnalysis = multipoint.getValue();
        s.heterogeneityAnalysis = hlod.getValue();
        s.markerName = marker.getValue();
        s.phenotypeName = phenotype.getValue();
        s.verbose = verbose.getValue();
        s.statistics = stats.getValue();
        s.trim = trim.getValue();
        s.prefixGiven = prefix.isSet();
        if (s.prefixGiven) s.outputPrefix = prefix.getValue();
        s.quiet = quiet.getValue();
        setQuietConsole(s.quiet);
        s.pauseAtEnd = mspause.getValue();
        s.nuclearAnalysis = nuclearSwitch.getValue();
        s.singlepointCurves = singlepointcurves.getValue();
        s.byFamily = byfamily.getValue();
        s.frequencyTypeGiven = freq.isSet();
        if (s.frequencyTypeGiven) s.frequencyType = freq.getValue();
        if (wsize.isSet()) s.multipointWindowSize = wsize.getValue();
        if (steps.isSet()) s.multipointSteps = steps.getValue();
        if (onlymarkers.isSet()) {
            s.onlyMarkersFileGiven = true;
            s.onlyMarkersFileName = onlymarkers.getValue();
        }
        s.slowFastlink = slow.getValue();
        s.pdfPlots = pdf.getValue();
        s.parallelJobs = jobs.isSet() ? jobs.getValue() : FastlinkRunner::availableCores();
        if (s.parallelJobs < 1) {
            std::cout << "Error: --jobs must be at least 1 (given " << s.parallelJobs << ")" << std::endl;
            return 0;
        }
        if (!parseEngineKind(engine.getValue(), s.engine.kind)) {
            std::cout << "Error: Unknown likelihood engine " << engine.getValue() << " (use auto, native or fastlink)"
                      << std::endl;
            return 0;
        }
        if (maxBits.isSet()) {
            if (maxBits.getValue() < 1 || maxBits.getValue() > 40) {
                std::cout << "Error: --max-bits must be between 1 and 40 (given " << maxBits.getValue() << ")"
                          << std::endl;
                return 0;
            }
            s.engine.maxBits = maxBits.getValue();
        }
        s.pieceTimesFileName = pieceTimes.getValue();
        keepPieceTimes(!s.pieceTimesFileName.empty());
        distributed::setLocalThreads(s.parallelJobs);
        s.seedGiven = seed.isSet();
        if (s.seedGiven) {
            s.seed = seed.getValue();
            setRandomSeed(static_cast<unsigned int>(s.seed));
        }
    } catch (TCLAP::ArgException& e) {
        std::cerr << "error: " << e.error() << " for arg " << e.argId() << std::endl;
        return 0;
    }
    return 1;
}

bool Varkel::readInputFiles() {
    const Settings& s = settings;
    const bool plink = !s.plinkPrefix.empty();
    if (plink && (s.pedigreeFileGiven || s.mapFileGiven || s.postMakeped)) {
        std::cout << "Error: --bfile takes the place of --ped, --map and --post" << std::endl;
        return false;
    }
    if (s.mapFunction != "haldane" && s.mapFunction != "kosambi") {
        std::cout << "Error: Unknown map function " << s.mapFunction << " (use haldane or kosambi)" << std::endl;
        return false;
    }
    if (!s.pedigreeFileGiven && !plink) {
        std::cout << "Error: Pedigree file is not set" << std::endl;
        return false;
    }
    if (!s.mapFileGiven && !plink) {
        std::cout << "Error: Map file is not set" << std::endl;
        return false;
    }
    const std::string letter = frequencyTypeLetter(s.frequencyType);
    if (letter.empty()) {
        std::cout << "Error: Unknown frequency type " << s.frequencyType << " (use a, f, m or u)" << std::endl;
        return false;
    }
    settings.frequencyType = letter;
    if (s.sibPairAnalysis)
        std::cout << "Note: there is no sib-pair linkage analysis (--sibpair); --stats writes the affected sib "
                     "pairs' allele frequencies to "
                  << s.outputPrefix << "_sib_pair_markerinfo_statistics.info and their number per marker to "
                  << s.outputPrefix << "_number_of_hrr_tdt_sibpair_peds.info" << std::endl;
    if (!analysisAsked(s)) {
        std::cout << "Error: No analysis asked for: give --singlepoint, --multipoint, --tdt, --hrrrand or --stats"
                  << std::endl;
        return false;
    }
    // The association analyses and the statistics use no disease model.
    const bool linkageAnalysis = s.singlepointAnalysis || s.multipointAnalysis;
    if (linkageAnalysis && !s.modelFileGiven && !s.locusFileGiven) {
        std::cout << "Error: Model file or Linkage locus file must be given (--model or --dat) for linkage analysis"
                  << std::endl;
        return false;
    }
    if (!outputDirectoryWritable(s.outputPrefix)) return false;
    if (cluster::isWorker() && !moveIntoRankDirectory()) return false;

    std::cout << "prefix: " << s.outputPrefix << std::endl;
    pedigrees->setOutputPrefix(s.outputPrefix);
    pedigrees->setAffectionColumn(s.affectionColumn);
    pedigrees->setPostMakeped(s.postMakeped);
    pedigrees->setLiabilityColumn(s.liabilityColumn);
    pedigrees->setXlinked(s.xlinked);
    pedigrees->setVerbose(s.verbose);
    pedigrees->setSinglepointCurves(s.singlepointCurves);
    pedigrees->setFrequencyType(s.frequencyType);
    pedigrees->setTrim(s.trim);
    pedigrees->setParallelJobs(s.parallelJobs);
    pedigrees->setEngineSettings(s.engine);
    pedigrees->setSetMeMissing(s.setMeMissing);
    if (s.modelFileGiven) pedigrees->setModelFileName(s.modelFileName);
    if (s.phenotypeFileGiven) pedigrees->setPhenotypeFileName(s.phenotypeFileName);
    if (s.locusFileGiven) pedigrees->setLocusFileName(s.locusFileName);

    if (plink) {
        const int read = pedigrees->readPlinkBinaryFiles(s.plinkPrefix, s.mapFunction);
        std::remove((s.plinkPrefix + ".fam.linkage").c_str());
        if (!read) return false;
        if (s.multipointAnalysis && allPositionsZero()) {
            std::cout << "Error: Every marker of " << s.plinkPrefix << ".bim is at 0 cM: multipoint linkage needs "
                      << "genetic positions (the third column of the .bim file)" << std::endl;
            return false;
        }
    } else if (s.mapFileName.empty() || !pedigrees->readMapFile(s.mapFileName)) {
        return false;
    } else if (s.postMakeped) {
        if (!pedigrees->readPedigreeFile(s.pedigreeFileName)) return false;
    } else {
        const int converted = pedigrees->readAndConvertPreToLinkage(s.pedigreeFileName);
        // The converted copy is only an intermediate of this run.
        std::remove((s.pedigreeFileName + ".linkage").c_str());
        if (!converted) return false;
    }

    if (s.statistics && !cluster::isWorker() && !pedigrees->writeStatistics()) return false;
    if (s.phenotypeFileGiven && !s.phenotypeFileName.empty() &&
        !pedigrees->readPhenotypeFile(s.phenotypeFileName))
        return false;
    if (s.onlyMarkersFileGiven && !s.onlyMarkersFileName.empty() &&
        !pedigrees->readOnlyMarkersFile(s.onlyMarkersFileName))
        return false;

    pedigrees->collapseAlleles();
    pedigrees->setRenumberAlleles(true);

    // A file the user names is used or the run stops: falling back to the default model
    // would analyse a model other than the one asked for.
    if (s.modelFileGiven && !readGivenFile("--model", s.modelFileName, &Pedigrees::readModelFile)) return false;
    if (s.locusFileGiven) {
        if (!readGivenFile("--dat", s.locusFileName, &Pedigrees::readLocusFile)) return false;
    } else if ((linkageAnalysis || s.modelFileGiven) && !pedigrees->makeLinkageLocusFile()) {
        return false;
    }

    std::cout << "Done reading input files." << std::endl;
    return true;
}

bool Varkel::allPositionsZero() const {
    bool zero = true;
    pedigrees->getMarkerMap()->getMarkerTree()->forEach([&](const Marker* m) { zero = zero && m->getPosition() == 0.0; });
    return zero;
}

bool Varkel::readGivenFile(const std::string& option, const std::string& fileName,
                           int (Pedigrees::*read)(const std::string&)) {
    if (fileName.empty()) {
        std::cout << "Error: " << option << " was given an empty file name" << std::endl;
        return false;
    }
    return (pedigrees->*read)(fileName) != 0;
}

bool Varkel::moveIntoRankDirectory() {
    char here[PATH_MAX];
    if (!getcwd(here, sizeof here)) {
        std::cout << "Error: Cannot tell the working directory: " << std::strerror(errno) << std::endl;
        return false;
    }
    const std::string scratch = run_directory::path(settings.outputPrefix);
    if (scratch.empty()) return false;
    const std::string directory = scratch + "/input";
    const auto absolute = [&here](const std::string& path) {
        return path.empty() || path[0] == '/' ? path : std::string(here) + "/" + path;
    };
    const auto baseName = [](const std::string& path) {
        const std::string::size_type slash = path.rfind('/');
        return slash == std::string::npos ? path : path.substr(slash + 1);
    };
    if (mkdir(directory.c_str(), 0700) != 0) {
        std::cout << "Error: Cannot make " << directory << ": " << std::strerror(errno) << std::endl;
        return false;
    }
    // The readers write beside the pedigree file (the converted copy): through a link here
    // they write into this rank's directory.
    const auto linkHere = [&](const std::string& path, const std::string& suffix) {
        const std::string link = directory + "/" + baseName(path) + suffix;
        if (symlink(absolute(path + suffix).c_str(), link.c_str()) == 0) return true;
        std::cout << "Error: Cannot link " << path + suffix << " into " << directory << ": " << std::strerror(errno)
                  << std::endl;
        return false;
    };
    Settings& s = settings;
    if (s.pedigreeFileGiven) {
        if (!linkHere(s.pedigreeFileName, "")) return false;
        // --trim reads the converter's input beside the pedigree file.
        if (s.trim && !linkHere(s.pedigreeFileName, ".trimmed")) return false;
        s.pedigreeFileName = baseName(s.pedigreeFileName);
    }
    if (!s.plinkPrefix.empty()) {
        for (const char* suffix : {".bed", ".bim", ".fam"})
            if (!linkHere(s.plinkPrefix, suffix)) return false;
        s.plinkPrefix = baseName(s.plinkPrefix);
    }
    for (std::string* path : {&s.mapFileName, &s.phenotypeFileName, &s.locusFileName, &s.modelFileName,
                              &s.onlyMarkersFileName})
        *path = absolute(*path);
    // What a worker would write under the prefix (check reports) stays in its directory.
    s.outputPrefix = baseName(s.outputPrefix);
    if (chdir(directory.c_str()) != 0) {
        std::cout << "Error: Cannot work in " << directory << ": " << std::strerror(errno) << std::endl;
        return false;
    }
    return true;
}

bool Varkel::joinRanks(bool readOk, const std::string& consoleTail) {
    if (!cluster::isWorker()) return distributed::gatherReady(readOk, settings.parallelJobs);
    // Planning depends on --jobs (the native engine's memory budget): rank 0's is used.
    pedigrees->setParallelJobs(distributed::reportReady(readOk, consoleTail));
    return true;
}

// A failed analysis is dropped at once, so that the reports written after a failure hold
// only complete analyses (the run still ends with failure status).
template <class Analysis>
static bool keepIfRan(Analysis*& analysis, bool ran) {
    if (ran) return true;
    delete analysis;
    analysis = nullptr;
    return false;
}

bool Varkel::run() {
    const Settings& s = settings;
    const bool frequenciesFromLocusFile = s.frequencyTypeGiven && s.frequencyType == "u";
    // A worker computes the likelihood pieces of the linkage analyses and keeps nothing: rank 0
    // has the results, and alone decides whether the run goes on.
    const bool worker = cluster::isWorker();
    const auto kept = [worker](auto*& analysis, bool ran) {
        if (!worker) return keepIfRan(analysis, ran);
        delete analysis;
        analysis = nullptr;
        return true;
    };

    if (s.hrrAnalysis && !worker) {
        hrr = new Hrr(pedigrees);
        hrr->setQuiet(s.quiet);
        if (!keepIfRan(hrr, hrr->run(s.markerName, s.phenotypeName))) return false;
    }
    if (s.tdtAnalysis && !worker) {
        tdt = new Tdt(pedigrees);
        if (!keepIfRan(tdt, tdt->run(s.markerName, s.phenotypeName))) return false;
    }

    if (s.singlepointAnalysis) {
        singlepoint = new MLink(pedigrees);
        singlepoint->setSlow(s.slowFastlink);
        if (frequenciesFromLocusFile) singlepoint->setFrequenciesFromLocusFile(true);
        if (!kept(singlepoint, singlepoint->run("basic", s.markerName, s.phenotypeName))) return false;
        if (s.heterogeneityAnalysis && singlepoint) singlepoint->maximizeHLod();

        if (s.nuclearAnalysis) {
            // The nuclear families are small: the standard program always suffices.
            nuclear = new MLink(pedigrees);
            if (frequenciesFromLocusFile) nuclear->setFrequenciesFromLocusFile(true);
            if (!kept(nuclear, nuclear->run("nuclear", s.markerName, s.phenotypeName))) return false;
            if (s.heterogeneityAnalysis && nuclear) nuclear->maximizeHLod();
        }
    }

    if (s.multipointAnalysis) {
        multipoint = new Linkmap(pedigrees);
        multipoint->setSlow(s.slowFastlink);
        if (frequenciesFromLocusFile) multipoint->setFrequenciesFromLocusFile(true);
        if (!s.phenotypeName.empty()) multipoint->setPhenotype(s.phenotypeName);
        multipoint->setWindowSize(s.multipointWindowSize);
        multipoint->setSteps(s.multipointSteps);
        if (!kept(multipoint, multipoint->run())) return false;
        if (multipoint) multipoint->countHLods();
    }
    return true;
}

// The report sequence of one singlepoint analysis; every report asked for must be written.
// The plots written are added to `plots`.
static bool writeSinglepointReports(MLink* analysis, const std::string& base, const Settings& s,
                                    std::vector<std::string>& plots) {
    if (!analysis->writeResultsFile(base)) return false;
    plots.push_back(base + ".ps");
    if (s.byFamily && !analysis->writeResultsByFamilyFile(base + "_by_family")) return false;
    if (s.singlepointCurves) {
        if (!analysis->writeAllLODScoresFile(base + "_curves")) return false;
        plots.push_back(base + "_curves.ps");
    }
    if (s.heterogeneityAnalysis) {
        if (!analysis->writeHLodFile(base + "_het")) return false;
        if (!analysis->writeHLodPostscript(base + "_het")) return false;
        plots.push_back(base + "_het.ps");
    }
    return true;
}

// The figure of the whole scan: LOD profiles along the map per phenotype and chromosome.
static bool writeScanFigureFile(const std::string& fileName, const MLink* singlepoint, const Linkmap* multipoint,
                                Pedigrees* pedigrees) {
    std::cout << "The LOD Score scan figure: " << fileName << "\n";
    const std::vector<ScanPanel> panels = scanPanels(singlepoint, multipoint, *pedigrees->getMarkerMap());
    const std::string subtitle = std::string(singlepoint ? "singlepoint" : "") +
                                 (singlepoint && multipoint ? " and " : "") + (multipoint ? "multipoint" : "") +
                                 " linkage analysis    (" + current_time_and_date() + ")";
    return writeScanFigure(fileName, panels, subtitle);
}

bool Varkel::writeResults() {
    const Settings& s = settings;
    if (!analysisAsked(s)) return false;

    std::vector<std::string> plots;
    if (hrr && !hrr->writeGenotypeAndAlleleCounts(s.outputPrefix + "_hrr")) return false;
    if (hrr) plots.push_back(s.outputPrefix + "_hrr.ps");
    if (tdt && !tdt->writeReport(s.outputPrefix + "_tdt")) return false;
    if (singlepoint && !writeSinglepointReports(singlepoint, s.outputPrefix + "_singlepoint", s, plots)) return false;
    if (s.nuclearAnalysis && nuclear &&
        !writeSinglepointReports(nuclear, s.outputPrefix + "_singlepoint_nuc", s, plots))
        return false;
    if ((singlepoint || nuclear) && !writeLodTable(s.outputPrefix + "_lod.tsv", singlepoint, nuclear,
                                                   *pedigrees->getMarkerMap()))
        return false;
    if (s.heterogeneityAnalysis && (singlepoint || nuclear) &&
        !writeHLodTable(s.outputPrefix + "_hlod.tsv", singlepoint, nuclear))
        return false;

    const Linkmap* multipointResults = multipoint && multipoint->hasResults() ? multipoint : nullptr;
    if (s.multipointAnalysis && multipointResults) {
        const std::string base = s.outputPrefix + "_multipoint";
        if (!multipoint->writeResults(base + ".out")) return false;
        if (!multipoint->writeResultsPostScript(base)) return false;
        plots.push_back(base + ".ps");
        if (!multipoint->writeHLodResults(base + "_het")) return false;
        if (s.byFamily && !multipoint->writeHLodResultsByFamily(base + "_by_family")) return false;
        if (!writeMultipointTable(base + ".tsv", *multipoint)) return false;
    }
    if (singlepoint || multipointResults) {
        if (!writeScanFigureFile(s.outputPrefix + "_scan.ps", singlepoint, multipointResults, pedigrees)) return false;
        plots.push_back(s.outputPrefix + "_scan.ps");
    }
    if (s.pdfPlots && !convertPlotsToPdf(plots, s.verbose)) return false;

    if (singlepoint || nuclear || hrr || tdt || (multipoint && multipoint->hasResults()))
        return writeSummaryFile(s.outputPrefix + "_summary");
    return true;
}

int runVarkel(int argc, char** argv) {
    prependExecutableDirectoryToPath();
    run_directory::installInterruptHandlers();
    if (!cluster::start(argc, argv)) {
        cluster::finish();
        return -1;
    }
    // Never destroyed: a worker's console stays with it to the end of the process.
    ConsoleTail* const workerConsole = cluster::isWorker() ? new ConsoleTail : nullptr;
    if (workerConsole) workerConsole->capture();
    Varkel varkel;
    std::cout << varkel.welcome();
    const std::time_t start = std::time(nullptr);

    bool success = varkel.parse(argc, argv) && varkel.readInputFiles();
    if (cluster::distributed()) success = varkel.joinRanks(success, workerConsole ? workerConsole->text() : "");
    if (success) {
        const bool ran = varkel.run();
        if (run_directory::interrupted()) run_directory::endAfterInterrupt();
        if (cluster::isWorker()) distributed::endWorker();
        const bool together = distributed::finishRun(ran);
        // After a failed analysis the complete ones are still reported.
        success = varkel.writeResults() && ran && together;
        if (!varkel.getPieceTimesFileName().empty() && !writePieceTimes(varkel.getPieceTimesFileName()))
            success = false;
    }
    if (success) {
        std::cout << std::flush << std::endl;
        const std::time_t end = std::time(nullptr);
        std::cout << "Elapsed time: " << secondsToCorrectTimeFormat(std::difftime(end, start)) << std::endl;
    }

    delete_intermediate_files();
    if (varkel.isPauseAtEnd() && !cluster::distributed()) pauseForKey();
    distributed::awaitStoppedWorkers();
    cluster::finish();
    return success ? 0 : -1;
}
