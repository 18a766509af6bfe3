#include "input/converter_run.h"

#include <signal.h>

#include <cerrno>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <vector>

#include "engine/process.h"
#include "model/file.h"

namespace {

const char* const kConverter = "makepedpseudo";

void waitUntilEnded(pid_t process) {
    while (waitForProcess(process) < 0 && errno == EINTR) {
    }
}

}  // namespace

ConverterRun::~ConverterRun() {
    if (state != State::running) return;
    kill(process, SIGKILL);
    waitUntilEnded(process);
    removeFiles();
    std::remove(convertedName.c_str());
    std::remove((convertedName + ".partial").c_str());
}

void ConverterRun::start(const std::string& personColumns, const std::string& converted, bool echoCommand) {
    personsName = converted + ".persons";
    std::remove(converted.c_str());
    File persons;
    if (!persons.openForWriting(personsName)) {
        state = State::inputUnwritable;
        return;
    }
    persons.text << personColumns;
    if (!persons.writeTextAndClose()) {
        state = State::inputUnwritable;
        return;
    }
    launch(personsName, converted, echoCommand);
}

void ConverterRun::startOnFile(const std::string& source, const std::string& converted, bool echoCommand) {
    std::remove(converted.c_str());
    launch(source, converted, echoCommand);
}

void ConverterRun::launch(const std::string& source, const std::string& converted, bool echoCommand) {
    echo = echoCommand;
    convertedName = converted;
    messagesName = converted + ".messages";
    const std::vector<std::string> command{kConverter, source, converted, "n"};
    commandLine = "External command:";
    for (const std::string& word : command) commandLine += " " + word;
    std::remove(messagesName.c_str());
    ProcessOptions options;
    if (!echo) options.standardOutput = "/dev/null";
    options.standardError = messagesName;
    process = startProcess(command, options, startError);
    state = process < 0 ? State::failedToStart : State::running;
}

bool ConverterRun::finish() {
    if (state == State::inputUnwritable) {
        removeFiles();
        return false;
    }
    if (echo) std::cout << commandLine << std::endl;
    if (state == State::failedToStart) {
        std::cout << "Unable to run " << kConverter << ": " << startError << std::endl;
    } else if (state == State::running) {
        waitUntilEnded(process);
        std::ifstream messages(messagesName);
        if (messages.peek() != std::ifstream::traits_type::eof()) std::cerr << messages.rdbuf() << std::flush;
    }
    state = State::finished;
    removeFiles();
    return true;
}

void ConverterRun::removeFiles() const {
    if (!personsName.empty()) std::remove(personsName.c_str());
    if (!messagesName.empty()) std::remove(messagesName.c_str());
}
