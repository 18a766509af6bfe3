#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "model/rbtree.h"
#include "support/test_support.h"

namespace {

// A record that counts live instances, so ownership of elements and nil leaves shows.
struct Item : Object<Item> {
    static int alive;
    Item() { ++alive; }
    explicit Item(const std::string& k) : Object<Item>(k) { ++alive; }
    ~Item() override { --alive; }
};
int Item::alive = 0;

std::vector<std::string> inOrder(const RBTree<Item>& tree) {
    std::vector<std::string> keys;
    tree.forEach([&](const Item* item) { keys.push_back(item->key); });
    return keys;
}

// Black height of the subtree; a broken red-black rule or parent link below node is noted in problem.
int blackHeight(const Item* node, std::string* problem) {
    if (node->isNil()) {
        if (node->colour != "black") *problem = "red nil leaf";
        return 1;
    }
    if (node->left->parent != node || node->right->parent != node) *problem = "broken parent link at " + node->key;
    if (node->colour == "red" && (node->left->colour == "red" || node->right->colour == "red"))
        *problem = "red node with red child: " + node->key;
    const int left = blackHeight(node->left, problem);
    if (left != blackHeight(node->right, problem)) *problem = "unequal black heights below " + node->key;
    return left + (node->colour == "black" ? 1 : 0);
}

}  // namespace

TEST(RBTree, EmptyTreeByteWiseOrderAndRefusedDuplicate) {
    {
        RBTree<Item> empty(new Item(), "empty");
        EXPECT_EQ(empty.getCount(), 0);
        EXPECT_TRUE(empty.getRoot()->isNil());
        EXPECT_EQ(empty.find("NIL"), nullptr);  // the nil root is not an element
        EXPECT_TRUE(inOrder(empty).empty());
    }
    EXPECT_EQ(Item::alive, 0);

    RBTree<Item> tree(new Item(), "persons");
    for (const char* key : {"2", "10", "1", "B", "a", "A"}) ASSERT_TRUE(tree.insert(new Item(key)));
    EXPECT_EQ(inOrder(tree), (std::vector<std::string>{"1", "10", "2", "A", "B", "a"}));
    Item* first = tree.find("10");
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(tree.find("3"), nullptr);

    Item duplicate("10");  // a refused insert leaves the record to its caller
    EXPECT_FALSE(tree.insert(&duplicate));
    EXPECT_EQ(tree.getCount(), 6);
    EXPECT_EQ(tree.find("10"), first);
    EXPECT_EQ(duplicate.parent, nullptr);
}

TEST(RBTree, InvariantsAndOwnershipAfterManyInserts) {
    std::vector<std::string> keys;
    for (int i = 0; i < 500; ++i) keys.push_back(std::to_string(i * 7919 % 1009));
    std::shuffle(keys.begin(), keys.end(), std::mt19937(12345));
    // Ascending runs, the worst case of an unbalanced tree, with every key repeated three times.
    for (int i = 0; i < 200; ++i) keys.push_back("z" + std::string(static_cast<size_t>(i % 50 + 1), 'a'));
    {
        RBTree<Item> tree(new Item(), "many");
        std::vector<std::string> distinct;
        for (const auto& key : keys) {
            const bool fresh = std::find(distinct.begin(), distinct.end(), key) == distinct.end();
            Item* item = new Item(key);
            const bool accepted = tree.insert(item);
            EXPECT_EQ(accepted, fresh) << key;
            if (fresh) distinct.push_back(key);
            if (!accepted) delete item;
        }
        const int n = static_cast<int>(distinct.size());
        EXPECT_EQ(tree.getCount(), n);
        EXPECT_EQ(tree.getRoot()->colour, "black");
        std::string problem;
        EXPECT_LE(blackHeight(tree.getRoot(), &problem), 11);  // at most log2(n + 1) + 1
        EXPECT_EQ(problem, "");
        std::sort(distinct.begin(), distinct.end());
        EXPECT_EQ(inOrder(tree), distinct);
        for (const auto& key : distinct) EXPECT_NE(tree.find(key), nullptr);
        // Elements, one nil leaf per element plus one, and the root's parent sentinel.
        EXPECT_EQ(Item::alive, n + (n + 1) + 1);

        // Taken out in key order, unlinked, into another tree: the first is left empty with
        // its fresh nil root, the other holds every element under the same rules.
        std::vector<std::string> taken;
        RBTree<Item> other(new Item(), "other");
        tree.takeAll([&](Item* item) {
            taken.push_back(item->key);
            EXPECT_TRUE(item->left == nullptr && item->right == nullptr && item->parent == nullptr) << item->key;
            EXPECT_TRUE(other.insert(item)) << item->key;
        });
        EXPECT_EQ(taken, distinct);
        EXPECT_EQ(tree.getCount(), 0);
        EXPECT_TRUE(tree.getRoot()->isNil());
        EXPECT_EQ(tree.find(distinct.front()), nullptr);
        EXPECT_EQ(inOrder(other), distinct);
        blackHeight(other.getRoot(), &problem);
        EXPECT_EQ(problem, "");
        // The other tree's elements, leaves and sentinel, and the first tree's new nil root.
        EXPECT_EQ(Item::alive, n + (n + 1) + 1 + 1);
    }
    EXPECT_EQ(Item::alive, 0);
}

TEST(RBTree, AnElementKeyedNilIsAnElementLikeAnyOther) {
    RBTree<Item> tree(new Item(), "ids");
    for (const char* key : {"NIL", "B", "NIL", "A", "Z", "NILS"}) {
        auto* item = new Item(key);
        if (!tree.insert(item)) delete item;  // the second "NIL" is a duplicate
    }
    EXPECT_EQ(tree.getCount(), 5);
    ASSERT_NE(tree.find("NIL"), nullptr);
    EXPECT_EQ(tree.find("NIL")->key, "NIL");
    EXPECT_FALSE(tree.find("NIL")->isNil());
    EXPECT_EQ(inOrder(tree), (std::vector<std::string>{"A", "B", "NIL", "NILS", "Z"}));
    std::string problem;
    blackHeight(tree.getRoot(), &problem);
    EXPECT_EQ(problem, "");
}
