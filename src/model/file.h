#pragma once
// One input file, one output file and a text buffer. Report writers compose a whole
// report in the buffer and write it in one step; loading readers parse from the buffer.

#include <fstream>
#include <sstream>
#include <string>

class File {
public:
    File() = default;
    ~File();
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    // mode "read" opens the input file, "write" creates or truncates the output file.
    bool openFile(const std::string& name, const std::string& mode);
    bool isOpen(const std::string& mode) const;
    void closeFile(const std::string& mode);
    std::string getLine();
    void getAllLinesInOStringStream();
    // Writes the buffer to the output file and closes it. On failure (a full disk, an I/O
    // error) prints "Error: Unable to write" and the name, removes the partial file and
    // returns false: a report is written whole or not at all.
    bool writeTextAndClose();
    // Opens the output file; on failure prints "Error: Unable to open <name> for writing!".
    bool openForWriting(const std::string& name);

    std::stringstream text;

private:
    std::ifstream input;
    std::ofstream output;
    std::string outputName;
};
