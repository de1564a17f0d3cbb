// SPDX-License-Identifier: Apache-2.0
#include "shell/linux/X11Desktop.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <string>

namespace corvanta {
namespace {

struct Free {
    void operator()(void* reply) const { std::free(reply); }
};
template <class Reply>
using Owned = std::unique_ptr<Reply, Free>;

bool overlaps(const Strut::Edge& edge, int first, int last) {
    return std::int64_t{edge.start} <= last && std::int64_t{edge.end} >= first;
}

// Of left, right, top, bottom, and, in the long form, the start and end of each.
Strut strutFrom(const std::vector<std::uint32_t>& v) {
    Strut strut;
    strut.left.size = v[0];
    strut.right.size = v[1];
    strut.top.size = v[2];
    strut.bottom.size = v[3];
    if (v.size() >= 12) {
        strut.left = {v[0], v[4], v[5]};
        strut.right = {v[1], v[6], v[7]};
        strut.top = {v[2], v[8], v[9]};
        strut.bottom = {v[3], v[10], v[11]};
    }
    return strut;
}

}  // namespace

ScreenInsets insetsOf(const std::vector<Strut>& struts, const QRect& screen, int desktopWidth) {
    std::int64_t top = 0;
    std::int64_t right = 0;
    for (const Strut& strut : struts) {
        // What covers the whole screen is a mistake, or belongs to a screen beside this one.
        const std::int64_t fromTop = std::int64_t{strut.top.size} - screen.top();
        if (fromTop < screen.height() && overlaps(strut.top, screen.left(), screen.right())) {
            top = std::max(top, fromTop);
        }
        const std::int64_t fromRight = std::int64_t{strut.right.size} - (desktopWidth - screen.right() - 1);
        if (fromRight < screen.width() && overlaps(strut.right, screen.top(), screen.bottom())) {
            right = std::max(right, fromRight);
        }
    }
    return {.top = static_cast<int>(top), .right = static_cast<int>(right)};
}

X11Desktop::X11Desktop(xcb_connection_t* connection)
    : connection_(connection), screen_(xcb_setup_roots_iterator(xcb_get_setup(connection)).data) {
    const std::array<std::string, atomCount> names = {
        "_NET_WM_WINDOW_TYPE", "_NET_WM_WINDOW_TYPE_DOCK", "_NET_WM_DESKTOP", "_NET_WM_STRUT_PARTIAL",
        "_NET_WM_STRUT",       "_NET_CLIENT_LIST",         "_NET_WM_CM_S0"};
    std::array<xcb_intern_atom_cookie_t, atomCount> cookies{};
    std::transform(names.begin(), names.end(), cookies.begin(), [&](const std::string& name) {
        return xcb_intern_atom(connection_, 0, static_cast<std::uint16_t>(name.size()), name.data());
    });
    std::transform(cookies.begin(), cookies.end(), atoms_.begin(), [&](xcb_intern_atom_cookie_t cookie) {
        const Owned<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(connection_, cookie, nullptr));
        return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
    });
}

void X11Desktop::makeDock(WId window) const {
    const auto id = static_cast<xcb_window_t>(window);
    xcb_change_property(connection_, XCB_PROP_MODE_REPLACE, id, atoms_[windowType], XCB_ATOM_ATOM, 32, 1,
                        &atoms_[windowTypeDock]);
    constexpr std::uint32_t allDesktops = UINT32_MAX;
    setCardinals(id, windowDesktop, {allDesktops});
    xcb_flush(connection_);
}

void X11Desktop::reserveTop(WId window, const Strut::Edge& top) const {
    const auto id = static_cast<xcb_window_t>(window);
    setCardinals(id, strutPartial, {0, 0, top.size, 0, 0, 0, 0, 0, top.start, top.end, 0, 0});
    setCardinals(id, strut, {0, 0, top.size, 0});
    xcb_flush(connection_);
}

std::vector<Strut> X11Desktop::strutsExcept(WId window) const {
    const auto property = [this](xcb_window_t id, Atom name, xcb_atom_t type) {
        constexpr std::uint32_t mostValues = 4096;
        return xcb_get_property(connection_, 0, id, atoms_[name], type, 0, mostValues);
    };
    const std::vector<std::uint32_t> clients = values(property(screen_->root, clientList, XCB_ATOM_WINDOW));
    struct Asked {
        xcb_get_property_cookie_t partial;
        xcb_get_property_cookie_t plain;
    };
    std::vector<Asked> asked;
    for (const xcb_window_t client : clients) {
        if (client == window) continue;
        asked.push_back(
            {property(client, strutPartial, XCB_ATOM_CARDINAL), property(client, strut, XCB_ATOM_CARDINAL)});
    }
    std::vector<Strut> struts;
    for (const Asked& cookies : asked) {
        const std::vector<std::uint32_t> partial = values(cookies.partial);
        const std::vector<std::uint32_t> plain = values(cookies.plain);
        if (partial.size() >= 12) {
            struts.push_back(strutFrom(partial));
        } else if (plain.size() >= 4) {
            struts.push_back(strutFrom(plain));
        }
    }
    return struts;
}

int X11Desktop::width() const {
    const Owned<xcb_get_geometry_reply_t> reply(
        xcb_get_geometry_reply(connection_, xcb_get_geometry(connection_, screen_->root), nullptr));
    return reply ? reply->width : screen_->width_in_pixels;
}

bool X11Desktop::hasCompositor() const {
    const Owned<xcb_get_selection_owner_reply_t> reply(xcb_get_selection_owner_reply(
        connection_, xcb_get_selection_owner(connection_, atoms_[compositor]), nullptr));
    return reply && reply->owner != XCB_WINDOW_NONE;
}

bool X11Desktop::isClientListChange(const xcb_generic_event_t* event) const {
    constexpr unsigned sentByOthers = 0x80;
    if ((event->response_type & ~sentByOthers) != XCB_PROPERTY_NOTIFY) return false;
    const auto* change = reinterpret_cast<const xcb_property_notify_event_t*>(event);
    return change->window == screen_->root && change->atom == atoms_[clientList];
}

void X11Desktop::setCardinals(xcb_window_t window, Atom property,
                              const std::vector<std::uint32_t>& values) const {
    xcb_change_property(connection_, XCB_PROP_MODE_REPLACE, window, atoms_[property], XCB_ATOM_CARDINAL, 32,
                        static_cast<std::uint32_t>(values.size()), values.data());
}

std::vector<std::uint32_t> X11Desktop::values(xcb_get_property_cookie_t cookie) const {
    const Owned<xcb_get_property_reply_t> reply(xcb_get_property_reply(connection_, cookie, nullptr));
    if (!reply || reply->format != 32) return {};
    const auto* first = static_cast<const std::uint32_t*>(xcb_get_property_value(reply.get()));
    return {first, first + reply->value_len};
}

}  // namespace corvanta
