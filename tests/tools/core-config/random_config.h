// Random files without a fault, and what a game gets from them.
#pragma once

#include <random>
#include <string>

class RandomFile {
protected:
    explicit RandomFile(unsigned int seed) : m_random(seed) {}

    unsigned int below(unsigned int count) { return m_random() % count; }
    template <size_t COUNT>
    const char* oneOf(const char* const (&texts)[COUNT])
    {
        return texts[below(COUNT)];
    }
    std::string name()
    {
        return oneOf({"width", "title", "unit", "_x", "3d", "speed.max", "\xc3\xa9t\xc3\xa9", "a-b", "Nan", "true"}) +
               std::to_string(below(100));
    }

    std::mt19937 m_random;
};

// A config file with blocks, comments, blanks and values of each kind.
class RandomConfig : RandomFile {
public:
    explicit RandomConfig(unsigned int seed) : RandomFile(seed)
    {
        if (below(4) == 0) {
            block(); // with a line end of its own kind: see indented()
        }
        for (unsigned int count = below(12); count > 0; --count) {
            below(4) == 0 ? block() : line();
        }
        if (!bytes.empty() && below(8) == 0) {
            bytes.resize(bytes.size() - 2); // the last line needs no line end
        }
    }

    std::string bytes;
    std::string read; // as configAsRead returns it

private:
    std::string blanks() { return oneOf({" ", " ", " ", "  ", " \t", " \t "}); }

    void add(const std::string& text)
    {
        static const char* const sc_indentations[] = {"", " ", "    ", "\t"};
        for (unsigned int depth = m_depth; depth > 0; --depth) {
            bytes += oneOf(sc_indentations);
        }
        bytes += text + oneOf({"", "", "", " ", "  ", " // note = \"x", " // 9,81"}) + "\r\n";
    }

    void expect(const std::string& text) { read += (read.empty() ? "" : ", ") + text; }

    void line()
    {
        switch (below(6)) {
        case 0:
            bytes += oneOf({"", "  ", "\t", "// a comment", "  // \"x = {", "//"}) + std::string("\r\n");
            break;
        case 1:
            text();
            break;
        case 2:
            words();
            break;
        default:
            number();
        }
    }

    void number()
    {
        static const char* const sc_numbers[] = {"0",    "640",        "-12",        "+3",      "1.5",
                                                 "-.25", "2147483647", "4294967295", "1000000", "0.001"};
        static const char* const sc_read[] = {"0",     "640",           "-12",           "3",     "1.5",
                                              "-0.25", "2.1474836e+09", "4.2949673e+09", "1e+06", "0.001"};
        const unsigned int which = below(10);
        const std::string parameter = name();
        add(parameter + blanks() + "=" + blanks() + sc_numbers[which] + (below(4) == 0 ? blanks() + "2.5" : ""));
        expect(parameter + " = " + sc_read[which]);
    }

    void text()
    {
        static const char* const sc_texts[] = {"",          "Core", "9,81 = {", "say \\\"no\\\"",
                                               "tab\there", "// x", "C:/a",     "\xe2\x80\x9cq\xe2\x80\x9d"};
        static const char* const sc_read[] = {"",          "Core", "9,81 = {", "say \"no\"",
                                              "tab\there", "// x", "C:/a",     "\xe2\x80\x9cq\xe2\x80\x9d"};
        const unsigned int which = below(8);
        const std::string parameter = name();
        add(parameter + blanks() + "=" + blanks() + '"' + sc_texts[which] + '"');
        expect(parameter + " = \"" + sc_read[which] + '"');
    }

    void words()
    {
        const std::string first = name();
        add(first + blanks() + oneOf({"on", "true", "12 3", "\"a text\"", "x y z", "{1}", "1.5"}));
        expect(first);
    }

    void block()
    {
        const std::string title = oneOf({"unit", "squad"});
        const bool isOneLine = below(2) == 0;
        expect(title);
        if (isOneLine) {
            add(title + blanks() + (below(2) == 0 ? "\"Footman\" {" : "{"));
        } else {
            add(title);
            add("{");
            expect("{");
        }
        ++m_depth;
        for (unsigned int count = below(5); count > 0; --count) {
            below(6) == 0 && m_depth < 4 ? block() : line();
        }
        --m_depth;
        add("}");
        expect("}");
    }

    unsigned int m_depth = 0;
};

// A preferences file with sections, entries and comments.
class RandomIni : RandomFile {
public:
    explicit RandomIni(unsigned int seed) : RandomFile(seed)
    {
        const std::string lineEnd = below(2) == 0 ? "\r\n" : "\n";
        for (unsigned int section = below(5); section > 0; --section) {
            const std::string title = "Section " + std::to_string(section);
            bytes += '[' + title + oneOf({"]", "] ; note"}) + lineEnd;
            for (unsigned int entry = below(8); entry > 0; --entry) {
                const std::string key = name() + '.' + std::to_string(entry);
                const std::string value = oneOf({"", "640", "a text", "a=b", "C:\\x", "[x]", "\"q\"", "1;2"});
                bytes += key + '=' + value + lineEnd;
                bytes += below(3) == 0 ? oneOf({"", "; a comment = x", ";[", "  ; indented"}) + lineEnd : "";
                if (title.find('\r') == std::string::npos && key[0] != ';') {
                    read += (read.empty() ? "" : ", ") + title + '/' + key + " = " + value;
                }
            }
        }
    }

    std::string bytes;
    std::string read; // as iniAsRead returns it
};
