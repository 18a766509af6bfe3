#pragma once
// Plots checked by ghostscript: whether every page of a file renders, the text the pages
// draw, and the number of pages of a PDF.

#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

namespace testing_support {

// True when ghostscript interprets the whole file (PostScript or PDF) without an error.
inline bool rendersInGhostscript(const std::string& file) {
    const std::string command =
        "gs -q -dSAFER -dBATCH -dNOPAUSE -sDEVICE=nullpage '" + file + "' >/dev/null 2>&1 </dev/null";
    return std::system(command.c_str()) == 0;
}

// The text drawn on the pages, as ghostscript's text extraction gives it.
inline std::string textDrawnByGhostscript(const std::string& file) {
    const std::string command =
        "gs -q -dSAFER -dBATCH -dNOPAUSE -sDEVICE=txtwrite -sOutputFile=- '" + file + "' 2>/dev/null </dev/null";
    std::string text;
    if (FILE* pipe = popen(command.c_str(), "r")) {
        char buffer[4096];
        for (size_t n; (n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;) text.append(buffer, n);
        pclose(pipe);
    }
    return text;
}

// The pages of a file as ghostscript counts them while rendering; -1 when it fails.
inline int pagesRenderedByGhostscript(const std::string& file) {
    const std::string command = "gs -q -dSAFER -dBATCH -dNOPAUSE -sDEVICE=bbox '" + file + "' 2>&1 </dev/null";
    int pages = 0;
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) return -1;
    char line[512];
    while (std::fgets(line, sizeof line, pipe))
        if (std::string(line).rfind("%%BoundingBox:", 0) == 0) ++pages;
    return pclose(pipe) == 0 ? pages : -1;
}

// Width and height of what each page draws, as ghostscript renders it (turned as a viewer
// shows it); empty when it fails.
inline std::vector<std::pair<int, int>> drawnPageSizesByGhostscript(const std::string& file) {
    const std::string command = "gs -q -dSAFER -dBATCH -dNOPAUSE -sDEVICE=bbox '" + file + "' 2>&1 </dev/null";
    std::vector<std::pair<int, int>> sizes;
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) return sizes;
    char line[512];
    int left, bottom, right, top;
    while (std::fgets(line, sizeof line, pipe))
        if (std::sscanf(line, "%%%%BoundingBox: %d %d %d %d", &left, &bottom, &right, &top) == 4)
            sizes.emplace_back(right - left, top - bottom);
    if (pclose(pipe) != 0) sizes.clear();
    return sizes;
}

}  // namespace testing_support
