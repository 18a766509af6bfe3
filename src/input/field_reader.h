#pragma once
// Reads a text file as a stream of white-space separated fields, the way the map, model and
// LINKAGE locus files are laid out: a line may be short and take its values from the next
// one, and the rest of a line after its values (a comment) can be skipped. Keeps the line
// number of every field so that a reader can say where a bad value stands.

#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <iostream>
#include <istream>
#include <string>
#include <vector>

#include "driver/utilities.h"

// A UTF-8 byte-order mark that editors on some platforms put at the start of a text file;
// it is no part of the first field.
inline const std::string kByteOrderMark = "\xEF\xBB\xBF";

inline void skipByteOrderMark(std::istream& in) {
    char mark[3];
    if (in.read(mark, 3) && std::string(mark, 3) == kByteOrderMark) return;
    in.clear();
    in.seekg(0);
}

inline void stripByteOrderMark(std::string& text) {
    if (text.compare(0, kByteOrderMark.size(), kByteOrderMark) == 0) text.erase(0, kByteOrderMark.size());
}

// A line as the user wrote it, for messages: without its line end (CR LF or LF) and the
// blanks around it.
inline std::string trimmedLine(const std::string& line) {
    const size_t first = line.find_first_not_of(" \t\r");
    if (first == std::string::npos) return "";
    return line.substr(first, line.find_last_not_of(" \t\r") - first + 1);
}

enum class FieldStatus { Ok, End, Malformed };

class FieldReader {
public:
    // firstLine: the line number of the input's next line (after a header read separately).
    explicit FieldReader(std::istream& input, int firstLine = 1) : in(input), currentLine(firstLine) {}

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
    int currentLine;
    int fieldLine = 0;
};

// A file of numbers read in order (model and locus files): every value is checked as it is
// read, so that a short or damaged file ends the read with a message naming the file and the
// place instead of leaving values undefined. fileKind starts the message ("Model file").
class NumberFieldReader {
public:
    NumberFieldReader(std::istream& in, const std::string& fileKind, const std::string& fileName)
        : fields(in), fileDescription(fileKind + " " + fileName) {}

    // The line of the value read last, for messages about values out of range.
    int lastLine() const { return fields.lastFieldLine(); }
    const std::string& lastField() const { return fields.lastField(); }

    bool readInt(int& v) { return report(fields.nextInt(v)); }
    bool readDouble(double& v) { return report(fields.nextDouble(v)); }
    bool readDoubles(int n, std::vector<double>& values) {
        values.clear();
        for (int i = 0; i < n; ++i) {
            double v = 0.0;
            if (!readDouble(v)) return false;
            values.push_back(v);
        }
        return true;
    }
    void endLine() { fields.skipRestOfLine(); }

    // Prints a failure with its reason and returns false.
    static bool fail(const std::string& reason) {
        std::cout << "...failed" << std::endl << reason << std::endl;
        return false;
    }

private:
    bool report(FieldStatus status) {
        if (status == FieldStatus::Ok) return true;
        if (status == FieldStatus::End) return fail(fileDescription + " ends before all values were read");
        return fail(fileDescription + " holds \"" + fields.lastField() + "\" at line " +
                    IntToString(fields.lastFieldLine()) + " where a number is expected");
    }

    FieldReader fields;
    std::string fileDescription;
};
