#include "input/text_pieces.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>

#include "input/field_reader.h"

namespace {

// Big enough that reading costs few calls, small enough to stay in the processor's caches.
constexpr size_t kPiece = size_t{256} << 10;

// Reads on from an open file into bytes from `filled` on until `wanted` bytes are held or the
// file ends, doubling bytes whenever they are full.
struct ReadOn {
    size_t filled;
    bool ended, failed;
};
ReadOn readUpTo(int descriptor, FileBytes& bytes, size_t filled, size_t wanted) {
    while (filled < wanted) {
        if (filled == bytes.size()) bytes.resize(std::max(kPiece, 2 * bytes.size()));
        const ssize_t got = ::read(descriptor, bytes.data() + filled, bytes.size() - filled);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return {filled, true, got < 0};
        filled += static_cast<size_t>(got);
    }
    return {filled, false, false};
}

// Reads the rest of an open file into bytes, which end up holding exactly what was read;
// false on a read error.
bool readRest(int descriptor, FileBytes& bytes) {
    const ReadOn read = readUpTo(descriptor, bytes, 0, SIZE_MAX);
    bytes.resize(read.filled);
    return !read.failed;
}

}  // namespace

FileRead readWholeFile(const std::string& name, FileBytes& bytes) {
    const int descriptor = ::open(name.c_str(), O_RDONLY);
    if (descriptor < 0) return FileRead::NotOpened;
    // A regular file is read in one piece: one more byte than its size finds its end at once.
    struct stat status {};
    bytes.clear();
    if (::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode))
        bytes.resize(static_cast<size_t>(status.st_size) + 1);
    const bool complete = readRest(descriptor, bytes);
    ::close(descriptor);
    return complete ? FileRead::Whole : FileRead::Broken;
}

std::string_view withoutByteOrderMark(std::string_view text) {
    if (text.substr(0, kByteOrderMark.size()) == kByteOrderMark) text.remove_prefix(kByteOrderMark.size());
    return text;
}

TextPieces::~TextPieces() {
    if (descriptor >= 0) ::close(descriptor);
}

bool TextPieces::open(const std::string& name) {
    descriptor = ::open(name.c_str(), O_RDONLY);
    if (descriptor < 0) return false;
    struct stat status {};
    if (::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
        readFailed = !readRest(descriptor, buffer);
        filled = buffer.size();
        endOfFile = true;
        ::close(descriptor);
        descriptor = -1;
        startText();
        return true;
    }
    return rewind();
}

bool TextPieces::rewind() {
    if (descriptor >= 0) {
        if (::lseek(descriptor, 0, SEEK_SET) != 0) {
            readFailed = true;
            return false;
        }
        filled = 0;
        endOfFile = false;
        readOn(kPiece);
    }
    startText();
    return true;
}

const char* TextPieces::keep(const char* from, size_t wanted) {
    if (endOfFile) return from;
    const size_t held = static_cast<size_t>(end() - from);
    std::memmove(buffer.data(), from, held);
    filled = held;
    readOn(wanted);  // may move the buffer
    text = buffer.data();
    return text;
}

void TextPieces::readOn(size_t wanted) {
    const ReadOn read = readUpTo(descriptor, buffer, filled, wanted);
    filled = read.filled;
    endOfFile = read.ended;
    readFailed = readFailed || read.failed;
}

void TextPieces::startText() {
    const std::string_view held(buffer.data(), filled);
    text = buffer.data() + (held.size() - withoutByteOrderMark(held).size());
}
