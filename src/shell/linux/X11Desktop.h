// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <xcb/xcb.h>

#include <QRect>
#include <QWindow>
#include <array>
#include <cstdint>
#include <vector>

namespace corvanta {

/// The room that a window reserves at the edges of the desktop. Device pixels, from the desktop's edges; the
/// spans are inclusive.
struct Strut {
    struct Edge {
        std::uint32_t size = 0;
        std::uint32_t start = 0;
        std::uint32_t end = UINT32_MAX;

        bool operator==(const Edge&) const = default;
    };
    Edge left, right, top, bottom;

    bool operator==(const Strut&) const = default;
};

/// How far the given struts reach into a screen from above and from the right. Device pixels.
struct ScreenInsets {
    int top = 0;
    int right = 0;

    bool operator==(const ScreenInsets&) const = default;
};
ScreenInsets insetsOf(const std::vector<Strut>& struts, const QRect& screen, int desktopWidth);

/// What a window tells an X11 window manager, and what the manager tells back, beyond what Qt knows.
///
/// Owned by the strip. Main thread only. The connection is Qt's and outlives it. A missing property, window
/// or manager reads as nothing.
class X11Desktop {
  public:
    explicit X11Desktop(xcb_connection_t* connection);

    /// Makes the window a dock on all workspaces. Before it is shown.
    void makeDock(WId window) const;
    /// Reserves room at the upper edge of the desktop; size 0 reserves none.
    void reserveTop(WId window, const Strut::Edge& top) const;
    /// What all managed windows but one reserve.
    std::vector<Strut> strutsExcept(WId window) const;
    int width() const;  ///< device pixels
    /// Whether something blends translucent windows with what is below.
    bool hasCompositor() const;
    /// Whether the event tells that windows came or went.
    bool isClientListChange(const xcb_generic_event_t* event) const;

  private:
    enum Atom {
        windowType,
        windowTypeDock,
        windowDesktop,
        strutPartial,
        strut,
        clientList,
        compositor,
        atomCount
    };

    void setCardinals(xcb_window_t window, Atom property, const std::vector<std::uint32_t>& values) const;
    std::vector<std::uint32_t> values(xcb_get_property_cookie_t cookie) const;

    xcb_connection_t* connection_;
    xcb_screen_t* screen_;
    std::array<xcb_atom_t, atomCount> atoms_{};
};

}  // namespace corvanta
