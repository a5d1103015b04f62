// A small game for hostile environments: plays the parts of the library that read the environment or files.
//
//     prove_environment INI FOLDER
//
// INI is the path of an INI file, FOLDER the folder of the strings file and of the files to list. Both may be anything.
// Prints what must be the same in every environment.
#include "core/commandline.h"
#include "core/memorymgr.h"
#include "core/parser.h"
#include "core/platform.h"
#include "core/preferences.h"
#include "core/stringtable.h"
#include "file/file.h"

#include <locale.h>
#include <stdio.h>
#include <string.h>
#include <string>

namespace {
class EnvironmentMemory : public MemoryMgr {
public:
    EnvironmentMemory()
    {
        defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, "core", 1 << 16);
        initialize();
    }

protected:
    void onOutOfMemory(int) override {}
};
} // namespace

// The values of a file have a point and English names, in every locale.
static void readNumbers()
{
    char text[] = "speed = 1.5 -0.25\nTITLE = 3\n";
    Parser parser(text);
    float first = 0, second = 0;
    int title = 0;
    while (parser.ParseLine()) {
        const char* token = parser.GetToken(" ");
        if (!parser.ParamEqualsFloat32_2(token, "speed", &first, &second)) {
            parser.ParamEqualsInt32(token, "title", &title);
        }
    }
    printf("numbers %d %d %d\n", static_cast<int>(first * 100), static_cast<int>(second * 100), title);
}

static void play(const char* ini, const char* folder)
{
    readNumbers();
    StringTable table;
    StringTable::s_setLocalePath(folder);
    table.setLanguage("de");
    printf("text %s\n", table.translate("Quit"));
    Preferences preferences;
    preferences.init(ini);
    preferences.read("Video", "width", 1);
    preferences.write("Video", "height", 480);
    printf("setting %d\n", preferences.read("Video", "height", 480));
    Platform::RegSetInt32("Video", "mode", 3);
    char(*list)[260] = nullptr;
    Platform::ScanDir(folder, &list, nullptr, nullptr);
    Platform::ScanDirFree(list);
    Platform::CreateDir((std::string(Platform::GetAppDataDir("data")) + "/saves").c_str());
}

int main(int argc, char** argv)
{
    setlocale(LC_ALL, ""); // as a game whose libraries use the user's locale
    CommandLine line;
    line.init(argc, argv);
    Platform::SetCommandLine(&line);
    Platform::SystemCheck();
    Platform::GetAppTitle();
    Platform::GetAppVersion();
    Platform::CreateAppFilename("log", ".txt");
    GetAppGamePath();
    void* window = Platform::InitWindow(0, nullptr, "", nullptr, nullptr, 10, 10, 320, 200, false, false, nullptr);
    Platform::DestructWindow(window);
    {
        EnvironmentMemory memory;
        play(argc > 1 ? argv[1] : nullptr, argc > 2 ? argv[2] : nullptr);
    }
    Platform::MessageBox("Title", "%s", "the end");
    Platform::SetCommandLine(nullptr);
    puts("end");
    return 0;
}
