#include "likelihood/emissions.h"

#include <algorithm>

namespace likelihood {

namespace {

// Founder alleles linked by the observed persons of one state, as adjacency lists in arrays
// sized once per locus, so that the loop over the states allocates nothing.
class FounderAlleleGraph {
public:
    FounderAlleleGraph(int founderAlleles, int observed)
        : head(static_cast<size_t>(founderAlleles), -1),
          next(2 * static_cast<size_t>(observed)),
          edgeOfLink(2 * static_cast<size_t>(observed)),
          inComponent(static_cast<size_t>(founderAlleles), 0),
          edgeSeen(static_cast<size_t>(observed), 0) {}

    // Edges: observed person e carries founder alleles u and v (v = -1: hemizygous).
    void link(const int* u, const int* v, int edges) {
        std::fill(head.begin(), head.end(), -1);
        std::fill(edgeSeen.begin(), edgeSeen.begin() + edges, 0);
        int links = 0;
        for (int e = 0; e < edges; ++e) {
            add(u[e], e, links);
            if (v[e] >= 0 && v[e] != u[e]) add(v[e], e, links);
        }
    }

    // The founder alleles and edges connected to edge e, marking them seen.
    void component(int e, const int* u, const int* v, std::vector<int>& nodes, std::vector<int>& edges) {
        nodes.clear();
        edges.clear();
        const auto enter = [&](int node) {
            if (node < 0 || inComponent[static_cast<size_t>(node)]) return;
            inComponent[static_cast<size_t>(node)] = 1;
            nodes.push_back(node);
        };
        edgeSeen[static_cast<size_t>(e)] = 1;
        edges.push_back(e);
        enter(u[e]);
        enter(v[e]);
        for (size_t i = 0; i < nodes.size(); ++i)
            for (int l = head[static_cast<size_t>(nodes[i])]; l >= 0; l = next[static_cast<size_t>(l)]) {
                const int edge = edgeOfLink[static_cast<size_t>(l)];
                if (edgeSeen[static_cast<size_t>(edge)]) continue;
                edgeSeen[static_cast<size_t>(edge)] = 1;
                edges.push_back(edge);
                enter(u[edge]);
                enter(v[edge]);
            }
        for (int node : nodes) inComponent[static_cast<size_t>(node)] = 0;
    }

    bool seen(int e) const { return edgeSeen[static_cast<size_t>(e)] != 0; }

private:
    void add(int node, int edge, int& links) {
        next[static_cast<size_t>(links)] = head[static_cast<size_t>(node)];
        edgeOfLink[static_cast<size_t>(links)] = edge;
        head[static_cast<size_t>(node)] = links++;
    }

    std::vector<int> head, next, edgeOfLink;
    std::vector<char> inComponent, edgeSeen;
};

}  // namespace

void markerEmissions(const InheritanceSpace& space, const std::vector<GenotypeInput>& genotypes,
                     const std::vector<double>& frequencies, std::vector<double>& emissions) {
    const int persons = space.personCount();
    const uint64_t states = space.states();
    emissions.assign(states, 0.0);

    std::vector<int> typed;
    for (int p = 0; p < persons; ++p) {
        const GenotypeInput& g = genotypes[static_cast<size_t>(p)];
        if (g.first > 0 && g.second > 0) typed.push_back(p);
    }
    std::vector<int> first(static_cast<size_t>(persons)), second(static_cast<size_t>(persons));
    const int edges = static_cast<int>(typed.size());
    std::vector<int> u(static_cast<size_t>(edges)), v(static_cast<size_t>(edges)), a(static_cast<size_t>(edges)),
        b(static_cast<size_t>(edges));
    for (int e = 0; e < edges; ++e) {
        a[static_cast<size_t>(e)] = genotypes[static_cast<size_t>(typed[static_cast<size_t>(e)])].first;
        b[static_cast<size_t>(e)] = genotypes[static_cast<size_t>(typed[static_cast<size_t>(e)])].second;
    }
    FounderAlleleGraph graph(space.founderAlleleCount(), edges);
    std::vector<int> allele(static_cast<size_t>(space.founderAlleleCount()), 0);
    std::vector<int> nodes, componentEdges;
    nodes.reserve(allele.size());
    componentEdges.reserve(static_cast<size_t>(edges));

    for (uint64_t s = 0; s < states; ++s) {
        space.founderAllelesOf(s, first.data(), second.data());
        for (int e = 0; e < edges; ++e) {
            u[static_cast<size_t>(e)] = first[static_cast<size_t>(typed[static_cast<size_t>(e)])];
            v[static_cast<size_t>(e)] = second[static_cast<size_t>(typed[static_cast<size_t>(e)])];
        }
        graph.link(u.data(), v.data(), edges);
        double probability = 1.0;
        for (int e = 0; e < edges && probability > 0.0; ++e) {
            if (graph.seen(e)) continue;
            graph.component(e, u.data(), v.data(), nodes, componentEdges);
            // The first founder allele of the component is one of the two alleles of the edge
            // that reached it; every other follows along the edges.
            const int start = u[static_cast<size_t>(e)];
            const int candidates[2] = {a[static_cast<size_t>(e)], b[static_cast<size_t>(e)]};
            double sum = 0.0;
            for (int c = 0; c < (candidates[0] == candidates[1] ? 1 : 2); ++c) {
                for (int node : nodes) allele[static_cast<size_t>(node)] = 0;
                allele[static_cast<size_t>(start)] = candidates[c];
                bool consistent = true;
                // Edges in the order they were reached: each has an assigned end when visited.
                for (size_t i = 0; i < componentEdges.size() && consistent; ++i) {
                    const size_t edge = static_cast<size_t>(componentEdges[i]);
                    int x = u[edge], y = v[edge];
                    if (allele[static_cast<size_t>(x)] == 0 && y >= 0) std::swap(x, y);
                    const int known = allele[static_cast<size_t>(x)];
                    if (y < 0) {  // hemizygous: both typed alleles are his one allele
                        consistent = a[edge] == b[edge] && known == a[edge];
                        continue;
                    }
                    int other;
                    if (known == a[edge]) other = b[edge];
                    else if (known == b[edge]) other = a[edge];
                    else {
                        consistent = false;
                        continue;
                    }
                    if (x == y) consistent = a[edge] == b[edge];
                    else if (allele[static_cast<size_t>(y)] == 0) allele[static_cast<size_t>(y)] = other;
                    else consistent = allele[static_cast<size_t>(y)] == other;
                }
                if (!consistent) continue;
                double product = 1.0;
                for (int node : nodes) product *= frequencies[static_cast<size_t>(allele[static_cast<size_t>(node)] - 1)];
                sum += product;
            }
            probability *= sum;
        }
        emissions[s] = probability;
    }
}

void traitEmissions(const InheritanceSpace& space, const std::vector<PersonInput>& persons, const TraitModel& trait,
                    std::vector<double>& emissions) {
    const int count = space.personCount();
    const uint64_t states = space.states();
    emissions.assign(states, 0.0);

    // Per observed person the probability of the status for 0, 1 or 2 copies of allele 2 (a
    // hemizygous male: 0 or 1).
    std::vector<int> observed;
    std::vector<std::array<double, 3>> factors;
    for (int p = 0; p < count; ++p) {
        const PersonInput& person = persons[static_cast<size_t>(p)];
        if (person.status != 1 && person.status != 2) continue;
        const size_t liability = static_cast<size_t>(person.liabilityClass);
        std::array<double, 3> affected{};
        if (space.isHemizygous(p)) affected = {trait.malePenetrances[liability][0], trait.malePenetrances[liability][1], 0.0};
        else affected = trait.penetrances[liability];
        for (double& f : affected) f = person.status == 2 ? f : 1.0 - f;
        observed.push_back(p);
        factors.push_back(affected);
    }
    std::vector<int> first(static_cast<size_t>(count)), second(static_cast<size_t>(count));
    const int edges = static_cast<int>(observed.size());
    std::vector<int> u(static_cast<size_t>(edges)), v(static_cast<size_t>(edges));
    FounderAlleleGraph graph(space.founderAlleleCount(), edges);
    std::vector<int> nodes, componentEdges, local(static_cast<size_t>(space.founderAlleleCount()), 0);

    for (uint64_t s = 0; s < states; ++s) {
        space.founderAllelesOf(s, first.data(), second.data());
        for (int e = 0; e < edges; ++e) {
            u[static_cast<size_t>(e)] = first[static_cast<size_t>(observed[static_cast<size_t>(e)])];
            v[static_cast<size_t>(e)] = second[static_cast<size_t>(observed[static_cast<size_t>(e)])];
        }
        graph.link(u.data(), v.data(), edges);
        double probability = 1.0;
        for (int e = 0; e < edges && probability > 0.0; ++e) {
            if (graph.seen(e)) continue;
            graph.component(e, u.data(), v.data(), nodes, componentEdges);
            for (size_t i = 0; i < nodes.size(); ++i) local[static_cast<size_t>(nodes[i])] = static_cast<int>(i);
            const uint64_t assignments = uint64_t(1) << nodes.size();
            double sum = 0.0;
            // Bit i of an assignment: founder allele nodes[i] is trait allele 2.
            for (uint64_t assignment = 0; assignment < assignments; ++assignment) {
                double product = 1.0;
                for (size_t i = 0; i < nodes.size(); ++i) product *= trait.frequencies[(assignment >> i) & 1];
                for (int edge : componentEdges) {
                    const size_t ed = static_cast<size_t>(edge);
                    int copies = static_cast<int>((assignment >> local[static_cast<size_t>(u[ed])]) & 1);
                    if (v[ed] >= 0) copies += static_cast<int>((assignment >> local[static_cast<size_t>(v[ed])]) & 1);
                    product *= factors[ed][static_cast<size_t>(copies)];
                }
                sum += product;
            }
            probability *= sum;
        }
        emissions[s] = probability;
    }
}

}  // namespace likelihood
