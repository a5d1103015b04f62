// The system, the processor, an emulator around them, and the locale.
#include "macapi/src/system/disk.h"
#include "tools/core-doctor/subjects.h"

#include <langinfo.h>
#include <locale.h>
#include <stdlib.h>
#include <string.h>
#include <sys/utsname.h>
#include <unistd.h>

static const char sc_section[] = "host";

// Returns the text after the first line's start `key` in a file such as /proc/cpuinfo; empty if there is none.
static std::string valueIn(const char* path, const std::string& key)
{
    std::string text;
    if (macapi::readFile(path, &text) != 0) {
        return "";
    }
    const size_t place = text.rfind(key, 0) == 0 ? 0 : text.find("\n" + key);
    if (place == std::string::npos) {
        return "";
    }
    const size_t begin = text.find_first_not_of(" \t:=\"", place + key.size() + (place == 0 ? 0 : 1));
    const size_t end = text.find_first_of("\"\n", std::min(begin, text.size()));
    return begin == std::string::npos ? "" : text.substr(begin, end - begin);
}

static bool exists(const char* path)
{
    return access(path, F_OK) == 0;
}

static std::string emulator(const utsname& names)
{
    std::string found;
    const auto add = [&found](const char* text) { found += (found.empty() ? "" : ", ") + std::string(text); };
    if ((" " + valueIn("/proc/cpuinfo", "flags") + " ").find(" hypervisor ") != std::string::npos) {
        add("virtual machine");
    }
    if (exists("/.dockerenv") || exists("/run/.containerenv")) {
        add("container");
    }
    if (strcasestr(names.release, "microsoft")) {
        add("Windows Subsystem for Linux");
    }
    return found.empty() ? "none seen" : found;
}

static void lookAtLocale(Report* report)
{
    std::string wanted;
    for (const char* variable : {"LC_ALL", "LC_CTYPE", "LANG"}) {
        const char* value = getenv(variable);
        if (value && *value) {
            wanted = std::string(variable) + "=" + value;
            break;
        }
    }
    const bool isKnown = setlocale(LC_ALL, "") != nullptr;
    report->add(sc_section, "locale", (wanted.empty() ? "not set" : wanted) + ", " + nl_langinfo(CODESET));
    if (!isKnown) {
        report->warn("locale-unknown", "The system does not have the locale that the environment names.",
                     "Choose one that `locale -a` lists for LANG, LC_ALL and the other variables LC_*.");
    }
}

void lookAtHost(Report* report)
{
    utsname names = {};
    uname(&names);
    const std::string distribution = valueIn("/etc/os-release", "PRETTY_NAME");
    report->add(sc_section, "system",
                (distribution.empty() ? "" : distribution + ", ") + names.sysname + " " + names.release);
    const std::string model = valueIn("/proc/cpuinfo", "model name");
    report->add(sc_section, "processor",
                std::string(names.machine) + (model.empty() ? "" : ", " + model) + ", " +
                    std::to_string(sysconf(_SC_NPROCESSORS_ONLN)) + " cores");
    const long long bytes = static_cast<long long>(sysconf(_SC_PHYS_PAGES)) * sysconf(_SC_PAGESIZE);
    report->add(sc_section, "memory", std::to_string(bytes >> 20) + " MiB");
    report->add(sc_section, "emulator", emulator(names));
    lookAtLocale(report);
}
