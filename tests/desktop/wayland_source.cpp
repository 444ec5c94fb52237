// A Wayland clipboard owner for tests, through the data-control protocol: it takes the seat's
// selection with the given types and serves them, or misbehaves on request.
//
//   wayland_source [-t TYPE (-s TEXT | -f FILE | --silent | --close | --trickle)]...
//
// --silent keeps the request's pipe open and never writes; --close closes it at once without a
// byte; --trickle writes a byte every 100 ms and never ends. It prints "ready" once it owns the
// selection and runs until another client takes it.

#include "wlr-data-control-unstable-v1-client-protocol.h"

#include <wayland-client.h>

#include <csignal>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include <poll.h>
#include <unistd.h>

namespace {

enum class Behaviour { serve, silent, close, trickle };

struct Type
{
    Behaviour behaviour = Behaviour::serve;
    std::string bytes;
};

std::map<std::string, Type> g_types;
zwlr_data_control_manager_v1 *g_manager = nullptr;
wl_seat *g_seat = nullptr;
std::vector<int> g_heldOpen;
std::vector<int> g_trickling;
bool g_cancelled = false;

void onGlobal(void *, wl_registry *registry, uint32_t name, const char *interface, uint32_t)
{
    if (std::strcmp(interface, zwlr_data_control_manager_v1_interface.name) == 0)
        g_manager = static_cast<zwlr_data_control_manager_v1 *>(
            wl_registry_bind(registry, name, &zwlr_data_control_manager_v1_interface, 1));
    else if (std::strcmp(interface, wl_seat_interface.name) == 0 && !g_seat)
        g_seat = static_cast<wl_seat *>(wl_registry_bind(registry, name, &wl_seat_interface, 1));
}

void onSend(void *, zwlr_data_control_source_v1 *, const char *mimeType, int32_t fd)
{
    const auto it = g_types.find(mimeType);
    if (it == g_types.end() || it->second.behaviour == Behaviour::close) {
        close(fd);
        return;
    }
    if (it->second.behaviour != Behaviour::serve) {
        (it->second.behaviour == Behaviour::trickle ? g_trickling : g_heldOpen).push_back(fd);
        return;
    }
    const std::string &bytes = it->second.bytes;
    size_t written = 0;
    while (written < bytes.size()) {
        const ssize_t put = write(fd, bytes.data() + written, bytes.size() - written);
        if (put <= 0)
            break;
        written += size_t(put);
    }
    close(fd);
}

void onCancelled(void *, zwlr_data_control_source_v1 *)
{
    g_cancelled = true;
}

} // namespace

int main(int argc, char *argv[])
{
    signal(SIGPIPE, SIG_IGN);
    std::vector<std::string> order;
    std::string current;
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        if (argument == "-t" && i + 1 < argc) {
            current = argv[++i];
            order.push_back(current);
            g_types[current] = {};
        } else if (argument == "-s" && i + 1 < argc) {
            g_types[current].bytes = argv[++i];
        } else if (argument == "-f" && i + 1 < argc) {
            std::ifstream file(argv[++i], std::ios::binary);
            g_types[current].bytes.assign(std::istreambuf_iterator<char>(file), {});
        } else if (argument == "--silent") {
            g_types[current].behaviour = Behaviour::silent;
        } else if (argument == "--trickle") {
            g_types[current].behaviour = Behaviour::trickle;
        } else if (argument == "--close") {
            g_types[current].behaviour = Behaviour::close;
        } else {
            std::fprintf(stderr, "unknown argument %s\n", argv[i]);
            return 2;
        }
    }

    wl_display *display = wl_display_connect(nullptr);
    if (!display) {
        std::fprintf(stderr, "no Wayland display\n");
        return 1;
    }
    static const wl_registry_listener registryListener = {onGlobal, nullptr};
    wl_registry_add_listener(wl_display_get_registry(display), &registryListener, nullptr);
    wl_display_roundtrip(display);
    if (!g_manager || !g_seat) {
        std::fprintf(stderr, "no data-control protocol\n");
        return 1;
    }

    zwlr_data_control_source_v1 *source = zwlr_data_control_manager_v1_create_data_source(g_manager);
    static const zwlr_data_control_source_v1_listener sourceListener = {onSend, onCancelled};
    zwlr_data_control_source_v1_add_listener(source, &sourceListener, nullptr);
    for (const std::string &type : order)
        zwlr_data_control_source_v1_offer(source, type.c_str());
    zwlr_data_control_device_v1 *device = zwlr_data_control_manager_v1_get_data_device(g_manager,
                                                                                       g_seat);
    zwlr_data_control_device_v1_set_selection(device, source);
    wl_display_roundtrip(display);
    std::printf("ready\n");
    std::fflush(stdout);

    // Events, and a byte every 100 ms to each trickling reader.
    pollfd fd = {wl_display_get_fd(display), POLLIN, 0};
    while (!g_cancelled) {
        wl_display_flush(display);
        if (poll(&fd, 1, 100) > 0 && wl_display_dispatch(display) < 0)
            break;
        if (wl_display_dispatch_pending(display) < 0)
            break;
        for (int out : g_trickling)
            [[maybe_unused]] const ssize_t put = write(out, "x", 1);
    }
    for (int fd : g_heldOpen)
        close(fd);
    wl_display_disconnect(display);
    return 0;
}
