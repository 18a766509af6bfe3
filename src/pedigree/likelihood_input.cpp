// The native likelihood engine's view of a pedigree and its loci, built from the same records,
// allele numbering and locus model as the pedigree and locus files written for FASTLINK.

#include <map>

#include "input/linkage_locus_file.h"
#include "model/pedigrees.h"

bool Pedigrees::getLikelihoodInput(const Pedigree* pedigree, const std::string& trait, int liabilityClasses,
                                   const std::vector<const FastlinkMarkerColumn*>& columns,
                                   likelihood::PedigreeInput& input, std::string& whyNot) const {
    input = likelihood::PedigreeInput();
    std::vector<const Person*> persons;
    std::map<std::string, int> position;
    pedigree->getPersonTree()->forEach([&](const Person* person) {
        position[person->getPersonId()] = static_cast<int>(persons.size());
        persons.push_back(person);
    });
    const auto parent = [&](const std::string& id) {
        const auto found = position.find(id);
        return found == position.end() ? -1 : found->second;
    };
    for (const Person* person : persons) {
        likelihood::PersonInput p;
        p.father = parent(person->getFatherId());
        p.mother = parent(person->getMotherId());
        p.male = person->getSex() == "1";
        const Phenotype* status = person->getPhenotype(trait);
        const std::string value = status ? status->getValue() : "0";
        if (value == "1" || value == "2") p.status = value == "2" ? 2 : 1;
        else if (value != "0") {
            whyNot = "a trait value " + value + " that is not an affection status";
            return false;
        }
        if (liabilityClasses > 1) {
            // Without a class the penetrance is unknown, and so is what the status says.
            const Phenotype* liability = person->getPhenotype(kLiabilityClassName);
            if (!liability) p.status = 0;
            else p.liabilityClass = std::stoi(liability->getValue()) - 1;
        }
        input.persons.push_back(p);
    }
    for (const FastlinkMarkerColumn* column : columns) {
        const int marker = markerColumnOfKey(column->markerIndex, genotypeStore.getMarkerCount());
        std::vector<likelihood::GenotypeInput> genotypes(persons.size());
        for (size_t i = 0; i < persons.size(); ++i) {
            if (marker < 0 || !persons[i]->isTyped(marker)) continue;
            const auto first = column->locusAllele.find(persons[i]->getAlleleName(marker, 0));
            const auto second = column->locusAllele.find(persons[i]->getAlleleName(marker, 1));
            if (first == column->locusAllele.end() || second == column->locusAllele.end()) continue;
            genotypes[i] = {first->second, second->second};
        }
        input.genotypes.push_back(std::move(genotypes));
    }
    return true;
}

bool likelihoodTraitModel(const Locus* trait, bool xlinked, likelihood::TraitModel& model, std::string& whyNot) {
    const std::vector<double>& frequencies = trait->getAlleleFrequencies();
    if (trait->getType() != 1 || frequencies.size() != 2) {
        whyNot = "the trait locus is not an affection status locus with two alleles";
        return false;
    }
    model = likelihood::TraitModel();
    model.frequencies = {frequencies[0], frequencies[1]};
    for (int c = 0; c < std::max(1, trait->getNumberOfLiabClasses()); ++c) {
        std::array<double, 3> row{};
        for (int g = 0; g < 3; ++g) row[static_cast<size_t>(g)] = trait->getFemalePenetranceClass(c, g);
        std::array<double, 2> male{};
        if (xlinked)
            for (int g = 0; g < 2; ++g) male[static_cast<size_t>(g)] = trait->getMalePenetranceClass(c, g);
        for (double p : row)
            if (p < 0.0 || p > 1.0) whyNot = "the trait locus lacks a penetrance";
        for (double p : male)
            if (p < 0.0 || p > 1.0) whyNot = "the trait locus lacks a male penetrance";
        model.penetrances.push_back(row);
        if (xlinked) model.malePenetrances.push_back(male);
    }
    return whyNot.empty();
}
