#pragma once
// Which exact method computes the likelihoods of a pedigree: the native engine over
// inheritance vectors, whose work doubles with every meiosis bit of the pedigree and grows
// linearly with the loci; the native engine peeling nuclear families, whose work grows with the
// products of the persons' possible genotypes (pedigrees without loops); or FASTLINK, whose
// work grows with the persons and the square of the haplotypes of the loci.

#include <string>

enum class EngineKind { Auto, Native, Fastlink };

struct EngineSettings {
    EngineKind kind = EngineKind::Auto;
    // The native engine's budget: pedigrees with more meiosis bits are not computed natively.
    int maxBits = 0;
};

// "auto", "native" or "fastlink".
bool parseEngineKind(const std::string& text, EngineKind& kind);

// The most meiosis bits whose vectors (`vectors` of 2^bits doubles per pedigree) fit the
// machine's memory with `threads` pedigrees computed at once.
int defaultMaxBits(int threads, int vectors);

// What the choice knows of one pedigree in one analysis.
struct PedigreeCost {
    bool nativeUsable = true;  // false: whyNotNative says why
    std::string whyNotNative;
    bool fastlinkUsable = true;
    int bits = 0;            // free meiosis bits
    double traitWork = 1.0;  // values the trait's emission walk computes
    int persons = 0;
    // The native engine's work over inheritance vectors: trait and marker emissions,
    // transitions of a vector over the states, and sums over the states.
    double traitEmissions = 1.0;
    double markerEmissions = 1.0;
    double transitions = 1.0;
    double sums = 1.0;
    // Peeling: usable on pedigrees without loops, its work the genotype products over every
    // evaluation (infinite where a person's genotypes or a family's are too many to hold).
    bool peelingUsable = false;
    std::string whyNotPeeling;
    double peelingWork = 0.0;
    // FASTLINK's: likelihoods evaluated, each costing a share of a program run and growing
    // with the persons and the square of the haplotypes of its loci.
    double evaluations = 1.0;
    double runShare = 0.0;   // seconds of program start and set-up per evaluation
    double haplotypes = 2.0;
};
double nativeSeconds(const PedigreeCost& cost);
double peelingSeconds(const PedigreeCost& cost);
double fastlinkSeconds(const PedigreeCost& cost);

enum class Route { Native, Fastlink, Skip };
struct RouteDecision {
    Route route = Route::Fastlink;
    bool peel = false;   // native: by peeling rather than over inheritance vectors
    std::string reason;  // for a skipped pedigree: why
};

// Auto: the cheaper exact method that can compute the pedigree; native and fastlink: that
// engine, or skipped with the reason.
RouteDecision chooseEngine(const EngineSettings& settings, const PedigreeCost& cost);
