// All messages and tables that the demo prints.
#pragma once

#include "demo/campaign.h"
#include "demo/datafile.h"
#include "demo/language.h"
#include "watch/summary.h"

// Reasons why the game does not start or does not go on.
void ReportMissingLanguage(const std::string& name, const std::string& path);
void ReportDataFault(const DataFault& fault);
void ReportUnreadableSession(const std::string& path, const std::string& why);
void ReportHomelessBlocks(const char* session);
void ReportOutOfMemory();
void ReportUnsaid();

// fileFound: true when the bank-size file exists at path.
void ReportStart(const std::vector<BankSize>& sizes, const std::string& path, bool fileFound, unsigned int frames);
void ReportTextSource(const Language& language);
void ReportData(const GameData& data, bool details);
void ReportNoScreen();
void ReportPlayed(size_t operations, double seconds);
void ReportBattles(const Campaign& campaign, bool details);
void ReportBanks(GameMemory& memory);
void ReportLiveBlocks(const std::vector<watch::PlaceSum>& places);
void ReportTranslation(unsigned int missing, const std::string& path);
void ReportCollected(unsigned int count, const std::string& path);
void ReportVerdict(const GameMemory& memory);
void ReportNextSizes(const std::vector<BankSize>& sizes, const std::string& path, bool written);

// Faults in the memory or the texts. block is an index in Session::blocks.
void ReportOverwritten(const char* session, unsigned int block, unsigned int size, const std::string& bank);
void ReportNotFreed(const char* session, unsigned int block, unsigned int size, const std::string& bank, int code);
void ReportLeftovers(const char* bank); // a bank that should be one free block at the end
void ReportLiveCount(const char* name, unsigned int expected, unsigned int found);
void ReportLostTexts(const std::string& path);
void ReportCustomBlocks(unsigned int blocks);
