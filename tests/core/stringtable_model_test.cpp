// The string table and a simple model of it. The model applies the rules of strings files one after the other, and is
// slow. Both read hundreds of thousands of random files and must have the same entries.
#include "core/stringtable.h"

#include "tests/support/memory_file.h"
#include "tests/support/rounds.h"
#include "tests/support/stringtable_access.h"
#include "tests/support/watched_log.h"

#include "tests/support/game_memory.h"

#include <algorithm>

// ---- The naive table

static char lower(char letter)
{
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter + 32) : letter;
}

static std::string lower(std::string text)
{
    for (char& letter : text) {
        letter = lower(letter);
    }
    return text;
}

static const char sc_letters[] = "abtnvfr\"'\\";
static const char sc_bytes[] = "\a\b\t\n\v\f\r\"'\\";

static std::string escape(const std::string& text)
{
    std::string result;
    for (char byte : text) {
        const char* place = strchr(sc_bytes, byte);
        result += place ? std::string("\\") + sc_letters[place - sc_bytes] : std::string(1, byte);
    }
    return result;
}

static std::string unescape(const std::string& text)
{
    std::string result;
    for (size_t at = 0; at < text.size(); ++at) {
        const bool escaped = text[at] == '\\';
        const char* place = escaped && at + 1 < text.size() ? strchr(sc_letters, text[++at]) : nullptr;
        result += place ? sc_bytes[place - sc_letters] : escaped ? '\\' : text[at];
    }
    return result;
}

// A text that is cut with NULs, and where in it the next thing is sought.
class NaiveText {
public:
    explicit NaiveText(const std::string& bytes) : m_text(bytes.c_str()) // a NUL in the file ends it
    {
        if (m_text.compare(0, 3, "\xEF\xBB\xBF") == 0) {
            m_text.erase(0, 3);
        }
        m_text += '\0';
    }

    template <typename Entry>
    void read(Entry entry)
    {
        for (size_t at = 0; at < m_text.size();) {
            size_t empty = 0;
            while (m_text[at + empty] == '\n') {
                ++empty;
            }
            const size_t begin = at + empty;
            const size_t end = m_text.find_first_of(std::string("\n\0", 2), begin);
            if (begin == end) {
                return; // no line is left
            }
            m_text[end] = '\0';
            readLine(begin, end, entry);
            while (empty >= 3) {
                const size_t tail = empty - 2;
                const size_t length = end - begin;
                readLine(tail < length ? end - tail : begin, end, entry);
                empty = tail > length ? tail - length : 1; // the rest are empty lines in front of the same line
            }
            if (empty == 2) {
                return;
            }
            at = end + 1;
        }
    }

private:
    template <typename Entry>
    void readLine(size_t begin, size_t end, Entry entry)
    {
        m_at = begin;
        skipBlanks();
        if (m_text.compare(m_at, 2, "//") == 0) {
            m_text[m_at] = '\0';
        }
        for (; end > m_at && (m_text[end - 1] == '\r' || m_text[end - 1] == '\n'); --end) {
            m_text[end - 1] = '\0';
        }
        std::string key;
        std::string translation;
        if (readString(&key) && readEquals() && readString(&translation)) {
            entry(key, translation);
        }
    }

    void skipBlanks()
    {
        while (m_text[m_at] == ' ' || m_text[m_at] == '\t') {
            ++m_at;
        }
    }

    bool readString(std::string* string)
    {
        const std::string rest = &m_text[m_at]; // up to the next NUL
        const size_t open = rest.find('"');
        size_t close = open;
        do {
            close = close == std::string::npos ? close : rest.find('"', close + 1);
        } while (close != std::string::npos && rest[close - 1] == '\\');
        if (close == std::string::npos) {
            return false;
        }
        *string = unescape(rest.substr(open + 1, close - open - 1));
        m_text.replace(m_at + open + 1, string->size(), *string);
        m_text[m_at + open + 1 + string->size()] = '\0';
        m_text[m_at + close] = '\0';
        m_at += close + 1;
        return true;
    }

    bool readEquals()
    {
        skipBlanks();
        if (m_text[m_at] == '\0') {
            return false;
        }
        const std::string token = strtok(&m_text[m_at], " ");
        m_at = std::min(m_at + token.size() + 1, m_text.size() - 1);
        return token == "=";
    }

    std::string m_text;
    size_t m_at = 0;
};

class NaiveTable {
public:
    void load(const std::string& bytes)
    {
        NaiveText(bytes).read([this](const std::string& key, const std::string& text) { insert(key, text); });
    }

    const std::string* translate(const std::string& text)
    {
        if (!find(text)) {
            insert(text, text);
        }
        return find(text);
    }

    // Keys and texts, bucket by bucket.
    std::vector<std::pair<std::string, std::string>> walk() const
    {
        std::vector<Entry> sorted = m_entries;
        std::stable_sort(sorted.begin(), sorted.end(),
                         [](const Entry& a, const Entry& b) { return a.bucket < b.bucket; });
        std::vector<std::pair<std::string, std::string>> result;
        for (const Entry& entry : sorted) {
            result.push_back({entry.key, entry.text});
        }
        return result;
    }

    std::string file() const
    {
        std::string text;
        for (const auto& pair : walk()) {
            text += "\"" + escape(pair.first) + "\" = \"" + escape(pair.second) + "\"\n";
        }
        return text;
    }

    size_t size() const { return m_entries.size(); }

private:
    struct Entry {
        unsigned int bucket;
        std::string key;
        std::string text;
    };

    static unsigned int bucketOf(const std::string& key)
    {
        unsigned int hash = 0;
        for (char letter : key) {
            const int value = lower(letter) == '/' ? '\\' : lower(letter);
            hash = hash * 33 + static_cast<unsigned int>(value > 127 ? value - 256 : value); // char may be unsigned
        }
        return hash % 1021;
    }

    void insert(const std::string& key, const std::string& text)
    {
        if (m_entries.size() < 1024) {
            m_entries.push_back({bucketOf(key), key.substr(0, 127), text});
        }
    }

    const std::string* find(const std::string& key) const
    {
        const unsigned int bucket = bucketOf(key);
        for (const Entry& entry : m_entries) {
            if (entry.bucket == bucket && lower(entry.key) == lower(key)) {
                return &entry.text;
            }
        }
        return nullptr;
    }

    std::vector<Entry> m_entries;
};

// ---- Random files

class Random {
public:
    explicit Random(unsigned int seed) : m_state(seed) {}

    // 0 to count - 1, the same on every host.
    unsigned int operator()(unsigned int count)
    {
        m_state ^= m_state << 13;
        m_state ^= m_state >> 17;
        m_state ^= m_state << 5;
        return m_state % count;
    }

    template <size_t COUNT>
    std::string oneOf(const char* const (&texts)[COUNT])
    {
        return texts[(*this)(COUNT)];
    }

private:
    unsigned int m_state;
};

static std::string randomWord(Random& random)
{
    static const char* const sc_parts[] = {
        "a", "B",   "c",  "A", "b",  "/",        "\\\\",     "\\n",  "\\\"", "\\q",  " ",    "  ", "\t",
        "=", " = ", "//", "'", "%s", "\xC3\xA4", "\xC3\x84", "\xFF", "\x80", "\x7F", "\x01", "\\", "\\\\\\"};
    if (random(60) == 0) {
        return std::string(125 + random(6), "xX"[random(2)]) +
               (random(2) ? "y" : ""); // about as long as a key may be
    }
    std::string word;
    for (unsigned int left = random(4); left > 0; --left) {
        word += random.oneOf(sc_parts);
    }
    return word;
}

static std::string randomLine(Random& random)
{
    static const char* const sc_fronts[] = {"", "", "", "", "", " ", "\t ", "// ", "/ ", "x", "\xEF\xBB\xBF"};
    static const char* const sc_equals[] = {" = ",  " = ", " = ",      " = ",  "= ",    " =",
                                            " =\t", "=",   "  \t=   ", " == ", " x = ", " "};
    static const char* const sc_backs[] = {"",  "",   "",   "",     "",   " ", " // \"a\" = \"b\"",
                                           "x", "\"", "\r", "\r\r", " =", "\\"};
    static const char sc_noise[] = "\"\"\"==  \\\\//\t\rab\n\n";
    std::string line;
    switch (random(8)) {
    case 0:
        for (unsigned int left = random(30); left > 0; --left) {
            line += sc_noise[random(sizeof(sc_noise) - 1)];
        }
        return line;
    case 1:
        return random.oneOf(sc_fronts);
    default:
        line = random.oneOf(sc_fronts) + "\"" + randomWord(random) + "\"" + random.oneOf(sc_equals);
        line += random(20) ? "\"" + randomWord(random) + "\"" : "";
        return line + random.oneOf(sc_backs);
    }
}

static std::string randomFile(Random& random)
{
    std::string file = random(5) ? "" : "\xEF\xBB\xBF";
    const unsigned int ending = random(4); // mostly bare line feeds, which have all the rules
    for (unsigned int left = random(8); left > 0; --left) {
        for (unsigned int empty = random(3) ? 0 : 1 + random(random(4) ? 4 : 40); empty > 0; --empty) {
            file += ending == 0 || (ending == 1 && random(2)) ? "\r\n" : "\n";
        }
        file += randomLine(random) + (ending == 0 || (ending == 1 && random(2)) ? "\r\n" : "\n");
    }
    if (random(3) == 0 && !file.empty()) {
        file.pop_back(); // the last line's end, or half of it
    }
    if (random(200) == 0 && !file.empty()) {
        file[random(static_cast<unsigned int>(file.size()))] = '\0';
    }
    return file;
}

// ----

static std::vector<std::pair<std::string, std::string>> walk(StringTable& table)
{
    std::vector<std::pair<std::string, std::string>> result;
    HashTableIter_t<_StringTableNode_s> it;
    HashTable<_StringTableNode_s>& hashTable = *m_tableOf(table);
    const _StringTableNode_s* entry = hashTable.getFirstElement(it);
    for (; entry; entry = hashTable.getNextElement(it)) {
        result.push_back({it.key, entry->string});
    }
    return result;
}

class Models : public testing::TestWithParam<unsigned int> {
protected:
    void SetUp() override
    {
        memory.defineHeap("core", 4 << 20);
        memory.initialize();
    }

    // Whether both tables give the same for a text that one of them may have to add.
    static void translate(StringTable& table, NaiveTable& naive, const std::string& text)
    {
        const std::string* expected = naive.translate(text);
        const char* got = table.translate(text.c_str());
        ASSERT_EQ(got == text.c_str(), expected == nullptr);
        ASSERT_EQ(got, expected ? *expected : text);
    }

    GameMemory memory;
};

TEST_P(Models, LoadTheSameEntries)
{
    Random random(GetParam());
    for (int tables = 0; tables < rounds(2000); ++tables) {
        StringTable table;
        NaiveTable naive;
        for (int files = 0; files < 16; ++files) {
            s_file = randomFile(random);
            ASSERT_TRUE(table.setLanguage("random"));
            naive.load(s_file);
            ASSERT_EQ(walk(table), naive.walk()) << testing::PrintToString(s_file);
        }
        for (int texts = 0; texts < 4; ++texts) {
            ASSERT_NO_FATAL_FAILURE(translate(table, naive, randomWord(random)));
        }
        ASSERT_EQ(walk(table), naive.walk());
    }
    EXPECT_EQ(memory.check(0, true), 0);
}

TEST_P(Models, FillUpAlike)
{
    Random random(GetParam());
    StringTable table;
    NaiveTable naive;
    for (int files = 0; files < 3000 || naive.size() < 1024; ++files) {
        s_file = randomFile(random);
        ASSERT_TRUE(table.setLanguage("random"));
        naive.load(s_file);
        ASSERT_NO_FATAL_FAILURE(translate(table, naive, randomWord(random)));
    }
    EXPECT_EQ(walk(table), naive.walk());
}

TEST_P(Models, WriteTheSameFile)
{
    Random random(GetParam());
    for (int tables = 0; tables < rounds(300); ++tables) {
        NaiveTable naive;
        s_file = "not written";
        {
            StringTable table;
            for (unsigned int texts = random(100); texts > 0; --texts) {
                std::string text = unescape(randomWord(random) + randomWord(random));
                ASSERT_NO_FATAL_FAILURE(translate(table, naive, text));
            }
        }
        ASSERT_EQ(s_file, naive.file());

        StringTable again;
        NaiveTable naiveAgain;
        ASSERT_TRUE(again.setLanguage("random"));
        naiveAgain.load(s_file);
        ASSERT_EQ(walk(again), naiveAgain.walk());
    }
    EXPECT_EQ(memory.check(0, true), 0);
}

INSTANTIATE_TEST_SUITE_P(StringTable, Models, testing::Values(1u, 2u, 3u, 4u, 5u, 6u, 7u));
