// The game: a battle that is decided by the data in Game/battle.txt. Replace it by your own, part by part.
#include "core/commandline.h"
#include "core/memorymgr.h"
#include "core/parser.h"
#include "core/platform.h"
#include "core/stringtable.h"
#include "file/file.h"

#include <stdio.h>
#include <string>

// ---- Memory. A bank for each kind of memory; give it its expected peak and some room. Bank 0 is core's.

enum e_Bank : int { BANK_CORE, BANK_UNITS, BANK_FRAME, BANK_COUNT };

class GameMemory : public MemoryMgr {
public:
    GameMemory()
    {
        defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, "core", 1 << 20);
        defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, "units", 1 << 16);
        defineBank(MEMLOC_DEFAULT, MEMBANK_LINEAR, "frame", 1 << 14);
        initialize();
    }

    // Returns true if nothing was left allocated. A bank that was too small counts as not empty.
    bool isEmpty()
    {
        bool good = true;
        for (int bank = 0; bank < BANK_COUNT; ++bank) {
            good = checkMemory(bank, nullptr, true) == MEMERR_NONE && good;
        }
        return good;
    }

private:
    void onOutOfMemory(int) override {} // save what you must; the process ends after this call
};

class Unit : public Allocator<BANK_UNITS> {
public:
    int health = 1;
    int damage = 1;
};

// ---- Data. Lines of the form "name = number".

// Returns the text of a file, with a carriage return before each line feed, as Parser wants it; "" if it can't be
// read.
static std::string loadText(const std::string& path)
{
    std::string text;
    _BkzFileType_s* file = File::open(path.c_str(), "rb");
    std::string bytes(File::getLength(file), '\0');
    if (!bytes.empty() && File::read(&bytes[0], bytes.size(), 1, file) == 1) {
        for (char byte : bytes) {
            text += byte == '\n' && (text.empty() || text.back() != '\r') ? "\r\n" : std::string(1, byte);
        }
    }
    File::close(file);
    return text;
}

static bool loadUnits(const std::string& folder, Unit* player, Unit* enemy)
{
    std::string text = loadText(folder + "battle.txt");
    Parser parser(&text[0]);
    while (parser.ParseLine()) {
        if (const char* token = parser.GetToken(" ")) {
            parser.ParamEqualsInt32(token, "playerHealth", &player->health) ||
                parser.ParamEqualsInt32(token, "playerDamage", &player->damage) ||
                parser.ParamEqualsInt32(token, "enemyHealth", &enemy->health) ||
                parser.ParamEqualsInt32(token, "enemyDamage", &enemy->damage);
        }
    }
    return !text.empty();
}

// ---- Texts. The text in the source is the key of Game/locale/LANGUAGE/strings.utf8.

static const char* tr(const char* text)
{
    return g_stringTblPtr->translate(text);
}

static std::string chooseLanguage(int argc, char** argv)
{
    CommandLine commandLine;
    commandLine.addCommand("-language", 1, 0);
    commandLine.init(argc, argv);
    int count = 0;
    char** args = nullptr;
    const bool given = commandLine.cmdExists("-language") && commandLine.getArgs("-language", &count, &args);
    return given ? args[1] : "de";
}

// ---- The game

// Returns the number of rounds; 0 if the player has lost.
static int fight(Unit& player, Unit& enemy)
{
    for (int round = 1; player.health > 0; ++round) {
        g_MemoryPtr->alloc(BANK_FRAME, 1000, "game/frame", __LINE__); // what only this frame needs
        enemy.health -= player.damage;
        player.health -= enemy.health > 0 ? enemy.damage : 0;
        g_MemoryPtr->free(BANK_FRAME, nullptr); // the frame is over
        if (enemy.health <= 0) {
            return round;
        }
    }
    return 0;
}

static bool play(const std::string& folder, const std::string& language)
{
    StringTable::s_setLocalePath((folder + "locale/" + language).c_str());
    StringTable texts;
    texts.setLanguage(language.c_str());
    Unit* player = new ("game/player", __LINE__) Unit;
    Unit* enemy = new ("game/enemy", __LINE__) Unit;
    const bool loaded = loadUnits(folder, player, enemy);
    if (loaded) {
        const int rounds = fight(*player, *enemy);
        printf(rounds ? tr("Victory after %d rounds!\n") : tr("Defeat.\n"), rounds);
    } else {
        Platform::MessageBox(nullptr, "%sbattle.txt cannot be read.", folder.c_str());
    }
    delete player;
    delete enemy;
    return loaded;
}

int main(int argc, char** argv)
{
    Platform::SystemCheck();
    Platform::SetApp(1);
    GameMemory memory;
    printf("Version %s\n", Platform::GetAppVersion());
    if (!play(GetAppGamePath(), chooseLanguage(argc, argv))) {
        return 1;
    }
    const bool isEmpty = memory.isEmpty();
    printf("%s\n", isEmpty ? "all banks are sound and empty" : "a bank is not empty, or was too small");
    return isEmpty ? 0 : 1;
}
