// SPDX-License-Identifier: Apache-2.0
#include "shell/linux/X11StripItem.h"

#include <gtest/gtest.h>
#include <xcb/xcb.h>

#include <QAccessible>
#include <QGuiApplication>
#include <QProcess>
#include <QToolTip>
#include <QWidget>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "shell/StatusItemContract.h"
#include "shell/linux/HostChoice.h"

namespace corvanta {
namespace {

/// A client of the X server beside Qt, for what the strip leaves there and for windows of other programs.
class XClient {
  public:
    XClient()
        : connection_(xcb_connect(nullptr, nullptr)),
          screen_(xcb_setup_roots_iterator(xcb_get_setup(connection_)).data) {}
    ~XClient() { xcb_disconnect(connection_); }
    XClient(const XClient&) = delete;
    XClient& operator=(const XClient&) = delete;

    xcb_window_t root() const { return screen_->root; }

    xcb_atom_t atom(const char* name) const {
        auto* reply = xcb_intern_atom_reply(
            connection_, xcb_intern_atom(connection_, 0, static_cast<std::uint16_t>(std::strlen(name)), name),
            nullptr);
        const xcb_atom_t atom = reply->atom;
        std::free(reply);
        return atom;
    }

    std::vector<std::uint32_t> property(xcb_window_t window, const char* name) const {
        auto* reply = xcb_get_property_reply(
            connection_,
            xcb_get_property(connection_, 0, window, atom(name), XCB_GET_PROPERTY_TYPE_ANY, 0, 64), nullptr);
        const auto* first = static_cast<const std::uint32_t*>(xcb_get_property_value(reply));
        const std::vector<std::uint32_t> values(first, first + reply->value_len);
        std::free(reply);
        return values;
    }

    /// Where the server shows a window; an empty rectangle while it does not. Device pixels.
    QRect shownAt(xcb_window_t window) const {
        auto* attributes = xcb_get_window_attributes_reply(
            connection_, xcb_get_window_attributes(connection_, window), nullptr);
        auto* geometry = xcb_get_geometry_reply(connection_, xcb_get_geometry(connection_, window), nullptr);
        auto* origin = xcb_translate_coordinates_reply(
            connection_, xcb_translate_coordinates(connection_, window, root(), 0, 0), nullptr);
        QRect shown;
        if (attributes != nullptr && attributes->map_state == XCB_MAP_STATE_VIEWABLE && geometry != nullptr &&
            origin != nullptr) {
            shown = QRect(origin->dst_x, origin->dst_y, geometry->width, geometry->height);
        }
        std::free(attributes);
        std::free(geometry);
        std::free(origin);
        return shown;
    }

    /// Shows a panel along the upper edge.
    xcb_window_t showPanel(std::uint16_t height) const {
        const xcb_window_t panel = xcb_generate_id(connection_);
        xcb_create_window(connection_, XCB_COPY_FROM_PARENT, panel, root(), 0, 0, screen_->width_in_pixels,
                          height, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, screen_->root_visual, 0, nullptr);
        const xcb_atom_t dock = atom("_NET_WM_WINDOW_TYPE_DOCK");
        xcb_change_property(connection_, XCB_PROP_MODE_REPLACE, panel, atom("_NET_WM_WINDOW_TYPE"),
                            XCB_ATOM_ATOM, 32, 1, &dock);
        const std::uint32_t strut[12] = {0, 0, height, 0, 0, 0, 0, 0, 0, screen_->width_in_pixels - 1U, 0, 0};
        xcb_change_property(connection_, XCB_PROP_MODE_REPLACE, panel, atom("_NET_WM_STRUT_PARTIAL"),
                            XCB_ATOM_CARDINAL, 32, 12, strut);
        xcb_map_window(connection_, panel);
        xcb_flush(connection_);
        return panel;
    }
    void destroy(xcb_window_t window) const {
        xcb_destroy_window(connection_, window);
        xcb_flush(connection_);
    }

    /// Stands in for a compositing manager as long as the connection lasts.
    void ownCompositorSelection() const {
        const xcb_window_t owner = xcb_generate_id(connection_);
        xcb_create_window(connection_, XCB_COPY_FROM_PARENT, owner, root(), 0, 0, 1, 1, 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, screen_->root_visual, 0, nullptr);
        xcb_set_selection_owner(connection_, owner, atom("_NET_WM_CM_S0"), XCB_CURRENT_TIME);
        std::free(xcb_get_input_focus_reply(connection_, xcb_get_input_focus(connection_), nullptr));
    }

  private:
    xcb_connection_t* connection_;
    xcb_screen_t* screen_;
};

void xdotool(const QStringList& arguments) {
    EXPECT_EQ(QProcess::execute(QStringLiteral("xdotool"), arguments), 0)
        << arguments.join(u' ').toStdString();
}

QString devicePixels(int position) {
    return QString::number(qRound(position * qGuiApp->devicePixelRatio()));
}

void movePointer(QPoint to) {
    xdotool({QStringLiteral("mousemove"), devicePixels(to.x()), devicePixels(to.y())});
}

void click(QPoint at, Qt::MouseButton button) {
    movePointer(at);
    xdotool({QStringLiteral("click"), QString::number(button == Qt::LeftButton ? 1 : 3)});
}

/// The user with a real pointer. Each starts on an empty desktop with the pointer off the strip.
class X11Host {
  public:
    X11Host() {
        movePointer(elsewhere());
        EXPECT_TRUE(QTest::qWaitFor(
            [] { return QGuiApplication::primaryScreen()->availableGeometry().top() == 0; }, 20'000));
        item_ = std::make_unique<X11StripItem>();
    }

    X11StripItem& item() { return *item_; }
    void click(Qt::MouseButton button) {
        awaitStrip();
        corvanta::click(item_->anchorRect()->center(), button);
    }
    void point(bool inside) {
        if (inside) awaitStrip();
        movePointer(inside ? item_->anchorRect()->center() : elsewhere());
    }
    /// Whether the strip is on the screen where it says it is.
    bool isInPlace() const {
        const QRect said = *item_->anchorRect();
        const QRectF device(QPointF(said.topLeft()) * item_->scale(), QSizeF(said.size()) * item_->scale());
        return x_.shownAt(static_cast<xcb_window_t>(item_->window().winId())) == device.toRect();
    }
    void pick(QMenu& menu, QAction& action) {
        corvanta::click(menu.mapToGlobal(menu.actionGeometry(&action).center()), Qt::LeftButton);
    }

  private:
    static QPoint elsewhere() { return {100, 200}; }

    // A pointer finds only what the server and the window manager have put in its place.
    void awaitStrip() {
        EXPECT_TRUE(QTest::qWaitFor([this] { return isInPlace(); }, 20'000));
    }

    XClient x_;
    std::unique_ptr<X11StripItem> item_;
};

INSTANTIATE_TYPED_TEST_SUITE_P(X11, StatusItemContract, X11Host);

class X11StripItemTest : public testing::Test {
  protected:
    void show(const StatusRow& row = test::sampleRow()) {
        item().setContent(row);
        ASSERT_TRUE(eventually([this] { return host_.isInPlace(); }));
    }
    static bool eventually(const std::function<bool()>& condition) {
        return QTest::qWaitFor(condition, 20'000);
    }
    X11StripItem& item() { return host_.item(); }
    xcb_window_t windowId() { return static_cast<xcb_window_t>(item().window().winId()); }
    std::uint32_t device(int length) { return static_cast<std::uint32_t>(qRound(length * item().scale())); }
    /// What the screen shows where the strip is.
    QImage picture() {
        const QRect at = *item().anchorRect();
        return item().screen()->grabWindow(0, at.x(), at.y(), at.width(), at.height()).toImage();
    }
    int top() { return item().anchorRect()->top(); }
    /// Rests the pointer on the strip until the tip comes.
    bool showsTipToPointer() {
        const QSignalSpy entered(&item(), &StatusItem::entered);
        host_.point(true);
        if (!eventually([&] { return entered.count() == 1; })) return false;
        movePointer(item().anchorRect()->center() + QPoint(3, 0));
        return eventually([] { return QToolTip::isVisible(); });
    }

    XClient x_;
    X11Host host_;
};

TEST_F(X11StripItemTest, isTheItemOfTheXcbPlatform) {
    EXPECT_TRUE(xServerAnswers());
    const std::unique_ptr<StatusItem> made = makeStatusItem();
    EXPECT_NE(dynamic_cast<X11StripItem*>(made.get()), nullptr);
}

TEST_F(X11StripItemTest, isADockOnAllWorkspacesBeforeItShows) {
    const auto isDock = [this] {
        return x_.property(windowId(), "_NET_WM_WINDOW_TYPE") ==
               std::vector<std::uint32_t>{x_.atom("_NET_WM_WINDOW_TYPE_DOCK")};
    };
    EXPECT_FALSE(item().window().isVisible());
    EXPECT_TRUE(eventually(isDock));
    show();
    EXPECT_TRUE(isDock()) << "showing it leaves the type alone";
    EXPECT_EQ(x_.property(windowId(), "_NET_WM_DESKTOP"), std::vector<std::uint32_t>{UINT32_MAX});
}

TEST_F(X11StripItemTest, sitsBelowTheUpperEdgeAndKeepsTheRightOne) {
    show();
    const QRect screen = item().screen()->geometry();
    const QRect strip = *item().anchorRect();
    EXPECT_EQ(strip.top(), 1);
    EXPECT_EQ(strip.height(), 24);
    EXPECT_EQ(strip.right(), screen.right() - 4);
    EXPECT_TRUE(eventually([&] { return host_.isInPlace(); })) << "the window manager leaves it there";
}

TEST_F(X11StripItemTest, reservesItsPlaceInDevicePixels) {
    show();
    const QRect strip = *item().anchorRect();
    const std::vector<std::uint32_t> expected = {
        0, 0, device(26), 0, 0, 0, 0, 0, device(strip.left()), device(strip.right() + 1) - 1, 0, 0};
    EXPECT_TRUE(eventually([&] { return x_.property(windowId(), "_NET_WM_STRUT_PARTIAL") == expected; }));
    EXPECT_EQ(x_.property(windowId(), "_NET_WM_STRUT"), (std::vector<std::uint32_t>{0, 0, device(26), 0}));
}

TEST_F(X11StripItemTest, theReservationFollowsTheWidth) {
    show();
    show(test::sampleRow(42, MemoryPressureLevel::normal, QStringLiteral("A longer word")));
    const std::uint32_t left = device(item().anchorRect()->left());
    EXPECT_TRUE(eventually([&] {
        const std::vector<std::uint32_t> strut = x_.property(windowId(), "_NET_WM_STRUT_PARTIAL");
        return strut.size() == 12 && strut[8] == left;
    }));
}

TEST_F(X11StripItemTest, theWindowManagerLeavesItFree) {
    show();
    EXPECT_TRUE(eventually([&] {
        const std::vector<std::uint32_t> area = x_.property(x_.root(), "_NET_WORKAREA");
        return area.size() >= 4 && area[1] == device(26);
    }));
}

TEST_F(X11StripItemTest, givesWayToAPanelThatComesLaterAndTakesItsPlaceWhenItGoes) {
    show();
    const auto height = static_cast<std::uint16_t>(device(30));
    const xcb_window_t panel = x_.showPanel(height);
    EXPECT_TRUE(eventually([&] { return top() == 31; })) << top();
    EXPECT_TRUE(eventually([&] {
        const std::vector<std::uint32_t> strut = x_.property(windowId(), "_NET_WM_STRUT");
        return strut.size() == 4 && strut[2] == device(30 + 26);
    }));
    x_.destroy(panel);
    EXPECT_TRUE(eventually([&] { return top() == 1; })) << top();
}

TEST_F(X11StripItemTest, givesWayToAPanelOfItsOwnHeight) {
    show();
    const xcb_window_t panel = x_.showPanel(static_cast<std::uint16_t>(device(26)));
    EXPECT_TRUE(eventually([&] { return top() == 27; })) << top();
    x_.destroy(panel);
    EXPECT_TRUE(eventually([&] { return top() == 1; })) << top();
}

TEST_F(X11StripItemTest, findsAPanelThatWasThereBefore) {
    const xcb_window_t panel = x_.showPanel(static_cast<std::uint16_t>(device(40)));
    ASSERT_TRUE(eventually([&] { return item().screen()->availableGeometry().top() == 40; }));
    X11StripItem late;
    late.setContent(test::sampleRow());
    EXPECT_EQ(late.anchorRect()->top(), 41);
    x_.destroy(panel);
    EXPECT_TRUE(eventually([&] { return late.anchorRect()->top() == 1; }));
}

TEST_F(X11StripItemTest, aNewRowChangesThePicture) {
    show(test::sampleRow(11));
    QImage before;
    ASSERT_TRUE(eventually([&] {
        before = picture();
        return before.pixelColor(before.rect().center()).lightness() < 60;
    }));
    item().setContent(test::sampleRow(99, MemoryPressureLevel::normal));
    EXPECT_TRUE(eventually([&] { return picture() != before; }));
}

TEST_F(X11StripItemTest, fadesOut) {
    show(test::sampleRow(42, MemoryPressureLevel::normal, QStringLiteral("Normal"), Appearance::dark));
    const auto brightPixels = [this] {
        const QImage image = picture();
        int count = 0;
        for (int yy = 0; yy < image.height(); ++yy) {
            for (int xx = 0; xx < image.width(); ++xx) count += image.pixelColor(xx, yy).lightness() > 150;
        }
        return count;
    };
    ASSERT_TRUE(eventually([&] { return brightPixels() > 0; }));
    item().setAlpha(0);
    EXPECT_TRUE(eventually([&] { return brightPixels() == 0; }));
    item().setAlpha(1);
    EXPECT_TRUE(eventually([&] { return brightPixels() > 0; }));
}

TEST_F(X11StripItemTest, cornersAreFilledOnlyWithoutACompositor) {
    const auto cornerAlpha = [this] {
        QPixmap grabbed(item().window().size() * item().scale());
        grabbed.setDevicePixelRatio(item().scale());
        grabbed.fill(Qt::transparent);
        item().window().render(&grabbed, {}, {}, {});
        return grabbed.toImage().pixelColor(0, 0).alpha();
    };
    show();
    EXPECT_EQ(cornerAlpha(), 255);
    const XClient compositor;
    compositor.ownCompositorSelection();
    item().setContent(test::sampleRow());
    EXPECT_EQ(cornerAlpha(), 0);
}

TEST_F(X11StripItemTest, aButtonReleasedElsewhereIsNoClick) {
    show();
    const QSignalSpy primary(&item(), &StatusItem::primaryClicked);
    const QSignalSpy secondary(&item(), &StatusItem::secondaryClicked);
    host_.point(true);
    xdotool({QStringLiteral("mousedown"), QStringLiteral("1")});
    host_.point(false);
    xdotool({QStringLiteral("mouseup"), QStringLiteral("1")});
    host_.click(Qt::RightButton);
    EXPECT_TRUE(eventually([&] { return secondary.count() == 1; }));
    EXPECT_EQ(primary.count(), 0);
}

TEST_F(X11StripItemTest, showsItsToolTipThoughItIsNeverActive) {
    show();
    int asked = 0;
    item().setToolTip([&] { return QStringLiteral("Composed %1").arg(++asked); });
    ASSERT_TRUE(showsTipToPointer());
    EXPECT_EQ(QToolTip::text(), QStringLiteral("Composed 1"));
    EXPECT_FALSE(item().window().isActiveWindow());
    host_.point(false);
    EXPECT_TRUE(eventually([] { return !QToolTip::isVisible(); }));
}

TEST_F(X11StripItemTest, itsToolTipFollowsTheRowWhileItIsShown) {
    show();
    int asked = 0;
    item().setToolTip([&] { return QStringLiteral("Composed %1").arg(++asked); });
    item().setContent(test::sampleRow(1));
    EXPECT_EQ(asked, 0);
    ASSERT_TRUE(showsTipToPointer());
    item().setContent(test::sampleRow(2));
    EXPECT_EQ(QToolTip::text(), QStringLiteral("Composed 2"));
    host_.point(false);
    EXPECT_TRUE(eventually([] { return !QToolTip::isVisible(); }));
    item().setContent(test::sampleRow(3));
    EXPECT_EQ(asked, 2);
}

TEST_F(X11StripItemTest, isAButtonToAssistivePrograms) {
    show();
    QAccessibleInterface* button = QAccessible::queryAccessibleInterface(&item().window());
    ASSERT_NE(button, nullptr);
    EXPECT_EQ(button->role(), QAccessible::Button);
    EXPECT_EQ(button->text(QAccessible::Name), QStringLiteral("Corvanta"));
    EXPECT_EQ(button->text(QAccessible::Description),
              QStringLiteral("CPU 42%, RAM 61%, Memory pressure Normal"));
    const QSignalSpy primary(&item(), &StatusItem::primaryClicked);
    button->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
    EXPECT_EQ(primary.count(), 1);
}

TEST_F(X11StripItemTest, appearanceFollowsThePalette) {
    const QPalette former = QApplication::palette();
    const QSignalSpy changed(&item(), &StatusItem::appearanceChanged);
    QApplication::setPalette(QPalette(Qt::black));
    EXPECT_TRUE(eventually([&] { return changed.count() > 0; }));
    EXPECT_EQ(item().appearance(), Appearance::dark);
    QApplication::setPalette(QPalette(Qt::white));
    EXPECT_TRUE(eventually([&] { return item().appearance() == Appearance::light; }));
    QApplication::setPalette(former);
}

}  // namespace
}  // namespace corvanta
