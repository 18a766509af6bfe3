#include "input/text_pieces.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "input/field_reader.h"

namespace {

// Big enough that reading costs few calls, small enough to stay in the processor's caches.
constexpr size_t kPiece = size_t{256} << 10;

// Reads the rest of an open file into bytes from `filled` on, growing them as needed; false
// on a read error. bytes end up holding exactly what was read.
bool readRest(int descriptor, FileBytes& bytes, size_t filled) {
    for (;;) {
        if (filled == bytes.size()) bytes.resize(std::max(kPiece, 2 * bytes.size()));
        const ssize_t got = ::read(descriptor, bytes.data() + filled, bytes.size() - filled);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) {
            bytes.resize(filled);
            return got == 0;
        }
        filled += static_cast<size_t>(got);
    }
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
    const bool complete = readRest(descriptor, bytes, 0);
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
        readFailed = !readRest(descriptor, buffer, 0);
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
    if (buffer.size() < wanted) buffer.resize(std::max(wanted, 2 * buffer.size()));
    while (!endOfFile && filled < wanted) {
        const ssize_t got = ::read(descriptor, buffer.data() + filled, buffer.size() - filled);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) {
            endOfFile = true;
            readFailed = readFailed || got < 0;
        } else {
            filled += static_cast<size_t>(got);
        }
    }
}

void TextPieces::startText() {
    const std::string_view held(buffer.data(), filled);
    text = buffer.data() + (held.size() - withoutByteOrderMark(held).size());
}
