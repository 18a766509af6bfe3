#pragma once
// The scan figure read back from its PostScript text, one drawing operator call per line, and
// its axes recovered from what the page draws: positions from the cM tick labels, LODs from
// the guides at LOD 3 and -2.

#include <sstream>
#include <string>
#include <utility>
#include <vector>

// The content of a PostScript string literal.
inline std::string unescapedPostScript(const std::string& literal) {
    std::string text;
    for (size_t i = 0; i < literal.size(); ++i) {
        if (literal[i] != '\\' || i + 1 == literal.size()) {
            text += literal[i];
            continue;
        }
        const char next = literal[++i];
        if (next >= '0' && next <= '7') {
            text += static_cast<char>(std::stoi(literal.substr(i, 3), nullptr, 8));
            i += 2;
        } else {
            text += next;
        }
    }
    return text;
}

struct ScanPage {
    using Point = std::pair<double, double>;  // page x, y
    std::vector<Point> lodPoints, hlodPoints;
    std::vector<std::vector<Point>> profile;  // pieces of the multipoint line
    std::vector<std::pair<double, double>> positionTicks, lodTicks, guides;  // page coordinate, value
    std::vector<double> markerTicks;
    std::vector<std::pair<double, std::string>> markerNames;
    std::vector<std::string> bestLabels;

    double position(double x) const {
        const auto& a = positionTicks.front();
        const auto& b = positionTicks.back();
        return a.second + (x - a.first) * (b.second - a.second) / (b.first - a.first);
    }
    double guideY(double lod) const {
        for (const auto& guide : guides)
            if (guide.second == lod) return guide.first;
        return 0.0;
    }
    double lod(double y) const { return -2.0 + (y - guideY(-2.0)) * 5.0 / (guideY(3.0) - guideY(-2.0)); }
    double lowestGuideY() const { return guideY(-2.0); }
};

// "<numbers> (<text>) <operator>" split into the numbers and the text.
inline bool readCall(const std::string& line, const std::string& op, std::vector<double>& numbers, std::string& text) {
    if (line.size() <= op.size() || line.compare(line.size() - op.size() - 1, op.size() + 1, " " + op) != 0)
        return false;
    std::string body = line.substr(0, line.size() - op.size() - 1);
    text.clear();
    const size_t open = body.find('(');
    if (open != std::string::npos) {
        const size_t close = body.rfind(')');
        text = unescapedPostScript(body.substr(open + 1, close - open - 1));
        body = body.substr(0, open);
    }
    std::istringstream in(body);
    numbers.clear();
    for (double value; in >> value;) numbers.push_back(value);
    return true;
}

inline std::vector<ScanPage> readScanPages(const std::string& postScript) {
    std::vector<ScanPage> pages;
    std::istringstream in(postScript);
    std::vector<double> n;
    std::string text;
    for (std::string line; std::getline(in, line);) {
        if (line.rfind("%%Page: ", 0) == 0) {
            pages.emplace_back();
            continue;
        }
        if (pages.empty()) continue;
        ScanPage& page = pages.back();
        if (readCall(line, "lodpoint", n, text) && n.size() == 2) page.lodPoints.emplace_back(n[0], n[1]);
        else if (readCall(line, "hlodpoint", n, text) && n.size() == 2) page.hlodPoints.emplace_back(n[0], n[1]);
        else if (readCall(line, "profilestart", n, text) && n.size() == 2) page.profile.push_back({{n[0], n[1]}});
        else if (readCall(line, "profileto", n, text) && n.size() == 2 && !page.profile.empty())
            page.profile.back().emplace_back(n[0], n[1]);
        else if (readCall(line, "xtick", n, text) && n.size() == 1) page.positionTicks.emplace_back(n[0], std::stod(text));
        else if (readCall(line, "ytick", n, text) && n.size() == 1) page.lodTicks.emplace_back(n[0], std::stod(text));
        else if (readCall(line, "guide", n, text) && n.size() == 1) page.guides.emplace_back(n[0], std::stod(text));
        else if (readCall(line, "markertick", n, text) && n.size() == 1) page.markerTicks.push_back(n[0]);
        else if (readCall(line, "markername", n, text) && n.size() == 1) page.markerNames.emplace_back(n[0], text);
        else if (readCall(line, "bestlabel", n, text) && n.size() == 2) page.bestLabels.push_back(text);
    }
    return pages;
}
