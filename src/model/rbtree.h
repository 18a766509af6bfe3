#pragma once
// String-keyed intrusive red-black tree holding every collection of records.
// Keys compare byte by byte ("10" sorts before "2"). Every leaf position holds its own
// nil element; a tree owns its elements, its nil leaves and the sentinel parent of the
// root. Walks are done by callers through the left and right links. A nil leaf is known by
// a mark the tree sets when it makes the leaf, not by its key: identifiers are arbitrary
// strings, so an element keyed "NIL" is an element like any other.

#include <string>
#include <string_view>

#include "model/short_text.h"  // the byte-wise key order, compared inline

template <class T>
class Object {
public:
    // A fresh record has no colour; the tree colours its elements and leaves.
    Object() : key("NIL") {}
    explicit Object(const std::string& k) : key(k) {}
    virtual ~Object() {
        // Destroying a tree waits on memory: fetch the right subtree while the left one goes.
        __builtin_prefetch(right);
        delete left;
        delete right;
    }
    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;

    bool isNil() const { return nilLeaf; }

    std::string key;
    std::string colour;
    T* left = nullptr;
    T* right = nullptr;
    T* parent = nullptr;
    bool grey = false;
    bool blue = false;
    bool red = false;

private:
    template <class>
    friend class RBTree;
    bool nilLeaf = false;  // set only by the tree on the leaves it makes
};

template <class T>
class RBTree {
public:
    RBTree(T* nil, std::string treeName) : name(std::move(treeName)), root(nil) { root->nilLeaf = true; }
    ~RBTree() {
        delete root;
        delete rootParent;
    }
    RBTree(const RBTree&) = delete;
    RBTree& operator=(const RBTree&) = delete;

    // Inserts z keyed by its key; false (tree unchanged, caller keeps z) on a duplicate key.
    bool insert(T* z) {
        const bool empty = root->isNil();
        T* y = nullptr;
        T* x = root;
        int order = 0;  // of z's key against y's
        while (!x->isNil()) {
            order = compareShortText(z->key, x->key);
            if (order == 0) return false;
            y = x;
            x = order < 0 ? x->left : x->right;
        }
        // The nil leaf that z replaces becomes z's left leaf; only the right one is new.
        T* replacedLeaf;
        if (empty) {
            rootParent = newNil();  // sentinel parent of the root
            z->parent = rootParent;
            replacedLeaf = root;  // the nil handed to the constructor, not yet coloured
            paint(replacedLeaf, "black");
            root = z;
        } else {
            z->parent = y;
            T*& side = order < 0 ? y->left : y->right;
            replacedLeaf = side;
            side = z;
        }
        z->left = replacedLeaf;
        z->right = newNil();
        z->left->parent = z;
        z->right->parent = z;
        paint(z, "red");
        insertFixup(z);
        ++count;
        return true;
    }

    T* find(const std::string& k) const {
        T* x = root;
        while (!x->isNil()) {
            const int order = compareShortText(k, x->key);
            if (order == 0) return x;
            x = order < 0 ? x->left : x->right;
        }
        return nullptr;
    }

    T* getRoot() const { return root; }
    int getCount() const { return count; }
    const std::string& getName() const { return name; }

    // In-order visit of every element (ascending key order).
    template <class F>
    void forEach(F&& visit) const { walk(root, visit); }

    // Hands every element, unlinked, to `take` in ascending key order, which then owns it;
    // the tree is left empty (a fresh nil root) and its nil leaves are released.
    template <class F>
    void takeAll(F&& take) {
        T* const first = root;
        root = newNil();
        delete rootParent;
        rootParent = nullptr;
        count = 0;
        takeSubtree(first, take);
    }

private:
    static T* newNil() {
        T* nil = new T();
        nil->nilLeaf = true;
        paint(nil, "black");
        return nil;
    }
    static bool isRed(const T* n) { return n && std::string_view(n->colour) == std::string_view("red", 3); }
    // The colour is replaced by a string built in place from the literal and moved in: both
    // steps compile inline to a few stores, where assigning the literal itself goes through
    // the library's general replace (measured: a tenth of the instructions of reading a file).
    static void paint(T* n, const char* colour) { n->colour = std::string(colour); }

    template <class F>
    static void takeSubtree(T* node, F& take) {
        if (node->isNil()) {
            delete node;
            return;
        }
        T* const left = node->left;
        T* const right = node->right;
        node->left = node->right = node->parent = nullptr;
        takeSubtree(left, take);
        take(node);
        takeSubtree(right, take);
    }

    template <class F>
    static void walk(T* node, F& visit) {
        if (!node || node->isNil()) return;
        walk(node->left, visit);
        visit(node);
        walk(node->right, visit);
    }

    bool isRoot(const T* n) const { return n == root; }

    void rotateLeft(T* x) {
        T* y = x->right;
        x->right = y->left;
        y->left->parent = x;
        y->parent = x->parent;
        if (isRoot(x)) root = y;
        else if (x == x->parent->left) x->parent->left = y;
        else x->parent->right = y;
        y->left = x;
        x->parent = y;
    }

    void rotateRight(T* x) {
        T* y = x->left;
        x->left = y->right;
        y->right->parent = x;
        y->parent = x->parent;
        if (isRoot(x)) root = y;
        else if (x == x->parent->right) x->parent->right = y;
        else x->parent->left = y;
        y->right = x;
        x->parent = y;
    }

    void insertFixup(T* z) {
        while (!isRoot(z) && isRed(z->parent)) {
            T* p = z->parent;
            T* g = p->parent;
            if (p == g->left) {
                T* uncle = g->right;
                if (isRed(uncle)) {
                    paint(p, "black");
                    paint(uncle, "black");
                    paint(g, "red");
                    z = g;
                } else {
                    if (z == p->right) {
                        z = p;
                        rotateLeft(z);
                        p = z->parent;
                        g = p->parent;
                    }
                    paint(p, "black");
                    paint(g, "red");
                    rotateRight(g);
                }
            } else {
                T* uncle = g->left;
                if (isRed(uncle)) {
                    paint(p, "black");
                    paint(uncle, "black");
                    paint(g, "red");
                    z = g;
                } else {
                    if (z == p->left) {
                        z = p;
                        rotateRight(z);
                        p = z->parent;
                        g = p->parent;
                    }
                    paint(p, "black");
                    paint(g, "red");
                    rotateLeft(g);
                }
            }
        }
        if (isRed(root)) paint(root, "black");
    }

    std::string name;
    T* root;
    T* rootParent = nullptr;
    int count = 0;
};
