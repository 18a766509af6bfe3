#pragma once
// PDF copies of the PostScript plots, made by ghostscript: X.ps becomes X.pdf beside it.

#include <string>
#include <vector>

// Converts every listed PostScript file that exists. Without ghostscript one warning is
// printed and the plots stay PostScript only; a file ghostscript fails on is named in a
// warning and leaves no PDF. Returns the number of PDF files written.
int convertPlotsToPdf(const std::vector<std::string>& postScriptFiles, bool verbose);
