#ifndef LUMO_TESTS_X11WINDOWS_H
#define LUMO_TESTS_X11WINDOWS_H

#include <xcb/xcb.h>

#include <poll.h>
#include <sys/types.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

namespace lumo_test {

// A top-level window of some program on the X display.
struct X11Window {
    xcb_window_t id = 0;
    pid_t pid = 0;       // _NET_WM_PID, 0 when the window does not say
    bool viewable = false; // mapped, and so exposed: no window manager runs
    bool normal = false; // of type _NET_WM_WINDOW_TYPE_NORMAL, not a tool window, a splash or a menu
    bool closable = false; // WM_PROTOCOLS holds WM_DELETE_WINDOW
    std::string title;   // _NET_WM_NAME, UTF-8
};

// The windows of other programs on the X display ($DISPLAY), seen from
// outside the way a window manager sees them: shown windows, their owner's
// process, and the polite request to close one (WM_DELETE_WINDOW), which Qt
// honours like a click on the title bar's close button. Without a window
// manager, top-level windows are the root window's children.
class X11Windows {
public:
    X11Windows()
    {
        connection = xcb_connect(nullptr, nullptr);
        if (xcb_connection_has_error(connection) != 0) {
            return;
        }
        root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
        // Maps and unmaps of top-level windows wake the waits below.
        const uint32_t mask = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
        xcb_change_window_attributes(connection, root, XCB_CW_EVENT_MASK, &mask);
        atomPid = Atom("_NET_WM_PID");
        atomType = Atom("_NET_WM_WINDOW_TYPE");
        atomNormal = Atom("_NET_WM_WINDOW_TYPE_NORMAL");
        atomProtocols = Atom("WM_PROTOCOLS");
        atomDelete = Atom("WM_DELETE_WINDOW");
        atomName = Atom("_NET_WM_NAME");
        atomUtf8 = Atom("UTF8_STRING");
        xcb_flush(connection);
    }
    ~X11Windows() { xcb_disconnect(connection); }
    X11Windows(const X11Windows&) = delete;
    X11Windows& operator=(const X11Windows&) = delete;

    bool Connected() const { return xcb_connection_has_error(connection) == 0; }

    // Every top-level window of the process pid.
    std::vector<X11Window> WindowsOf(pid_t pid)
    {
        std::vector<X11Window> found;
        if (!Connected()) {
            return found;
        }
        xcb_query_tree_reply_t* tree = xcb_query_tree_reply(connection, xcb_query_tree(connection, root), nullptr);
        if (tree == nullptr) {
            return found;
        }
        const xcb_window_t* children = xcb_query_tree_children(tree);
        const int count = xcb_query_tree_children_length(tree);
        for (int i = 0; i < count; i++) {
            X11Window window = Describe(children[i]);
            if (window.pid == pid) {
                found.push_back(window);
            }
        }
        free(tree);
        return found;
    }

    // The shown windows of pid, or only its normal ones.
    std::vector<X11Window> ShownWindowsOf(pid_t pid, bool normalOnly = false)
    {
        std::vector<X11Window> shown;
        for (const X11Window& window : WindowsOf(pid)) {
            if (window.viewable && (window.normal || !normalOnly)) {
                shown.push_back(window);
            }
        }
        return shown;
    }

    // Waits until done() holds, checking it whenever a top-level window is
    // mapped, unmapped, made or destroyed, and at least every 20 ms (window
    // properties change without such an event). False after the limit.
    bool WaitFor(const std::function<bool()>& done, std::chrono::milliseconds limit)
    {
        const auto deadline = std::chrono::steady_clock::now() + limit;
        for (;;) {
            if (done()) {
                return true;
            }
            if (std::chrono::steady_clock::now() >= deadline || !Connected()) {
                return false;
            }
            WaitForEvent(std::chrono::milliseconds(20));
        }
    }

    // Waits for the next map of a top-level window of pid; the time of its
    // arrival is in mappedAt. False after the limit.
    bool WaitForMap(pid_t pid, std::chrono::milliseconds limit, std::chrono::steady_clock::time_point& mappedAt)
    {
        const auto deadline = std::chrono::steady_clock::now() + limit;
        while (Connected()) {
            xcb_generic_event_t* event = xcb_poll_for_event(connection);
            if (event == nullptr) {
                const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
                if (left.count() <= 0) {
                    return false;
                }
                pollfd fd {xcb_get_file_descriptor(connection), POLLIN, 0};
                poll(&fd, 1, static_cast<int>(left.count()));
                continue;
            }
            const auto now = std::chrono::steady_clock::now();
            bool mine = false;
            if ((event->response_type & 0x7f) == XCB_MAP_NOTIFY) {
                const auto* map = reinterpret_cast<xcb_map_notify_event_t*>(event);
                mine = Describe(map->window).pid == pid;
            }
            free(event);
            if (mine) {
                mappedAt = now;
                return true;
            }
        }
        return false;
    }

    // Drops the events that came in so far (before starting a program whose
    // first map WaitForMap is to see).
    void DiscardEvents()
    {
        xcb_flush(connection);
        while (xcb_generic_event_t* event = xcb_poll_for_event(connection)) {
            free(event);
        }
    }

    // Asks every shown window of pid that accepts it to close, the way a
    // window manager's close button does; returns how many were asked.
    int CloseWindowsOf(pid_t pid)
    {
        int asked = 0;
        for (const X11Window& window : ShownWindowsOf(pid)) {
            if (!window.closable) {
                continue;
            }
            xcb_client_message_event_t message;
            std::memset(&message, 0, sizeof message);
            message.response_type = XCB_CLIENT_MESSAGE;
            message.format = 32;
            message.window = window.id;
            message.type = atomProtocols;
            message.data.data32[0] = atomDelete;
            message.data.data32[1] = XCB_CURRENT_TIME;
            xcb_send_event(connection, 0, window.id, XCB_EVENT_MASK_NO_EVENT, reinterpret_cast<const char*>(&message));
            asked++;
        }
        xcb_flush(connection);
        return asked;
    }

private:
    xcb_atom_t Atom(const char* name)
    {
        xcb_intern_atom_reply_t* reply = xcb_intern_atom_reply(
            connection, xcb_intern_atom(connection, 0, static_cast<uint16_t>(std::strlen(name)), name), nullptr);
        if (reply == nullptr) {
            return XCB_ATOM_NONE;
        }
        const xcb_atom_t atom = reply->atom;
        free(reply);
        return atom;
    }

    // The 32-bit values of a window property (empty when it is not set).
    std::vector<uint32_t> Values(xcb_window_t window, xcb_atom_t property, xcb_atom_t type)
    {
        std::vector<uint32_t> values;
        xcb_get_property_reply_t* reply = xcb_get_property_reply(
            connection, xcb_get_property(connection, 0, window, property, type, 0, 64), nullptr);
        if (reply != nullptr) {
            if (reply->format == 32) {
                const auto* data = static_cast<const uint32_t*>(xcb_get_property_value(reply));
                values.assign(data, data + xcb_get_property_value_length(reply) / 4);
            }
            free(reply);
        }
        return values;
    }

    std::string Text(xcb_window_t window, xcb_atom_t property, xcb_atom_t type)
    {
        std::string text;
        xcb_get_property_reply_t* reply = xcb_get_property_reply(
            connection, xcb_get_property(connection, 0, window, property, type, 0, 1024), nullptr);
        if (reply != nullptr) {
            text.assign(static_cast<const char*>(xcb_get_property_value(reply)),
                        static_cast<size_t>(xcb_get_property_value_length(reply)));
            free(reply);
        }
        return text;
    }

    X11Window Describe(xcb_window_t id)
    {
        X11Window window;
        window.id = id;
        const std::vector<uint32_t> pid = Values(id, atomPid, XCB_ATOM_CARDINAL);
        if (!pid.empty()) {
            window.pid = static_cast<pid_t>(pid[0]);
        }
        xcb_get_window_attributes_reply_t* attributes =
            xcb_get_window_attributes_reply(connection, xcb_get_window_attributes(connection, id), nullptr);
        if (attributes != nullptr) {
            window.viewable = attributes->map_state == XCB_MAP_STATE_VIEWABLE;
            free(attributes);
        }
        // The types come in order of preference, and Qt ends every list
        // with the normal type as a fallback: the first one counts. A window
        // without any is normal.
        const std::vector<uint32_t> types = Values(id, atomType, XCB_ATOM_ATOM);
        window.normal = types.empty() || types[0] == atomNormal;
        for (uint32_t protocol : Values(id, atomProtocols, XCB_ATOM_ATOM)) {
            window.closable = window.closable || protocol == atomDelete;
        }
        window.title = Text(id, atomName, atomUtf8);
        return window;
    }

    void WaitForEvent(std::chrono::milliseconds limit)
    {
        pollfd fd {xcb_get_file_descriptor(connection), POLLIN, 0};
        if (xcb_generic_event_t* pending = xcb_poll_for_queued_event(connection)) {
            free(pending);
        } else {
            poll(&fd, 1, static_cast<int>(limit.count()));
        }
        while (xcb_generic_event_t* event = xcb_poll_for_event(connection)) {
            free(event);
        }
    }

    xcb_connection_t* connection = nullptr;
    xcb_window_t root = 0;
    xcb_atom_t atomPid = XCB_ATOM_NONE;
    xcb_atom_t atomType = XCB_ATOM_NONE;
    xcb_atom_t atomNormal = XCB_ATOM_NONE;
    xcb_atom_t atomProtocols = XCB_ATOM_NONE;
    xcb_atom_t atomDelete = XCB_ATOM_NONE;
    xcb_atom_t atomName = XCB_ATOM_NONE;
    xcb_atom_t atomUtf8 = XCB_ATOM_NONE;
};

} // namespace lumo_test

#endif
