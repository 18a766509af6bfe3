// Family structure check: every pedigree one connected family of at least three members,
// parent references resolving to persons of the right sex, and the search for marriage or
// consanguinity loops that the linkage runs must break before FASTLINK sees the pedigree.

#include <cstdint>
#include <iostream>
#include <unordered_map>
#include <vector>

#include "model/file.h"
#include "model/pedigrees.h"
#include "model/short_text.h"

namespace {

// One pedigree's persons in tree order, each parent reference resolved once to a place in
// that order (-1: "0" or no such person), and the children of every person, so that the walks
// below run over small arrays instead of looking persons up by identifier.
class FamilyIndex {
public:
    explicit FamilyIndex(const Pedigree* pedigree) : pedigree(pedigree) {
        pedigree->getPersonTree()->forEach([&](Person* person) { persons.push_back(person); });
        const size_t n = persons.size();
        fathers.resize(n);
        mothers.resize(n);
        childrenStart.assign(n + 1, 0);
        for (size_t i = 0; i < n; ++i) {
            fathers[i] = placeOf(persons[i]->getFatherId());
            mothers[i] = placeOf(persons[i]->getMotherId());
            forEachParent(i, [&](int parent) { ++childrenStart[static_cast<size_t>(parent) + 1]; });
        }
        for (size_t i = 0; i < n; ++i) childrenStart[i + 1] += childrenStart[i];
        children.resize(childrenStart[n]);
        std::vector<int> filled(childrenStart.begin(), childrenStart.end() - 1);
        for (size_t i = 0; i < n; ++i)
            forEachParent(i, [&](int parent) { children[static_cast<size_t>(filled[static_cast<size_t>(parent)]++)] = static_cast<int>(i); });
    }

    const std::string& id() const { return pedigree->getPedigreeId(); }
    int size() const { return static_cast<int>(persons.size()); }
    Person* person(int place) const { return persons[static_cast<size_t>(place)]; }
    // The place of a person's father or mother; -1 when the reference is "0" or names nobody.
    int father(int place) const { return person(place)->getFatherId() == "0" ? -1 : fathers[static_cast<size_t>(place)]; }
    int mother(int place) const { return person(place)->getMotherId() == "0" ? -1 : mothers[static_cast<size_t>(place)]; }
    // The persons naming the one at `place` as father or mother.
    const int* childrenBegin(int place) const { return children.data() + childrenStart[static_cast<size_t>(place)]; }
    const int* childrenEnd(int place) const { return children.data() + childrenStart[static_cast<size_t>(place) + 1]; }

private:
    // Tree order is the key order: a binary search finds an identifier's place.
    int placeOf(const std::string& personId) const {
        size_t low = 0, high = persons.size();
        while (low < high) {
            const size_t middle = (low + high) / 2;
            const int order = compareShortText(persons[middle]->getPersonId(), personId);
            if (order == 0) return static_cast<int>(middle);
            if (order < 0) low = middle + 1;
            else high = middle;
        }
        return -1;
    }
    // A person is the child of each person its parent references name, once when both name one.
    template <class F>
    void forEachParent(size_t child, F&& visit) const {
        if (fathers[child] >= 0) visit(fathers[child]);
        if (mothers[child] >= 0 && mothers[child] != fathers[child]) visit(mothers[child]);
    }

    const Pedigree* pedigree;
    std::vector<Person*> persons;
    std::vector<int> fathers, mothers;
    std::vector<int> childrenStart, children;
};

void appendBlock(std::ostringstream& report, const std::string& pedigreeId, const std::string& message) {
    report << "\n#### Pedigree " << pedigreeId << " ####\n" << message << "\n";
}

void appendPersonBlock(std::ostringstream& report, const Person* person, const std::string& message) {
    appendBlock(report, person->getPedigreeId(), message);
    report << "Father " << person->getFatherId() << " Mother " << person->getMotherId() << "\n"
           << "Child " << person->getPersonId() << "\n";
}

// Connectivity: marks grey everything reachable from the first founder through parent-child
// links; a pedigree without a founder is not checked.
bool isWhole(const FamilyIndex& family) {
    int start = -1;
    for (int place = 0; place < family.size(); ++place) {
        family.person(place)->grey = false;
        if (start < 0 && family.person(place)->isFounder()) start = place;
    }
    if (start < 0) return true;
    family.person(start)->grey = true;
    int greyCount = 1;
    std::vector<int> pending{start};
    auto reach = [&](int place) {
        if (place < 0 || family.person(place)->grey) return;
        family.person(place)->grey = true;
        ++greyCount;
        pending.push_back(place);
    };
    while (!pending.empty()) {
        const int current = pending.back();
        pending.pop_back();
        for (const int* child = family.childrenBegin(current); child != family.childrenEnd(current); ++child)
            reach(*child);
        reach(family.mother(current));
        reach(family.father(current));
    }
    return greyCount == family.size();
}

void personCheckFamilies(const FamilyIndex& family, int place, std::ostringstream& report, bool& personErrors) {
    const Person* person = family.person(place);
    if (person->isFounder()) return;
    auto error = [&](const char* message) {
        appendPersonBlock(report, person, message);
        personErrors = true;
    };
    if (person->getFatherId() == "0") {
        error("Error:   father id is 0 but mother id is not");
    } else if (family.father(place) < 0) {
        error("Error:  father is not found");
    } else {
        const Person* father = family.person(family.father(place));
        if (father->getSex() != "1") error("Error: father found but gender wrong");
        if (father == person) error("Error:  child id is same as father id");
    }
    if (person->getMotherId() == "0") {
        error("Error: mother id is 0 but father id is not");
    } else if (family.mother(place) < 0) {
        error("Error: mother is not found");
    } else {
        const Person* mother = family.person(family.mother(place));
        if (mother->getSex() != "2") error("Error:  mother found but gender wrong");
        if (mother == person) error("Error:  child id is same as mother id ");
    }
}

// Disjoint sets of graph nodes, joined edge by edge: an edge between two nodes already in
// one set closes a cycle.
class DisjointSets {
public:
    explicit DisjointSets(size_t n) : parent(n) {
        for (size_t i = 0; i < n; ++i) parent[i] = i;
    }
    size_t add() {
        parent.push_back(parent.size());
        return parent.size() - 1;
    }
    // Joins the sets of a and b; false when they were one set already.
    bool join(size_t a, size_t b) {
        a = root(a);
        b = root(b);
        if (a == b) return false;
        parent[a] = b;
        return true;
    }

private:
    size_t root(size_t x) {
        while (parent[x] != x) x = parent[x] = parent[parent[x]];  // path halving
        return x;
    }
    std::vector<size_t> parent;
};

// A marriage or consanguinity loop is a cycle in the marriage graph: its nodes are the
// persons and the parent couples, with an edge from each parent to the couple and from the
// couple to each of its children. One pass over the persons builds the graph's edges into
// disjoint sets, so a pedigree of n persons is searched in about n steps.
bool hasMarriageLoop(const FamilyIndex& family) {
    DisjointSets sets(static_cast<size_t>(family.size()));
    std::unordered_map<std::uint64_t, size_t> coupleNode;
    for (int child = 0; child < family.size(); ++child) {
        if (family.person(child)->isFounder()) continue;
        const int father = family.father(child), mother = family.mother(child);
        if (father < 0 || mother < 0) continue;  // reported by the per-person checks
        const size_t f = static_cast<size_t>(father), m = static_cast<size_t>(mother);
        const auto couple = coupleNode.emplace((static_cast<std::uint64_t>(f) << 32) | m, 0);
        if (couple.second) {
            couple.first->second = sets.add();
            if (!sets.join(f, couple.first->second) || !sets.join(m, couple.first->second)) return true;
        }
        if (!sets.join(static_cast<size_t>(child), couple.first->second)) return true;
    }
    return false;
}

}  // namespace

void Pedigrees::clearStructureCheck() {
    personErrors = false;
    topologyErrors = false;
    loopInPedigree = false;
    pedigreesWithLoops.clear();
    familyErrorReport.clear();
}

void Pedigrees::reportLoop(const std::string& pedigreeId) {
    std::cout << "(Atleast one marrige or consanguinty loop found from the pedigree " << pedigreeId << ")" << std::endl;
    loopsFound = true;
    pedigreesWithLoops.insert(pedigreeId);
}

void Pedigrees::reportCheckedStructure() {
    clearStructureCheck();
    pedigrees->forEach([&](const Pedigree* pedigree) {
        loopInPedigree = checkedPedigreesWithLoops->count(pedigree->getOriginalPedigreeId()) > 0;
        if (loopInPedigree) reportLoop(pedigree->getPedigreeId());
    });
}

bool Pedigrees::checkFamilies() {
    clearStructureCheck();

    // Every pedigree is indexed once, for the connectivity walk and then the per-person checks.
    std::vector<FamilyIndex> families;
    families.reserve(static_cast<size_t>(pedigrees->getCount()));
    pedigrees->forEach([&](const Pedigree* pedigree) {
        families.emplace_back(pedigree);
        if (isWhole(families.back())) return;
        topologyErrors = true;
        appendBlock(familyErrorReport, families.back().id(), "Error: this pedigree is not whole");
    });

    // Per-person checks of a pedigree that is not one family would mostly repeat that error.
    if (!topologyErrors) {
        for (const FamilyIndex& family : families) {
            if (family.size() < 3) {
                appendBlock(familyErrorReport, family.id(), "Error: pedigree contains less than 3 members");
                personErrors = true;
            }
            for (int place = 0; place < family.size(); ++place)
                personCheckFamilies(family, place, familyErrorReport, personErrors);
            loopInPedigree = hasMarriageLoop(family);
            if (loopInPedigree) reportLoop(family.id());
        }
    }

    std::cout << familyErrorReport.str();
    return topologyErrors || personErrors;
}

bool Pedigrees::hasLoop(const Pedigree* pedigree) const {
    // Nuclear pedigrees are numbered apart: an equal id names another pedigree.
    return pedigreesWithLoops.count(pedigree->getPedigreeId()) > 0 && pedigrees->find(pedigree->getPedigreeId()) == pedigree;
}

bool Pedigrees::writeFamilyErrors(const std::string& fileName) {
    if (!checkFamilies()) return false;
    File out;
    if (out.openForWriting(fileName)) {
        out.text << familyErrorReport.str();
        out.writeTextAndClose();
    }
    familyErrorReport.str("");
    familyErrorReport.clear();
    return true;
}
