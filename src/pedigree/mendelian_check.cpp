// Mendelian consistency check of autosomal codominant markers: every typed child against its
// typed parents, and, where a parent is untyped, the child's sibship against the alleles the
// parents could have carried.

#include <iostream>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "input/marker_map.h"
#include "model/file.h"
#include "model/pedigrees.h"
#include "model/short_text.h"

namespace {

// A person's genotypes in key order through a forward-only cursor: a child's markers are
// visited in key order, so each relative's genotypes are found in one pass over its tree.
class GenotypeCursor {
public:
    explicit GenotypeCursor(const Person* person) : current(leftmost(person->getMarkerTree()->getRoot())) {}

    // The genotype with this key, or null; keys asked for must not decrease.
    const Marker* seek(const std::string& key) {
        for (; current; current = successor(current)) {
            const int order = compareShortText(current->key, key);
            if (order == 0) return current;
            if (order > 0) return nullptr;
        }
        return nullptr;
    }

private:
    static bool isEnd(const Marker* node) { return !node || node->isNil(); }

    static const Marker* leftmost(const Marker* node) {
        if (isEnd(node)) return nullptr;
        while (!isEnd(node->left)) node = node->left;
        return node;
    }

    static const Marker* successor(const Marker* node) {
        if (!isEnd(node->right)) return leftmost(node->right);
        // The root's parent is the tree's nil sentinel.
        while (!isEnd(node->parent) && node == node->parent->right) node = node->parent;
        return isEnd(node->parent) ? nullptr : node->parent;
    }

    const Marker* current;
};

using AllelePair = std::pair<const std::string*, const std::string*>;
using AlleleSet = std::vector<const std::string*>;

bool contains(const AlleleSet& set, const std::string& allele) {
    for (const std::string* member : set)
        if (*member == allele) return true;
    return false;
}

void addUnique(AlleleSet& set, const std::string& allele) {
    if (!contains(set, allele)) set.push_back(&allele);
}

// Whether the sibship's genotypes can be split between two parental allele sets A and B of at
// most two alleles each (A starting with the alleles known from a typed parent), every
// genotype taking one allele from each set.
bool isConcistent(const std::vector<AllelePair>& genotypes, const AlleleSet& knownAlleles) {
    AlleleSet a = knownAlleles;
    AlleleSet b;
    const AllelePair* homozygote = nullptr;
    for (const AllelePair& genotype : genotypes) {
        if (*genotype.first == *genotype.second) {
            homozygote = &genotype;
            break;
        }
    }
    for (int pass = 1; pass <= 2; ++pass) {
        for (size_t i = 0; i < genotypes.size(); ++i) {
            const std::string& x = *genotypes[i].first;
            const std::string& y = *genotypes[i].second;
            if (i == 0) {
                if (homozygote) {
                    addUnique(a, *homozygote->first);
                    addUnique(b, *homozygote->first);
                } else if (a.empty() && b.empty()) {
                    a.push_back(&x);
                    b.push_back(&y);
                }
            }
            if ((contains(a, x) && contains(b, y)) || (contains(a, y) && contains(b, x))) continue;
            if (!contains(b, y) && contains(a, x) && b.size() <= 1) b.push_back(&y);
            else if (!contains(b, x) && contains(a, y) && b.size() <= 1) b.push_back(&x);
            else if (!contains(a, x) && contains(b, y) && a.size() <= 1) a.push_back(&x);
            else if (!contains(a, y) && contains(b, x) && a.size() <= 1) a.push_back(&y);
            else if (pass == 2) {
                if (contains(b, y) || contains(a, x) || a.size() > 1 || b.size() > 1) return false;
                a.push_back(&x);
                b.push_back(&y);
            }
        }
    }
    return true;
}

bool isUntypedAllele(const std::string& allele) { return allele.size() == 1 && allele[0] == '0'; }

std::string genotypeText(const Marker* genotype) {
    return genotype ? genotype->getAllele(0) + "/" + genotype->getAllele(1) : "0/0";
}

class MendelianCheck {
public:
    MendelianCheck(std::ostringstream& report, bool& errorFound, MarkerMap* markerMap)
        : report(report), errorFound(errorFound), markerMap(markerMap) {}

    void pedigreeCheckMendelianErrors(const Pedigree* pedigree) {
        std::vector<const Person*> persons;
        pedigree->getPersonTree()->forEach([&](const Person* person) { persons.push_back(person); });
        // Full sibships, each in tree order, found once for the pedigree rather than by a
        // scan of the pedigree for every child.
        sibships.clear();
        for (const Person* person : persons)
            if (person->getFatherId() != "0" && person->getMotherId() != "0")
                sibships[sibshipKey(person)].push_back(person);
        for (const Person* person : persons) personCheckMendelianErrors(pedigree, person);
    }

private:
    static std::string sibshipKey(const Person* person) {
        return person->getFatherId() + '\0' + person->getMotherId();
    }

    void personCheckMendelianErrors(const Pedigree* pedigree, const Person* person) {
        if (person->getFatherId() == "0" || person->getMotherId() == "0") return;
        father = pedigree->getPerson(person->getFatherId());
        mother = pedigree->getPerson(person->getMotherId());
        if (!father || !mother) return;
        child = person;
        pedigreeId = &pedigree->getPedigreeId();

        // Full siblings: same father id and mother id, in tree order.
        siblings.clear();
        siblingCursors.clear();
        for (const Person* other : sibships[sibshipKey(child)]) {
            if (other == child) continue;
            siblings.push_back(other);
            siblingCursors.emplace_back(other);
        }
        GenotypeCursor fatherCursor(father);
        GenotypeCursor motherCursor(mother);
        markercheckMendelianErrors(child->getMarkerTree()->getRoot(), fatherCursor, motherCursor);
    }

    // The child's genotypes in key order.
    void markercheckMendelianErrors(const Marker* node, GenotypeCursor& fatherCursor, GenotypeCursor& motherCursor) {
        if (!node || node->isNil()) return;
        markercheckMendelianErrors(node->left, fatherCursor, motherCursor);
        checkMendelianErrorsForPersonsFamily(node, fatherCursor.seek(node->key), motherCursor.seek(node->key));
        markercheckMendelianErrors(node->right, fatherCursor, motherCursor);
    }

    void checkMendelianErrorsForPersonsFamily(const Marker* genotype, const Marker* fatherGenotype,
                                              const Marker* motherGenotype) {
        marker = genotype;
        const std::string& c1 = genotype->getAllele(0);
        const std::string& c2 = genotype->getAllele(1);
        sibshipGenotypes.clear();
        if (isUntypedAllele(c1) != isUntypedAllele(c2)) {
            report << "Pedigree " << *pedigreeId << " Child " << child->getPersonId() << " Marker "
                   << genotype->getIndex() << ", marker is halftyped\n";
            errorFound = true;
        }
        if (fatherGenotype && motherGenotype) checkWithBothParents(fatherGenotype, motherGenotype);
        else if (fatherGenotype) checkWithOneParent(father, fatherGenotype);
        else if (motherGenotype) checkWithOneParent(mother, motherGenotype);
        else checkWithoutParents();
        typedSiblings.clear();
    }

    void checkWithBothParents(const Marker* fatherGenotype, const Marker* motherGenotype) {
        const std::string& c1 = marker->getAllele(0);
        const std::string& c2 = marker->getAllele(1);
        auto fromMother = [&](const std::string& c) {
            return sameShortText(c, motherGenotype->getAllele(0)) || sameShortText(c, motherGenotype->getAllele(1));
        };
        auto fromFather = [&](const std::string& c) {
            return sameShortText(c, fatherGenotype->getAllele(0)) || sameShortText(c, fatherGenotype->getAllele(1));
        };
        if ((fromMother(c1) && fromFather(c2)) || (fromMother(c2) && fromFather(c1))) return;
        writeBlock("Error: alleles not found from parents", genotypeText(fatherGenotype), genotypeText(motherGenotype),
                   false);
    }

    void checkWithOneParent(const Person* parent, const Marker* parentGenotype) {
        const std::string& c1 = marker->getAllele(0);
        const std::string& c2 = marker->getAllele(1);
        const std::string& p1 = parentGenotype->getAllele(0);
        const std::string& p2 = parentGenotype->getAllele(1);

        sibshipGenotypes.emplace_back(&c1, &c2);
        if (c1 != p1 && c1 != p2 && c2 != p1 && c2 != p2)
            writeOneParentBlock("Error: alleles not found from parent", parent, parentGenotype, false);
        alleleBound = 4;
        if (p1 == p2) {
            homozygoteAlleles.push_back(&p1);
            --alleleBound;
        }
        if (c1 != c2) {
            sibshipAlleles.push_back(&c1);
            sibshipAlleles.push_back(&c2);
        } else {
            if (homozygoteAlleles.empty() || *homozygoteAlleles.front() != c1) {
                homozygoteAlleles.push_back(&c1);
                --alleleBound;
            }
            sibshipAlleles.push_back(&c1);
        }
        findSisterAndBrothersForPerson();
        AlleleSet known;
        addUnique(known, p1);
        addUnique(known, p2);
        if (!isConcistent(sibshipGenotypes, known))
            writeOneParentBlock("Error: too many alleles found in childs LEVEL2 ", parent, parentGenotype, true);
        if (alleleBound < static_cast<int>(sibshipAlleles.size()))
            writeOneParentBlock("Error: too many alleles found in childs", parent, parentGenotype, true);
        sibshipAlleles.clear();
        homozygoteAlleles.clear();
    }

    void checkWithoutParents() {
        const std::string& c1 = marker->getAllele(0);
        const std::string& c2 = marker->getAllele(1);
        alleleBound = 4;
        sibshipGenotypes.emplace_back(&c1, &c2);
        if (c1 != c2) {
            sibshipAlleles.push_back(&c1);
            sibshipAlleles.push_back(&c2);
        } else {
            homozygoteAlleles.push_back(&c1);
            --alleleBound;
            sibshipAlleles.push_back(&c1);
        }
        findSisterAndBrothersForPerson();
        if (!isConcistent(sibshipGenotypes, AlleleSet()))
            writeBlock("Error: too many alleles found in childs LEVEL2", "0/0", "0/0", true);
        if (alleleBound < static_cast<int>(sibshipAlleles.size()))
            writeBlock("Error: too many alleles found in childs", "0/0", "0/0", true);
        sibshipAlleles.clear();
        homozygoteAlleles.clear();
    }

    // Adds the typed full siblings' genotypes to the sibship; the bound drops by one for every
    // distinct allele seen as a homozygote.
    void findSisterAndBrothersForPerson() {
        for (size_t i = 0; i < siblings.size(); ++i) {
            const Marker* genotype = siblingCursors[i].seek(marker->key);
            if (!genotype) continue;
            const std::string& s1 = genotype->getAllele(0);
            const std::string& s2 = genotype->getAllele(1);
            sibshipGenotypes.emplace_back(&s1, &s2);
            if (s1 == s2) {
                if (!contains(homozygoteAlleles, s1)) {
                    --alleleBound;
                    homozygoteAlleles.push_back(&s1);
                }
                addUnique(sibshipAlleles, s1);
            } else {
                addUnique(sibshipAlleles, s1);
                addUnique(sibshipAlleles, s2);
            }
            typedSiblings.emplace_back(siblings[i], genotype);
        }
    }

    // The typed parent is shown on the side its sex gives it, the other parent as untyped.
    void writeOneParentBlock(const std::string& message, const Person* parent, const Marker* parentGenotype,
                             bool withSiblings) {
        const bool shownAsFather = parent->getSex() == "1";
        const std::string shown = genotypeText(parentGenotype);
        writeBlock(message, shownAsFather ? shown : "0/0", shownAsFather ? "0/0" : shown, withSiblings);
    }

    void writeBlock(const std::string& message, const std::string& fatherText, const std::string& motherText,
                    bool withSiblings) {
        const std::string markerName = markerMap ? markerMap->getMarkerName(marker->getIndex()) : std::string();
        report << "\n#### Pedigree " << *pedigreeId << " Name " << markerName << " ####\n"
               << message << "\n"
               << "Father " << child->getFatherId() << ": " << fatherText << " Mother " << child->getMotherId()
               << ": " << motherText << "\n"
               << "Child " << child->getPersonId() << ": " << genotypeText(marker) << "\n";
        if (withSiblings)
            for (const auto& [sibling, genotype] : typedSiblings)
                report << "Child " << sibling->getPersonId() << ": " << genotypeText(genotype) << "\n";
        errorFound = true;
    }

    std::ostringstream& report;
    bool& errorFound;
    MarkerMap* markerMap;

    // The child and marker under test.
    const std::string* pedigreeId = nullptr;
    const Person* child = nullptr;
    const Person* father = nullptr;
    const Person* mother = nullptr;
    const Marker* marker = nullptr;
    std::unordered_map<std::string, std::vector<const Person*>> sibships;
    std::vector<const Person*> siblings;
    std::vector<GenotypeCursor> siblingCursors;

    // The sibship at the marker under test.
    std::vector<AllelePair> sibshipGenotypes;
    AlleleSet sibshipAlleles;
    AlleleSet homozygoteAlleles;
    int alleleBound = 4;
    std::vector<std::pair<const Person*, const Marker*>> typedSiblings;
};

}  // namespace

bool Pedigrees::checkMendelianErrors() {
    std::cout << "(Checking Mendelian consistency...";
    mendelianErrorFound = false;
    MendelianCheck check(mendelianErrorReport, mendelianErrorFound, markerMap);
    pedigrees->forEach([&](const Pedigree* pedigree) { check.pedigreeCheckMendelianErrors(pedigree); });
    std::cout << mendelianErrorReport.str() << "done)" << std::endl;
    return mendelianErrorFound;
}

bool Pedigrees::writeMendelianErrors(const std::string& fileName) {
    if (!checkMendelianErrors()) return false;
    File out;
    if (out.openForWriting(fileName)) {
        out.text << mendelianErrorReport.str();
        out.writeTextAndClose();
    }
    mendelianErrorReport.str("");
    mendelianErrorReport.clear();
    return mendelianErrorFound;
}
