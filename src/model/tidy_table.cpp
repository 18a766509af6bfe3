#include "model/tidy_table.h"

#include <cmath>
#include <cstdio>
#include <ostream>
#include <stdexcept>

#include "model/file.h"

TidyTable::TidyTable(std::vector<std::string> columnNames) : columns(std::move(columnNames)) {}

void TidyTable::addRow(std::vector<std::string> fields) {
    if (fields.size() != columns.size())
        throw std::logic_error("tidy table row with " + std::to_string(fields.size()) + " fields for " +
                               std::to_string(columns.size()) + " columns");
    for (std::size_t i = 0; i < fields.size(); ++i) {
        if (i) body += '\t';
        body += fields[i];
    }
    body += '\n';
}

std::string TidyTable::number(double value) {
    if (std::isnan(value)) return missing();
    if (std::isinf(value)) return value > 0 ? "Inf" : "-Inf";
    char text[32];
    std::snprintf(text, sizeof text, "%.10g", value);
    return text;
}

std::string TidyTable::number(long value) { return std::to_string(value); }

bool TidyTable::write(const std::string& fileName) const {
    File file;
    if (!file.openForWriting(fileName)) return false;
    for (std::size_t i = 0; i < columns.size(); ++i) file.text << (i ? "\t" : "") << columns[i];
    file.text << '\n' << body;
    return file.writeTextAndClose();
}
