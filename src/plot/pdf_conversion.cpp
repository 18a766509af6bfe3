#include "plot/pdf_conversion.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <fstream>
#include <iostream>

#include "engine/process.h"

namespace {

std::string pdfNameOf(const std::string& postScript) {
    const std::string suffix = ".ps";
    const bool hasSuffix = postScript.size() >= suffix.size() &&
                           postScript.compare(postScript.size() - suffix.size(), suffix.size(), suffix) == 0;
    if (hasSuffix)
        return postScript.substr(0, postScript.size() - suffix.size()) + ".pdf";
    return postScript + ".pdf";
}

// Ghostscript reads "%d" and the like in an output file name as a page number template.
std::string literalOutputName(const std::string& name) {
    std::string literal;
    for (char c : name) {
        if (c == '%') literal += '%';
        literal += c;
    }
    return literal;
}

// Ghostscript opens an output name beginning with "|" or "%pipe%" as a pipe through a shell;
// a name that begins with a directory is always a file.
std::string pathOf(const std::string& name) { return name.rfind('/', 0) == 0 ? name : "./" + name; }

// Whether the document's comments say its pages are drawn turned on portrait paper.
bool drawnLandscapeOnPortrait(const std::string& postScript) {
    std::ifstream in(postScript);
    for (std::string line; std::getline(in, line) && line.rfind("%", 0) == 0;)
        if (line.rfind("%%Orientation: Landscape", 0) == 0) return true;
    return false;
}

bool isFile(const std::string& name) {
    struct stat status {};
    return stat(name.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

}  // namespace

bool convertPlotsToPdf(const std::vector<std::string>& postScriptFiles, bool verbose) {
    bool converted = true;
    for (const std::string& postScript : postScriptFiles) {
        if (!isFile(postScript)) continue;
        const std::string pdf = pdfNameOf(postScript);
        // Pages keep the orientation they are drawn in (ghostscript would otherwise turn a page
        // whose text runs mostly upwards, like the scan figure's marker names). The PostScript
        // comes on standard input, so no name of it is ever read as an option, a device or a
        // pipe (and -dSAFER refuses some legal names).
        std::vector<std::string> command{"gs",
                                         "-q",
                                         "-dNOPAUSE",
                                         "-dBATCH",
                                         "-dSAFER",
                                         "-sDEVICE=pdfwrite",
                                         "-dAutoRotatePages=/None",
                                         "-sOutputFile=" + literalOutputName(pathOf(pdf))};
        // A landscape plot drawn on portrait pages opens upright when every page is shown
        // turned a quarter to the left (its text runs down the paper).
        if (drawnLandscapeOnPortrait(postScript))
            command.insert(command.end(), {"-c", "[ /Rotate 270 /PAGES pdfmark", "-f"});
        command.push_back("-");
        if (verbose) {
            std::string line = "External command:";
            for (const std::string& word : command) line += " " + word;
            std::cout << line << std::endl;
        }
        ProcessOptions options;
        options.standardInput = postScript;
        options.standardOutput = "/dev/null";
        options.standardError = "/dev/null";
        std::string error;
        const pid_t process = startProcess(command, options, error);
        if (process < 0) {
            std::cout << "Warning: ghostscript (gs) could not be started (" << error
                      << "); the plots are written as PostScript only" << std::endl;
            return true;
        }
        int status;
        while ((status = waitForProcess(process)) < 0 && errno == EINTR) {
        }
        if (status == 0 && isFile(pdf)) {
            std::cout << "The plots as PDF: " << pdf << "\n";
        } else {
            if (isFile(pdf)) std::remove(pdf.c_str());
            std::cout << "Error: ghostscript could not convert " << postScript << " (exit status " << status
                      << "); no " << pdf << " written" << std::endl;
            converted = false;
        }
    }
    return converted;
}
