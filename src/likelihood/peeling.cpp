#include "likelihood/peeling.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <unordered_map>

namespace likelihood {

std::string Peeling::build(const PedigreeInput& pedigree, const LocusModel& model, bool xlinked, Peeling& peeling) {
    if (xlinked) return "X-linked data";
    peeling = Peeling();
    peeling.persons = pedigree.persons;
    peeling.trait = model.trait;
    const int n = static_cast<int>(pedigree.persons.size());

    // Nuclear families: the children of each couple.
    std::map<std::pair<int, int>, int> familyOf;
    std::vector<std::vector<int>> familiesOfPerson(static_cast<size_t>(n));
    for (int p = 0; p < n; ++p) {
        const PersonInput& person = pedigree.persons[static_cast<size_t>(p)];
        if (person.father < 0 && person.mother < 0) continue;
        if (person.father < 0 || person.mother < 0 || person.father >= n || person.mother >= n)
            return "a person has only one parent";
        const auto key = std::make_pair(person.father, person.mother);
        auto found = familyOf.find(key);
        if (found == familyOf.end()) {
            found = familyOf.emplace(key, static_cast<int>(peeling.families.size())).first;
            peeling.families.push_back({person.father, person.mother, {}});
            familiesOfPerson[static_cast<size_t>(person.father)].push_back(found->second);
            familiesOfPerson[static_cast<size_t>(person.mother)].push_back(found->second);
        }
        peeling.families[static_cast<size_t>(found->second)].children.push_back(p);
        familiesOfPerson[static_cast<size_t>(p)].push_back(found->second);
    }
    for (int p = 0; p < n; ++p)
        if (familiesOfPerson[static_cast<size_t>(p)].empty()) peeling.alone.push_back(p);

    // The peeling order: repeatedly a family whose members but at most one (the connector) are in
    // no other family left; with a loop none is left at some point.
    std::vector<int> remaining(static_cast<size_t>(n));
    for (int p = 0; p < n; ++p) remaining[static_cast<size_t>(p)] = static_cast<int>(familiesOfPerson[static_cast<size_t>(p)].size());
    std::vector<char> peeled(peeling.families.size(), 0);
    for (size_t step = 0; step < peeling.families.size(); ++step) {
        int chosen = -1, connector = -1;
        for (size_t f = 0; f < peeling.families.size() && chosen < 0; ++f) {
            if (peeled[f]) continue;
            const Family& family = peeling.families[f];
            std::vector<int> members = family.children;
            members.push_back(family.father);
            members.push_back(family.mother);
            int shared = 0, sharedMember = -1;
            for (int m : members)
                if (remaining[static_cast<size_t>(m)] > 1) {
                    ++shared;
                    sharedMember = m;
                }
            if (shared <= 1) {
                chosen = static_cast<int>(f);
                connector = sharedMember;
            }
        }
        if (chosen < 0) return "a marriage loop";
        peeled[static_cast<size_t>(chosen)] = 1;
        const Family& family = peeling.families[static_cast<size_t>(chosen)];
        for (int m : family.children) --remaining[static_cast<size_t>(m)];
        --remaining[static_cast<size_t>(family.father)];
        --remaining[static_cast<size_t>(family.mother)];
        peeling.order.push_back({chosen, connector});
    }

    // Marker genotypes: the pedigree's own alleles and one for all others (of their summed
    // frequency, where it is not 0), then genotype elimination.
    for (size_t column = 0; column < pedigree.genotypes.size(); ++column) {
        const std::vector<GenotypeInput>& typed = pedigree.genotypes[column];
        const std::vector<double>& frequencies = model.markerFrequencies[column];
        MarkerSets sets;
        std::vector<int> code(frequencies.size() + 1, -1);
        for (const GenotypeInput& g : typed)
            for (int allele : {g.first, g.second})
                if (allele > 0 && code[static_cast<size_t>(allele)] < 0) code[static_cast<size_t>(allele)] = 0;
        for (size_t allele = 1; allele < code.size(); ++allele)
            if (code[allele] == 0) {
                code[allele] = static_cast<int>(sets.frequencies.size());
                sets.frequencies.push_back(frequencies[allele - 1]);
            }
        double rest = 0.0;
        for (size_t allele = 1; allele < code.size(); ++allele)
            if (code[allele] < 0) rest += frequencies[allele - 1];
        if (rest > 0.0) sets.frequencies.push_back(rest);
        const int alleles = static_cast<int>(sets.frequencies.size());
        sets.genotypes.resize(static_cast<size_t>(n));
        for (int p = 0; p < n; ++p) {
            const GenotypeInput& g = typed[static_cast<size_t>(p)];
            auto& list = sets.genotypes[static_cast<size_t>(p)];
            if (g.first > 0 && g.second > 0) {
                const int a = code[static_cast<size_t>(g.first)], b = code[static_cast<size_t>(g.second)];
                list.push_back({std::min(a, b), std::max(a, b)});
            } else {
                for (int a = 0; a < alleles; ++a)
                    for (int b = a; b < alleles; ++b) list.push_back({a, b});
            }
        }
        peeling.eliminate(sets);
        peeling.markers.push_back(std::move(sets));
    }
    return "";
}

void Peeling::eliminate(MarkerSets& sets) const {
    const auto has = [](const std::pair<int, int>& g, int allele) { return g.first == allele || g.second == allele; };
    const auto fits = [&](const std::pair<int, int>& father, const std::pair<int, int>& mother, const std::pair<int, int>& child) {
        return (has(father, child.first) && has(mother, child.second)) || (has(father, child.second) && has(mother, child.first));
    };
    for (bool changed = true; changed && sets.possible;) {
        changed = false;
        for (const Family& family : families) {
            auto& fathers = sets.genotypes[static_cast<size_t>(family.father)];
            auto& mothers = sets.genotypes[static_cast<size_t>(family.mother)];
            std::vector<char> fatherKept(fathers.size(), 0), motherKept(mothers.size(), 0);
            std::vector<std::vector<char>> childKept;
            for (int c : family.children) childKept.emplace_back(sets.genotypes[static_cast<size_t>(c)].size(), 0);
            for (size_t f = 0; f < fathers.size(); ++f)
                for (size_t m = 0; m < mothers.size(); ++m) {
                    bool all = true;
                    for (size_t c = 0; c < family.children.size() && all; ++c) {
                        bool any = false;
                        for (const auto& g : sets.genotypes[static_cast<size_t>(family.children[c])])
                            if (fits(fathers[f], mothers[m], g)) {
                                any = true;
                                break;
                            }
                        all = any;
                    }
                    if (!all) continue;
                    fatherKept[f] = motherKept[m] = 1;
                    for (size_t c = 0; c < family.children.size(); ++c) {
                        const auto& list = sets.genotypes[static_cast<size_t>(family.children[c])];
                        for (size_t g = 0; g < list.size(); ++g)
                            if (fits(fathers[f], mothers[m], list[g])) childKept[c][g] = 1;
                    }
                }
            const auto keep = [&](std::vector<std::pair<int, int>>& list, const std::vector<char>& kept) {
                std::vector<std::pair<int, int>> left;
                for (size_t g = 0; g < list.size(); ++g)
                    if (kept[g]) left.push_back(list[g]);
                if (left.size() != list.size()) changed = true;
                list = std::move(left);
                if (list.empty()) sets.possible = false;
            };
            keep(fathers, fatherKept);
            keep(mothers, motherKept);
            for (size_t c = 0; c < family.children.size(); ++c)
                keep(sets.genotypes[static_cast<size_t>(family.children[c])], childKept[c]);
        }
    }
}

void Peeling::place(const std::vector<int>& columns, int traitPosition) {
    const int loci = static_cast<int>(columns.size()) + 1;
    placed.assign(persons.size(), Genotypes());
    placedPossible = true;
    for (const int column : columns) placedPossible = placedPossible && markers[static_cast<size_t>(column)].possible;
    if (!placedPossible) return;
    for (size_t p = 0; p < persons.size(); ++p) {
        const PersonInput& person = persons[p];
        const bool founder = person.father < 0;
        Genotypes& genotypes = placed[p];
        genotypes.loci = loci;
        // Per locus: ordered allele pairs and their factor (frequencies for a founder; the
        // penetrance at the trait).
        struct Option {
            int first, second;
            double factor;
        };
        std::vector<std::vector<Option>> options(static_cast<size_t>(loci));
        std::vector<int> radix(static_cast<size_t>(loci));
        for (int locus = 0; locus < loci; ++locus) {
            auto& list = options[static_cast<size_t>(locus)];
            if (locus == traitPosition) {
                for (int a = 0; a < 2; ++a)
                    for (int b = 0; b < 2; ++b) {
                        double factor = founder ? trait.frequencies[static_cast<size_t>(a)] * trait.frequencies[static_cast<size_t>(b)] : 1.0;
                        if (person.status == 1 || person.status == 2) {
                            const double affected = trait.penetrances[static_cast<size_t>(person.liabilityClass)][static_cast<size_t>(a + b)];
                            factor *= person.status == 2 ? affected : 1.0 - affected;
                        }
                        if (factor > 0.0) list.push_back({a, b, factor});
                    }
                radix[static_cast<size_t>(locus)] = 2;
            } else {
                const MarkerSets& sets = markers[static_cast<size_t>(columns[static_cast<size_t>(locus < traitPosition ? locus : locus - 1)])];
                for (const auto& g : sets.genotypes[p]) {
                    const double factor = founder ? sets.frequencies[static_cast<size_t>(g.first)] * sets.frequencies[static_cast<size_t>(g.second)] : 1.0;
                    list.push_back({g.first, g.second, factor});
                    if (g.first != g.second) list.push_back({g.second, g.first, factor});
                }
                radix[static_cast<size_t>(locus)] = static_cast<int>(sets.frequencies.size());
            }
            if (list.empty()) placedPossible = false;
        }
        if (!placedPossible) return;
        // Every combination of the loci's options, haplotypes numbered as they are first met.
        std::unordered_map<uint64_t, int> haplotypeOf;
        std::vector<uint16_t> haplotype(static_cast<size_t>(loci));
        const auto haplotypeIndex = [&](bool second, const std::vector<size_t>& pick) {
            uint64_t key = 0;
            for (int locus = 0; locus < loci; ++locus) {
                const Option& o = options[static_cast<size_t>(locus)][pick[static_cast<size_t>(locus)]];
                haplotype[static_cast<size_t>(locus)] = static_cast<uint16_t>(second ? o.second : o.first);
                key = key * static_cast<uint64_t>(radix[static_cast<size_t>(locus)]) + haplotype[static_cast<size_t>(locus)];
            }
            const auto inserted = haplotypeOf.emplace(key, static_cast<int>(haplotypeOf.size()));
            if (inserted.second) genotypes.haplotypes.insert(genotypes.haplotypes.end(), haplotype.begin(), haplotype.end());
            return inserted.first->second;
        };
        std::vector<size_t> pick(static_cast<size_t>(loci), 0);
        for (bool more = true; more;) {
            double factor = 1.0;
            for (int locus = 0; locus < loci; ++locus) factor *= options[static_cast<size_t>(locus)][pick[static_cast<size_t>(locus)]].factor;
            genotypes.paternal.push_back(haplotypeIndex(false, pick));
            genotypes.maternal.push_back(haplotypeIndex(true, pick));
            genotypes.prior.push_back(factor);
            more = false;
            for (int locus = loci - 1; locus >= 0; --locus) {
                if (++pick[static_cast<size_t>(locus)] < options[static_cast<size_t>(locus)].size()) {
                    more = true;
                    break;
                }
                pick[static_cast<size_t>(locus)] = 0;
            }
        }
        // The distinct haplotypes a person got from each parent, numbered for the gamete tables.
        const auto number = [](const std::vector<int>& haplotypes, std::vector<int>& index, int& count) {
            std::unordered_map<int, int> seen;
            for (int h : haplotypes) index.push_back(seen.emplace(h, static_cast<int>(seen.size())).first->second);
            count = static_cast<int>(seen.size());
        };
        number(genotypes.paternal, genotypes.distinctPaternal, genotypes.paternalCount);
        number(genotypes.maternal, genotypes.distinctMaternal, genotypes.maternalCount);
    }
}

double Peeling::work(const std::vector<int>& columns) const {
    std::vector<double> count(persons.size(), 4.0);
    for (const int column : columns)
        for (size_t p = 0; p < persons.size(); ++p) {
            double ordered = 0.0;
            for (const auto& g : markers[static_cast<size_t>(column)].genotypes[p]) ordered += g.first == g.second ? 1.0 : 2.0;
            count[p] *= ordered;
        }
    const double tooMany = std::numeric_limits<double>::infinity();
    for (double c : count)
        if (c > 65536.0) return tooMany;
    double total = 0.0;
    for (const PeelStep& step : order) {
        const Family& family = families[static_cast<size_t>(step.family)];
        const double father = count[static_cast<size_t>(family.father)], mother = count[static_cast<size_t>(family.mother)];
        if (father * mother > 16777216.0) return tooMany;
        for (int c : family.children) total += (mother + father * mother) * count[static_cast<size_t>(c)];
    }
    return total;
}

std::vector<double> Peeling::lociFractions(const std::vector<double>& between, int position, double left, double right) {
    std::vector<double> fractions = between;
    const int markers = static_cast<int>(between.size()) + 1;
    if (position == 0) fractions.insert(fractions.begin(), left);
    else if (position == markers) fractions.push_back(left);
    else {
        fractions[static_cast<size_t>(position - 1)] = left;
        fractions.insert(fractions.begin() + position, right);
    }
    return fractions;
}

void Peeling::gametes(int parent, int child, bool fromFather, const std::vector<double>& fractions,
                      std::vector<double>& out) {
    const Genotypes& from = placed[static_cast<size_t>(parent)];
    const Genotypes& to = placed[static_cast<size_t>(child)];
    const std::vector<int>& received = fromFather ? to.paternal : to.maternal;
    const std::vector<int>& distinct = fromFather ? to.distinctPaternal : to.distinctMaternal;
    const int count = fromFather ? to.paternalCount : to.maternalCount;
    // The child's distinct haplotypes from this parent, in their numbering.
    std::vector<int>& haplotypes = childHaplotypes;
    haplotypes.assign(static_cast<size_t>(count), -1);
    for (size_t g = 0; g < received.size(); ++g) haplotypes[static_cast<size_t>(distinct[g])] = received[g];
    const int loci = from.loci;
    out.assign(from.prior.size() * static_cast<size_t>(count), 0.0);
    for (size_t g = 0; g < from.prior.size(); ++g) {
        const uint16_t* first = from.haplotype(from.paternal[g]);
        const uint16_t* second = from.haplotype(from.maternal[g]);
        for (int d = 0; d < count; ++d) {
            const uint16_t* h = to.haplotype(haplotypes[static_cast<size_t>(d)]);
            // Which of the parent's haplotypes the gamete copies at each locus, with a
            // recombination between loci at their fraction.
            double a = h[0] == first[0] ? 1.0 : 0.0, b = h[0] == second[0] ? 1.0 : 0.0;
            for (int locus = 1; locus < loci && (a > 0.0 || b > 0.0); ++locus) {
                const double theta = fractions[static_cast<size_t>(locus - 1)];
                const double stay = a * (1.0 - theta) + b * theta, change = a * theta + b * (1.0 - theta);
                a = h[locus] == first[locus] ? stay : 0.0;
                b = h[locus] == second[locus] ? change : 0.0;
            }
            out[g * static_cast<size_t>(count) + static_cast<size_t>(d)] = 0.5 * (a + b);
        }
    }
}

// Peels one family onto its connector (whose weights take the family's sum); for the last family
// of a part, returns the part's (scaled) likelihood.
double Peeling::peel(const PeelStep& step, const std::vector<double>& fractions) {
    const Family& family = families[static_cast<size_t>(step.family)];
    Genotypes& father = placed[static_cast<size_t>(family.father)];
    Genotypes& mother = placed[static_cast<size_t>(family.mother)];
    const size_t nF = father.prior.size(), nM = mother.prior.size();
    // pairProducts[f][m]: the parents' weights (but the connector's) times, per child other
    // than the connector, the sum over its genotypes of its weight and its chance from f and m.
    pairProducts.assign(nF * nM, 1.0);
    for (size_t f = 0; f < nF; ++f)
        for (size_t m = 0; m < nM; ++m)
            pairProducts[f * nM + m] = (step.connector == family.father ? 1.0 : father.weight[f]) *
                                       (step.connector == family.mother ? 1.0 : mother.weight[m]);
    for (int c : family.children) {
        if (c == step.connector) continue;
        const Genotypes& child = placed[static_cast<size_t>(c)];
        gametes(family.father, c, true, fractions, fatherGametes);
        gametes(family.mother, c, false, fractions, motherGametes);
        const size_t U = static_cast<size_t>(child.paternalCount), V = static_cast<size_t>(child.maternalCount);
        // scratch[m][u]: over the child's genotypes with paternal haplotype u, the weight times
        // the chance of the maternal haplotype from m.
        scratch.assign(nM * U, 0.0);
        for (size_t g = 0; g < child.prior.size(); ++g) {
            const double w = child.weight[g];
            if (w == 0.0) continue;
            const size_t u = static_cast<size_t>(child.distinctPaternal[g]), v = static_cast<size_t>(child.distinctMaternal[g]);
            for (size_t m = 0; m < nM; ++m) scratch[m * U + u] += motherGametes[m * V + v] * w;
        }
        for (size_t f = 0; f < nF; ++f) {
            const double* fromFather = &fatherGametes[f * U];
            for (size_t m = 0; m < nM; ++m) {
                double& product = pairProducts[f * nM + m];
                if (product == 0.0) continue;
                const double* rest = &scratch[m * U];
                double sum = 0.0;
                for (size_t u = 0; u < U; ++u) sum += fromFather[u] * rest[u];
                product *= sum;
            }
        }
    }
    if (step.connector < 0) {
        double total = 0.0;
        for (double value : pairProducts) total += value;
        return total;
    }
    Genotypes& connector = placed[static_cast<size_t>(step.connector)];
    std::vector<double>& sums = connectorSums;
    sums.assign(connector.prior.size(), 0.0);
    if (step.connector == family.father) {
        for (size_t f = 0; f < nF; ++f)
            for (size_t m = 0; m < nM; ++m) sums[f] += pairProducts[f * nM + m];
    } else if (step.connector == family.mother) {
        for (size_t f = 0; f < nF; ++f)
            for (size_t m = 0; m < nM; ++m) sums[m] += pairProducts[f * nM + m];
    } else {
        gametes(family.father, step.connector, true, fractions, fatherGametes);
        gametes(family.mother, step.connector, false, fractions, motherGametes);
        const size_t U = static_cast<size_t>(connector.paternalCount), V = static_cast<size_t>(connector.maternalCount);
        // scratch[f][v]: over the mothers, the pair's product times the chance of v.
        scratch.assign(nF * V, 0.0);
        for (size_t f = 0; f < nF; ++f)
            for (size_t m = 0; m < nM; ++m) {
                const double product = pairProducts[f * nM + m];
                if (product == 0.0) continue;
                for (size_t v = 0; v < V; ++v) scratch[f * V + v] += product * motherGametes[m * V + v];
            }
        for (size_t g = 0; g < sums.size(); ++g) {
            const size_t u = static_cast<size_t>(connector.distinctPaternal[g]), v = static_cast<size_t>(connector.distinctMaternal[g]);
            double sum = 0.0;
            for (size_t f = 0; f < nF; ++f) sum += fatherGametes[f * U + u] * scratch[f * V + v];
            sums[g] = sum;
        }
    }
    double largest = 0.0;
    for (size_t g = 0; g < sums.size(); ++g) {
        connector.weight[g] *= sums[g];
        largest = std::max(largest, connector.weight[g]);
    }
    if (!(largest > 0.0)) return 0.0;
    for (double& w : connector.weight) w /= largest;
    logScale += std::log(largest);
    return 1.0;
}

double Peeling::lnLikelihood(const std::vector<double>& fractions) {
    const double impossible = -std::numeric_limits<double>::infinity();
    if (!placedPossible) return impossible;
    for (Genotypes& genotypes : placed) genotypes.weight = genotypes.prior;
    logScale = 0.0;
    double lnLike = 0.0;
    for (const PeelStep& step : order) {
        const double value = peel(step, fractions);
        if (!(value > 0.0)) return impossible;
        if (step.connector < 0) lnLike += std::log(value);
    }
    for (int p : alone) {
        double sum = 0.0;
        for (double w : placed[static_cast<size_t>(p)].prior) sum += w;
        if (!(sum > 0.0)) return impossible;
        lnLike += std::log(sum);
    }
    return lnLike + logScale;
}

}  // namespace likelihood
