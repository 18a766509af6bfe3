#pragma once
// Files read whole (the PLINK files), and text files read piece by piece (pedigree files).
//
// A pedigree file of SNP data is tens of megabytes. Read whole, it needs a block of its size,
// whose pages the system must find and clear one by one, and every scan of the block runs
// through main memory. Read in pieces of a few hundred kilobytes into one buffer used again
// and again, the text stays in the processor's caches while it is scanned, and the file can
// be scanned twice (once for its layout, once for its records) at little cost.

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "model/large_blocks.h"

using FileBytes = std::vector<char, LargeBlockAllocator<char>>;

// Reads a whole file into bytes. Broken: a read failed (a directory, an I/O error), and bytes
// hold what came before.
enum class FileRead { Whole, NotOpened, Broken };
FileRead readWholeFile(const std::string& name, FileBytes& bytes);

// The text without a leading UTF-8 byte-order mark.
std::string_view withoutByteOrderMark(std::string_view text);

// Gives the fields of the text [p, lineEnd), split where isSeparator(character) holds, to
// visit(field) in order, until visit returns false.
template <class IsSeparator, class Visit>
void forEachField(const char* p, const char* lineEnd, IsSeparator isSeparator, Visit visit) {
    while (p < lineEnd) {
        if (isSeparator(*p)) {
            ++p;
            continue;
        }
        const char* start = p;
        while (p < lineEnd && !isSeparator(*p)) ++p;
        if (!visit(std::string_view(start, static_cast<size_t>(p - start)))) return;
    }
}

// The fields of the text [p, lineEnd) in order.
template <class IsSeparator>
void splitFields(const char* p, const char* lineEnd, IsSeparator isSeparator, std::vector<std::string>& fields) {
    fields.clear();
    forEachField(p, lineEnd, isSeparator, [&](std::string_view field) {
        fields.emplace_back(field);
        return true;
    });
}

// A text file (without a leading byte-order mark) held a piece at a time: the text from
// begin() to end(), where end() is the end of the file once atEndOfFile(). A reader walks the
// piece and, where it needs text beyond end(), asks for it with keep(). A file that cannot be
// read twice (a pipe) is held whole.
class TextPieces {
public:
    TextPieces() = default;
    ~TextPieces();
    TextPieces(const TextPieces&) = delete;
    TextPieces& operator=(const TextPieces&) = delete;

    // Opens the file at its start with the first piece; false when it cannot be opened.
    bool open(const std::string& name);
    // Back to the start of the file.
    bool rewind();
    const char* begin() const { return text; }
    const char* end() const { return buffer.data() + filled; }
    bool atEndOfFile() const { return endOfFile; }
    // Keeps the text from `from` on (a place in the piece held) and reads on until at least
    // `wanted` bytes from there are held or the file ends; returns where that text lies now.
    const char* keep(const char* from, size_t wanted);
    // Whether every read so far succeeded.
    bool good() const { return !readFailed; }

private:
    void readOn(size_t wanted);
    void startText();

    int descriptor = -1;
    FileBytes buffer;
    size_t filled = 0;
    const char* text = nullptr;
    bool endOfFile = false;
    bool readFailed = false;
};
