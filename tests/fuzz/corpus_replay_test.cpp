// Every kept fuzz input (seeds and the inputs that once broke a reader) read again by its
// reader: under the sanitizer build a crash, leak or undefined behaviour fails this test.

#include <gtest/gtest.h>

#include <algorithm>
#include <dirent.h>
#include <string>
#include <vector>

#include "reader_entries.h"
#include "support/test_support.h"

using namespace testing_support;

namespace {

std::vector<std::string> filesIn(const std::string& dir) {
    std::vector<std::string> names;
    if (DIR* d = opendir(dir.c_str())) {
        while (const dirent* entry = readdir(d))
            if (entry->d_name[0] != '.') names.push_back(dir + "/" + entry->d_name);
        closedir(d);
    }
    std::sort(names.begin(), names.end());
    return names;
}

TEST(FuzzCorpusReplay, EveryKeptInputIsReadWithoutFault) {
    for (const reader_fuzzing::Target& target : reader_fuzzing::targets()) {
        const std::vector<std::string> inputs =
            filesIn(std::string(VARKEL_SOURCE_DIR) + "/tests/fuzz/corpus/" + target.name);
        EXPECT_FALSE(inputs.empty()) << "no corpus for " << target.name;
        for (const std::string& input : inputs) {
            SCOPED_TRACE(input);
            const std::string bytes = readWholeFile(input);
            ScratchDir dir;
            InDirectory inside(dir.path());
            EXPECT_EQ(target.entry(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()), 0);
        }
    }
}

}  // namespace
