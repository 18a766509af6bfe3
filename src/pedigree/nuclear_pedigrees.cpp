// Decomposition of every pedigree into nuclear pedigrees: one per pair of parents, holding
// the father (1), the mother (2) and their joint children (3, 4, ...), renumbered and linked
// with LINKAGE pointers so that the set can be written as a post-MAKEPED pedigree file.
// A person who is a child in one nuclear pedigree and a parent in another appears in both,
// as two independent copies. Each nuclear pedigree is labelled "<pedigree>-<k>": the user's
// id of its source pedigree and its number k within it.

#include <string>

#include "driver/utilities.h"
#include "model/pedigrees.h"

namespace {

// The walk over the source pedigrees; the two counters are the collection's own, so that
// they keep their meaning (next nuclear pedigree number, next person number) afterwards.
class NuclearWalk {
public:
    NuclearWalk(RBTree<Pedigree>* target, int& pedigreeNumber, int& personNumber)
        : nuclear(target), pedigreeNumber(pedigreeNumber), personNumber(personNumber) {}

    void pedigreeCreateNuclearPedigrees(const std::vector<const Pedigree*>& sources) {
        for (const Pedigree* source : sources) personCreateNuclearPedigrees(source);
    }

private:
    void personCreateNuclearPedigrees(const Pedigree* source) {
        familiesOfSource = 0;
        source->getPersonTree()->forEach([&](Person* person) {
            if (!person->isUsedAsChild() && person->getFatherId() != "0" && person->getMotherId() != "0")
                createNewNuclearPedigree(source, person);
        });
    }

    void createNewNuclearPedigree(const Pedigree* source, Person* child) {
        Person* father = source->getPerson(child->getFatherId());
        Person* mother = source->getPerson(child->getMotherId());
        // The structure check rejects pedigrees naming absent parents; should one slip
        // through, the child forms no family instead of a family with shifted numbers.
        if (!father || !mother) return;
        auto* family = new Pedigree(IntToString(pedigreeNumber));
        // Traceable to the input: the user's pedigree id and the family's number within it.
        const std::string& sourceId =
            source->getOriginalPedigreeId().empty() ? source->getPedigreeId() : source->getOriginalPedigreeId();
        family->setOriginalPedigreeId(sourceId + "-" + IntToString(++familiesOfSource));
        child->setUsedAsChild(true);
        father->setUsedAsParent(true);
        mother->setUsedAsParent(true);
        copyPerson(family, father);
        copyPerson(family, mother);
        copyPerson(family, child);
        findSistersAndBrothers(source, family, child);
        nuclear->insert(family);  // numbers are unique, so the insert always succeeds
        ++pedigreeNumber;
        personNumber = 1;
    }

    void findSistersAndBrothers(const Pedigree* source, Pedigree* family, const Person* first) {
        source->getPersonTree()->forEach([&](Person* person) {
            if (!person->isUsedAsChild() && person->getFatherId() == first->getFatherId() &&
                person->getMotherId() == first->getMotherId()) {
                person->setUsedAsChild(true);
                copyPerson(family, person);
            }
        });
    }

    void copyPerson(Pedigree* family, const Person* source) {
        const int k = personNumber;
        const std::string id = IntToString(k);
        const bool parent = k <= 2;
        auto* copy = new Person(family->getPedigreeId(), id, parent ? "0" : "1", parent ? "0" : "2", source->getSex());
        copy->setFOID(parent ? "3" : "0");
        copy->setNPSID("0");
        copy->setNMSID("0");
        copy->setProbandStatus(k == 1 ? "1" : "0");
        copy->addPhenotypes(copyPhenotypeTree(source->getPhenotypeTree(), "Master-Nuclear-Phenotype-Tree"));
        copy->shareGenotypes(*source);
        if (k >= 4) {
            // Children form a sibling chain 3, 4, 5, ... in copy order.
            if (Person* previous = family->getPerson(IntToString(k - 1))) {
                previous->setNPSID(id);
                previous->setNMSID(id);
            }
        }
        family->addPerson(copy);
        ++personNumber;
    }

    RBTree<Pedigree>* nuclear;
    int familiesOfSource = 0;
    int& pedigreeNumber;
    int& personNumber;
};

}  // namespace

RBTree<Pedigree>* Pedigrees::createNuclearPedigrees() {
    delete nuclearPedigrees;
    nuclearPedigrees = new RBTree<Pedigree>(new Pedigree(), "Master-Nuclear-TRee");
    nuclearPedigreeNumber = 1;
    nuclearPersonNumber = 1;
    NuclearWalk walk(nuclearPedigrees, nuclearPedigreeNumber, nuclearPersonNumber);
    walk.pedigreeCreateNuclearPedigrees(getPedigreesInInputOrder(false));
    return nuclearPedigrees;
}
