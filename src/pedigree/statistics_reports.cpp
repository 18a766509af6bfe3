// The statistics files about the input: allele frequencies per marker, pedigree, marker and
// phenotype statistics, and genotype counts against their expectations under random union
// of alleles.

#include "pedigree/statistics_reports.h"

#include <cmath>
#include <iomanip>
#include <iostream>
#include <sstream>

#include "driver/utilities.h"
#include "input/marker_map.h"
#include "model/file.h"
#include "model/pedigrees.h"
#include "model/tidy_table.h"
#include "pedigree/hardy_weinberg.h"
#include "pedigree/marker_info.h"

namespace {

const std::string kAll = "all";
const std::string kFounders = "founders";

std::string fixed(double value, int decimals) {
    std::ostringstream text;
    text << std::fixed << std::setprecision(decimals) << value;
    return text.str();
}

// A chi-square value, or "NaN" when undefined (a genotype expected 0 times).
std::string chiSquareText(double value) { return value < 0.0 ? "NaN" : fixed(value, 5); }

}  // namespace

std::string alleleFrequencySection(const std::string& markerName, const MarkerInfo* entry,
                                   const std::string& setCounts) {
    std::ostringstream out;
    out << "Marker " << markerName << "\n" << setCounts;
    if (!entry || entry->getAlleleCount() == 0) {
        out << "No alleles found\n\n\n";
        return out.str();
    }
    out << std::right << std::setw(6) << "Allele" << std::setw(7) << "All" << std::setw(10) << "Freq"
        << std::setw(12) << "Founders" << std::setw(10) << "Freq" << std::setw(9) << "Males" << std::setw(10)
        << "Freq" << std::setw(11) << "Females" << std::setw(10) << "Freq" << std::setw(14) << "New Allele"
        << "\n";
    const std::vector<Allele*> alleles = entry->getAlleles();
    for (size_t i = 0; i < alleles.size(); ++i) {
        const Allele* a = alleles[i];
        const int index = static_cast<int>(i);
        out << std::setw(6) << a->getAlleleName() << std::setw(7) << a->getAlleleCount("all") << std::setw(10)
            << fixed(entry->getAlleleFreq(index, "all"), 6) << std::setw(12) << a->getAlleleCount("founders")
            << std::setw(10) << fixed(entry->getAlleleFreq(index, "founders"), 6) << std::setw(9)
            << a->getAlleleCount("males") << std::setw(10) << fixed(entry->getAlleleFreq(index, "males"), 6)
            << std::setw(11) << a->getAlleleCount("females") << std::setw(10)
            << fixed(entry->getAlleleFreq(index, "females"), 6) << std::setw(14) << a->getAlleleNewName() << "\n";
    }
    out << "\n\n";
    return out.str();
}

bool Pedigrees::writeStatistics() {
    const std::string base = outputPrefix + "_";
    if (!writeFrequenciesFile(base + "markerinfo_statistics.info")) return false;
    const DerivedSetStatistics derived = collectDerivedSetStatistics();
    return writeDerivedFrequenciesFile(base + "hrr_markerinfo_statistics.info", derived.hrrSections) &&
           writeDerivedFrequenciesFile(base + "tdt_markerinfo_statistics.info", derived.tdtSections) &&
           writeDerivedFrequenciesFile(base + "sib_pair_markerinfo_statistics.info", derived.sibPairSections) &&
           writePedigreeStatistics(base + "pedigree_statistics.info") &&
           writeGenotypeStatistics(base + "genotype_statistics.info") &&
           writeHardyWeinbergTable(outputPrefix + "_hwe.tsv") && writeFrequencyTable(outputPrefix + "_freq.tsv") &&
           writeNumberOfHrrTdtSibpairPeds(base + "number_of_hrr_tdt_sibpair_peds.info", derived);
}

bool Pedigrees::writeFrequenciesFile(const std::string& fileName) const {
    File file;
    if (!file.openForWriting(fileName)) return false;
    file.text << getCommonHeader();
    // Catalogue order: the keys are compared as text ("10" before "2").
    markerInfo->forEach([&](const MarkerInfo* entry) {
        Marker* mapMarker = markerMap->getMarker(entry->getMarkerIndex());
        if (mapMarker) file.text << alleleFrequencySection(mapMarker->getName(), entry, "");
    });
    return file.writeTextAndClose();
}

double Pedigrees::getPercentGenotyped(const std::string& markerIndex) const {
    const int persons = getPedigreePersonCount();
    if (persons == 0) return 0.0;
    const int marker = markerColumnOfKey(markerIndex, genotypeStore.getMarkerCount());
    int typed = 0;
    pedigrees->forEach([&](const Pedigree* pedigree) {
        pedigree->getPersonTree()->forEach([&](const Person* person) {
            if (person->isTyped(marker)) ++typed;
        });
    });
    return static_cast<double>(typed) / persons;
}

namespace {

// Percentage of part in whole; 0 for an empty whole.
double percentage(int part, int whole) { return whole == 0 ? 0.0 : 100.0 * part / whole; }

// The three phenotype groups: value "2", value "1", no value.
enum Group { affected, unaffected, unknown, otherValue };

Group groupOf(const Person* person, const std::string& phenotypeName) {
    const Phenotype* phenotype = person->getPhenotype(phenotypeName);
    if (!phenotype) return unknown;
    if (phenotype->getValue() == "2") return affected;
    if (phenotype->getValue() == "1") return unaffected;
    return otherValue;
}

}  // namespace

bool Pedigrees::writePedigreeStatistics(const std::string& fileName) const {
    File file;
    if (!file.openForWriting(fileName)) return false;
    std::ostream& out = file.text;
    const int persons = getPedigreePersonCount();
    out << getCommonHeader() << "Pedigree Statistics\n" << std::string(25, '=') << "\n"
        << "Average pedigree size: " << getAveragePedigreeSize() << "\n"
        << "Pedigree Count: " << getPedigreeCount() << "\n"
        << "Person Count: " << persons << "\n\n";

    out << "Marker Statistics\n" << std::string(60, '=') << "\n" << std::right;
    out << std::setw(10) << "Marker" << std::setw(15) << "%Genotyped" << std::setw(15) << "%Genotyped"
        << std::setw(10) << "PIC" << std::setw(10) << "H" << "\n";
    out << std::setw(10) << " " << std::setw(15) << "Persons" << std::setw(15) << "Pedigrees" << std::setw(10)
        << " " << std::setw(10) << " " << "\n";
    for (int i = 0; i < markerCount; ++i) {
        const std::string key = IntToString(i);
        int typedPedigrees = 0;
        pedigrees->forEach([&](const Pedigree* pedigree) {
            bool typed = false;
            pedigree->getPersonTree()->forEach([&](const Person* person) { typed = typed || person->isTyped(i); });
            if (typed) ++typedPedigrees;
        });
        const int pedigreeCount = getPedigreeCount();
        out << std::setw(10) << markerMap->getMarkerName(key) << std::setw(15) << fixed(getPercentGenotyped(key), 5)
            << std::setw(15)
            << fixed(pedigreeCount == 0 ? 0.0 : static_cast<double>(typedPedigrees) / pedigreeCount, 5)
            << std::setw(10) << fixed(getPolymorphismInformationContent(key), 5) << std::setw(10)
            << fixed(getHeterozygosity(key), 5) << "\n";
    }
    out << "\n\n";
    if (phenotypeNames.empty()) {
        return file.writeTextAndClose();
    }

    // countPhenotypedDistribution: persons per group of every phenotype.
    out << "Phenotype Statistics\n" << std::string(60, '=') << "\n";
    out << std::setw(15) << "Phenotype" << std::setw(15) << "%Affected" << std::setw(15) << "%Unaffected"
        << std::setw(15) << "%Unknown" << "\n";
    for (const std::string& phenotype : phenotypeNames) {
        int counts[4] = {0, 0, 0, 0};
        pedigrees->forEach([&](const Pedigree* pedigree) {
            pedigree->getPersonTree()->forEach([&](const Person* person) { ++counts[groupOf(person, phenotype)]; });
        });
        out << std::setw(15) << phenotype << std::setw(15) << fixed(percentage(counts[affected], persons), 2)
            << std::setw(15) << fixed(percentage(counts[unaffected], persons), 2) << std::setw(15)
            << fixed(percentage(counts[unknown], persons), 2) << "\n";
    }
    if (markerCount == 0) {
        return file.writeTextAndClose();
    }

    // countGenotypedPhenotypeStates: the share of each group typed at each marker.
    out << "\nPhenotype & Marker Statistics\n" << std::string(60, '=') << "\n";
    for (const std::string& phenotype : phenotypeNames) {
        out << "Phenotype: " << phenotype << "\n";
        out << std::setw(15) << "Marker" << std::setw(15) << "%Affected" << std::setw(15) << "%Unaffected"
            << std::setw(15) << "%Unknown" << "\n";
        for (int i = 0; i < markerCount; ++i) {
            const std::string key = IntToString(i);
            int members[4] = {0, 0, 0, 0};
            int typed[4] = {0, 0, 0, 0};
            pedigrees->forEach([&](const Pedigree* pedigree) {
                pedigree->getPersonTree()->forEach([&](const Person* person) {
                    const Group group = groupOf(person, phenotype);
                    ++members[group];
                    if (person->isTyped(i)) ++typed[group];
                });
            });
            out << std::setw(15) << markerMap->getMarkerName(key);
            for (Group group : {affected, unaffected, unknown})
                out << std::setw(15) << fixed(percentage(typed[group], members[group]), 2);
            out << "\n";
        }
    }
    return file.writeTextAndClose();
}

bool Pedigrees::writeGenotypeStatistics(const std::string& fileName) {
    File file;
    if (!file.openForWriting(fileName)) return false;
    std::ostream& out = file.text;
    out << getCommonHeader() << std::right;
    for (int i = 0; i < markerCount; ++i) {
        const std::string key = IntToString(i);
        out << "Marker " << markerMap->getMarkerName(key) << "\n";
        countMarkersGenotypes(key);
        const MarkerInfo* entry = markerInfo->find(key);
        if (!entry || entry->getGenotypes().empty()) {
            out << "No genotypes found\n\n";
            continue;
        }
        out << std::setw(15) << "All" << std::setw(35) << "Founders" << "\n";
        out << std::setw(8) << "Genotype" << std::setw(7) << "Obs(0)" << std::setw(10) << "Exp(E)" << std::setw(10)
            << "(O-E)^2/E" << std::setw(15) << "Obs(0)" << std::setw(10) << "Exp(E)" << std::setw(10) << "(O-E)^2/E"
            << "\n"
            << std::string(70, '=') << "\n";
        for (const Genotype* genotype : entry->getGenotypes())
            out << std::setw(8) << genotype->getGenotypeName() << std::setw(7) << genotype->getGenotypeCount(kAll)
                << std::setw(10) << fixed(genotype->getExpectedGenotypeCount(kAll), 2) << std::setw(10)
                << chiSquareText(genotype->getChi2(kAll)) << std::setw(15) << genotype->getGenotypeCount(kFounders)
                << std::setw(10) << fixed(genotype->getExpectedGenotypeCount(kFounders), 2) << std::setw(10)
                << chiSquareText(genotype->getChi2(kFounders)) << "\n";
        out << std::string(70, '=') << "\n";
        out << std::setw(8) << "Total" << std::setw(7) << static_cast<int>(entry->getGenotypeCount(kAll))
            << std::setw(10) << fixed(entry->getExpectedGenotypeCount(kAll), 2) << std::setw(10)
            << chiSquareText(entry->getChi2Count(kAll)) << std::setw(15)
            << static_cast<int>(entry->getGenotypeCount(kFounders)) << std::setw(10)
            << fixed(entry->getExpectedGenotypeCount(kFounders), 2) << std::setw(10)
            << chiSquareText(entry->getChi2Count(kFounders)) << "\n";

        // The genotype test has k(k - 1)/2 degrees of freedom for the k alleles seen in the group.
        const HardyWeinbergTest all = hardyWeinbergTest(*entry, kAll);
        const HardyWeinbergTest founders = hardyWeinbergTest(*entry, kFounders);
        auto pValueText = [](const HardyWeinbergTest& test) {
            return test.degreesOfFreedom == 0 ? std::string("NaN") : fixed(test.pValue, 5);
        };
        out << "\n" << std::setw(35) << "All" << std::setw(15) << "Founders" << "\n";
        out << std::setw(19) << "Chi-squared p-value" << std::setw(16) << pValueText(all) << std::setw(15)
            << pValueText(founders) << "\n";
        out << std::setw(19) << "Degrees of freedom" << std::setw(16) << all.degreesOfFreedom << std::setw(15)
            << founders.degreesOfFreedom << "\n";
        auto exactText = [](const HardyWeinbergTest& test) {
            return std::isnan(test.exactPValue) ? std::string("NaN") : fixed(test.exactPValue, 5);
        };
        if (all.allelesSeen == 2 || founders.allelesSeen == 2)
            out << std::setw(19) << "Exact p-value" << std::setw(16) << exactText(all) << std::setw(15)
                << exactText(founders) << "\n";
        out << "\n";
    }
    return file.writeTextAndClose();
}

bool Pedigrees::writeFrequencyTable(const std::string& fileName) const {
    TidyTable table({"CHR", "SNP", "GROUP", "A1", "COUNT", "FREQ", "NCHROBS"});
    for (int i = 0; i < markerCount; ++i) {
        const std::string key = IntToString(i);
        const MarkerInfo* entry = markerInfo->find(key);
        const Marker* marker = markerMap->getMarker(key);
        if (!entry || !marker) continue;
        for (const char* group : {"all", "founders", "males", "females"}) {
            const std::vector<Allele*> alleles = entry->getAlleles();
            for (size_t a = 0; a < alleles.size(); ++a)
                table.addRow({marker->getChromosome(), marker->getName(), group, alleles[a]->getAlleleName(),
                              TidyTable::number(static_cast<long>(alleles[a]->getAlleleCount(group))),
                              TidyTable::number(entry->getAlleleFreq(static_cast<int>(a), group)),
                              TidyTable::number(static_cast<long>(entry->getTotal(group)))});
        }
    }
    return table.write(fileName);
}

bool Pedigrees::writeHardyWeinbergTable(const std::string& fileName) const {
    TidyTable table({"CHR", "SNP", "TEST", "A1", "A2", "GENO", "O_HET", "E_HET", "CHISQ", "DF", "P_CHISQ",
                     "P_EXACT"});
    for (int i = 0; i < markerCount; ++i) {
        const std::string key = IntToString(i);
        const MarkerInfo* entry = markerInfo->find(key);
        const Marker* marker = markerMap->getMarker(key);
        if (!entry || !marker || entry->getGenotypes().empty()) continue;
        for (const std::string* group : {&kAll, &kFounders}) {
            const HardyWeinbergTest test = hardyWeinbergTest(*entry, *group);
            std::vector<std::string> row = {marker->getChromosome(), marker->getName(),
                                            *group == kAll ? "ALL" : "FOUNDERS"};
            if (test.allelesSeen == 2) {
                // As PLINK: A1 is the minor allele of the group, GENO the counts of A1A1/A1A2/A2A2.
                const std::vector<std::string>& seen = test.seenAlleles;
                const bool firstIsMinor =
                    entry->getAlleleFreqWithName(seen[0], *group) <= entry->getAlleleFreqWithName(seen[1], *group);
                const int minorHomozygotes = firstIsMinor ? test.firstHomozygotes : test.secondHomozygotes;
                const int majorHomozygotes = firstIsMinor ? test.secondHomozygotes : test.firstHomozygotes;
                row.push_back(seen[firstIsMinor ? 0 : 1]);
                row.push_back(seen[firstIsMinor ? 1 : 0]);
                row.push_back(IntToString(minorHomozygotes) + "/" + IntToString(test.heterozygotes) + "/" +
                              IntToString(majorHomozygotes));
            } else {
                row.insert(row.end(), {TidyTable::missing(), TidyTable::missing(), TidyTable::missing()});
            }
            const bool tested = test.degreesOfFreedom > 0;
            row.insert(row.end(), {TidyTable::number(test.observedHeterozygosity),
                                   TidyTable::number(test.expectedHeterozygosity),
                                   tested ? TidyTable::number(test.chiSquare) : TidyTable::missing(),
                                   TidyTable::number(static_cast<long>(test.degreesOfFreedom)),
                                   TidyTable::number(test.pValue), TidyTable::number(test.exactPValue)});
            table.addRow(row);
        }
    }
    return table.write(fileName);
}
