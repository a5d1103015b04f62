// Questions to an X server, with a time limit.
//
// 1. A probe sends what Xlib sends first: the setup of a connection, with the user's authorization, and one request.
// 2. All parts of one question share one deadline. So a server that sends one byte now and then also counts as
//    silent.
// 3. The contents of an answer are skipped; a complete answer is enough. Xlib asks again on its own connection.
#include "macapi/src/display/probe_x11.h"

#include "macapi/src/system/descriptor.h"

#include <X11/X.h>
#include <X11/Xauth.h>
#include <X11/Xproto.h>

#include <algorithm>
#include <chrono>
#include <errno.h>
#include <memory>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <setjmp.h>
#include <stdlib.h>
#include <string.h>
#include <string>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

namespace macapi {

static const std::chrono::seconds sc_timeout(5);

namespace {

class Deadline {
public:
    // Returns the milliseconds left, rounded up; 0 after the deadline.
    int left() const
    {
        const auto rest = m_end - std::chrono::steady_clock::now();
        const auto whole = std::chrono::duration_cast<std::chrono::milliseconds>(rest).count() + 1;
        return static_cast<int>(std::max<long long>(whole, 0));
    }

    // Limits later calls on a socket to the time left. Returns false after the deadline.
    bool limit(int socket) const
    {
        const int rest = left();
        timeval time = {};
        time.tv_sec = rest / 1000;
        time.tv_usec = rest % 1000 * 1000;
        return rest > 0 && setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &time, sizeof(time)) == 0 &&
               setsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, &time, sizeof(time)) == 0;
    }

private:
    const std::chrono::steady_clock::time_point m_end = std::chrono::steady_clock::now() + sc_timeout;
};

// The parts of DISPLAY: [protocol/][host]:number[.screen].
struct DisplayName {
    std::string host;   // empty: the server is reached by a local socket
    std::string number; // digits
};

} // namespace

static bool isNumber(const std::string& text)
{
    return !text.empty() && text.size() <= 5 && text.find_first_not_of("0123456789") == text.npos;
}

// Returns false for a name of any other form.
static bool parse(const std::string& text, DisplayName* name)
{
    const size_t colon = text.rfind(':');
    if (colon == text.npos) {
        return false;
    }
    const size_t slash = std::min(text.find('/'), colon);
    const std::string protocol = text.substr(0, slash);
    std::string host = slash < colon ? text.substr(slash + 1, colon - slash - 1) : protocol;
    if (host.size() > 2 && host.front() == '[' && host.back() == ']') {
        host = host.substr(1, host.size() - 2); // an IPv6 address
    }
    const std::string number = text.substr(colon + 1, text.find('.', colon) - colon - 1);
    *name = {host.empty() || protocol == "unix" ? "" : host, number};
    return isNumber(number);
}

// Returns a connected socket; -1 on failure, with the reason in errno.
static int connectTo(const sockaddr* address, socklen_t size, const Deadline& deadline)
{
    const int connection = socket(address->sa_family, SOCK_STREAM | SOCK_CLOEXEC, 0);
    int status = -1;
    do {
        status = connection >= 0 && deadline.limit(connection) ? connect(connection, address, size) : -1;
    } while (status != 0 && errno == EINTR && deadline.left() > 0);
    if (status == 0 || errno == EISCONN) {
        return connection;
    }
    const int reason = errno;
    close(connection);
    errno = reason;
    return -1;
}

// abstract: the name is in Linux's abstract namespace and is not a file.
static int connectToSocket(const std::string& path, bool abstract, const Deadline& deadline)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path.size() + 1 >= sizeof(address.sun_path)) {
        errno = ENAMETOOLONG;
        return -1;
    }
    memcpy(address.sun_path + (abstract ? 1 : 0), path.c_str(), path.size());
    const size_t size = offsetof(sockaddr_un, sun_path) + path.size() + 1;
    return connectTo(reinterpret_cast<sockaddr*>(&address), static_cast<socklen_t>(size), deadline);
}

static int connectToHost(const DisplayName& name, const Deadline& deadline)
{
    addrinfo wanted = {};
    wanted.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    const std::string port = std::to_string(X_TCP_PORT + atoi(name.number.c_str()));
    if (getaddrinfo(name.host.c_str(), port.c_str(), &wanted, &found) != 0) {
        errno = EHOSTUNREACH;
        return -1;
    }
    int connection = -1;
    for (const addrinfo* one = found; one && connection < 0; one = one->ai_next) {
        connection = connectTo(one->ai_addr, one->ai_addrlen, deadline);
    }
    const int reason = errno;
    freeaddrinfo(found);
    errno = reason;
    return connection;
}

static int connectToServer(const DisplayName& name, const Deadline& deadline)
{
    if (!name.host.empty()) {
        return connectToHost(name, deadline);
    }
    // The same three addresses as Xlib, in the same order.
    const std::string path = "/tmp/.X11-unix/X" + name.number;
    int connection = connectToSocket(path, true, deadline);
    if (connection < 0 && deadline.left() > 0) {
        connection = connectToSocket(path, false, deadline);
    }
    if (connection < 0 && deadline.left() > 0) {
        connection = connectToHost({"localhost", name.number}, deadline);
    }
    return connection;
}

static bool sendAll(int connection, const std::string& bytes, const Deadline& deadline)
{
    for (size_t sent = 0; sent < bytes.size();) {
        if (!deadline.limit(connection)) {
            return false;
        }
        const ssize_t length = send(connection, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (length < 0 && errno != EINTR) {
            return false;
        }
        sent += std::max<ssize_t>(length, 0);
    }
    return true;
}

static bool receive(int connection, unsigned char* bytes, size_t size, const Deadline& deadline)
{
    for (size_t got = 0; got < size;) {
        if (!deadline.limit(connection)) {
            return false;
        }
        const ssize_t length = recv(connection, bytes + got, size - got, 0);
        if (length == 0 || (length < 0 && errno != EINTR)) {
            return false;
        }
        got += std::max<ssize_t>(length, 0);
    }
    return true;
}

// Returns the server's address in the form of an authorization file: an IP address, or the name of this machine.
static std::string authorizationAddress(int connection, unsigned short* family)
{
    sockaddr_storage peer = {};
    socklen_t size = sizeof(peer);
    getpeername(connection, reinterpret_cast<sockaddr*>(&peer), &size);
    const auto& four = reinterpret_cast<const sockaddr_in&>(peer);
    const auto& six = reinterpret_cast<const sockaddr_in6&>(peer);
    const char* sixBytes = reinterpret_cast<const char*>(&six.sin6_addr);
    const size_t mapped = 12; // bytes before the IPv4 address inside an IPv6 address
    *family = FamilyInternet;
    if (peer.ss_family == AF_INET && four.sin_addr.s_addr != htonl(INADDR_LOOPBACK)) {
        return std::string(reinterpret_cast<const char*>(&four.sin_addr), sizeof(four.sin_addr));
    }
    if (peer.ss_family == AF_INET6 && IN6_IS_ADDR_V4MAPPED(&six.sin6_addr)) {
        return std::string(sixBytes + mapped, sizeof(four.sin_addr));
    }
    *family = FamilyInternet6;
    if (peer.ss_family == AF_INET6 && !IN6_IS_ADDR_LOOPBACK(&six.sin6_addr)) {
        return std::string(sixBytes, sizeof(six.sin6_addr));
    }
    *family = FamilyLocal;
    char host[256] = {};
    gethostname(host, sizeof(host) - 1);
    return host;
}

// Returns the user's authorization for this server; null if there is none.
static std::unique_ptr<Xauth, void (*)(Xauth*)> authorization(int connection, const std::string& number)
{
    char kind[] = "MIT-MAGIC-COOKIE-1";
    char* kinds[] = {kind};
    const int lengths[] = {static_cast<int>(strlen(kind))};
    unsigned short family;
    const std::string address = authorizationAddress(connection, &family);
    return {XauGetBestAuthByAddr(family, static_cast<unsigned short>(address.size()), address.data(),
                                 static_cast<unsigned short>(number.size()), number.data(), 1, kinds, lengths),
            XauDisposeAuth};
}

template <class Record>
static std::string bytesOf(const Record& record, size_t size)
{
    return std::string(reinterpret_cast<const char*>(&record), size);
}

// Returns a text, padded to a multiple of 4 bytes.
static std::string padded(const char* text, size_t length)
{
    std::string bytes(text, length);
    bytes.resize((length + 3) / 4 * 4);
    return bytes;
}

static std::string setupRequest(const Xauth* authorization)
{
    const unsigned short one = 1;
    const bool isLittleEndian = *reinterpret_cast<const char*>(&one) == 1;
    xConnClientPrefix prefix = {};
    prefix.byteOrder = isLittleEndian ? 'l' : 'B';
    prefix.majorVersion = X_PROTOCOL;
    prefix.minorVersion = X_PROTOCOL_REVISION;
    if (!authorization) {
        return bytesOf(prefix, sz_xConnClientPrefix);
    }
    prefix.nbytesAuthProto = authorization->name_length;
    prefix.nbytesAuthString = authorization->data_length;
    return bytesOf(prefix, sz_xConnClientPrefix) + padded(authorization->name, authorization->name_length) +
           padded(authorization->data, authorization->data_length);
}

static bool skip(int connection, size_t size, const Deadline& deadline)
{
    unsigned char bytes[4096];
    while (size > 0) {
        const size_t part = std::min(size, sizeof(bytes));
        if (!receive(connection, bytes, part, deadline)) {
            return false;
        }
        size -= part;
    }
    return true;
}

// Returns true if the server answers. A refusal is an answer, too.
static bool acceptsOrRefuses(int connection, const std::string& setup, const Deadline& deadline)
{
    unsigned char answer[sz_xConnSetupPrefix];
    if (!sendAll(connection, setup, deadline) || !receive(connection, answer, sizeof(answer), deadline)) {
        return false;
    }
    xConnSetupPrefix prefix;
    memcpy(&prefix, answer, sizeof(answer));
    if (!skip(connection, prefix.length * 4u, deadline)) {
        return false;
    }
    if (prefix.success != xTrue) {
        return true;
    }
    xReq question = {};
    question.reqType = X_GetInputFocus; // the shortest request that has a reply
    question.length = sz_xReq / 4;
    return sendAll(connection, bytesOf(question, sz_xReq), deadline) && skip(connection, sz_xReply, deadline);
}

// The object is complete after the first constructor. So its destructor closes the socket even if there is no memory
// for the questions.
Probe::Probe() : Probe(-1)
{
    const char* text = getenv("DISPLAY");
    DisplayName name;
    if (!text || !parse(text, &name)) {
        return;
    }
    const Deadline deadline;
    m_socket = connectToServer(name, deadline);
    if (m_socket < 0) {
        m_allowed = deadline.left() > 0;
        return;
    }
    m_allowed = acceptsOrRefuses(m_socket, setupRequest(authorization(m_socket, name.number).get()), deadline);
}

Probe::Probe(int socket) : m_socket(socket), m_allowed(true)
{
}

Probe::~Probe()
{
    if (m_socket >= 0) {
        close(m_socket);
    }
}

// The place to continue when a server closes the connection while Xlib opens its display. Xlib's handler must not
// return then, so it jumps.
static jmp_buf s_jumpTarget;
static std::thread::id s_openingThread;
static XIOErrorHandler s_formerHandler;
static Display* s_failedDisplay; // Xlib's record of the display that could not be opened; it cannot be freed

static int abandonOpening(Display* display)
{
    if (std::this_thread::get_id() != s_openingThread) {
        return s_formerHandler ? s_formerHandler(display) : 0; // another thread's connection
    }
    s_failedDisplay = display;
    longjmp(s_jumpTarget, 1);
}

Display* openDisplay()
{
    const StandardStreamsFiller filler;
    const Probe probe;
    if (!probe.allowsXlib()) {
        return nullptr;
    }
    s_openingThread = std::this_thread::get_id();
    s_formerHandler = XSetIOErrorHandler(abandonOpening);
    Display* volatile display = nullptr;
    if (setjmp(s_jumpTarget) == 0) {
        display = XOpenDisplay(nullptr);
    } else {
        close(ConnectionNumber(s_failedDisplay));
    }
    XSetIOErrorHandler(s_formerHandler);
    return display;
}

static void sendPing(Display* display, Window pingWindow)
{
    XEvent ping = {};
    ping.xclient.type = ClientMessage;
    ping.xclient.window = pingWindow;
    ping.xclient.format = 32;
    XSendEvent(display, pingWindow, False, NoEventMask, &ping);
    XFlush(display);
}

// Discards all events that have arrived. Returns true if the ping was among them.
static bool pingHasArrived(Display* display, Window pingWindow)
{
    bool arrived = false;
    for (int count = XEventsQueued(display, QueuedAfterReading); count > 0; count--) {
        XEvent event;
        XNextEvent(display, &event);
        arrived = arrived || (event.type == ClientMessage && event.xclient.window == pingWindow);
    }
    return arrived;
}

// Events are read before the deadline is checked: when the game was stopped for a while, the deadline may be past
// although the answer has arrived.
bool answersPing(Display* display, Window pingWindow)
{
    const Deadline deadline;
    sendPing(display, pingWindow);
    bool hungUp = false;
    while (!pingHasArrived(display, pingWindow)) {
        if (hungUp || deadline.left() == 0) {
            return false;
        }
        pollfd connection = {ConnectionNumber(display), POLLIN, 0};
        hungUp = poll(&connection, 1, deadline.left()) > 0 && (connection.revents & ~POLLIN) != 0;
    }
    return true;
}

} // namespace macapi
