// MAKEPED converter: turns a pedigree file in the short LINKAGE layout (pedigree, person,
// father, mother, sex, further columns) into the layout with numbered persons and the
// pointer columns that the FASTLINK programs read.
//
//   makepedpseudo <input> <output> <letter>
//
// The letter answers whether the pedigrees have loops; only "n" is accepted: loops are
// broken later by UNKNOWN in loop mode. Pedigrees are numbered 1, 2, ... in order of first
// appearance and persons 1, 2, ... within their pedigree in file order. Each output line is
//   pedigree person father mother first-offspring next-paternal-sibling
//   next-maternal-sibling sex proband <further columns unchanged> Ped: <id> Per: <id>
// where the tail keeps the user's identifiers. Nothing is written unless the whole input
// converts; the output is written under a temporary name and renamed at the end.

#include <charconv>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace {

struct Person {
    std::string id, father, mother, sex;
    std::string rest;  // the further columns as written
    int line = 0;
    int fatherNumber = 0, motherNumber = 0;
    int firstOffspring = 0, nextPaternalSibling = 0, nextMaternalSibling = 0;
};

struct Family {
    std::string id;
    std::vector<Person> persons;  // file order; person number = position + 1
    std::map<std::string, int> numberOf;
};

bool isSeparator(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\v' || c == '\f'; }

// Splits off the first `wanted` fields and keeps the remaining text (trimmed) in rest.
// Returns the total number of fields on the line.
int splitLine(const std::string& line, std::vector<std::string>& first, size_t wanted, std::string& rest) {
    first.clear();
    rest.clear();
    int fields = 0;
    size_t p = 0, restStart = std::string::npos, restEnd = 0;
    while (p < line.size()) {
        if (isSeparator(line[p])) {
            ++p;
            continue;
        }
        const size_t start = p;
        while (p < line.size() && !isSeparator(line[p])) ++p;
        ++fields;
        if (first.size() < wanted) {
            first.push_back(line.substr(start, p - start));
        } else {
            if (restStart == std::string::npos) restStart = start;
            restEnd = p;
        }
    }
    if (restStart != std::string::npos) rest = line.substr(restStart, restEnd - restStart);
    return fields;
}

int fail(const std::string& message) {
    std::cerr << "makepedpseudo: " << message << std::endl;
    return 1;
}

std::string& appendNumber(std::string& text, size_t number) {
    char digits[24];
    const auto end = std::to_chars(digits, digits + sizeof digits, number).ptr;
    return text.append(digits, static_cast<size_t>(end - digits));
}

std::string where(const std::string& file, int line) { return file + ", line " + std::to_string(line); }

// Links every child into its parents' offspring chains, in file order.
void setPointers(Family& family) {
    std::vector<int> lastChildOfFather(family.persons.size() + 1, 0);
    std::vector<int> lastChildOfMother(family.persons.size() + 1, 0);
    for (size_t i = 0; i < family.persons.size(); ++i) {
        const int number = static_cast<int>(i) + 1;
        const Person& child = family.persons[i];
        for (const int parent : {child.fatherNumber, child.motherNumber}) {
            if (parent == 0) continue;
            Person& p = family.persons[static_cast<size_t>(parent - 1)];
            if (p.firstOffspring == 0) p.firstOffspring = number;
        }
        if (child.fatherNumber != 0) {
            int& last = lastChildOfFather[static_cast<size_t>(child.fatherNumber)];
            if (last != 0) family.persons[static_cast<size_t>(last - 1)].nextPaternalSibling = number;
            last = number;
        }
        if (child.motherNumber != 0) {
            int& last = lastChildOfMother[static_cast<size_t>(child.motherNumber)];
            if (last != 0) family.persons[static_cast<size_t>(last - 1)].nextMaternalSibling = number;
            last = number;
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) return fail("usage: makepedpseudo <input> <output> <letter>");
    const std::string inputName = argv[1];
    const std::string outputName = argv[2];
    const std::string letter = argv[3];
    if (letter != "n")
        return fail("answer \"" + letter +
                    "\" not supported: only \"n\" (pedigrees treated as loop-free; loops are broken later)");

    std::ifstream input(inputName);
    if (!input.is_open()) return fail("cannot open input file " + inputName);

    std::vector<Family> families;
    std::map<std::string, size_t> familyIndex;
    std::string text, rest;
    std::vector<std::string> fixed;
    int expectedColumns = -1, firstLine = 0;
    for (int lineNumber = 1; std::getline(input, text); ++lineNumber) {
        // A UTF-8 byte-order mark is no part of the first pedigree identifier.
        if (lineNumber == 1 && text.compare(0, 3, "\xEF\xBB\xBF") == 0) text.erase(0, 3);
        const int columns = splitLine(text, fixed, 5, rest);
        if (columns == 0) continue;
        if (expectedColumns < 0) {
            if (columns < 5)
                return fail(where(inputName, lineNumber) + ": " + std::to_string(columns) +
                            " columns, at least 5 needed (pedigree, person, father, mother, sex)");
            expectedColumns = columns;
            firstLine = lineNumber;
        } else if (columns != expectedColumns) {
            return fail(where(inputName, lineNumber) + ": " + std::to_string(columns) + " columns, but line " +
                        std::to_string(firstLine) + " has " + std::to_string(expectedColumns));
        }
        auto found = familyIndex.find(fixed[0]);
        if (found == familyIndex.end()) {
            found = familyIndex.emplace(fixed[0], families.size()).first;
            families.push_back(Family());
            families.back().id = fixed[0];
        }
        Family& family = families[found->second];
        const int number = static_cast<int>(family.persons.size()) + 1;
        if (!family.numberOf.emplace(fixed[1], number).second)
            return fail(where(inputName, lineNumber) + ": person " + fixed[1] + " of pedigree " + fixed[0] +
                        " is listed twice (first at line " +
                        std::to_string(family.persons[static_cast<size_t>(family.numberOf[fixed[1]] - 1)].line) +
                        ")");
        Person person;
        person.id = fixed[1];
        person.father = fixed[2];
        person.mother = fixed[3];
        person.sex = fixed[4];
        person.rest = rest;
        person.line = lineNumber;
        family.persons.push_back(std::move(person));
    }
    if (input.bad()) return fail("cannot read input file " + inputName);
    if (families.empty()) return fail(inputName + ": no pedigree records");

    for (Family& family : families) {
        for (Person& person : family.persons) {
            for (auto [parentId, number] : {std::make_pair(&person.father, &person.fatherNumber),
                                            std::make_pair(&person.mother, &person.motherNumber)}) {
                if (*parentId == "0") continue;
                const auto parent = family.numberOf.find(*parentId);
                if (parent == family.numberOf.end())
                    return fail(where(inputName, person.line) + ": parent " + *parentId + " of person " +
                                person.id + " is not in pedigree " + family.id);
                *number = parent->second;
            }
        }
        setPointers(family);
    }

    // The output is formatted into one buffer and written at once: the run goes on beside the
    // reading of large files, so it should take as little of the machine as it can.
    std::string output;
    for (size_t f = 0; f < families.size(); ++f) {
        const Family& family = families[f];
        for (size_t i = 0; i < family.persons.size(); ++i) {
            const Person& p = family.persons[i];
            for (const size_t number : {f + 1, i + 1, static_cast<size_t>(p.fatherNumber),
                                        static_cast<size_t>(p.motherNumber), static_cast<size_t>(p.firstOffspring),
                                        static_cast<size_t>(p.nextPaternalSibling),
                                        static_cast<size_t>(p.nextMaternalSibling)})
                appendNumber(output, number).push_back(' ');
            output.append(p.sex).append(i == 0 ? " 1" : " 0");
            if (!p.rest.empty()) output.append(" ").append(p.rest);
            output.append("  Ped: ").append(family.id).append("  Per: ").append(p.id).push_back('\n');
        }
    }
    const std::string temporaryName = outputName + ".partial";
    std::FILE* file = std::fopen(temporaryName.c_str(), "w");
    if (!file) return fail("cannot write output file " + temporaryName);
    const bool written = std::fwrite(output.data(), 1, output.size(), file) == output.size();
    if (std::fclose(file) != 0 || !written) {
        std::remove(temporaryName.c_str());
        return fail("cannot write output file " + temporaryName);
    }
    if (std::rename(temporaryName.c_str(), outputName.c_str()) != 0) {
        std::remove(temporaryName.c_str());
        return fail("cannot rename " + temporaryName + " to " + outputName);
    }
    return 0;
}
