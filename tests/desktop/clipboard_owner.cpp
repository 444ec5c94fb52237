// A clipboard owner for desktop tests, speaking the selection protocol directly so that tests
// can make it misbehave: never answer, answer slowly, refuse every conversion, never answer one
// type, or exit in the middle of an incremental transfer.
//
//   clipboard_owner [--silent] [--delay MS] [--refuse] [--chunk BYTES] [--die-after-chunks N]
//                   [--ignore TYPE] (-t TYPE (-s TEXT | -f FILE))...
//
// Prints "ready" once it owns CLIPBOARD; exits when another client takes it.

#include <xcb/xcb.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <thread>
#include <vector>

namespace {

xcb_connection_t *c = nullptr;

xcb_atom_t intern(const std::string &name)
{
    const auto cookie = xcb_intern_atom(c, 0, uint16_t(name.size()), name.c_str());
    xcb_intern_atom_reply_t *reply = xcb_intern_atom_reply(c, cookie, nullptr);
    const xcb_atom_t atom = reply ? reply->atom : XCB_NONE;
    free(reply);
    return atom;
}

// Sets a property of the requestor's window: 8-bit data, or 32-bit atoms and numbers.
void put(xcb_window_t window,
         xcb_atom_t property,
         xcb_atom_t type,
         int format,
         size_t count,
         const void *data)
{
    xcb_change_property(c,
                        XCB_PROP_MODE_REPLACE,
                        window,
                        property,
                        type,
                        uint8_t(format),
                        uint32_t(count),
                        data);
}

void notify(const xcb_selection_request_event_t &request, xcb_atom_t property)
{
    xcb_selection_notify_event_t event = {};
    event.response_type = XCB_SELECTION_NOTIFY;
    event.time = request.time;
    event.requestor = request.requestor;
    event.selection = request.selection;
    event.target = request.target;
    event.property = property;
    xcb_send_event(c, 0, request.requestor, 0, reinterpret_cast<const char *>(&event));
}

struct Incremental
{
    xcb_window_t requestor = XCB_NONE;
    xcb_atom_t property = XCB_NONE;
    xcb_atom_t type = XCB_NONE;
    const std::string *data = nullptr;
    size_t offset = 0;
    bool finished = false;
};

} // namespace

int main(int argc, char **argv)
{
    bool silent = false;
    bool refuse = false;
    int delayMs = 0;
    size_t chunk = 64 * 1024;
    int dieAfterChunks = -1;
    std::string ignored;
    std::vector<std::pair<std::string, std::string>> flavors;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        const std::string value = i + 1 < argc ? argv[i + 1] : "";
        if (arg == "--silent" || arg == "--refuse") {
            (arg == "--silent" ? silent : refuse) = true;
            continue;
        }
        ++i;
        if (arg == "--delay")
            delayMs = std::stoi(value);
        else if (arg == "--chunk")
            chunk = std::stoul(value);
        else if (arg == "--die-after-chunks")
            dieAfterChunks = std::stoi(value);
        else if (arg == "--ignore")
            ignored = value;
        else if (arg == "-t")
            flavors.emplace_back(value, std::string());
        else if (arg == "-s" && !flavors.empty())
            flavors.back().second = value;
        else if (arg == "-f" && !flavors.empty())
            flavors.back().second.assign(std::istreambuf_iterator<char>(
                                             std::ifstream(value, std::ios::binary).rdbuf()),
                                         {});
        else
            return 2;
    }

    c = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(c))
        return 1;
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(c)).data->root;
    const xcb_window_t window = xcb_generate_id(c);
    xcb_create_window(c, 0, window, root, 0, 0, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY, 0, 0, nullptr);
    const xcb_atom_t clipboard = intern("CLIPBOARD");
    const xcb_atom_t targets = intern("TARGETS");
    const xcb_atom_t incr = intern("INCR");
    const xcb_atom_t ignoredAtom = ignored.empty() ? xcb_atom_t(XCB_NONE) : intern(ignored);
    std::map<xcb_atom_t, const std::string *> byAtom;
    std::vector<xcb_atom_t> offered{targets};
    for (const auto &[type, data] : flavors) {
        const xcb_atom_t atom = intern(type);
        byAtom[atom] = &data;
        offered.push_back(atom);
    }

    xcb_set_selection_owner(c, window, clipboard, XCB_CURRENT_TIME);
    auto *owner = xcb_get_selection_owner_reply(c, xcb_get_selection_owner(c, clipboard), nullptr);
    if (!owner || owner->owner != window)
        return 1;
    free(owner);
    std::printf("ready\n");
    std::fflush(stdout);

    Incremental incremental;
    int chunksSent = 0;
    while (xcb_generic_event_t *event = xcb_wait_for_event(c)) {
        const uint8_t type = event->response_type & 0x7f;
        if (type == XCB_SELECTION_CLEAR) {
            free(event);
            break;
        }
        if (type == XCB_SELECTION_REQUEST && !silent
            && reinterpret_cast<xcb_selection_request_event_t *>(event)->target != ignoredAtom) {
            const auto request = *reinterpret_cast<xcb_selection_request_event_t *>(event);
            if (delayMs > 0)
                std::this_thread::sleep_for(std::chrono::milliseconds(delayMs));
            const xcb_atom_t property = request.property ? request.property : request.target;
            const auto found = byAtom.find(request.target);
            if (request.target == targets) {
                put(request.requestor, property, XCB_ATOM_ATOM, 32, offered.size(), offered.data());
                notify(request, property);
            } else if (refuse || found == byAtom.end()) {
                notify(request, XCB_NONE);
            } else if (found->second->size() > chunk) {
                const uint32_t size = uint32_t(found->second->size());
                const uint32_t mask = XCB_EVENT_MASK_PROPERTY_CHANGE;
                xcb_change_window_attributes(c, request.requestor, XCB_CW_EVENT_MASK, &mask);
                put(request.requestor, property, incr, 32, 1, &size);
                incremental = {request.requestor, property, request.target, found->second, 0, false};
                notify(request, property);
            } else {
                const std::string &data = *found->second;
                put(request.requestor, property, request.target, 8, data.size(), data.data());
                notify(request, property);
            }
        } else if (type == XCB_PROPERTY_NOTIFY) {
            const auto *change = reinterpret_cast<xcb_property_notify_event_t *>(event);
            if (change->state == XCB_PROPERTY_DELETE && change->window == incremental.requestor
                && change->atom == incremental.property && !incremental.finished) {
                if (dieAfterChunks >= 0 && chunksSent >= dieAfterChunks)
                    std::_Exit(0);
                const size_t left = incremental.data->size() - incremental.offset;
                const size_t size = left < chunk ? left : chunk;
                put(incremental.requestor,
                    incremental.property,
                    incremental.type,
                    8,
                    size,
                    incremental.data->data() + incremental.offset);
                incremental.offset += size;
                incremental.finished = size == 0;
                ++chunksSent;
            }
        }
        xcb_flush(c);
        free(event);
    }
    xcb_disconnect(c);
    return 0;
}
