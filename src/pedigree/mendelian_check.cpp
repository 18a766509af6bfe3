// Mendelian consistency check of autosomal codominant markers: every typed child against its
// typed parents, and, where a parent is untyped, the child's sibship against the alleles the
// parents could have carried.

#include <algorithm>
#include <iostream>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "input/marker_map.h"
#include "model/file.h"
#include "model/tidy_table.h"
#include "model/pedigrees.h"
#include "driver/utilities.h"

namespace {

// Within one marker, equal allele codes are equal allele names.
using AllelePair = std::pair<AlleleCode, AlleleCode>;
using AlleleSet = std::vector<AlleleCode>;

// The alleles of one parent in the sibship test below, kept without allocation: the test
// lets a set grow to three alleles at most (two known ones and a homozygote's).
class ParentAlleles {
public:
    bool contains(AlleleCode allele) const {
        for (size_t i = 0; i < count; ++i)
            if (codes[i] == allele) return true;
        return false;
    }
    void push_back(AlleleCode allele) { codes[count++] = allele; }
    size_t size() const { return count; }
    bool empty() const { return count == 0; }

private:
    AlleleCode codes[4] = {};
    size_t count = 0;
};

bool contains(const AlleleSet& set, AlleleCode allele) {
    for (AlleleCode member : set)
        if (member == allele) return true;
    return false;
}
bool contains(const ParentAlleles& set, AlleleCode allele) { return set.contains(allele); }

template <class Set>
void addUnique(Set& set, AlleleCode allele) {
    if (!contains(set, allele)) set.push_back(allele);
}

// Whether the sibship's genotypes can be split between two parental allele sets A and B of at
// most two alleles each (A starting with the alleles known from a typed parent), every
// genotype taking one allele from each set.
bool isConcistent(const std::vector<AllelePair>& genotypes, const ParentAlleles& knownAlleles) {
    ParentAlleles a = knownAlleles;
    ParentAlleles b;
    const AllelePair* homozygote = nullptr;
    for (const AllelePair& genotype : genotypes) {
        if (genotype.first == genotype.second) {
            homozygote = &genotype;
            break;
        }
    }
    for (int pass = 1; pass <= 2; ++pass) {
        for (size_t i = 0; i < genotypes.size(); ++i) {
            const AlleleCode x = genotypes[i].first;
            const AlleleCode y = genotypes[i].second;
            if (i == 0) {
                if (homozygote) {
                    addUnique(a, homozygote->first);
                    addUnique(b, homozygote->first);
                } else if (a.empty() && b.empty()) {
                    a.push_back(x);
                    b.push_back(y);
                }
            }
            if ((contains(a, x) && contains(b, y)) || (contains(a, y) && contains(b, x))) continue;
            if (!contains(b, y) && contains(a, x) && b.size() <= 1) b.push_back(y);
            else if (!contains(b, x) && contains(a, y) && b.size() <= 1) b.push_back(x);
            else if (!contains(a, x) && contains(b, y) && a.size() <= 1) a.push_back(x);
            else if (!contains(a, y) && contains(b, x) && a.size() <= 1) a.push_back(y);
            else if (pass == 2) {
                if (contains(b, y) || contains(a, x) || a.size() > 1 || b.size() > 1) return false;
                a.push_back(x);
                b.push_back(y);
            }
        }
    }
    return true;
}

// The marker columns in the order of their keys as text ("0", "1", "10", "11", ..., "2"),
// the order in which the report lists a child's markers.
std::vector<int> markersInKeyOrder(int markerCount) {
    std::vector<std::pair<std::string, int>> keys;
    for (int m = 0; m < markerCount; ++m) keys.emplace_back(IntToString(m), m);
    std::sort(keys.begin(), keys.end());
    std::vector<int> order;
    for (const auto& key : keys) order.push_back(key.second);
    return order;
}

class MendelianCheck {
public:
    MendelianCheck(std::ostringstream& report, bool& errorFound, MarkerMap* markerMap, const GenotypeStore& store,
                   std::vector<Pedigrees::MendelianWipe>& offenders)
        : report(report), errorFound(errorFound), markerMap(markerMap), store(store), offenders(offenders),
          markerOrder(markersInKeyOrder(store.getMarkerCount())), positionInOrder(markerOrder.size()) {
        for (size_t position = 0; position < markerOrder.size(); ++position)
            positionInOrder[static_cast<size_t>(markerOrder[position])] = static_cast<int>(position);
        // A genotype with one allele named "0" is half-typed; the reader never stores one.
        for (int m = 0; m < store.getMarkerCount(); ++m) zeroAllele.push_back(store.findCode(m, "0"));
    }

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
        for (const Person* other : sibships[sibshipKey(child)])
            if (other != child) siblings.push_back(other);
        const int markers = store.getMarkerCount();
        if (!hasEveryMarker(child, markers) || !hasEveryMarker(father, markers) || !hasEveryMarker(mother, markers)) {
            for (int m : markerOrder) {
                const GenotypeCodes genotype = child->getGenotype(m);
                if (genotype.isTyped()) checkMendelianErrorsForPersonsFamily(m, genotype);
            }
            return;
        }
        // Nearly every typed genotype fits its typed parents and needs nothing more: one pass
        // in store order picks out the others, which are then checked in report order.
        const GenotypeCodes* childCodes = child->genotypeCodes();
        const GenotypeCodes* fatherCodes = father->genotypeCodes();
        const GenotypeCodes* motherCodes = mother->genotypeCodes();
        toCheck.clear();
        for (int m = 0; m < markers; ++m) {
            const GenotypeCodes genotype = childCodes[m];
            const bool fits = fitsTypedParents(genotype, fatherCodes[m], motherCodes[m]);
            const bool noZeroAllele = zeroAllele[static_cast<size_t>(m)] == kUntypedAllele;
            if (genotype.isTyped() & !(fits & noZeroAllele)) toCheck.push_back(positionInOrder[static_cast<size_t>(m)]);
        }
        std::sort(toCheck.begin(), toCheck.end());
        for (int position : toCheck) {
            const int m = markerOrder[static_cast<size_t>(position)];
            checkMendelianErrorsForPersonsFamily(m, childCodes[m]);
        }
    }

    static bool hasEveryMarker(const Person* person, int markers) {
        return person->firstGenotypeMarker() == 0 && person->endGenotypeMarker() == markers;
    }

    // Whether both parents are typed and the child has one allele of each. Worked out without
    // branches, since which alleles match is a matter of chance.
    static bool fitsTypedParents(GenotypeCodes child, GenotypeCodes father, GenotypeCodes mother) {
        auto fromMother = [&](AlleleCode c) { return (c == mother.first) | (c == mother.second); };
        auto fromFather = [&](AlleleCode c) { return (c == father.first) | (c == father.second); };
        return father.isTyped() & mother.isTyped() &
               ((fromMother(child.first) & fromFather(child.second)) | (fromMother(child.second) & fromFather(child.first)));
    }

    void checkMendelianErrorsForPersonsFamily(int markerColumn, GenotypeCodes genotype) {
        marker = markerColumn;
        childGenotype = genotype;
        sibshipGenotypes.clear();
        const AlleleCode zero = zeroAllele[static_cast<size_t>(marker)];
        if (zero != kUntypedAllele && (genotype.first == zero) != (genotype.second == zero)) {
            report << "Pedigree " << *pedigreeId << " Child " << child->getPersonId() << " Marker " << marker
                   << ", marker is halftyped\n";
            errorFound = true;
        }
        const GenotypeCodes fatherGenotype = father->getGenotype(marker);
        const GenotypeCodes motherGenotype = mother->getGenotype(marker);
        if (fatherGenotype.isTyped() && motherGenotype.isTyped()) checkWithBothParents(fatherGenotype, motherGenotype);
        else if (fatherGenotype.isTyped()) checkWithOneParent(father, fatherGenotype);
        else if (motherGenotype.isTyped()) checkWithOneParent(mother, motherGenotype);
        else checkWithoutParents();
        typedSiblings.clear();
    }

    void checkWithBothParents(GenotypeCodes fatherGenotype, GenotypeCodes motherGenotype) {
        if (fitsTypedParents(childGenotype, fatherGenotype, motherGenotype)) return;
        writeBlock("Error: alleles not found from parents", genotypeText(fatherGenotype), genotypeText(motherGenotype),
                   false);
    }

    void checkWithOneParent(const Person* parent, GenotypeCodes parentGenotype) {
        const AlleleCode c1 = childGenotype.first;
        const AlleleCode c2 = childGenotype.second;
        const AlleleCode p1 = parentGenotype.first;
        const AlleleCode p2 = parentGenotype.second;

        sibshipGenotypes.emplace_back(c1, c2);
        if (c1 != p1 && c1 != p2 && c2 != p1 && c2 != p2)
            writeOneParentBlock("Error: alleles not found from parent", parent, parentGenotype, false);
        alleleBound = 4;
        if (p1 == p2) {
            homozygoteAlleles.push_back(p1);
            --alleleBound;
        }
        if (c1 != c2) {
            sibshipAlleles.push_back(c1);
            sibshipAlleles.push_back(c2);
        } else {
            if (homozygoteAlleles.empty() || homozygoteAlleles.front() != c1) {
                homozygoteAlleles.push_back(c1);
                --alleleBound;
            }
            sibshipAlleles.push_back(c1);
        }
        findSisterAndBrothersForPerson();
        ParentAlleles known;
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
        const AlleleCode c1 = childGenotype.first;
        const AlleleCode c2 = childGenotype.second;
        alleleBound = 4;
        sibshipGenotypes.emplace_back(c1, c2);
        if (c1 != c2) {
            sibshipAlleles.push_back(c1);
            sibshipAlleles.push_back(c2);
        } else {
            homozygoteAlleles.push_back(c1);
            --alleleBound;
            sibshipAlleles.push_back(c1);
        }
        findSisterAndBrothersForPerson();
        if (!isConcistent(sibshipGenotypes, ParentAlleles()))
            writeBlock("Error: too many alleles found in childs LEVEL2", "0/0", "0/0", true);
        if (alleleBound < static_cast<int>(sibshipAlleles.size()))
            writeBlock("Error: too many alleles found in childs", "0/0", "0/0", true);
        sibshipAlleles.clear();
        homozygoteAlleles.clear();
    }

    // Adds the typed full siblings' genotypes to the sibship; the bound drops by one for every
    // distinct allele seen as a homozygote.
    void findSisterAndBrothersForPerson() {
        for (const Person* sibling : siblings) {
            const GenotypeCodes genotype = sibling->getGenotype(marker);
            if (!genotype.isTyped()) continue;
            const AlleleCode s1 = genotype.first;
            const AlleleCode s2 = genotype.second;
            sibshipGenotypes.emplace_back(s1, s2);
            if (s1 == s2) {
                if (!contains(homozygoteAlleles, s1)) {
                    --alleleBound;
                    homozygoteAlleles.push_back(s1);
                }
                addUnique(sibshipAlleles, s1);
            } else {
                addUnique(sibshipAlleles, s1);
                addUnique(sibshipAlleles, s2);
            }
            typedSiblings.emplace_back(sibling, genotype);
        }
    }

    std::string genotypeText(GenotypeCodes genotype) const {
        if (!genotype.isTyped()) return "0/0";
        return store.getAlleleName(marker, genotype.first) + "/" + store.getAlleleName(marker, genotype.second);
    }

    // The typed parent is shown on the side its sex gives it, the other parent as untyped.
    void writeOneParentBlock(const std::string& message, const Person* parent, GenotypeCodes parentGenotype,
                             bool withSiblings) {
        const bool shownAsFather = parent->getSex() == "1";
        const std::string shown = genotypeText(parentGenotype);
        writeBlock(message, shownAsFather ? shown : "0/0", shownAsFather ? "0/0" : shown, withSiblings);
    }

    void writeBlock(const std::string& message, const std::string& fatherText, const std::string& motherText,
                    bool withSiblings) {
        const std::string markerName = markerMap ? markerMap->getMarkerName(IntToString(marker)) : std::string();
        report << "\n#### Pedigree " << *pedigreeId << " Name " << markerName << " ####\n"
               << message << "\n"
               << "Father " << child->getFatherId() << ": " << fatherText << " Mother " << child->getMotherId()
               << ": " << motherText << "\n"
               << "Child " << child->getPersonId() << ": " << genotypeText(childGenotype) << "\n";
        if (withSiblings)
            for (const auto& [sibling, genotype] : typedSiblings)
                report << "Child " << sibling->getPersonId() << ": " << genotypeText(genotype) << "\n";
        errorFound = true;
        // A child at odds with its typed parents is the offender; a sibship that needs too
        // many parental alleles cannot name one: then the whole nuclear family is.
        if (!withSiblings) {
            offenders.push_back({child, marker, message});
            return;
        }
        for (const Person* member : {father, mother, child}) offenders.push_back({member, marker, message});
        for (const Person* sibling : siblings) offenders.push_back({sibling, marker, message});
    }

    std::ostringstream& report;
    bool& errorFound;
    MarkerMap* markerMap;
    const GenotypeStore& store;
    std::vector<Pedigrees::MendelianWipe>& offenders;
    const std::vector<int> markerOrder;
    std::vector<int> positionInOrder;  // per marker, its place in markerOrder
    std::vector<int> toCheck;          // places in markerOrder of the child's markers to check
    std::vector<AlleleCode> zeroAllele;  // per marker the code of the allele name "0", if any

    // The child and marker under test.
    const std::string* pedigreeId = nullptr;
    const Person* child = nullptr;
    const Person* father = nullptr;
    const Person* mother = nullptr;
    int marker = 0;
    GenotypeCodes childGenotype;
    std::unordered_map<std::string, std::vector<const Person*>> sibships;
    std::vector<const Person*> siblings;

    // The sibship at the marker under test.
    std::vector<AllelePair> sibshipGenotypes;
    AlleleSet sibshipAlleles;
    AlleleSet homozygoteAlleles;
    int alleleBound = 4;
    std::vector<std::pair<const Person*, GenotypeCodes>> typedSiblings;
};

}  // namespace

bool Pedigrees::checkMendelianErrors() {
    std::cout << "(Checking Mendelian consistency...";
    mendelianErrorFound = false;
    mendelianOffenders.clear();
    MendelianCheck check(mendelianErrorReport, mendelianErrorFound, markerMap, genotypeStore, mendelianOffenders);
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

// The check's error line without its "Error: " and trailing blanks.
static std::string reasonOf(const std::string& message) {
    const std::string prefix = "Error: ";
    std::string reason = message.compare(0, prefix.size(), prefix) == 0 ? message.substr(prefix.size()) : message;
    reason.erase(reason.find_last_not_of(' ') + 1);
    return reason;
}

bool Pedigrees::setMendelianErrorsMissing() {
    const std::string fileName = outputPrefix + "_mendel_wiped.tsv";
    TidyTable wiped({"pedigree", "person", "marker", "reason"});
    int wipedGenotypes = 0;
    // A genotype can be named by several errors: it is wiped and listed once.
    for (const MendelianWipe& offender : mendelianOffenders) {
        if (!offender.person->isTyped(offender.marker)) continue;
        genotypeStore.set(offender.marker, offender.person->getGenotypeRow(), {});
        ++wipedGenotypes;
        wiped.addRow({offender.person->getPedigreeId(), offender.person->getPersonId(),
                      markerMap->getMarkerName(IntToString(offender.marker)), reasonOf(offender.reason)});
    }
    std::cout << "(Mendelian errors: " << wipedGenotypes << " genotype(s) set to unknown (--set-me-missing), listed in "
              << fileName << ")" << std::endl;
    if (!wiped.write(fileName)) return false;
    // Unknown genotypes take no part in the check: with the offenders wiped the data are consistent.
    mendelianErrorReport.str("");
    checkMendelianErrors();
    mendelianErrorReport.str("");
    if (!validationOnly) createMarkerInfo();
    return !mendelianErrorFound;
}
