// Simulates family data for linkage analysis: three-generation families (some with marriage
// loops, some with half-siblings), microsatellite-like markers on one chromosome, and a
// dominant disease locus between two markers, dropped through the families by meiosis with
// Kosambi recombination. Writes a pre-MAKEPED pedigree file, a Kosambi map, the model file
// that generated the disease, and a phenotype file with a second, unlinked trait.
//
// Only the standard library is used, and every random draw comes from mt19937 (whose output
// the standard fixes), so a seed gives the same files everywhere.

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace {

struct Options {
    std::uint32_t seed = 20240611;
    int families = 30;
    int markers = 12;
    int diseaseAfter = 5;  // the disease locus lies between marker k and marker k+1 (1-based)
    double spacing = 10.0;
    double firstPosition = 5.0;
    double diseaseFrequency = 0.01;
    double penetrance[3] = {0.01, 0.9, 0.9};  // genotypes ++, D+, DD
    double missingRate = 0.04;
    int minAlleles = 4;  // a marker's allele count is drawn uniformly from [minAlleles, maxAlleles]
    int maxAlleles = 10;
    std::string outDir = ".";
    std::string prefix = "example";
};

const char* kUsage =
    "Usage: simulate_families [options]\n"
    "Writes <out-dir>/<prefix>.pre (pre-MAKEPED pedigree file), <prefix>.map (Kosambi map),\n"
    "<prefix>.model (the disease model used) and <prefix>.phen (phenotype TRAIT2).\n"
    "\n"
    "  --seed N            random seed (default 20240611)\n"
    "  --families N        number of families (default 30)\n"
    "  --markers N         number of markers on chromosome 1 (default 12)\n"
    "  --disease-after K   disease locus midway between markers K and K+1 (default 5)\n"
    "  --spacing CM        distance between adjacent markers in cM (default 10)\n"
    "  --missing P         share of genotypes missing at random in typed persons (default 0.04)\n"
    "  --min-alleles N     fewest alleles of a marker (default 4)\n"
    "  --max-alleles N     most alleles of a marker (default 10)\n"
    "  --out-dir DIR       output directory (default .)\n"
    "  --prefix NAME       output file name prefix (default example)\n"
    "  --help              this text\n"
    "\n"
    "Disease model: dominant, disease allele frequency 0.01, penetrances 0.01 0.9 0.9. One\n"
    "founder of the oldest generation of every family carries the disease allele (the families\n"
    "are ascertained through the disease); married-in spouses carry it with the population\n"
    "frequency. Markers have --min-alleles to --max-alleles alleles of unequal frequencies named\n"
    "like fragment sizes.\n";

// Random source with draws defined here rather than by a library's distributions.
class Random {
public:
    explicit Random(std::uint32_t seed) : engine(seed) {}
    double uniform() { return (static_cast<double>(engine()) + 0.5) / 4294967296.0; }
    int below(int n) { return static_cast<int>(uniform() * n); }
    bool chance(double p) { return uniform() < p; }

private:
    std::mt19937 engine;
};

double kosambi(double cM) { return 0.5 * std::tanh(2.0 * cM / 100.0); }

struct Marker {
    std::string name;
    double position;
    std::vector<std::string> alleles;
    std::vector<double> cumulative;
};

// Loci in map order: the markers with the disease locus inserted; haplotypes hold one
// allele index per locus (for the disease locus 0 = normal, 1 = disease allele).
struct Genome {
    std::vector<Marker> markers;
    int diseaseLocus = 0;               // position of the disease locus among the loci
    std::vector<double> recombination;  // between locus j-1 and j, for j >= 1
    int lociCount() const { return static_cast<int>(markers.size()) + 1; }
    int markerOfLocus(int locus) const { return locus < diseaseLocus ? locus : locus - 1; }
};

struct Person {
    int id = 0;
    int father = 0;
    int mother = 0;
    int sex = 1;  // 1 male, 2 female
    std::vector<int> haplotype[2];
    int affection = 0;  // 0 unknown, 1 unaffected, 2 affected
    int trait2 = 0;
    bool oldest = false;  // founder of the oldest generation (not a married-in spouse)
    bool typed = true;
    std::vector<bool> missing;
};

class FamilyBuilder {
public:
    FamilyBuilder(const Options& options, const Genome& genome, Random& random)
        : options(options), genome(genome), random(random) {}

    std::vector<Person> build(int kind) {
        persons.clear();
        switch (kind) {
            case 1: halfSiblings(); break;
            case 2: brothersMarrySisters(); break;
            case 3: cousinMarriage(); break;
            default: standard(); break;
        }
        for (Person& p : persons) finish(p);
        return persons;
    }

private:
    // A founder with random haplotypes; a carrier has exactly one disease allele.
    int founder(int sex, bool carrier, bool oldest = false) {
        Person p;
        p.id = static_cast<int>(persons.size()) + 1;
        p.sex = sex;
        p.oldest = oldest;
        for (auto& h : p.haplotype) {
            h.resize(static_cast<std::size_t>(genome.lociCount()));
            for (int locus = 0; locus < genome.lociCount(); ++locus) {
                if (locus == genome.diseaseLocus) {
                    h[static_cast<std::size_t>(locus)] = random.chance(options.diseaseFrequency) ? 1 : 0;
                } else {
                    const Marker& m = genome.markers[static_cast<std::size_t>(genome.markerOfLocus(locus))];
                    const double u = random.uniform();
                    int a = 0;
                    while (a + 1 < static_cast<int>(m.cumulative.size()) && u > m.cumulative[static_cast<std::size_t>(a)]) ++a;
                    h[static_cast<std::size_t>(locus)] = a;
                }
            }
        }
        if (carrier) {
            p.haplotype[0][static_cast<std::size_t>(genome.diseaseLocus)] = 1;
            p.haplotype[1][static_cast<std::size_t>(genome.diseaseLocus)] = 0;
        }
        persons.push_back(p);
        return p.id;
    }

    // One meiosis: start on a random haplotype and switch between adjacent loci with their
    // recombination fraction.
    std::vector<int> gamete(const Person& parent) {
        std::vector<int> g(static_cast<std::size_t>(genome.lociCount()));
        int strand = random.below(2);
        for (int locus = 0; locus < genome.lociCount(); ++locus) {
            if (locus > 0 && random.chance(genome.recombination[static_cast<std::size_t>(locus)])) strand ^= 1;
            g[static_cast<std::size_t>(locus)] = parent.haplotype[strand][static_cast<std::size_t>(locus)];
        }
        return g;
    }

    int child(int father, int mother, int sex = 0) {
        Person p;
        p.id = static_cast<int>(persons.size()) + 1;
        p.father = father;
        p.mother = mother;
        p.sex = sex ? sex : 1 + random.below(2);
        p.haplotype[0] = gamete(persons[static_cast<std::size_t>(father - 1)]);
        p.haplotype[1] = gamete(persons[static_cast<std::size_t>(mother - 1)]);
        persons.push_back(p);
        return p.id;
    }

    int spouseOf(int sex) { return founder(sex == 1 ? 2 : 1, false); }

    void children(int father, int mother, int low, int high) {
        const int n = low + random.below(high - low + 1);
        for (int i = 0; i < n; ++i) child(father, mother);
    }

    // Grandparents (one a carrier), 2 to 4 children, most of them married with 1 to 4 children.
    void standard() {
        const bool fatherCarries = random.chance(0.5);
        const int grandfather = founder(1, fatherCarries, true);
        const int grandmother = founder(2, !fatherCarries, true);
        const int n = 2 + random.below(3);
        std::vector<int> second;
        for (int i = 0; i < n; ++i) second.push_back(child(grandfather, grandmother));
        for (int c : second) {
            if (!random.chance(0.75)) continue;
            const int sex = persons[static_cast<std::size_t>(c - 1)].sex;
            const int spouse = spouseOf(sex);
            if (sex == 1) children(c, spouse, 1, 4);
            else children(spouse, c, 1, 4);
        }
    }

    // As the standard family, but one child has children with two partners.
    void halfSiblings() {
        const bool fatherCarries = random.chance(0.5);
        const int grandfather = founder(1, fatherCarries, true);
        const int grandmother = founder(2, !fatherCarries, true);
        const int twice = child(grandfather, grandmother);
        const int other = child(grandfather, grandmother);
        child(grandfather, grandmother);
        const int sex = persons[static_cast<std::size_t>(twice - 1)].sex;
        for (int marriage = 0; marriage < 2; ++marriage) {
            const int spouse = spouseOf(sex);
            if (sex == 1) children(twice, spouse, 1, 3);
            else children(spouse, twice, 1, 3);
        }
        const int otherSex = persons[static_cast<std::size_t>(other - 1)].sex;
        const int spouse = spouseOf(otherSex);
        if (otherSex == 1) children(other, spouse, 1, 3);
        else children(spouse, other, 1, 3);
    }

    // Two brothers of one family marry two sisters of another: a marriage loop.
    void brothersMarrySisters() {
        const bool fatherCarries = random.chance(0.5);
        const int g1 = founder(1, fatherCarries, true);
        const int g2 = founder(2, !fatherCarries, true);
        const int g3 = founder(1, false, true);
        const int g4 = founder(2, false, true);
        const int brother1 = child(g1, g2, 1);
        const int brother2 = child(g1, g2, 1);
        child(g1, g2);
        const int sister1 = child(g3, g4, 2);
        const int sister2 = child(g3, g4, 2);
        children(brother1, sister1, 2, 4);
        children(brother2, sister2, 2, 4);
    }

    // Children of a brother and a sister marry each other (first cousins): a consanguinity loop.
    void cousinMarriage() {
        const bool fatherCarries = random.chance(0.5);
        const int grandfather = founder(1, fatherCarries, true);
        const int grandmother = founder(2, !fatherCarries, true);
        const int son = child(grandfather, grandmother, 1);
        const int daughter = child(grandfather, grandmother, 2);
        const int wife = founder(2, false);
        const int husband = founder(1, false);
        const int cousin1 = child(son, wife, 1);
        child(son, wife);
        const int cousin2 = child(husband, daughter, 2);
        children(cousin1, cousin2, 2, 4);
    }

    void finish(Person& p) {
        const int dose = p.haplotype[0][static_cast<std::size_t>(genome.diseaseLocus)] +
                         p.haplotype[1][static_cast<std::size_t>(genome.diseaseLocus)];
        p.affection = random.chance(options.penetrance[dose]) ? 2 : 1;
        if (random.chance(0.03)) p.affection = 0;
        // The second trait depends on nothing on this chromosome.
        p.trait2 = random.chance(0.25) ? 2 : 1;
        if (random.chance(0.05)) p.trait2 = 0;
        // Many grandparents are no longer alive to be typed, some spouses declined.
        const bool isFounder = p.father == 0;
        p.typed = !(p.oldest ? random.chance(0.4) : isFounder ? random.chance(0.15) : random.chance(0.03));
        p.missing.resize(genome.markers.size());
        for (std::size_t m = 0; m < p.missing.size(); ++m) p.missing[m] = random.chance(options.missingRate);
    }

    const Options& options;
    const Genome& genome;
    Random& random;
    std::vector<Person> persons;
};

Genome makeGenome(const Options& options, Random& random) {
    Genome genome;
    for (int i = 0; i < options.markers; ++i) {
        Marker m;
        std::ostringstream name;
        name << "D1S" << (1000 + 37 * i + random.below(30));
        m.name = name.str();
        m.position = options.firstPosition + options.spacing * i;
        const int alleles = options.minAlleles + random.below(options.maxAlleles - options.minAlleles + 1);
        const int step = random.chance(0.5) ? 2 : 4;
        const int first = 96 + 2 * random.below(30);
        std::vector<double> weights;
        double total = 0.0;
        for (int a = 0; a < alleles; ++a) {
            // Unequal frequencies, none vanishingly rare.
            const double w = 0.15 - std::log(random.uniform());
            weights.push_back(w);
            total += w;
            m.alleles.push_back(std::to_string(first + step * a));
        }
        double sum = 0.0;
        for (double w : weights) {
            sum += w / total;
            m.cumulative.push_back(sum);
        }
        m.cumulative.back() = 1.0;
        genome.markers.push_back(m);
    }
    genome.diseaseLocus = options.diseaseAfter;
    const double diseasePosition =
        0.5 * (genome.markers[static_cast<std::size_t>(options.diseaseAfter - 1)].position +
               genome.markers[static_cast<std::size_t>(options.diseaseAfter)].position);
    std::vector<double> positions;
    for (int locus = 0; locus < genome.lociCount(); ++locus)
        positions.push_back(locus == genome.diseaseLocus
                                ? diseasePosition
                                : genome.markers[static_cast<std::size_t>(genome.markerOfLocus(locus))].position);
    genome.recombination.push_back(0.0);
    for (std::size_t j = 1; j < positions.size(); ++j) genome.recombination.push_back(kosambi(positions[j] - positions[j - 1]));
    return genome;
}

bool parseOptions(int argc, char** argv, Options& options) {
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--help" || arg == "-h") {
            std::cout << kUsage;
            std::exit(0);
        }
        if (i + 1 >= argc) {
            std::cerr << "simulate_families: " << arg << " needs a value (see --help)\n";
            return false;
        }
        const std::string value = argv[++i];
        char* end = nullptr;
        if (arg == "--seed") options.seed = static_cast<std::uint32_t>(std::strtoul(value.c_str(), &end, 10));
        else if (arg == "--families") options.families = static_cast<int>(std::strtol(value.c_str(), &end, 10));
        else if (arg == "--markers") options.markers = static_cast<int>(std::strtol(value.c_str(), &end, 10));
        else if (arg == "--disease-after") options.diseaseAfter = static_cast<int>(std::strtol(value.c_str(), &end, 10));
        else if (arg == "--spacing") options.spacing = std::strtod(value.c_str(), &end);
        else if (arg == "--missing") options.missingRate = std::strtod(value.c_str(), &end);
        else if (arg == "--min-alleles") options.minAlleles = static_cast<int>(std::strtol(value.c_str(), &end, 10));
        else if (arg == "--max-alleles") options.maxAlleles = static_cast<int>(std::strtol(value.c_str(), &end, 10));
        else if (arg == "--out-dir") { options.outDir = value; continue; }
        else if (arg == "--prefix") { options.prefix = value; continue; }
        else {
            std::cerr << "simulate_families: unknown option " << arg << " (see --help)\n";
            return false;
        }
        if (!end || *end != '\0' || value.empty()) {
            std::cerr << "simulate_families: " << arg << " takes a number, not '" << value << "'\n";
            return false;
        }
    }
    if (options.families < 1 || options.families > 150) {
        std::cerr << "simulate_families: --families must be 1 to 150 (FASTLINK's pedigree limit)\n";
        return false;
    }
    if (options.markers < 2) {
        std::cerr << "simulate_families: --markers must be at least 2\n";
        return false;
    }
    if (options.diseaseAfter < 1 || options.diseaseAfter >= options.markers) {
        std::cerr << "simulate_families: --disease-after must be 1 to markers-1\n";
        return false;
    }
    if (options.minAlleles < 2 || options.maxAlleles < options.minAlleles || options.maxAlleles > 40) {
        std::cerr << "simulate_families: alleles per marker must be 2 <= --min-alleles <= --max-alleles <= 40\n";
        return false;
    }
    if (!(options.spacing > 0.0) || !(options.missingRate >= 0.0 && options.missingRate < 1.0)) {
        std::cerr << "simulate_families: --spacing must be positive and --missing in [0, 1)\n";
        return false;
    }
    return true;
}

bool writeFile(const std::string& path, const std::string& content) {
    std::ofstream out(path);
    if (!out) {
        std::cerr << "simulate_families: cannot write " << path << "\n";
        return false;
    }
    out << content;
    return static_cast<bool>(out);
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    if (!parseOptions(argc, argv, options)) return 2;
    Random random(options.seed);
    const Genome genome = makeGenome(options, random);

    // Family kinds in a repeating pattern: 0 standard, 1 half-siblings, 2 brothers marry
    // sisters, 3 first-cousin marriage.
    const int pattern[] = {0, 0, 1, 0, 2, 0, 0, 1, 0, 3};
    std::ostringstream pre;
    std::ostringstream phen;
    phen << "1 TRAIT2\n";
    int personCount = 0;
    FamilyBuilder builder(options, genome, random);
    for (int f = 1; f <= options.families; ++f) {
        const std::vector<Person> family = builder.build(pattern[(f - 1) % 10]);
        for (const Person& p : family) {
            pre << f << ' ' << p.id << ' ' << p.father << ' ' << p.mother << ' ' << p.sex << ' ' << p.affection;
            for (int locus = 0; locus < genome.lociCount(); ++locus) {
                if (locus == genome.diseaseLocus) continue;
                const std::size_t m = static_cast<std::size_t>(genome.markerOfLocus(locus));
                if (!p.typed || p.missing[m]) {
                    pre << "  0 0";
                } else {
                    const Marker& marker = genome.markers[m];
                    pre << "  " << marker.alleles[static_cast<std::size_t>(p.haplotype[0][static_cast<std::size_t>(locus)])]
                        << ' ' << marker.alleles[static_cast<std::size_t>(p.haplotype[1][static_cast<std::size_t>(locus)])];
                }
            }
            pre << '\n';
            phen << f << ' ' << p.id << ' ' << p.trait2 << '\n';
            ++personCount;
        }
    }

    std::ostringstream map;
    map << "CHROMOSOME KOSAMBI POSITION\n";
    for (const Marker& m : genome.markers) {
        char position[32];
        std::snprintf(position, sizeof position, "%.1f", m.position);
        map << "1 " << position << ' ' << m.name << '\n';
    }

    std::ostringstream model;
    model << "0 " << options.diseaseFrequency << " 1\n"
          << options.penetrance[0] << ' ' << options.penetrance[1] << ' ' << options.penetrance[2] << '\n';

    const std::string base = options.outDir + "/" + options.prefix;
    if (!writeFile(base + ".pre", pre.str()) || !writeFile(base + ".map", map.str()) ||
        !writeFile(base + ".model", model.str()) || !writeFile(base + ".phen", phen.str()))
        return 1;
    std::cout << "simulate_families: " << options.families << " families, " << personCount << " persons, "
              << options.markers << " markers; disease locus between " << genome.markers[static_cast<std::size_t>(options.diseaseAfter - 1)].name
              << " and " << genome.markers[static_cast<std::size_t>(options.diseaseAfter)].name << "\n";
    return 0;
}
