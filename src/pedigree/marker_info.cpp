#include "pedigree/marker_info.h"

#include <algorithm>

#include "driver/utilities.h"
#include "model/short_text.h"

// ---------------------------------------------------------------- Genotype

Genotype::Genotype(const std::string& first, const std::string& second)
    : name(first + "/" + second), firstAllele(first), secondAllele(second) {}

void Genotype::addGenotypeCount(const std::string& type) {
    if (type == "all") ++countAll;
    else if (type == "founders") ++countFounders;
}

int Genotype::getGenotypeCount(const std::string& type) const {
    if (type == "all") return countAll;
    if (type == "founders") return countFounders;
    return -1;
}

void Genotype::setGenotypeFreq(double value, const std::string& type) {
    if (type == "all") frequencyAll = value;
    else if (type == "founders") frequencyFounders = value;
}

double Genotype::getGenotypeFreq(const std::string& type) const {
    if (type == "all") return frequencyAll;
    if (type == "founders") return frequencyFounders;
    return -0.0;
}

void Genotype::setExpectedGenotypeCount(double value, const std::string& type) {
    if (type == "all") expectedAll = value;
    else if (type == "founders") expectedFounders = value;
}

double Genotype::getExpectedGenotypeCount(const std::string& type) const {
    if (type == "all") return expectedAll;
    if (type == "founders") return expectedFounders;
    return -11.111;
}

double Genotype::getChi2(const std::string& type) const {
    double observed = 0.0;
    double expected = 0.0;
    if (type == "all") {
        if (expectedAll == 0.0) return -666.0;
        observed = countAll;
        expected = expectedAll;
    } else if (type == "founders") {
        if (expectedFounders == 0.0) return -777.0;
        observed = countFounders;
        expected = expectedFounders;
    } else {
        return -11.11;
    }
    const double difference = observed - expected;
    return difference * difference / expected;
}

std::string Genotype::getAllele(int i) const {
    if (i == 0) return firstAllele;
    if (i == 1) return secondAllele;
    return "error";
}

// -------------------------------------------------------------- MarkerInfo

MarkerInfo::MarkerInfo(const std::string& index) : Object<MarkerInfo>(index), markerIndex(index) {}

MarkerInfo::~MarkerInfo() {
    for (Allele* allele : alleles) delete allele;
    for (Genotype* genotype : genotypes) delete genotype;
}

void MarkerInfo::addCount(const std::string& type) {
    if (type == "all") ++totalAll;
    else if (type == "founders") ++totalFounders;
    else if (type == "males") ++totalMales;
    else if (type == "females") ++totalFemales;
}

int MarkerInfo::getTotal(const std::string& type) const {
    if (type == "all") return totalAll;
    if (type == "founders") return totalFounders;
    if (type == "males") return totalMales;
    if (type == "females") return totalFemales;
    return 0;
}

static bool isCountType(const std::string& type) {
    return type == "all" || type == "founders" || type == "males" || type == "females";
}

void MarkerInfo::addAllele(Allele* allele) {
    if (getAlleleWithName(allele->getAlleleName())) return;
    alleles.push_back(allele);
}

Allele* MarkerInfo::getAlleleWithName(const std::string& name) const {
    for (Allele* allele : alleles)
        if (sameShortText(allele->getAlleleName(), name)) return allele;
    return nullptr;
}

// Count over total; a type never counted (total 0) gives frequency 0 rather than a division by zero.
static double frequencyOf(const Allele* allele, int total, const std::string& type) {
    if (total < 1) return 0.0;
    return static_cast<double>(allele->getAlleleCount(type)) / static_cast<double>(total);
}

double MarkerInfo::getAlleleFreq(int index, const std::string& type) const {
    if (index < 0 || index >= getAlleleCount() || !isCountType(type)) return -1.0;
    return frequencyOf(alleles[static_cast<size_t>(index)], getTotal(type), type);
}

double MarkerInfo::getAlleleFreqWithName(const std::string& name, const std::string& type) const {
    const Allele* allele = getAlleleWithName(name);
    if (!allele || !isCountType(type)) return -1.0;
    return frequencyOf(allele, getTotal(type), type);
}

bool MarkerInfo::hasFoundersAllAlleles() const { return hasAllAlleles("founders"); }

bool MarkerInfo::hasAllAlleles(const std::string& type) const {
    return std::all_of(alleles.begin(), alleles.end(),
                       [&](const Allele* allele) { return allele->getAlleleCount(type) > 0; });
}

static bool isNumericName(const std::string& name) {
    return std::all_of(name.begin(), name.end(), [](char c) { return c >= '0' && c <= '9'; });
}

// Numeric order of allele names made of digits only ("2" before "10"), compared by value
// without conversion so that names of any length order correctly.
static bool AlleleStringToIntCompare(const Allele* a, const Allele* b) {
    const std::string& x = a->getAlleleName();
    const std::string& y = b->getAlleleName();
    const size_t xStart = std::min(x.find_first_not_of('0'), x.size());
    const size_t yStart = std::min(y.find_first_not_of('0'), y.size());
    const size_t xDigits = x.size() - xStart;
    const size_t yDigits = y.size() - yStart;
    if (xDigits != yDigits) return xDigits < yDigits;
    return x.compare(xStart, xDigits, y, yStart, yDigits) < 0;
}

// Byte order of allele names, a proper prefix first ("10" before "2").
static bool AlleleCompare(const Allele* a, const Allele* b) { return a->getAlleleName() < b->getAlleleName(); }

void MarkerInfo::sortAllelesVector() {
    const bool numeric = std::all_of(alleles.begin(), alleles.end(),
                                     [](const Allele* allele) { return isNumericName(allele->getAlleleName()); });
    if (numeric) std::sort(alleles.begin(), alleles.end(), AlleleStringToIntCompare);
    else std::sort(alleles.begin(), alleles.end(), AlleleCompare);
}

void MarkerInfo::addAllelesNewNames() {
    for (size_t p = 0; p < alleles.size(); ++p) alleles[p]->setAlleleNewName(IntToString(static_cast<int>(p + 1)));
}

void MarkerInfo::createMarkerGenotypes() {
    for (size_t i = 0; i < alleles.size(); ++i)
        for (size_t j = i; j < alleles.size(); ++j)
            genotypes.push_back(new Genotype(alleles[i]->getAlleleName(), alleles[j]->getAlleleName()));
}

double MarkerInfo::getGenotypeCount(const std::string& type) const {
    double sum = 0.0;
    for (const Genotype* genotype : genotypes) sum += genotype->getGenotypeCount(type);
    return sum;
}

double MarkerInfo::getExpectedGenotypeCount(const std::string& type) const {
    double sum = 0.0;
    for (const Genotype* genotype : genotypes) sum += genotype->getExpectedGenotypeCount(type);
    return sum;
}

double MarkerInfo::getChi2Count(const std::string& type) const {
    double sum = 0.0;
    for (const Genotype* genotype : genotypes) {
        const double contribution = genotype->getChi2(type);
        // One undefined contribution (negative marker value) makes the whole sum undefined.
        if (contribution < 0.0) return contribution;
        sum += contribution;
    }
    return sum;
}
