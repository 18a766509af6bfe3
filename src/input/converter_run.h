#pragma once
// The MAKEPED converter run on the person columns of a pedigree file under check. Its input is
// known once the file's columns are scanned, so it is started then and works while the
// genotypes are read and checked; the conversion waits for it only when the check has passed.

#include <sys/types.h>

#include <string>

class ConverterRun {
public:
    ConverterRun() = default;
    ConverterRun(const ConverterRun&) = delete;
    ConverterRun& operator=(const ConverterRun&) = delete;
    // A run not finished (the check failed) is stopped and leaves no file behind.
    ~ConverterRun();

    // Converts `personColumns` (written to "<converted>.persons" for the converter) into
    // `converted`; any earlier `converted` is removed first, so a failed run leaves none to read.
    void start(const std::string& personColumns, const std::string& converted, bool echo);
    // The same, converting the file `source` as it stands.
    void startOnFile(const std::string& source, const std::string& converted, bool echo);
    // Waits for the converter, echoing its command line when asked (as a run at this point
    // would have) and passing on what it wrote to its error stream; false when its input could
    // not be written. The converted file exists only when the conversion succeeded.
    bool finish();

private:
    enum class State { idle, inputUnwritable, failedToStart, running, finished };
    void launch(const std::string& source, const std::string& converted, bool echo);
    void removeFiles() const;

    State state = State::idle;
    pid_t process = -1;
    bool echo = false;
    std::string commandLine, startError, personsName, convertedName, messagesName;
};
