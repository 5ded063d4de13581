#include "app/desktop_manners.h"

#include <QGuiApplication>
#include <QThread>
#include <QWindow>

#include <xcb/xcb.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

namespace rehome::app {

namespace {

struct Free {
    void operator()(void* reply) const { std::free(reply); }
};
template <class Reply>
using Owned = std::unique_ptr<Reply, Free>;

xcb_connection_t* connection() {
    const auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    return x11 ? x11->connection() : nullptr;
}

xcb_atom_t atomOf(xcb_connection_t* x, const char* name) {
    const auto asked = xcb_intern_atom(x, 0, quint16(std::strlen(name)), name);
    const Owned<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(x, asked, nullptr));
    return reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
}

} // namespace

void promiseNoAnswers(const QWindow& window) {
    xcb_connection_t* x = connection();
    if (!x)
        return;
    constexpr quint32 Most = 64; // protocols; Qt names four
    const auto id = xcb_window_t(window.winId());
    const xcb_atom_t protocols = atomOf(x, "WM_PROTOCOLS"), ping = atomOf(x, "_NET_WM_PING");
    const auto asked = xcb_get_property(x, 0, id, protocols, XCB_ATOM_ATOM, 0, Most);
    const Owned<xcb_get_property_reply_t> reply(xcb_get_property_reply(x, asked, nullptr));
    if (!reply || reply->format != 32)
        return;
    const auto* first = static_cast<const xcb_atom_t*>(xcb_get_property_value(reply.get()));
    std::vector<xcb_atom_t> kept(first, first + reply->value_len);
    std::erase(kept, ping);
    xcb_change_property(x, XCB_PROP_MODE_REPLACE, id, protocols, XCB_ATOM_ATOM, 32,
                        quint32(kept.size()), kept.data());
    xcb_flush(x);
}

void showWhatWasCovered() {
    if (!connection())
        return;
    // The window manager takes the frame away after the window has gone.
    const QDeadlineTimer enough(50);
    do {
        QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents |
                                        QEventLoop::ExcludeSocketNotifiers);
        QThread::msleep(5);
    } while (!enough.hasExpired());
}

} // namespace rehome::app
