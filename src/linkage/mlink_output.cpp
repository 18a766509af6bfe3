// Reading of MLINK's "outfile.dat": after a four-line program header, one block per theta,
//   THETAS  0.500
//   ----
//   PEDIGREE |  LN LIKE  | LOG 10 LIKE
//   ----
//           1   -11.648437    -5.058841 LOD=     0.000000      (one line per pedigree)
//   ----
//   TOTALS      -20.514235    -8.909200
//   -2 LN(LIKE) =  4.10285e+01 LOD SCORE =     0.000000
//   ----
//   ----
// The last block of the file lacks the two closing rules.

#include <cctype>
#include <charconv>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "driver/utilities.h"
#include "linkage/mlink.h"

namespace {

// The file as blank-separated tokens, read from memory: a scan reads this file once per
// marker, and extracting its numbers through an input stream cost more than writing the
// FASTLINK input. Like a stream, it fails at the end of the data or on a malformed number,
// and every later read then fails too.
class OutfileTokens {
public:
    explicit OutfileTokens(std::string content) : text(std::move(content)), at(text.c_str()) {}

    explicit operator bool() const { return ok; }

    // Next token, line breaks before it skipped.
    bool token(std::string& value) {
        if (!ok) return false;
        while (*at && std::isspace(static_cast<unsigned char>(*at))) ++at;
        const char* begin = at;
        while (*at && !std::isspace(static_cast<unsigned char>(*at))) ++at;
        value.assign(begin, at);
        return ok = at != begin;
    }

    // A whole token as a number, rounded correctly like strtod (which also takes the forms,
    // such as a leading "+", that from_chars leaves to it).
    bool number(double& value) {
        std::string field;
        if (!token(field)) return false;
        const char* last = field.data() + field.size();
        const auto parsed = std::from_chars(field.data(), last, value);
        if (parsed.ec == std::errc() && parsed.ptr == last) return true;
        char* end = nullptr;
        value = std::strtod(field.c_str(), &end);
        return ok = end != field.c_str() && *end == '\0';
    }

    void skipTokens(int count) {
        std::string ignored;
        for (int i = 0; i < count; ++i) token(ignored);
    }

    // Drops what is left of the current line (at most 10000 characters).
    void discardRestOfLine() {
        for (int i = 0; i < 10000 && *at; ++i)
            if (*at++ == '\n') return;
    }

    // Reads one token and drops the rest of its line.
    void skipLine() {
        std::string ignored;
        token(ignored);
        discardRestOfLine();
    }

private:
    std::string text;
    const char* at;
    bool ok = true;
};

}  // namespace

MLinkMarker* MLink::readResultsFile(const std::string& fileName, int pedigreeCount,
                                    const std::map<std::string, std::string>* names) {
    std::ifstream file(fileName);
    if (!file) return nullptr;
    std::ostringstream content;
    content << file.rdbuf();
    OutfileTokens in(content.str());

    MLinkMarker* marker = new MLinkMarker();
    for (int i = 0; i < 4; ++i) in.skipLine();

    while (in) {
        std::string label, thetaText;
        if (!in.token(label) || !in.token(thetaText)) break;
        in.discardRestOfLine();
        in.skipLine();
        in.skipTokens(8);
        in.discardRestOfLine();
        in.skipLine();

        FastlinkLikelihoods* record = new FastlinkLikelihoods(stringToDouble(thetaText));
        for (int p = 0; p < pedigreeCount && in; ++p) {
            std::string pedigreeId;
            double lnLike = 0.0, log10Like = 0.0, lod = 0.0;
            in.token(pedigreeId);
            in.number(lnLike);
            in.number(log10Like);
            in.skipTokens(1);
            in.number(lod);
            in.discardRestOfLine();
            if (!in) continue;
            if (names) {
                const auto name = names->find(pedigreeId);
                if (name != names->end()) pedigreeId = name->second;
            }
            record->addLikelihood(pedigreeId, lnLike, log10Like, lod);
        }
        in.skipLine();

        double lnLikeTotal = 0.0, log10Total = 0.0, minus2LnLike = 0.0, lodScore = 0.0;
        in.skipTokens(1);
        in.number(lnLikeTotal);
        in.number(log10Total);
        in.discardRestOfLine();
        in.skipTokens(3);
        in.number(minus2LnLike);
        in.skipTokens(3);
        in.number(lodScore);
        if (!in) {
            // A block cut short (truncated file) is dropped whole.
            delete record;
            break;
        }
        in.discardRestOfLine();
        in.skipLine();
        in.skipLine();

        record->setLnLikeTotal(lnLikeTotal);
        record->setLog10Total(log10Total);
        record->setMinus2LnLike(minus2LnLike);
        record->setLodScore(lodScore);
        marker->addLikelihoods(record->getRecombinationFraction(), record);
    }
    return marker;
}
