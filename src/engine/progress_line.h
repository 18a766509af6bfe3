#pragma once
// One line on a terminal, rewritten in place while work goes on: what is done of how much,
// the time elapsed and an estimate of the time left. Nothing when the output is not a
// terminal, with --quiet, or when asked not to show.

#include <chrono>
#include <string>

class ProgressLine {
public:
    // `label` opens the line, e.g. "FASTLINK jobs".
    ProgressLine(std::string label, size_t total, bool enabled);
    // `doneShare` is the share of the work done (by its estimated cost) for the time left;
    // `detail` goes after the count, e.g. "3/4 ranks busy".
    void update(size_t done, double doneShare, const std::string& detail = "");
    void update(size_t done) { update(done, total ? static_cast<double>(done) / static_cast<double>(total) : 1.0); }
    // Blanks the line, so that the next output starts clean.
    void clear();

private:
    std::string label;
    size_t total;
    bool enabled;
    bool shown = false;
    size_t width = 0;
    std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
    std::chrono::steady_clock::time_point lastShown{};
};

// "m:ss", or "h:mm:ss" from an hour on.
std::string clockText(double seconds);
