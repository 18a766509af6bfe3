#pragma once
// One entry per input reader: the bytes are written to a file in the working directory and
// read by that reader inside a small fixed context (map, pedigree), with its messages
// discarded. The libFuzzer targets and the corpus replay test call the same entries.

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace reader_fuzzing {

using Entry = int (*)(const std::uint8_t* data, std::size_t size);

// Pedigree files: the first byte selects the settings (bit 0 liability class column, bit 1
// X-linked data, bit 2 no map so that one is generated from the columns); the rest is the file.
int readPedigreePre(const std::uint8_t* data, std::size_t size);
int readPedigreePost(const std::uint8_t* data, std::size_t size);
int readMap(const std::uint8_t* data, std::size_t size);
int readModel(const std::uint8_t* data, std::size_t size);
int readLocusFile(const std::uint8_t* data, std::size_t size);
int readPhenotype(const std::uint8_t* data, std::size_t size);
int readOnlyMarkers(const std::uint8_t* data, std::size_t size);
// PLINK binary files: the .bim text, a NUL byte, the .fam text, a NUL byte, the .bed bytes.
int readPlinkBinary(const std::uint8_t* data, std::size_t size);

struct Target {
    std::string name;  // the corpus directory and the fuzz target's name
    Entry entry;
};
const std::vector<Target>& targets();

}  // namespace reader_fuzzing
