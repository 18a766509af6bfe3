// Reading of LINKMAP's "outfile.dat": one block per evaluation point,
//   -----------------------------------
//   -----------------------------------
//   THETAS  0.500 0.100                 (one fraction per adjacent locus pair)
//   -----------------------------------
//   PEDIGREE |  LN LIKE  | LOG 10 LIKE
//   -----------------------------------
//           1   -24.456974   -10.621506  (one line per pedigree)
//   -----------------------------------
//   TOTALS      -43.733414   -18.993140
//   -2 LN(LIKE) =  8.74668e+01
// LINKMAP prints -2 ln L with six significant digits only: the totals are taken from the
// TOTALS line (six decimals), and -2 ln L is computed from it. A point where a pedigree is
// impossible has ln L = -infinity.

#include <cmath>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <limits>
#include <sstream>

#include "linkage/linkmap_results.h"

namespace {

// LINKMAP writes ln L = -1e20 for a pedigree that cannot occur at a point: kept as -infinity,
// so that its LOD is -infinity rather than a number of twenty digits.
const double kImpossible = -1e19;

}  // namespace

LinkmapLikelihoods::LinkmapLikelihoods(std::vector<int> locusOrder, int numberOfLoci,
                                       std::vector<std::string> markerNames, int numberOfPedigrees, int traitPosition)
    : numberOfLoci(numberOfLoci),
      numberOfPedigrees(numberOfPedigrees),
      locusOrder(std::move(locusOrder)),
      traitPosition(traitPosition),
      markerNames(std::move(markerNames)) {}

LinkmapLikelihoods::~LinkmapLikelihoods() {
    for (FastlinkLikelihoods* evaluation : evaluations) delete evaluation;
}

bool LinkmapLikelihoods::readOutFile(const std::string& fileName) {
    std::ifstream in(fileName);
    if (!in) {
        std::cout << "Error: Unable to open OUTFILE " << fileName << " for reading." << std::endl;
        return false;
    }
    const auto skipLine = [&in] { in.ignore(std::numeric_limits<std::streamsize>::max(), '\n'); };
    std::string line;
    while (std::getline(in, line)) {
        if (!std::getline(in, line)) break;
        auto* evaluation = new FastlinkLikelihoods(0.0);
        std::string label;
        if (!(in >> label)) {
            delete evaluation;
            break;
        }
        if (label == "THETAS") {
            std::vector<double> thetas(static_cast<size_t>(std::max(numberOfLoci - 1, 0)));
            for (double& theta : thetas)
                if (!(in >> theta)) {
                    delete evaluation;
                    return false;
                }
            evaluation->setRecombinationFractions(thetas);
        }
        skipLine();
        for (int i = 0; i < 3; ++i) skipLine();
        for (int p = 0; p < numberOfPedigrees; ++p) {
            std::string pedigreeId;
            double lnLike = 0.0, log10Like = 0.0;
            if (!(in >> pedigreeId >> lnLike >> log10Like)) {
                delete evaluation;
                return false;
            }
            // LINKMAP's value for a pedigree that is impossible at the point (a recombinant at 0).
            if (lnLike <= kImpossible) lnLike = log10Like = -std::numeric_limits<double>::infinity();
            evaluation->addLikelihood(pedigreeId, lnLike, log10Like, -99.0);
            skipLine();
        }
        skipLine();
        double lnLikeTotal = 0.0, log10Total = 0.0, printedMinus2LnLike = 0.0;
        if (!(in >> label >> lnLikeTotal >> log10Total)) {
            delete evaluation;
            return false;
        }
        skipLine();
        if (!(in >> label >> label >> label >> printedMinus2LnLike)) {
            delete evaluation;
            return false;
        }
        skipLine();
        if (lnLikeTotal <= kImpossible) lnLikeTotal = log10Total = -std::numeric_limits<double>::infinity();
        evaluation->setLnLikeTotal(lnLikeTotal);
        evaluation->setLog10Total(log10Total);
        evaluation->setMinus2LnLike(-2.0 * lnLikeTotal);
        evaluations.push_back(evaluation);
    }
    return true;
}

double LinkmapLikelihoods::getNullMinus2LNLikelihoodForPedigree(const std::string& pedigreeId, int which) const {
    if (evaluations.empty() || (which != 0 && which != 1)) return -99.0;
    const FastlinkLikelihood* pedigree = (which == 0 ? evaluations.front() : evaluations.back())->getLikelihood(pedigreeId);
    return pedigree ? pedigree->getLnLike() : -99.0;
}

double LinkmapLikelihoods::getLodScore(const FastlinkLikelihoods* evaluation) const {
    return (nullMinus2LnLikelihood - evaluation->getMinus2LnLike()) / (2.0 * std::log(10.0));
}

double LinkmapLikelihoods::getTraitRecombinationFraction(const FastlinkLikelihoods* evaluation) const {
    const std::vector<double>& thetas = evaluation->getRecombinationFractions();
    if (thetas.empty()) return 0.5;
    const size_t pair = traitPosition == 0 ? 0 : static_cast<size_t>(traitPosition) - 1;
    return thetas[std::min(pair, thetas.size() - 1)];
}

void LinkmapLikelihoods::printBetter() const {
    if (evaluations.empty()) {
        std::cout << "No results! :-O\n";
        return;
    }
    std::ostringstream out;
    out << "Marker order: ";
    for (const std::string& name : markerNames) out << name << " ";
    out << "\tLocus order: ";
    for (int locus : locusOrder) out << locus << " ";
    out << "\n" << std::fixed << std::setw(10) << "Thetas";
    for (int i = 0; i < numberOfLoci - 2; ++i) out << std::setw(10) << "";
    out << std::setw(13) << "-2ln(like)" << std::setw(13) << "LOD Score" << "\n";
    for (const FastlinkLikelihoods* evaluation : evaluations) {
        out << std::setprecision(3);
        for (double theta : evaluation->getRecombinationFractions()) out << std::setw(10) << theta;
        out << std::setprecision(6) << std::setw(13) << evaluation->getMinus2LnLike() << std::setw(13)
            << getLodScore(evaluation) << "\n";
    }
    std::cout << out.str();
}
