#pragma once
// Helpers of the input tests: a reader call with what it printed, failure tables, person lookup.

#include <string>
#include <vector>

#include "model/pedigrees.h"
#include "support/test_support.h"

namespace input_tests {
using namespace testing_support;

struct Outcome {
    int result = -1;
    std::string out;  // what the reader printed
};

template <class F>
Outcome attempt(F&& read) {
    Outcome o;
    o.out = captureOutput([&] { o.result = read(); });
    return o;
}

struct Case {
    std::string content, message;
};

// read(content) of each case must fail and print "...failed", then the case's message.
template <class F>
void expectFailures(const std::vector<Case>& cases, F&& read) {
    for (const Case& c : cases) {
        SCOPED_TRACE(c.content);
        const Outcome r = read(c.content);
        EXPECT_EQ(r.result, 0);
        EXPECT_TRUE(contains(r.out, "...failed\n" + c.message)) << r.out;
    }
}

inline const Person* person(const Pedigrees& p, const std::string& pedigree, const std::string& id) {
    const Pedigree* ped = p.getPedigrees()->find(pedigree);
    return ped ? ped->getPerson(id) : nullptr;
}

}  // namespace input_tests
