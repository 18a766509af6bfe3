#include "linkage/likelihood_routing.h"

#include <algorithm>
#include <cmath>
#include <iostream>
#include <cstdio>
#include <cstdlib>

#include "driver/utilities.h"
#include "engine/engine_choice.h"
#include "likelihood/emissions.h"
#include "likelihood/inheritance_space.h"
#include "likelihood/peeling.h"
#include "model/pedigrees.h"

std::string EngineRouting::summary(const Pedigrees& pedigrees, const FastlinkPedigreeSet& set) const {
    std::string line = "Likelihoods: " + IntToString(static_cast<int>(native.size())) +
                       (native.size() == 1 ? " pedigree" : " pedigrees") + " by the native engine, " +
                       IntToString(static_cast<int>(fastlink.size())) + " by FASTLINK";
    if (!skipped.empty()) line += ", " + IntToString(static_cast<int>(skipped.size())) + " skipped";
    line += "\n";
    if (pedigrees.isVerbose()) {
        for (const auto& group : {std::make_pair("native engine", &native), std::make_pair("FASTLINK", &fastlink)}) {
            if (group.second->empty()) continue;
            line += std::string("  ") + group.first + ":";
            for (size_t position : *group.second)
                line += " " + pedigrees.getPedigreeLabel(set.pedigrees[position]) +
                        (peeled[position] ? std::string(" (peeled)") : " (" + IntToString(bits[position]) + " bits)");
            line += "\n";
        }
    }
    return line;
}

// Peeling's genotype products over every likelihood of the analysis, for each trait; `whyNot`
// says why a pedigree cannot be peeled (loops, X-linked data, too many genotypes).
static double peelingWork(const Pedigrees& pedigrees, const Pedigree* pedigree, const AnalysisWork& work,
                          std::string& whyNot) {
    likelihood::PedigreeInput input;
    std::string ignored;
    pedigrees.getLikelihoodInput(pedigree, work.traits.front(), work.liabilityClasses, work.columns, input, ignored);
    likelihood::LocusModel model;
    for (const std::vector<double>* frequencies : work.frequencies) model.markerFrequencies.push_back(*frequencies);
    likelihood::Peeling peeling;
    whyNot = likelihood::Peeling::build(input, model, pedigrees.isXlinked(), peeling);
    if (!whyNot.empty()) return 0.0;
    double total = 0.0;
    for (const AnalysisWork::Loci& loci : work.loci) total += loci.evaluations * peeling.work(loci.columns);
    if (!std::isfinite(total)) whyNot = "too many genotypes to peel";
    return total * static_cast<double>(work.traits.size());
}

EngineRouting routePedigrees(const Pedigrees& pedigrees, const FastlinkPedigreeSet& set, const AnalysisWork& work) {
    EngineRouting routing;
    EngineSettings settings = pedigrees.getEngineSettings();
    if (settings.maxBits <= 0) settings.maxBits = defaultMaxBits(pedigrees.getParallelJobs(), work.vectors);
    std::vector<FastlinkMarkerColumn> columns;
    for (const FastlinkMarkerColumn* column : work.columns) columns.push_back(*column);
    for (size_t position = 0; position < set.pedigrees.size(); ++position) {
        const Pedigree* pedigree = set.pedigrees[position];
        PedigreeCost cost;
        const double traits = static_cast<double>(work.traits.size());
        cost.fastlinkUsable = work.fastlinkUsable;
        cost.traitEmissions = traits;
        cost.markerEmissions = traits * work.markerEmissions;
        cost.transitions = traits * work.transitions;
        cost.sums = traits * work.sums;
        cost.evaluations = traits * work.evaluations;
        cost.runShare = work.runShare;
        likelihood::PedigreeInput input;
        likelihood::InheritanceSpace space;
        for (const std::string& trait : work.traits)
            if (cost.nativeUsable &&
                !pedigrees.getLikelihoodInput(pedigree, trait, work.liabilityClasses, {}, input, cost.whyNotNative))
                cost.nativeUsable = false;
        if (cost.nativeUsable) {
            cost.whyNotNative = likelihood::InheritanceSpace::build(input, pedigrees.isXlinked(), space);
            cost.nativeUsable = cost.whyNotNative.empty();
        }
        if (cost.nativeUsable) {
            cost.peelingWork = peelingWork(pedigrees, pedigree, work, cost.whyNotPeeling);
            cost.peelingUsable = cost.whyNotPeeling.empty();
        }
        cost.bits = cost.nativeUsable ? space.bits() : 0;
        cost.traitWork = cost.nativeUsable ? likelihood::traitEmissionWork(space) : 0.0;
        cost.persons = pedigree->getPersonTree()->getCount();
        // FASTLINK's haplotypes: the trait's two alleles times each marker's carried alleles
        // and the lumped rest, over the markers of one evaluation (a typical marker's count).
        if (settings.kind == EngineKind::Auto && cost.nativeUsable) {
            const PedigreeLoad load = pedigrees.getFastlinkLoad(pedigree, columns);
            double alleles = 0.0;
            for (const std::vector<int>& carried : load.carriedAlleles) alleles += static_cast<double>(carried.size()) + 1.0;
            const double perMarker = load.carriedAlleles.empty() ? 2.0 : alleles / static_cast<double>(load.carriedAlleles.size());
            cost.haplotypes = 2.0 * std::pow(perMarker, work.markersPerEvaluation);
        }
        routing.bits.push_back(cost.bits);
        const RouteDecision decision = chooseEngine(settings, cost);
        routing.peeled.push_back(decision.peel ? 1 : 0);
        routing.nativeSeconds.push_back(decision.peel ? peelingSeconds(cost) : cost.nativeUsable ? nativeSeconds(cost) : 0.0);
        if (decision.route == Route::Native) routing.native.push_back(position);
        else if (decision.route == Route::Fastlink) routing.fastlink.push_back(position);
        else {
            routing.skipped.push_back(position);
            routing.notes += "Skipping pedigree " + pedigrees.getPedigreeLabel(pedigree) + " for " + work.analysisName +
                             ", since it has " + decision.reason + "\n";
        }
    }
    return routing;
}

bool nativeTraitModel(const Locus* trait, bool xlinked, likelihood::TraitModel& model) {
    std::string whyNot;
    if (likelihoodTraitModel(trait, xlinked, model, whyNot)) return true;
    std::cout << "Error: The native likelihood engine cannot take the trait: " << whyNot << "\n";
    return false;
}

std::vector<char> rerouteOutOfMemory(const Pedigrees& pedigrees, const FastlinkPedigreeSet& set,
                                     const EngineRouting& routing, const std::vector<size_t>& outOfMemory,
                                     bool fastlinkUsable, std::vector<size_t>& nativePositions,
                                     std::vector<size_t>& fastlinkPositions) {
    const size_t count = routing.native.size();
    std::vector<char> failed(count, 0);
    for (size_t task : outOfMemory) failed[task % count] = 1;
    nativePositions.clear();
    fastlinkPositions = routing.fastlink;
    for (size_t i = 0; i < count; ++i) {
        if (!failed[i]) {
            nativePositions.push_back(routing.native[i]);
            continue;
        }
        const std::string label = pedigrees.getPedigreeLabel(set.pedigrees[routing.native[i]]);
        if (pedigrees.getEngineSettings().kind == EngineKind::Auto && fastlinkUsable) {
            std::cout << "The native engine ran out of memory on pedigree " << label << ": FASTLINK computes it\n";
            fastlinkPositions.push_back(routing.native[i]);
        } else {
            std::cout << "Skipping pedigree " << label << ", since the native engine ran out of memory on it\n";
        }
    }
    std::sort(fastlinkPositions.begin(), fastlinkPositions.end());
    return failed;
}

std::string engineTimes(std::chrono::steady_clock::duration native, std::chrono::steady_clock::duration fastlink) {
    const auto seconds = [](std::chrono::steady_clock::duration d) {
        char text[32];
        std::snprintf(text, sizeof text, "%.2f", std::chrono::duration<double>(d).count());
        return std::string(text);
    };
    return "Time: native engine " + seconds(native) + " s, FASTLINK jobs " + seconds(fastlink) + " s\n";
}

double fastlinkLnLike(double lnLike) {
    if (std::isinf(lnLike) || lnLike < -1e20) return -1e20;
    return std::round(lnLike * 1e6) / 1e6;
}

double printedFraction(double theta) {
    char text[32];
    std::snprintf(text, sizeof text, "%.3f", theta);
    return std::strtod(text, nullptr);
}

std::vector<double> mlinkFractions() {
    std::vector<double> fractions{0.5};
    for (double theta = 0.0; theta <= 0.49; theta += 0.02) fractions.push_back(theta);
    return fractions;
}

std::vector<double> linkmapTraitFractions(int position, int markers, double interval, int steps) {
    std::vector<double> fractions;
    if (steps <= 0) return fractions;
    if (position == 0) {
        // From unlinked toward the first marker, which the next position starts at: LINKMAP
        // steps by 0.5 / steps although its stop value is 0.0001.
        const double step = -0.5 / steps;
        double theta = 0.5;
        for (int j = 0; j < steps; ++j, theta += step) fractions.push_back(theta);
        return fractions;
    }
    const double stop = position == markers ? 0.5 : interval;
    const double step = stop / steps;
    // Inside an interval the trait stays short of 0.5 from its left marker (an interval of 0.5
    // lies between two chromosomes).
    for (double theta = 0.0; theta <= stop && (position == markers || theta < 0.5); theta += step)
        fractions.push_back(theta);
    return fractions;
}

double rightFraction(double interval, double left) {
    if (left >= 0.5) return 0.5;
    const double right = (interval - left) / (1.0 - 2.0 * left);
    return right < 0.0 ? 0.0 : right;
}
