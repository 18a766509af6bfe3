// Writes SNP data of nuclear families for the reading benchmark: a pre-makeped LINKAGE pedigree
// file (whose columns are also those of a PLINK .ped file), the marker map, a model file, and
// the PLINK .map file of the same markers.
//
//   make_snp_families <families> <persons per family> <SNPs> <prefix>
//
// writes <prefix>.pre, <prefix>.ped (the same lines), <prefix>.varkel.map, <prefix>.model and
// <prefix>.map. Each family has two founders and children drawn from them by Mendel's laws;
// alleles are letters (A/G, C/T, A/C, G/T by turns) with minor allele frequencies from 0.05 to
// 0.5; about 1% of genotypes are missing ("0 0"). A fixed seed makes the files reproducible.

#include <cstdlib>
#include <fstream>
#include <iostream>
#include <random>
#include <string>
#include <vector>

int main(int argc, char** argv) {
    if (argc != 5) {
        std::cerr << "usage: make_snp_families <families> <persons per family> <SNPs> <prefix>\n";
        return 2;
    }
    const int families = std::atoi(argv[1]);
    const int persons = std::atoi(argv[2]);
    const int snps = std::atoi(argv[3]);
    const std::string prefix = argv[4];
    if (families < 1 || persons < 3 || snps < 1) {
        std::cerr << "make_snp_families: at least one family of three persons and one SNP\n";
        return 2;
    }
    const char* const pairs[4][2] = {{"A", "G"}, {"C", "T"}, {"A", "C"}, {"G", "T"}};

    std::mt19937 random(20261125u);
    std::vector<double> minorFrequency;
    for (int m = 0; m < snps; ++m) minorFrequency.push_back(0.05 + 0.45 * (m % 10) / 9.0);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    std::uniform_int_distribution<int> coin(0, 1);

    std::ofstream pre(prefix + ".pre");
    std::ofstream ped(prefix + ".ped");
    std::vector<std::vector<int>> genotype(static_cast<size_t>(persons), std::vector<int>(2 * static_cast<size_t>(snps)));
    std::string line;
    for (int f = 1; f <= families; ++f) {
        for (int i = 0; i < persons; ++i) {
            std::vector<int>& g = genotype[static_cast<size_t>(i)];
            for (int m = 0; m < snps; ++m) {
                const size_t k = 2 * static_cast<size_t>(m);
                if (i < 2) {
                    g[k] = unit(random) < minorFrequency[static_cast<size_t>(m)] ? 0 : 1;
                    g[k + 1] = unit(random) < minorFrequency[static_cast<size_t>(m)] ? 0 : 1;
                } else {
                    g[k] = genotype[0][k + static_cast<size_t>(coin(random))];
                    g[k + 1] = genotype[1][k + static_cast<size_t>(coin(random))];
                }
            }
            const std::string family = "F" + std::to_string(f);
            line = family + " " + family + "_" + std::to_string(i + 1) + " " +
                   (i < 2 ? std::string("0 0 ") : family + "_1 " + family + "_2 ") +
                   (i == 0 ? "1" : i == 1 ? "2" : std::to_string(1 + coin(random))) + " " +
                   std::to_string(1 + coin(random));
            for (int m = 0; m < snps; ++m) {
                const size_t k = 2 * static_cast<size_t>(m);
                if (unit(random) < 0.01) {
                    line += " 0 0";
                    continue;
                }
                const char* const* names = pairs[m % 4];
                line += std::string(" ") + names[g[k]] + " " + names[g[k + 1]];
            }
            line += '\n';
            pre << line;
            ped << line;
        }
    }

    std::ofstream map(prefix + ".varkel.map");
    std::ofstream plinkMap(prefix + ".map");
    map << "CHROMOSOME HALDANE NAME\n";
    for (int m = 0; m < snps; ++m) {
        const double centiMorgan = 0.1 * m;
        map << "1 " << centiMorgan << " rs" << (m + 1) << '\n';
        plinkMap << "1 rs" << (m + 1) << ' ' << centiMorgan << ' ' << 100000 * (m + 1) << '\n';
    }
    std::ofstream model(prefix + ".model");
    model << "0 0.001 1\n0.0 1.0 1.0\n";
    return pre && ped && map && plinkMap && model ? 0 : 1;
}
