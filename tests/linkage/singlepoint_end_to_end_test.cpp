// The built program on families whose LOD has a closed form (closed_form_reports.h).

#include "linkage/closed_form_reports.h"

using namespace testing_support;
using namespace closed_form;

namespace {

// Pre-makeped lines (pedigree person father mother sex affection, D1 genotype) to which a
// marker BIG is appended: each founder typed with two alleles of its own, children untyped.
std::string withBigMarker(const std::string& text) {
    std::string out;
    int alleles = 0;
    for (const std::string& line : lines(text)) {
        const bool founder = words(line)[2] == "0";
        if (founder) alleles += 2;
        out += line + (founder ? " " + std::to_string(alleles - 1) + " " + std::to_string(alleles) : " 0 0") + "\n";
    }
    return out;
}

}  // namespace

// One data set, analysed whole and by component nuclear pedigree:
// - 1: father 1/2, children 1/3 affected x3 and 2/3 unaffected: k=4, r=0.
// - 2: alleles named 104, 108, 112 (renumbered for FASTLINK; the LOD is unchanged): k=2, r=1.
// - 3: one affected child with 2, one unaffected with 2, two agreeing with D on 1: k=3, r=1.
// - 5: three generations. Grandfather 1 (1/2) x 2 (3/3) with children 3, 4, 5 (k=3, r=0);
//   3 (affected 1/3, so D came with his father's 1: known phase) x 6 (4/4) with children 7
//   (affected 1/4), 8 (unaffected 3/4) and 9 (affected 3/4): two non-recombinants and a
//   recombinant. As nuclear pedigrees the second family's 3 is a founder of unknown phase.
// - 7: double first cousins (brothers 3, 4 married to sisters 7, 8), a marriage loop. 1 x 2
//   gives k=2, r=0; 3 (affected 1/3, D with 1) passes D and 1 to 9; 4 x 8 and 5 x 6 are ++.
// BIG has 26 alleles (13 founders), one more than FASTLINK accepts in one run: its pedigrees
// go to FASTLINK in two batches, each with the alleles it carries. With every child untyped
// it carries no linkage information: LOD 0 everywhere, for every pedigree of both batches.
TEST(SinglepointEndToEnd, PedigreesWholeAndNuclearMatchClosedForms) {
    ScratchDir dir;
    dir.write("p.ped", withBigMarker(
        "1 1 0 0 1 2 1 2\n1 2 0 0 2 1 3 3\n1 3 1 2 1 2 1 3\n1 4 1 2 1 2 1 3\n1 5 1 2 1 1 2 3\n1 6 1 2 2 2 1 3\n"
        "2 1 0 0 1 2 104 108\n2 2 0 0 2 1 112 112\n2 3 1 2 1 2 104 112\n2 4 1 2 2 1 104 112\n2 5 1 2 1 1 108 112\n"
        "3 1 0 0 1 2 1 2\n3 2 0 0 2 1 3 3\n3 3 1 2 1 2 2 3\n3 4 1 2 2 1 2 3\n3 5 1 2 1 2 1 3\n3 6 1 2 2 1 2 3\n"
        "5 1 0 0 1 2 1 2\n5 2 0 0 2 1 3 3\n5 3 1 2 1 2 1 3\n5 4 1 2 2 1 2 3\n5 5 1 2 2 2 1 3\n5 6 0 0 2 1 4 4\n"
        "5 7 3 6 1 2 1 4\n5 8 3 6 2 1 3 4\n5 9 3 6 1 2 3 4\n"
        "7 1 0 0 1 2 1 2\n7 2 0 0 2 1 3 4\n7 3 1 2 1 2 1 3\n7 4 1 2 1 1 2 4\n7 5 0 0 1 1 5 6\n7 6 0 0 2 1 7 8\n"
        "7 7 5 6 2 1 5 7\n7 8 5 6 2 1 6 8\n7 9 3 7 1 2 1 5\n7 10 4 8 2 1 2 6\n"));
    dir.write("m.map", "CHROMOSOME HALDANE POSITION\n1 10.0 D1\n1 20.0 BIG\n");
    dir.write("d.model", "0 0.0001 1\n0.0 1.0 1.0\n");
    const RunResult run = runProgram("varkel",
                                     {"--ped", "p.ped", "--map", "m.map", "--model", "d.model", "--singlepoint",
                                      "--nuclear", "--byfamily", "--hlod", "--verbose", "--engine", "fastlink"},
                                     dir.path());
    ASSERT_EQ(run.status, 0) << run.output;
    // Loops are broken in the batches that hold pedigree 7: one for D1, one of BIG's two; the
    // nuclear families have none (even the one numbered 7).
    size_t loopBreaks = 0;
    for (size_t at = run.output.find("Breaking loops..."); at != std::string::npos;
         at = run.output.find("Breaking loops...", at + 1))
        ++loopBreaks;
    EXPECT_EQ(loopBreaks, 2u) << run.output;
    const Families uninformative{{"1", phaseUnknown(0, 0)}, {"2", phaseUnknown(0, 0)}, {"3", phaseUnknown(0, 0)},
                                 {"5", phaseUnknown(0, 0)}, {"7", phaseUnknown(0, 0)}};
    expectClosedFormReports(dir, "varkel_singlepoint", "BIG", uninformative);
    expectClosedFormReports(
        dir, "varkel_singlepoint", "D1",
        {{"1", phaseUnknown(4, 0)}, {"2", phaseUnknown(2, 1)}, {"3", phaseUnknown(3, 1)},
         {"5", [](double t) { return closedFormLod(t, 3, 0) + knownPhase(t, 2, 1); }},
         {"7", [](double t) { return closedFormLod(t, 2, 0) + knownPhase(t, 1, 0); }}});
    // Nuclear pedigrees are named by their source pedigree and their number in it, numbered
    // along person ids as text ("10" before "3"): 5-1 and 5-2; 7-1 (4 x 8), 7-2 (1 x 2),
    // 7-3 (5 x 6) and 7-4 (3 x 7, one child). phaseUnknown(0, 0) is a family without
    // information, LOD 0.
    expectClosedFormReports(dir, "varkel_singlepoint_nuc", "D1",
                            {{"1-1", phaseUnknown(4, 0)}, {"2-1", phaseUnknown(2, 1)}, {"3-1", phaseUnknown(3, 1)},
                             {"5-1", phaseUnknown(3, 0)}, {"5-2", phaseUnknown(2, 1)}, {"7-1", phaseUnknown(0, 0)},
                             {"7-2", phaseUnknown(2, 0)}, {"7-3", phaseUnknown(0, 0)}, {"7-4", phaseUnknown(0, 0)}});
}

// X-linked dominant, fully penetrant ("1 0.0001 1" / "0.0 1.0 1.0" / "0.0 1.0"): the unaffected
// father is + and passes his X (marker 3) to daughters only; the affected mother 1/2 with an
// unaffected child is D+. Each child is affected exactly when its maternal X carries D, so the
// mother plays the father's part above: 3, 4, 5 agree with D on 1, 6 and 7 do not (k=3, r=2).
TEST(SinglepointEndToEnd, XLinkedDominantFamily) {
    ScratchDir dir;
    dir.write("p.ped", "1 1 0 0 1 1 3 3\n1 2 0 0 2 2 1 2\n1 3 1 2 1 2 1 1\n1 4 1 2 2 2 1 3\n"
                       "1 5 1 2 1 1 2 2\n1 6 1 2 2 2 2 3\n1 7 1 2 1 1 1 1\n");
    dir.write("m.map", "CHROMOSOME HALDANE POSITION\n1 10.0 DXS1\n");
    dir.write("x.model", "1 0.0001 1\n0.0 1.0 1.0\n0.0 1.0\n");
    const RunResult run = runProgram("varkel",
                                     {"--xlinked", "--ped", "p.ped", "--map", "m.map", "--model", "x.model",
                                      "--singlepoint", "--byfamily", "--hlod"},
                                     dir.path());
    ASSERT_EQ(run.status, 0) << run.output;
    expectClosedFormReports(dir, "varkel_singlepoint", "DXS1", {{"1", phaseUnknown(3, 2)}});
}
