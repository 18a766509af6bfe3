#include "model/file.h"

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

void File::addAllLinesFromOStringStream() {
    if (output.is_open()) output << text.str();
}
