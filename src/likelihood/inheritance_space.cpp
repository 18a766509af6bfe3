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
    return "";
}

void InheritanceSpace::transition(double theta, double* values) const {
    if (theta == 0.0) return;
    const double keep = 1.0 - theta;
    const uint64_t n = states();
    for (uint64_t mask : founderGroups) {
        const uint64_t low = mask & (~mask + 1);
        for (uint64_t s = 0; s < n; ++s) {
            if (s & low) continue;
            const uint64_t t = s ^ mask;
            const double a = values[s], b = values[t];
            values[s] = keep * a + theta * b;
            values[t] = theta * a + keep * b;
        }
    }
    // One bit's mixing of the pairs (a[i], b[i]) of a run of states.
    const auto mix = [keep, theta](double* a, double* b, uint64_t count) {
        for (uint64_t i = 0; i < count; ++i) {
            const double x = a[i], y = b[i];
            a[i] = keep * x + theta * y;
            b[i] = theta * x + keep * y;
        }
    };
    // The low bits within blocks that stay in the first-level cache, then the high bits a
    // group at a time over tiles of contiguous runs: a few passes over the vector instead of
    // one per bit, which matters once the vector outgrows the caches.
    const int low = std::min(freeBits, 9);
    const uint64_t width = uint64_t(1) << low;
    for (uint64_t block = 0; block < n; block += width)
        for (int bit = 0; bit < low; ++bit) {
            const uint64_t step = uint64_t(1) << bit;
            for (uint64_t pair = block; pair < block + width; pair += 2 * step) mix(values + pair, values + pair + step, step);
        }
    const int group = 6;
    for (int high = low; high < freeBits; high += group) {
        const int bits = std::min(group, freeBits - high);
        const uint64_t below = uint64_t(1) << high;
        for (uint64_t outer = 0; outer < n; outer += below << bits)
            for (uint64_t run = 0; run < below; run += width)
                for (int bit = high; bit < high + bits; ++bit) {
                    const uint64_t step = uint64_t(1) << bit;
                    for (uint64_t j = 0; j < (uint64_t(1) << bits); ++j) {
                        if ((j >> (bit - high)) & 1) continue;
                        double* a = values + outer + (j << high) + run;
                        mix(a, a + step, width);
                    }
                }
    }
}

}  // namespace likelihood
