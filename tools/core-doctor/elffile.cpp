// A file can be damaged or made to harm, so each offset and size is checked against the file's own size.
#include "tools/core-doctor/elffile.h"

#include "macapi/src/system/descriptor.h"

#include <algorithm>
#include <elf.h>
#include <fcntl.h>
#include <link.h>
#include <string.h>
#include <sys/auxv.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

using namespace macapi;

static const size_t sc_mostBytes = 1 << 20; // of one section; the sections that are read have some hundred bytes

static std::string readPart(int file, uint64_t offset, uint64_t size)
{
    std::string bytes(std::min<uint64_t>(size, sc_mostBytes), '\0');
    const ssize_t count = pread(file, bytes.data(), bytes.size(), static_cast<off_t>(offset));
    bytes.resize(count > 0 ? static_cast<size_t>(count) : 0);
    return bytes;
}

// Returns the processor of core-doctor itself, as a file's header names it.
static ElfW(Half) ownMachine()
{
    ElfW(Ehdr) header = {};
    const Descriptor self = openAt(AT_FDCWD, "/proc/self/exe", O_RDONLY);
    const std::string bytes = self < 0 ? "" : readPart(self, 0, sizeof(header));
    memcpy(&header, bytes.data(), bytes.size());
    return header.e_machine;
}

static std::string processorOf(const std::string& header)
{
    static const struct {
        unsigned int machine;
        const char* name;
    } sc_names[] = {{EM_386, "x86"}, {EM_X86_64, "x86-64"}, {EM_PPC, "PowerPC"}, {EM_PPC64, "PowerPC"},
                    {EM_ARM, "ARM"}, {EM_AARCH64, "ARM"},   {EM_RISCV, "RISC-V"}};
    const bool isBigEndian = header[EI_DATA] == ELFDATA2MSB;
    const unsigned char first = static_cast<unsigned char>(header[18]); // the two bytes of e_machine
    const unsigned char second = static_cast<unsigned char>(header[19]);
    const unsigned int machine = isBigEndian ? first << 8 | second : second << 8 | first;
    std::string name = "processor " + std::to_string(machine);
    for (const auto& known : sc_names) {
        name = known.machine == machine ? known.name : name;
    }
    return name + (header[EI_CLASS] == ELFCLASS64 ? ", 64 bits" : ", 32 bits") + (isBigEndian ? ", big-endian" : "");
}

static void readSections(int file, const ElfW(Ehdr) & header, ElfFacts* facts)
{
    if (header.e_shentsize != sizeof(ElfW(Shdr)) || header.e_shstrndx >= header.e_shnum) {
        return;
    }
    const std::string bytes = readPart(file, header.e_shoff, header.e_shnum * sizeof(ElfW(Shdr)));
    std::vector<ElfW(Shdr)> sections(bytes.size() / sizeof(ElfW(Shdr)));
    memcpy(static_cast<void*>(sections.data()), bytes.data(), sections.size() * sizeof(ElfW(Shdr)));
    if (header.e_shstrndx >= sections.size()) {
        return;
    }
    const ElfW(Shdr)& table = sections[header.e_shstrndx];
    const std::string names = readPart(file, table.sh_offset, table.sh_size);
    for (const ElfW(Shdr) & section : sections) {
        const std::string name = section.sh_name < names.size() ? names.c_str() + section.sh_name : "";
        if (name == ".comment") {
            facts->compiler = readPart(file, section.sh_offset, section.sh_size).c_str(); // the first of its texts
        }
        facts->hasDebugInformation |= name == ".debug_info";
    }
}

// Returns the end of a part of the file; the largest number if the part is larger than any file.
static uint64_t endOf(uint64_t offset, uint64_t size)
{
    return size <= UINT64_MAX - offset ? offset + size : UINT64_MAX;
}

// Returns the bytes that a complete file has at least.
static uint64_t bytesNeeded(int file, const ElfW(Ehdr) & header)
{
    uint64_t needed = std::max(endOf(header.e_phoff, header.e_phnum * sizeof(ElfW(Phdr))),
                               endOf(header.e_shoff, header.e_shnum * sizeof(ElfW(Shdr))));
    const std::string bytes = readPart(file, header.e_phoff, header.e_phnum * sizeof(ElfW(Phdr)));
    std::vector<ElfW(Phdr)> segments(bytes.size() / sizeof(ElfW(Phdr)));
    memcpy(segments.data(), bytes.data(), segments.size() * sizeof(ElfW(Phdr)));
    for (const ElfW(Phdr) & segment : segments) {
        needed = std::max(needed, segment.p_type == PT_LOAD ? endOf(segment.p_offset, segment.p_filesz) : 0);
    }
    return needed;
}

ElfFacts readElf(const std::string& path)
{
    ElfFacts facts;
    const Descriptor file = openAt(AT_FDCWD, path, O_RDONLY | O_NONBLOCK);
    if (file < 0) {
        return facts;
    }
    ElfW(Ehdr) header = {};
    const std::string bytes = readPart(file, 0, sizeof(header));
    facts.hasHeader = bytes.size() >= 20 && bytes.compare(0, SELFMAG, ELFMAG) == 0;
    if (!facts.hasHeader) {
        return facts;
    }
    facts.processor = processorOf(bytes);
    memcpy(&header, bytes.data(), bytes.size());
    const int ownClass = sizeof(void*) == 8 ? ELFCLASS64 : ELFCLASS32;
    facts.isForThisHost = header.e_ident[EI_CLASS] == ownClass && header.e_machine == ownMachine();
    struct stat status;
    if (!facts.isForThisHost || fstat(file, &status) != 0) {
        return facts;
    }
    facts.bytes = static_cast<uint64_t>(status.st_size);
    facts.bytesNeeded = sizeof(header);
    if (bytes.size() == sizeof(header)) {
        facts.bytesNeeded = std::max(facts.bytesNeeded, bytesNeeded(file, header));
        readSections(file, header, &facts);
    }
    return facts;
}
