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

// Black height of the subtree, or -1 when a red-black rule is broken below node.
int blackHeight(const Item* node, std::string* problem) {
    if (node->isNil()) {
        if (node->colour != "black") *problem = "red nil leaf";
        return 1;
    }
    if (node->left->parent != node || node->right->parent != node) *problem = "broken parent link at " + node->key;
    if (!node->left->isNil() && node->left->key >= node->key) *problem = "left key not smaller at " + node->key;
    if (!node->right->isNil() && node->right->key <= node->key) *problem = "right key not larger at " + node->key;
    if (node->colour == "red" && (node->left->colour == "red" || node->right->colour == "red"))
        *problem = "red node with red child: " + node->key;
    const int left = blackHeight(node->left, problem);
    const int right = blackHeight(node->right, problem);
    if (left != right) *problem = "unequal black heights below " + node->key;
    return left + (node->colour == "black" ? 1 : 0);
}

}  // namespace

TEST(RBTree, EmptyTreeAndByteWiseKeyOrder) {
    {
        RBTree<Item> tree(new Item(), "empty");
        EXPECT_EQ(tree.getCount(), 0);
        EXPECT_TRUE(tree.getRoot()->isNil());
        EXPECT_EQ(tree.find("1"), nullptr);
        EXPECT_EQ(tree.find("NIL"), nullptr);  // the nil root is not an element
        EXPECT_TRUE(inOrder(tree).empty());
        EXPECT_EQ(tree.getName(), "empty");
    }
    EXPECT_EQ(Item::alive, 0);

    RBTree<Item> tree(new Item(), "persons");
    for (const char* key : {"2", "10", "1", "B", "a", "A"}) ASSERT_TRUE(tree.insert(new Item(key)));
    EXPECT_EQ(inOrder(tree), (std::vector<std::string>{"1", "10", "2", "A", "B", "a"}));
    ASSERT_NE(tree.find("10"), nullptr);
    EXPECT_EQ(tree.find("10")->key, "10");
    EXPECT_EQ(tree.find("3"), nullptr);
    EXPECT_EQ(tree.getRoot()->colour, "black");
}

TEST(RBTree, DuplicateKeyIsRefusedAndCallerKeepsTheRecord) {
    RBTree<Item> tree(new Item(), "pedigree 1");
    Item* first = new Item("7");
    ASSERT_TRUE(tree.insert(first));
    ASSERT_TRUE(tree.insert(new Item("8")));
    Item* duplicate = new Item("7");
    EXPECT_FALSE(tree.insert(duplicate));
    EXPECT_EQ(tree.getCount(), 2);
    EXPECT_EQ(tree.find("7"), first);
    EXPECT_EQ(duplicate->parent, nullptr);  // untouched by the refused insert
    EXPECT_EQ(inOrder(tree), (std::vector<std::string>{"7", "8"}));
    delete duplicate;
}

TEST(RBTree, InvariantsAndOwnershipAfterManyInserts) {
    std::vector<std::string> keys;
    for (int i = 0; i < 500; ++i) keys.push_back(std::to_string(i * 7919 % 1009));
    std::mt19937 shuffle(12345);
    std::shuffle(keys.begin(), keys.end(), shuffle);
    // Ascending runs are the classic worst case for an unbalanced tree.
    for (int i = 0; i < 200; ++i) keys.push_back("z" + std::string(static_cast<size_t>(i % 50 + 1), 'a'));
    {
        RBTree<Item> tree(new Item(), "many");
        int inserted = 0;
        std::vector<std::string> distinct;
        for (const auto& key : keys) {
            const bool fresh = std::find(distinct.begin(), distinct.end(), key) == distinct.end();
            Item* item = new Item(key);
            const bool accepted = tree.insert(item);
            EXPECT_EQ(accepted, fresh) << key;
            if (accepted) {
                distinct.push_back(key);
                ++inserted;
            } else {
                delete item;
            }
        }
        EXPECT_EQ(tree.getCount(), inserted);

        const Item* root = tree.getRoot();
        EXPECT_EQ(root->colour, "black");
        std::string problem;
        const int height = blackHeight(root, &problem);
        EXPECT_EQ(problem, "");
        // A red-black tree of n elements has a black height of at most log2(n + 1) + 1.
        EXPECT_LE(height, 11);

        std::sort(distinct.begin(), distinct.end());
        EXPECT_EQ(inOrder(tree), distinct);
        for (const auto& key : distinct) EXPECT_NE(tree.find(key), nullptr);

        // Elements, one nil leaf per element plus one, and the root's parent sentinel.
        EXPECT_EQ(Item::alive, inserted + (inserted + 1) + 1);
    }
    EXPECT_EQ(Item::alive, 0);
}
