#pragma once
// The compiled limits of the installed FASTLINK programs (Debian's build), in one place. MLINK
// and LINKMAP print the first four at start ("maxped", "maxind", "maxall", "maxlocus"); the
// others were found by running the programs on growing files (one more aborts the run).

namespace fastlink_limits {

constexpr int kPedigreesPerRun = 150;     // maxped
constexpr int kPersonsPerRun = 1000;      // maxind: persons of all pedigrees of one run
constexpr int kPersonsPerPedigree = 1000; // maxind bounds one pedigree too (UNKNOWN allows 2000)
constexpr int kAllelesPerLocus = 25;      // maxall
constexpr int kLociPerRun = 8;            // maxlocus: the trait and at most seven markers
constexpr int kChildrenPerParent = 18;    // maxchild: MLINK stops on a sibship of 19
constexpr int kLoopsPerPedigree = 8;      // UNKNOWN's maxloop; each loop breaker adds a person

}  // namespace fastlink_limits
