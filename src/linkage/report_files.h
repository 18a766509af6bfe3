#pragma once
// A linkage report file: opened with the analysis's banner and the common header, composed in
// the file's text buffer and written in one step.

#include <iostream>
#include <string>

#include "model/file.h"
#include "model/pedigrees.h"

inline bool openReport(File& file, const std::string& fileName, const std::string& banner, const Pedigrees* pedigrees) {
    if (!file.openForWriting(fileName)) return false;
    file.text << banner << "\n" << pedigrees->getCommonHeader();
    return true;
}

// False, with the message printed, when the report could not be written whole.
inline bool closeReport(File& file) { return file.writeTextAndClose(); }
