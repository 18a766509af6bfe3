#include "model/tidy_table.h"

#include <sys/stat.h>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <stdexcept>

TidyTable::TidyTable(std::vector<std::string> columnNames) : columns(std::move(columnNames)) {}

void TidyTable::addRow(std::vector<std::string> fields) {
    if (fields.size() != columns.size())
        throw std::logic_error("tidy table row with " + std::to_string(fields.size()) + " fields for " +
                               std::to_string(columns.size()) + " columns");
    rows.push_back(std::move(fields));
}

std::string TidyTable::number(double value) {
    if (std::isnan(value)) return missing();
    if (std::isinf(value)) return value > 0 ? "Inf" : "-Inf";
    char text[32];
    std::snprintf(text, sizeof text, "%.10g", value);
    return text;
}

std::string TidyTable::number(long value) { return std::to_string(value); }

static void appendLine(std::string& text, const std::vector<std::string>& fields) {
    for (std::size_t i = 0; i < fields.size(); ++i) {
        if (i) text += '\t';
        text += fields[i];
    }
    text += '\n';
}

bool TidyTable::write(const std::string& fileName) const {
    std::string text;
    appendLine(text, columns);
    for (const auto& row : rows) appendLine(text, row);

    std::FILE* file = std::fopen(fileName.c_str(), "w");
    if (!file) {
        std::cout << "Error: Unable to open " << fileName << " for writing: " << std::strerror(errno) << std::endl;
        return false;
    }
    bool written = std::fwrite(text.data(), 1, text.size(), file) == text.size();
    int writeErrno = errno;
    if (std::fclose(file) != 0 && written) {
        written = false;
        writeErrno = errno;
    }
    if (!written) {
        // Only a regular file is removed: a device standing in the file's place is left alone.
        struct stat status;
        if (stat(fileName.c_str(), &status) == 0 && S_ISREG(status.st_mode)) std::remove(fileName.c_str());
        std::cout << "Error: Unable to write " << fileName << ": " << std::strerror(writeErrno) << std::endl;
    }
    return written;
}
