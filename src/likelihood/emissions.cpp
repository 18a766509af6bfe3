#include "likelihood/emissions.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace likelihood {

namespace {

// Calls each(next, x, y) for every setting of a person's own meiosis bits on top of `state`:
// x and y are what pick(source, next) gives for the person's first and second allele (y is -1
// for a hemizygous male).
template <class Pick, class Each>
void forEachMeiosisOf(const InheritanceSpace& space, int person, uint64_t state, const Pick& pick, const Each& each) {
    const InheritanceSpace::AlleleSource& a = space.firstSource(person);
    const InheritanceSpace::AlleleSource& b = space.secondSource(person);
    const bool hemizygous = space.isHemizygous(person);
    const int bitA = a.parent >= 0 ? a.bit : -1;
    const int bitB = !hemizygous && b.parent >= 0 ? b.bit : -1;
    for (int va = 0; va < (bitA >= 0 ? 2 : 1); ++va)
        for (int vb = 0; vb < (bitB >= 0 ? 2 : 1); ++vb) {
            uint64_t next = state;
            if (va) next |= uint64_t(1) << bitA;
            if (vb) next |= uint64_t(1) << bitB;
            each(next, pick(a, next), hemizygous ? -1 : pick(b, next));
        }
}

// The marker emissions of every state at once: a walk over the persons in order, branching on
// each person's meiosis bits. The founder alleles are given marker alleles as the typed persons
// who carry them are reached (both orders where a heterozygous person brings two new ones), so
// a branch that contradicts a genotype is dropped with all the states below it, and states
// that no branch reaches keep the emission 0. Each branch that reaches the end gives its state
// and weight to `add` (a state can be reached by several branches).
template <class Add>
class MarkerWalk {
public:
    MarkerWalk(const InheritanceSpace& space, const std::vector<GenotypeInput>& genotypes,
               const std::vector<double>& frequencies, const Add& add)
        : space(space), order(space.personOrder()), genotypes(genotypes), frequencies(frequencies),
          add(add), first(static_cast<size_t>(space.personCount())),
          second(static_cast<size_t>(space.personCount())),
          allele(static_cast<size_t>(space.founderAlleleCount()), 0) {}

    void run() { visit(0, 0, 1.0); }

private:
    int nodeOf(const InheritanceSpace::AlleleSource& source, uint64_t state) const {
        if (source.parent < 0) return source.founderAllele;
        const bool takeSecond = source.bit >= 0 && ((state >> source.bit) & 1);
        return takeSecond ? second[static_cast<size_t>(source.parent)] : first[static_cast<size_t>(source.parent)];
    }

    double frequency(int a) const { return frequencies[static_cast<size_t>(a - 1)]; }

    // Gives founder allele `node` the marker allele `a` if it has none; false when it has another.
    bool assign(int node, int a, double& weight, int* assigned, int& count) {
        int& current = allele[static_cast<size_t>(node)];
        if (current != 0) return current == a;
        current = a;
        weight *= frequency(a);
        assigned[count++] = node;
        return true;
    }

    void undo(const int* assigned, int count) {
        for (int i = 0; i < count; ++i) allele[static_cast<size_t>(assigned[i])] = 0;
    }

    void visit(size_t depth, uint64_t state, double weight) {
        if (depth == order.size()) {
            add(state, weight);
            return;
        }
        const int person = order[depth];
        const GenotypeInput& g = genotypes[static_cast<size_t>(person)];
        const bool typed = g.first > 0 && g.second > 0;
        const auto node = [this](const InheritanceSpace::AlleleSource& source, uint64_t next) { return nodeOf(source, next); };
        forEachMeiosisOf(space, person, state, node, [&](uint64_t next, int u, int v) {
            first[static_cast<size_t>(person)] = u;
            second[static_cast<size_t>(person)] = v;
            if (!typed) {
                visit(depth + 1, next, weight);
                return;
            }
            // The genotype's two orders onto (u, v); one when it is homozygous or when the
            // person is hemizygous (typed as his allele twice) or carries one founder allele
            // twice.
            const int orders = g.first == g.second || v < 0 || u == v ? 1 : 2;
            for (int o = 0; o < orders; ++o) {
                const int x = o == 0 ? g.first : g.second;
                const int y = o == 0 ? g.second : g.first;
                int assigned[2];
                int count = 0;
                double w = weight;
                bool fits;
                if (v < 0 || u == v) fits = x == y && assign(u, x, w, assigned, count);
                else fits = assign(u, x, w, assigned, count) && assign(v, y, w, assigned, count);
                if (fits) visit(depth + 1, next, w);
                undo(assigned, count);
            }
        });
    }

    const InheritanceSpace& space;
    const std::vector<int>& order;
    const std::vector<GenotypeInput>& genotypes;
    const std::vector<double>& frequencies;
    const Add& add;
    std::vector<int> first, second;
    std::vector<int> allele;  // per founder allele: its marker allele in this branch, 0 for none yet
};

}  // namespace

void markerEmissions(const InheritanceSpace& space, const std::vector<GenotypeInput>& genotypes,
                     const std::vector<double>& frequencies, StateValues& emissions) {
    emissions.assign(space.states(), 0.0);
    double* values = emissions.data();
    const auto add = [values](uint64_t state, double weight) { values[state] += weight; };
    MarkerWalk<decltype(add)>(space, genotypes, frequencies, add).run();
}

double markerEmissionTerms(const InheritanceSpace& space, const std::vector<GenotypeInput>& genotypes,
                           const std::vector<double>& frequencies, std::vector<EmissionTerm>& terms) {
    terms.clear();
    const auto add = [&terms](uint64_t state, double weight) { terms.push_back({state, weight}); };
    MarkerWalk<decltype(add)>(space, genotypes, frequencies, add).run();
    double largest = 0.0;
    for (const EmissionTerm& term : terms) largest = std::max(largest, term.weight);
    if (!(largest > 0.0)) return -std::numeric_limits<double>::infinity();
    for (EmissionTerm& term : terms) term.weight /= largest;
    return std::log(largest);
}

namespace {

struct TraitWalkPlan {
    std::vector<int> order;
    std::vector<std::vector<int>> liveAfter;  // per depth: the persons with children still to come
    std::vector<int> widthAfterVisit;         // per depth: most founder alleles of an assignment
    double work = 0.0;                        // values computed over the whole walk
};

// The persons in the trait walk's order. Parents come before children; a child of persons whose
// alleles are live comes as soon as it can and a founder only when one of its children can follow,
// so that few founder alleles are live at any depth.
TraitWalkPlan planTraitWalk(const InheritanceSpace& space) {
    const int n = space.personCount();
    const int words = (space.founderAlleleCount() + 63) / 64 + 1;
    std::vector<std::vector<int>> parents(static_cast<size_t>(n)), children(static_cast<size_t>(n));
    // Per person: the founder alleles it may carry, as a bit set.
    std::vector<std::vector<uint64_t>> possible(static_cast<size_t>(n), std::vector<uint64_t>(static_cast<size_t>(words), 0));
    for (int p : space.personOrder()) {
        const size_t i = static_cast<size_t>(p);
        for (const InheritanceSpace::AlleleSource* source : {&space.firstSource(p), &space.secondSource(p)}) {
            if (source == &space.secondSource(p) && space.isHemizygous(p)) continue;
            if (source->parent < 0) {
                possible[i][static_cast<size_t>(source->founderAllele / 64)] |= uint64_t(1) << (source->founderAllele % 64);
                continue;
            }
            parents[i].push_back(source->parent);
            children[static_cast<size_t>(source->parent)].push_back(p);
            for (int w = 0; w < words; ++w) possible[i][static_cast<size_t>(w)] |= possible[static_cast<size_t>(source->parent)][static_cast<size_t>(w)];
        }
    }
    const auto alleleCount = [&](int p) { return space.isHemizygous(p) ? 1 : 2; };
    // The most founder alleles the persons of `live` can hold between them.
    const auto bound = [&](const std::vector<int>& live) {
        std::vector<uint64_t> all(static_cast<size_t>(words), 0);
        int held = 0;
        for (int q : live) {
            held += alleleCount(q);
            for (int w = 0; w < words; ++w) all[static_cast<size_t>(w)] |= possible[static_cast<size_t>(q)][static_cast<size_t>(w)];
        }
        int distinct = 0;
        for (uint64_t word : all) distinct += __builtin_popcountll(word);
        return std::min(held, distinct);
    };

    TraitWalkPlan plan;
    std::vector<char> visited(static_cast<size_t>(n), 0);
    std::vector<int> remaining(static_cast<size_t>(n));
    for (int p = 0; p < n; ++p) remaining[static_cast<size_t>(p)] = static_cast<int>(children[static_cast<size_t>(p)].size());
    std::vector<int> live;
    int liveBound = 0;
    double nodes = 1.0;  // walk nodes at the current depth
    for (int step = 0; step < n; ++step) {
        int best = -1;
        std::pair<int, int> bestKey;
        std::vector<int> bestLive;
        for (int c : space.personOrder()) {
            const size_t i = static_cast<size_t>(c);
            if (visited[i]) continue;
            bool ready = true;
            for (int q : parents[i]) ready = ready && visited[static_cast<size_t>(q)];
            if (!ready) continue;
            std::vector<int> next;
            for (int q : live) {
                const bool parent = std::find(parents[i].begin(), parents[i].end(), q) != parents[i].end();
                if (!(parent && remaining[static_cast<size_t>(q)] == 1)) next.push_back(q);
            }
            if (remaining[i] > 0) next.push_back(c);
            // A founder waits until a child of his can follow him.
            bool waits = false;
            if (parents[i].empty()) {
                waits = true;
                for (int child : children[i]) {
                    bool others = true;
                    for (int q : parents[static_cast<size_t>(child)]) others = others && (q == c || visited[static_cast<size_t>(q)]);
                    waits = waits && !others;
                }
            }
            const std::pair<int, int> key{bound(next), waits ? 1 : 0};
            if (best < 0 || key < bestKey) {
                best = c;
                bestKey = key;
                bestLive = next;
            }
        }
        const size_t i = static_cast<size_t>(best);
        visited[i] = 1;
        for (int q : parents[i]) --remaining[static_cast<size_t>(q)];
        const int founderAlleles = parents[i].empty() ? alleleCount(best) : 0;
        int meioses = 0;
        for (const InheritanceSpace::AlleleSource* source : {&space.firstSource(best), &space.secondSource(best)})
            if (source->parent >= 0 && source->bit >= 0 && !(source == &space.secondSource(best) && space.isHemizygous(best)))
                ++meioses;
        const int entering = liveBound + founderAlleles;
        nodes *= std::ldexp(1.0, meioses);
        plan.work += nodes * std::ldexp(1.0, entering);
        live = bestLive;
        liveBound = bestKey.first;
        plan.order.push_back(best);
        plan.liveAfter.push_back(live);
        plan.widthAfterVisit.push_back(entering);
    }
    return plan;
}

// The trait emissions of every state: a walk over the persons in the plan's order, branching on
// each person's meiosis bits. Each node of the walk holds, for every assignment of the two trait
// alleles to the founder alleles that persons with children still to come carry, the product of
// the founder frequencies and the penetrances of the persons visited; a founder allele that no
// such person carries any more is summed out, so the work follows the live founder alleles, not
// all of them.
class TraitWalk {
public:
    TraitWalk(const InheritanceSpace& space, const TraitWalkPlan& plan, const std::vector<std::array<double, 3>>& factors,
              const std::vector<char>& observed, const std::array<double, 2>& frequencies, double* emissions)
        : space(space), plan(plan), factors(factors), observed(observed), frequencies(frequencies),
          emissions(emissions), first(static_cast<size_t>(space.personCount()), -1),
          second(static_cast<size_t>(space.personCount()), -1), levels(plan.order.size() + 1) {
        levels[0].values.assign(1, 1.0);
        for (size_t d = 0; d < plan.order.size(); ++d) {
            levels[d + 1].values.assign(size_t(1) << plan.widthAfterVisit[d], 0.0);
            levels[d + 1].alleles.reserve(static_cast<size_t>(plan.widthAfterVisit[d]));
        }
    }

    void run() { visit(0, 0); }

private:
    // Founder alleles by their index in the assignment, and the assignment's values.
    struct Level {
        std::vector<int> alleles;
        std::vector<double> values;
    };

    int founderAlleleOf(const InheritanceSpace::AlleleSource& source, uint64_t state) const {
        if (source.parent < 0) return source.founderAllele;
        const bool takeSecond = source.bit >= 0 && ((state >> source.bit) & 1);
        return takeSecond ? second[static_cast<size_t>(source.parent)] : first[static_cast<size_t>(source.parent)];
    }

    void visit(size_t depth, uint64_t state) {
        if (depth == plan.order.size()) {
            emissions[state] = levels[depth].values[0];
            return;
        }
        const int person = plan.order[depth];
        const auto allele = [this](const InheritanceSpace::AlleleSource& source, uint64_t next) {
            return founderAlleleOf(source, next);
        };
        forEachMeiosisOf(space, person, state, allele, [&](uint64_t next, int u, int v) {
            first[static_cast<size_t>(person)] = u;
            second[static_cast<size_t>(person)] = v;
            if (step(depth, person, u, v)) visit(depth + 1, next);
        });
    }

    // The next level after `person`, carrying founder alleles u and v (v -1: hemizygous); false
    // when every value is 0.
    bool step(size_t depth, int person, int u, int v) {
        const Level& in = levels[depth];
        Level& out = levels[depth + 1];
        const std::array<double, 3> factor = observed[static_cast<size_t>(person)]
                                                 ? factors[static_cast<size_t>(person)]
                                                 : std::array<double, 3>{{1.0, 1.0, 1.0}};
        out.alleles = in.alleles;
        const size_t size = size_t(1) << in.alleles.size();
        const int width = static_cast<int>(in.alleles.size());
        if (space.firstSource(person).parent < 0) {
            // A founder brings his alleles: every trait allele of each, with its frequency.
            const bool two = v >= 0;
            out.alleles.push_back(u);
            if (two) out.alleles.push_back(v);
            for (size_t a = 0; a < size; ++a)
                for (int tu = 0; tu < 2; ++tu)
                    for (int tv = 0; tv < (two ? 2 : 1); ++tv)
                        out.values[a | size_t(tu) << width | size_t(tv) << (width + 1)] =
                            in.values[a] * frequencies[static_cast<size_t>(tu)] *
                            (two ? frequencies[static_cast<size_t>(tv)] : 1.0) * factor[static_cast<size_t>(tu + tv)];
        } else {
            const int ku = indexOf(in.alleles, u);
            const int kv = v >= 0 ? indexOf(in.alleles, v) : -1;
            for (size_t a = 0; a < size; ++a) {
                const int copies = static_cast<int>((a >> ku) & 1) + (kv >= 0 ? static_cast<int>((a >> kv) & 1) : 0);
                out.values[a] = in.values[a] * factor[static_cast<size_t>(copies)];
            }
        }
        // Founder alleles that no person with children to come carries are summed out.
        const std::vector<int>& live = plan.liveAfter[depth];
        for (int k = static_cast<int>(out.alleles.size()) - 1; k >= 0; --k) {
            const int node = out.alleles[static_cast<size_t>(k)];
            bool held = false;
            for (int q : live) held = held || first[static_cast<size_t>(q)] == node || second[static_cast<size_t>(q)] == node;
            if (held) continue;
            const size_t remaining = size_t(1) << (out.alleles.size() - 1);
            const size_t low = (size_t(1) << k) - 1;
            for (size_t i = 0; i < remaining; ++i) {
                const size_t from = (i & low) | ((i & ~low) << 1);
                out.values[i] = out.values[from] + out.values[from | (size_t(1) << k)];
            }
            out.alleles.erase(out.alleles.begin() + k);
        }
        const size_t kept = size_t(1) << out.alleles.size();
        for (size_t i = 0; i < kept; ++i)
            if (out.values[i] != 0.0) return true;
        return false;
    }

    static int indexOf(const std::vector<int>& alleles, int node) {
        return static_cast<int>(std::find(alleles.begin(), alleles.end(), node) - alleles.begin());
    }

    const InheritanceSpace& space;
    const TraitWalkPlan& plan;
    const std::vector<std::array<double, 3>>& factors;
    const std::vector<char>& observed;
    const std::array<double, 2>& frequencies;
    double* emissions;
    std::vector<int> first, second;  // founder allele of each allele of the persons on the path
    std::vector<Level> levels;       // per depth: the values before visiting the person there
};

}  // namespace

double traitEmissionWork(const InheritanceSpace& space) { return planTraitWalk(space).work; }

void traitEmissions(const InheritanceSpace& space, const std::vector<PersonInput>& persons, const TraitModel& trait,
                    StateValues& emissions) {
    const int count = space.personCount();
    emissions.assign(space.states(), 0.0);
    // Per person the probability of the status for 0, 1 or 2 copies of allele 2 (a hemizygous
    // male: 0 or 1).
    std::vector<std::array<double, 3>> factors(static_cast<size_t>(count));
    std::vector<char> observed(static_cast<size_t>(count), 0);
    for (int p = 0; p < count; ++p) {
        const PersonInput& person = persons[static_cast<size_t>(p)];
        if (person.status != 1 && person.status != 2) continue;
        const size_t liability = static_cast<size_t>(person.liabilityClass);
        std::array<double, 3> affected{};
        if (space.isHemizygous(p)) affected = {trait.malePenetrances[liability][0], trait.malePenetrances[liability][1], 0.0};
        else affected = trait.penetrances[liability];
        for (double& f : affected) f = person.status == 2 ? f : 1.0 - f;
        factors[static_cast<size_t>(p)] = affected;
        observed[static_cast<size_t>(p)] = 1;
    }
    const TraitWalkPlan plan = planTraitWalk(space);
    TraitWalk(space, plan, factors, observed, trait.frequencies, emissions.data()).run();
}

}  // namespace likelihood
