// Reading of MLINK's "outfile.dat": after a four-line program header, one block per theta,
//   THETAS  0.500
//   ----
//   PEDIGREE |  LN LIKE  | LOG 10 LIKE
//   ----
//           1   -11.648437    -5.058841 LOD=     0.000000      (one line per pedigree)
//   ----
//   TOTALS      -20.514235    -8.909200
//   -2 LN(LIKE) =  4.10285e+01 LOD SCORE =     0.000000
//   ----
//   ----
// The last block of the file lacks the two closing rules.

#include <fstream>
#include <iomanip>
#include <iostream>
#include <limits>

#include "driver/utilities.h"
#include "linkage/mlink.h"
#include "model/pedigrees.h"

static const std::streamsize maxLineLength = 10000;

static void discardRestOfLine(std::istream& in) { in.ignore(maxLineLength, '\n'); }

// Reads one token (line breaks before it are skipped) and drops the rest of its line.
static void skipLine(std::istream& in) {
    std::string token;
    in >> token;
    discardRestOfLine(in);
}

static void skipTokens(std::istream& in, int count) {
    std::string token;
    for (int i = 0; i < count; ++i) in >> token;
}

bool MLink::readResultsFile(const std::string& fileName, const std::string& mode) {
    std::ifstream in(fileName);
    if (!in) {
        if (pedigrees->isVerbose()) std::cout << "Error: Unable to open stream file " << fileName << " for reading.\n";
        return false;
    }
    const int pedigreeCount =
        mode == "nuclear" ? pedigrees->getNuclearPedigreeCount() : pedigrees->getPedigreeCount();

    MLinkMarker* marker = new MLinkMarker();
    for (int i = 0; i < 4; ++i) skipLine(in);

    while (in) {
        std::string label, thetaText;
        in >> label >> thetaText;
        if (!in) break;
        discardRestOfLine(in);
        skipLine(in);
        skipTokens(in, 8);
        discardRestOfLine(in);
        skipLine(in);

        FastlinkLikelihoods* record = new FastlinkLikelihoods(stringToDouble(thetaText));
        for (int p = 0; p < pedigreeCount && in; ++p) {
            std::string pedigreeId, lodLabel;
            double lnLike = 0.0, log10Like = 0.0, lod = 0.0;
            in >> pedigreeId >> lnLike >> log10Like >> lodLabel >> lod;
            discardRestOfLine(in);
            if (in) record->addLikelihood(pedigreeId, lnLike, log10Like, lod);
        }
        skipLine(in);

        double lnLikeTotal = 0.0, log10Total = 0.0, minus2LnLike = 0.0, lodScore = 0.0;
        std::string token;
        in >> token >> lnLikeTotal >> log10Total;
        discardRestOfLine(in);
        skipTokens(in, 3);
        in >> minus2LnLike;
        skipTokens(in, 3);
        in >> lodScore;
        if (!in) {
            // A block cut short (truncated file) is dropped whole.
            delete record;
            break;
        }
        discardRestOfLine(in);
        skipLine(in);
        skipLine(in);

        record->setLnLikeTotal(lnLikeTotal);
        record->setLog10Total(log10Total);
        record->setMinus2LnLike(minus2LnLike);
        record->setLodScore(lodScore);
        marker->addLikelihoods(record->getRecombinationFraction(), record);
    }

    const std::string name =
        currentMarker >= 0 && currentMarker < static_cast<int>(markers.size()) ? markers[currentMarker] : "";
    marker->setIndex(name);
    if (FastlinkLikelihoods* best = marker->getLikelihoodWithMaxLodScore()) {
        std::cout << std::setw(20) << name << std::fixed << std::setprecision(6) << std::setw(13)
                  << best->getLodScore() << std::setprecision(2) << std::setw(10)
                  << best->getRecombinationFraction() << "\n";
        std::cout.unsetf(std::ios::floatfield);
        std::cout << std::setprecision(6);
    }
    currentResults.push_back(marker);
    return true;
}
