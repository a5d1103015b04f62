// Every text the demo shows.
#pragma once

#include "demo/liveblocks.h"

void ReportUsage(const char* program);
void ReportUnreadableSession(const std::string& path, const std::string& why);
void ReportOutOfMemory();

// fileFound: there is a bank-size file at path.
void ReportStart(const std::vector<BankSize>& sizes, const std::string& path, bool fileFound);
void ReportPlayed(size_t operations, double seconds);
void ReportBanks(GameMemory& memory);
void ReportLiveBlocks(const std::vector<LivePlace>& places);
void ReportVerdict(const GameMemory& memory);
void ReportNextSizes(const std::vector<BankSize>& sizes, const std::string& path, bool written);

// What must not happen. A block goes by its number in the session.
void ReportOverwritten(const char* session, unsigned int block, unsigned int size, int bank);
void ReportNotFreed(const char* session, unsigned int block, unsigned int size, int bank, int code);
void ReportBankFault(int bank, int code);
void ReportLiveCount(const char* session, unsigned int expected, unsigned int found);
