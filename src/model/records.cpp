#include "model/records.h"

#include <cstdlib>
#include <new>

#if VARKEL_POOLED_RECORDS
namespace {

// Marker storage: slots cut in turn from large chunks, freed slots kept on a list for reuse,
// and all chunks released together once the last Marker is gone. The program has one thread.
class MarkerPool {
public:
    void* allocate() {
        void* slot = freeSlots;
        if (slot) {
            freeSlots = freeSlots->next;
        } else {
            if (unused == end) addChunk();  // may throw std::bad_alloc, leaving the pool as it was
            slot = unused;
            unused += kSlotSize;
        }
        ++live;
        return slot;
    }

    void release(void* storage) {
        Link* slot = static_cast<Link*>(storage);
        slot->next = freeSlots;
        freeSlots = slot;
        if (--live == 0) releaseChunks();
    }

private:
    struct Link {
        Link* next;
    };
    static constexpr std::size_t kSlotSize = sizeof(Marker);
    static constexpr std::size_t kSlotsPerChunk = 4096;
    static_assert(kSlotSize >= sizeof(Link) && kSlotSize % alignof(Link) == 0, "a slot must hold a link");

    // The first slot of each chunk links it to the chunk made before.
    void addChunk() {
        char* chunk = static_cast<char*>(::operator new(kSlotSize * kSlotsPerChunk));
        reinterpret_cast<Link*>(chunk)->next = chunks;
        chunks = reinterpret_cast<Link*>(chunk);
        unused = chunk + kSlotSize;
        end = chunk + kSlotSize * kSlotsPerChunk;
    }

    void releaseChunks() {
        while (chunks) {
            Link* previous = chunks->next;
            ::operator delete(chunks);
            chunks = previous;
        }
        freeSlots = nullptr;
        unused = end = nullptr;
    }

    Link* chunks = nullptr;
    Link* freeSlots = nullptr;
    char* unused = nullptr;  // the rest of the newest chunk
    char* end = nullptr;
    std::size_t live = 0;
};

// No destructor: a Marker destroyed late in the program's exit still finds its pool intact.
MarkerPool markerPool;

}  // namespace

// A class derived from Marker has blocks of another size: those go to the general allocator.
void* Marker::operator new(std::size_t size) {
    return size == sizeof(Marker) ? markerPool.allocate() : ::operator new(size);
}

void Marker::operator delete(void* storage, std::size_t size) noexcept {
    if (size == sizeof(Marker)) markerPool.release(storage);
    else ::operator delete(storage);
}
#endif

Phenotype::Phenotype(const std::string& name, const std::string& value)
    : Object<Phenotype>(name), name(name), value(value) {}

Marker::Marker(const std::string& key, const std::string& a, const std::string& b, bool isGenotype)
    : Object<Marker>(key) {
    if (isGenotype) {
        index = key;
        allele1 = a;
        allele2 = b;
    } else {
        setName(key);
        setChromosome(a);
        setPosition(b);
    }
}

Marker::Marker(const std::string& index, std::string_view a, std::string_view b)
    : Object<Marker>(index), allele1(a), allele2(b), index(index) {}

double Marker::getPosition() const { return std::strtod(getPositionText().c_str(), nullptr); }

const std::string& Marker::mapText(std::string MapFields::*field) const {
    static const std::string none;
    return map ? (*map).*field : none;
}

void Marker::setMapText(std::string MapFields::*field, const std::string& value) {
    if (!map) {
        if (value.empty()) return;  // an absent field reads empty already
        map = std::make_unique<MapFields>();
    }
    (*map).*field = value;
}

Person::Person(const std::string& pedigreeId, const std::string& personId, const std::string& fatherId,
               const std::string& motherId, const std::string& sex)
    : Object<Person>(personId),
      pedigreeId(pedigreeId),
      personId(personId),
      fatherId(fatherId),
      motherId(motherId),
      FOID("-999"),
      sex(sex),
      phenotypeTree(new RBTree<Phenotype>(new Phenotype(), personId)),
      markerTree(new RBTree<Marker>(new Marker(), personId)) {}

Person::~Person() {
    delete phenotypeTree;
    delete markerTree;
}

bool Person::addPhenotype(Phenotype* p) { return phenotypeTree->insert(p); }

bool Person::addMarker(Marker* m) { return markerTree->insert(m); }

void Person::addPhenotypes(RBTree<Phenotype>* tree) {
    delete phenotypeTree;
    phenotypeTree = tree;
}

void Person::addMarkers(RBTree<Marker>* tree) {
    delete markerTree;
    markerTree = tree;
}

Phenotype* Person::getPhenotype(const std::string& name) const {
    return phenotypeTree ? phenotypeTree->find(name) : nullptr;
}

Marker* Person::getMarker(const std::string& key) const { return markerTree ? markerTree->find(key) : nullptr; }

Marker* Person::getMarkerWithIndex(const std::string& index) {
    markerSearchResult = nullptr;
    if (!markerTree) return nullptr;
    // Right subtree, node, left subtree: the index field need not equal the key.
    struct Search {
        static Marker* in(Marker* node, const std::string& index) {
            if (!node || node->isNil()) return nullptr;
            if (Marker* found = in(node->right, index)) return found;
            if (node->getIndex() == index) return node;
            return in(node->left, index);
        }
    };
    markerSearchResult = Search::in(markerTree->getRoot(), index);
    return markerSearchResult;
}

const std::string& Person::getPersonInfo() {
    std::string info = pedigreeId + "\t" + personId + "\t" + fatherId + "\t" + motherId + "\t";
    if (FOID != "-999") info += FOID + "\t" + NPSID + "\t" + NMSID + "\t" + sex + "\t" + probandStatus + "\t";
    else info += sex + "\t";
    personInfo = info;
    return personInfo;
}

Pedigree::Pedigree(const std::string& pedigreeId)
    : Object<Pedigree>(pedigreeId), pedigreeId(pedigreeId), personTree(new RBTree<Person>(new Person(), pedigreeId)) {}

Pedigree::~Pedigree() { delete personTree; }

Person* Pedigree::getPerson(const std::string& id) const { return personTree ? personTree->find(id) : nullptr; }

bool Pedigree::addPerson(Person* p) { return p && personTree && personTree->insert(p); }

Allele::Allele(const std::string& name) : alleleName(name) {}

void Allele::addCount(const std::string& group) {
    if (group == "all") ++all;
    else if (group == "founders") ++founders;
    else if (group == "males") ++males;
    else if (group == "females") ++females;
}

int Allele::getAlleleCount(const std::string& group) const {
    if (group == "all") return all;
    if (group == "founders") return founders;
    if (group == "males") return males;
    if (group == "females") return females;
    return 0;
}

RBTree<Phenotype>* copyPhenotypeTree(const RBTree<Phenotype>* source, const std::string& treeName) {
    auto* copy = new RBTree<Phenotype>(new Phenotype(), treeName);
    if (source)
        source->forEach([&](const Phenotype* p) { copy->insert(new Phenotype(p->getName(), p->getValue())); });
    return copy;
}

RBTree<Marker>* copyMarkerTree(const RBTree<Marker>* source, const std::string& treeName) {
    auto* copy = new RBTree<Marker>(new Marker(), treeName);
    if (source)
        source->forEach([&](const Marker* m) {
            auto* genotype = new Marker(m->key, m->getAllele(0), m->getAllele(1), true);
            genotype->setIndex(m->getIndex());
            genotype->setName(m->getName());
            copy->insert(genotype);
        });
    return copy;
}
