// The allele catalogue: per marker column, the alleles seen with their counts among all
// persons, founders, males and females, their new names 1..n, and on demand the genotype
// table with expected counts.

#include <utility>
#include <vector>

#include "driver/utilities.h"
#include "model/pedigrees.h"
#include "pedigree/marker_info.h"

namespace {

const std::string kAll = "all";
const std::string kFounders = "founders";

// Counts allele copies by marker and allele code, then makes the entries' alleles in the order
// the names were first seen, as a walk over the persons in tree order meets them. A copy is
// counted once, under its kind (founder or not, male or not, first or second position); the
// entries' tallies are sums over the kinds.
class CatalogueCounter {
public:
    CatalogueCounter(const GenotypeStore& store, bool xlinked) : store(store), xlinked(xlinked) {
        // One flat table: the slots of marker m start at firstSlot[m], one per code.
        size_t slots = 0;
        for (int m = 0; m < store.getMarkerCount(); ++m) {
            firstSlot.push_back(slots);
            slots += static_cast<size_t>(store.getAlleleNameCount(m)) + 1;
        }
        copies.assign(slots * kKinds, 0);
        seen.assign(slots, 0);
        firstSeen.resize(static_cast<size_t>(store.getMarkerCount()));
    }

    void countPerson(const Person* person) {
        const int end = person->endGenotypeMarker();
        if (person->firstGenotypeMarker() >= end) return;
        // Only sex "1" is male; "2", "0" and anything else count as female.
        const size_t kind = (person->isFounder() ? kFounder : 0) + (person->getSex() == "1" ? kMale : 0);
        const GenotypeCodes* codes = person->genotypeCodes();
        for (int m = person->firstGenotypeMarker(); m < end; ++m) {
            const GenotypeCodes genotype = codes[m];
            if (!genotype.isTyped()) continue;
            count(m, genotype.first, kind);
            count(m, genotype.second, kind + kSecond);
        }
    }

    void fillEntry(MarkerInfo* entry, int marker) const {
        for (AlleleCode code : firstSeen[static_cast<size_t>(marker)]) {
            const int* kinds = &copies[(firstSlot[static_cast<size_t>(marker)] + code) * kKinds];
            int all = 0, founders = 0, males = 0, females = 0;
            for (size_t kind = 0; kind < kKinds; ++kind) {
                const int n = kinds[kind];
                const bool male = kind & kMale;
                // A hemizygous X-linked male carries one copy of his second allele position;
                // founders still count both positions.
                const int counted = xlinked && male && (kind & kSecond) ? 0 : n;
                all += counted;
                if (kind & kFounder) founders += n;
                if (male) males += counted;
                else females += n;
            }
            auto* allele = new Allele(store.getAlleleName(marker, code));
            allele->addCounts(all, founders, males, females);
            entry->addAllele(allele);
            entry->addCounts(all, founders, males, females);
        }
    }

private:
    static constexpr size_t kSecond = 1, kMale = 2, kFounder = 4, kKinds = 8;

    void count(int marker, AlleleCode code, size_t kind) {
        const size_t slot = firstSlot[static_cast<size_t>(marker)] + code;
        ++copies[slot * kKinds + kind];
        if (!seen[slot]) {
            seen[slot] = 1;
            firstSeen[static_cast<size_t>(marker)].push_back(code);
        }
    }

    const GenotypeStore& store;
    bool xlinked;
    std::vector<size_t> firstSlot;
    std::vector<int> copies;  // per slot, the copies of each kind
    std::vector<char> seen;
    std::vector<std::vector<AlleleCode>> firstSeen;
};

}  // namespace

RBTree<MarkerInfo>* Pedigrees::buildMarkerInfo(const RBTree<Pedigree>* tree, const std::string& name) const {
    auto* catalogue = new RBTree<MarkerInfo>(new MarkerInfo(), name);
    if (!tree) return catalogue;
    CatalogueCounter counter(genotypeStore, xlinked);
    bool anyPerson = false;
    tree->forEach([&](const Pedigree* pedigree) {
        pedigree->getPersonTree()->forEach([&](const Person* person) {
            anyPerson = true;
            counter.countPerson(person);
        });
    });
    // With a person, every column has its entry, so an index at which nobody is typed still
    // has its (empty) one.
    if (!anyPerson) return catalogue;
    for (int i = 0; i < markerCount; ++i) {
        auto* entry = new MarkerInfo(IntToString(i));
        if (i < genotypeStore.getMarkerCount()) counter.fillEntry(entry, i);
        entry->sortAllelesVector();
        entry->addAllelesNewNames();
        catalogue->insert(entry);
    }
    return catalogue;
}

void Pedigrees::createMarkerInfo() {
    RBTree<MarkerInfo>* rebuilt = buildMarkerInfo(pedigrees, "markersinfo");
    delete markerInfo;
    markerInfo = rebuilt;
}

// Position of an allele name in the sorted allele list, or -1.
static int positionOf(const std::vector<Allele*>& alleles, const std::string& name) {
    for (size_t i = 0; i < alleles.size(); ++i)
        if (alleles[i]->getAlleleName() == name) return static_cast<int>(i);
    return -1;
}

void Pedigrees::countMarkersGenotypes(const std::string& markerIndex) {
    MarkerInfo* entry = markerInfo->find(markerIndex);
    if (!entry) return;
    const size_t firstNew = entry->getGenotypes().size();
    entry->createMarkerGenotypes();
    const std::vector<Genotype*> genotypes = entry->getGenotypes();
    const std::vector<Allele*> alleles = entry->getAlleles();
    const int n = static_cast<int>(alleles.size());

    const int marker = markerColumnOfKey(markerIndex, genotypeStore.getMarkerCount());
    if (marker < 0) return;
    // The position in the sorted allele list of each allele code, looked up on first use.
    const int unknown = -2;
    std::vector<int> positions;
    auto positionOfCode = [&](AlleleCode code) {
        if (code >= positions.size()) positions.resize(code + size_t{1}, unknown);
        int& position = positions[code];
        if (position == unknown) position = positionOf(alleles, genotypeStore.getAlleleName(marker, code));
        return position;
    };
    // The genotype list runs i = 0..n-1, j = i..n-1, so the unordered pair (i, j) with i <= j
    // sits at i*n - i*(i-1)/2 + (j-i) after the start of the list just built.
    pedigrees->forEach([&](const Pedigree* pedigree) {
        pedigree->getPersonTree()->forEach([&](const Person* person) {
            const GenotypeCodes genotype = person->getGenotype(marker);
            if (!genotype.isTyped()) return;
            int i = positionOfCode(genotype.first);
            int j = positionOfCode(genotype.second);
            if (i < 0 || j < 0) return;
            if (i > j) std::swap(i, j);
            Genotype* match = genotypes[firstNew + static_cast<size_t>(i * n - i * (i - 1) / 2 + (j - i))];
            match->addGenotypeCount(kAll);
            if (person->isFounder()) match->addGenotypeCount(kFounders);
        });
    });

    for (const std::string* type : {&kAll, &kFounders}) {
        const double observed = entry->getGenotypeCount(*type);
        for (Genotype* genotype : genotypes) {
            const std::string first = genotype->getAllele(0);
            const std::string second = genotype->getAllele(1);
            const double p = entry->getAlleleFreqWithName(first, *type);
            const double q = entry->getAlleleFreqWithName(second, *type);
            const double frequency = first == second ? p * p : 2.0 * p * q;
            genotype->setGenotypeFreq(frequency, *type);
            genotype->setExpectedGenotypeCount(observed * frequency, *type);
        }
    }
}

// "All" allele frequencies of an entry, or an empty list when the marker has no entry.
static std::vector<double> allFrequencies(const RBTree<MarkerInfo>* catalogue, const std::string& markerIndex) {
    std::vector<double> frequencies;
    const MarkerInfo* entry = catalogue->find(markerIndex);
    if (!entry) return frequencies;
    for (int i = 0; i < entry->getAlleleCount(); ++i) frequencies.push_back(entry->getAlleleFreq(i, kAll));
    return frequencies;
}

static double heterozygosityOf(const std::vector<double>& p) {
    double homozygous = 0.0;
    for (double pi : p) homozygous += pi * pi;
    return 1.0 - homozygous;
}

double Pedigrees::getHeterozygosity(const std::string& markerIndex) const {
    const std::vector<double> p = allFrequencies(markerInfo, markerIndex);
    if (p.empty()) return -1.1;
    return heterozygosityOf(p);
}

double Pedigrees::getPolymorphismInformationContent(const std::string& markerIndex) const {
    const std::vector<double> p = allFrequencies(markerInfo, markerIndex);
    if (p.empty()) return -1.1;
    double pairs = 0.0;
    for (size_t i = 0; i < p.size(); ++i)
        for (size_t j = i + 1; j < p.size(); ++j) pairs += p[i] * p[i] * p[j] * p[j];
    return heterozygosityOf(p) - 2.0 * pairs;
}

std::string Pedigrees::getNewAlleleName(const std::string& markerIndex, const std::string& alleleName) const {
    const MarkerInfo* entry = markerInfo->find(markerIndex);
    if (!entry) return "nulli";
    const Allele* allele = entry->getAlleleWithName(alleleName);
    if (!allele) return "-1";
    return allele->getAlleleNewName();
}
