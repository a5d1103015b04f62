// The log: format a message, make a line of it, write the line.
//
// 1. The logger uses no other library of this project and no memory manager, because it logs their failures. Long
//    texts lie in blocks of malloc.
// 2. The lock of the standard error stream is held while a line is written, and at no other time. So a line does
//    not mix with lines of other threads or with texts that the game prints to the stream.
// 3. Without memory a message is still written: a long line in several pieces, a long message truncated.
#include "logger/logger.h"

#include "logger/printable.h"

#include <atomic>
#include <charconv>
#include <errno.h>
#include <poll.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

static const char sc_colourEnd[] = "\x1b[39m"; // the terminal's default colour
static const size_t sc_noteRoom = 64;          // bytes for the note at the end of a message that was truncated

struct Settings {
    std::atomic<int> threshold;
    bool colours; // true: colours are written when the stream is a terminal
};

static int thresholdAtStart()
{
    int threshold = 6;
    if (const char* text = getenv("CORE_LOG_LEVEL")) {
        int value;
        const std::from_chars_result scan = std::from_chars(text, text + strlen(text), value);
        if (scan.ec == std::errc() && *scan.ptr == '\0') {
            threshold = value;
        }
    }
    return threshold;
}

static bool coloursWanted()
{
    const char* noColour = getenv("NO_COLOR");
    const char* terminal = getenv("TERM");
    return !(noColour && *noColour) && !(terminal && strcmp(terminal, "dumb") == 0);
}

// The settings are made at the first call, because static constructors of other libraries may call the log.
static Settings& settings()
{
    static Settings s_settings = {{thresholdAtStart()}, coloursWanted()};
    return s_settings;
}

static void writeAll(const char* bytes, size_t count)
{
    while (count > 0) {
        const ssize_t written = write(STDERR_FILENO, bytes, count);
        if (written > 0) {
            bytes += written;
            count -= static_cast<size_t>(written);
        } else if (written < 0 && errno == EAGAIN) {
            pollfd stream = {STDERR_FILENO, POLLOUT, 0}; // the stream is non-blocking: wait until it has room
            poll(&stream, 1, -1);
        } else if (written == 0 || errno != EINTR) {
            return; // the stream cannot be written, and a log has no other place for the failure
        }
    }
}

// A line that is being put together: on the stack, or in one block of malloc if the line needs more room.
class Line {
public:
    Line() = default;
    ~Line() { free(m_block); }

    Line(const Line&) = delete;
    Line& operator=(const Line&) = delete;

    void append(const char* bytes, size_t count);
    void append(const char* text) { append(text, strlen(text)); }
    void finish();

private:
    bool _grow(size_t room);
    void _writePiece();

    char m_small[4096];
    char* m_block = nullptr;
    char* m_bytes = m_small;
    size_t m_room = sizeof(m_small);
    size_t m_count = 0;
    bool m_begun = false; // true: the first piece is written, and this line holds the lock of the stream
};

// Moves the line to a block of room bytes. Returns false, and changes nothing, without memory.
bool Line::_grow(size_t room)
{
    char* block = static_cast<char*>(malloc(room));
    if (!block) {
        return false;
    }
    memcpy(block, m_bytes, m_count);
    free(m_block);
    m_bytes = m_block = block;
    m_room = room;
    return true;
}

void Line::append(const char* bytes, size_t count)
{
    while (count > m_room - m_count && !_grow(2 * m_room + count)) {
        const size_t fits = m_room - m_count;
        memcpy(m_bytes + m_count, bytes, fits);
        m_count += fits;
        bytes += fits;
        count -= fits;
        _writePiece();
    }
    memcpy(m_bytes + m_count, bytes, count);
    m_count += count;
}

void Line::_writePiece()
{
    if (!m_begun) {
        flockfile(stderr);
        m_begun = true;
    }
    writeAll(m_bytes, m_count);
    m_count = 0;
}

void Line::finish()
{
    _writePiece();
    funlockfile(stderr);
}

// Returns true for a byte that is copied without a closer look. Returns false for control characters, for the
// caret, which can begin a colour mark, and for the bytes 0xc2 and 0xe2, which can begin a control character in
// UTF-8.
static bool isPlain(char letter)
{
    const unsigned char byte = static_cast<unsigned char>(letter);
    const bool canBeginControl = byte < 0x20 || byte == 0x7f || byte == 0xc2 || byte == 0xe2;
    return (!canBeginControl && byte != '^') || byte == '\n' || byte == '\t';
}

static void appendHex(Line& line, const char* bytes, size_t count)
{
    for (size_t i = 0; i < count; ++i) {
        char escape[4];
        escapeByte(bytes[i], escape);
        line.append(escape, sizeof(escape));
    }
}

static bool startsColour(const char* text)
{
    return strncmp(text, "^C", 2) == 0 && strspn(text + 2, "0123456789ABCDEFabcdef") >= 6;
}

static void appendColour(Line& line, const char* digits)
{
    unsigned int colour = 0;
    std::from_chars(digits, digits + 6, colour, 16);
    char sequence[24];
    snprintf(sequence, sizeof(sequence), "\x1b[38;2;%u;%u;%um", colour >> 16 & 0xff, colour >> 8 & 0xff,
             colour & 0xff);
    line.append(sequence);
}

// Returns the number of bytes of the control character that begins at text; 0 if none begins there. Colour marks
// are left out of the written line, so the bytes before and after a mark can form a control character. For such a
// character returns 1: it is enough to escape the first byte. coloured: a colour has begun, so "^c" is a mark.
static size_t shownControlLength(const char* text, bool coloured)
{
    char shown[3];
    size_t count = 0;
    for (const char* next = text; count < sizeof(shown) && *next != '\0' && *next != '\f';) {
        if (startsColour(next)) {
            coloured = true;
            next += 8;
        } else if (coloured && strncmp(next, "^c", 2) == 0) {
            coloured = false;
            next += 2;
        } else {
            shown[count++] = *next++;
        }
    }
    const size_t length = controlLength(shown, count);
    return length > 0 && memcmp(text, shown, length) != 0 ? 1 : length;
}

static void appendMessage(Line& line, const char* text, bool showColours)
{
    bool coloured = false;
    for (;;) {
        const char* plain = text;
        while (isPlain(*text)) {
            ++text;
        }
        line.append(plain, static_cast<size_t>(text - plain));
        if (*text == '\0' || *text == '\f') {
            break;
        }
        if (startsColour(text)) {
            coloured = true;
            if (showColours) {
                appendColour(line, text + 2);
            }
            text += 8;
        } else if (coloured && strncmp(text, "^c", 2) == 0) {
            coloured = false;
            if (showColours) {
                line.append(sc_colourEnd);
            }
            text += 2;
        } else if (const size_t count = shownControlLength(text, coloured)) {
            appendHex(line, text, count);
            text += count;
        } else {
            line.append(text++, 1);
        }
    }
    if (coloured && showColours) {
        line.append(sc_colourEnd);
    }
}

// Formats a message of length bytes into a block of malloc, which the caller frees. Returns null without memory.
static char* formatInBlock(size_t length, const char* format, va_list args)
{
    char* block = static_cast<char*>(malloc(length + 1));
    if (block) {
        vsnprintf(block, length + 1, format, args);
    }
    return block;
}

void owLogger::log(int level, const char* format, ...)
{
    if (!format || level > settings().threshold) {
        return;
    }
    const int callersError = errno; // log must not change the errno of its caller
    char small[2048];
    char* block = nullptr;
    va_list args;
    va_start(args, format);
    const int length = vsnprintf(small, sizeof(small), format, args);
    va_end(args);
    if (length >= static_cast<int>(sizeof(small))) {
        va_start(args, format);
        block = formatInBlock(static_cast<size_t>(length), format, args);
        va_end(args);
        if (!block) {
            char* end = small + sizeof(small) - sc_noteRoom;
            snprintf(end, sc_noteRoom, "... (%d bytes, and no memory for more)", length);
        }
    }

    // When printf fails, the format itself is the message.
    const char* text = length < 0 ? format : block ? block : small;
    Line line;
    appendMessage(line, text, settings().colours && isatty(STDERR_FILENO));
    line.append("\n");
    line.finish();
    free(block);
    errno = callersError;
}

void owLogger::setLevel(int threshold)
{
    settings().threshold = threshold;
}
