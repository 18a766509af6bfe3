#include "driver/utilities.h"

#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <iostream>
#include <sstream>

#include "engine/cluster.h"
#include "engine/process.h"
#include "engine/run_directory.h"

std::string IntToString(int i) {
    std::ostringstream out;
    out << i;
    return out.str();
}

std::string doubleToString(double x) {
    std::ostringstream out;
    out << x;
    return out.str();
}

int stringToInt(const std::string& s) { return static_cast<int>(std::strtol(s.c_str(), nullptr, 10)); }

double stringToDouble(const std::string& s) { return std::strtod(s.c_str(), nullptr); }

std::string stringToLower(std::string s) {
    for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return s;
}

double changeValueLengthToTwo(double x) {
    // Round exactly as the reports print it, so printed and compared values agree.
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%.2f", x);
    return std::strtod(buffer, nullptr);
}

std::string secondsToCorrectTimeFormat(double seconds) {
    double hours = 0.0;
    double minutes = 0.0;
    if (seconds >= 60.0) {
        minutes = std::floor(seconds / 60.0);
        seconds -= 60.0 * minutes;
        if (seconds == 60.0) {
            minutes += 1.0;
            seconds = 0.0;
        }
        if (minutes >= 60.0) {
            hours = std::floor(minutes / 60.0);
            minutes -= 60.0 * hours;
            if (minutes == 60.0) {
                hours += 1.0;
                minutes = 0.0;
            }
        }
    }
    if (hours > 0.0)
        return doubleToString(hours) + " hours  " + doubleToString(minutes) + " minutes  " +
               doubleToString(seconds) + " seconds";
    if (minutes > 0.0) return doubleToString(minutes) + " minutes  " + doubleToString(seconds) + " seconds";
    return doubleToString(seconds) + " seconds";
}

std::string current_time_and_date() {
    std::time_t now = std::time(nullptr);
    return std::ctime(&now);
}

int execute_external_command(const std::vector<std::string>& command, bool echo, bool terminalInput) {
    if (command.empty()) return 127;
    ProcessOptions options;
    if (echo) {
        std::string line = "External command:";
        for (const std::string& word : command) line += " " + word;
        std::cout << line << std::endl;
    } else {
        options.standardOutput = "/dev/null";
    }
    // Programs run unattended: a prompt reads end of input instead of waiting for a key.
    if (terminalInput) options.standardInput.clear();
    std::cout.flush();
    std::string error;
    const pid_t process = startProcess(command, options, error);
    if (process < 0) {
        std::cout << "Unable to run " << command.front() << ": " << error << std::endl;
        return 127;
    }
    int status;
    while ((status = waitForProcess(process)) < 0 && errno == EINTR) {
    }
    return status;
}

bool copy_file(const char* source, const char* destination) {
    std::ifstream in(source);
    if (!in) {
        std::cout << "Error: Unable to open " << source << " for reading!" << std::endl;
        return false;
    }
    std::ofstream out(destination, std::ios::out | std::ios::trunc);
    if (!out) {
        std::cout << "Error: Unable to open " << destination << " for writing!" << std::endl;
        return false;
    }
    std::string line;
    while (std::getline(in, line)) {
        if (line.empty()) {
            std::cout << "EMPTY" << std::endl;
            continue;
        }
        out << line << '\n';
    }
    return true;
}

void delete_intermediate_files() { run_directory::remove(); }

namespace {
bool quietConsole = false;
}  // namespace

void setQuietConsole(bool quiet) { quietConsole = quiet; }
bool isQuietConsole() { return quietConsole; }
// Under an MPI launcher only rank 0 has the console, and the launcher's output decides.
bool showsProgress() { return !quietConsole && !cluster::isWorker() && cluster::consoleIsTerminal(); }

void clearProgressReport() {
    if (!showsProgress()) return;
    std::printf("\r%40s\r", "");
    std::fflush(stdout);
}

void progressReportX(const char* label, int done, int total) {
    if (!showsProgress()) return;
    const int percent = (done * 100) / total;
    if (percent % 10 != 0) return;
    std::printf("%s: %d%%%20s\r", label, percent, "");
    std::fflush(stdout);
}

namespace {
bool randomSeeded = false;
bool seedChosen = false;
unsigned int chosenSeed = 0;
bool seedFromClock = false;
}  // namespace

void setRandomSeed(unsigned int seed) {
    seedChosen = true;
    seedFromClock = false;
    chosenSeed = seed;
}

unsigned int randomSeed() {
    if (!seedChosen) {
        chosenSeed = static_cast<unsigned int>(std::time(nullptr));
        seedChosen = true;
        seedFromClock = true;
    }
    return chosenSeed;
}

bool isRandomSeedFromClock() {
    randomSeed();
    return seedFromClock;
}

double getRandom() {
    if (!randomSeeded) {
        std::srand(randomSeed());
        randomSeeded = true;
    }
    return std::rand() / 2147483647.0;
}

double pnorm(double z) {
    // Abramowitz and Stegun 26.2.16.
    const double a = std::fabs(z);
    double q = 0.0;
    if (a <= 12.0) {
        const double t = 1.0 / (1.0 + 0.33267 * a);
        q = 0.39894228 * std::exp(-a * a / 2.0) * t * (0.4361836 + t * (-0.1201676 + t * 0.937298));
    }
    return z >= 0.0 ? q : 1.0 - q;
}

double chipr(double x, int df) {
    if (x <= 0.0 || df < 1) return 1.0;
    if (df == 1) return 2.0 * pnorm(std::sqrt(x));
    if (x > 169.0) {
        // Wilson-Hilferty: the series below would underflow for large values.
        const double h = 2.0 / (9.0 * df);
        const double cubeRoot = std::exp(std::log(x / df) / 3.0);
        return pnorm((cubeRoot - 1.0 + h) / std::sqrt(h));
    }
    if (df == 2) return std::exp(-x / 2.0);
    if (df % 2 == 0) {
        const int k = (df - 2) / 2;
        double sum = 1.0;
        double term = 1.0;
        for (int i = 1; i <= k; ++i) {
            term = term * (x / 2.0) / i;
            sum += term;
        }
        return std::exp(-x / 2.0) * sum;
    }
    const double z = std::sqrt(x);
    const double e = std::exp(-x / 2.0);
    if (df == 3) return 2.0 * (pnorm(z) + 0.39894228 * e * z);
    const int k = (df - 1) / 2;
    double term = z;
    double sum = z;
    double d = 1.0;
    for (int i = 2; i <= k; ++i) {
        d += 2.0;
        term = term * x / d;
        sum += term;
    }
    return 2.0 * (pnorm(z) + 0.39894228 * e * sum);
}

std::vector<std::vector<std::string>> readFile(const std::string& name) {
    std::vector<std::vector<std::string>> result;
    std::ifstream in(name);
    if (!in) {
        std::cout << "Unable to open file " << name << " for reading." << std::endl;
        return result;
    }
    std::string line;
    while (std::getline(in, line)) {
        std::vector<std::string> tokens;
        std::string::size_type pos = 0;
        while (pos < line.size()) {
            const std::string::size_type start = line.find_first_not_of(" \t", pos);
            if (start == std::string::npos) break;
            const std::string::size_type end = line.find_first_of(" \t", start);
            tokens.push_back(line.substr(start, end == std::string::npos ? std::string::npos : end - start));
            pos = end;
        }
        if (!tokens.empty()) result.push_back(tokens);
    }
    return result;
}

std::string programBanner(const std::string& purposeLine) {
    const std::string rule(79, '-');
    return rule + "\n" + "Program Varkel " + varkelVersion + "\n" + "(C) 2011 The Varkel authors\n" + purposeLine + "\n" +
           "Send problem reports to the Varkel maintainers\n" + rule + "\n";
}
