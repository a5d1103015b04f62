// The tables that the demo prints, and its longer messages.
#pragma once

#include "demo/campaign.h"
#include "demo/datafile.h"
#include "demo/language.h"
#include "watch/summary.h"

// Reasons why the game does not start or does not go on.
void ReportDataFault(const DataFault& fault);
void ReportUnreadableSession(const std::string& path, const std::string& why);

// fileFound: true when the bank-size file exists at path.
void ReportStart(const std::vector<BankSize>& sizes, const std::string& path, bool fileFound, unsigned int frames);
void ReportTextSource(const Language& language);
void ReportData(const GameData& data, bool details);
void ReportPlayed(size_t operations, double seconds);
void ReportBattles(const Campaign& campaign, bool details);
void ReportBanks(GameMemory& memory);
void ReportLiveBlocks(const std::vector<watch::PlaceSum>& places);
void ReportTranslation(unsigned int missing, const std::string& path);
void ReportVerdict(const GameMemory& memory);
void ReportNextSizes(const std::vector<BankSize>& sizes, const std::string& path, bool written);
