#pragma once
// Values written to and read back from bytes, for the messages between the ranks of a run.
// Both ends run the same build on the same kind of machine, so numbers travel as their bytes
// (doubles bit for bit, which keeps results exact).

#include <cstdint>
#include <cstring>
#include <string>
#include <type_traits>
#include <vector>

class ByteWriter {
public:
    template <class T>
    ByteWriter& put(T value) {
        static_assert(std::is_arithmetic<T>::value, "numbers only");
        const size_t at = bytes.size();
        bytes.resize(at + sizeof value);
        std::memcpy(bytes.data() + at, &value, sizeof value);
        return *this;
    }
    ByteWriter& put(const std::string& text) {
        put<std::uint64_t>(text.size());
        bytes.insert(bytes.end(), text.begin(), text.end());
        return *this;
    }
    ByteWriter& put(const std::vector<double>& values) {
        put<std::uint64_t>(values.size());
        const size_t at = bytes.size();
        bytes.resize(at + values.size() * sizeof(double));
        if (!values.empty()) std::memcpy(bytes.data() + at, values.data(), values.size() * sizeof(double));
        return *this;
    }
    std::vector<char> take() { return std::move(bytes); }

private:
    std::vector<char> bytes;
};

// Reads in the order written; a read past the end fails and leaves the reader failed.
class ByteReader {
public:
    ByteReader(const char* data, size_t size) : data(data), size(size) {}
    explicit ByteReader(const std::vector<char>& bytes) : ByteReader(bytes.data(), bytes.size()) {}
    explicit ByteReader(const std::string& bytes) : ByteReader(bytes.data(), bytes.size()) {}

    template <class T>
    bool get(T& value) {
        static_assert(std::is_arithmetic<T>::value, "numbers only");
        if (!fits(sizeof value)) return false;
        std::memcpy(&value, data + at, sizeof value);
        at += sizeof value;
        return true;
    }
    bool get(std::string& text) {
        std::uint64_t length = 0;
        if (!get(length) || !fits(length)) return false;
        text.assign(data + at, length);
        at += length;
        return true;
    }
    bool get(std::vector<double>& values) {
        std::uint64_t count = 0;
        if (!get(count) || count > size || !fits(count * sizeof(double))) return false;
        values.resize(count);
        if (count) std::memcpy(values.data(), data + at, count * sizeof(double));
        at += count * sizeof(double);
        return true;
    }
    bool ok() const { return !failed; }
    bool atEnd() const { return !failed && at == size; }

private:
    bool fits(std::uint64_t length) {
        if (failed || length > size - at) failed = true;
        return !failed;
    }
    const char* data;
    size_t size;
    size_t at = 0;
    bool failed = false;
};
