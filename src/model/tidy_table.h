#pragma once
// A tab-separated result table with one header line, for reading into R or pandas:
// numbers in full precision, missing values as NA, infinities as Inf and -Inf (both
// read as numbers by R's read.delim and pandas' read_csv).

#include <string>
#include <vector>

class TidyTable {
public:
    explicit TidyTable(std::vector<std::string> columns);

    // One field per column, in the header's order.
    void addRow(std::vector<std::string> fields);

    static std::string number(double value);  // %.10g; NaN as NA
    static std::string number(long value);
    static const char* missing() { return "NA"; }

    // Writes the whole table, like every report: on failure the message is printed, nothing
    // is left half-written and the result is false.
    bool write(const std::string& fileName) const;

private:
    std::vector<std::string> columns;
    std::string body;  // the rows as they will be written

};
