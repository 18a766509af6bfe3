// Family structure check: every pedigree one connected family of at least three members,
// parent references resolving to persons of the right sex, and the search for marriage or
// consanguinity loops that the linkage runs must break before FASTLINK sees the pedigree.

#include <fstream>
#include <iostream>
#include <unordered_map>
#include <vector>

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

// Loop search from each founder in turn: descend to children, across to partners and their
// other children, and up to the partners' parents; meeting a person already visited (blue)
// from a founder's walk means the pedigree holds a marriage or consanguinity loop.
class LoopSearch {
public:
    LoopSearch(const FamilyIndex& family, bool& loopInPedigree, bool& loopsFound)
        : family(family), loopInPedigree(loopInPedigree), loopsFound(loopsFound) {}

    void findPedigreeLoops() {
        for (Person* founder : family.all()) {
            if (loopInPedigree) return;
            if (!founder->isFounder()) continue;
            resetBlueColors();
            founder->blue = true;
            findEveryChildForFounderOrPerson(founder);
        }
    }

private:
    void resetBlueColors() {
        for (Person* person : family.all()) person->blue = false;
    }

    void loopFound() {
        std::cout << "(Atleast one marrige or consanguinty loop found from the pedigree " << family.id() << ")"
                  << std::endl;
        loopInPedigree = true;
        loopsFound = true;
    }

    // Marks a person reached from a second side: false (and the loop reported) when already blue.
    bool markBlue(Person* person) {
        if (person->blue) {
            loopFound();
            return false;
        }
        person->blue = true;
        return true;
    }

    // Visit(P)
    void findEveryChildForFounderOrPerson(Person* parent) {
        for (Person* child : family.childrenOf(parent)) {
            if (loopInPedigree || !markBlue(child)) return;
            findEveryChildForFounderOrPerson(child);
            if (loopInPedigree) return;
            findPartner(parent, child);
        }
    }

    // Partner(P, K): the other parent of K.
    void findPartner(const Person* parent, const Person* child) {
        if (loopInPedigree) return;
        Person* partner = nullptr;
        if (child->getMotherId() == parent->getPersonId()) partner = family.find(child->getFatherId());
        else if (child->getFatherId() == parent->getPersonId()) partner = family.find(child->getMotherId());
        if (!partner || partner->blue) return;
        partner->blue = true;
        findEveryChildForPartner(partner, parent);
        if (!loopInPedigree) findEveryChildForPartnersParents(partner);
    }

    // OtherChildren(Q, P): Q's children with someone other than P.
    void findEveryChildForPartner(Person* partner, const Person* parent) {
        const std::string& parentId = parent->getPersonId();
        for (Person* child : family.childrenOf(partner)) {
            if (loopInPedigree) return;
            if (child->getMotherId() == parentId || child->getFatherId() == parentId) continue;
            if (!markBlue(child)) return;
            findEveryChildForFounderOrPerson(child);
            if (loopInPedigree) return;
            findPartner(partner, child);
        }
    }

    // PartnersParents(Q): the father's side when he is in the pedigree, else the mother's.
    void findEveryChildForPartnersParents(Person* partner) {
        if (Person* father = family.find(partner->getFatherId())) {
            if (father->blue) return;
            father->blue = true;
            findEveryChildForParentAndChild(father, partner);
        } else if (Person* mother = family.find(partner->getMotherId()); mother && !mother->blue) {
            mother->blue = true;
            findEveryChildForParentAndChild(mother, partner);
        }
    }

    // ChildrenOf(G, Q): G's children other than Q.
    void findEveryChildForParentAndChild(const Person* grandparent, const Person* partner) {
        for (Person* child : family.childrenOf(grandparent)) {
            if (loopInPedigree) return;
            if (child == partner) continue;
            if (!markBlue(child)) return;
            findEveryChildForFounderOrPerson(child);
        }
    }

    const FamilyIndex& family;
    bool& loopInPedigree;
    bool& loopsFound;
};

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
            loopInPedigree = false;
            LoopSearch(family, loopInPedigree, loopsFound).findPedigreeLoops();
            if (loopInPedigree) pedigreesWithLoops.insert(family.id());
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
    std::ofstream out(fileName, std::ios::out | std::ios::trunc);
    if (out) out << familyErrorReport.str();
    else std::cout << "Error: Unable to open " << fileName << " for writing!" << std::endl;
    familyErrorReport.str("");
    familyErrorReport.clear();
    return true;
}
