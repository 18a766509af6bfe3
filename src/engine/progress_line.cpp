#include "engine/progress_line.h"

#include <cstdio>
#include <iostream>

#include "driver/utilities.h"

std::string clockText(double seconds) {
    const long total = static_cast<long>(seconds + 0.5);
    char text[32];
    if (total >= 3600) std::snprintf(text, sizeof text, "%ld:%02ld:%02ld", total / 3600, total / 60 % 60, total % 60);
    else std::snprintf(text, sizeof text, "%ld:%02ld", total / 60, total % 60);
    return text;
}

ProgressLine::ProgressLine(std::string label, size_t total, bool enabled)
    : label(std::move(label)), total(total), enabled(enabled && showsProgress()) {}

void ProgressLine::update(size_t done, double doneShare, const std::string& detail) {
    if (!enabled) return;
    const auto now = std::chrono::steady_clock::now();
    if (done < total && now - lastShown < std::chrono::milliseconds(250)) return;
    lastShown = now;
    const double elapsed = std::chrono::duration<double>(now - start).count();
    std::string line = label + ": " + std::to_string(done) + "/" + std::to_string(total) + " done, ";
    if (!detail.empty()) line += detail + ", ";
    line += clockText(elapsed) + " elapsed";
    if (done > 0 && done < total && doneShare > 0.0 && doneShare < 1.0)
        line += ", about " + clockText(elapsed / doneShare * (1.0 - doneShare)) + " left";
    std::cout << "\r" << line << std::string(width > line.size() ? width - line.size() : 0, ' ') << std::flush;
    width = line.size();
    shown = true;
}

void ProgressLine::clear() {
    if (!shown) return;
    std::cout << "\r" << std::string(width, ' ') << "\r" << std::flush;
    shown = false;
}
