// Any bytes as a PO file: what core-strings reads from it, and the strings file and the PO file that it makes of that.
//
// If nothing gets lost, the strings file and the PO file are read again and have the same texts.
#include "tools/core-strings/document.h"
#include "tools/core-strings/po.h"

#include "tests/fuzz/observe.h"

#include <algorithm>
#include <setjmp.h>
#include <stdlib.h>
#include <sys/syscall.h>
#include <unistd.h>

// After too many errors libgettextpo has the program end, so readPo does not return. It then leaves behind messages, which
// are leaks, and the copy of the input, a file in memory.
static jmp_buf s_end;
static int s_copy = -1;

#ifdef FUZZ_REPLAY
// So the replay does not look for leaks; core_strings_test does. For libFuzzer, fuzzers.py has an option.
extern "C" const char* __asan_default_options();
extern "C" const char* __asan_default_options()
{
    return "detect_leaks=0";
}
#endif

int complain(int, const std::string& message)
{
    observeText(message);
    longjmp(s_end, 1);
}

extern "C" int memfd_create(const char* name, unsigned int flags) noexcept
{
    s_copy = static_cast<int>(syscall(SYS_memfd_create, name, flags));
    return s_copy;
}

static void require(bool condition)
{
    if (!condition) {
        abort();
    }
}

// Reads a PO file. Returns the strings file that core-strings makes of it; an empty text if it can't be read.
static std::string stringsOf(const std::string& bytes, Document* document, std::vector<Finding>* lost)
{
    std::string error;
    if (!readPo("a.po", bytes, document, lost, &error)) {
        observeText(error);
        require(!error.empty());
        return "";
    }
    normalise(document);
    return writeDocument(*document);
}

static bool haveSameTexts(const Document& left, const Document& right)
{
    return std::equal(left.items.begin(), left.items.end(), right.items.begin(), right.items.end(),
                      [](const Item& one, const Item& other) {
                          return one.kind == other.kind && one.key == other.key &&
                                 one.translation == other.translation;
                      });
}

// Checks the texts and the header's fields that a PO file has become. The comments are left out: places and blanks in them
// can change.
static void check(Document document)
{
    const auto isComment = [](const std::string& line) { return line.compare(0, 4, "//@ ") != 0; };
    document.header.erase(std::remove_if(document.header.begin(), document.header.end(), isComment),
                          document.header.end());
    document.trailer.clear();
    for (Item& item : document.items) {
        item.comments.clear();
    }
    Document read;
    std::vector<Finding> findings;
    require(readDocument("a.utf8", writeDocument(document), &read, &findings));
    require(haveSameTexts(read, document) && read.header == document.header);

    std::vector<Finding> lost;
    const std::string po = poOf("a.utf8", document, false, &lost);
    observeText(po);
    Document again;
    if (lost.empty() && !stringsOf(po, &again, &lost).empty()) {
        require(!lost.empty() || haveSameTexts(again, document));
    }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static Document s_document; // not on the stack, because of longjmp
    static std::vector<Finding> s_lost;
    static std::string s_bytes;
    s_document = Document();
    s_lost.clear();
    s_bytes.assign(reinterpret_cast<const char*>(data), size);
    if (setjmp(s_end) != 0) {
        close(s_copy);
        return 0;
    }
    const std::string strings = stringsOf(s_bytes, &s_document, &s_lost);
    observeText(strings);
    observeText(formatFindings(s_lost, FINDINGS_TEXT));
    if (!strings.empty() && s_lost.empty()) {
        check(s_document);
    }
    return 0;
}
