#pragma once
// Helpers shared by the test programs: scratch directories, files, and runs of the built
// programs (each run in its own directory, since the exchange files have fixed names).

#include <string>
#include <vector>

namespace testing_support {

// A fresh directory under the system temp dir, removed with its content on destruction.
class ScratchDir {
public:
    ScratchDir();
    ~ScratchDir();
    ScratchDir(const ScratchDir&) = delete;
    ScratchDir& operator=(const ScratchDir&) = delete;
    const std::string& path() const { return dir; }
    std::string file(const std::string& name) const { return dir + "/" + name; }
    void write(const std::string& name, const std::string& content) const;
    std::string read(const std::string& name) const;
    bool exists(const std::string& name) const;
    std::vector<std::string> listing() const;  // file names, sorted

private:
    std::string dir;
};

// Makes the scratch directory the working directory for the lifetime of the object.
class InDirectory {
public:
    explicit InDirectory(const std::string& dir);
    ~InDirectory();
    InDirectory(const InDirectory&) = delete;
    InDirectory& operator=(const InDirectory&) = delete;

private:
    std::string previous;
};

struct RunResult {
    int status = -1;     // exit status of the program
    std::string output;  // standard output
    std::string errors;  // standard error
};

// Runs a built program (e.g. "varkel", "makepedpseudo"; or the program at an absolute path)
// inside dir with the given arguments (each passed as one shell word).
RunResult runProgram(const std::string& program, const std::vector<std::string>& args, const std::string& dir);

// Standard output produced while fn runs in this process.
template <class F>
std::string captureOutput(F&& fn);

std::string readWholeFile(const std::string& path);
void writeWholeFile(const std::string& path, const std::string& content);
std::string testData(const std::string& name);  // path of a file under tests/data
bool contains(const std::string& text, const std::string& part);

// Line by line, with the trailing newline of each line removed.
std::vector<std::string> lines(const std::string& text);

}  // namespace testing_support

#include <gtest/gtest.h>
template <class F>
std::string testing_support::captureOutput(F&& fn) {
    ::testing::internal::CaptureStdout();
    fn();
    return ::testing::internal::GetCapturedStdout();
}
