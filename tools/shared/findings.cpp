#include "tools/shared/findings.h"

#include "tools/shared/json.h"

#include <algorithm>
#include <stdio.h>
#include <tuple>

void sortFindings(std::vector<Finding>* findings)
{
    std::vector<std::string> files;
    const auto numberOf = [&](const std::string& file) {
        return std::find(files.begin(), files.end(), file) - files.begin();
    };
    for (const Finding& finding : *findings) {
        if (files.empty() ||
            (files.back() != finding.file && numberOf(finding.file) == std::ptrdiff_t(files.size()))) {
            files.push_back(finding.file);
        }
    }
    std::stable_sort(findings->begin(), findings->end(), [&](const Finding& left, const Finding& right) {
        const std::ptrdiff_t files1 = left.file == right.file ? 0 : numberOf(left.file);
        const std::ptrdiff_t files2 = left.file == right.file ? 0 : numberOf(right.file);
        return std::tie(files1, left.line, left.column) < std::tie(files2, right.line, right.column);
    });
}

static const char* severityOf(const Finding& finding)
{
    return finding.isError ? "error" : "warning";
}

static std::string sentenceOf(const Finding& finding)
{
    return finding.what + (finding.instead.empty() ? "" : "; " + finding.instead);
}

std::string printable(const std::string& text)
{
    std::string result = text;
    for (char& letter : result) {
        const unsigned char byte = static_cast<unsigned char>(letter);
        letter = byte < 0x20 || byte == 0x7f ? '?' : letter;
    }
    return result;
}

static std::string textOf(const Finding& finding)
{
    return printable(finding.file + ":" + std::to_string(finding.line) + ":" + std::to_string(finding.column) + ": " +
                     severityOf(finding) + ": " + sentenceOf(finding) + " [" + finding.check + "]");
}

// Escapes the characters that end a part of an annotation. A property also ends at ':' and ','.
static std::string annotationPart(const std::string& text, bool isProperty)
{
    std::string result;
    for (const char letter : text) {
        const bool isEscaped =
            letter == '%' || letter == '\r' || letter == '\n' || (isProperty && (letter == ':' || letter == ','));
        char code[4];
        snprintf(code, sizeof(code), "%%%02X", static_cast<unsigned int>(static_cast<unsigned char>(letter)));
        result += isEscaped ? std::string(code) : std::string(1, letter);
    }
    return result;
}

static std::string annotationOf(const Finding& finding)
{
    return "::" + std::string(severityOf(finding)) + " file=" + annotationPart(finding.file, true) +
           ",line=" + std::to_string(finding.line) + ",col=" + std::to_string(finding.column) +
           ",title=" + annotationPart(finding.check, true) + "::" + annotationPart(sentenceOf(finding), false);
}

static std::string jsonOf(const std::vector<Finding>& findings)
{
    Json list = Json::array();
    for (const Finding& finding : findings) {
        list.add(Json::object({{"file", finding.file},
                               {"line", finding.line},
                               {"column", finding.column},
                               {"severity", severityOf(finding)},
                               {"what", finding.what},
                               {"instead", finding.instead},
                               {"check", finding.check}}));
    }
    return list.text(2) + "\n";
}

std::string formatFindings(const std::vector<Finding>& findings, e_FindingForm form)
{
    if (form == FINDINGS_JSON) {
        return jsonOf(findings);
    }
    std::string text;
    for (const Finding& finding : findings) {
        text += (form == FINDINGS_GITHUB ? annotationOf(finding) : textOf(finding)) + "\n";
    }
    return text;
}

int statusOf(const std::vector<Finding>& findings)
{
    return findings.empty() ? TOOL_FINE : TOOL_FOUND;
}
