#pragma once
// PDF copies of the PostScript plots, made by ghostscript: X.ps becomes X.pdf beside it.

#include <string>
#include <vector>

// Converts every listed PostScript file that exists. Without ghostscript one warning is
// printed and the plots stay PostScript only. A file ghostscript fails on is named in an
// error and leaves no PDF; the result is then false.
bool convertPlotsToPdf(const std::vector<std::string>& postScriptFiles, bool verbose);
