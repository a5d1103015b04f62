// core-config run: the complaints of the library about a game's files, with their places, while the game runs.
#include "tools/core-config/command.h"
#include "tools/core-config/complaints.h"
#include "tools/shared/files.h"

#include <stdio.h>

int runGame(const RunCommand& options)
{
    config::GameReads reads;
    config::Complaints complaints;
    StartedGame game;
    std::vector<Finding> findings;
    const e_FindingForm form = options.isJson ? FINDINGS_JSON : options.isGithub ? FINDINGS_GITHUB : FINDINGS_TEXT;
    const bool isLive = options.output.empty() && !options.isJson;
    const int status = playGame(options.command, &reads, &game, [&] {
        const std::vector<Finding> found = complaints.next(reads);
        findings.insert(findings.end(), found.begin(), found.end());
        fputs(isLive ? formatFindings(found, form).c_str() : "", stderr);
    });
    if (status != TOOL_FINE) {
        return status;
    }
    std::string error;
    if (!options.output.empty() && !replaceFile(options.output, formatFindings(findings, form), &error)) {
        return complain(TOOL_CANT_ACCESS, error);
    }
    if (options.output.empty() && options.isJson) {
        fputs(formatFindings(findings, form).c_str(), stderr);
    }
    const int end = game.endAsTheGame();
    return end == 0 && options.isFailing ? statusOf(findings) : end;
}
