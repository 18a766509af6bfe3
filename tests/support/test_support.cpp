#include "support/test_support.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <sys/wait.h>

namespace fs = std::filesystem;

namespace testing_support {

ScratchDir::ScratchDir() {
    std::string pattern = (fs::temp_directory_path() / "varkel-test-XXXXXX").string();
    std::vector<char> buffer(pattern.begin(), pattern.end());
    buffer.push_back('\0');
    if (!mkdtemp(buffer.data())) throw std::runtime_error("mkdtemp failed");
    dir = buffer.data();
}

ScratchDir::~ScratchDir() {
    std::error_code ignored;
    fs::remove_all(dir, ignored);
}

void ScratchDir::write(const std::string& name, const std::string& content) const { writeWholeFile(file(name), content); }

void writeWholeFile(const std::string& path, const std::string& content) {
    std::ofstream out(path, std::ios::binary);
    out << content;
}

std::string ScratchDir::read(const std::string& name) const { return readWholeFile(file(name)); }

bool ScratchDir::exists(const std::string& name) const { return fs::exists(file(name)); }

std::vector<std::string> ScratchDir::listing() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(dir)) names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

InDirectory::InDirectory(const std::string& dir) : previous(fs::current_path().string()) {
    fs::current_path(dir);
}

InDirectory::~InDirectory() { fs::current_path(previous); }

static std::string shellQuote(const std::string& word) {
    std::string quoted = "'";
    for (char c : word) {
        if (c == '\'') quoted += "'\\''";
        else quoted += c;
    }
    return quoted + "'";
}

RunResult runProgram(const std::string& program, const std::vector<std::string>& args, const std::string& dir) {
    const std::string path = program.front() == '/' ? program : std::string(VARKEL_BIN_DIR) + "/" + program;
    std::string command = "cd " + shellQuote(dir) + " && " + shellQuote(path);
    for (const auto& a : args) command += " " + shellQuote(a);
    command += " > .run.out 2> .run.err < /dev/null";
    RunResult result;
    int raw = std::system(command.c_str());
    result.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    result.output = readWholeFile(dir + "/.run.out");
    result.errors = readWholeFile(dir + "/.run.err");
    fs::remove(dir + "/.run.out");
    fs::remove(dir + "/.run.err");
    return result;
}

std::string readWholeFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream content;
    content << in.rdbuf();
    return content.str();
}

std::string testData(const std::string& name) { return std::string(VARKEL_TEST_DATA) + "/" + name; }

bool contains(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> result;
    std::istringstream in(text);
    std::string line;
    while (std::getline(in, line)) result.push_back(line);
    return result;
}

}  // namespace testing_support
