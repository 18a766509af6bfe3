#pragma once
// One FASTLINK computation: its input files written into a private directory, its programs run
// there one after another, and its output read back from that directory.

#include <functional>
#include <string>
#include <vector>

struct FastlinkStep {
    std::string program;                 // launcher name, e.g. "mlinkvarkel"
    std::vector<std::string> arguments;  // e.g. {"-l"} for loop breaking
    std::string errorLine;               // the line of the framed error when the program fails
    // UNKNOWN in loop-breaking mode: its "lpedfile.dat" becomes the "pedfile.dat" of the
    // following programs, and its failure has a framed error of its own.
    bool breaksLoops = false;
};

struct FastlinkJob {
    std::string description;  // what the job computes (trait, marker, pedigrees)
    double size = 0.0;        // relative amount of work: larger jobs start first
    std::function<bool(const std::string& directory)> writeInput;
    std::vector<FastlinkStep> steps;
    std::function<bool(const std::string& directory)> readOutput;
};

// The steps of one likelihood run: loop breaking when asked, UNKNOWN, then the program.
std::vector<FastlinkStep> fastlinkSteps(bool breakLoops, const std::string& program, const std::string& errorLine);
