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

// The column index of a genotype key ("0", "1", ...), or -1 when the key is not the plain
// decimal text of an index below markerCount (such a genotype is never looked up by index).
int columnOfKey(const std::string& key, int markerCount) {
    if (key.empty() || (key.size() > 1 && key[0] == '0')) return -1;
    long value = 0;
    for (char c : key) {
        if (c < '0' || c > '9') return -1;
        value = value * 10 + (c - '0');
        if (value >= markerCount) return -1;
    }
    return static_cast<int>(value);
}

// Counts one person's genotypes into the entries (index = column) in one walk of its marker tree.
class CatalogueCounter {
public:
    CatalogueCounter(const std::vector<MarkerInfo*>& entries, bool xlinked)
        : entries(entries), xlinked(xlinked) {}

    void countPerson(const Person* person) {
        founder = person->isFounder();
        // Only sex "1" is male; "2", "0" and anything else count as female.
        male = person->getSex() == "1";
        walk(person->getMarkerTree()->getRoot());
    }

private:
    void walk(const Marker* node) {
        if (!node || node->isNil()) return;
        // The walk waits on memory: start fetching the right subtree while the left one is counted.
        __builtin_prefetch(node->right);
        walk(node->left);
        const int column = columnOfKey(node->key, static_cast<int>(entries.size()));
        if (column >= 0) countGenotype(entries[static_cast<size_t>(column)], node);
        walk(node->right);
    }

    void countGenotype(MarkerInfo* entry, const Marker* genotype) {
        for (int k = 0; k < 2; ++k) {
            const std::string& name = genotype->getAllele(k);
            Allele* allele = entry->getAlleleWithName(name);
            if (!allele) {
                allele = new Allele(name);
                entry->addAllele(allele);
            }
            // A hemizygous X-linked male carries one copy; founders still count both positions.
            const int copy = xlinked && male && k == 1 ? 0 : 1;
            const int founderCopy = founder ? 1 : 0;
            const int maleCopy = male ? copy : 0;
            const int femaleCopy = male ? 0 : copy;
            entry->addCounts(copy, founderCopy, maleCopy, femaleCopy);
            allele->addCounts(copy, founderCopy, maleCopy, femaleCopy);
        }
    }

    const std::vector<MarkerInfo*>& entries;
    bool xlinked;
    bool founder = false;
    bool male = false;
};

}  // namespace

RBTree<MarkerInfo>* Pedigrees::buildMarkerInfo(const RBTree<Pedigree>* tree, const std::string& name) const {
    auto* catalogue = new RBTree<MarkerInfo>(new MarkerInfo(), name);
    if (!tree) return catalogue;
    // Entries for every column are made on the first person, so an index at which nobody is
    // typed still has its (empty) entry.
    std::vector<MarkerInfo*> entries;
    CatalogueCounter counter(entries, xlinked);
    tree->forEach([&](const Pedigree* pedigree) {
        pedigree->getPersonTree()->forEach([&](const Person* person) {
            if (entries.empty()) {
                for (int i = 0; i < markerCount; ++i) {
                    auto* entry = new MarkerInfo(IntToString(i));
                    catalogue->insert(entry);
                    entries.push_back(entry);
                }
            }
            counter.countPerson(person);
        });
    });
    for (MarkerInfo* entry : entries) {
        entry->sortAllelesVector();
        entry->addAllelesNewNames();
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

    // The genotype list runs i = 0..n-1, j = i..n-1, so the unordered pair (i, j) with i <= j
    // sits at i*n - i*(i-1)/2 + (j-i) after the start of the list just built.
    pedigrees->forEach([&](const Pedigree* pedigree) {
        pedigree->getPersonTree()->forEach([&](const Person* person) {
            const Marker* genotype = person->getMarker(markerIndex);
            if (!genotype) return;
            int i = positionOf(alleles, genotype->getAllele(0));
            int j = positionOf(alleles, genotype->getAllele(1));
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

std::string Pedigrees::getNewAlleleName(int position, const Marker* marker) const {
    const MarkerInfo* entry = markerInfo->find(marker->getIndex());
    if (!entry) return "nulli";
    const Allele* allele = entry->getAlleleWithName(marker->getAllele(position));
    if (!allele) return "-1";
    return allele->getAlleleNewName();
}
