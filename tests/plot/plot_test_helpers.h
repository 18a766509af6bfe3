#pragma once
// Shared checks of the plot tests: rendering through ghostscript and picking lines.

#include <cstdlib>
#include <string>
#include <vector>

#include "support/test_support.h"

namespace plot_test {

// True when ghostscript interprets every page of the file without error.
inline bool rendersInGhostscript(const std::string& path) {
    const std::string command =
        "gs -q -dSAFER -dBATCH -dNOPAUSE -sDEVICE=nullpage '" + path + "' > /dev/null 2>&1";
    return std::system(command.c_str()) == 0;
}

// Lines of the text that contain the given part, in file order.
inline std::vector<std::string> linesWith(const std::string& text, const std::string& part) {
    std::vector<std::string> found;
    for (const std::string& line : testing_support::lines(text))
        if (line.find(part) != std::string::npos) found.push_back(line);
    return found;
}

inline int countLines(const std::string& text, const std::string& line) {
    int count = 0;
    for (const std::string& l : testing_support::lines(text))
        if (l == line) ++count;
    return count;
}

// The lines every plot file starts with.
inline std::vector<std::string> prologue(int pageCount) {
    return {"%!PS-Adobe-1.0", "%%Pages: " + std::to_string(pageCount), "%%BeginDocument", "/scaleTimes{",
            "   /Times-Roman findfont", "   exch scalefont", "  setfont", " } def",
            "/fillbox {setgray fill} def"};
}

}  // namespace plot_test
