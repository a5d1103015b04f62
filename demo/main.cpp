// A small game without sound, from start-up to shutdown. It has a window if the host has a display.
//
// Two armies fight the battles of the game's data files. At the same time the demo plays two recorded sessions: every
// allocation and every free that two real programs made, frame by frame, with the banks of the game. So the banks
// have as much to do as in a large game. At the end the game checks all banks and prints how much memory each used.
//
// Run it twice. Each run moves the sizes of the banks toward their peak use. The second run reads its texts from the
// file that the first run has written, and uses the settings that were given on the first run's command line. `-help`
// lists all switches.
#include "demo/replay.h"
#include "demo/report.h"
#include "demo/screen.h"
#include "demo/settings.h"
#include "demo/texts.h"

#include "core/platform.h"
#include "core/stringtable.h"
#include "watch/gamewatch.h"

#include <stdio.h>
#include <unistd.h>

DEMO_TEXT(sc_noBank, "Some blocks of %s have no bank that takes them: see banks.txt.\n");
DEMO_TEXT(sc_notSaid, "The standard output could not be written completely.\n");
DEMO_TEXT(sc_noScreen, "There is no display: the game goes on without a window.\n");
DEMO_TEXT(sc_leftovers, "The bank \"%s\" is not one free block again.\n");
DEMO_TEXT(sc_liveCount, "%s should have %u blocks left, but has %u.\n");
DEMO_TEXT(sc_lost, "The collected texts have changed when they are read back from\n%s\n");
DEMO_TEXT(sc_custom, "The game did not free %u blocks of its own location.\n");
DEMO_TEXT(sc_collected, "%s texts collected, written to\n%s\nand read back: they are the same.\n");
DEMO_TEXT(sc_noLanguage, "The game does not have the language \"%s\": there is no file\n%s\n");

static const int sc_pictures = 5; // pictures for each frame: 30 pictures a second show six frames a second

// Exit statuses of the process.
static const int sc_allIsWell = 0;
static const int sc_damaged = 1; // a check of the blocks, the banks or the texts has failed
static const int sc_noGame = 2;  // a switch, a data file or a session has a fault, so the game did not start
static const int sc_unsaid = 3;  // all checks passed, but the standard output could not be written

static bool load(const std::string& folder, const Recording& recording, Session* session)
{
    const std::string path = folder + "sessions/" + recording.fileName;
    std::string why;
    if (!LoadSession(path.c_str(), session, &why)) {
        ReportUnreadableSession(path, why);
        return false;
    }
    return true;
}

static bool load(const std::string& folder, GameData* data)
{
    const struct {
        const char* name;
        bool (GameData::*read)(DataFile&);
    } files[] = {{"shapes.txt", &GameData::readShapes},
                 {"grounds.txt", &GameData::readGrounds},
                 {"units.txt", &GameData::readUnits},
                 {"levels.txt", &GameData::readLevels}};
    for (const auto& each : files) {
        DataFile file(folder + each.name);
        if (!(data->*each.read)(file)) {
            ReportDataFault(file.fault());
            return false;
        }
    }
    return true;
}

// The parts that change with each frame.
struct Game {
    GameMemory& memory;
    const BankPlans& banks;
    Campaign campaign;
    Replay scripts;
    Replay records;
};

// Carries out what the player has asked for since the last picture.
static void obey(const Input& input, const Campaign& campaign, Player* player)
{
    const Target target = TargetOf(campaign.battle().level(), input);
    if (input.digit > 0) {
        player->choose(static_cast<size_t>(input.digit - 1));
    }
    if (input.isClicked && target.reserve >= 0) {
        player->choose(static_cast<size_t>(target.reserve));
    } else if (input.isClicked && target.isField) {
        player->click(target.x, target.y);
    }
}

// Shows one frame of the game in several pictures, in which units move from their old places to their new places.
static void showFrame(const Game& game, unsigned int frame, unsigned int frames, Player* player, BankView* bankView,
                      Screen& screen)
{
    for (int picture = 1; picture <= sc_pictures && screen.isOpen() && !screen.isLeft();) {
        bankView->refresh(game.memory.count(), 2 * sc_pictures);
        const float phase = static_cast<float>(picture) / sc_pictures;
        screen.show({frame + 1, frames, phase, game.campaign, *player, bankView->bars(), screen.input()});
        obey(screen.input(), game.campaign, player);
        picture += screen.input().isPaused ? 0 : 1;
    }
}

// Plays until the last frame, or until the player closes the window. Returns false when a block is damaged.
static bool playFrames(Game& game, unsigned int frames, Screen& screen)
{
    Player player(game.campaign);
    BankView bankView;
    for (unsigned int frame = 0; frame < frames && !screen.isLeft(); ++frame) {
        game.campaign.playFrame();
        player.beginFrame();
        if (!game.scripts.playFrame(frame) || !game.records.playFrame(frame)) {
            return false;
        }
        showFrame(game, frame, frames, &player, &bankView, screen);
        g_MemoryPtr->free(game.banks.frameBank, nullptr); // empties the frame bank
    }
    return true;
}

// The player may switch between window and full screen. The next run begins with the last choice.
static bool playOnScreen(Game& game, unsigned int frames, Settings* settings)
{
    const bool fullScreen = settings->number(SETTING_FULL_SCREEN) != 0;
    Screen screen(settings->number(SETTING_WIDTH), settings->number(SETTING_HEIGHT), fullScreen);
    if (!screen.isOpen()) {
        Say(sc_noScreen);
    }
    const bool isWell = playFrames(game, frames, screen);
    if (screen.isOpen() && screen.input().isFullScreen != fullScreen) {
        settings->choose(SETTING_FULL_SCREEN, fullScreen ? "0" : "1");
    }
    return isWell;
}

// Checks headers, lists and counters of all banks. isEmpty: all heap banks must be one free node.
static bool banksCheckOut(const GameMemory& memory, bool isEmpty)
{
    const watch::Snapshot snapshot = watch::takeGameSnapshot("");
    for (const watch::Damage& damage : snapshot.damages) {
        fprintf(stderr, "%s\n", watch::faultOf(snapshot, damage).c_str());
    }
    bool sound = snapshot.damages.empty() && snapshot.bankOf(memory.count() - 1);
    for (const watch::Bank& bank : snapshot.banks) {
        const watch::BankSum sum = watch::sumBank(bank);
        if (isEmpty && bank.index >= 0 && (sum.usedBytes + sum.fallbackBytes != 0 || sum.freeNodes > 1)) {
            Complain(sc_leftovers, bank.name.c_str());
            sound = false;
        }
    }
    return sound;
}

// Returns true when the banks contain as many blocks of this session as the Replay has allocated and not freed.
static bool liveBlocksMatch(const std::vector<watch::PlaceSum>& places, const Replay& replay)
{
    unsigned int found = 0;
    for (const watch::PlaceSum& place : places) {
        const bool isReplays = place.place.compare(0, place.place.rfind(':'), replay.name()) == 0;
        found += isReplays ? static_cast<unsigned int>(place.blocks) : 0;
    }
    if (found != replay.liveNow()) {
        Complain(sc_liveCount, replay.name(), replay.liveNow(), found);
        return false;
    }
    return true;
}

// Plays the game, reports the results and frees the blocks of both sessions. Returns an exit status.
static int play(GameMemory& memory, const BankPlans& banks, const GameData& data, const Options& options,
                Settings* settings)
{
    Session scriptSession;
    Session recordSession;
    if (!load(options.folder, sc_scripts, &scriptSession) || !load(options.folder, sc_records, &recordSession)) {
        return sc_noGame;
    }
    Game game = {memory,
                 banks,
                 {data.levels(), banks},
                 {sc_scripts, scriptSession, banks},
                 {sc_records, recordSession, banks}};
    for (const Replay* replay : {&game.scripts, &game.records}) {
        if (!replay->hasBanks()) {
            Complain(sc_noBank, replay->name());
            return sc_noGame;
        }
    }
    const unsigned int begin = Platform::GetTime();
    if (!playOnScreen(game, options.frames, settings)) {
        return sc_damaged;
    }
    const unsigned int time = Platform::GetTime() - begin; // milliseconds
    ReportPlayed(game.scripts.operationsPlayed() + game.records.operationsPlayed(), time / 1000.0);
    ReportBattles(game.campaign, options.details);
    ReportBanks(memory);
    const std::vector<watch::PlaceSum> places = watch::sumPlaces(watch::takeGameSnapshot(""));
    ReportLiveBlocks(places);
    const bool sound = banksCheckOut(memory, false) && liveBlocksMatch(places, game.scripts) &&
                       liveBlocksMatch(places, game.records) && game.scripts.freeAll() && game.records.freeAll();
    return sound ? sc_allIsWell : sc_damaged;
}

// Translates all texts of the data files, so that a collected strings file has them.
static void askForTexts(const GameData& data)
{
    for (const UnitKind& kind : data.kinds()) {
        Text(kind.title);
    }
    for (const Level& level : data.levels()) {
        for (const std::string& text : {level.title, level.armies[0], level.armies[1]}) {
            Text(text);
        }
    }
}

static int playGame(GameMemory& memory, const BankPlans& banks, const Language& language, const Options& options,
                    Settings* settings)
{
    GameData data;
    if (!load(options.folder, &data)) {
        return sc_noGame;
    }
    askForTexts(data);
    const bool hasRunBefore = access(memory.bankSizesPath(), R_OK) == 0;
    ReportStart(memory.sizes(), memory.bankSizesPath(), hasRunBefore, options.frames);
    ReportSettings(*settings);
    ReportTextSource(language);
    ReportData(data, options.details);
    return play(memory, banks, data, options, settings);
}

// Runs the game with a string table, so that every message is in the player's language. Destroys the table at the
// end. Returns an exit status.
static int run(GameMemory& memory, const DataFile& bankFile, const BankPlans& banks, const Options& options)
{
    Settings settings = ChooseSettings(options);
    Language language;
    const bool hasLanguage = language.choose(options.folder, settings.text(SETTING_LOCALE));
    int status = sc_noGame;
    unsigned int newTexts = 0;
    {
        StringTable strings; // g_stringTblPtr from here on
        language.load(strings);
        AskForAllTexts();
        if (options.help) {
            ReportSwitches(Platform::GetAppTitle());
            status = sc_allIsWell;
        } else if (!options.areGood()) {
            ReportWrongSwitch(options);
        } else if (!hasLanguage) {
            Complain(sc_noLanguage, settings.text(SETTING_LOCALE).c_str(), language.missingPath().c_str());
        } else if (!bankFile.isGood()) {
            ReportDataFault(bankFile.fault());
        } else {
            status = playGame(memory, banks, language, options, &settings);
        }
        newTexts = language.newTexts();
    } // the table writes a strings file when it has read none
    if (options.help || status != sc_allIsWell) {
        language.forgetCollected();
        return status;
    }
    if (!language.isCollecting()) {
        ReportTranslation(newTexts, language.path());
    } else if (language.textsCameBack(newTexts)) {
        Say(sc_collected, Grouped(newTexts).c_str(), language.path().c_str());
    } else {
        Complain(sc_lost, language.path().c_str());
        return sc_damaged;
    }
    if (!banksCheckOut(memory, true)) {
        return sc_damaged;
    }
    ReportVerdict(memory);
    KeepSettings(settings);
    CountRun();
    return sc_allIsWell;
}

int main(int argc, char** argv)
{
    // The platform comes first: the memory manager asks it for the game's folder.
    Platform::SystemCheck();
    Platform::SetApp(1);

    // A CommandLine or a Parser that was not made with `new` takes no memory from a bank. So both can be used before
    // the memory manager exists: a switch names the folder of the game's files, and banks.txt in that folder defines
    // the banks.
    CommandLine commandLine;
    const Options options = ReadOptions(commandLine, argc, argv);
    Platform::SetCommandLine(&commandLine);
    BankPlans banks;
    DataFile bankFile(options.folder + "banks.txt");
    const bool hasGame = ReadBankPlans(bankFile, &banks) && !options.help && options.areGood();

    int status = sc_noGame;
    std::vector<BankSize> sizes;
    std::string sizesPath;
    {
        GameMemory memory; // g_MemoryPtr from here on
        sizesPath = memory.bankSizesPath();
        if (hasGame) {
            memory.defineBanks(banks);
        } else {
            memory.defineCoreBank();
        }
        memory.start();
        status = run(memory, bankFile, banks, options);
        if (status != sc_allIsWell) {
            memory.keepOldSizes();
        }
        sizes = memory.sizes();
    } // GameMemory frees all memory and writes the sizes for the next run to the bank-size file
    if (CustomBlocks() != 0) {
        Complain(sc_custom, CustomBlocks());
        status = sc_damaged;
    }
    if (status == sc_allIsWell && hasGame) {
        ReadNextSizes(sizesPath, &sizes);
        ReadFallbackBefore(sizesPath, &sizes);
        KeepFallback(sizesPath, sizes);
        ReportNextSizes(sizes, sizesPath, access(sizesPath.c_str(), W_OK) == 0);
    }
    Platform::SetCommandLine(nullptr);
    if (!AllIsSaid()) {
        Complain(sc_notSaid);
        status = status == sc_allIsWell ? sc_unsaid : status;
    }
    return status;
}
