// Writes a pre-makeped pedigree file with Mendelian-consistent genotypes, plus the matching
// map and model files, for the input-reading benchmarks.
//
//   make_pedigree_file <pedigrees> <markers> <pedigree file> <map file> <model file>
//   make_pedigree_file --one-pedigree <persons> <markers> <pedigree file> <map file> <model file>
//
// The first form writes three-generation families of 20 persons: two grandparents, their
// four children with four spouses, and ten grandchildren. The second writes one pedigree of
// the given number of persons without loops, grown from one couple: again and again a person
// of the pedigree marries a spouse from outside and they have one to three children, so that
// about a third of the persons are founders. Markers have 2 to 6 alleles with unequal
// frequencies; about 3% of genotypes are missing ("0 0"). A fixed seed makes the files
// reproducible.

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <algorithm>
#include <iostream>
#include <random>
#include <string>
#include <vector>

namespace {

struct Member {
    int father, mother, sex;  // parents are 1-based member numbers, 0 for founders
};

// Grandparents 1, 2; their children 3-6 with spouses 7-10; grandchildren 11-20.
const std::vector<Member> threeGenerations = {
    {0, 0, 1}, {0, 0, 2}, {1, 2, 1}, {1, 2, 2}, {1, 2, 1}, {1, 2, 2}, {0, 0, 2},
    {0, 0, 1}, {0, 0, 2}, {0, 0, 1}, {3, 7, 1}, {3, 7, 2}, {3, 7, 1}, {8, 4, 2},
    {8, 4, 1}, {5, 9, 2}, {5, 9, 1}, {5, 9, 2}, {10, 6, 1}, {10, 6, 2},
};

// One loop-free pedigree of n persons (n >= 3): marriages of members with spouses from outside.
std::vector<Member> onePedigree(int n, std::mt19937& random) {
    std::vector<Member> members = {{0, 0, 1}, {0, 0, 2}, {1, 2, 1}};
    std::vector<bool> married = {true, true, false};
    std::uniform_int_distribution<int> children(1, 3);
    while (static_cast<int>(members.size()) < n) {
        const int left = n - static_cast<int>(members.size());
        if (left == 1) {  // no room for a couple: one more child of the first couple
            members.push_back({1, 2, 2});
            break;
        }
        int member = std::uniform_int_distribution<int>(0, static_cast<int>(members.size()) - 1)(random);
        while (married[static_cast<size_t>(member)]) member = (member + 1) % static_cast<int>(members.size());
        married[static_cast<size_t>(member)] = true;
        const int spouseSex = members[static_cast<size_t>(member)].sex == 1 ? 2 : 1;
        members.push_back({0, 0, spouseSex});
        married.push_back(true);
        const int spouse = static_cast<int>(members.size());
        const int father = spouseSex == 1 ? spouse : member + 1, mother = spouseSex == 1 ? member + 1 : spouse;
        for (int k = std::min(children(random), left - 1); k > 0; --k) {
            members.push_back({father, mother, 1 + static_cast<int>(members.size() % 2)});
            married.push_back(false);
        }
    }
    return members;
}

}  // namespace

int main(int argc, char** argv) {
    const bool one = argc == 7 && std::string(argv[1]) == "--one-pedigree";
    if (argc != 6 && !one) {
        std::cerr << "usage: make_pedigree_file <pedigrees> <markers> <pedigree file> <map file> <model file>\n"
                     "       make_pedigree_file --one-pedigree <persons> <markers> <pedigree file> <map file> "
                     "<model file>\n";
        return 2;
    }
    if (one) ++argv;
    std::mt19937 random(20240611u);
    const std::vector<Member> family = one ? onePedigree(std::atoi(argv[1]), random) : threeGenerations;
    const int pedigrees = one ? 1 : std::atoi(argv[1]);
    const int markers = std::atoi(argv[2]);

    std::vector<std::discrete_distribution<int>> alleleDraw;
    for (int m = 0; m < markers; ++m) {
        const int alleles = 2 + m % 5;
        std::vector<double> weights;
        for (int a = 0; a < alleles; ++a) weights.push_back(1.0 + a * 0.7);
        alleleDraw.emplace_back(weights.begin(), weights.end());
    }
    std::uniform_int_distribution<int> coin(0, 1);
    std::uniform_int_distribution<int> percent(0, 99);

    std::ofstream ped(argv[3]);
    std::vector<std::vector<int>> genotype(family.size(), std::vector<int>(2 * static_cast<size_t>(markers)));
    std::string line;
    for (int p = 1; p <= pedigrees; ++p) {
        for (size_t i = 0; i < family.size(); ++i) {
            const Member& who = family[i];
            for (int m = 0; m < markers; ++m) {
                int* g = &genotype[i][2 * static_cast<size_t>(m)];
                if (who.father == 0) {
                    g[0] = alleleDraw[static_cast<size_t>(m)](random) + 1;
                    g[1] = alleleDraw[static_cast<size_t>(m)](random) + 1;
                } else {
                    g[0] = genotype[static_cast<size_t>(who.father - 1)][2 * static_cast<size_t>(m) + coin(random)];
                    g[1] = genotype[static_cast<size_t>(who.mother - 1)][2 * static_cast<size_t>(m) + coin(random)];
                }
            }
            line = "F" + std::to_string(p) + " P" + std::to_string(i + 1) + " " +
                   (who.father ? "P" + std::to_string(who.father) : std::string("0")) + " " +
                   (who.mother ? "P" + std::to_string(who.mother) : std::string("0")) + " " +
                   std::to_string(who.sex) + " " + std::to_string(1 + coin(random));
            for (int m = 0; m < markers; ++m) {
                const int* g = &genotype[i][2 * static_cast<size_t>(m)];
                if (percent(random) < 3) line += " 0 0";
                else line += " " + std::to_string(g[0]) + " " + std::to_string(g[1]);
            }
            ped << line << '\n';
        }
    }

    std::ofstream map(argv[4]);
    map << "CHROMOSOME HALDANE NAME\n";
    for (int m = 0; m < markers; ++m) map << "1 " << m * 0.5 << " D1S" << (m + 1) << '\n';

    std::ofstream model(argv[5]);
    model << "0 0.001 1\n0.0 1.0 1.0\n";
    return ped && map && model ? 0 : 1;
}
