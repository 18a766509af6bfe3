// Heterogeneity LOD (admixture model): a proportion alpha of the families is linked, so a
// pedigree's likelihood ratio is alpha * 10^LOD + (1 - alpha).

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <iostream>

#include "driver/utilities.h"
#include "linkage/mlink.h"

// Below an alpha of 1: the sum over pedigrees of log10(alpha * ratio + 1 - alpha), taken as the
// logarithm of the product with the product's binary exponent kept apart (so it neither
// overflows nor underflows): one logarithm per grid point instead of one per pedigree.
double heterogeneityLod(const std::vector<double>& lods, const std::vector<double>& likelihoodRatios, double alpha) {
    if (alpha >= 1.0) {
        double sum = 0.0;
        for (double lod : lods) sum += lod;
        return sum;
    }
    double product = 1.0;
    long exponent = 0;
    for (double ratio : likelihoodRatios) {
        product *= alpha * ratio + (1.0 - alpha);
        // Brought back near 1 only when far from it: the product stays exact to rounding.
        if (product > 1e100 || product < 1e-100) {
            int scale = 0;
            product = std::frexp(product, &scale);
            exponent += scale;
        }
    }
    return (std::log2(product) + static_cast<double>(exponent)) * std::log10(2.0);
}

void MLink::maximizeHLod() {
    // A second call replaces the grid of the first.
    clearHLods();
    const bool basic = mode == "basic";
    std::cout << "\n"
              << (basic ? "Parametric linkage analysis under heterogeneity"
                        : "Parametric linkage analysis for nuclear pedigrees under heterogeneity")
              << "\n";
    std::cout.flush();

    bool firstMarker = true;
    for (size_t p = 0; p < results.size(); ++p) {
        const std::string phenotype = p < phenotypes.size() ? phenotypes[p] : "";
        std::cout << "Phenotype: " << phenotype << "\n";
        std::cout << std::setw(20) << "Marker" << std::setw(13) << (basic ? "LodHet" : "NucLodHet") << std::setw(10)
                  << "Theta" << std::setw(10) << "Alpha" << "\n";

        std::vector<std::vector<std::vector<MLinkHLod*>>> phenotypeGrid;
        std::vector<MLinkHLod*> phenotypeMaxima;
        for (MLinkMarker* marker : results[p]) {
            if (!marker) continue;
            double best = 0.0, bestTheta = 0.0, bestAlpha = 0.0;
            std::vector<std::vector<MLinkHLod*>> markerGrid;
            thetaNames = marker->getLikelihoodsNames();
            // The first block of MLINK's output (theta 0.5, no linkage) is not evaluated.
            for (size_t t = 1; t < thetaNames.size(); ++t) {
                FastlinkLikelihoods* record = marker->getLikelihoods(thetaNames[t]);
                if (!record) continue;
                const double theta = record->getRecombinationFraction();
                std::vector<std::string> pedigreeNames = record->getPedigreeNames();
                std::sort(pedigreeNames.begin(), pedigreeNames.end());
                std::vector<double> lods, likelihoodRatios;
                lods.reserve(pedigreeNames.size());
                likelihoodRatios.reserve(pedigreeNames.size());
                for (const std::string& id : pedigreeNames) {
                    lods.push_back(record->getLikelihood(id)->getLodScore());
                    likelihoodRatios.push_back(std::pow(10.0, lods.back()));
                }

                std::vector<MLinkHLod*> thetaRow;
                const bool buildAlphaNames = firstMarker && t == 1;
                for (double alpha = 0.0; alpha < 1.01; alpha += 0.01) {
                    const double hlod = heterogeneityLod(lods, likelihoodRatios, alpha);
                    thetaRow.push_back(new MLinkHLod(theta, alpha, hlod));
                    if (hlod > best) {
                        best = hlod;
                        bestTheta = theta;
                        bestAlpha = alpha;
                    }
                    if (buildAlphaNames) alphaNames.push_back(doubleToString(alpha));
                }
                markerGrid.push_back(thetaRow);
                if (firstMarker) hlodThetaNames.push_back(doubleToString(theta));
            }
            firstMarker = false;
            phenotypeGrid.push_back(markerGrid);
            phenotypeMaxima.push_back(new MLinkHLod(bestTheta, bestAlpha, best));
            std::cout << std::setw(20) << marker->getIndex() << std::fixed << std::setprecision(6) << std::setw(13)
                      << best << std::setprecision(2) << std::setw(10) << bestTheta << std::setw(10) << bestAlpha
                      << "\n";
            std::cout.unsetf(std::ios::floatfield);
            std::cout << std::setprecision(6);
        }
        hlodGrid.push_back(phenotypeGrid);
        hlodMaxima.push_back(phenotypeMaxima);
        hlodPhenotypes.push_back(phenotype);
        std::cout << "\n";
    }
    std::cout << "\n";
}
