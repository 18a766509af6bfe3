// Family structure check: every pedigree one connected family of at least three members,
// parent references resolving to persons of the right sex, and the search for marriage or
// consanguinity loops that the linkage runs must break before FASTLINK sees the pedigree.

#include <cstdint>
#include <iostream>
#include <unordered_map>
#include <vector>

#include "model/file.h"
#include "model/pedigrees.h"

namespace {

// One pedigree's persons in tree order and, per person id, the persons naming it as father
// or mother (in tree order), so the walks need not rescan the pedigree for every person.
class FamilyIndex {
public:
    explicit FamilyIndex(const Pedigree* pedigree) : pedigree(pedigree) {
        pedigree->getPersonTree()->forEach([&](Person* person) { persons.push_back(person); });
        for (Person* person : persons) {
            children[person->getFatherId()].push_back(person);
            if (person->getMotherId() != person->getFatherId()) children[person->getMotherId()].push_back(person);
        }
    }

    const std::string& id() const { return pedigree->getPedigreeId(); }
    const std::vector<Person*>& all() const { return persons; }
    Person* find(const std::string& personId) const { return pedigree->getPerson(personId); }
    const std::vector<Person*>& childrenOf(const Person* parent) const {
        const auto found = children.find(parent->getPersonId());
        return found == children.end() ? none : found->second;
    }

private:
    const Pedigree* pedigree;
    std::vector<Person*> persons;
    std::unordered_map<std::string, std::vector<Person*>> children;
    const std::vector<Person*> none;
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
    Person* start = nullptr;
    for (Person* person : family.all()) {
        person->grey = false;
        if (!start && person->isFounder()) start = person;
    }
    if (!start) return true;
    start->grey = true;
    size_t greyCount = 1;
    std::vector<Person*> pending{start};
    auto reach = [&](Person* person) {
        if (!person || person->grey) return;
        person->grey = true;
        ++greyCount;
        pending.push_back(person);
    };
    while (!pending.empty()) {
        Person* current = pending.back();
        pending.pop_back();
        for (Person* child : family.childrenOf(current)) reach(child);
        if (current->getMotherId() != "0") reach(family.find(current->getMotherId()));
        if (current->getFatherId() != "0") reach(family.find(current->getFatherId()));
    }
    return greyCount == family.all().size();
}

void personCheckFamilies(const FamilyIndex& family, const Person* person, std::ostringstream& report,
                         bool& personErrors) {
    if (person->isFounder()) return;
    auto error = [&](const char* message) {
        appendPersonBlock(report, person, message);
        personErrors = true;
    };
    if (person->getFatherId() == "0") {
        error("Error:   father id is 0 but mother id is not");
    } else if (const Person* father = family.find(person->getFatherId()); !father) {
        error("Error:  father is not found");
    } else {
        if (father->getSex() != "1") error("Error: father found but gender wrong");
        if (father->getPersonId() == person->getPersonId()) error("Error:  child id is same as father id");
    }
    if (person->getMotherId() == "0") {
        error("Error: mother id is 0 but father id is not");
    } else if (const Person* mother = family.find(person->getMotherId()); !mother) {
        error("Error: mother is not found");
    } else {
        if (mother->getSex() != "2") error("Error:  mother found but gender wrong");
        if (mother->getPersonId() == person->getPersonId()) error("Error:  child id is same as mother id ");
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
    const std::vector<Person*>& persons = family.all();
    std::unordered_map<const Person*, size_t> node;
    node.reserve(persons.size());
    for (size_t i = 0; i < persons.size(); ++i) node.emplace(persons[i], i);
    DisjointSets sets(persons.size());
    std::unordered_map<std::uint64_t, size_t> coupleNode;
    for (const Person* child : persons) {
        if (child->isFounder()) continue;
        const Person* father = family.find(child->getFatherId());
        const Person* mother = family.find(child->getMotherId());
        if (!father || !mother) continue;  // reported by the per-person checks
        const size_t f = node.at(father), m = node.at(mother);
        const auto couple = coupleNode.emplace((static_cast<std::uint64_t>(f) << 32) | m, 0);
        if (couple.second) {
            couple.first->second = sets.add();
            if (!sets.join(f, couple.first->second) || !sets.join(m, couple.first->second)) return true;
        }
        if (!sets.join(node.at(child), couple.first->second)) return true;
    }
    return false;
}

}  // namespace

bool Pedigrees::checkFamilies() {
    personErrors = false;
    topologyErrors = false;
    loopInPedigree = false;
    pedigreesWithLoops.clear();
    familyErrorReport.clear();

    pedigrees->forEach([&](const Pedigree* pedigree) {
        const FamilyIndex family(pedigree);
        if (isWhole(family)) return;
        topologyErrors = true;
        appendBlock(familyErrorReport, family.id(), "Error: this pedigree is not whole");
    });

    // Per-person checks of a pedigree that is not one family would mostly repeat that error.
    if (!topologyErrors) {
        pedigrees->forEach([&](const Pedigree* pedigree) {
            const FamilyIndex family(pedigree);
            if (family.all().size() < 3) {
                appendBlock(familyErrorReport, family.id(), "Error: pedigree contains less than 3 members");
                personErrors = true;
            }
            for (const Person* person : family.all())
                personCheckFamilies(family, person, familyErrorReport, personErrors);
            loopInPedigree = hasMarriageLoop(family);
            if (loopInPedigree) {
                std::cout << "(Atleast one marrige or consanguinty loop found from the pedigree " << family.id()
                          << ")" << std::endl;
                loopsFound = true;
                pedigreesWithLoops.insert(family.id());
            }
        });
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
