#pragma once
// Reads a text file as a stream of white-space separated fields, the way the map, model and
// LINKAGE locus files are laid out: a line may be short and take its values from the next
// one, and the rest of a line after its values (a comment) can be skipped. Keeps the line
// number of every field so that a reader can say where a bad value stands.

#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <istream>
#include <string>

enum class FieldStatus { Ok, End, Malformed };

class FieldReader {
public:
    explicit FieldReader(std::istream& input) : in(input) {}

    // Next field; false when the input holds no further field.
    bool next(std::string& field) {
        field.clear();
        int c = in.get();
        while (c != EOF && std::isspace(c)) {
            if (c == '\n') ++currentLine;
            c = in.get();
        }
        if (c == EOF) return false;
        fieldLine = currentLine;
        while (c != EOF && !std::isspace(c)) {
            field.push_back(static_cast<char>(c));
            c = in.get();
        }
        if (c != EOF) in.unget();
        last = field;
        return true;
    }

    FieldStatus nextInt(int& value) {
        if (!next(last)) return FieldStatus::End;
        const char* text = last.c_str();
        char* end = nullptr;
        errno = 0;
        const long v = std::strtol(text, &end, 10);
        if (end == text || *end != '\0' || errno == ERANGE || v < -2147483647L || v > 2147483647L)
            return FieldStatus::Malformed;
        value = static_cast<int>(v);
        return FieldStatus::Ok;
    }

    FieldStatus nextDouble(double& value) {
        if (!next(last)) return FieldStatus::End;
        const char* text = last.c_str();
        char* end = nullptr;
        const double v = std::strtod(text, &end);
        if (end == text || *end != '\0' || !std::isfinite(v)) return FieldStatus::Malformed;
        value = v;
        return FieldStatus::Ok;
    }

    // Drops the rest of the current line (at most 10000 characters, like a trailing comment).
    void skipRestOfLine() {
        for (int i = 0; i < 10000; ++i) {
            const int c = in.get();
            if (c == EOF) return;
            if (c == '\n') {
                ++currentLine;
                return;
            }
        }
    }

    const std::string& lastField() const { return last; }
    int lastFieldLine() const { return fieldLine; }

private:
    std::istream& in;
    std::string last;
    int currentLine = 1;
    int fieldLine = 0;
};
