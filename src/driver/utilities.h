#pragma once
// Free helpers shared by every subsystem: conversions and number formats, the elapsed-time
// text, the external command runner, file copy, clean-up of the FASTLINK exchange files,
// the progress line, the random source, chi-square p-values and a whitespace tokeniser.

#include <string>
#include <vector>

std::string IntToString(int i);
std::string doubleToString(double x);
int stringToInt(const std::string& s);
double stringToDouble(const std::string& s);
std::string stringToLower(std::string s);
double changeValueLengthToTwo(double x);
std::string secondsToCorrectTimeFormat(double seconds);
std::string current_time_and_date();

// Runs a program with its arguments, each passed as it is (no shell parses them). Without
// echo its standard output is discarded; its standard input is closed unless it is to read
// the terminal. Returns the program's exit status (0 is success; 127 when it cannot start).
int execute_external_command(const std::vector<std::string>& command, bool echo, bool terminalInput = false);
bool copy_file(const char* source, const char* destination);
// Removes the run's scratch directory with every file exchanged with FASTLINK.
void delete_intermediate_files();
// "label: n%" rewritten in place, only on a terminal and not with --quiet.
void progressReportX(const char* label, int done, int total);
// Blanks the progress line when done, so that the next line starts clean.
void clearProgressReport();
// --quiet: the console keeps warnings, errors and results but no progress and no
// per-window multipoint tables.
void setQuietConsole(bool quiet);
bool isQuietConsole();
// Whether progress lines go to the console: on a terminal, without --quiet.
bool showsProgress();

// Uniform number in [0, 1] from the process-wide generator, seeded on first use from the
// clock, or from the value given to setRandomSeed before that first use.
double getRandom();
void setRandomSeed(unsigned int seed);
// The seed of the generator: the one given, or the clock's, chosen at the first call (of this
// or getRandom), so that reports can state it before or after the draws.
unsigned int randomSeed();
bool isRandomSeedFromClock();

double pnorm(double z);
double chipr(double x, int df);

std::vector<std::vector<std::string>> readFile(const std::string& name);

inline const std::string varkelVersion = "1.9.6 -- 2011";

// The banner that opens the console output and every report; only its fourth line, which says
// what the program or analysis is, differs between them.
std::string programBanner(const std::string& purposeLine);
