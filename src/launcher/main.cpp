// The `cliphaven` command. While Cliphaven runs, a launch (plain, --toggle, or one of the
// scripting commands) only has to pass a message over the instance's socket: this program does
// that with nothing but the C library, so a key binding or a script never waits for Qt, the
// display or the OCR engine to load. Everything else (the first launch, a launch while the
// instance starts, reading the history when Cliphaven is not running) goes to the full
// program, which replaces this process.
#include "InstanceSocket.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

const char kHelp[] = R"(Usage: cliphaven [--toggle]
       cliphaven COMMAND [OPTIONS]
Clipboard history for the desktop.

Started plainly or with --toggle, Cliphaven opens or closes its overlay (and starts when it is
not running). The commands below drive the running Cliphaven; when it is not running, the
reading commands read the saved history and the others fail.

Commands (INDEX counts from 0, the newest clip of the list; ID is a clip's UUID):
  list [--category NAME] [--limit N] [--json]
                          One line per clip: index, kind and a one-line preview.
  get INDEX|ID [--category NAME] [--type MIME]
                          Writes the clip's text, image (PNG) or given flavor to standard output.
  copy INDEX|ID [--category NAME]
                          Puts the clip back on the clipboard with every flavor.
  paste INDEX|ID [--category NAME]
                          Puts the clip on the clipboard and pastes it into the active program.
  add [--type MIME] [--category NAME]
                          Puts standard input on the clipboard (and files it in a category).
  search TEXT [--category NAME] [--json]
                          The clips whose text or recognised text contains TEXT.
  delete INDEX|ID [--category NAME]
                          Deletes a clip from the history (or from the category).
  clear                   Deletes every clip of the history; categories are kept.
  pause                   Stops recording copies.
  resume                  Records copies again.
  categories              The categories' names, one a line.

Options:
  --toggle                Open or close the overlay.
  -h, --help              Displays this help.
  -v, --version           Displays version information.
)";

std::string folderOf(const std::string &path)
{
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? std::string(".") : path.substr(0, slash);
}

// The full program: beside this one in a build folder, else where it is installed.
std::string applicationPath()
{
    char self[PATH_MAX];
    const ssize_t length = ::readlink("/proc/self/exe", self, sizeof self - 1);
    if (length <= 0)
        return CLIPHAVEN_APP_INSTALLED;
    self[length] = '\0';
    const std::string folder = folderOf(self);
    const std::string beside = folder + "/cliphaven-app";
    if (::access(beside.c_str(), X_OK) == 0)
        return beside;
    return folder + "/" CLIPHAVEN_APP_FROM_BIN;
}

[[noreturn]] void runApplication(char *argv[])
{
    const std::string path = applicationPath();
    ::execv(path.c_str(), argv);
    std::fprintf(stderr, "cliphaven: cannot start %s: %s\n", path.c_str(), std::strerror(errno));
    std::_Exit(127);
}

std::string readStandardInput()
{
    std::string input;
    char buffer[65536];
    size_t got;
    while ((got = std::fread(buffer, 1, sizeof buffer, stdin)) > 0)
        input.append(buffer, got);
    return input;
}

bool writeAll(FILE *stream, const std::string &bytes)
{
    return std::fwrite(bytes.data(), 1, bytes.size(), stream) == bytes.size()
           && std::fflush(stream) == 0;
}

} // namespace

int main(int argc, char *argv[])
{
    // Options come first; a command's own arguments (a search for "-v") are its own.
    for (int i = 1; i < argc && (i == 1 || argv[1][0] == '-'); ++i) {
        const std::string argument = argv[i];
        if (argument == "-h" || argument == "--help" || argument == "--help-all") {
            std::fputs(kHelp, stdout);
            return 0;
        }
        if (argument == "-v" || argument == "--version") {
            std::puts("Cliphaven " CLIPHAVEN_VERSION);
            return 0;
        }
    }

    const bool reopen = argc == 1 || (argc == 2 && std::strcmp(argv[1], "--toggle") == 0);
    const bool command = argc > 1 && argv[1][0] != '-';
    if (!reopen && !command)
        runApplication(argv);

    const int fd = InstanceSocket::connectTo(InstanceSocket::socketPath());
    if (fd < 0)
        runApplication(argv);

    if (reopen) {
        const bool sent = InstanceSocket::sendReopen(fd);
        ::close(fd);
        if (!sent) {
            std::fputs("Cliphaven is already running but does not answer.\n", stderr);
            return 1;
        }
        return 0;
    }

    const std::vector<std::string> arguments(argv + 1, argv + argc);
    const std::string input = arguments.front() == "add" ? readStandardInput() : std::string();
    const std::optional<InstanceSocket::Reply> reply = InstanceSocket::sendCommand(fd,
                                                                                   arguments,
                                                                                   input);
    ::close(fd);
    if (!reply) {
        std::fputs("Cliphaven is running but stopped answering.\n", stderr);
        return 1;
    }
    if (!writeAll(stdout, reply->out)) {
        std::perror("cliphaven: standard output");
        return 1;
    }
    writeAll(stderr, reply->err);
    return reply->status;
}
