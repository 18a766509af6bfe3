// PDF copies made by ghostscript: file names ghostscript would misread (as a page template, an
// option or a pipe), page orientation, a file it cannot read and a file that is not there.

#include "plot/pdf_conversion.h"
#include "plot/scan_figure.h"
#include "support/ghostscript.h"
#include "support/test_support.h"

using namespace testing_support;

TEST(PdfConversion, AwkwardNamesKeepTheirLandscapePagesAndFailuresLeaveNoPdf) {
    ScratchDir dir;
    InDirectory inside(dir.path());
    // Four hundred upright marker names: a page ghostscript would otherwise turn.
    ScanPanel panel;
    panel.phenotype = "DISEASE";
    panel.chromosome = "1";
    for (int m = 0; m < 400; ++m) panel.markers.push_back({"D1S" + std::to_string(1000 + m), 0.5 * m, 0.1, 0.1});
    ASSERT_TRUE(writeScanFigure("-scan%d.ps", {panel}, "test run"));
    dir.write("broken.ps", "%!PS\n(no end of string\n");
    const std::string piped = "|touch piped;x.ps", pipeDevice = "%pipe%touch piped.ps";
    dir.write(piped, dir.read("-scan%d.ps"));
    dir.write(pipeDevice, dir.read("-scan%d.ps"));

    bool converted = true;
    const std::string output = captureOutput(
        [&] { converted = convertPlotsToPdf({"-scan%d.ps", piped, pipeDevice, "missing.ps", "broken.ps"}, false); });
    EXPECT_FALSE(converted);
    EXPECT_FALSE(dir.exists("piped")) << "a name reached a shell";
    EXPECT_TRUE(dir.exists("|touch piped;x.pdf")) << output;
    EXPECT_TRUE(dir.exists("%pipe%touch piped.pdf")) << output;
    ASSERT_TRUE(dir.exists("-scan%d.pdf")) << output;
    EXPECT_EQ(pagesRenderedByGhostscript(dir.file("-scan%d.pdf")), 1);
    const std::string pdf = dir.read("-scan%d.pdf");
    EXPECT_TRUE(contains(pdf, "/MediaBox [0 0 842 595]"));
    EXPECT_FALSE(contains(pdf, "/Rotate"));
    EXPECT_TRUE(contains(output, "The plots as PDF: -scan%d.pdf\n")) << output;

    EXPECT_FALSE(dir.exists("missing.pdf"));
    EXPECT_FALSE(dir.exists("broken.pdf"));
    EXPECT_TRUE(contains(output, "Error: ghostscript could not convert broken.ps")) << output;
    EXPECT_EQ(dir.listing(), (std::vector<std::string>{"%pipe%touch piped.pdf", "%pipe%touch piped.ps",
                                                      "-scan%d.pdf", "-scan%d.ps", "broken.ps", "|touch piped;x.pdf",
                                                      "|touch piped;x.ps"}));
}
