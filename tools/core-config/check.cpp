#include "tools/core-config/check.h"

#include "tools/core-config/configtext.h"
#include "tools/core-config/encoding.h"
#include "tools/core-config/form.h"
#include "tools/core-config/ini.h"

namespace config {

static void checkPreferences(const std::string& bytes, const CheckOptions& options, Faults* faults)
{
    std::vector<IniEntry> entries;
    checkIni(bytes, faults, [&](const IniEntry& entry) { entries.push_back(entry); });
    if (options.schema) {
        checkIniWithSchema(entries, *options.schema, options.tellsMissing, faults);
    }
}

static void checkConfig(const std::string& bytes, const CheckOptions& options, Faults* faults)
{
    const ConfigText text(bytes);
    std::vector<bool> typedLines;
    FormOptions form;
    form.wantsCarriageReturns = options.wantsCarriageReturns;
    if (options.schema) {
        checkConfigWithSchema(text, *options.schema, options.tellsMissing, &typedLines, faults);
        form.typedLines = &typedLines;
    }
    checkForm(text, form, faults);
}

Faults checkText(const std::string& bytes, const CheckOptions& options)
{
    Faults faults;
    if (!checkEncoding(bytes, &faults)) {
        return faults;
    }
    if (options.isIni) {
        checkPreferences(bytes, options, &faults);
    } else {
        checkConfig(bytes, options, &faults);
    }
    sortFaults(&faults);
    return faults;
}

std::string repairText(const std::string& bytes, const CheckOptions& options)
{
    static const int sc_mostRounds = 10; // two are the rule: a repair can uncover faults
    std::string text = bytes;
    for (int round = 0; round < sc_mostRounds; ++round) {
        std::string better = repaired(text, checkText(text, options));
        if (better == text) {
            break;
        }
        text.swap(better);
    }
    return text;
}

std::vector<Finding> findingsOf(const std::string& file, const std::string& bytes, const Faults& faults)
{
    std::vector<Finding> findings;
    size_t line = 1;
    size_t begin = 0;
    for (const Fault& fault : faults) {
        for (size_t end = bytes.find('\n', begin); end < fault.place; end = bytes.find('\n', begin)) {
            begin = end + 1;
            ++line;
        }
        findings.push_back(
            {file, line, fault.place - begin + 1, fault.isError, fault.what, fault.instead, fault.check});
    }
    return findings;
}

} // namespace config
