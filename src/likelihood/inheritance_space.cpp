#include "likelihood/inheritance_space.h"

#include <algorithm>

namespace likelihood {

std::string InheritanceSpace::build(const PedigreeInput& pedigree, bool xlinked, InheritanceSpace& space) {
    const int n = static_cast<int>(pedigree.persons.size());
    space = InheritanceSpace();
    space.sources.resize(static_cast<size_t>(n));

    // Parents before children: repeated passes, each placing the persons whose parents are placed.
    std::vector<char> placed(static_cast<size_t>(n), 0);
    for (int round = 0; static_cast<int>(space.order.size()) < n; ++round) {
        const size_t before = space.order.size();
        for (int i = 0; i < n; ++i) {
            const PersonInput& person = pedigree.persons[static_cast<size_t>(i)];
            if (placed[static_cast<size_t>(i)]) continue;
            const bool founder = person.father < 0 && person.mother < 0;
            if (!founder) {
                if (person.father < 0 || person.mother < 0 || person.father >= n || person.mother >= n)
                    return "a person has only one parent";
                if (!placed[static_cast<size_t>(person.father)] || !placed[static_cast<size_t>(person.mother)]) continue;
            }
            placed[static_cast<size_t>(i)] = 1;
            space.order.push_back(i);
        }
        if (space.order.size() == before) return "a person is among his own ancestors";
    }

    std::vector<int> groupOfFounder(static_cast<size_t>(n), -2);  // -2: no meiosis yet
    const auto meiosis = [&](int parent) {
        const PersonInput& p = pedigree.persons[static_cast<size_t>(parent)];
        const bool founder = p.father < 0 && p.mother < 0;
        if (founder && groupOfFounder[static_cast<size_t>(parent)] == -2) {
            // The founder's first meiosis is fixed: its alleles are named by this child.
            groupOfFounder[static_cast<size_t>(parent)] = static_cast<int>(space.founderGroups.size());
            space.founderGroups.push_back(0);
            return -1;
        }
        const int bit = space.freeBits++;
        if (founder) space.founderGroups[static_cast<size_t>(groupOfFounder[static_cast<size_t>(parent)])] |= uint64_t(1) << bit;
        return bit;
    };

    for (int i : space.order) {
        const PersonInput& person = pedigree.persons[static_cast<size_t>(i)];
        PersonSources& s = space.sources[static_cast<size_t>(i)];
        s.hemizygous = xlinked && person.male;
        if (person.father < 0) {
            s.first.founderAllele = space.founderAlleles++;
            if (!s.hemizygous) s.second.founderAllele = space.founderAlleles++;
            continue;
        }
        if (xlinked) {
            if (person.male) {
                s.first = {person.mother, meiosis(person.mother), -1};
            } else {
                s.first = {person.father, -1, -1};  // the father's only allele
                s.second = {person.mother, meiosis(person.mother), -1};
            }
        } else {
            s.first = {person.father, meiosis(person.father), -1};
            s.second = {person.mother, meiosis(person.mother), -1};
        }
    }
    // Founders with a single meiosis leave no group to mix.
    std::vector<uint64_t> groups;
    for (uint64_t mask : space.founderGroups)
        if (mask) groups.push_back(mask);
    space.founderGroups = groups;
    if (space.freeBits > 62) return "it has more than 62 meiosis bits";
    space.placeGroupBits();
    return "";
}

// The bits of the founder groups are moved to the positions from 3 up, after three other bits,
// so that the transition mixes them inside its cache-sized blocks in runs of at least 8 states.
void InheritanceSpace::placeGroupBits() {
    uint64_t grouped = 0;
    for (uint64_t mask : founderGroups) grouped |= mask;
    std::vector<int> newBit(static_cast<size_t>(freeBits), -1);
    int next = 0;
    for (int bit = 0; bit < freeBits && next < 3; ++bit)
        if (!((grouped >> bit) & 1)) newBit[static_cast<size_t>(bit)] = next++;
    for (uint64_t mask : founderGroups)
        for (int bit = 0; bit < freeBits; ++bit)
            if ((mask >> bit) & 1) newBit[static_cast<size_t>(bit)] = next++;
    for (int bit = 0; bit < freeBits; ++bit)
        if (newBit[static_cast<size_t>(bit)] < 0) newBit[static_cast<size_t>(bit)] = next++;
    for (PersonSources& s : sources)
        for (AlleleSource* source : {&s.first, &s.second})
            if (source->bit >= 0) source->bit = newBit[static_cast<size_t>(source->bit)];
    for (uint64_t& mask : founderGroups) {
        uint64_t moved = 0;
        for (int bit = 0; bit < freeBits; ++bit)
            if ((mask >> bit) & 1) moved |= uint64_t(1) << newBit[static_cast<size_t>(bit)];
        mask = moved;
    }
}

namespace {

// One bit's mixing of the pairs (a[i], b[i]) of two runs of states: each state keeps its value
// with probability 1 - theta and takes its partner's with probability theta.
inline void mixRuns(double* __restrict a, double* __restrict b, uint64_t count, double theta) {
    for (uint64_t i = 0; i < count; ++i) {
        const double moved = theta * (b[i] - a[i]);
        a[i] += moved;
        b[i] -= moved;
    }
}

inline void mixPair(double& a, double& b, double theta) {
    const double moved = theta * (b - a);
    a += moved;
    b -= moved;
}

// The loops below are built for AVX2 as well, chosen when the processor has it: twice the states
// per instruction, with the same arithmetic for every state.
#define VARKEL_VECTOR_CLONES __attribute__((target_clones("avx2", "default")))

// Bits 0, 1 and 2 of a block, eight states at a time.
VARKEL_VECTOR_CLONES void mixLowestThreeBits(double* values, uint64_t count, double theta) {
    for (uint64_t base = 0; base < count; base += 8) {
        double* v = values + base;
        for (int i = 0; i < 8; i += 2) mixPair(v[i], v[i + 1], theta);
        for (int i : {0, 1, 4, 5}) mixPair(v[i], v[i + 2], theta);
        for (int i = 0; i < 4; ++i) mixPair(v[i], v[i + 4], theta);
    }
}

// Bit `bit` of `count` states.
VARKEL_VECTOR_CLONES void mixBit(double* values, uint64_t count, int bit, double theta) {
    const uint64_t step = uint64_t(1) << bit;
    for (uint64_t pair = 0; pair < count; pair += 2 * step) mixRuns(values + pair, values + pair + step, step, theta);
}

// A founder group of `count` states: each state with its partner across every bit of `mask`.
VARKEL_VECTOR_CLONES void mixGroup(double* values, uint64_t count, uint64_t mask, double theta) {
    const uint64_t low = mask & (~mask + 1);
    for (uint64_t base = 0; base < count; base += 2 * low) mixRuns(values + base, values + (base ^ mask), low, theta);
}

}  // namespace

void InheritanceSpace::transition(double theta, const double* from, double* values) const {
    const uint64_t n = states();
    if (theta == 0.0 || freeBits == 0) {
        if (from != values) std::copy(from, from + n, values);
        return;
    }
    // The low bits and the founder groups among them block by block, each block staying in the
    // first- or second-level cache (and copied there from `from` first).
    const int blockBits = std::min(freeBits, 12);
    const uint64_t block = uint64_t(1) << blockBits;
    std::vector<uint64_t> inBlock, outside;
    for (uint64_t mask : founderGroups) (mask >> blockBits ? outside : inBlock).push_back(mask);
    for (uint64_t base = 0; base < n; base += block) {
        double* v = values + base;
        if (from != values) std::copy(from + base, from + base + block, v);
        int bit = 0;
        if (blockBits >= 3) {
            mixLowestThreeBits(v, block, theta);
            bit = 3;
        }
        for (; bit < blockBits; ++bit) mixBit(v, block, bit, theta);
        for (uint64_t mask : inBlock) mixGroup(v, block, mask, theta);
    }
    for (uint64_t mask : outside) mixGroup(values, n, mask, theta);
    // The high bits up to eight at a time: a tile of rows of 16 states, one row per setting of
    // the tile's bits, is copied into a buffer that stays in the first-level cache (rows a power
    // of two apart in the vector would share cache sets) while its bits are mixed, so the vector
    // is read and written once per eight bits.
    constexpr int rowBits = 4;
    constexpr uint64_t row = uint64_t(1) << rowBits;
    double tile[256 * row];
    for (int high = blockBits; high < freeBits; high += 8) {
        const int bits = std::min(8, freeBits - high);
        const uint64_t rows = uint64_t(1) << bits;
        const uint64_t stride = uint64_t(1) << high;
        for (uint64_t outer = 0; outer < n; outer += stride * rows)
            for (uint64_t column = 0; column < stride; column += row) {
                double* first = values + outer + column;
                for (uint64_t r = 0; r < rows; ++r) std::copy(first + r * stride, first + r * stride + row, tile + r * row);
                for (int bit = 0; bit < bits; ++bit) mixBit(tile, rows * row, bit + rowBits, theta);
                for (uint64_t r = 0; r < rows; ++r) std::copy(tile + r * row, tile + (r + 1) * row, first + r * stride);
            }
    }
}

}  // namespace likelihood
