// The loop search of the structure check: on random pedigrees it finds the loops that the
// earlier walk from every founder found (kept here as the reference), and it handles a
// pedigree of twenty thousand persons in one pass.

#include <random>
#include <set>
#include <unordered_map>

#include "pedigree/family_builder.h"

using namespace testing_support;
using family_builder::Row;

namespace {

// The earlier search: from each founder in turn, descend to children, across to partners
// and their other children, and up to the partners' parents; a person met twice in one
// founder's walk means a loop. Quadratic in the pedigree size.
class ReferenceLoopSearch {
public:
    explicit ReferenceLoopSearch(const Pedigree* pedigree) : pedigree(pedigree) {
        pedigree->getPersonTree()->forEach([&](Person* person) { persons.push_back(person); });
        for (Person* person : persons) {
            children[person->getFatherId()].push_back(person);
            if (person->getMotherId() != person->getFatherId()) children[person->getMotherId()].push_back(person);
        }
    }

    bool hasLoop() {
        for (Person* founder : persons) {
            if (loop) break;
            if (!founder->isFounder()) continue;
            for (Person* person : persons) person->blue = false;
            founder->blue = true;
            visit(founder);
        }
        return loop;
    }

private:
    Person* find(const std::string& id) const { return pedigree->getPerson(id); }
    const std::vector<Person*>& childrenOf(const Person* parent) const {
        const auto found = children.find(parent->getPersonId());
        return found == children.end() ? none : found->second;
    }
    bool markBlue(Person* person) {
        if (person->blue) loop = true;
        person->blue = true;
        return !loop;
    }
    void visit(Person* parent) {
        for (Person* child : childrenOf(parent)) {
            if (loop || !markBlue(child)) return;
            visit(child);
            if (loop) return;
            partner(parent, child);
        }
    }
    void partner(const Person* parent, const Person* child) {
        if (loop) return;
        Person* other = nullptr;
        if (child->getMotherId() == parent->getPersonId()) other = find(child->getFatherId());
        else if (child->getFatherId() == parent->getPersonId()) other = find(child->getMotherId());
        if (!other || other->blue) return;
        other->blue = true;
        otherChildren(other, parent);
        if (!loop) partnersParents(other);
    }
    void otherChildren(Person* other, const Person* parent) {
        for (Person* child : childrenOf(other)) {
            if (loop) return;
            if (child->getMotherId() == parent->getPersonId() || child->getFatherId() == parent->getPersonId()) continue;
            if (!markBlue(child)) return;
            visit(child);
            if (loop) return;
            partner(other, child);
        }
    }
    void partnersParents(Person* other) {
        if (Person* father = find(other->getFatherId())) {
            if (father->blue) return;
            father->blue = true;
            childrenOfParent(father, other);
        } else if (Person* mother = find(other->getMotherId()); mother && !mother->blue) {
            mother->blue = true;
            childrenOfParent(mother, other);
        }
    }
    void childrenOfParent(const Person* grandparent, const Person* except) {
        for (Person* child : childrenOf(grandparent)) {
            if (loop) return;
            if (child == except) continue;
            if (!markBlue(child)) return;
            visit(child);
        }
    }

    const Pedigree* pedigree;
    std::vector<Person*> persons;
    std::unordered_map<std::string, std::vector<Person*>> children;
    const std::vector<Person*> none;
    bool loop = false;
};

// A connected pedigree grown step by step: children of existing couples, spouses married in
// from outside, and now and then a couple of two persons already in the pedigree (which
// closes a marriage or consanguinity loop unless they were unrelated).
std::vector<Row> randomPedigree(std::mt19937& random, int steps) {
    std::vector<Row> rows{{"1", "0", "0", "1"}, {"2", "0", "0", "2"}, {"3", "1", "2", "1"}};
    std::vector<std::pair<std::string, std::string>> couples{{"1", "2"}};
    std::set<std::pair<std::string, std::string>> coupled{{"1", "2"}};
    auto pick = [&](size_t n) { return std::uniform_int_distribution<size_t>(0, n - 1)(random); };
    auto addChild = [&](const std::pair<std::string, std::string>& couple) {
        rows.push_back({std::to_string(rows.size() + 1), couple.first, couple.second, pick(2) ? "1" : "2"});
    };
    auto marry = [&](const std::string& father, const std::string& mother) {
        if (!coupled.insert({father, mother}).second) return;
        couples.push_back({father, mother});
        addChild(couples.back());
    };
    for (int step = 0; step < steps; ++step) {
        const int kind = std::uniform_int_distribution<int>(0, 9)(random);
        if (kind < 5) {
            addChild(couples[pick(couples.size())]);
        } else if (kind < 9) {
            const Row spouse = rows[pick(rows.size())];
            const std::string id = std::to_string(rows.size() + 1);
            rows.push_back({id, "0", "0", spouse.sex == "1" ? "2" : "1"});
            if (spouse.sex == "1") marry(spouse.id, id);
            else marry(id, spouse.id);
        } else {
            const Row a = rows[pick(rows.size())], b = rows[pick(rows.size())];
            if (a.sex != b.sex) marry(a.sex == "1" ? a.id : b.id, a.sex == "1" ? b.id : a.id);
        }
    }
    return rows;
}

bool loopFound(const std::vector<Row>& rows) {
    Pedigrees collection;
    family_builder::addPersons(collection, "1", rows);
    bool errors = true;
    captureOutput([&] { errors = collection.checkFamilies(); });
    EXPECT_FALSE(errors);
    return collection.isLoopsFound();
}

TEST(LoopSearch, FindsTheLoopsOfTheFounderWalksOnRandomPedigrees) {
    std::mt19937 random(20261123);
    int looped = 0;
    for (int trial = 0; trial < 400; ++trial) {
        const std::vector<Row> rows = randomPedigree(random, 4 + trial % 30);
        Pedigrees reference;
        const bool expected = ReferenceLoopSearch(family_builder::addPersons(reference, "1", rows)).hasLoop();
        looped += expected;
        const bool found = loopFound(rows);
        EXPECT_EQ(found, expected) << "trial " << trial;
        if (found != expected) break;
    }
    // The sample holds both kinds of pedigree in fair numbers.
    EXPECT_GT(looped, 40);
    EXPECT_LT(looped, 360);
}

TEST(LoopSearch, KnownShapes) {
    // Half-siblings (a man with two wives) and a grandparent couple: no loop.
    EXPECT_FALSE(loopFound({{"1", "0", "0", "1"}, {"2", "0", "0", "2"}, {"3", "0", "0", "2"}, {"4", "1", "2", "1"},
                            {"5", "1", "3", "2"}, {"6", "0", "0", "2"}, {"7", "4", "6", "1"}}));
    // First cousins (children of two brothers) married: a consanguinity loop.
    EXPECT_TRUE(loopFound({{"1", "0", "0", "1"}, {"2", "0", "0", "2"}, {"3", "1", "2", "1"}, {"4", "1", "2", "1"},
                           {"5", "0", "0", "2"}, {"6", "0", "0", "2"}, {"7", "3", "5", "1"}, {"8", "4", "6", "2"},
                           {"9", "7", "8", "1"}}));
    // Two brothers married to two sisters, without common children: a marriage loop.
    EXPECT_TRUE(loopFound({{"1", "0", "0", "1"}, {"2", "0", "0", "2"}, {"3", "0", "0", "1"}, {"4", "0", "0", "2"},
                           {"5", "1", "2", "1"}, {"6", "1", "2", "1"}, {"7", "3", "4", "2"}, {"8", "3", "4", "2"},
                           {"9", "5", "7", "1"}, {"10", "6", "8", "2"}}));
}

// Ten thousand generations of one family line (20,001 persons), each son married to a woman
// from outside: no loop, until the line's last son marries a granddaughter of the first couple.
TEST(LoopSearch, AVeryDeepPedigreeIsSearchedInOnePass) {
    std::vector<Row> rows{{"f0", "0", "0", "1"}, {"m0", "0", "0", "2"}};
    const int generations = 10000;
    for (int g = 1; g <= generations; ++g) {
        const std::string father = "f" + std::to_string(g - 1), mother = "m" + std::to_string(g - 1);
        rows.push_back({"f" + std::to_string(g), father, mother, "1"});
        if (g < generations) rows.push_back({"m" + std::to_string(g), "0", "0", "2"});
    }
    EXPECT_FALSE(loopFound(rows));
    // A daughter of the first couple whose descendant marries into the line's end: one loop.
    rows.push_back({"d1", "f0", "m0", "2"});
    rows.push_back({"x", "0", "0", "1"});
    rows.push_back({"d2", "x", "d1", "2"});
    rows.push_back({"last", "f" + std::to_string(generations), "d2", "1"});
    EXPECT_TRUE(loopFound(rows));
}

}  // namespace
