#include "engine/engine_choice.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>

bool parseEngineKind(const std::string& text, EngineKind& kind) {
    if (text == "auto") kind = EngineKind::Auto;
    else if (text == "native") kind = EngineKind::Native;
    else if (text == "fastlink") kind = EngineKind::Fastlink;
    else return false;
    return true;
}

int defaultMaxBits(int threads, int vectors) {
    const long pages = sysconf(_SC_PHYS_PAGES);
    const long pageSize = sysconf(_SC_PAGE_SIZE);
    // Half the memory for the engine, the rest for the program and FASTLINK.
    const double memory = pages > 0 && pageSize > 0 ? 0.5 * static_cast<double>(pages) * static_cast<double>(pageSize)
                                                    : 4e9;
    const double perState = 8.0 * std::max(1, vectors) * std::max(1, threads);
    return std::max(1, std::min(40, static_cast<int>(std::floor(std::log2(memory / perState)))));
}

// Seconds per unit of work, measured one pedigree at a time on the shipped example and on the
// singlepoint scan of bench/engines.sh: a value of the trait's walk, a state of a marker's walk
// (which drops the states a marker rules out), a state and bit of a transition, a state of a
// sum, a genotype product of peeling; FASTLINK's per person and squared haplotype of one
// evaluation.
namespace {
const double kTraitValue = 3.5e-9;
const double kMarkerState = 1e-9;
const double kTransitionStateBit = 0.25e-9;
const double kSumState = 1e-9;
const double kPeelProduct = 3e-10;
const double kFastlinkPersonHaplotype2 = 3e-9;
}  // namespace

double nativeSeconds(const PedigreeCost& cost) {
    const double states = std::ldexp(1.0, cost.bits);
    return kTraitValue * cost.traitWork * cost.traitEmissions +
           kMarkerState * states * cost.markerEmissions +
           kTransitionStateBit * states * (cost.bits + 1) * cost.transitions + kSumState * states * cost.sums;
}

double peelingSeconds(const PedigreeCost& cost) { return kPeelProduct * cost.peelingWork; }

double fastlinkSeconds(const PedigreeCost& cost) {
    return cost.evaluations *
           (cost.runShare + kFastlinkPersonHaplotype2 * cost.persons * cost.haplotypes * cost.haplotypes);
}

RouteDecision chooseEngine(const EngineSettings& settings, const PedigreeCost& cost) {
    RouteDecision decision;
    const bool vectors = cost.nativeUsable && cost.bits <= settings.maxBits;
    const bool peeling = cost.peelingUsable && std::isfinite(cost.peelingWork);
    const bool native = vectors || peeling;
    decision.peel = peeling && (!vectors || peelingSeconds(cost) < nativeSeconds(cost));
    const double nativeCost = decision.peel ? peelingSeconds(cost) : nativeSeconds(cost);
    std::string whyNotNative =
        !cost.nativeUsable ? cost.whyNotNative
                           : std::to_string(cost.bits) + " meiosis bits, more than the native engine's budget of " +
                                 std::to_string(settings.maxBits) + " (--max-bits)";
    if (cost.nativeUsable && !peeling) whyNotNative += ", and " + cost.whyNotPeeling;
    switch (settings.kind) {
    case EngineKind::Fastlink:
        decision.route = Route::Fastlink;
        break;
    case EngineKind::Native:
        decision.route = native ? Route::Native : Route::Skip;
        if (!native) decision.reason = whyNotNative;
        break;
    case EngineKind::Auto:
        if (native && (!cost.fastlinkUsable || nativeCost <= fastlinkSeconds(cost))) decision.route = Route::Native;
        else if (cost.fastlinkUsable) decision.route = Route::Fastlink;
        else {
            decision.route = Route::Skip;
            decision.reason = whyNotNative + ", and FASTLINK cannot take it";
        }
        break;
    }
    if (decision.route != Route::Native) decision.peel = false;
    return decision;
}
