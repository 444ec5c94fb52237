#include "InstanceSocket.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <pwd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace InstanceSocket {

namespace {

bool isUsableRuntimeFolder(const std::string &path)
{
    struct stat info;
    return ::stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode) && info.st_uid == ::geteuid();
}

// Qt's runtime location: $XDG_RUNTIME_DIR when it is a folder of ours, else
// "<temp folder>/runtime-<user name>".
std::string runtimeFolder()
{
    if (const char *xdg = std::getenv("XDG_RUNTIME_DIR"); xdg && *xdg && isUsableRuntimeFolder(xdg))
        return xdg;
    std::string temp = "/tmp";
    if (const char *tmpdir = std::getenv("TMPDIR"); tmpdir && *tmpdir) {
        temp = tmpdir;
        while (temp.size() > 1 && temp.back() == '/')
            temp.pop_back();
    }
    const struct passwd *user = ::getpwuid(::geteuid());
    if (!user)
        return {};
    return temp + "/runtime-" + user->pw_name;
}

bool writeAll(int fd, const char *data, size_t size)
{
    while (size > 0) {
        const ssize_t written = ::send(fd, data, size, MSG_NOSIGNAL);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return false;
        data += written;
        size -= size_t(written);
    }
    return true;
}

bool writeAll(int fd, const std::string &text)
{
    return writeAll(fd, text.data(), text.size());
}

bool writeField(int fd, const std::string &field)
{
    return writeAll(fd, std::to_string(field.size()) + '\n') && writeAll(fd, field);
}

std::optional<std::string> readToEnd(int fd)
{
    std::string all;
    char buffer[65536];
    for (;;) {
        const ssize_t got = ::read(fd, buffer, sizeof buffer);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            return std::nullopt;
        if (got == 0)
            return all;
        all.append(buffer, size_t(got));
    }
}

} // namespace

std::string socketPath()
{
    const std::string folder = runtimeFolder();
    if (folder.empty())
        return {};
    // One instance per display, the display's name made safe for a file name.
    const char *display = std::getenv("DISPLAY");
    if (!display || !*display)
        display = std::getenv("WAYLAND_DISPLAY");
    std::string name = display ? display : "";
    if (!name.empty() && name.front() == ':')
        name.erase(0, 1);
    for (char &c : name) {
        // Qt keeps letters of any script; such a display name is rare enough to leave to the
        // full program, which names the socket itself.
        if (static_cast<unsigned char>(c) >= 0x80)
            return {};
        const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z')
                           || (c >= '0' && c <= '9') || c == '.' || c == '-';
        if (!plain)
            c = '_';
    }
    return folder + "/cliphaven-" + std::to_string(::getuid()) + (name.empty() ? "" : "-" + name)
           + ".socket";
}

int connectTo(const std::string &path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.empty() || path.size() >= sizeof address.sun_path)
        return -1;
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return -1;
    if (::connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) {
        ::close(fd);
        return -1;
    }
    return fd;
}

bool sendReopen(int fd)
{
    return writeAll(fd, std::string("reopen\n"));
}

std::optional<Reply> sendCommand(int fd,
                                 const std::vector<std::string> &arguments,
                                 const std::string &input)
{
    // "command\n", the argument count, each argument and the input as "<length>\n<bytes>".
    bool sent = writeAll(fd, std::string("command\n"))
                && writeAll(fd, std::to_string(arguments.size()) + '\n');
    for (const std::string &argument : arguments)
        sent = sent && writeField(fd, argument);
    sent = sent && writeField(fd, input);
    if (!sent)
        return std::nullopt;
    // "<status> <out length> <err length>\n<out><err>", then the instance closes.
    const std::optional<std::string> answer = readToEnd(fd);
    if (!answer)
        return std::nullopt;
    const size_t newline = answer->find('\n');
    if (newline == std::string::npos)
        return std::nullopt;
    Reply reply;
    unsigned long long outSize = 0;
    unsigned long long errSize = 0;
    if (std::sscanf(answer->c_str(), "%d %llu %llu", &reply.status, &outSize, &errSize) != 3
        || answer->size() - newline - 1 != outSize + errSize)
        return std::nullopt;
    reply.out = answer->substr(newline + 1, outSize);
    reply.err = answer->substr(newline + 1 + outSize, errSize);
    return reply;
}

} // namespace InstanceSocket
