#include "likelihood/emissions.h"


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
// that no branch reaches keep the emission 0.
class MarkerWalk {
public:
    MarkerWalk(const InheritanceSpace& space, const std::vector<GenotypeInput>& genotypes,
               const std::vector<double>& frequencies, double* emissions)
        : space(space), order(space.personOrder()), genotypes(genotypes), frequencies(frequencies),
          emissions(emissions), first(static_cast<size_t>(space.personCount())),
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
            emissions[state] += weight;
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
    double* emissions;
    std::vector<int> first, second;
    std::vector<int> allele;  // per founder allele: its marker allele in this branch, 0 for none yet
};

}  // namespace

void markerEmissions(const InheritanceSpace& space, const std::vector<GenotypeInput>& genotypes,
                     const std::vector<double>& frequencies, std::vector<double>& emissions) {
    emissions.assign(space.states(), 0.0);
    MarkerWalk(space, genotypes, frequencies, emissions.data()).run();
}

namespace {

// The trait emissions for one assignment of trait alleles to the founder alleles, added into
// `emissions` with the assignment's probability: a walk over the persons in order, branching on
// each person's meiosis bits, multiplying the person's penetrance factor on the way down.
class TraitWalk {
public:
    TraitWalk(const InheritanceSpace& space, const std::vector<std::array<double, 3>>& factors,
              const std::vector<char>& observed)
        : space(space), order(space.personOrder()), factors(factors), observed(observed),
          first(static_cast<size_t>(space.personCount())), second(static_cast<size_t>(space.personCount())) {}

    void add(uint64_t assignment, double weight, double* emissions) {
        this->assignment = assignment;
        this->emissions = emissions;
        visit(0, 0, weight);
    }

private:
    int alleleOf(const InheritanceSpace::AlleleSource& source, uint64_t state) const {
        if (source.parent < 0) return static_cast<int>((assignment >> source.founderAllele) & 1);
        const bool takeSecond = source.bit >= 0 && ((state >> source.bit) & 1);
        return takeSecond ? second[static_cast<size_t>(source.parent)] : first[static_cast<size_t>(source.parent)];
    }

    // Persons order[depth..] given the bits of `state` set so far.
    void visit(size_t depth, uint64_t state, double product) {
        if (product == 0.0) return;
        if (depth == order.size()) {
            emissions[state] += product;
            return;
        }
        const int person = order[depth];
        const auto allele = [this](const InheritanceSpace::AlleleSource& source, uint64_t next) {
            return alleleOf(source, next);
        };
        forEachMeiosisOf(space, person, state, allele, [&](uint64_t next, int x, int y) {
            first[static_cast<size_t>(person)] = x;
            second[static_cast<size_t>(person)] = y < 0 ? 0 : y;
            const double factor = observed[static_cast<size_t>(person)]
                                      ? factors[static_cast<size_t>(person)][static_cast<size_t>(x + (y < 0 ? 0 : y))]
                                      : 1.0;
            visit(depth + 1, next, product * factor);
        });
    }

    const InheritanceSpace& space;
    const std::vector<int>& order;
    const std::vector<std::array<double, 3>>& factors;
    const std::vector<char>& observed;
    std::vector<int> first, second;
    uint64_t assignment = 0;
    double* emissions = nullptr;
};

}  // namespace

void traitEmissions(const InheritanceSpace& space, const std::vector<PersonInput>& persons, const TraitModel& trait,
                    std::vector<double>& emissions) {
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
    // Every assignment of the two trait alleles to the founder alleles, with its probability.
    TraitWalk walk(space, factors, observed);
    const int founderAlleles = space.founderAlleleCount();
    for (uint64_t assignment = 0; assignment < (uint64_t(1) << founderAlleles); ++assignment) {
        double weight = 1.0;
        for (int n = 0; n < founderAlleles; ++n) weight *= trait.frequencies[(assignment >> n) & 1];
        walk.add(assignment, weight, emissions.data());
    }
}

}  // namespace likelihood
