#pragma once
// The nuclear family that the driver's run tests analyse, with its map and model.

#include "support/test_support.h"

namespace testing_support {

// One nuclear family: an affected father (1/2 at M1) and an unaffected mother (3/4); the two
// affected children received allele 1 from him and the two unaffected ones allele 2, so all
// four paternal meioses are non-recombinant. M2 is monomorphic.
inline void writeFamily(const ScratchDir& dir) {
    dir.write("map.txt", "CHROMOSOME HALDANE MAP\n1 0.0 M1\n1 10.0 M2\n");
    dir.write("post.ped",
              "1 1 0 0 3 0 0 1 1 2 1 2 5 5\n1 2 0 0 3 0 0 2 0 1 3 4 5 5\n1 3 1 2 0 4 4 1 0 2 1 3 5 5\n"
              "1 4 1 2 0 5 5 2 0 2 1 4 5 5\n1 5 1 2 0 6 6 1 0 1 2 3 5 5\n1 6 1 2 0 0 0 2 0 1 2 4 5 5\n");
    dir.write("pre.ped",
              "1 1 0 0 1 2 1 2 5 5\n1 2 0 0 2 1 3 4 5 5\n1 3 1 2 1 2 1 3 5 5\n"
              "1 4 1 2 2 2 1 4 5 5\n1 5 1 2 1 1 2 3 5 5\n1 6 1 2 2 1 2 4 5 5\n");
    dir.write("model.txt", "0 0.0001 1\n0.0 1.0 1.0\n");  // fully penetrant dominant, rare allele
}

}  // namespace testing_support
