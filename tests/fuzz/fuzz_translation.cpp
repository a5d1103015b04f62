// A strings file of any bytes for core-strings: it is checked, and written again when nothing of it would get lost.
// Then a game finds the same entries as before, and a second writing changes nothing.
#include "tools/core-strings/check.h"
#include "tools/core-strings/document.h"
#include "tools/core-strings/game.h"
#include "tools/core-strings/pseudo.h"
#include "tools/core-strings/texts.h"

#include "tests/fuzz/observe.h"

#include <set>
#include <stdlib.h>

static std::set<std::string> entriesOf(const GamesView& file)
{
    std::set<std::string> entries;
    for (const TakenLine& line : file.lines) {
        if (line.isFound) {
            entries.insert(line.key.text + "\n" + line.value.text);
        }
    }
    return entries;
}

static std::string written(const std::string& bytes, bool* isWritten)
{
    Document document;
    std::vector<Finding> findings;
    *isWritten = readDocument("a", bytes, &document, &findings);
    normalise(&document);
    return *isWritten ? writeDocument(document) : "";
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    const std::vector<Finding> findings = checkStrings("a", bytes, CheckRules());
    for (const e_FindingForm form : {FINDINGS_TEXT, FINDINGS_JSON, FINDINGS_GITHUB}) {
        observeText(formatFindings(findings, form));
    }
    static const GamesView s_other = readAsGame("\"a\" = \"b\"\n");
    const GamesView taken = readAsGame(bytes);
    compareLanguages("a", taken, "b", s_other);
    observeText(pseudoTranslation(bytes.substr(0, bytes.find('\0'))));
    haveSameConversions(bytes, bytes);
    bool isWritten;
    const std::string once = written(bytes, &isWritten);
    observeText(once);
    if (isWritten) {
        const std::string twice = written(once, &isWritten);
        if (!isWritten || twice != once || entriesOf(readAsGame(once)) != entriesOf(taken)) {
            abort();
        }
    }
    return 0;
}
