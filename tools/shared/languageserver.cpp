// 1. A message is a head of lines and a body of JSON. A line with "Content-Length:" counts wherever it stands, so that
//    the server finds the next message after a broken one.
// 2. No field of a message is taken for granted: textAt and numberAt return a default for a missing or wrong one.
// 3. The editor counts lines and UTF-16 units, the language counts bytes. A lone carriage return ends a line too.
#include "tools/shared/languageserver.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <map>
#include <stdlib.h>
#include <string.h>

typedef nlohmann::json Json;
typedef nlohmann::json::json_pointer Pointer;

static const size_t sc_longestMessage = 64u << 20; // bytes
static const size_t sc_mostFindings = 1000;        // more are of no use in an editor
static const size_t sc_longestHead = 4096;         // bytes of a line

// The error codes of the protocol.
enum e_LspError {
    LSP_PARSE_ERROR = -32700,
    LSP_INVALID_REQUEST = -32600,
    LSP_METHOD_NOT_FOUND = -32601,
    LSP_NOT_INITIALIZED = -32002,
};

static std::string textAt(const Json& json, const char* path)
{
    const Pointer pointer(path);
    return json.contains(pointer) && json.at(pointer).is_string() ? json.at(pointer).get<std::string>() : "";
}

static size_t numberAt(const Json& json, const char* path)
{
    const Pointer pointer(path);
    return json.contains(pointer) && json.at(pointer).is_number_unsigned() ? json.at(pointer).get<size_t>() : 0;
}

// ---- Places

// The bytes and the UTF-16 units of the character that begins with this byte. A byte that begins no character is one
// of each.
static size_t bytesOf(unsigned char first)
{
    return first >= 0xf0 ? 4 : first >= 0xe0 ? 3 : first >= 0xc0 ? 2 : 1;
}

class Places {
public:
    explicit Places(const std::string& text) : m_text(text)
    {
        m_lines.push_back(0);
        for (size_t at = 0; at < text.size(); ++at) {
            const bool isReturn = text[at] == '\r' && text.compare(at + 1, 1, "\n") != 0;
            if (text[at] == '\n' || isReturn) {
                m_lines.push_back(at + 1);
            }
        }
    }

    size_t placeOf(size_t line, size_t units) const
    {
        if (line >= m_lines.size()) {
            return m_text.size();
        }
        const size_t end = line + 1 < m_lines.size() ? m_lines[line + 1] : m_text.size();
        size_t place = m_lines[line];
        for (size_t done = 0; done < units && place < end && m_text[place] != '\n' && m_text[place] != '\r';) {
            const size_t bytes = bytesOf(static_cast<unsigned char>(m_text[place]));
            done += bytes == 4 ? 2 : 1;
            place = std::min(place + bytes, end);
        }
        return place;
    }

    // Places that come in their order are found fast, also in a long line.
    Json editorPosition(size_t place)
    {
        const auto after = std::upper_bound(m_lines.begin(), m_lines.end(), place);
        const size_t line = static_cast<size_t>(after - m_lines.begin()) - 1;
        if (m_last.begin != m_lines[line] || m_last.place > place) {
            m_last = {m_lines[line], m_lines[line], 0};
        }
        while (m_last.place < std::min(place, m_text.size())) {
            const size_t bytes = bytesOf(static_cast<unsigned char>(m_text[m_last.place]));
            m_last.units += bytes == 4 ? 2 : 1;
            m_last.place += bytes;
        }
        return {{"line", line}, {"character", m_last.units}};
    }

    Json rangeOf(size_t begin, size_t end)
    {
        const Json start = editorPosition(begin);
        return {{"start", start}, {"end", editorPosition(std::max(begin, end))}};
    }

private:
    const std::string& m_text;
    std::vector<size_t> m_lines; // where they begin
    struct {
        size_t begin; // of the line
        size_t place;
        size_t units; // from begin to place
    } m_last = {0, 0, 0};
};

// Returns the path of a file URI; any other URI as it is.
static std::string pathOf(const std::string& uri)
{
    static const std::string sc_scheme = "file://";
    if (uri.compare(0, sc_scheme.size(), sc_scheme) != 0) {
        return uri;
    }
    std::string path;
    for (size_t at = sc_scheme.size(); at < uri.size(); ++at) {
        const bool isCode = uri[at] == '%' && at + 2 < uri.size() &&
                            isxdigit(static_cast<unsigned char>(uri[at + 1])) &&
                            isxdigit(static_cast<unsigned char>(uri[at + 2]));
        path += isCode ? static_cast<char>(strtol(uri.substr(at + 1, 2).c_str(), nullptr, 16)) : uri[at];
        at += isCode ? 2 : 0;
    }
    return path;
}

// Returns the URI of an absolute path.
static std::string uriOf(const std::string& path)
{
    static const char sc_plain[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-._~/";
    std::string uri = "file://";
    for (const char byte : path) {
        char code[4];
        snprintf(code, sizeof(code), "%%%02X", static_cast<unsigned int>(static_cast<unsigned char>(byte)));
        const bool isPlain = byte != '\0' && strchr(sc_plain, byte);
        uri += isPlain ? std::string(1, byte) : code;
    }
    return uri;
}

// ---- Messages

class Server {
public:
    Server(Language& language, const std::string& name, FILE* in, FILE* out)
        : m_language(language), m_name(name), m_in(in), m_out(out)
    {
    }

    int run();

private:
    enum e_Head { HEAD_MESSAGE, HEAD_BAD, HEAD_END };

    e_Head _readHead(size_t* length);
    bool _readBody(size_t length, std::string* body);
    void _send(const Json& message);
    void _answer(const Json& id, const Json& result);
    void _refuse(const Json& id, int code, const std::string& why);
    bool _take(const std::string& body);
    void _takeNotification(const std::string& method, const Json& message);
    Json _resultOf(const std::string& method, const Json& message, bool* isKnown);
    Json _capabilities() const;
    Json _completions(const std::string& uri, const Json& message);
    Json _hover(const std::string& uri, const Json& message);
    Json _formatting(const std::string& uri);
    Json _targets(const std::string& uri, const Json& message);
    void _publish(const std::string& uri, bool isOpen);

    Language& m_language;
    const std::string m_name;
    FILE* m_in;
    FILE* m_out;
    std::map<std::string, std::string> m_texts; // of the open documents, by URI
    bool m_isInitialized = false;
    bool m_isShutDown = false;
    bool m_isEnded = false;
};

// Reads up to the empty line before a body. HEAD_BAD: there was none of the right form.
Server::e_Head Server::_readHead(size_t* length)
{
    static const char sc_field[] = "content-length:";
    bool hasLength = false;
    std::string line;
    for (int byte = getc(m_in); byte != EOF; byte = getc(m_in)) {
        if (byte != '\n') {
            line.erase(0, line.size() >= sc_longestHead ? line.size() / 2 : 0);
            line += static_cast<char>(byte >= 'A' && byte <= 'Z' ? byte + ('a' - 'A') : byte);
            continue;
        }
        line.erase(line.find_last_not_of(" \r") + 1);
        const size_t field = line.rfind(sc_field);
        if (line.empty()) {
            return hasLength ? HEAD_MESSAGE : HEAD_BAD;
        }
        if (field != std::string::npos) {
            char* end = nullptr;
            const char* digits = line.c_str() + field + strlen(sc_field);
            *length = static_cast<size_t>(strtoull(digits, &end, 10));
            hasLength = *end == '\0' && strpbrk(digits, "0123456789") && !strchr(digits, '-');
        }
        line.clear();
    }
    return HEAD_END;
}

// Returns false at the end of the stream. A body that is too long is skipped and becomes empty.
bool Server::_readBody(size_t length, std::string* body)
{
    char part[65536];
    body->clear();
    for (size_t left = length; left > 0;) {
        const size_t count = fread(part, 1, std::min(left, sizeof(part)), m_in);
        if (count == 0) {
            return false;
        }
        if (length <= sc_longestMessage) {
            body->append(part, count);
        }
        left -= count;
    }
    return true;
}

void Server::_send(const Json& message)
{
    const std::string text = message.dump(-1, ' ', false, Json::error_handler_t::replace);
    fprintf(m_out, "Content-Length: %zu\r\n\r\n", text.size());
    fwrite(text.data(), 1, text.size(), m_out);
    fflush(m_out);
}

void Server::_answer(const Json& id, const Json& result)
{
    _send({{"jsonrpc", "2.0"}, {"id", id}, {"result", result}});
}

void Server::_refuse(const Json& id, int code, const std::string& why)
{
    _send({{"jsonrpc", "2.0"}, {"id", id}, {"error", {{"code", code}, {"message", why}}}});
}

int Server::run()
{
    size_t length = 0;
    std::string body;
    while (!m_isEnded) {
        const e_Head head = _readHead(&length);
        if (head == HEAD_END) {
            return 1;
        }
        if (head == HEAD_BAD) {
            _refuse(nullptr, LSP_PARSE_ERROR, "a message begins with Content-Length: and a number");
        } else if (!_readBody(length, &body)) {
            return 1;
        } else if (length > sc_longestMessage) {
            _refuse(nullptr, LSP_INVALID_REQUEST, "the message is too long");
        } else if (!_take(body)) {
            _refuse(nullptr, LSP_PARSE_ERROR, "the message is no JSON object");
        }
    }
    return m_isShutDown ? 0 : 1;
}

// Answers one message. Returns false if it is no JSON object.
bool Server::_take(const std::string& body)
{
    const Json message = Json::parse(body, nullptr, false);
    if (!message.is_object()) {
        return false;
    }
    const std::string method = textAt(message, "/method");
    if (!message.contains("id")) {
        _takeNotification(method, message);
        return true;
    }
    const Json& id = message["id"];
    if (method.empty()) {
        return true; // an answer; the server asks for nothing
    }
    bool isKnown = true;
    if (m_isShutDown) {
        _refuse(id, LSP_INVALID_REQUEST, "the server is shut down");
    } else if (!m_isInitialized && method != "initialize") {
        _refuse(id, LSP_NOT_INITIALIZED, "the first request must be initialize");
    } else {
        const Json result = _resultOf(method, message, &isKnown);
        isKnown ? _answer(id, result) : _refuse(id, LSP_METHOD_NOT_FOUND, "unknown method " + method);
    }
    return true;
}

void Server::_takeNotification(const std::string& method, const Json& message)
{
    const std::string uri = textAt(message, "/params/textDocument/uri");
    if (method == "exit") {
        m_isEnded = true;
    } else if (uri.empty()) {
        return; // a notification that the server does not need
    } else if (method == "textDocument/didOpen") {
        m_texts[uri] = textAt(message, "/params/textDocument/text");
        _publish(uri, true);
    } else if (method == "textDocument/didChange" && m_texts.count(uri)) {
        const Pointer changes("/params/contentChanges");
        const bool hasText =
            message.contains(changes) && message.at(changes).is_array() && !message.at(changes).empty();
        m_texts[uri] = hasText ? textAt(message.at(changes).back(), "/text") : m_texts[uri];
        _publish(uri, true);
    } else if (method == "textDocument/didClose") {
        m_texts.erase(uri);
        _publish(uri, false);
    }
}

Json Server::_capabilities() const
{
    Json capabilities = {{"positionEncoding", "utf-16"},
                         {"textDocumentSync", {{"openClose", true}, {"change", 1}}}, // 1: the whole text
                         {"completionProvider", {{"triggerCharacters", m_language.triggers()}}},
                         {"hoverProvider", true},
                         {"documentFormattingProvider", true}};
    if (m_language.hasTargets()) {
        capabilities["definitionProvider"] = true;
    }
    return {{"serverInfo", {{"name", m_name}}}, {"capabilities", capabilities}};
}

Json Server::_resultOf(const std::string& method, const Json& message, bool* isKnown)
{
    const std::string uri = textAt(message, "/params/textDocument/uri");
    if (method == "initialize") {
        m_isInitialized = true;
        return _capabilities();
    }
    if (method == "shutdown") {
        m_isShutDown = true;
        return nullptr;
    }
    if (method == "textDocument/completion") {
        return _completions(uri, message);
    }
    if (method == "textDocument/hover") {
        return _hover(uri, message);
    }
    if (method == "textDocument/formatting") {
        return _formatting(uri);
    }
    if (method == "textDocument/definition" && m_language.hasTargets()) {
        return _targets(uri, message);
    }
    *isKnown = false;
    return nullptr;
}

static size_t cursorOf(const Json& message, const std::string& text)
{
    return Places(text).placeOf(numberAt(message, "/params/position/line"),
                                numberAt(message, "/params/position/character"));
}

Json Server::_completions(const std::string& uri, const Json& message)
{
    Json items = Json::array();
    const auto document = m_texts.find(uri);
    if (document == m_texts.end()) {
        return items;
    }
    const size_t place = cursorOf(message, document->second);
    Places places(document->second);
    for (const LanguageProposal& proposal : m_language.proposals(pathOf(uri), document->second, place)) {
        Json item = {{"label", proposal.label}, {"insertText", proposal.insert}, {"detail", proposal.detail}};
        item["kind"] = proposal.isValue ? 12 : 10; // Value, Property
        if (!proposal.documentation.empty()) {
            item["documentation"] = proposal.documentation;
        }
        if (proposal.begin != 0 || proposal.end != 0) {
            item["textEdit"] = {{"range", places.rangeOf(proposal.begin, proposal.end)},
                                {"newText", proposal.insert}};
        }
        items.push_back(item);
    }
    return items;
}

Json Server::_targets(const std::string& uri, const Json& message)
{
    Json list = Json::array();
    const auto document = m_texts.find(uri);
    if (document == m_texts.end()) {
        return list;
    }
    const size_t place = cursorOf(message, document->second);
    for (const LanguageTarget& target : m_language.targets(pathOf(uri), document->second, place)) {
        list.push_back(
            {{"uri", uriOf(target.path)}, {"range", Places(target.text).rangeOf(target.begin, target.end)}});
    }
    return list;
}

Json Server::_hover(const std::string& uri, const Json& message)
{
    const auto document = m_texts.find(uri);
    if (document == m_texts.end()) {
        return nullptr;
    }
    const std::string text = m_language.hover(pathOf(uri), document->second, cursorOf(message, document->second));
    return text.empty() ? Json() : Json{{"contents", {{"kind", "plaintext"}, {"value", text}}}};
}

Json Server::_formatting(const std::string& uri)
{
    const auto document = m_texts.find(uri);
    if (document == m_texts.end()) {
        return nullptr;
    }
    const std::string text = m_language.formatted(pathOf(uri), document->second);
    Json edits = Json::array();
    if (text != document->second) {
        edits.push_back({{"range", Places(document->second).rangeOf(0, document->second.size())}, {"newText", text}});
    }
    return edits;
}

// Sends the findings of a document; none if it is no longer open.
void Server::_publish(const std::string& uri, bool isOpen)
{
    Json list = Json::array();
    if (isOpen) {
        const std::string& text = m_texts[uri];
        Places places(text);
        for (const LanguageFinding& finding : m_language.findings(pathOf(uri), text)) {
            if (list.size() == sc_mostFindings) {
                break;
            }
            list.push_back({{"range", places.rangeOf(finding.begin, finding.end)},
                            {"severity", finding.isError ? 1 : 2},
                            {"code", finding.check},
                            {"source", m_name},
                            {"message", finding.message}});
        }
    }
    _send({{"jsonrpc", "2.0"},
           {"method", "textDocument/publishDiagnostics"},
           {"params", {{"uri", uri}, {"diagnostics", list}}}});
}

int serveLanguage(Language& language, const std::string& name, FILE* in, FILE* out)
{
    return Server(language, name, in, out).run();
}
