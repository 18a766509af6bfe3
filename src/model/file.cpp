#include "model/file.h"

#include <sys/stat.h>

#include <cstdio>
#include <iostream>

File::~File() {
    closeFile("read");
    closeFile("write");
}

bool File::openFile(const std::string& name, const std::string& mode) {
    if (mode == "read") {
        input.open(name);
        return isOpen("read");
    }
    if (mode == "write") {
        outputName = name;
        output.open(name, std::ios::out | std::ios::trunc);
        return isOpen("write");
    }
    return false;
}

bool File::isOpen(const std::string& mode) const {
    if (mode == "read") return input.is_open() && !input.fail();
    if (mode == "write") return output.is_open() && !output.fail();
    return false;
}

void File::closeFile(const std::string& mode) {
    if (mode == "read" && input.is_open()) input.close();
    if (mode == "write" && output.is_open()) output.close();
}

std::string File::getLine() {
    std::string line;
    if (!input.is_open() || !std::getline(input, line)) return "";
    return line;
}

void File::getAllLinesInOStringStream() {
    if (!input.is_open()) return;
    std::string line;
    while (std::getline(input, line)) {
        if (input.eof()) {
            text << line;  // the last line had no line end
            break;
        }
        text << line << '\n';
    }
}

bool File::openForWriting(const std::string& name) {
    if (openFile(name, "write")) return true;
    std::cout << "Error: Unable to open " << name << " for writing!" << std::endl;
    return false;
}

bool File::writeTextAndClose() {
    if (!output.is_open()) return false;
    output << text.str();
    output.close();  // flushes: a full disk shows here at the latest
    if (!output.fail()) return true;
    std::cout << "Error: Unable to write " << outputName << std::endl;
    // Only a regular file is removed: a device standing in the file's place is left alone.
    struct stat status;
    if (stat(outputName.c_str(), &status) == 0 && S_ISREG(status.st_mode)) std::remove(outputName.c_str());
    return false;
}
